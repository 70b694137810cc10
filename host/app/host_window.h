// The sample host: a small business application whose address lists are filled by imports.
#pragma once

#include <QMainWindow>
#include <QTabWidget>
#include <vector>

#include "app/address_page.h"
#include "app/duplicate_page.h"
#include "app/error_log_page.h"
#include "app/runs_page.h"
#include "app/shown_wait.h"
#include "kestrel/wizard.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

class HostWindow final : public QMainWindow {
  Q_OBJECT
 public:
  // Dialogs and registry outlive the window. `personal_nr` is the user at work. Where `another` opens further
  // connections to the database, the address lists are read beside the window. Error 3000 where the database lacks
  // an address list.
  HostWindow(UserInterface& ui, ComponentRegistry& components, ConnectionPtr connection,
             const std::string& personal_nr, const AnotherConnection& another = {});

 protected:
  bool event(QEvent* event) override;
  // An import that is still open is asked about, and cancelled on yes.
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildMenu();
  // `file` is offered as the source; empty for none.
  void OpenImport(std::int16_t app_mode, const QString& file);
  // Asks for the file, which is for the list that is shown.
  void ImportFile();
  // Whether there is one, which is brought to the front; `notice` says why.
  bool ShowOpenImport(const QString& notice);
  void UndoRun();
  // The log of what the run could not store or held back.
  void ShowLog(const RunResult& run);
  void RefreshAll();
  void Search();

  UserInterface& ui_;
  EventGuard guard_;
  ConnectionPtr connection_;
  SystemClock clock_;
  // The import component: one session, used again for every import.
  Wizard wizard_;
  ImportMan import_man_;
  QTabWidget* tabs_;
  std::vector<AddressPage*> address_pages_;
  ErrorLogPage* error_log_;
  DuplicatePage* duplicates_;
  RunsPage* runs_;
  // While no run of an import watches the connection: a server that has gone is told, and need not be waited for.
  ShownWait wait_;
};

}  // namespace kestrel::host
