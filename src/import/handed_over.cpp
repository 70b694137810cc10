#include "import/handed_over.h"

#include <algorithm>

namespace kestrel {

void HandedOver::Add(bool handed_over) {
  if (handed_over) {
    ++count_;
  } else {
    others_.push_back(count_ + static_cast<std::int32_t>(others_.size()) + 1);
  }
}

std::int32_t HandedOver::SourceRecord(std::int32_t ordinal) const {
  // Before the other at position i stand i of its kind.
  const auto stands_before = [&](const std::int32_t& number) {
    return number - 1 - static_cast<std::int32_t>(&number - others_.data()) < ordinal;
  };
  const auto end = std::partition_point(others_.begin(), others_.end(), stands_before);
  return skipped_ + ordinal + static_cast<std::int32_t>(end - others_.begin());
}

}  // namespace kestrel
