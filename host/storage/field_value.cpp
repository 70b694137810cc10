#include "storage/field_value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "kestrel/date.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::host {

namespace {

FieldError Unlike(const DestinationField& field, std::string_view text, std::string_view expected) {
  return {ErrorNumber::kTypeMismatch,
          "Das Feld '" + field.name + "' erwartet " + std::string(expected) + ", der Wert ist '" +
              std::string(text) + "'.",
          field.name};
}

// Digits with an optional sign, the usual writing, without the detour over a real number.
std::optional<std::int64_t> PlainWholeNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<std::int64_t> ToWhole(std::string_view text) {
  if (const auto number = PlainWholeNumber(text)) return number;
  if (const auto number = ParseWholeNumber(text)) return number;
  // "12,0" is a whole number as well.
  const auto number = ParseNumber(text);
  constexpr double kExactWholes = 9007199254740992.0;
  if (!number || *number != std::floor(*number) || std::fabs(*number) > kExactWholes) return std::nullopt;
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

// What a double keeps of every decimal number.
constexpr std::size_t kExactDigits = 15;

// As a server reads a number without loss: digits, with a point and a sign.
bool IsServersDecimal(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  const std::size_t point = text.find('.');
  const std::string_view whole = text.substr(0, point);
  const std::string_view fraction = point == std::string_view::npos ? "0" : text.substr(point + 1);
  return !whole.empty() && !fraction.empty() && IsDigits(whole) && IsDigits(fraction);
}

// What a server makes of such a number where it keeps so many decimals, or so many zeros before the point, digit by digit:
// half way up to the greater amount. Without `decimals` it keeps all that are written.
std::string ServersDecimal(std::string_view text, std::optional<int> decimals) {
  const bool is_negative = text.starts_with('-');
  if (is_negative) text.remove_prefix(1);
  const std::size_t point = std::min(text.find('.'), text.size());
  std::string digits = "0" + std::string(text.substr(0, point));
  // Of the digits in front of the point.
  std::ptrdiff_t whole = std::ssize(digits);
  if (point < text.size()) digits += text.substr(point + 1);
  if (decimals) {
    const auto kept = whole + *decimals;
    const bool is_up = kept >= 0 && kept < std::ssize(digits) && digits[static_cast<std::size_t>(kept)] >= '5';
    digits.resize(static_cast<std::size_t>(std::max<std::ptrdiff_t>(kept, 0)), '0');
    for (std::size_t at = digits.size(); is_up && at-- > 0;) {
      if (digits[at]++ != '9') break;
      digits[at] = '0';
    }
    digits.resize(static_cast<std::size_t>(std::max(whole, kept)), '0');
  }
  const std::size_t first = digits.find_first_not_of('0');
  const auto front = std::min(first, static_cast<std::size_t>(whole - 1));
  digits.erase(0, front);
  whole -= static_cast<std::ptrdiff_t>(front);
  if (std::ssize(digits) > whole) digits.insert(static_cast<std::size_t>(whole), ".");
  return (is_negative && first != std::string::npos ? "-" : "") + digits;
}

// Half way up to the greater amount, by the number as it is written: 1,005 is 1,01.
double RoundToDecimals(double number, int decimals) {
  char digits[32];
  // "d.ddde+xx": the shortest that reads back the same.
  const auto [end, error] =
      std::to_chars(digits, digits + sizeof digits, std::fabs(number), std::chars_format::scientific);
  if (error != std::errc() || !std::isfinite(number)) return number;
  const std::string_view written(digits, static_cast<std::size_t>(end - digits));
  const std::size_t e = written.find('e');
  std::string all(written.substr(0, 1));
  if (e > 2) all += written.substr(2, e - 2);
  const int exponent =
      static_cast<int>(LeadingWholeNumber(written.substr(e + (written[e + 1] == '+' ? 2 : 1))));
  // So many of the digits stay.
  const int kept = exponent + 1 + decimals;
  if (kept >= static_cast<int>(all.size())) return number;
  if (kept < 0) return 0;
  const bool is_up = all[static_cast<std::size_t>(kept)] >= '5';
  all.resize(static_cast<std::size_t>(kept));
  all.insert(all.begin(), '0');
  for (std::size_t at = all.size(); is_up && at-- > 0;) {
    if (all[at]++ != '9') break;
    all[at] = '0';
  }
  all += "e" + std::to_string(-decimals);
  double rounded = 0;
  std::from_chars(all.data(), all.data() + all.size(), rounded);
  return number < 0 ? -rounded : rounded;
}

// The shortest number that the four bytes are written as.
double RoundToSingle(double number) {
  char digits[32];
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, static_cast<float>(number));
  double rounded = number;
  if (error == std::errc()) std::from_chars(digits, end, rounded);
  return std::isfinite(rounded) ? rounded : number;
}

std::optional<std::int64_t> ToTruth(std::string_view text) {
  for (const char* yes : {"1", "-1", "ja", "j", "wahr", "true", "t", "yes", "y", "x"}) {
    if (EqualsIgnoringCase(text, yes)) return 1;
  }
  for (const char* no : {"0", "nein", "n", "falsch", "false", "f", "no"}) {
    if (EqualsIgnoringCase(text, no)) return 0;
  }
  return std::nullopt;
}

}  // namespace

