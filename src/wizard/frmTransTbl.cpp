#include "wizard/frmTransTbl.h"

#include <QHeaderView>
#include <QVBoxLayout>
#include <atomic>
#include <chrono>
#include <future>
#include <utility>

#include "mapping/translation.h"
#include "mapping/values_apart.h"
#include "sources/source_kind.h"
#include "wizard/apart_threads.h"
#include "wizard/button_row.h"
#include "wizard/german_number.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/reading_dialog.h"
#include "wizard/table_look.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

constexpr int kFieldColumn = 0;
constexpr int kTranslateColumn = 1;
constexpr std::chrono::milliseconds kLook{15};
constexpr std::chrono::milliseconds kLastWait{100};
// Not between two cells that follow each other at once.
constexpr std::chrono::milliseconds kCheckAfter{200};

QStandardItem* Cell(std::string_view text, bool editable) {
  auto* item = new QStandardItem(ToQt(text));
  item->setEditable(editable);
  return item;
}

}  // namespace

frmTransTbl::frmTransTbl(Session& session, bool checks)
    : session_(session), guard_(this, [this](const RuntimeError& error) { Tell(ToQt(error.Description())); }) {
  setObjectName("frmTransTbl");
  tdbGridTransl_ = new QTableView(this);
  tdbGridTransl_->setObjectName("tdbGridTransl");
  tdbGridTransl_->setAccessibleName("Übersetzungen");
  tdbGridTransl_->setModel(&model_);
  GiveTableLook(*tdbGridTransl_);
  tdbGridTransl_->verticalHeader()->hide();
  tdbGridTransl_->setEditTriggers(QAbstractItemView::AllEditTriggers);
  tdbGridTransl_->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  lblStatus_ = MakeStatusLine(this);
  auto* buttons = new ButtonRow(this);
  buttons->AddNotice(lblStatus_);
  cmdOK_ = buttons->AddDefault("cmdOK", "OK", "", 'O');
  cmdCancel_ = buttons->AddCancel("");

  auto* body = new QVBoxLayout;
  body->addWidget(tdbGridTransl_);
  LayOutPage(this, nullptr, body, buttons);
  SetTabOrder({tdbGridTransl_, cmdOK_, cmdCancel_});
  resize(sizeHint().expandedTo(QSize(520, 420)));
  GiveIcon(this);
  RememberSize(this, "translations");
  guard_.On(cmdOK_, &QPushButton::clicked, &frmTransTbl::cmdOK_Click);
  guard_.On(&model_, &QStandardItemModel::itemChanged, &frmTransTbl::Edited);
  guard_.On(tdbGridTransl_, &QTableView::doubleClicked, [this] {
    if (translation_mode_ == kConstantsMode) cmdOK_Click();
  });
  guard_.On(cmdCancel_, &QPushButton::clicked, &frmTransTbl::reject);
  check_.setSingleShot(true);
  check_.setInterval(kCheckAfter);
  if (!checks) return;
  guard_.On(&check_, &QTimer::timeout, &frmTransTbl::Check);
  guard_.On(&model_, &QStandardItemModel::itemChanged, [this] {
    if (translation_mode_ == kTranslationMode && isVisible()) check_.start();
  });
}

bool frmTransTbl::ShowModal(QWidget* above) {
  // A dialog that is not a child of the page stays above it all the same.
  setParent(above, windowFlags());
  saved_ = false;
  return_value_.clear();
  grows_ = false;
  model_.clear();
  Tell("");
  const bool translations = translation_mode_ == kTranslationMode;
  setWindowTitle(translations ? "Übersetzungstabelle bearbeiten..." : "Konstanten bearbeiten...");
  {
    // Reading the values of a long source takes a while.
    const WaitCursor wait;
    Trap([&] { translations ? FillTranslations() : FillConstants(); },
         [&](const RuntimeError& error) { Tell(ToQt(error.Description())); });
  }
  tdbGridTransl_->setFocus();
  exec();
  check_.stop();
  // The page may be deleted before this dialog.
  setParent(nullptr, windowFlags());
  return saved_;
}

bool frmTransTbl::event(QEvent* event) {
  return guard_.Handle([&] { return QDialog::event(event); });
}

DistinctValues frmTransTbl::ReadValues() {
  ReadingDialog reading("Die Werte der Spalte werden gelesen.", parentWidget());
  const SourceKind* kind = KindOf(session_);
  if (kind == nullptr || kind->place != SourcePlace::kServer) {
    return CollectDistinctValues(session_, field_name_, [&] { return reading.GoOn(); });
  }
  // It may take its time for the first row, or be silent.
  const auto is_wanted = std::make_shared<std::atomic<bool>>(true);
  std::packaged_task<ValuesApart()> task(
      DistinctValuesApart(session_, field_name_, [is_wanted] { return is_wanted->load(); }));
  std::future<ValuesApart> answer = task.get_future();
  ApartThreads::Start(std::move(task));
  while (answer.wait_for(kLook) != std::future_status::ready) {
    if (reading.GoOn()) continue;
    *is_wanted = false;
    // What it has read until now is worth a moment; a silent server ends by the driver's own time limit.
    if (answer.wait_for(kLastWait) != std::future_status::ready) return {.values = {}, .cut = true};
  }
  ValuesApart values = answer.get();
  if (values.failure) {
    session_.platform.ui.MessageBox("Fehler: " + values.failure->Description(), "", Icon::kNone, Buttons::kOk);
  }
  return std::move(values.distinct);
}

