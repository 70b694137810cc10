#include "wizard/frmStep1.h"

#include <QCollator>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QVBoxLayout>
#include <algorithm>
#include <limits>
#include <utility>

#include "kestrel/import_job.h"
#include "kestrel/import_man.h"
#include "kestrel/wizard.h"
#include "platform/base/file.h"
#include "spec/manage_specifications.h"
#include "spec/working_copy.h"
#include "wizard/ask_before_loss.h"
#include "wizard/ask_for_name.h"
#include "wizard/button_row.h"
#include "wizard/qt_text.h"
#include "wizard/recent_specifications.h"
#include "wizard/table_look.h"
#include "wizard/trash.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

// As in a German directory, numbers by their value.
void SortByTitle(std::vector<SpecificationEntry>& entries) {
  QCollator order{QLocale(QLocale::German)};
  order.setCaseSensitivity(Qt::CaseInsensitive);
  order.setNumericMode(true);
  std::vector<std::pair<QCollatorSortKey, SpecificationEntry>> keyed;
  for (SpecificationEntry& entry : entries) {
    const QCollatorSortKey key = order.sortKey(ToQt(entry.description));
    keyed.emplace_back(key, std::move(entry));
  }
  std::stable_sort(keyed.begin(), keyed.end(),
                   [](const auto& one, const auto& other) { return one.first < other.first; });
  for (std::size_t i = 0; i < entries.size(); ++i) entries[i] = std::move(keyed[i].second);
}

}  // namespace

frmStep1::frmStep1(ImportJob& job, Wizard& wizard)
    : QWidget(nullptr, Qt::Window),
      job_(job),
      session_(job.session()),
      wizard_(wizard),
      guard_(this, session_.platform.ui) {
  setObjectName("frmStep1");

  header_ = new PageHeader("Schritt 1", "Vorlage auswählen ", "", this);
  optSchema_ = SetUpButton(new QRadioButton(this), "optSchema", "Vorhandene Importe", "", 'V');
  optVorlage_ = SetUpButton(new QRadioButton(this), "optVorlage", "Neu aus Vorlage", "", 'N');
  optSchema_->setChecked(true);
  lstVorlage_ = new QListWidget(this);
  lstVorlage_->setObjectName("lstVorlage");
  lstVorlage_->setToolTip("Auswahl aus Vorlage");
  lstVorlage_->setAccessibleName("Importspezifikationen");
  lstVorlage_->setContextMenuPolicy(Qt::CustomContextMenu);
  lstVorlage_->setAlternatingRowColors(true);
  auto* buttons = new ButtonRow(this);
  cmdPrev_ = buttons->AddPrev("");
  cmdNext_ = buttons->AddDefault("cmdNext", "Weiter", "Weiter zu Schritt 2", 'W');
  cmdCancel_ = buttons->AddCancel("Import abbrechen");

  mnuPopup_ = new QMenu("Popup", this);
  mnuPopup_->setObjectName("mnuPopup");
  QAction* mnuDelete = mnuPopup_->addAction("Löschen");
  mnuDelete->setObjectName("mnuDelete");

  auto* kinds = new QHBoxLayout;
  kinds->setSpacing(18);
  kinds->addWidget(optSchema_);
  kinds->addWidget(optVorlage_);
  kinds->addStretch(1);
  if (wizard_.comforts().managed_specifications) AddManagement(*kinds, *buttons);
  auto* body = new QVBoxLayout;
  body->setSpacing(10);
  body->addLayout(kinds);
  body->addWidget(lstVorlage_, 1);
  LayOutPage(this, header_, body, buttons);
  TabReachesChosen({optSchema_, optVorlage_});
  SetTabOrder({optSchema_, optVorlage_, lstVorlage_, cmdPrev_, cmdNext_, cmdCancel_});
  MakePage(this);

  OnChoice(optSchema_, &frmStep1::optSchema_Click);
  OnChoice(optVorlage_, &frmStep1::optVorlage_Click);
  guard_.On(lstVorlage_, &QListWidget::itemDoubleClicked, &frmStep1::cmdNext_Click);
  guard_.On(lstVorlage_, &QListWidget::customContextMenuRequested, &frmStep1::ShowPopup);
  guard_.On(cmdNext_, &QPushButton::clicked, &frmStep1::cmdNext_Click);
  guard_.On(cmdCancel_, &QPushButton::clicked, &frmStep1::cmdCancel_Click);
  guard_.On(mnuDelete, &QAction::triggered,
            wizard_.comforts().managed_specifications ? &frmStep1::Delete : &frmStep1::mnuDelete_Click);
  BindKeys(this, cmdNext_, cmdCancel_);
  if (wizard_.comforts().recognised_files) {
    TakeDroppedFiles(this, [this](const QString& path) {
      TakeDroppedFile(path);
      return true;
    });
  }
  lstVorlage_->installEventFilter(this);

  // Load.
  session_.SpecFolder = DefaultSpecFolder();
  SweepSpecFolder(session_.SpecFolder);
  FillList();
  if (wizard_.comforts().begins_with_templates && paths_.empty()) BeginWithTemplates();
  if (wizard_.comforts().recognised_files && !session_.ImportFileName.empty()) TellFile();
  session_.SchemaChanged = false;
  lstVorlage_->setFocus();
}

