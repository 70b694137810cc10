// Controls of step 2 and which event calls what.
#include <QButtonGroup>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>
#include <algorithm>
#include <vector>

#include "kestrel/wizard.h"
#include "wizard/button_row.h"
#include "wizard/frmStep2.h"
#include "wizard/saving.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

template <class Control>
Control* Named(Control* control, const char* object_name) {
  control->setObjectName(QString::fromUtf8(object_name));
  return control;
}

// A box for a path with its browse button.
QHBoxLayout* WithBrowse(QLineEdit* edit, QPushButton* browse) {
  auto* row = new QHBoxLayout;
  row->addWidget(edit, 1);
  row->addWidget(browse);
  return row;
}

// Option buttons beside each other.
QHBoxLayout* Choices(std::initializer_list<QWidget*> choices) {
  auto* row = new QHBoxLayout;
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(14);
  for (QWidget* choice : choices) row->addWidget(choice);
  row->addStretch(1);
  return row;
}

QPushButton* BrowseButton(QWidget* parent, const char* object_name, const QString& spoken) {
  auto* button = SetUpButton(new QPushButton(parent), object_name, "...", spoken, 0);
  button->setAccessibleName(spoken);
  button->setMaximumWidth(button->fontMetrics().horizontalAdvance("...") * 4);
  return button;
}

QLineEdit* ShortEdit(QWidget* parent, const char* object_name, int characters) {
  auto* edit = Named(new QLineEdit(parent), object_name);
  edit->setMaximumWidth(edit->fontMetrics().averageCharWidth() * (characters + 4) + 8);
  return edit;
}

QComboBox* TableList(QWidget* parent, const char* object_name) {
  auto* list = Named(new QComboBox(parent), object_name);
  // A name may be typed where the source cannot be asked for its tables.
  list->setEditable(true);
  list->setInsertPolicy(QComboBox::NoInsert);
  list->setCompleter(nullptr);
  return list;
}

QGroupBox* Frame(QWidget* parent, const char* object_name) {
  auto* frame = Named(new QGroupBox(parent), object_name);
  frame->setFlat(true);
  return frame;
}

// Inputs begin at one line, whichever frame is shown.
void AlignInputs(QStackedWidget& frames) {
  std::vector<QWidget*> labels;
  int widest = 0;
  for (const auto* form : frames.findChildren<QFormLayout*>()) {
    for (int row = 0; row < form->rowCount(); ++row) {
      QLayoutItem* item = form->itemAt(row, QFormLayout::LabelRole);
      if (item == nullptr || item->widget() == nullptr) continue;
      labels.push_back(item->widget());
      widest = std::max(widest, item->widget()->sizeHint().width());
    }
  }
  for (QWidget* label : labels) label->setMinimumWidth(widest);
}

}  // namespace