void frmTransTbl::FillTranslations() {
  model_.setHorizontalHeaderLabels({"Feldinhalt (Quelle)", "Übersetzung"});
  tdbGridTransl_->setAccessibleName("Übersetzungen");
  tdbGridTransl_->setSelectionBehavior(QAbstractItemView::SelectItems);
  const DistinctValues distinct = ReadValues();
  for (const TranslationRow& row : ReadTranslationRows(session_, destination_name_, distinct.values)) {
    model_.appendRow({Cell(row.field_name, false), Cell(row.translate_name, true)});
  }
  if (distinct.cut) {
    // The source holds more: an entry can be typed in by hand in the last row, which is always an empty one.
    AppendEmptyRow();
    grows_ = true;
    Tell(distinct.values.empty()
             ? QString("Die Werte wurden nicht gelesen. Sie können in der letzten Zeile eingetragen werden.")
             : QString("Angezeigt werden die ersten %1 Werte. Weitere können in der letzten Zeile eingetragen "
                       "werden.")
                   .arg(GermanNumber(static_cast<std::int64_t>(distinct.values.size()))));
  }
  std::vector<PermittedValue> permitted;
  // The table can be edited as text where the host does not answer.
  Trap(
      [&] {
        permitted = ReadPermittedValues(session_, row_source_, row_source_typ_, ValueListUse::kTranslation);
      },
      [&](const RuntimeError& error) { Tell(ToQt(error.Description())); });
  permitted_ = std::make_unique<PermittedValueDelegate>(std::move(permitted), nullptr);
  tdbGridTransl_->setItemDelegateForColumn(kTranslateColumn, permitted_.get());
  for (int row = 0; row < model_.rowCount(); ++row) NameTranslation(model_.item(row, kTranslateColumn));
  if (model_.rowCount() > 0) tdbGridTransl_->setCurrentIndex(model_.index(0, kTranslateColumn));
}

void frmTransTbl::AppendEmptyRow() { model_.appendRow({Cell("", true), Cell("", true)}); }

void frmTransTbl::NameTranslation(QStandardItem* item) {
  const QString value = item->text();
  const QString display = permitted_ == nullptr ? value : permitted_->Display(value);
  item->setAccessibleText(display == value ? QString() : display);
}

void frmTransTbl::Edited(QStandardItem* item) {
  if (translation_mode_ == kTranslationMode && item->column() == kTranslateColumn) NameTranslation(item);
  if (grows_ && item->row() == model_.rowCount() - 1 && !item->text().isEmpty()) AppendEmptyRow();
}

void frmTransTbl::FillConstants() {
  model_.setHorizontalHeaderLabels({"Konstante", "Bezeichnung"});
  tdbGridTransl_->setAccessibleName("Konstanten");
  tdbGridTransl_->setSelectionBehavior(QAbstractItemView::SelectRows);
  tdbGridTransl_->setItemDelegateForColumn(kTranslateColumn, nullptr);
  int present = 0;
  for (const PermittedValue& permitted :
       ReadPermittedValues(session_, row_source_, row_source_typ_, ValueListUse::kConstants)) {
    if (permitted.value == present_constant_) present = model_.rowCount();
    model_.appendRow({Cell(permitted.value, false), Cell(permitted.display, false)});
  }
  // What OK takes is seen from the beginning.
  if (model_.rowCount() > 0) tdbGridTransl_->selectRow(present);
}

void frmTransTbl::cmdOK_Click() {
  if (Save()) done(saved_ ? Accepted : Rejected);
}

bool frmTransTbl::Save() {
  if (translation_mode_ == kConstantsMode) {
    const QModelIndex current = tdbGridTransl_->currentIndex();
    if (current.isValid()) return_value_ = FromQt(model_.item(current.row(), kFieldColumn)->text());
    saved_ = current.isValid();
    return true;
  }
  // What is still being typed counts.
  tdbGridTransl_->setCurrentIndex(QModelIndex());
  const std::vector<TranslationRow> rows = Rows();
  std::optional<RefusedRow> refused;
  saved_ = Trap(
      [&] {
        refused = FindRefusedRow(session_, destination_name_, rows);
        if (!refused) WriteTranslationRows(session_, destination_name_, rows);
      },
      [&](const RuntimeError& error) { TellNotSaved("Fehler: " + error.Description()); });
  if (refused) {
    saved_ = false;
    TellNotSaved(refused->text);
    tdbGridTransl_->setCurrentIndex(model_.index(static_cast<int>(refused->row), kTranslateColumn));
  }
  return saved_;
}

std::vector<TranslationRow> frmTransTbl::Rows() const {
  std::vector<TranslationRow> rows;
  for (int row = 0; row < model_.rowCount(); ++row) {
    rows.push_back(
        {FromQt(model_.item(row, kFieldColumn)->text()), FromQt(model_.item(row, kTranslateColumn)->text())});
  }
  return rows;
}

void frmTransTbl::Check() {
  const std::optional<RefusedRow> refused = FindRefusedRow(session_, destination_name_, Rows());
  const QString told = refused ? ToQt(refused->text) : QString();
  lblStatus_->setText(told.isEmpty() || notice_.isEmpty() ? told + notice_ : told + '\n' + notice_);
}

void frmTransTbl::TellNotSaved(const std::string& reason) {
  session_.platform.ui.MessageBox(reason, "Speichern", Icon::kInformation, Buttons::kOk);
}

void frmTransTbl::reject() {
  // A constant that was not taken is no change to be saved.
  if (translation_mode_ == kTranslationMode) {
    const Answer answer = session_.platform.ui.MessageBox("Möchten Sie die Änderungen speichern?", "Speichern",
                                                          Icon::kQuestion, Buttons::kYesNo);
    if (answer == Answer::kYes && !Save()) return;
  }
  done(saved_ ? Accepted : Rejected);
}

void frmTransTbl::Tell(const QString& notice) {
  notice_ = notice;
  lblStatus_->setText(notice);
}

}  // namespace kestrel