void frmStep1::BeginWithTemplates() {
  optVorlage_->setChecked(true);
  // Of two empty lists the usual one.
  if (paths_.empty()) optSchema_->setChecked(true);
}

void frmStep1::FillList() {
  lstVorlage_->clear();
  paths_.clear();
  // Names that were given up can be given again.
  if (wizard_.comforts().managed_specifications) session_.ExistingSchemaNames.clear();
  bool cut = false;
  const auto kind = optVorlage_->isChecked() ? SpecificationKind::kTemplate : SpecificationKind::kSpecification;
  std::vector<SpecificationEntry> entries;
  std::vector<std::string> unreadable;
  // Where they can be searched, there are never too many.
  const std::size_t most = wizard_.comforts().managed_specifications ? std::numeric_limits<std::size_t>::max()
                                                                     : kMaxListedSpecifications;
  guard_.Run([&] { entries = FillSpecificationList(session_, kind, &cut, &unreadable, most); });
  SortByTitle(entries);
  std::vector<QString> lines;
  if (wizard_.comforts().recent_specifications && wizard_.host().last_runs != nullptr) {
    guard_.Run([&] { lines = PutRecentFirst(entries, wizard_.host().last_runs()); });
  }
  for (SpecificationEntry& entry : entries) {
    const bool is_recent = paths_.size() < lines.size();
    const QString line = is_recent ? '\n' + lines[paths_.size()] : QString();
    lstVorlage_->addItem(ToQt(entry.description) + line);
    const QFontMetrics metrics = lstVorlage_->fontMetrics();
    QListWidgetItem* const item = lstVorlage_->item(lstVorlage_->count() - 1);
    item->setSizeHint({0, RowHeight(metrics) + (is_recent ? metrics.lineSpacing() : 0)});
    if (is_recent) item->setToolTip(PlainToolTip(lines[paths_.size()]));
    paths_.push_back(std::move(entry.path));
  }
  if (txtSearch_ != nullptr) Search();
  if (cut && !told_of_limit_) {
    told_of_limit_ = true;
    session_.platform.ui.MessageBox("Es sind mehr als " + std::to_string(kMaxListedSpecifications) +
                                        " Spezifikationen vorhanden. Angezeigt werden die ersten " +
                                        std::to_string(kMaxListedSpecifications) + ".",
                                    "", Icon::kInformation, Buttons::kOk);
  }
  if (!unreadable.empty() && !told_of_unreadable_ && wizard_.comforts().unreadable_specifications) {
    told_of_unreadable_ = true;
    std::string text = "Nicht angezeigt werden:";
    for (const std::string& reason : unreadable) text += "\n" + reason;
    session_.platform.ui.MessageBox(text, "", Icon::kInformation, Buttons::kOk);
  }
}

void frmStep1::OnChoice(QRadioButton* option, void (frmStep1::*chosen)()) {
  // A screen reader selects without a click; a click on the option that is selected counts once more.
  guard_.On(option, &QRadioButton::toggled, [this, chosen](bool selected) {
    if (selected) (this->*chosen)();
  });
  guard_.On(option, &QRadioButton::pressed, [this, option, chosen] {
    if (option->isChecked()) (this->*chosen)();
  });
}

