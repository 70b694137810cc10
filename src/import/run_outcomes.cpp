#include "import/run_outcomes.h"

#include <utility>

#include "import/import_run.h"
#include "import/run_notes.h"

namespace kestrel {

void RunOutcomes::Begin(std::int32_t record) {
  outcome_.Begin(record);
  in_round_ = true;
  is_handed_over_ = false;
}

void RunOutcomes::HandOver(RecordFate fate) {
  outcome_.fate = fate;
  is_handed_over_ = true;
}

void RunOutcomes::End() {
  in_round_ = false;
  figures_.Add(outcome_);
  // In a test run that hands nothing over no number has to be known.
  if (is_handed_over_ || outcome_.fate != RecordFate::kChecked) numbers_.Add(is_handed_over_);
  is_handed_over_ = false;
  Trap([&] { notes_.Tell(outcome_.record, outcome_.record, outcome_.fate); }, [](const RuntimeError&) {});
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
  if (scope.of == ErrorScope::Of::kRecords) return is_handed_over_ && scope.first == handed_over();
  return scope.of == ErrorScope::Of::kRecord || scope.of == ErrorScope::Of::kRejectedRecord;
}

void RunOutcomes::TellWaiting() {
  for (Waiting& waiting : std::exchange(waiting_, {})) {
    if (waiting.scope.of == ErrorScope::Of::kRecords) {
      Trap([&] { NoteLost(waiting.scope.first, waiting.scope.last); }, [](const RuntimeError&) {});
    }
    Tell(RevisionFor(waiting));
  }
}

void RunOutcomes::Tell(OutcomeRevision revision) {
  revision.revised = figures_.Add(revision);
  Trap([&] { view_.Revise(revision); }, [](const RuntimeError&) {});
}

// By ranges, as records between them may not have been handed over.
void RunOutcomes::NoteLost(std::int32_t first, std::int32_t last) {
  std::int32_t start = SourceRecord(first);
  std::int32_t end = start;
  for (std::int32_t ordinal = first + 1; ordinal <= last; ++ordinal) {
    const std::int32_t record = SourceRecord(ordinal);
    if (record != end + 1) {
      notes_.Tell(start, end, RecordFate::kRejected);
      start = record;
    }
    end = record;
  }
  notes_.Tell(start, end, RecordFate::kRejected);
}

void RunOutcomes::Update(std::int32_t ordinal) {
  OutcomeRevision revision;
  revision.first = revision.last = SourceRecord(ordinal);
  revision.fate = RecordFate::kUpdated;
  Tell(std::move(revision));
}

OutcomeRevision RunOutcomes::RevisionFor(Waiting& waiting) const {
  OutcomeRevision revision;
  if (waiting.scope.of == ErrorScope::Of::kRecords) {
    revision.first = SourceRecord(waiting.scope.first);
    revision.last = SourceRecord(waiting.scope.last);
  } else if (waiting.scope.of == ErrorScope::Of::kAnyRecord) {
    revision.revised = numbers_.count() > 0 ? 1 : 0;
  }
  revision.error = std::move(waiting.error);
  return revision;
}

}  // namespace kestrel