void frmStep2::BuildControls() {
  header_ = new PageHeader("Schritt 2", "Datenquelle auswählen", "Bitte wählen Sie nun die Datenquelle:", this);
  cboDatenquelleTyp_ = Named(new QComboBox(this), "cboDatenquelleTyp");
  // It is filled when the page is on the screen already.
  cboDatenquelleTyp_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  QLabel* type_label = MakeLabel("Datenquellen-Typ:", cboDatenquelleTyp_, "Label1");
  // All frames share one place, in the order of SourceFrame; the chosen kind's is on top.
  frames_ = new QStackedWidget(this);
  for (QWidget* frame :
       {BuildTextFrame(), BuildSqlFrame(), BuildAccessFrame(), BuildDBaseFrame(), BuildExcelFrame()}) {
    frames_->addWidget(frame);
  }
  table_lists_ = {nullptr, cboSQLTable_, cboAccessTable_, cbodBaseTable_, cboExcelSheet_};
  AlignInputs(*frames_);
  cmdVorschau_ = SetUpButton(new CaptionButton(this), "cmdVorschau", "Datenquelle testen", "", 'T');
  auto* buttons = new ButtonRow(this);
  cmdOptions_ = buttons->AddOptions();
  cmdSave_ = buttons->AddSave();
  if (QAction* save_as = AddSaveAs(*buttons, wizard_.comforts())) {
    guard_.On(save_as, &QAction::triggered, &frmStep2::mnuSaveAs_Click);
  }
  cmdPrev_ = buttons->AddPrev("Zurück zu Schritt 1");
  cmdNext_ = buttons->AddDefault("cmdNext", "Weiter", "Weiter zu Schritt 3", 'W');
  cmdCancel_ = buttons->AddCancel("Import abbrechen");

  auto* type_row = new QHBoxLayout;
  type_row->addWidget(type_label);
  type_row->addWidget(cboDatenquelleTyp_);
  type_row->addStretch(1);
  type_row->addWidget(cmdVorschau_);
  auto* body = new QVBoxLayout;
  body->setSpacing(10);
  body->addLayout(type_row);
  const bool has_preview = wizard_.comforts().live_preview;
  body->addWidget(frames_, has_preview ? 0 : 1);
  lblErkannt_ = MakeStatusLine(this);
  lblErkannt_->setObjectName("lblErkannt");
  lblErkannt_->hide();
  body->addWidget(lblErkannt_);
  if (has_preview) {
    preview_ = new SourcePreview(this, session_.platform.ui);
    body->addWidget(preview_, 1);
  }
  lblStatus_ = MakeStatusLine(this);
  body->addWidget(lblStatus_);
  LayOutPage(this, header_, body, buttons);
  TabReachesChosen({optTab_, optSemikolon_, optKomma_, optAnders_});
  TabReachesChosen({optAnsi_, optAscii_});
  SetTabOrder({cboDatenquelleTyp_,
               // text file
               txtFilename_, cmdFilename_, optTab_, optSemikolon_, optKomma_, optAnders_, txtAnders_,
               txtTexterkenner_, chkZeileFeldname_, optAnsi_, optAscii_, chkSichereDatei_, txtSicherungspfad_,
               chkDateilöschen_,
               // SQL Server
               txtSQLServer_, txtSQLUID_, txtSQLKennwort_, txtSQLDB_, cboSQLTable_,
               // Access
               txtAccessDB_, cmdAccessDB_, txtAccessBenutzer_, txtAccessKennwort_, cboAccessTable_,
               // dBase
               txtdBaseFile_, cmddBaseFile_, cbodBaseTable_,
               // buttons
               cmdVorschau_, cmdOptions_, cmdSave_, cmdPrev_, cmdNext_, cmdCancel_});
  TakeDroppedFiles(
      this, [this](const QString& path) { return guard_.Handle([&] { return TakeDroppedFile(path); }); });
  if (has_preview) SetTabOrder({cbodBaseTable_, preview_->table(), cmdVorschau_});
  // Where the content tells what a file is, no box takes it for itself.
  const bool boxes_take_files = !wizard_.comforts().recognised_files;
  for (PathEdit* edit : {txtFilename_, txtAccessDB_, txtExcelFile_, txtdBaseFile_})
    edit->setAcceptDrops(boxes_take_files);
  MakePage(this);
}

