#include "wizard/frmStep2.h"

#include <QApplication>
#include <QEvent>
#include <QToolButton>
#include <algorithm>
#include <chrono>
#include <utility>

#include "component/import_class.h"
#include "kestrel/import_job.h"
#include "kestrel/wizard.h"
#include "sources/source_catalog.h"
#include "sources/source_excerpt.h"
#include "sources/source_reader.h"
#include "spec/specification.h"
#include "wizard/apart_threads.h"
#include "wizard/frmDrift.h"
#include "wizard/frmPrev.h"
#include "wizard/host_answer.h"
#include "wizard/qt_text.h"
#include "wizard/saving.h"

namespace kestrel {

namespace {

constexpr const char* kWaiting = "Die Datenquelle wird gelesen ...";
constexpr const char* kSettingsMissing = "Es fehlen Angaben zur Datenquelle.";
// How often it is looked whether the source has answered.
constexpr int kLookForAnswerMs = 20;
// A drop-down list as SelectListEntry walks it.
class ComboEntries final : public SelectableList {
 public:
  explicit ComboEntries(QComboBox& box) : box_(box) {}
  int Count() const override { return box_.count(); }
  void Select(int index) override { box_.setCurrentIndex(index); }
  std::string SelectedText() const override { return FromQt(box_.itemText(box_.currentIndex())); }
  std::int64_t ItemData(int index) const override { return box_.itemData(index).toLongLong(); }

 private:
  QComboBox& box_;
};

// How the source that the session describes is asked in another thread: through its connection, or apart where it is
// read without one. Null where it has to be connected to and is not.
bool IsReadApart(const Session& session) {
  const SourceKind* kind = KindOf(session);
  return kind != nullptr && kind->connect == nullptr;
}

std::function<AskedColumns()> ColumnsOfSource(const Session& session) {
  if (IsReadApart(session)) return BeginColumns(session);
  if (KindOf(session) == nullptr || session.SourceConnection == nullptr) return nullptr;
  return
      [connection = session.SourceConnection, table = session.Table] { return AskColumns(*connection, table); };
}

RecordsOpening RecordsOfSource(const Session& session) {
  if (IsReadApart(session)) return BeginRecords(session);
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr || session.SourceConnection == nullptr) return nullptr;
  return [connection = session.SourceConnection, sql = kind->query(session)] {
    return connection->OpenRecordset(sql);
  };
}

}  // namespace

frmStep2::frmStep2(ImportJob& job, Wizard& wizard)
    : QWidget(nullptr, Qt::Window),
      job_(job),
      session_(job.session()),
      wizard_(wizard),
      guard_(this, session_.platform.ui) {
  setObjectName("frmStep2");
  BuildControls();
  ConnectEvents();
}

// --- Loading ------------------------------------------------------------------------------------

bool frmStep2::event(QEvent* event) {
  return guard_.Handle([&] {
    if (event->type() == QEvent::WindowActivate) FirstActivation();
    return QWidget::event(event);
  });
}

void frmStep2::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  // A window manager may refuse to activate a window; the page is filled then all the same.
  guard_.Later(0, &frmStep2::FirstActivation);
}

void frmStep2::FirstActivation() {
  if (activated_) return;
  activated_ = true;
  for (const SourceKind& kind : KindsOf(session_)) {
    const bool is_wanted = wizard_.comforts().unlisted_kinds && &kind == KindOf(session_);
    const bool is_excel = wizard_.comforts().offers_excel && kind.frame == SourceFrame::kExcel;
    if (kind.is_offered || is_wanted || is_excel) cboDatenquelleTyp_->addItem(ToQt(kind.name));
  }
  cboDatenquelleTyp_->setCurrentIndex(0);
  if (!CreateObject()) return;
  if (!guard_.Run([&] { FillFromSession([this] { EndLoading(); }); })) EndLoading();
}

void frmStep2::EndLoading() {
  loading_ = false;
  const SourceKind* kind = KindOf(session_);
  if (kind != nullptr) known_file_ = session_.*kind->location;
  cboDatenquelleTyp_->setFocus();
  PreviewSoon();
}

bool frmStep2::CreateObject() {
  const WaitCursor wait;
  std::optional<RuntimeError> failure;
  job_.OpenImportClass(&failure);
  // Only a missing component leads back; of any other failure the person has been told.
  if (failure && failure->Is(ErrorNumber::kCannotCreateObject)) {
    wizard_.ShowStep1();
    close();
    return false;
  }
  Trap([&] { has_options_ = ImportClassHasConfig(session_); }, [](const RuntimeError&) {});
  cmdOptions_->setEnabled(has_options_);
  return true;
}

