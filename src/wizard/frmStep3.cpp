#include "wizard/frmStep3.h"

#include <QCloseEvent>
#include <QFocusEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPointer>
#include <QVBoxLayout>
#include <algorithm>

#include "check/source_check.h"
#include "component/import_class.h"
#include "kestrel/import_job.h"
#include "kestrel/wizard.h"
#include "mapping/row_keeper.h"
#include "sources/source_kind.h"
#include "sources/source_reader.h"
#include "spec/specification.h"
#include "wizard/ask_before_loss.h"
#include "wizard/button_row.h"
#include "wizard/field_list_tools.h"
#include "wizard/field_samples.h"
#include "wizard/frmQuestionDlg.h"
#include "wizard/frmTransTbl.h"
#include "wizard/host_answer.h"
#include "wizard/qt_text.h"
#include "wizard/result_tab.h"
#include "wizard/saving.h"
#include "wizard/table_look.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

constexpr int kTwipsAnInch = 1440;
constexpr int kToldTwips[] = {2264, 2564, 1544};  // the widths of the columns shown
constexpr int kWidestColumn = 40;                 // characters
constexpr int kColumnAir = 12;                    // pixels

// Losing the focus to a menu, a drop-down list or another program is not leaving a control.
bool IsLeaving(const QEvent* event) {
  if (event->type() != QEvent::FocusOut) return false;
  const auto reason = static_cast<const QFocusEvent*>(event)->reason();
  return reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason &&
         reason != Qt::MenuBarFocusReason;
}

}  // namespace

frmStep3::frmStep3(ImportJob& job, Wizard& wizard)
    : QWidget(nullptr, Qt::Window),
      job_(job),
      session_(job.session()),
      wizard_(wizard),
      guard_(this, [this](const RuntimeError& error) { Tell(error); }) {
  setObjectName("frmStep3");
  BuildControls();
  ConnectEvents();
  Load();
}

// --- Controls -----------------------------------------------------------------------------------

void frmStep3::BuildControls() {
  header_ = new PageHeader("Schritt 3", "Felder zuordnen", "", this);
  model_ = new AssignmentListModel(this);
  TDBImpList_ = new QTableView(this);
  TDBImpList_->setObjectName("TDBImpList");
  TDBImpList_->setAccessibleName("Felder und ihre Zuordnung");
  const WizardComforts& comforts = wizard_.comforts();
  if (comforts.no_hidden_columns || comforts.field_search) {
    shown_fields_ = new ShownFieldsModel(comforts.no_hidden_columns, this);
    shown_fields_->setSourceModel(model_);
    TDBImpList_->setModel(shown_fields_);
  } else {
    TDBImpList_->setModel(model_);
  }
  TDBImpList_->setSelectionMode(QAbstractItemView::SingleSelection);
  TDBImpList_->verticalHeader()->hide();
  GiveListLook(*TDBImpList_);

  lblStatus_ = MakeStatusLine(this);
  lblStatus_->hide();
  auto* buttons = new ButtonRow(this);
  cmdOptions_ = buttons->AddOptions();
  cmdSave_ = buttons->AddSave();
  if (QAction* save_as = AddSaveAs(*buttons, wizard_.comforts())) {
    guard_.On(save_as, &QAction::triggered, &frmStep3::mnuSaveAs_Click);
  }
  cmdPrev_ = buttons->AddPrev("Zurück zu Schritt 2");
  cmdOK_ = buttons->AddDefault("cmdOK", "Fertigstellen", "Importvorgang starten", 'F');
  cmdCancel_ = buttons->AddCancel("Import abbrechen");

  BuildPanel();
  LayOutPage(this, header_, LayOutBody(), buttons);
  TabReachesChosen({optKeineZuweisung_, optImportFeld_, optKonstanterWert_});
  const FieldListTools none(false, false, nullptr);
  const FieldListTools& tools = tools_ == nullptr ? none : *tools_;
  SetTabOrder({tabs_,
               tools.txtSuche,
               tools.cmdNachNamen,
               tools.cmdRueckgaengig,
               TDBImpList_,
               optKeineZuweisung_,
               optImportFeld_,
               cboImportFeld_,
               chkUebersetzen_,
               cmdUebersetzen_,
               cboDatumsFormat_,
               cmdFormatVorschlag_,
               optKonstanterWert_,
               txtKonstanterWert_,
               cmdKonstanterWert_,
               samples_,
               result_,
               cmdOptions_,
               cmdSave_,
               cmdPrev_,
               cmdOK_,
               cmdCancel_});
  MakePage(this);
}

