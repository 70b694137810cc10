// What became of the records of a run.
//
// Invariants
//  1. Every record worked through is exactly one of: stored, rejected, held back as a suspected duplicate, or
//     (in a test run) only checked.
//  2. An ordinal counts the records handed to the import class, from 1; a record number those of the source.
//  3. A record is rejected at most once, however often its loss is told.
#pragma once

#include <cstdint>
#include <vector>

namespace kestrel {

class RunFigures {
 public:
  // One more source record was ...
  void HandOver() { ++handed_over_; }
  void Check() { ++checked_; }
  void HoldBack() { KeepBack(); }
  // ... not handed over, as it could not be made; it counts as rejected.
  void PassOver();

  // The records with these ordinals are lost; `first` to `last` lie within 1 to handed_over().
  void Reject(std::int32_t first, std::int32_t last);
  // One of the records handed over is lost, and nobody says which.
  void RejectUnnamed() { ++unnamed_; }

  std::int32_t handed_over() const { return handed_over_; }
  std::int32_t checked() const { return checked_; }
  std::int32_t held_back() const { return kept_back() - passed_over_; }
  std::int32_t rejected() const { return lost() + passed_over_; }
  std::int32_t stored() const { return handed_over_ - lost(); }

  // The source record with this ordinal, counted from 1.
  std::int32_t SourceRecord(std::int32_t ordinal) const;
  // The source record of the last one that is not known to be lost; 0 where there is none.
  std::int32_t LastStoredRecord() const;

 private:
  void KeepBack();
  std::int32_t kept_back() const { return static_cast<std::int32_t>(kept_back_.size()); }
  bool IsRejected(std::int32_t ordinal) const;
  // Of those handed over.
  std::int32_t lost() const;

  std::int32_t handed_over_ = 0;
  std::int32_t checked_ = 0;
  std::vector<std::int32_t> kept_back_;  // source records that were not handed over, ascending
  std::int32_t passed_over_ = 0;         // how many of them for another reason than a duplicate
  std::vector<bool> is_rejected_;        // by ordinal - 1, as far as the last rejected one
  std::int32_t named_ = 0;               // how many of them are
  std::int32_t unnamed_ = 0;
};

}  // namespace kestrel
