// The figures of a run: what became of its records, by fate.
//
// Invariants
//  1. Every record worked through is exactly one of: stored, rejected, held back as a suspected duplicate, or
//     (in a test run) only checked.
//  2. An ordinal counts the records handed to the import class, from 1; a record number those of the source.
//  3. A record is rejected at most once, however often its loss is told.
#pragma once

#include <cstdint>
#include <vector>

#include "kestrel/record_outcome.h"

namespace kestrel {

class RunFigures {
 public:
  // One more source record. Whether it was handed to the import class, which one that was stored or updated
  // was, and one that was checked may have been; one that was not and is rejected could not be made.
  void Add(RecordFate fate, bool handed_over);
  // The records with these ordinals are lost; `first` to `last` lie within 1 to handed_over().
  void Reject(std::int32_t first, std::int32_t last);
  // The record with this ordinal, handed over before, has replaced what an address held; whether that is news.
  bool Update(std::int32_t ordinal);
  // One of the records handed over is lost, and nobody says which.
  void RejectUnnamed() { ++unnamed_; }

  // Whether the record with this ordinal is known to be lost.
  bool IsRejected(std::int32_t ordinal) const;

  std::int32_t handed_over() const { return handed_over_; }
  std::int32_t checked() const { return is_test_ ? handed_over_ - lost() : checked_; }
  std::int32_t held_back() const { return held_back_; }
  std::int32_t rejected() const { return lost() + not_made_; }
  // Updated ones included.
  std::int32_t stored() const { return is_test_ ? 0 : handed_over_ - lost(); }
  std::int32_t updated() const;

  // The source record with this ordinal, counted from 1; that of the next record to come for the next ordinal.
  std::int32_t SourceRecord(std::int32_t ordinal) const;
  // The source record of the last one that is not known to be lost; 0 where there is none.
  std::int32_t LastStoredRecord() const;
  // The first source record that was lost together with others; 0 where there is none.
  std::int32_t FirstOfLostGroup() const;

 private:
  // Of those handed over.
  std::int32_t lost() const;

  std::int32_t handed_over_ = 0;
  bool is_test_ = false;      // those handed over were so to be checked only
  std::int32_t checked_ = 0;  // without the import class
  std::int32_t held_back_ = 0;
  std::int32_t not_made_ = 0;
  std::vector<std::int32_t> kept_back_;  // source records that were not handed over, ascending
  std::vector<bool> is_rejected_;        // by ordinal - 1, as far as the last rejected one
  std::vector<bool> is_updated_;         // by ordinal - 1, as far as the last updated one
  std::int32_t named_ = 0;               // how many are rejected by name
  std::int32_t unnamed_ = 0;
  std::int32_t updated_ = 0;
  std::int32_t first_of_lost_group_ = 0;  // its ordinal; 0: none
};

}  // namespace kestrel