void frmStep3::BuildPanel() {
  auto* panel = Frame1_ = new QGroupBox("Zuordnung", this);
  panel->setObjectName("Frame1");
  optKeineZuweisung_ = SetUpButton(new QRadioButton(panel), "optKeineZuweisung", "keine Zuweisung", "", 'K');
  optImportFeld_ = SetUpButton(new QRadioButton(panel), "optImportFeld", "Import-Feld:", "", 'I');
  optKonstanterWert_ = SetUpButton(new QRadioButton(panel), "optKonstanterWert", "Konstanter Wert:", "", 'W');
  cboImportFeld_ = new QComboBox(panel);
  cboImportFeld_->setObjectName("cboImportFeld");
  cboImportFeld_->setEditable(true);
  cboImportFeld_->setInsertPolicy(QComboBox::NoInsert);
  // Names are compared to the letter, so nothing is completed or corrected while a name is typed.
  cboImportFeld_->setCompleter(nullptr);
  cboImportFeld_->setAccessibleName("Import-Feld");
  cboImportFeld_->lineEdit()->setAccessibleName("Import-Feld");
  txtKonstanterWert_ = new QLineEdit(panel);
  txtKonstanterWert_->setObjectName("txtKonstanterWert");
  txtKonstanterWert_->setAccessibleName("Konstanter Wert");
  cmdKonstanterWert_ =
      SetUpButton(new QPushButton(panel), "cmdKonstanterWert", "...", "Konstanten bearbeiten", 0);
  cmdKonstanterWert_->setAccessibleName("Konstanten bearbeiten");
  cmdKonstanterWert_->setMaximumWidth(cmdKonstanterWert_->fontMetrics().horizontalAdvance("...") * 4);
  chkUebersetzen_ =
      SetUpButton(new QCheckBox(panel), "chkUebersetzen", "Übersetzungstabelle verwenden", "", 'B');
  cmdUebersetzen_ =
      SetUpButton(new CaptionButton(panel), "cmdUebersetzen", "Übersetzungstabelle bearbeiten", "", 'T');
  cmdUebersetzen_->setEnabled(false);
  cboDatumsFormat_ = new QComboBox(panel);
  cboDatumsFormat_->setObjectName("cboDatumsFormat");
  cboDatumsFormat_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  lblFormat_ = MakeLabel("Format:", cboDatumsFormat_, "lblFormat");

  auto* translation = new QHBoxLayout;
  translation->addWidget(chkUebersetzen_);
  translation->addSpacing(6);
  translation->addWidget(cmdUebersetzen_);
  translation->addStretch(1);
  auto* format = new QHBoxLayout;
  format->addWidget(lblFormat_);
  format->addWidget(cboDatumsFormat_);
  AddProposal(format);
  auto* constant = new QHBoxLayout;
  constant->addWidget(txtKonstanterWert_, 1);
  constant->addWidget(cmdKonstanterWert_);
  auto* grid = new QGridLayout(panel);
  grid->addWidget(optKeineZuweisung_, 0, 0, 1, 2);
  grid->addWidget(optImportFeld_, 1, 0);
  grid->addWidget(cboImportFeld_, 1, 1);
  grid->addLayout(translation, 2, 1);
  grid->addLayout(format, 3, 1);
  grid->addWidget(optKonstanterWert_, 4, 0);
  grid->addLayout(constant, 4, 1);
  grid->setColumnStretch(1, 1);
  if (!wizard_.comforts().sample_values) return;
  samples_ = new FieldSamples(panel);
  grid->addWidget(samples_, 5, 0, 1, 2);
}

