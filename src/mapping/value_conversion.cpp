#include "mapping/value_conversion.h"

#include <array>

#include "kestrel/date.h"
#include "kestrel/runtime_error.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

// The whole value is read as a date: its parts may be shorter than the format shows ("1.2.2024  ").
constexpr DatePattern::Piece kWholeValue{0, 0};

constexpr std::array<DatePattern, 8> kDatePatterns = {{
    {"tt.mm.jjjj", 10, kWholeValue, kWholeValue, kWholeValue},
    {"tt.mm.jj", 8, {0, 2}, {3, 2}, {6, 2}},
    {"ttmmjjjj", 8, {0, 2}, {2, 2}, {4, 4}},
    {"ttmmjj", 6, {0, 2}, {2, 2}, {4, 2}},
    {"jjjj.mm.tt", 10, {8, 2}, {5, 2}, {0, 4}},
    {"jj.mm.tt", 8, {6, 2}, {3, 2}, {0, 2}},
    {"jjjjmmtt", 8, {6, 2}, {4, 2}, {0, 4}},
    {"jjmmtt", 6, {4, 2}, {2, 2}, {0, 2}},
}};

// "TT.MM.JJJJ", which most dates are written as: its digits are those of the stored date.
bool ConvertUsualDate(std::string_view value, StoredDate& stored) {
  constexpr std::array<std::size_t, 8> kPlaces = {6, 7, 8, 9, 3, 4, 0, 1};
  if (value.size() != 10 || value[2] != '.' || value[5] != '.') return false;
  std::array<char, 14> text;
  text.fill('0');
  bool all_digits = true;
  for (std::size_t i = 0; i < kPlaces.size(); ++i) {
    text[i] = value[kPlaces[i]];
    all_digits &= text[i] >= '0' && text[i] <= '9';
  }
  if (!all_digits) return false;
  const auto number = [&text](std::size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  const CalendarDate date{number(0) * 100 + number(2), number(4), number(6)};
  if (!IsRealDate(date)) return false;
  stored.text = text;
  stored.day = date.year * 10000 + date.month * 100 + date.day;
  return true;
}

}  // namespace

FieldKind KindOfField(std::string_view field_typ) {
  if (EqualsIgnoringCase(field_typ, "INT") || EqualsIgnoringCase(field_typ, "FLOAT"))
    return FieldKind::kNumeric;
  if (EqualsIgnoringCase(field_typ, "VARCHAR")) return FieldKind::kVarchar;
  if (EqualsIgnoringCase(field_typ, "TEXT")) return FieldKind::kText;
  return FieldKind::kOther;
}

std::optional<std::string_view> ShapeTranslated(std::string_view value, std::string_view field_typ,
                                                std::int64_t size) {
  if (field_typ == "varchar") {
    if (size < 0) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
    return Left(value, static_cast<std::size_t>(size));
  }
  if (value.empty() && KindOfField(field_typ) == FieldKind::kNumeric) return std::nullopt;
  return value;
}

bool IsCut(std::string_view value, std::string_view shaped) {
  const auto end = static_cast<std::size_t>(shaped.data() + shaped.size() - value.data());
  return !TrimBlanks(value.substr(end)).empty();
}

const DatePattern* FindDatePattern(std::string_view format) {
  for (const DatePattern& pattern : kDatePatterns) {
    if (pattern.format == format) return &pattern;
  }
  return nullptr;
}

std::span<const DatePattern> DatePatterns() { return kDatePatterns; }

std::optional<CalendarDate> ReadDate(std::string_view value, const DatePattern& pattern) {
  // What reads as a date has characters of one byte each.
  if (pattern.day.count == kWholeValue.count)
    return value.size() == pattern.length ? ParseGermanDate(value) : std::nullopt;
  if (value.size() < pattern.length || LengthInCharacters(value) != pattern.length) return std::nullopt;
  const auto cut = [value](DatePattern::Piece piece) { return Middle(value, piece.start, piece.count); };
  std::string joined;
  joined.append(cut(pattern.day))
      .append(1, '.')
      .append(cut(pattern.month))
      .append(1, '.')
      .append(cut(pattern.year));
  return ParseGermanDate(joined);
}

bool ConvertDate(std::string_view value, const DatePattern& pattern, StoredDate& stored) {
  if (pattern.day.count == kWholeValue.count && ConvertUsualDate(value, stored)) return true;
  const std::optional<CalendarDate> date = ReadDate(value, pattern);
  if (!date) return false;
  const int month_and_day = date->month * 100 + date->day;
  stored.day = std::int64_t{date->year} * 10000 + month_and_day;
  stored.text.fill('0');
  const auto write = [&stored](std::size_t begin, int four_digits) {
    for (std::size_t digit = begin + 4; digit-- > begin; four_digits /= 10) {
      stored.text[digit] = static_cast<char>('0' + four_digits % 10);
    }
  };
  write(0, date->year);
  write(4, month_and_day);
  return true;
}

std::string TypeMismatchText(std::string_view field_name, std::string_view value) {
  std::string text =
      "Eine Typen Unverträglichkeit wurde im Modul ImportStart festgestellt. Ein alphanumerischer Wert kann "
      "nicht in ein numerisches Feld geschrieben werden. (";
  // The bracket stays open; the log's readers know the line so.
  return text.append(field_name).append(" / ").append(value);
}

}  // namespace kestrel