Refusal detail::ConvertFully(const DestinationField& field, std::string_view text, IsoDate& date,
                             StoredValue& stored) {
  if (field.kind == FieldKind::kText) {
    const auto size = static_cast<std::size_t>(field.size);
    if (size != 0 && LengthInCharacters(text) > size) {
      return FieldError(ErrorNumber::kColumnType,
                        "Der Wert des Feldes '" + field.name + "' ist länger als " + std::to_string(size) +
                            " Zeichen: '" + std::string(text) + "'.",
                        field.name);
    }
    stored = text;
    return std::nullopt;
  }
  const std::string_view trimmed = TrimBlanks(text);
  stored = std::monostate();
  if (trimmed.empty()) return std::nullopt;
  if (field.kind == FieldKind::kWhole || field.kind == FieldKind::kTruth) {
    const bool is_whole = field.kind == FieldKind::kWhole;
    const auto number = is_whole ? ToWhole(trimmed) : ToTruth(trimmed);
    if (!number) return Unlike(field, trimmed, is_whole ? "eine ganze Zahl" : "ja oder nein");
    stored = *number;
    return std::nullopt;
  }
  if (field.kind == FieldKind::kDate) {
    const auto day = ReadDate(trimmed);
    if (!day) return Unlike(field, trimmed, "ein Datum");
    stored = WriteIso(FormatStoredDate(*day), date);
    return std::nullopt;
  }
  const auto number = ParseNumber(trimmed);
  if (!number) return Unlike(field, text, "eine Zahl");
  const bool keeps_all =
      field.rounding.kind == Rounding::Kind::kExact || field.rounding.kind == Rounding::Kind::kDecimals;
  if (keeps_all && std::ranges::count_if(trimmed, [](char c) { return c >= '0' && c <= '9'; }) >
                       static_cast<std::ptrdiff_t>(kExactDigits)) {
    if (!IsServersDecimal(trimmed)) {
      return Unlike(field, text, "bei mehr als 15 Ziffern eine Zahl mit Dezimalpunkt und ohne Gruppenzeichen");
    }
    const bool rounds = field.rounding.kind == Rounding::Kind::kDecimals;
    date.number = ServersDecimal(trimmed, rounds ? std::optional<int>(field.rounding.decimals) : std::nullopt);
    stored = std::string_view(date.number);
    return std::nullopt;
  }
  stored = Rounded(field.rounding, *number);
  return std::nullopt;
}

double detail::Rounded(const Rounding& rounding, double number) {
  switch (rounding.kind) {
    case Rounding::Kind::kDecimals: return RoundToDecimals(number, rounding.decimals);
    case Rounding::Kind::kSingle: return RoundToSingle(number);
    case Rounding::Kind::kNone:
    case Rounding::Kind::kExact: break;
  }
  return number;
}

}  // namespace kestrel::host