void frmStep3::ConnectEvents() {
  const auto select = [this] { TDBImpList_Select(); };
  guard_.On(TDBImpList_->selectionModel(), &QItemSelectionModel::currentRowChanged, select);
  // Choosing the selected line once more, by mouse or the space bar, is a choice too.
  guard_.On(TDBImpList_, &QTableView::clicked, [this](const QModelIndex& index) {
    if (LineOf(index) == line_before_press_) TDBImpList_Select();
  });
  TDBImpList_->installEventFilter(this);
  TDBImpList_->viewport()->installEventFilter(this);
  for (QObject* control : std::initializer_list<QObject*>{
           cboImportFeld_, cboImportFeld_->lineEdit(), optKeineZuweisung_, txtKonstanterWert_, optImportFeld_,
           optKonstanterWert_, chkUebersetzen_, cboDatumsFormat_}) {
    control->installEventFilter(this);
  }
  // With the keyboard there is no click: choosing or typing a name says the same.
  guard_.On(cboImportFeld_, &QComboBox::activated, [this] { optImportFeld_->setChecked(true); });
  guard_.On(cboImportFeld_->lineEdit(), &QLineEdit::textEdited, [this] { optImportFeld_->setChecked(true); });
  guard_.On(txtKonstanterWert_, &QLineEdit::textEdited, [this] { optKonstanterWert_->setChecked(true); });
  connect(chkUebersetzen_, &QCheckBox::toggled, cmdUebersetzen_, &QWidget::setEnabled);
  guard_.On(cmdKonstanterWert_, &QPushButton::clicked, &frmStep3::cmdKonstanterWert_Click);
  guard_.On(cmdUebersetzen_, &QPushButton::clicked, &frmStep3::cmdUebersetzen_Click);
  guard_.On(cmdOptions_, &QPushButton::clicked, &frmStep3::cmdOptions_Click);
  guard_.On(cmdSave_, &QPushButton::clicked, &frmStep3::cmdSave_Click);
  guard_.On(cmdPrev_, &QPushButton::clicked, &frmStep3::cmdPrev_Click);
  guard_.On(cmdOK_, &QPushButton::clicked, &frmStep3::cmdOK_Click);
  guard_.On(cmdCancel_, &QPushButton::clicked, &frmStep3::cmdCancel_Click);
  BindKeys(this, cmdOK_, [this] { guard_.Run([this] { LeaveByEscape(); }); });
  if (wizard_.comforts().recognised_files) {
    // Another source is step 2's business; what is assigned here stays.
    TakeDroppedFiles(this, [this](const QString& path) {
      return guard_.Run([&] {
        session_.ImportFileName = FromQt(path);
        cmdPrev_->setFocus();
        cmdPrev_Click();
      });
    });
  }
  ConnectComforts();
}

// --- Loading ------------------------------------------------------------------------------------

void frmStep3::Load() {
  guard_.Run([&] { cmdOptions_->setEnabled(ImportClassHasConfig(session_)); });
  guard_.Run([&] { session_.AssignmentList = CreateAssignmentList(); });
  list_ = session_.AssignmentList;
  cboDatumsFormat_->addItem("");
  for (const char* format : kDateFormats) cboDatumsFormat_->addItem(format);
  FillImportFieldList();
  guard_.Run([&] {
    std::string failure;
    // Of a source that cannot be read nobody knows that a column is missing.
    const bool keeps = wizard_.comforts().kept_assignments && !HasUsableSourceFields(session_.SourceFieldNames);
    std::vector<std::string> columns = session_.SourceFieldNames;
    if (keeps) {
      Trap([&] { session_.SourceFieldNames = AssignedSourceColumns(session_); }, [](const RuntimeError&) {});
    }
    std::vector<bool> mandatory = job_.AssignFields(&failure);
    session_.SourceFieldNames = std::move(columns);
    list_ = session_.AssignmentList;
    QStringList captions(kAssignmentColumnCount);
    captions[kSourceName] = "Feld";
    captions[kDspDestinationName] = "Zugewiesen zu";
    model_->SetList(list_, captions, std::move(mandatory), wizard_.comforts().marked_mandatory_fields);
    LayOutList();
    if (!failure.empty()) ShowStatus(ToQt(failure));
  });
  if (model_->rowCount() > 0) {
    selecting_ = true;
    TDBImpList_->selectRow(0);
    TDBImpList_->setCurrentIndex(TDBImpList_->model()->index(0, 0));
    selecting_ = false;
    ShowCurrentAssignment();
  }
  TDBImpList_->setFocus();
  LoadSample();
}

