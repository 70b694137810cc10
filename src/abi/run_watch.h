// A run as a program in C watches it.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "abi/stop_request.h"
#include "import/pace.h"
#include "kestrel/import_job.h"
#include "kestrel/kestrel.h"
#include "kestrel/run_view.h"

namespace kestrel::abi {

class RunWatch final : public RunView {
 public:
  // The job, what the functions use and the request outlive this object.
  RunWatch(ImportJob& job, const kestrel_run_view& functions, StopRequest& stop)
      : job_(job), functions_(functions), stop_(stop), stoppable_(stop) {}

  void SetInfo(std::string_view text) override { info_.assign(text); }
  void SetProgress(double percent) override;
  void Yield() override;
  void Tell(std::string_view text) override;
  void RecordDone(const RecordOutcome& outcome) override;
  void Revise(const OutcomeRevision& revision) override;
  void CloseWindow() override {}

 private:
  void ShowProgress();
  void TellOf(const RecordOutcome& outcome);
  void ObeyOtherThreads() {
    for (; stops_obeyed_ < stop_.times(); ++stops_obeyed_) job_.RequestStop();
  }
  // What a function answered: whether the run goes on.
  void Obey(std::int32_t status) {
    if (status != KESTREL_OK) job_.RequestStop();
  }

  ImportJob& job_;
  const kestrel_run_view functions_;
  const StopRequest& stop_;
  const StopRequest::Scope stoppable_;
  int stops_obeyed_ = 0;
  // Often enough for a person to see that it goes on.
  Pace pace_{std::chrono::milliseconds(100)};
  std::string info_;
  double percent_ = 0;
  int told_percent_ = -1;
  std::vector<kestrel_record_error> errors_;  // of the record told; their memory is kept
  std::vector<kestrel_text> cut_fields_;
};

}  // namespace kestrel::abi