QWidget* frmStep2::BuildTextFrame() {
  fraFile_ = Frame(this, "fraFile");
  txtFilename_ = Named(new PathEdit(fraFile_), "txtFilename");
  cmdFilename_ = BrowseButton(fraFile_, "cmdFilename", "Datei suchen");
  optTab_ = SetUpButton(new QRadioButton(fraFile_), "optTab", "Tabstop", "", 0);
  optSemikolon_ = SetUpButton(new QRadioButton(fraFile_), "optSemikolon", "Semikolon", "", 0);
  optKomma_ = SetUpButton(new QRadioButton(fraFile_), "optKomma", "Komma", "", 0);
  optAnders_ = SetUpButton(new QRadioButton(fraFile_), "optAnders", "Anderes", "", 0);
  txtAnders_ = ShortEdit(fraFile_, "txtAnders", 3);
  txtAnders_->setAccessibleName("Anderes Trennzeichen");
  auto* delimiters = new QButtonGroup(fraFile_);
  for (QRadioButton* choice : {optTab_, optSemikolon_, optKomma_, optAnders_}) {
    choice->setAccessibleDescription("getrennt durch");
    delimiters->addButton(choice);
  }
  txtTexterkenner_ = ShortEdit(fraFile_, "txtTexterkenner", 3);
  chkZeileFeldname_ =
      SetUpButton(new QCheckBox(fraFile_), "chkZeileFeldname", "Erste Zeile enthält Feldnamen", "", 'R');

  auto* character_set = Named(new QWidget(fraFile_), "fraFormat");
  optAnsi_ = SetUpButton(new QRadioButton(character_set), "optAnsi", "ANSI", "", 0);
  optAscii_ = SetUpButton(new QRadioButton(character_set), "optAscii", "ASCII", "", 0);
  character_set->setLayout(Choices({optAnsi_, optAscii_}));

  chkSichereDatei_ =
      SetUpButton(new QCheckBox(fraFile_), "chkSichereDatei", "Datei vor dem Importieren sichern", "", 'I');
  txtSicherungspfad_ = Named(new PathEdit(fraFile_), "txtSicherungspfad");
  lblSicherungspfad_ = MakeLabel("Sicherungspfad:", txtSicherungspfad_, "lblSicherungspfad");
  chkDateilöschen_ = SetUpButton(new QCheckBox(fraFile_), "chkDateilöschen",
                                 "Datei nach erfolgreichem Import löschen", "", 'L');

  auto* form = new QFormLayout(fraFile_);
  form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
  form->addRow(MakeLabel("Dateiname:", txtFilename_), WithBrowse(txtFilename_, cmdFilename_));
  form->addRow(MakeLabel("getrennt durch:", optTab_),
               Choices({optTab_, optSemikolon_, optKomma_, optAnders_, txtAnders_}));
  form->addRow(MakeLabel("Texterkenner:", txtTexterkenner_), txtTexterkenner_);
  form->addRow("", chkZeileFeldname_);
  form->addRow("", character_set);
  form->addRow("", chkSichereDatei_);
  form->addRow(lblSicherungspfad_, txtSicherungspfad_);
  form->addRow("", chkDateilöschen_);
  return fraFile_;
}

QWidget* frmStep2::BuildSqlFrame() {
  fraSQL_ = Frame(this, "fraSQL");
  txtSQLServer_ = Named(new QLineEdit(fraSQL_), "txtSQLServer");
  txtSQLUID_ = Named(new QLineEdit(fraSQL_), "txtSQLUID");
  txtSQLKennwort_ = Named(new QLineEdit(fraSQL_), "txtSQLKennwort");
  txtSQLKennwort_->setEchoMode(QLineEdit::Password);
  txtSQLDB_ = Named(new QLineEdit(fraSQL_), "txtSQLDB");
  cboSQLTable_ = TableList(fraSQL_, "cboSQLTable");
  auto* form = new QFormLayout(fraSQL_);
  form->addRow(MakeLabel("Server:", txtSQLServer_), txtSQLServer_);
  form->addRow(MakeLabel("UID:", txtSQLUID_), txtSQLUID_);
  form->addRow(MakeLabel("Kennwort:", txtSQLKennwort_), txtSQLKennwort_);
  form->addRow(MakeLabel("Datenbank", txtSQLDB_), txtSQLDB_);
  form->addRow(MakeLabel("Tabelle / Abfrage:", cboSQLTable_), cboSQLTable_);
  return fraSQL_;
}

