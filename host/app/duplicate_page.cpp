#include "app/duplicate_page.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QVBoxLayout>
#include <iterator>
#include <utility>

#include "app/list_parts.h"
#include "app/shown_wait.h"
#include "wizard/button_row.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"

namespace kestrel::host {

namespace {

using Room = LogColumn::Room;

const std::vector<LogColumn>& Columns() {
  static const std::vector<LogColumn> columns = {
      {"Adressart", "gleicht in"},
      {"Adresse", "Nummer", ColumnKind::kNumber},
      {"Name", "Name", ColumnKind::kText, Room::kAllThatIsLeft},
      {"Ort", "Ort"},
      {"Schluessel", "Schlüssel", ColumnKind::kNumber},
      {"FruehererDatensatz", "früherer Datensatz", ColumnKind::kNumber, Room::kHidden},
      {"Wertung", "sicher zu %", ColumnKind::kNumber, Room::kHidden},
      {"Grund", "Grund", ColumnKind::kText, Room::kHidden},
      {"Entscheidung", "Entscheidung"},
      {"Quelldatei", "Quelle", ColumnKind::kText, Room::kHidden},
  };
  return columns;
}

constexpr int kGapAbove = 6;
constexpr const char* kDiffers = "≠";

}  // namespace

DuplicatePage::DuplicatePage(ComponentRegistry& components, ConnectionPtr connection, std::string personal_nr,
                             QWidget* parent)
    : QWidget(parent),
      components_(components),
      connection_(std::move(connection)),
      personal_nr_(std::move(personal_nr)),
      guard_(this, [this](const RuntimeError& error) { status_->setText(ToQt(error.Description())); }) {
  setObjectName("logLST_ImportDublett");
  only_open_ = SetUpButton(new QCheckBox, "onlyOpen", "Nur offene",
                           "Datensätze ausblenden, über die schon entschieden ist", 'O');
  only_open_->setChecked(true);
  list_ = new LogList(
      "Dublettenprotokoll", Columns(),
      [this](bool only_last, std::int64_t limit) { return ReadList(only_last, limit); }, this);
  list_->AddChoice(only_open_);
  StackListAndDetails(this, list_, BuildComparison());
  guard_.On(list_, &LogList::ChoiceChanged, &DuplicatePage::ShowChosen);
  guard_.On(only_open_, &QCheckBox::toggled, [this] { Refresh(); });
  guard_.On(import_, &QPushButton::clicked, &DuplicatePage::ImportAnyway);
  guard_.On(discard_, &QPushButton::clicked, &DuplicatePage::Discard);
  Refresh();
}

QWidget* DuplicatePage::BuildComparison() {
  auto* comparison = new QWidget(this);
  title_ = new QLabel(comparison);
  title_->setObjectName("title");
  title_->setTextFormat(Qt::PlainText);
  title_->setWordWrap(true);
  fields_ = new QTableWidget(0, 4, comparison);
  fields_->setObjectName("fields");
  fields_->setAccessibleName("Neuer Datensatz und vorhandene Adresse");
  fields_->setHorizontalHeaderLabels({"Feld", "Neuer Datensatz", "", "Vorhandene Adresse"});
  fields_->verticalHeader()->hide();
  for (const int side : {1, 3}) fields_->horizontalHeader()->setSectionResizeMode(side, QHeaderView::Stretch);
  GiveListLook(*fields_);
  status_ = MakeStatusLine(comparison);
  status_->setObjectName("status");
  import_ = SetUpButton(new CaptionButton(comparison), "importAnyway", "trotzdem importieren",
                        "Diesen einen Datensatz als weitere Adresse speichern", 'T');
  discard_ = SetUpButton(new CaptionButton(comparison), "discard", "nicht importieren",
                         "Vermerken, dass dieser Datensatz nicht gebraucht wird", 'N');
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(status_, 1);
  bottom->addWidget(import_);
  bottom->addWidget(discard_);
  auto* parts = new QVBoxLayout(comparison);
  parts->setContentsMargins(0, kGapAbove, 0, 0);
  parts->addWidget(title_);
  parts->addWidget(fields_, 1);
  parts->addLayout(bottom);
  return comparison;
}

RecordsetPtr DuplicatePage::ReadList(bool only_last, std::int64_t limit) const {
  const ObjectPtr reader = components_.CreateObject("kestrelhost.LogReader");
  SetProperty(reader, "Connection", connection_);
  return ToRecordset(CallMethod(reader, "ReadHeldBack", only_last, only_open_->isChecked(), limit));
}

ObjectPtr DuplicatePage::Records() const {
  ObjectPtr records = components_.CreateObject("kestrelhost.HeldBackRecords");
  SetProperty(records, "Connection", connection_);
  return records;
}

void DuplicatePage::ShowChosen() {
  fields_->setRowCount(0);
  import_->setEnabled(false);
  discard_->setEnabled(false);
  title_->setToolTip({});
  if (!list_->HasChosen()) {
    title_->setText("Wählen Sie einen Datensatz, um ihn mit der vorhandenen Adresse zu vergleichen.");
    return;
  }
  status_->clear();
  if (list_->Chosen("Datensatz").isEmpty()) {
    title_->setText(
        "Welche Adresse der Datensatz wiederholt, ist in diesem Protokoll nicht festgehalten. "
        "Importieren Sie die Quelle erneut, um darüber zu entscheiden.");
    return;
  }
  title_->setText(WhatItRepeats());
  title_->setToolTip(PlainToolTip(list_->Chosen("Quelldatei")));
  ShowComparison(*ToRecordset(CallMethod(Records(), "Compare", ChosenKey())));
  const QString decision = list_->Chosen("Entscheidung");
  status_->setText(decision);
  import_->setEnabled(decision.isEmpty());
  discard_->setEnabled(decision.isEmpty());
}

QString DuplicatePage::WhatItRepeats() const {
  const auto chosen = [this](const char* column) { return list_->Chosen(column); };
  const QString source = QFileInfo(chosen("Quelldatei")).fileName();
  QString text = QString("Datensatz %1 %2 gleicht %3 %4")
                     .arg(chosen("Datensatz"), source.isEmpty() ? "der Quelle" : "aus " + source,
                          chosen("Adressart"), chosen("Adresse"));
  for (const char* part : {"Name", "Ort"}) {
    if (!chosen(part).isEmpty()) text += ", " + chosen(part);
  }
  if (!chosen("Schluessel").isEmpty()) text += QString(" (Schlüssel %1)").arg(chosen("Schluessel"));
  const QString earlier = chosen("FruehererDatensatz");
  if (!earlier.isEmpty()) text += QString(", gespeichert von Datensatz %1 derselben Quelle").arg(earlier);
  text += ".";
  if (!chosen("Grund").isEmpty()) text += QString("\n%1 % sicher: %2.").arg(chosen("Wertung"), chosen("Grund"));
  return text;
}

// Differences are marked by a sign, bold type and the tool tip, so that nobody depends on seeing one of them.
void DuplicatePage::ShowComparison(Recordset& rows) {
  bool is_address_there = rows.IsEof();
  for (; !rows.IsEof(); rows.MoveNext()) {
    const int row = fields_->rowCount();
    fields_->insertRow(row);
    const AddressColumn column = DescribeColumn(rows.TextAt(0));
    is_address_there = is_address_there || !rows.IsNull(2);
    const bool differs = !rows.IsNull(1) && !rows.IsNull(2) && rows.TextAt(1) != rows.TextAt(2);
    const QString texts[] = {column.heading, ShownText(column, rows.TextAt(1)), differs ? kDiffers : "",
                             ShownText(column, rows.TextAt(2))};
    for (int i = 0; i < static_cast<int>(std::size(texts)); ++i) {
      auto* item = new QTableWidgetItem(texts[i]);
      QFont font = fields_->font();
      font.setBold(differs);
      item->setFont(font);
      item->setToolTip(PlainToolTip(
          differs ? texts[i] + "\nNeuer Datensatz und vorhandene Adresse unterscheiden sich." : texts[i]));
      fields_->setItem(row, i, item);
    }
  }
  if (!is_address_there) title_->setText(title_->text() + " Diese Adresse gibt es nicht mehr.");
  FitColumns(*fields_, kWidestColumn);
}

void DuplicatePage::ImportAnyway() {
  const ShownWait wait(*connection_, this);
  const QString record = list_->Chosen("Datensatz");
  TellDecision(record, CallMethod(Records(), "ImportAnyway", ChosenKey(), personal_nr_));
}

void DuplicatePage::Discard() {
  const ShownWait wait(*connection_, this);
  const QString record = list_->Chosen("Datensatz");
  TellDecision(record, CallMethod(Records(), "Discard", ChosenKey()));
}

// No other record is chosen by itself: a second click must not decide about one that nobody has looked at.
void DuplicatePage::TellDecision(const QString& record, const Value& decision) {
  // The button that had it is switched off.
  list_->setFocus();
  emit Decided();
  status_->setText(QString("Datensatz %1: %2.").arg(record, ToQt(decision.ToText())));
}

}  // namespace kestrel::host
