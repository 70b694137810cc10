#include "app/address_page.h"

#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>
#include <string>

#include "app/list_parts.h"
#include "wizard/button_row.h"
#include "wizard/german_number.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"

namespace kestrel::host {

namespace {

// More rows than anybody scrolls through; searching finds the rest.
constexpr int kShownRows = 1000;
constexpr int kTypingPauseMs = 200;

}  // namespace

AddressPage::AddressPage(AddressList list, ConnectionPtr connection, AnotherConnection another, QWidget* parent)
    : QWidget(parent),
      list_(std::move(list)),
      guard_(this, [this](const RuntimeError& error) { count_->setText(ToQt(error.Description())); }),
      reader_(
          std::move(connection), std::move(another), this,
          [this](const AddressAnswer& answer) { guard_.Run([&] { Show(answer); }); },
          [this](const RuntimeError& error) { count_->setText(ToQt(error.Description())); }) {
  setObjectName("page" + list_.title);
  setAcceptDrops(true);
  BuildControls();
  ConnectEvents();
  Refresh();
  FitColumns(*table_, kWidestColumn);
}

void AddressPage::BuildControls() {
  search_ = new QLineEdit(this);
  search_->setObjectName("search");
  search_->setPlaceholderText("Suchen");
  search_->setAccessibleName(QString("%1 suchen").arg(list_.title));
  search_->setClearButtonEnabled(true);
  order_by_ = new QComboBox(this);
  order_by_->setObjectName("orderBy");
  for (const AddressColumn& column : list_.columns) order_by_->addItem(column.heading);
  QLabel* order_label = MakeLabel("Sortiert nach:", order_by_);
  descending_ = new QCheckBox("absteigend", this);
  descending_->setObjectName("descending");
  auto* import = SetUpButton(new CaptionButton(this), "cmdImport", list_.import_title,
                             QString("%1 aus einer Datei oder Datenbank einlesen").arg(list_.title), 'I');
  model_ = new QueryModel(list_.columns, this);
  table_ = MakeTable(model_, list_.title, this);
  table_->horizontalHeader()->setSortIndicator(0, Qt::AscendingOrder);
  table_->setSortingEnabled(true);
  count_ = MakeStatusLine(this);
  count_->setObjectName("count");

  auto* top = new QHBoxLayout;
  top->addWidget(search_, 1);
  top->addSpacing(12);
  top->addWidget(order_label);
  top->addWidget(order_by_);
  top->addWidget(descending_);
  top->addStretch(1);
  top->addWidget(import);
  auto* page = new QVBoxLayout(this);
  page->addLayout(top);
  page->addWidget(table_, 1);
  page->addWidget(count_);
  SetTabOrder({search_, order_by_, descending_, import, table_});
}

void AddressPage::ConnectEvents() {
  typing_.setSingleShot(true);
  typing_.setInterval(kTypingPauseMs);
  connect(search_, &QLineEdit::textChanged, &typing_, qOverload<>(&QTimer::start));
  guard_.On(&typing_, &QTimer::timeout, &AddressPage::Refresh);
  // The order can be chosen in the table's header or, by keyboard, above it; each shows what the other chose.
  guard_.On(model_, &QueryModel::SortAsked, &AddressPage::OrderBy);
  const auto order_chosen = [this] {
    table_->sortByColumn(order_by_->currentIndex(),
                         descending_->isChecked() ? Qt::DescendingOrder : Qt::AscendingOrder);
  };
  guard_.On(order_by_, &QComboBox::currentIndexChanged, order_chosen);
  guard_.On(descending_, &QCheckBox::toggled, order_chosen);
  guard_.On(findChild<QPushButton*>("cmdImport"), &QPushButton::clicked,
            [this] { emit ImportAsked(list_.app_mode, QString()); });
}

void AddressPage::OrderBy(int column, Qt::SortOrder order) {
  order_column_ = std::clamp(column, 0, static_cast<int>(list_.columns.size()) - 1);
  order_ = order;
  const QSignalBlocker quiet_column(order_by_);
  const QSignalBlocker quiet_direction(descending_);
  order_by_->setCurrentIndex(order_column_);
  descending_->setChecked(order_ == Qt::DescendingOrder);
  Refresh();
}

void AddressPage::Search() {
  search_->setFocus(Qt::ShortcutFocusReason);
  search_->selectAll();
}

void AddressPage::Refresh() {
  reader_.Ask({.table = list_.table,
               .columns = list_.columns,
               .text = search_->text().trimmed(),
               .order_column = static_cast<std::size_t>(order_column_),
               .descending = order_ == Qt::DescendingOrder,
               .limit = kShownRows});
}

void AddressPage::Show(const AddressAnswer& answer) {
  const bool was_empty = model_->rowCount() == 0;
  model_->SetRows(*answer.rows, kShownRows);
  // Widths that a person has chosen stay, but there is nothing to choose by in an empty list.
  if (was_empty) FitColumns(*table_, kWidestColumn);
  const QString all = GermanCount(answer.found, "Adresse", "Adressen");
  QString text =
      answer.found > kShownRows ? QString("Die ersten %1 von %2").arg(GermanNumber(kShownRows), all) : all;
  if (!answer.is_complete) text = QString("Suche läuft (%1 %): bisher %2").arg(answer.percent).arg(text);
  count_->setText(text);
}

void AddressPage::dragEnterEvent(QDragEnterEvent* event) {
  if (!DroppedFile(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void AddressPage::dropEvent(QDropEvent* event) {
  const QString file = DroppedFile(event->mimeData());
  if (file.isEmpty()) return;
  event->acceptProposedAction();
  // The program that the file comes from waits for the end of the drop.
  guard_.Later(0, [this, file] { emit ImportAsked(list_.app_mode, file); });
}

}  // namespace kestrel::host
