// The imports that the host's ledger tells of, the last one first, and below the list what became of the records of the
// one that is chosen, with the button that takes it back.
#pragma once

#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <cstdint>
#include <optional>
#include <vector>

#include "app/query_model.h"
#include "app/undo_dialog.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "kestrel/user_interface.h"
#include "kestrel/wizard_host.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

class RunsPage final : public QWidget {
  Q_OBJECT
 public:
  // Works through the component kestrelhost.RunLedger. Dialogs and registry outlive the page.
  RunsPage(UserInterface& ui, ComponentRegistry& components, ConnectionPtr connection, QWidget* parent);

  // Reads the list again; the run that was chosen stays so.
  void Refresh();
  // Asks whether the run that is chosen is to be taken back and, on yes, does so. A run that is undone already is
  // asked about for what was left alone.
  void UndoChosen();
  // What the ledger knows of the last runs, for the wizard. Raises what the component raises.
  std::vector<SpecificationRun> LastRuns() const;
  // The same for the run with this number, with the progress shown above `window`. Nothing is told where the
  // person said no, or what failed was shown.
  UndoneRun Undo(std::int64_t run, QWidget& window);

 signals:
  void UndoAsked();
  // Addresses may have changed.
  void Undone();

 private:
  QWidget* BuildList();
  QWidget* BuildDetails();
  ObjectPtr Ledger() const;
  std::optional<std::int64_t> ChosenRun() const;
  // Of the run that is chosen, by the name of the ledger's column.
  QString Chosen(const char* column) const;
  void ShowChosen();
  void ShowRecords(QueryModel* model, Recordset& rows, const QString& title, const QString& told);
  QString Question() const;
  QString TellOutcome(const UndoOutcome& outcome);
  void Choose(std::int64_t run);

  UserInterface& ui_;
  ComponentRegistry& components_;
  ConnectionPtr connection_;
  QueryModel* runs_;
  QTableView* table_;
  QLabel* count_;
  QLabel* origin_;
  QLabel* title_;
  QueryModel* fates_;
  QueryModel* left_alone_;
  QTableView* records_;
  QLabel* status_;
  QPushButton* undo_;
  EventGuard guard_;
};

}  // namespace kestrel::host