void frmStep2::FillFromSession(std::function<void()> then) {
  TakeHandedInFile([this, then = std::move(then)] { ShowSession(then); });
}

bool frmStep2::IsListed(const SourceKind* kind) const {
  return kind != nullptr && cboDatenquelleTyp_->findText(ToQt(kind->name)) >= 0;
}

void frmStep2::ShowSession(std::function<void()> then) {
  SourcePage page = Values();
  const SourceKind* kind = KindOf(session_);
  LoadPage(session_, page, IsListed(kind));
  SetValues(page);
  QComboBox* list = ListOf(kind);
  if (list == nullptr || !IsListed(kind)) {
    then();
    return;
  }
  Connect(kind, [this, list, then] {
    SelectTable(list);
    then();
  });
}

SourcePage frmStep2::Values() const {
  SourcePage page;
  page.cboDatenquelleTyp = FromQt(cboDatenquelleTyp_->currentText());
  page.txtFilename = FromQt(txtFilename_->text());
  page.delimiter = optTab_->isChecked()         ? DelimiterChoice::kTab
                   : optSemikolon_->isChecked() ? DelimiterChoice::kSemicolon
                   : optKomma_->isChecked()     ? DelimiterChoice::kComma
                                                : DelimiterChoice::kOther;
  page.txtAnders = FromQt(txtAnders_->text());
  page.txtTexterkenner = FromQt(txtTexterkenner_->text());
  page.chkZeileFeldname = chkZeileFeldname_->isChecked();
  page.optAnsi = optAnsi_->isChecked();
  page.chkSichereDatei = chkSichereDatei_->isChecked();
  page.txtSicherungspfad = FromQt(txtSicherungspfad_->text());
  page.chkDateilöschen = chkDateilöschen_->isChecked();
  page.txtSQLServer = FromQt(txtSQLServer_->text());
  page.txtSQLUID = FromQt(txtSQLUID_->text());
  page.txtSQLKennwort = FromQt(txtSQLKennwort_->text());
  page.txtSQLDB = FromQt(txtSQLDB_->text());
  page.cboSQLTable = FromQt(cboSQLTable_->currentText());
  page.txtAccessDB = FromQt(txtAccessDB_->text());
  page.txtAccessBenutzer = FromQt(txtAccessBenutzer_->text());
  page.txtAccessKennwort = FromQt(txtAccessKennwort_->text());
  page.cboAccessTable = FromQt(cboAccessTable_->currentText());
  page.txtExcelFile = FromQt(txtExcelFile_->text());
  page.cboExcelSheet = FromQt(cboExcelSheet_->currentText());
  page.txtdBaseFile = FromQt(txtdBaseFile_->text());
  page.cbodBaseTable = FromQt(cbodBaseTable_->currentText());
  return page;
}

void frmStep2::SetValues(const SourcePage& page) {
  cboDatenquelleTyp_->setCurrentIndex(cboDatenquelleTyp_->findText(ToQt(page.cboDatenquelleTyp)));
  txtFilename_->setText(ToQt(page.txtFilename));
  chkZeileFeldname_->setChecked(page.chkZeileFeldname);
  (page.optAnsi ? optAnsi_ : optAscii_)->setChecked(true);
  switch (page.delimiter) {
    case DelimiterChoice::kTab: optTab_->setChecked(true); break;
    case DelimiterChoice::kSemicolon: optSemikolon_->setChecked(true); break;
    case DelimiterChoice::kComma: optKomma_->setChecked(true); break;
    case DelimiterChoice::kOther: optAnders_->setChecked(true); break;
  }
  txtAnders_->setText(ToQt(page.txtAnders));
  txtTexterkenner_->setText(ToQt(page.txtTexterkenner));
  chkSichereDatei_->setChecked(page.chkSichereDatei);
  chkSichereDatei_Click();
  txtSicherungspfad_->setText(ToQt(page.txtSicherungspfad));
  chkDateilöschen_->setChecked(page.chkDateilöschen);
  txtSQLServer_->setText(ToQt(page.txtSQLServer));
  txtSQLUID_->setText(ToQt(page.txtSQLUID));
  txtSQLKennwort_->setText(ToQt(page.txtSQLKennwort));
  txtSQLDB_->setText(ToQt(page.txtSQLDB));
  txtAccessBenutzer_->setText(ToQt(page.txtAccessBenutzer));
  txtAccessDB_->setText(ToQt(page.txtAccessDB));
  txtExcelFile_->setText(ToQt(page.txtExcelFile));
  txtdBaseFile_->setText(ToQt(page.txtdBaseFile));
}