void frmStep3::FillImportFieldList() {
  // An unknown provider leaves the list as it was.
  if (KindOf(session_) != nullptr) {
    guard_.Run([&] { session_.SourceFieldNames = job_.SourceColumns(); });
  }
  cboImportFeld_->clear();
  cboImportFeld_->addItem("");
  const std::vector<std::string> offered = OfferedSourceFields(session_.SourceFieldNames);
  for (const std::string& name : offered) cboImportFeld_->addItem(ToQt(name));
  if (HasUsableSourceFields(session_.SourceFieldNames)) return;
  cboImportFeld_->clear();
  std::optional<Finding> empty_file;
  if (wizard_.comforts().failed_connections) empty_file = FindEmptyFile(session_);
  session_.platform.ui.MessageBox(
      empty_file
          ? empty_file->Message()
          : "Die Feldinformation konnten nicht ermittelt werden. Möglicherweise wird diese Datenquelle nicht "
            "unterstützt bzw. sind die Einstellungen falsch ausgewählt worden!",
      "", Icon::kInformation, Buttons::kOk);
}

void frmStep3::LayOutList() {
  const bool has_hidden = !wizard_.comforts().no_hidden_columns;
  for (int column = 0; has_hidden && column < model_->columnCount(); ++column) {
    const bool is_shown = std::find(std::begin(kShownColumns), std::end(kShownColumns),
                                    static_cast<AssignmentColumn>(column)) != std::end(kShownColumns);
    TDBImpList_->setColumnHidden(column, !is_shown);
  }
  // The widths as they are told, wider where a large font needs it.
  FitColumns(*TDBImpList_, kWidestColumn);
  for (std::size_t i = 0; i < std::size(kShownColumns); ++i) {
    const int told = kToldTwips[i] * logicalDpiX() / kTwipsAnInch;
    const int shown = has_hidden ? static_cast<int>(kShownColumns[i]) : static_cast<int>(i);
    TDBImpList_->setColumnWidth(shown, std::max(told, TDBImpList_->columnWidth(shown) + kColumnAir));
    if (kShownColumns[i] == kDspDestinationName) {
      TDBImpList_->horizontalHeader()->setSectionResizeMode(shown, QHeaderView::Stretch);
    }
  }
}

// --- The panel ----------------------------------------------------------------------------------

int frmStep3::LineOf(const QModelIndex& index) const {
  return shown_fields_ == nullptr ? index.row() : shown_fields_->mapToSource(index).row();
}

int frmStep3::SelectedLine() const {
  const QModelIndex selected = TDBImpList_->currentIndex();
  return selected.isValid() ? LineOf(selected) : panel_line_;
}

AssignmentPanel frmStep3::PanelValues() const {
  AssignmentPanel panel;
  panel.option = optImportFeld_->isChecked()       ? kImportField
                 : optKonstanterWert_->isChecked() ? kConstantValue
                                                   : kNotAssigned;
  panel.import_field = FromQt(cboImportFeld_->currentText());
  panel.constant = FromQt(txtKonstanterWert_->text());
  panel.translate = chkUebersetzen_->isChecked();
  panel.date_format = FromQt(cboDatumsFormat_->currentText());
  return panel;
}

void frmStep3::ShowCurrentAssignment() {
  panel_line_ = SelectedLine();
  optKeineZuweisung_->setChecked(true);
  cboImportFeld_->setCurrentIndex(cboImportFeld_->count() > 0 ? 0 : -1);
  cboImportFeld_->setEditText("");
  chkUebersetzen_->setChecked(false);
  cboDatumsFormat_->setCurrentIndex(-1);
  txtKonstanterWert_->clear();

  {
    // By the current row, which is not yet the selected line.
    const RowKeeper keeper(*list_);
    if (wizard_.comforts().format_follows_line) list_->GoTo(panel_line_);
    EnableDateFormatByCurrentRow();
  }

  const AssignmentPanel panel = ReadAssignment(*list_, SelectedLine());
  if (panel.option == kImportField) {
    optImportFeld_->setChecked(true);
    cboImportFeld_->setCurrentIndex(cboImportFeld_->findText(ToQt(panel.import_field), Qt::MatchExactly));
    cboImportFeld_->setEditText(ToQt(panel.import_field));
    chkUebersetzen_->setChecked(panel.translate);
    cboDatumsFormat_->setCurrentIndex(cboDatumsFormat_->findText(ToQt(panel.date_format), Qt::MatchExactly));
  } else if (panel.option == kConstantValue) {
    optKonstanterWert_->setChecked(true);
    txtKonstanterWert_->setText(ToQt(panel.constant));
  }
  NamePanel();
  ShowSampleLater();
}

