// Which records of the source were handed to the import class, which counts them from 1.
#pragma once

#include <cstdint>
#include <vector>

namespace kestrel {

class HandedOver {
 public:
  // Passes over the first records of the source. Before the first Add.
  void Skip(std::int32_t records) { skipped_ = records; }
  // The next source record was handed over or not.
  void Add(bool handed_over);

  std::int32_t count() const { return count_; }
  // The source record, counted from 1, that was handed over as this one; the next record to come for the next one.
  std::int32_t SourceRecord(std::int32_t ordinal) const;

 private:
  std::int32_t skipped_ = 0;
  std::int32_t count_ = 0;
  std::vector<std::int32_t>
      others_;  // those not handed over, counted from 1 behind the skipped ones; ascending
};

}  // namespace kestrel
