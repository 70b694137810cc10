// The result page: what a run has come to, and what can be done next.
//
// It takes the place of step 3 and keeps nobody from using the host meanwhile. Behind a test that stayed open it runs
// the import with the same settings, and shows that one's result then.
#pragma once

#include <QFormLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QWidget>
#include <string_view>

#include "kestrel/wizard_host.h"
#include "wizard/event_guard.h"
#include "wizard/page_parts.h"

namespace kestrel {

class ImportJob;
class Wizard;
struct RunResult;

class frmResult final : public QWidget {
  Q_OBJECT
 public:
  // Both outlive the page.
  frmResult(ImportJob& job, Wizard& wizard);

  // Shows the job's last run, and the remarks that stand in no log.
  void ShowRun(const QString& remarks);
  // Whether the page can still run an import.
  bool CanImport() const;

 protected:
  bool event(QEvent* event) override;

 private:
  QWidget* BuildActions();
  void ShowFigures(const RunResult& run);
  void ShowUndone(UndoneRun::State state);
  void Tell(std::string_view text);
  void cmdLog_Click();
  void cmdSaveRejects_Click();
  void cmdUndo_Click();
  void cmdImport_Click();
  void cmdClose_Click();

  ImportJob& job_;
  Wizard& wizard_;
  EventGuard guard_;
  bool was_test_ = false;
  QString told_of_undo_;  // as it stands among the remarks
  PageHeader* header_;
  QLabel* lblMessage_;
  QFormLayout* figures_;
  QPlainTextEdit* txtRemarks_;
  QPushButton* cmdLog_;
  QPushButton* cmdSaveRejects_;
  QPushButton* cmdUndo_;
  QPushButton* cmdImport_;
  QPushButton* cmdClose_;
};

}  // namespace kestrel
