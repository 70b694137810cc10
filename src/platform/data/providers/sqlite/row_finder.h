// Which rows of a table may hold a text in a column: the memory of an index that is not in the database.
//
// It answers with candidates: every row that holds the text, and now and then (one look-up in some hundred
// with millions of rows) one that does not, so whoever asks reads the row and compares. Rows are never taken
// out; one that is gone or was changed is just such a candidate.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/large_pages.h"

namespace kestrel::sqlite {

class RowFinder {
 public:
  // At most so many rows; about 60 bytes each with three texts.
  static constexpr std::size_t kMostRows = 4'000'000;

  // The number by which AddText knows the row; below RowCount() from then on.
  std::uint32_t AddRow(std::int64_t row_id) {
    row_ids_.push_back(row_id);
    return static_cast<std::uint32_t>(row_ids_.size() - 1);
  }
  // Once for each text of the row. `column` is any number that names the column.
  void AddText(std::uint32_t row, std::size_t column, std::string_view text) {
    const std::uint32_t tag = TagOf(column, text);
    const std::size_t part = PartOf(tag);
    if (parts_[part].used == MostIn(part)) parts_[part].Grow();
    parts_[part].Place({tag, row + 1});
    ++parts_[part].used;
  }
  // Appends the row ids of the candidates.
  void Find(std::size_t column, std::string_view text, std::vector<std::int64_t>& row_ids) const {
    const std::uint32_t tag = TagOf(column, text);
    const Slots& slots = parts_[PartOf(tag)].slots;
    const std::size_t mask = slots.size() - 1;
    for (std::size_t i = tag & mask; slots[i].row != 0; i = (i + 1) & mask) {
      if (slots[i].tag == tag) row_ids.push_back(row_ids_[slots[i].row - 1]);
    }
  }
  std::size_t RowCount() const { return row_ids_.size(); }

 private:
  struct Slot {
    std::uint32_t tag = 0;
    std::uint32_t row = 0;  // counted from 1; 0 is a free slot
  };
  using Slots = std::vector<Slot, LargePages<Slot>>;

  // A hash table with linear probing.
  struct Part {
    Slots slots = Slots(1024);  // always a power of two
    std::size_t used = 0;

    void Place(const Slot& slot) {
      std::size_t i = slot.tag & (slots.size() - 1);
      while (slots[i].row != 0) i = (i + 1) & (slots.size() - 1);
      slots[i] = slot;
    }
    void Grow() {
      const Slots old = std::exchange(slots, Slots(slots.size() * 2));
      for (const Slot& slot : old) {
        if (slot.row != 0) Place(slot);
      }
    }
  };

  static constexpr std::size_t kPartBits = 4;

  static std::uint32_t TagOf(std::size_t column, std::string_view text) {
    const std::uint64_t hash =
        (std::hash<std::string_view>()(text) + column) * std::uint64_t{0x9E3779B97F4A7C15};
    return static_cast<std::uint32_t>(hash >> 32);
  }
  static std::size_t PartOf(std::uint32_t tag) { return tag >> (32 - kPartBits); }
  // Each part grows at another time, from 47 % full for the first one to 70 % for the last, so that no row has
  // to wait for all of them.
  std::size_t MostIn(std::size_t part) const { return parts_[part].slots.size() / 64 * (30 + part); }

  std::array<Part, std::size_t{1} << kPartBits> parts_;
  std::vector<std::int64_t> row_ids_;
};

}  // namespace kestrel::sqlite
