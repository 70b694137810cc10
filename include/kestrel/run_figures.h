// The figures of a run, made of what is told of its records: a RunView that hands every RecordOutcome and every
// OutcomeRevision to one of these has the figures at any moment.
//
// Invariants
//  1. Every record worked through is exactly one of these:
//     read = stored_new + updated + held_back + rejected + checked
//  2. Errors are counted apart: a record may have several, or be stored in spite of one.
//  3. A record is rejected at most once, however often its loss is told.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/export.h"
#include "kestrel/record_outcome.h"

namespace kestrel {

// A field of the destination, and how many of its values were longer than it and lost their end.
struct CutField {
  std::string field;        // its name
  std::int32_t values = 0;  // how many were cut
};

// The figures, and what is known of single records.
class KESTREL_EXPORT RunFigures {
 public:
  // The outcomes come in the source's order.
  void Add(const RecordOutcome& outcome);
  // Returns how many records it changes. `revision.revised` counts only where no record is named.
  std::int32_t Add(const OutcomeRevision& revision);

  // Records worked through.
  std::int32_t read() const { return read_; }
  // What the import class has, new ones and updated ones.
  std::int32_t stored() const { return is_test_ ? 0 : taken_ - lost(); }
  // Those of them that are new addresses.
  std::int32_t stored_new() const { return stored() - updated(); }
  // Those of them that replaced what an address held.
  std::int32_t updated() const;
  // Suspected to be duplicates.
  std::int32_t held_back() const { return held_back_; }
  // Refused, lost, or not handed over as they could not be made.
  std::int32_t rejected() const { return rejected_at_once_ + lost(); }
  // Only read and checked: a test run, in which nothing is stored.
  std::int32_t checked() const { return is_test_ ? taken_ - lost() : 0; }
  // Errors told, of which a record may have several.
  std::int32_t errors() const { return errors_; }
  // The fields with values that were cut, in the order in which they were cut first.
  const std::vector<CutField>& cut_fields() const { return cut_fields_; }
  // How many values were cut, of all fields.
  std::int32_t cut_values() const;

  // Whether this source record is known to be rejected; not asked of one held back.
  bool IsRejected(std::int32_t record) const;
  // The last source record that is not known to be lost; 0 where there is none.
  std::int32_t LastStoredRecord() const;
  // The first source record that was lost together with others; 0 where there is none.
  std::int32_t FirstOfLostGroup() const { return first_of_lost_group_; }

 private:
  // Of those that were stored or checked at first.
  std::int32_t lost() const;
  void Reject(std::int32_t first, std::int32_t last);
  bool Update(std::int32_t record);

  std::int32_t read_ = 0;
  std::int32_t first_ = 0;  // the first record and the last one told
  std::int32_t last_ = 0;
  std::int32_t taken_ = 0;  // stored or checked at first
  bool is_test_ = false;
  std::int32_t held_back_ = 0;
  std::int32_t rejected_at_once_ = 0;
  std::int32_t errors_ = 0;
  std::vector<bool> is_not_taken_;  // by source record, as far as the last that is not
  std::vector<bool> is_updated_;    // by source record, as far as the last updated one
  std::int32_t named_ = 0;          // how many were lost later by name
  std::int32_t unnamed_ = 0;
  std::int32_t updated_ = 0;
  std::int32_t first_of_lost_group_ = 0;
  std::vector<CutField> cut_fields_;
};

}  // namespace kestrel
