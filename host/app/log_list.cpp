#include "app/log_list.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "app/list_parts.h"
#include "wizard/german_number.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"

namespace kestrel::host {

namespace {

constexpr int kShownRows = 5000;
constexpr int kNarrowCharacters = 16;
constexpr const char* kKey = "Zeile";
constexpr std::array<LogColumn, 4> kFirstColumns = {{{"Datum", "Datum", ColumnKind::kDate},
                                                     {"Benutzer", "Benutzer"},
                                                     {"Beschreibung", "Import"},
                                                     {"Datensatz", "Datensatz", ColumnKind::kNumber}}};

std::vector<AddressColumn> ShownColumns(const std::vector<LogColumn>& columns) {
  std::vector<AddressColumn> shown;
  for (const LogColumn& column : columns) {
    shown.push_back({column.name, QString::fromUtf8(column.heading), column.kind});
  }
  return shown;
}

}  // namespace

LogList::LogList(const char* title, const std::vector<LogColumn>& columns, Reader read, QWidget* parent)
    : QWidget(parent),
      read_(std::move(read)),
      columns_(kFirstColumns.begin(), kFirstColumns.end()),
      guard_(this, [this](const RuntimeError& error) { count_->setText(ToQt(error.Description())); }) {
  columns_.insert(columns_.end(), columns.begin(), columns.end());
  columns_.push_back({kKey, kKey, ColumnKind::kText, LogColumn::Room::kHidden});
  only_last_ =
      SetUpButton(new QCheckBox(this), "onlyLast", "Nur der letzte Import", "Frühere Importe ausblenden", 'L');
  only_last_->setChecked(true);
  model_ = new QueryModel(ShownColumns(columns_), this);
  table_ = MakeTable(model_, QString::fromUtf8(title), this);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  for (int column = 0; column < model_->columnCount(); ++column) {
    const LogColumn::Room room = columns_[static_cast<std::size_t>(column)].room;
    table_->setColumnHidden(column, room == LogColumn::Room::kHidden);
    if (room == LogColumn::Room::kAllThatIsLeft) {
      table_->horizontalHeader()->setSectionResizeMode(column, QHeaderView::Stretch);
    }
  }
  setFocusProxy(table_);
  count_ = MakeStatusLine(this);
  count_->setObjectName("count");
  choices_ = new QHBoxLayout;
  choices_->addWidget(only_last_);
  auto* top = new QHBoxLayout;
  top->addLayout(choices_);
  top->addStretch(1);
  auto* list = new QVBoxLayout(this);
  list->setContentsMargins(0, 0, 0, 0);
  list->addLayout(top);
  list->addWidget(table_, 1);
  list->addWidget(count_);
  guard_.On(only_last_, &QCheckBox::toggled, &LogList::Refresh);
  guard_.On(table_->selectionModel(), &QItemSelectionModel::selectionChanged, [this] { emit ChoiceChanged(); });
}

void LogList::AddChoice(QCheckBox* choice) {
  choices_->addWidget(choice);
  setTabOrder(choice, table_);
}

// What has the focus may be chosen by the view itself, a selection only by a person.
bool LogList::HasChosen() const { return table_->selectionModel()->hasSelection(); }

QString LogList::Chosen(const char* column) const {
  const auto found = std::ranges::find(columns_, std::string_view(column),
                                       [](const LogColumn& known) { return std::string_view(known.name); });
  if (found == columns_.end() || !HasChosen()) return {};
  const int row = table_->selectionModel()->selectedRows().first().row();
  return model_->index(row, static_cast<int>(found - columns_.begin())).data().toString();
}

void LogList::Refresh() {
  guard_.Run([&] { ReadRows(); });
  emit ChoiceChanged();
}

void LogList::ReadRows() {
  const QString key = Chosen(kKey);
  const int row = table_->currentIndex().row();
  // One row more tells whether there are more.
  const RecordsetPtr rows = read_(only_last_->isChecked(), kShownRows + 1);
  const bool more = model_->SetRows(*rows, kShownRows);
  const QString shown = GermanCount(model_->rowCount(), "Zeile", "Zeilen");
  count_->setText(more ? "Die ersten " + shown : model_->rowCount() == 0 ? QString("Keine Einträge") : shown);
  Choose(key, row);
  FitToRows();
}

void LogList::Choose(const QString& key, int row) {
  if (key.isEmpty()) return;
  const QModelIndexList found =
      model_->match(model_->index(0, model_->columnCount() - 1), Qt::DisplayRole, key, 1, Qt::MatchExactly);
  if (!found.isEmpty()) {
    table_->selectRow(found.first().row());
  } else {
    table_->selectionModel()->setCurrentIndex(model_->index(std::min(row, model_->rowCount()) - 1, 0),
                                              QItemSelectionModel::NoUpdate);
  }
}

void LogList::FitToRows() {
  FitColumns(*table_, kWidestColumn);
  const int narrow = table_->fontMetrics().averageCharWidth() * kNarrowCharacters;
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    if (columns_[column].room == LogColumn::Room::kNarrow)
      table_->setColumnWidth(static_cast<int>(column), narrow);
  }
}

}  // namespace kestrel::host
