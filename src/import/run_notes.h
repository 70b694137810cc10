// Tells an import class that keeps a ledger how its run goes (RunStarts, RecordFate, RunEnds: see
// kestrel/import_class.h). One that lacks a member is not told what that member is for.
#pragma once

#include <cstdint>
#include <optional>

#include "component/session.h"
#include "kestrel/record_outcome.h"
#include "kestrel/run_result.h"

namespace kestrel {

class RunNotes {
 public:
  // Looks the members up. Raises what the class does.
  void Find(const ObjectPtr& import_class);
  // The source is open, no record was handed over. A test run, which stores nothing, is told nothing at all.
  // Raises what RunStarts does.
  void Start(const Session& session);
  // What became of these source records, behind their rounds. Raises what RecordFate does.
  void Tell(std::int32_t first, std::int32_t last, RecordFate fate);
  // The run begins behind these records. Raises what RecordFate does.
  void PassOver(std::int32_t last);
  // All but the removal of the source is over. Fills the result's run_number. Raises what RunEnds does.
  void End(RunResult& result, const RunFigures& figures);

 private:
  std::optional<BoundMember> run_starts_;
  std::optional<BoundMember> record_fate_;
  std::optional<BoundMember> run_ends_;
  std::optional<BoundMember> run_number_;
  bool has_started_ = false;
};

}  // namespace kestrel
