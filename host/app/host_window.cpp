#include "app/host_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMenuBar>
#include <QStatusBar>

#include "app/host_comforts.h"
#include "app/import_settings.h"
#include "wizard/ask_before_loss.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/window_frame.h"

namespace kestrel::host {

namespace {

constexpr int kNoticeMs = 5000;

}  // namespace

HostWindow::HostWindow(UserInterface& ui, ComponentRegistry& components, ConnectionPtr connection,
                       const std::string& personal_nr, const AnotherConnection& another)
    : ui_(ui),
      guard_(this, ui),
      connection_(std::move(connection)),
      wizard_(this, kHostComforts,
              {.show_log = [this](const RunResult& run) { ShowLog(run); },
               .undo =
                   [this](const std::string& run, QWidget* window) {
                     runs_->Refresh();
                     return runs_->Undo(ToQt(run).toLongLong(), *window);
                   },
               .last_runs = [this] { return runs_->LastRuns(); }}),
      import_man_(Platform{ui_, components, clock_}, &wizard_),
      wait_(*connection_, this) {
  setObjectName("hostWindow");
  setWindowTitle("KESTREL Adressen");
  GiveIcon(this);
  import_man_.SetConnection(connection_);
  import_man_.SetPersonalNr(personal_nr);

  // A long message is cut at the window's edge.
  guard_.On(statusBar(), &QStatusBar::messageChanged,
            [this](const QString& text) { statusBar()->setToolTip(PlainToolTip(text)); });

  // Before the pages look at it. What is told stays until the next message: it is told once only.
  Trap(
      [&] {
        const ObjectPtr setup = components.CreateObject("kestrelhost.Setup");
        const ShownWait::LeavingWork leaving(wait_);
        const std::string restored = CallMethod(setup, "RestoreDatabase", ObjectPtr(connection_)).ToText();
        if (!restored.empty()) statusBar()->showMessage(ToQt(restored));
      },
      [this](const RuntimeError& error) { statusBar()->showMessage(ToQt(error.Description())); });

  tabs_ = new QTabWidget(this);
  tabs_->setObjectName("tabs");
  tabs_->setDocumentMode(true);
  std::vector<ComparedList> compared;
  for (const AddressList& list : AddressLists(components, connection_)) {
    if (list.address_type != 0) compared.push_back({list.title, list.address_type});
    auto* page = new AddressPage(list, connection_, another, tabs_);
    tabs_->addTab(page, list.title);
    address_pages_.push_back(page);
    guard_.On(page, &AddressPage::ImportAsked, &HostWindow::OpenImport);
  }
  RegisterImportSettings(components, this, std::move(compared));
  error_log_ = new ErrorLogPage(components, connection_, tabs_);
  tabs_->addTab(error_log_, "Importprotokoll");
  duplicates_ = new DuplicatePage(components, connection_, personal_nr, tabs_);
  tabs_->addTab(duplicates_, "Dublettenprotokoll");
  guard_.On(duplicates_, &DuplicatePage::Decided, &HostWindow::RefreshAll);
  runs_ = new RunsPage(ui_, components, connection_, tabs_);
  tabs_->addTab(runs_, "Importläufe");
  guard_.On(runs_, &RunsPage::UndoAsked, &HostWindow::UndoRun);
  guard_.On(runs_, &RunsPage::Undone, &HostWindow::RefreshAll);
  setCentralWidget(tabs_);
  BuildMenu();
  auto* user = new QLabel(ToQt("Angemeldet: " + personal_nr), this);
  statusBar()->addPermanentWidget(user);
  resize(1080, 640);
  RememberSize(this, "host");
  guard_.On(&wizard_, &Wizard::RunEnded, &HostWindow::RefreshAll);
  guard_.On(&wizard_, &Wizard::Ended, &HostWindow::RefreshAll);
}

void HostWindow::BuildMenu() {
  QMenu* file = menuBar()->addMenu("&Datei");
  for (const AddressPage* page : address_pages_) {
    guard_.On(file->addAction(page->list().import_title), &QAction::triggered,
              [this, mode = page->list().app_mode] { OpenImport(mode, QString()); });
  }
  guard_.On(file->addAction("Datei im&portieren..."), &QAction::triggered, &HostWindow::ImportFile);
  file->addSeparator();
  guard_.On(file->addAction("&Beenden", QKeySequence("Ctrl+Q")), &QAction::triggered, [this] { close(); });
  QMenu* view = menuBar()->addMenu("&Ansicht");
  guard_.On(view->addAction("&Suchen", QKeySequence(QKeySequence::Find)), &QAction::triggered,
            &HostWindow::Search);
  guard_.On(view->addAction("&Aktualisieren", QKeySequence(QKeySequence::Refresh)), &QAction::triggered,
            &HostWindow::RefreshAll);
}

void HostWindow::OpenImport(std::int16_t app_mode, const QString& file) {
  // There is one session; an import that is being prepared is not thrown away by a second click.
  if (ShowOpenImport("Ein Import ist bereits geöffnet.")) return;
  import_man_.SetApplication(app_mode);
  import_man_.SetImportFileName(FromQt(file));
  import_man_.ShowDialog();
}

void HostWindow::ImportFile() {
  const auto* page = qobject_cast<AddressPage*>(tabs_->currentWidget());
  if (page == nullptr) page = address_pages_.front();
  const std::int16_t app_mode = page->list().app_mode;
  if (const auto file = ui_.ChooseFile("Datei importieren", "*.*", "")) OpenImport(app_mode, ToQt(*file));
}

bool HostWindow::ShowOpenImport(const QString& notice) {
  if (!wizard_.HasOpenImport()) return false;
  QWidget* page = wizard_.CurrentPage();
  page->raise();
  page->activateWindow();
  statusBar()->showMessage(notice, kNoticeMs);
  return true;
}

void HostWindow::UndoRun() {
  // Both write over one connection.
  if (ShowOpenImport("Beenden Sie erst den Import, der noch geöffnet ist.")) return;
  runs_->UndoChosen();
}

void HostWindow::ShowLog(const RunResult& run) {
  RefreshAll();
  tabs_->setCurrentWidget(run.errors > 0 ? static_cast<QWidget*>(error_log_) : duplicates_);
  raise();
  activateWindow();
}

void HostWindow::RefreshAll() {
  wait_.Watch();
  for (AddressPage* page : address_pages_) page->Refresh();
  error_log_->Refresh();
  duplicates_->Refresh();
  runs_->Refresh();
}

void HostWindow::Search() {
  if (auto* page = qobject_cast<AddressPage*>(tabs_->currentWidget())) page->Search();
}

bool HostWindow::event(QEvent* event) {
  return guard_.Handle([&] { return QMainWindow::event(event); });
}

void HostWindow::closeEvent(QCloseEvent* event) {
  // Whoever closes it then, as the end of a session does: what shows the dialog is in the middle of its work.
  if (QWidget* dialog = QApplication::activeModalWidget()) {
    dialog->raise();
    dialog->activateWindow();
    event->ignore();
    return;
  }
  if (wizard_.HasOpenImport()) {
    const Answer answer =
        AskBeforeLoss(ui_, "Ein Import ist noch geöffnet. Möchten Sie ihn abbrechen?", "Beenden?");
    if (answer != Answer::kYes) {
      event->ignore();
      return;
    }
  }
  wizard_.Abandon();
  QMainWindow::closeEvent(event);
}

}  // namespace kestrel::host