void frmStep1::optSchema_Click() {
  FillList();
  header_->lblStepInfo->setText("Spezifikation laden");
  lstVorlage_->setToolTip("Auswahl aus vorhandenen Importen");
}

void frmStep1::optVorlage_Click() {
  FillList();
  header_->lblStepInfo->setText("Vorlage auswählen");
  lstVorlage_->setToolTip("Auswahl aus Vorlage");
}

std::string frmStep1::SelectedPath() const {
  const QList<QListWidgetItem*> selected = lstVorlage_->selectedItems();
  if (selected.isEmpty()) return {};
  return paths_[static_cast<std::size_t>(lstVorlage_->row(selected.first()))];
}

void frmStep1::cmdNext_Click() {
  const std::string path = SelectedPath();
  if (path.empty()) return;
  job_.Choose(path);
  wizard_.ShowStep2();
  close();
}

void frmStep1::cmdCancel_Click() {
  job_.Cancel();
  close();
}

void frmStep1::TakeDroppedFile(const QString& path) {
  session_.ImportFileName = FromQt(path);
  TellFile();
}

void frmStep1::TellFile() {
  header_->lblInfo->setText("Datenquelle: " + QFileInfo(ToQt(session_.ImportFileName)).fileName() +
                            ". Wählen Sie nun, womit sie importiert wird.");
  header_->lblInfo->setVisible(true);
}

bool frmStep1::event(QEvent* event) {
  return guard_.Handle([&] { return QWidget::event(event); });
}

bool frmStep1::eventFilter(QObject* watched, QEvent* event) {
  return guard_.Handle([&] {
    if (watched == lstVorlage_ && SelectFirstByKey(event)) return true;
    return QWidget::eventFilter(watched, event);
  });
}

// The list begins without a selection; the first arrow key selects its first entry.
bool frmStep1::SelectFirstByKey(const QEvent* event) {
  if (event->type() != QEvent::KeyPress || lstVorlage_->count() == 0) return false;
  const int key = static_cast<const QKeyEvent*>(event)->key();
  const bool moves = key == Qt::Key_Down || key == Qt::Key_Up || key == Qt::Key_Home;
  if (!moves || !lstVorlage_->selectedItems().isEmpty()) return false;
  lstVorlage_->setCurrentRow(0, QItemSelectionModel::ClearAndSelect);
  return true;
}

void frmStep1::ShowPopup(const QPoint& position) {
  // Templates cannot be deleted from here.
  if (optSchema_->isChecked()) mnuPopup_->popup(lstVorlage_->viewport()->mapToGlobal(position));
}

void frmStep1::AddManagement(QLayout& above_list, ButtonRow& buttons) {
  txtSearch_ = new QLineEdit(this);
  txtSearch_->setObjectName("txtSearch");
  txtSearch_->setPlaceholderText("Suchen");
  txtSearch_->setAccessibleName("Spezifikation suchen");
  txtSearch_->setToolTip("Zeigt nur Spezifikationen, deren Name diesen Text enthält (Strg+F)");
  txtSearch_->setClearButtonEnabled(true);
  above_list.addWidget(txtSearch_);
  cmdRename_ =
      buttons.AddLeft("cmdRename", "Umbenennen...", "Der Spezifikation einen anderen Namen geben (F2)", 'U');
  cmdDuplicate_ =
      buttons.AddLeft("cmdDuplicate", "Duplizieren...", "Eine Kopie der Spezifikation anlegen", 'D');
  cmdDelete_ =
      buttons.AddLeft("cmdDelete", "Löschen...", "Die Spezifikation in den Papierkorb legen (Entf)", 'L');
  guard_.On(txtSearch_, &QLineEdit::textChanged, &frmStep1::Search);
  guard_.On(cmdRename_, &QPushButton::clicked, &frmStep1::Rename);
  guard_.On(cmdDuplicate_, &QPushButton::clicked, &frmStep1::Duplicate);
  guard_.On(cmdDelete_, &QPushButton::clicked, &frmStep1::Delete);
  guard_.On(lstVorlage_, &QListWidget::itemSelectionChanged, &frmStep1::EnableManagement);
  const auto add_entry = [&](const char* name, const char* caption, void (frmStep1::*slot)()) {
    QAction* entry = mnuPopup_->addAction(QString::fromUtf8(caption));
    entry->setObjectName(QString::fromUtf8(name));
    guard_.On(entry, &QAction::triggered, slot);
  };
  add_entry("mnuRename", "Umbenennen...", &frmStep1::Rename);
  add_entry("mnuDuplicate", "Duplizieren...", &frmStep1::Duplicate);
  const auto add_key = [&](const QKeySequence& key, QWidget* where, auto slot) {
    auto* action = new QAction(where);
    action->setShortcut(key);
    action->setShortcutContext(where == this ? Qt::WindowShortcut : Qt::WidgetShortcut);
    where->addAction(action);
    guard_.On(action, &QAction::triggered, slot);
  };
  add_key(QKeySequence("F2"), lstVorlage_, [this] { Rename(); });
  add_key(QKeySequence::Delete, lstVorlage_, [this] { Delete(); });
  add_key(QKeySequence::Find, this, [this] { txtSearch_->setFocus(); });
  EnableManagement();
}