void frmStep3::EnableDateFormatByCurrentRow() {
  const bool date = !list_->IsEof() && !list_->IsNull(kDateField) && list_->ValueAt(kDateField).ToBool();
  cboDatumsFormat_->setEnabled(date);
}

void frmStep3::StoreCurrentRow() {
  if (list_->IsEof()) return;
  StoreCurrentAssignment(*list_, PanelValues());
  model_->RowChanged(static_cast<int>(list_->Bookmark()));
}

void frmStep3::MakeSelectedLineCurrent() {
  if (SelectedLine() >= 0) list_->GoTo(SelectedLine());
}

void frmStep3::DropList() {
  if (session_.AssignmentList == list_) session_.AssignmentList.reset();
}

void frmStep3::closeEvent(QCloseEvent* event) {
  DropList();
  QWidget::closeEvent(event);
}

// --- Events -------------------------------------------------------------------------------------

void frmStep3::TDBImpList_Select() {
  if (selecting_ || SelectedLine() < 0) return;
  lblStatus_->hide();
  guard_.Run([&] { StoreCurrentRow(); });
  guard_.Run([&] { ShowCurrentAssignment(); });
  guard_.Run([&] { MakeSelectedLineCurrent(); });
}

bool frmStep3::event(QEvent* event) {
  return guard_.Handle([&] { return QWidget::event(event); });
}

bool frmStep3::eventFilter(QObject* watched, QEvent* event) {
  return guard_.Handle([&] { return FilterEvent(watched, event); });
}

bool frmStep3::FilterEvent(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::MouseButtonPress) {
    if (watched == cboImportFeld_ || watched == cboImportFeld_->lineEdit()) optImportFeld_->setChecked(true);
    if (watched == txtKonstanterWert_) optKonstanterWert_->setChecked(true);
  }
  if (event->type() == QEvent::MouseButtonPress && watched == TDBImpList_->viewport()) {
    line_before_press_ = SelectedLine();
  }
  if (event->type() == QEvent::KeyPress && watched == TDBImpList_ &&
      static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space) {
    TDBImpList_Select();
    return true;
  }
  // A page that closes takes the focus from its controls; nobody left them.
  const bool in_panel = watched != TDBImpList_ && watched != TDBImpList_->viewport();
  if (IsLeaving(event) && in_panel && isVisible()) {
    if (watched == cboImportFeld_ || watched == optKeineZuweisung_ || watched == txtKonstanterWert_) {
      LeaveStoringControl();
    } else {
      session_.SchemaChanged = true;
    }
  }
  return QWidget::eventFilter(watched, event);
}

void frmStep3::LeaveStoringControl() {
  guard_.Run([&] { StoreCurrentRow(); });
  guard_.Run([&] { MakeSelectedLineCurrent(); });
  // The current row is the selected line now, so its dates can be given a format.
  guard_.Run([&] { EnableDateFormatByCurrentRow(); });
  session_.SchemaChanged = true;
}

void frmStep3::cmdKonstanterWert_Click() {
  lblStatus_->hide();
  optKonstanterWert_->setChecked(true);
  guard_.Run([&] {
    frmTransTbl& editor = wizard_.ValueEditor();
    editor.SetTranslationMode(kConstantsMode);
    editor.SetFieldName("");
    editor.SetPresentConstant(FromQt(txtKonstanterWert_->text()));
    editor.SetRowSource(CurrentText(kRowSource));
    editor.SetRowSourceTyp(CurrentText(kRowSourceTyp));
    // A constant that was not chosen does not replace the one there is.
    if (editor.ShowModal(this)) txtKonstanterWert_->setText(ToQt(editor.ReturnValue()));
  });
  session_.SchemaChanged = true;
}

