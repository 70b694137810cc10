#include "import/run_outcomes.h"

#include <utility>

#include "import/import_run.h"

namespace kestrel {

void RunOutcomes::Begin(std::int32_t record) {
  outcome_.Begin(record);
  in_round_ = true;
  is_handed_over_ = false;
}

void RunOutcomes::HandOver(RecordFate fate) {
  outcome_.fate = fate;
  is_handed_over_ = true;
  ++handed_over_;
}

void RunOutcomes::End() {
  in_round_ = false;
  figures_.Add(outcome_.fate, is_handed_over_);
  Trap([&] { view_.RecordDone(outcome_); }, [](const RuntimeError&) {});
  if (!waiting_.empty()) TellWaiting();
}

void RunOutcomes::Abandon() {
  in_round_ = false;
  for (RecordError& error : outcome_.errors) {
    waiting_.push_back({std::move(error), {ErrorScope::Of::kNoRecord}});
  }
  outcome_.errors.clear();
  TellWaiting();
}

void RunOutcomes::Add(RecordError error, const ErrorScope& scope) {
  if (IsOfRecordAtHand(scope)) {
    outcome_.errors.push_back(std::move(error));
    if (scope.of != ErrorScope::Of::kRecord) outcome_.fate = RecordFate::kRejected;
    return;
  }
  waiting_.push_back({std::move(error), scope});
  if (!in_round_) TellWaiting();
}

bool RunOutcomes::IsOfRecordAtHand(const ErrorScope& scope) const {
  if (!in_round_) return false;
  if (scope.of == ErrorScope::Of::kRecords) return is_handed_over_ && scope.first == handed_over_;
  return scope.of == ErrorScope::Of::kRecord || scope.of == ErrorScope::Of::kRejectedRecord;
}

void RunOutcomes::TellWaiting() {
  for (Waiting& waiting : std::exchange(waiting_, {})) {
    Tell(Apply(waiting));
  }
}

void RunOutcomes::Tell(const OutcomeRevision& revision) {
  Trap([&] { view_.Revise(revision); }, [](const RuntimeError&) {});
}

void RunOutcomes::Update(std::int32_t ordinal) {
  OutcomeRevision revision;
  revision.first = revision.last = SourceRecord(ordinal);
  revision.fate = RecordFate::kUpdated;
  revision.revised = figures_.Update(ordinal) ? 1 : 0;
  Tell(revision);
}

OutcomeRevision RunOutcomes::Apply(Waiting& waiting) {
  OutcomeRevision revision;
  const std::int32_t rejected_before = figures_.rejected();
  if (waiting.scope.of == ErrorScope::Of::kRecords) {
    revision.first = SourceRecord(waiting.scope.first);
    revision.last = SourceRecord(waiting.scope.last);
    figures_.Reject(waiting.scope.first, waiting.scope.last);
  } else if (waiting.scope.of == ErrorScope::Of::kAnyRecord) {
    figures_.RejectUnnamed();
  }
  revision.revised = figures_.rejected() - rejected_before;
  revision.error = std::move(waiting.error);
  return revision;
}

}  // namespace kestrel
