// A run's view that hands everything on to another one and keeps the records that are not stored.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "import/import_run.h"
#include "import/rejects.h"
#include "sources/source_reader.h"

namespace kestrel {

class RejectView final : public RunView {
 public:
  // All of it outlives this object. `rejects` gets what is not stored; none is there until Open.
  RejectView(RunView& view, Session& session, std::unique_ptr<Rejects>& rejects)
      : view_(view), session_(session), rejects_(rejects) {}

  // The source is open now, and not moved yet.
  void Open();
  // The rounds, and all that could revise them, are over. `source` stands on `next`, the first record that was
  // not worked through, or is at its end; those behind are kept, too, with the reason, until `stop_requests`
  // grows. The first one that is not kept because of that, or 0. Raises what could not be kept.
  std::int32_t Close(SourceReader& source, std::int32_t next, std::string_view reason,
                     const int& stop_requests);

  void SetInfo(std::string_view text) override { view_.SetInfo(text); }
  void SetProgress(double percent) override { view_.SetProgress(percent); }
  void Yield() override { view_.Yield(); }
  void YieldInWait() override { view_.YieldInWait(); }
  bool IsWindow() const override { return view_.IsWindow(); }
  void Tell(std::string_view text) override { view_.Tell(text); }
  bool ShowsResult() const override { return view_.ShowsResult(); }
  void CloseWindow() override { view_.CloseWindow(); }
  void RecordDone(const RecordOutcome& outcome) override;
  void Revise(const OutcomeRevision& revision) override;

 private:
  // Runs a step unless one has failed before; what failed first is raised by Close.
  template <class Step>
  void Attempt(Step&& step);

  RunView& view_;
  Session& session_;
  std::unique_ptr<Rejects>& rejects_;
  std::optional<RuntimeError> failure_;
  std::int32_t unnamed_ = 0;
};

}  // namespace kestrel
