// The run window: runs the import on its first activation and shows how far it is. With the comfort of a summary it
// stays behind the closing message until it is closed.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>

#include "import/pace.h"
#include "import/run_pace.h"
#include "kestrel/import_job.h"
#include "kestrel/wizard_comforts.h"
#include "wizard/button_row.h"
#include "wizard/event_guard.h"

namespace kestrel {

class frmImport final : public QDialog, private RunView {
  Q_OBJECT
 public:
  // The job outlives the window; its fields are assigned.
  frmImport(ImportJob& job, QWidget* parent, WizardComforts comforts = {});

  const RunResult& result() const { return job_.result(); }
  // Whether a run has come to its end, and what it told beside the logs.
  bool HasFinished() const { return finished_; }
  QString Remarks() const { return remarks_->toPlainText(); }

 protected:
  void showEvent(QShowEvent* event) override;
  bool event(QEvent* event) override;
  // The close box and Escape: until the run has finished, closing asks for the abort and is refused.
  void reject() override;

 private:
  void Activate();
  void AddSummary();
  void ShowSummary();
  void Repaint();

  void SetInfo(std::string_view text) override { info_.assign(text); }
  void SetProgress(double percent) override { percent_ = percent; }
  void Yield() override;
  void YieldInWait() override;
  bool IsWindow() const override { return true; }
  void Tell(std::string_view text) override;
  void RecordDone(const RecordOutcome& outcome) override { record_ = outcome.record; }
  bool ShowsResult() const override { return comforts_.result_page; }
  void CloseWindow() override;

  EventGuard guard_;
  ImportJob& job_;
  WizardComforts comforts_;
  QLabel* lblInfo_;
  QProgressBar* progress_bar_;
  QLabel* lblPace_ = nullptr;  // only where it is wanted
  QPlainTextEdit* remarks_;    // hidden while there is none
  // Only where the summary is wanted; hidden until the run has ended.
  QLabel* lblSummary_ = nullptr;
  ButtonRow* buttons_ = nullptr;
  QPushButton* cmdSaveRejects_ = nullptr;
  QPushButton* cmdClose_ = nullptr;
  // What the run said last; brought to the screen as often as an eye can follow, which costs less than the
  // display's own rate would.
  std::string info_;
  double percent_ = 0;
  std::int32_t record_ = 0;  // of the source, the last one worked through
  RunPace run_pace_;
  Pace pace_{std::chrono::milliseconds(40)};
  bool started_ = false;
  bool finished_ = false;
};

}  // namespace kestrel