QWidget* frmStep2::BuildAccessFrame() {
  fraAccess_ = Frame(this, "fraAccess");
  txtAccessDB_ = Named(new PathEdit(fraAccess_), "txtAccessDB");
  cmdAccessDB_ = BrowseButton(fraAccess_, "cmdAccessDB", "Datenbank suchen");
  txtAccessBenutzer_ = Named(new QLineEdit(fraAccess_), "txtAccessBenutzer");
  txtAccessKennwort_ = Named(new QLineEdit(fraAccess_), "txtAccessKennwort");
  txtAccessKennwort_->setEchoMode(QLineEdit::Password);
  cboAccessTable_ = TableList(fraAccess_, "cboAccessTable");
  auto* form = new QFormLayout(fraAccess_);
  form->addRow(MakeLabel("Datenbank:", txtAccessDB_), WithBrowse(txtAccessDB_, cmdAccessDB_));
  form->addRow(MakeLabel("Benutzer:", txtAccessBenutzer_), txtAccessBenutzer_);
  form->addRow(MakeLabel("Kennwort:", txtAccessKennwort_), txtAccessKennwort_);
  form->addRow(MakeLabel("Tabelle / Abfrage:", cboAccessTable_), cboAccessTable_);
  return fraAccess_;
}

QWidget* frmStep2::BuildExcelFrame() {
  fraExcel_ = Frame(this, "fraExcel");
  txtExcelFile_ = Named(new PathEdit(fraExcel_), "txtExcelFile");
  cmdExcelFile_ = BrowseButton(fraExcel_, "cmdExcelFile", "Arbeitsmappe suchen");
  cboExcelSheet_ = TableList(fraExcel_, "cboExcelSheet");
  auto* form = new QFormLayout(fraExcel_);
  form->addRow(MakeLabel("Datei:", txtExcelFile_), WithBrowse(txtExcelFile_, cmdExcelFile_));
  form->addRow(MakeLabel("Tabelle:", cboExcelSheet_), cboExcelSheet_);
  return fraExcel_;
}

QWidget* frmStep2::BuildDBaseFrame() {
  fradBase_ = Frame(this, "fradBase");
  txtdBaseFile_ = Named(new PathEdit(fradBase_), "txtdBaseFile");
  cmddBaseFile_ = BrowseButton(fradBase_, "cmddBaseFile", "Ordner suchen");
  cbodBaseTable_ = TableList(fradBase_, "cbodBaseTable");
  auto* form = new QFormLayout(fradBase_);
  form->addRow(MakeLabel("Pfad:", txtdBaseFile_), WithBrowse(txtdBaseFile_, cmddBaseFile_));
  form->addRow(MakeLabel("Tabelle:", cbodBaseTable_), cbodBaseTable_);
  return fradBase_;
}

