#include "check/date_evidence.h"

#include <algorithm>

#include "platform/base/text.h"

namespace kestrel {

std::optional<CalendarDate> DateEvidence::Look(std::string_view value) {
  ++values_;
  std::optional<CalendarDate> date;
  if (chosen_ != nullptr) date = ReadDate(value, *chosen_);
  if (date) {
    has_dates_ = true;
    greatest_day_ = std::max(greatest_day_, date->day);
    day_differs_from_month_ |= date->day != date->month;
  }
  const std::size_t length = LengthInCharacters(value);
  const std::span<const DatePattern> patterns = DatePatterns();
  for (std::size_t i = 0; i < kFormats; ++i) {
    if (patterns[i].length != length) continue;
    const std::optional<CalendarDate> read = &patterns[i] == chosen_ ? date : ReadDate(value, patterns[i]);
    if (!read) continue;
    ++fits_[i];
    gives_other_days_[i] |= read != date;
  }
  return date;
}

std::vector<std::string_view> DateEvidence::FitAll() const {
  std::vector<std::string_view> formats;
  for (std::size_t i = 0; i < kFormats; ++i) {
    if (values_ > 0 && fits_[i] == values_) formats.push_back(DatePatterns()[i].format);
  }
  return formats;
}

std::size_t DateEvidence::Best() const {
  return static_cast<std::size_t>(std::max_element(fits_.begin(), fits_.end()) - fits_.begin());
}

std::int64_t DateEvidence::BestFits() const { return fits_[Best()]; }

std::string_view DateEvidence::BestFormat() const { return DatePatterns()[Best()].format; }

std::vector<std::string_view> DateEvidence::Rivals() const {
  std::vector<std::string_view> rivals = FitAll();
  const auto is_chosen = [this](std::string_view format) {
    return chosen_ != nullptr && format == chosen_->format;
  };
  if (std::none_of(rivals.begin(), rivals.end(), is_chosen)) return {};
  std::erase_if(rivals, [&](std::string_view format) {
    const auto at = static_cast<std::size_t>(FindDatePattern(format) - DatePatterns().data());
    return is_chosen(format) || !gives_other_days_[at];
  });
  return rivals;
}

}  // namespace kestrel
