// The outcomes of a run on their way to its view, and the figures they come to.
//
// Invariants
//  1. Between Begin and End (or Abandon) there is a record at hand. Its errors stand in its outcome; errors of
//     other records wait, and are told behind it.
//  2. The figures are the sum of what was told, so they never know of a record or an error that the view does not.
//  3. A record without errors allocates nothing here.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "import/handed_over.h"
#include "kestrel/record_outcome.h"
#include "kestrel/run_figures.h"

namespace kestrel {

class RunNotes;
class RunView;

// Whose an error is. Ordinals count the records handed to the import class, from 1.
struct ErrorScope {
  enum class Of {
    kRecord,          // of the record at hand, which it does not reject; of none between two rounds
    kRejectedRecord,  // of the record at hand, which is lost by it
    kNoRecord,
    kAnyRecord,  // one of those handed over is lost by it, and nobody says which
    kRecords,    // those with the ordinals `first` to `last` are lost by it
  };
  Of of = Of::kRecord;
  std::int32_t first = 0;
  std::int32_t last = 0;
  bool named = false;  // by the import class, so that the log's row names them
};

class RunOutcomes {
 public:
  // Both outlive this object. What they raise is ignored, as an error of its own would have to be told, too.
  RunOutcomes(RunView& view, RunNotes& notes) : view_(view), notes_(notes) {}

  // The source's first records are passed over. Before the first Begin.
  void Skip(std::int32_t records) { numbers_.Skip(records); }
  void Begin(std::int32_t record);
  // The record at hand; `fate` and what else is known of it are the caller's to set.
  RecordOutcome& at_hand() { return outcome_; }
  // It is handed to the import class now, and comes to `fate` (stored or checked) unless that refuses it.
  void HandOver(RecordFate fate);
  // Ends the round and tells.
  void End();
  // Ends the round of a record that is not worked through; its errors belong to none.
  void Abandon();

  void Add(RecordError error, const ErrorScope& scope);
  bool IsOfRecordAtHand(const ErrorScope& scope) const;
  // Between two rounds: the record with this ordinal, 1 to handed_over(), was an update.
  void Update(std::int32_t ordinal);

  // How many records were handed over, the one at hand included.
  std::int32_t handed_over() const { return numbers_.count() + (is_handed_over_ ? 1 : 0); }
  // The source record with this ordinal.
  std::int32_t SourceRecord(std::int32_t ordinal) const { return numbers_.SourceRecord(ordinal); }
  // Without the record at hand.
  const RunFigures& figures() const { return figures_; }

 private:
  struct Waiting {
    RecordError error;
    ErrorScope scope;
  };
  void TellWaiting();
  OutcomeRevision RevisionFor(Waiting& waiting) const;
  void Tell(OutcomeRevision revision);
  // The records with these ordinals are lost.
  void NoteLost(std::int32_t first, std::int32_t last);

  RunView& view_;
  RunNotes& notes_;
  RecordOutcome outcome_;
  bool in_round_ = false;
  bool is_handed_over_ = false;  // whether the record at hand is
  HandedOver numbers_;
  std::vector<Waiting> waiting_;
  RunFigures figures_;
};

}  // namespace kestrel