void frmStep2::ConnectEvents() {
  guard_.On(cboDatenquelleTyp_, &QComboBox::currentIndexChanged, &frmStep2::cboDatenquelleTyp_Click);

  for (QLineEdit* edit :
       std::initializer_list<QLineEdit*>{txtFilename_, txtAnders_, txtTexterkenner_, txtSicherungspfad_}) {
    guard_.On(edit, &QLineEdit::textChanged, &frmStep2::Edited);
  }
  for (QAbstractButton* button :
       std::initializer_list<QAbstractButton*>{optTab_, optSemikolon_, optKomma_, optAnders_, optAnsi_,
                                               optAscii_, chkZeileFeldname_, chkDateilöschen_}) {
    guard_.On(button, &QAbstractButton::toggled, &frmStep2::Edited);
  }
  guard_.On(txtFilename_, &QLineEdit::textEdited, [this] { lblErkannt_->hide(); });
  guard_.On(txtAnders_, &QLineEdit::textEdited, [this] { optAnders_->setChecked(true); });
  guard_.On(chkSichereDatei_, &QCheckBox::toggled, &frmStep2::chkSichereDatei_Click);

  // The boxes of SQL Server, Access and dBase clear their flag even while the page is being filled; the box of
  // Excel and the four lists only afterwards.
  const auto clears_always = [this](QLineEdit* edit, SourceFrame frame) {
    guard_.On(edit, &QLineEdit::textChanged, [this, frame] {
      loaded_.Clear(frame);
      Edited();
    });
  };
  for (QLineEdit* edit : {txtSQLServer_, txtSQLUID_, txtSQLKennwort_, txtSQLDB_}) {
    clears_always(edit, SourceFrame::kSql);
  }
  for (QLineEdit* edit :
       std::initializer_list<QLineEdit*>{txtAccessDB_, txtAccessBenutzer_, txtAccessKennwort_}) {
    clears_always(edit, SourceFrame::kAccess);
  }
  clears_always(txtdBaseFile_, SourceFrame::kDBase);
  const auto clears_when_ready = [this](SourceFrame frame) {
    return [this, frame] {
      if (!loading_) loaded_.Clear(frame);
      Edited();
    };
  };
  guard_.On(txtExcelFile_, &QLineEdit::textChanged, clears_when_ready(SourceFrame::kExcel));
  guard_.On(cboSQLTable_, &QComboBox::activated, clears_when_ready(SourceFrame::kSql));
  guard_.On(cboAccessTable_, &QComboBox::activated, clears_when_ready(SourceFrame::kAccess));
  guard_.On(cboExcelSheet_, &QComboBox::activated, clears_when_ready(SourceFrame::kExcel));
  guard_.On(cbodBaseTable_->lineEdit(), &QLineEdit::textEdited, clears_when_ready(SourceFrame::kDBase));
  guard_.On(cbodBaseTable_, &QComboBox::activated, &frmStep2::Edited);
  for (QComboBox* list : {cboSQLTable_, cboAccessTable_, cboExcelSheet_}) {
    guard_.On(list->lineEdit(), &QLineEdit::textEdited, &frmStep2::Edited);
  }
  for (QComboBox* list : {cboSQLTable_, cboAccessTable_, cboExcelSheet_, cbodBaseTable_}) {
    // A box with an edit field has the focus itself.
    list->installEventFilter(this);
    guard_.On(list, &QComboBox::currentTextChanged, &frmStep2::PreviewSoon);
  }
  txtFilename_->installEventFilter(this);
  guard_.On(&look_for_answer_, &QTimer::timeout, &frmStep2::LookForAnswer);
  update_preview_.setSingleShot(true);
  guard_.On(&update_preview_, &QTimer::timeout, &frmStep2::UpdatePreview);
  leave_.setSingleShot(true);
  guard_.On(&leave_, &QTimer::timeout, &frmStep2::txtFilename_Leave);

  guard_.On(cmdFilename_, &QPushButton::clicked, [this] { BrowseFile(txtFilename_, SourceFrame::kFile); });
  guard_.On(cmdAccessDB_, &QPushButton::clicked, [this] { BrowseFile(txtAccessDB_, SourceFrame::kAccess); });
  guard_.On(cmdExcelFile_, &QPushButton::clicked, [this] { BrowseFile(txtExcelFile_, SourceFrame::kExcel); });
  guard_.On(cmddBaseFile_, &QPushButton::clicked, &frmStep2::BrowseFolder);
  guard_.On(cmdVorschau_, &QPushButton::clicked, &frmStep2::cmdVorschau_Click);
  guard_.On(cmdOptions_, &QPushButton::clicked, &frmStep2::cmdOptions_Click);
  guard_.On(cmdSave_, &QPushButton::clicked, &frmStep2::cmdSave_Click);
  guard_.On(cmdPrev_, &QPushButton::clicked, &frmStep2::cmdPrev_Click);
  guard_.On(cmdNext_, &QPushButton::clicked, &frmStep2::cmdNext_Click);
  guard_.On(cmdCancel_, &QPushButton::clicked, &frmStep2::cmdCancel_Click);
  BindKeys(this, cmdNext_, cmdCancel_);
}

}  // namespace kestrel