void frmStep1::EnableManagement() {
  // Templates are nobody's to change from here.
  const bool can = optSchema_->isChecked() && !SelectedPath().empty();
  for (QPushButton* button : {cmdRename_, cmdDuplicate_, cmdDelete_}) button->setEnabled(can);
}

void frmStep1::Search() {
  const QString text = txtSearch_->text().trimmed();
  for (int row = 0; row < lstVorlage_->count(); ++row) {
    QListWidgetItem* item = lstVorlage_->item(row);
    const QString name = item->text().section('\n', 0, 0);
    item->setHidden(!name.contains(text, Qt::CaseInsensitive));
    // What is not seen is not gone on with.
    if (item->isHidden()) item->setSelected(false);
  }
  EnableManagement();
}

void frmStep1::SelectPath(const std::string& path) {
  const auto found = std::find(paths_.begin(), paths_.end(), path);
  if (found != paths_.end()) lstVorlage_->setCurrentRow(static_cast<int>(found - paths_.begin()));
}

void frmStep1::Rename() {
  const std::string path = SelectedPath();
  if (path.empty() || !optSchema_->isChecked()) return;
  const std::string before = SelectedName();
  const auto name =
      AskForName(session_.platform.ui, "Neuer Name für \"" + before + "\":", "Umbenennen", before);
  if (!name || *name == before) return;
  RenameSpecification(session_, path, *name);
  FillList();
  SelectPath(path);
}

void frmStep1::Duplicate() {
  const std::string path = SelectedPath();
  if (path.empty() || !optSchema_->isChecked()) return;
  const std::string before = SelectedName();
  const auto name = AskForName(session_.platform.ui, "Name der Kopie von \"" + before + "\":", "Duplizieren",
                               before + " (Kopie)");
  if (!name) return;
  const std::string copy = DuplicateSpecification(session_, path, *name);
  FillList();
  SelectPath(copy);
}

void frmStep1::Delete() {
  const std::string path = SelectedPath();
  if (path.empty() || !optSchema_->isChecked()) return;
  if (AskBeforeLoss(session_.platform.ui,
                    "Möchten Sie das Schema \"" + SelectedName() + "\" in den Papierkorb legen?",
                    "Löschen?") != Answer::kYes) {
    return;
  }
  MoveToTrash(path);
  FillList();
}

std::string frmStep1::SelectedName() const {
  return FromQt(lstVorlage_->selectedItems().first()->text().section('\n', 0, 0));
}

void frmStep1::mnuDelete_Click() {
  constexpr const char* kQuestion = "Möchten Sie das ausgewählte Schema löschen?";
  constexpr const char* kTitle = "Löschen?";
  UserInterface& ui = session_.platform.ui;
  const Answer answer = wizard_.comforts().careful_questions
                            ? AskBeforeLoss(ui, kQuestion, kTitle)
                            : ui.MessageBox(kQuestion, kTitle, Icon::kQuestion, Buttons::kYesNo);
  const std::string path = SelectedPath();
  if (answer != Answer::kYes || path.empty()) return;
  guard_.Run([&] { DeleteFile(path); });
  FillList();
}

}  // namespace kestrel
