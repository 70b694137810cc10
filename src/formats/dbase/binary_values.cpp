#include "formats/dbase/binary_values.h"

#include <cmath>
#include <optional>

#include "platform/base/day_number.h"
#include "platform/base/number.h"
#include "platform/base/value_text.h"

namespace kestrel::dbase {

namespace {

constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
constexpr std::int64_t kMillisecondsADay = 86'400'000;

std::uint64_t ReadU64BigEndian(Bytes field) {
  return std::uint64_t{ReadU32BigEndian(field, 0)} << 32 | ReadU32BigEndian(field, 4);
}

// Nothing where the day does not exist.
std::optional<std::string> MomentText(std::int64_t days_since_1970, std::int64_t milliseconds) {
  const auto time = DateTimeOfDays(days_since_1970, (milliseconds + 500) / 1000);
  if (!time) return std::nullopt;
  return FormatDateTime(*time);
}

}  // namespace

std::string WholeNumberText(Bytes field, bool is_level7) {
  const std::uint32_t bits = is_level7 ? ReadU32BigEndian(field, 0) ^ 0x80000000 : ReadU32(field, 0);
  return std::to_string(static_cast<std::int32_t>(bits));
}

std::string DoubleText(Bytes field, bool is_level7) {
  if (!is_level7) return FormatNumber(ReadDouble(field, 0));
  const std::uint64_t bits = ReadU64BigEndian(field);
  return FormatNumber(std::bit_cast<double>((bits & kSign) != 0 ? bits ^ kSign : ~bits));
}

std::string CurrencyText(Bytes field) {
  constexpr std::uint64_t kUnit = 10000;
  const auto amount = static_cast<std::int64_t>(ReadU64(field, 0));
  const std::uint64_t magnitude =
      amount < 0 ? 0 - static_cast<std::uint64_t>(amount) : static_cast<std::uint64_t>(amount);
  std::string fraction = std::to_string(kUnit + magnitude % kUnit);
  fraction.front() = '.';
  return DecimalText((amount < 0 ? "-" : "") + std::to_string(magnitude / kUnit) + fraction);
}

std::string TimestampText(Bytes field) {
  const auto day = static_cast<std::int32_t>(ReadU32(field, 0));
  const auto milliseconds = static_cast<std::int32_t>(ReadU32(field, 4));
  return MomentText(day - kJulianDayOf1970, milliseconds).value_or("");
}

std::string Level7TimestampText(Bytes field) {
  constexpr std::int64_t kFirstDayOf1970 = 719163;  // the first day of the year 1 is day 1
  constexpr double kMostMilliseconds = 4e14;
  const double milliseconds = std::bit_cast<double>(ReadU64BigEndian(field) & ~kSign);
  if (milliseconds >= kMillisecondsADay && milliseconds < kMostMilliseconds) {
    const auto whole = static_cast<std::int64_t>(std::llround(milliseconds));
    if (auto text = MomentText(whole / kMillisecondsADay - kFirstDayOf1970, whole % kMillisecondsADay))
      return *text;
  }
  std::string text = ReadU32(field, 4) < kMillisecondsADay ? TimestampText(field) : "";
  if (text.empty()) RaiseDamaged("ein Zeitstempel ist keiner");
  return text;
}

}  // namespace kestrel::dbase
