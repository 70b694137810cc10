// Which of the date formats the values of a column fit, and how much that tells.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "mapping/value_conversion.h"

namespace kestrel {

class DateEvidence {
 public:
  // `chosen`: the format that the import specification names, or null. It outlives this object.
  explicit DateEvidence(const DatePattern* chosen) : chosen_(chosen) {}

  // Looks at a value that is not empty; the day that it names in the chosen format, if any.
  std::optional<CalendarDate> Look(std::string_view value);

  std::int64_t values() const { return values_; }
  // The formats that every value fits, in the order in which they are offered.
  std::vector<std::string_view> FitAll() const;
  // How many values fit the format that most of them do, and which one that is; 0 where no value is a date.
  std::int64_t BestFits() const;
  std::string_view BestFormat() const;
  // The formats that every value fits as it does the chosen one, but for other days: the values do not tell which
  // one is right.
  std::vector<std::string_view> Rivals() const;
  // Whether all values could have day and month the other way round, as no day is above 12; not where that would
  // make no difference.
  bool DayCouldBeMonth() const { return has_dates_ && greatest_day_ <= 12 && day_differs_from_month_; }

 private:
  static constexpr std::size_t kFormats = 8;
  std::size_t Best() const;

  const DatePattern* chosen_;
  std::int64_t values_ = 0;
  std::array<std::int64_t, kFormats> fits_{};
  std::array<bool, kFormats> gives_other_days_{};  // than the chosen one
  bool has_dates_ = false;                         // in the chosen format
  bool day_differs_from_month_ = false;
  int greatest_day_ = 0;
};

}  // namespace kestrel