void frmStep3::cmdUebersetzen_Click() {
  lblStatus_->hide();
  guard_.Run([&] {
    frmTransTbl& editor = wizard_.ValueEditor();
    editor.SetTranslationMode(kTranslationMode);
    editor.SetFieldName(FromQt(cboImportFeld_->currentText()));
    editor.SetDestinationName(CurrentText(kSourceName));
    editor.SetRowSource(CurrentText(kRowSource));
    editor.SetRowSourceTyp(CurrentText(kRowSourceTyp));
    editor.ShowModal(this);
  });
  session_.SchemaChanged = true;
  ShowSampleLater();
}

void frmStep3::cmdOptions_Click() {
  lblStatus_->hide();
  guard_.Run([&] { ShowImportClassConfig(session_); });
  session_.SchemaChanged = true;
  ShowSampleLater();
}

void frmStep3::cmdSave_Click() {
  if (wizard_.comforts().stored_panel && !guard_.Run([&] { StoreChangedPanel(); })) return;
  bool saved = false;
  // What an earlier attempt failed with is over where this one does not.
  if (!guard_.Run([&] { saved = SaveForGood(job_, wizard_.comforts()); })) return;
  lblStatus_->hide();
  if (saved && wizard_.comforts().tells_of_saving) ShowStatus(kSavedText);
}

void frmStep3::mnuSaveAs_Click() {
  LeaveStoringControl();
  bool saved = false;
  if (!guard_.Run([&] { saved = job_.SaveSchemaAs(); })) return;
  lblStatus_->hide();
  if (saved) ShowStatus(kSavedText);
}

void frmStep3::cmdPrev_Click() {
  if (wizard_.comforts().stored_panel && !guard_.Run([&] { StoreChangedPanel(); })) return;
  guard_.Run([&] { job_.SaveSchema(false); });
  wizard_.ShowStep2();
  close();
}

void frmStep3::cmdOK_Click() {
  if (wizard_.comforts().stored_panel && !guard_.Run([&] { StoreChangedPanel(); })) return;
  UserInterface& ui = session_.platform.ui;
  if (const std::optional<Finding> fault = job_.AssignmentFault()) {
    ui.MessageBox(fault->text, "KESTREL Import", Icon::kInformation, Buttons::kOk);
    return;
  }
  if (session_.SchemaChanged) {
    const Answer answer = ui.MessageBox(
        "Möchten Sie die Einstellungen in einer Datei speichern, um diese künftig erneut verwenden zu können?",
        "Speichern?", Icon::kQuestion, Buttons::kYesNo);
    if (answer == Answer::kYes) guard_.Run([&] { SaveForGood(job_, wizard_.comforts()); });
  }
  const WizardComforts& comforts = wizard_.comforts();
  frmQuestionDlg question(this, comforts.telling_confirmation ? &session_ : nullptr, comforts.harmless_test);
  wizard_.Dress(question);
  if (question.exec() != QDialog::Accepted && comforts.telling_confirmation) return;
  if (comforts.failed_connections && !HostAnswers(session_)) return;
  session_.TestMode = question.Testmode();
  wizard_.RunImport(*this);
  close();
}

void frmStep3::cmdCancel_Click() { Leave(wizard_.comforts().careful_questions); }

void frmStep3::LeaveByEscape() {
  const QPointer<QWidget> focused = focusWidget();
  // What is being typed is a change too.
  cmdCancel_->setFocus(Qt::ShortcutFocusReason);
  if (!Leave(true) && focused != nullptr) focused->setFocus();
}

bool frmStep3::Leave(bool asks) {
  if (asks && session_.SchemaChanged &&
      AskBeforeLoss(session_.platform.ui,
                    "Die Änderungen sind noch nicht gespeichert und gehen verloren. Möchten Sie den Import "
                    "abbrechen?",
                    "Abbrechen?") != Answer::kYes) {
    return false;
  }
  job_.Cancel();
  close();
  return true;
}

void frmStep3::Tell(const RuntimeError& error) { ShowStatus(ToQt(error.Description())); }

void frmStep3::ShowStatus(const QString& text) {
  lblStatus_->setText(text);
  lblStatus_->show();
}

std::string frmStep3::CurrentText(AssignmentColumn column) const {
  return list_->IsEof() ? std::string() : std::string(list_->TextAt(column));
}

}  // namespace kestrel