bool frmStep2::StoreValues() {
  bool stored = false;
  guard_.Run([&] { stored = StorePage(session_, Values()); });
  return stored;
}

void frmStep2::SelectTable(QComboBox* list) {
  ComboEntries entries(*list);
  // Nobody knows which tables there are while the source cannot be read.
  if (list->count() == 0 && wizard_.comforts().kept_assignments) {
    list->setEditText(ToQt(session_.Table));
    return;
  }
  SelectListEntry(entries, ListedTableName(*KindOf(session_), session_.Table), 0);
}

// --- Connecting ---------------------------------------------------------------------------------

const SourceKind* frmStep2::ChosenKind() const {
  return KindsOf(session_).Find(FromQt(cboDatenquelleTyp_->currentText()));
}

const SourceKind* frmStep2::KindIn(SourceFrame frame) const {
  const SourceKind* chosen = ChosenKind();
  if (chosen != nullptr && chosen->frame == frame) return chosen;
  const SourceKinds& kinds = KindsOf(session_);
  return &*std::find_if(kinds.begin(), kinds.end(),
                        [&](const SourceKind& kind) { return kind.frame == frame; });
}

QComboBox* frmStep2::ListOf(const SourceKind* kind) const {
  return kind == nullptr ? nullptr : table_lists_[static_cast<std::size_t>(kind->frame)];
}

void frmStep2::Connect(const SourceKind* kind, std::function<void()> then) {
  if (QComboBox* list = ListOf(kind)) {
    const SourceInputs inputs = InputsOfPage(*kind, Values());
    SourceOpening opening = job_.BeginConnect(*kind, inputs, loaded_);
    if (opening) connecting_with_ = inputs;
    if (opening) {
      const auto opened = std::make_shared<OpenedSource>();
      WaitFor([opening = std::move(opening), opened] { *opened = opening(); },
              [this, kind, list, opened, then = std::move(then)] {
                FillTables(*list, job_.FinishConnect(*kind, std::move(*opened), loaded_));
                then();
              });
      return;
    }
  }
  then();
}

void frmStep2::FillTables(QComboBox& list, const ConnectResult& result) {
  const bool tells = !result.connected && wizard_.comforts().failed_connections;
  lblStatus_->clear();
  if (tells) ShowWhyNot(ToQt(result.reason));
  if (!result.connected) return;
  answered_ = connecting_with_;
  PreviewSoon();
  const QString text = list.currentText();
  list.clear();
  for (const std::string& table : result.tables) list.addItem(ToQt(table));
  // Filling does not change what was typed or chosen before.
  list.setCurrentIndex(list.findText(text));
  list.setEditText(text);
}

void frmStep2::WaitFor(std::function<void()> work, std::function<void()> then) {
  const SourceKind* kind = ChosenKind();
  const bool is_server = kind != nullptr && kind->place == SourcePlace::kServer;
  WaitFor(std::move(work), std::move(then), is_server ? std::chrono::milliseconds(0) : kAtOnce);
}

void frmStep2::WaitFor(std::function<void()> work, std::function<void()> then,
                       std::chrono::milliseconds at_once) {
  std::packaged_task<void()> task(std::move(work));
  answer_ = task.get_future();
  after_answer_ = std::move(then);
  // Nobody waits for the thread of a page that has gone: it ends with the file that it reads, or by the driver's own
  // time limit, and holds all that it uses.
  ApartThreads::Start(std::move(task));
  if (at_once.count() > 0 && answer_.wait_for(at_once) == std::future_status::ready) {
    answer_.get();
    std::exchange(after_answer_, nullptr)();
    return;
  }
  SetWaiting(true);
  look_for_answer_.start(kLookForAnswerMs);
}

