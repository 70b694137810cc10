#include "app/log_page.h"

#include <QHeaderView>
#include <QLocale>
#include <QVBoxLayout>
#include <vector>

#include "app/list_parts.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"

namespace kestrel::host {

namespace {

constexpr int kShownRows = 5000;
constexpr int kNarrowCharacters = 16;
constexpr const char* kFile = "Datei";
constexpr const char* kRecordMark = "Datensatz";

std::vector<AddressColumn> ColumnsOf(const LogList& list) {
  std::vector<AddressColumn> columns = {
      {"Datum", "Datum", ColumnKind::kDate}, {"Benutzer", "Benutzer"}, {"Beschreibung", "Import"}};
  int own = 0;
  for (const char* heading : list.headings) {
    if (heading == nullptr) break;
    columns.push_back({"Spalte" + std::to_string(own++), QString::fromUtf8(heading)});
  }
  columns.push_back({"Datei", kFile});
  return columns;
}

}  // namespace

LogPage::LogPage(const LogList& list, ComponentRegistry& components, ConnectionPtr connection, QWidget* parent)
    : QWidget(parent),
      list_(list),
      components_(components),
      connection_(std::move(connection)),
      guard_(this, [this](const RuntimeError& error) { count_->setText(ToQt(error.Description())); }) {
  setObjectName(QString("log") + list.list_name);
  only_last_ =
      SetUpButton(new QCheckBox(this), "onlyLast", "Nur der letzte Import", "Frühere Importe ausblenden", 'L');
  only_last_->setChecked(true);
  model_ = new QueryModel(ColumnsOf(list), this);
  table_ = MakeTable(model_, list.title, this);
  // What the log tells has the room.
  table_->horizontalHeader()->setSectionResizeMode(model_->columnCount() - 2, QHeaderView::Stretch);
  count_ = new QLabel(this);
  count_->setObjectName("count");
  auto* page = new QVBoxLayout(this);
  page->addWidget(only_last_);
  page->addWidget(table_, 1);
  page->addWidget(count_);
  guard_.On(only_last_, &QCheckBox::toggled, &LogPage::Refresh);
  Refresh();
}

void LogPage::Narrow() {
  const int narrow = table_->fontMetrics().averageCharWidth() * kNarrowCharacters;
  for (int column = 0; column < model_->columnCount(); ++column) {
    const QString heading = model_->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
    if (heading == kFile || heading == kRecordMark) table_->setColumnWidth(column, narrow);
  }
}

void LogPage::Refresh() {
  guard_.Run([&] {
    const ObjectPtr reader = components_.CreateObject("kestrelhost.LogReader");
    SetProperty(reader, "Connection", connection_);
    const RecordsetPtr rows =
        ToRecordset(CallMethod(reader, "ReadLog", list_.list_name, only_last_->isChecked()));
    const bool more = model_->SetRows(*rows, kShownRows);
    const QString shown = QLocale(QLocale::German).toString(model_->rowCount());
    count_->setText(more                      ? QString("Die ersten %1 Zeilen").arg(shown)
                    : model_->rowCount() == 0 ? QString("Keine Einträge")
                    : model_->rowCount() == 1 ? QString("1 Zeile")
                                              : shown + " Zeilen");
    FitColumns(*table_, kWidestColumn);
    Narrow();
  });
}

}  // namespace kestrel::host
