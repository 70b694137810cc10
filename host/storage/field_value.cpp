#include "storage/field_value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "kestrel/date.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "storage/field_error.h"

namespace kestrel::host {

namespace {

[[noreturn]] void Refuse(const DestinationField& field, std::string_view text, std::string_view expected) {
  throw FieldError(ErrorNumber::kTypeMismatch,
                   "Das Feld '" + field.name + "' erwartet " + std::string(expected) + ", der Wert ist '" +
                       std::string(text) + "'.",
                   field.name);
}

// Digits with an optional sign, the usual writing, without the detour over a real number.
std::optional<std::int64_t> PlainWholeNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::int64_t ToWhole(const DestinationField& field, std::string_view text) {
  if (const auto number = PlainWholeNumber(text)) return *number;
  if (const auto number = ParseWholeNumber(text)) return *number;
  // "12,0" is a whole number as well.
  const auto number = ParseNumber(text);
  constexpr double kExactWholes = 9007199254740992.0;
  if (!number || *number != std::floor(*number) || std::fabs(*number) > kExactWholes) {
    Refuse(field, text, "eine ganze Zahl");
  }
  return static_cast<std::int64_t>(*number);
}

bool IsDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

int Number(std::string_view digits) {
  int number = 0;
  for (const char digit : digits) number = number * 10 + (digit - '0');
  return number;
}

std::optional<CalendarDate> ReadDate(std::string_view text) {
  constexpr std::size_t kDay = 8;
  constexpr std::size_t kDayAndTime = 14;
  CalendarDate date;
  if ((text.size() == kDay || text.size() == kDayAndTime) && IsDigits(text)) {
    if (text.substr(kDay).find_first_not_of('0') != std::string_view::npos) return std::nullopt;
    date = {Number(text.substr(0, 4)), Number(text.substr(4, 2)), Number(text.substr(6, 2))};
  } else if (text.size() == 10 && text[4] == '-' && text[7] == '-' && IsDigits(text.substr(0, 4)) &&
             IsDigits(text.substr(5, 2)) && IsDigits(text.substr(8))) {
    date = {Number(text.substr(0, 4)), Number(text.substr(5, 2)), Number(text.substr(8))};
  } else {
    return ParseGermanDate(text);
  }
  if (!IsRealDate(date)) return std::nullopt;
  return date;
}

std::string_view ToIso(const DestinationField& field, std::string_view text, IsoDate& iso) {
  const auto date = ReadDate(text);
  if (!date) Refuse(field, text, "ein Datum");
  return detail::WriteIso((std::int64_t{date->year} * 100 + date->month) * 100 + date->day, iso);
}

std::int64_t ToTruth(const DestinationField& field, std::string_view text) {
  for (const char* yes : {"1", "-1", "ja", "j", "wahr", "true", "t", "yes", "y", "x"}) {
    if (EqualsIgnoringCase(text, yes)) return 1;
  }
  for (const char* no : {"0", "nein", "n", "falsch", "false", "f", "no"}) {
    if (EqualsIgnoringCase(text, no)) return 0;
  }
  Refuse(field, text, "ja oder nein");
}

}  // namespace

std::string_view detail::WriteIso(std::int64_t day, IsoDate& date) {
  // "JJJJ-MM-TT" from its end.
  for (std::size_t at = sizeof date.text; at-- > 0;) {
    if (at == 4 || at == 7) {
      date.text[at] = '-';
    } else {
      date.text[at] = static_cast<char>('0' + day % 10);
      day /= 10;
    }
  }
  return {date.text, sizeof date.text};
}

StoredValue detail::ConvertOrRefuse(const DestinationField& field, std::string_view text, IsoDate& date) {
  if (field.kind == FieldKind::kText) {
    const auto size = static_cast<std::size_t>(field.size);
    if (size != 0 && LengthInCharacters(text) > size) {
      throw FieldError(ErrorNumber::kColumnType,
                       "Der Wert des Feldes '" + field.name + "' ist länger als " + std::to_string(size) +
                           " Zeichen: '" + std::string(text) + "'.",
                       field.name);
    }
    return text;
  }
  const std::string_view trimmed = TrimBlanks(text);
  if (trimmed.empty()) return std::monostate();
  if (field.kind == FieldKind::kWhole) return ToWhole(field, trimmed);
  if (field.kind == FieldKind::kDate) return ToIso(field, trimmed, date);
  if (field.kind == FieldKind::kTruth) return ToTruth(field, trimmed);
  const auto number = ParseNumber(trimmed);
  if (!number) Refuse(field, text, "eine Zahl");
  return *number;
}

}  // namespace kestrel::host