void frmStep2::LookForAnswer() {
  if (answer_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return;
  look_for_answer_.stop();
  answer_.get();
  // Closed meanwhile: nothing follows any more.
  if (!isVisible()) return;
  SetWaiting(false);
  std::exchange(after_answer_, nullptr)();
}

void frmStep2::SetWaiting(bool waiting) {
  if (waiting) focus_before_waiting_ = focusWidget();
  // The focus moves while controls are switched off and on; nobody has left or entered anything.
  waiting_ = true;
  for (QWidget* control : std::initializer_list<QWidget*>{cboDatenquelleTyp_, frames_, cmdVorschau_, cmdSave_,
                                                          cmdPrev_, cmdNext_}) {
    control->setEnabled(!waiting);
  }
  cmdOptions_->setEnabled(!waiting && has_options_);
  if (auto* menu = findChild<QToolButton*>("cmdSaveMenu")) menu->setEnabled(!waiting);
  if (wizard_.comforts().failed_connections) {
    if (waiting) lblStatus_->setText(kWaiting);
    if (!waiting && lblStatus_->text() == kWaiting) lblStatus_->clear();
  }
  if (waiting) {
    setCursor(Qt::BusyCursor);
  } else {
    unsetCursor();
  }
  if (!waiting && focus_before_waiting_ != nullptr) focus_before_waiting_->setFocus();
  waiting_ = waiting;
  PreviewSoon();
}

// --- Events -------------------------------------------------------------------------------------

void frmStep2::Edited() {
  PreviewSoon();
  if (loading_) return;
  lblStatus_->clear();
  session_.SourceSettingsChanged = true;
  session_.SchemaChanged = true;
}

// The focus that comes back from a drop-down list or another window had never left.
bool frmStep2::IsEntering(const QEvent* event) {
  if (event->type() != QEvent::FocusIn) return false;
  const auto reason = static_cast<const QFocusEvent*>(event)->reason();
  return reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason;
}

bool frmStep2::eventFilter(QObject* watched, QEvent* event) {
  return guard_.Handle([&] {
    if (IsEntering(event) && !loading_ && !waiting_) {
      const auto list = std::find(table_lists_.begin(), table_lists_.end(), watched);
      if (list != table_lists_.end()) {
        Connect(KindIn(static_cast<SourceFrame>(list - table_lists_.begin())), [] {});
      }
    }
    if (event->type() == QEvent::FocusOut && watched == txtFilename_ && !waiting_) RecogniseTypedFile();
    if (event->type() == QEvent::FocusOut && watched == txtFilename_ && !waiting_ &&
        static_cast<QFocusEvent*>(event)->reason() != Qt::ActiveWindowFocusReason) {
      // After the focus has arrived where it goes, so that the box does not fight over it.
      leave_.start(0);
    }
    return QWidget::eventFilter(watched, event);
  });
}

void frmStep2::cboDatenquelleTyp_Click() {
  const SourceKind* kind = ChosenKind();
  frames_->setCurrentIndex(static_cast<int>(kind == nullptr ? SourceFrame::kFile : kind->frame));
  if (!loading_) lblErkannt_->hide();
  Edited();
}

void frmStep2::chkSichereDatei_Click() {
  txtSicherungspfad_->setEnabled(chkSichereDatei_->isChecked());
  lblSicherungspfad_->setEnabled(chkSichereDatei_->isChecked());
  Edited();
}

void frmStep2::cmdVorschau_Click() {
  cboDatenquelleTyp_->setFocus();
  if (!StoreValues()) {
    ShowMessage("Bitte geben Sie alle benötigten Daten an um die Dateivorschau anzuzeigen.", "Vorschau");
    return;
  }
  if (!SourceFileIsThere(session_)) {
    if (wizard_.comforts().failed_connections) lblStatus_->setText(ToQt(ReasonToStay(session_).value_or("")));
    return;
  }
  const SourceKind* kind = KindOf(session_);
  QComboBox* list = ListOf(kind);
  if ((!session_.SourceSettingsChanged && !LacksConnection()) || list == nullptr) {
    ShowPreview();
    return;
  }
  why_not_ = kSettingsMissing;
  Connect(kind, [this, list] {
    SelectTable(list);
    ShowPreview();
  });
}

void frmStep2::ShowPreview() {
  if (LacksConnection()) {
    lblStatus_->setText(why_not_);
    return;
  }
  const RecordsOpening open = RecordsOfSource(session_);
  if (open == nullptr) {
    ShowPreview(nullptr);
    return;
  }
  const auto records = std::make_shared<OpenedRecords>();
  WaitFor([records, open, ask = ColumnsOfSource(session_)] { *records = OpenRecords(open, ask); },
          [this, records] {
            if (records->rows == nullptr && GivesUp(records->error)) return;
            ShowPreview(records.get());
          });
}

void frmStep2::ShowPreview(const OpenedRecords* records) {
  std::unique_ptr<frmPrev> preview;
  {
    const WaitCursor wait;
    preview = std::make_unique<frmPrev>(job_, this, records);
    wizard_.Dress(*preview);
  }
  preview->exec();
  preview.reset();
  // A block that is still being read has the connection to itself.
  if (records != nullptr && records->rows != nullptr && records->rows->IsBusy()) {
    WaitFor([rows = records->rows] { rows->AwaitIdle(); }, [] {});
  }
}

void frmStep2::cmdOptions_Click() {
  Trap([&] { ShowImportClassConfig(session_); },
       [&](const RuntimeError& error) { ShowMessage("Fehler: " + error.Description(), ""); });
  Edited();
}

void frmStep2::cmdSave_Click() {
  // The page is not stored first: what was edited since the last store is not part of this save.
  bool saved = false;
  Trap([&] { saved = SaveForGood(job_, wizard_.comforts()); },
       [&](const RuntimeError& error) { ShowMessage("Fehler: " + error.Description(), ""); });
  lblStatus_->setText(saved && wizard_.comforts().tells_of_saving ? kSavedText : "");
}

void frmStep2::mnuSaveAs_Click() {
  // While the page waits for a server its boxes are not filled, and it may be left at any moment.
  if (!cmdSave_->isEnabled()) return;
  bool saved = false;
  // A copy is of what the person sees.
  if (!StoreValues()) {
    ShowMessage("Bitte wählen Sie zuerst einen Datenquellen-Typ.", "");
    return;
  }
  Trap([&] { saved = job_.SaveSchemaAs(); },
       [&](const RuntimeError& error) { ShowMessage("Fehler: " + error.Description(), ""); });
  lblStatus_->setText(saved ? kSavedText : "");
}

void frmStep2::cmdPrev_Click() {
  const auto save = [&] {
    StoreValues();
    Trap([&] { job_.SaveSchema(true); },
         [&](const RuntimeError& error) { ShowMessage("Fehler: " + error.Description(), ""); });
  };
  if (IsTemplate(session_)) {
    const Answer answer = session_.platform.ui.MessageBox(
        "Beim zurückblättern gehen die getroffenen Einstellungen verloren. Möchten Sie diese nun speichern?",
        "Speichern?", Icon::kQuestion, Buttons::kYesNo);
    if (answer == Answer::kYes) {
      save();
    }
  } else {
    save();
  }
  job_.Cancel();
  wizard_.ShowStep1();
  close();
}

void frmStep2::cmdNext_Click() {
  if (!StoreValues()) return;
  if (const auto reason = ReasonToStay(session_)) {
    // The same would be said once more on leaving txtFilename.
    leave_.stop();
    ShowMessage(*reason, "");
    return;
  }
  if (session_.SourceSettingsChanged || LacksConnection()) {
    why_not_ = kSettingsMissing;
    Connect(KindOf(session_), [this] { GoOn(); });
  } else {
    GoOn();
  }
}

bool frmStep2::ConfirmDrift() {
  Findings drift;
  try {
    const WaitCursor wait;
    drift = job_.ColumnDrift();
  } catch (const ImportRefused&) {
    return false;  // a box has told why
  }
  if (drift.empty()) return true;
  frmDrift dialog(drift, this);
  wizard_.Dress(dialog);
  if (dialog.exec() != QDialog::Accepted) return false;
  job_.TakeOverColumns(dialog.Ticked());
  return true;
}

void frmStep2::GoOn() {
  const std::function<AskedColumns()> ask = ColumnsOfSource(session_);
  if (ask == nullptr) {
    LacksConnection() ? OfferToGoOnWithout() : GoOnAtOnce();
    return;
  }
  // What follows asks for the columns; this is the answer.
  const auto asked = std::make_shared<AskedColumns>();
  WaitFor([asked, ask] { *asked = ask(); },
          [this, asked] {
            if (GivesUp(asked->error)) {
              OfferToGoOnWithout();
              return;
            }
            job_.UseColumns(asked);
            guard_.Run([this] { GoOnAtOnce(); });
            job_.UseColumns(nullptr);
          });
}

void frmStep2::GoOnAtOnce() {
  if (wizard_.comforts().column_drift && !ConfirmDrift()) return;
  // Step 3 has no fields to assign without it.
  if (wizard_.comforts().failed_connections && !HostAnswers(session_)) return;
  {
    const WaitCursor wait;
    wizard_.ShowStep3();
  }
  close();
}

void frmStep2::cmdCancel_Click() {
  job_.Cancel();
  close();
}

void frmStep2::ShowMessage(const std::string& text, const std::string& title) {
  session_.platform.ui.MessageBox(text, title, Icon::kInformation, Buttons::kOk);
}

}  // namespace kestrel
