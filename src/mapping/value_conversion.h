// From a source value to what is written into the destination record: pure rules, nothing is written here.
//
// A field's values are shaped by its FieldTyp. All rules compare the type without case, but for one: a
// translated value is cut only for the type "varchar" in exactly this lower case.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kestrel/date.h"
#include "kestrel/runtime_error.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel {

// How a field's values are written.
enum class FieldKind { kNumeric /* INT, FLOAT */, kVarchar, kText, kOther };
FieldKind KindOfField(std::string_view field_typ);

// Whether the value may go into the field: an empty value always, others into numeric fields only when
// they are numbers. Raises nothing.
inline bool IsCompatible(std::string_view value, FieldKind kind) {
  return kind != FieldKind::kNumeric || value.empty() || IsNumeric(value);
}

// What of a compatible value is written, as a view into `value`: all of it into numeric fields, the first
// `size` characters then trimmed into VARCHAR, trimmed into TEXT, as it stands into others. None where
// nothing is written: an empty value into a numeric field. Raises 5 for a negative size of a VARCHAR.
inline std::optional<std::string_view> ShapeByType(std::string_view value, FieldKind kind, std::int64_t size) {
  switch (kind) {
    case FieldKind::kNumeric:
      if (value.empty()) return std::nullopt;
      return value;
    case FieldKind::kVarchar:
      if (size < 0) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
      return TrimBlanks(Left(value, static_cast<std::size_t>(size)));
    case FieldKind::kText: return TrimBlanks(value);
    case FieldKind::kOther: break;
  }
  return value;
}

// The same for a compatible value that came out of a translation table: as it stands, cut to `size`
// characters for the type "varchar". Raises 5 for a negative size of such a field.
std::optional<std::string_view> ShapeTranslated(std::string_view value, std::string_view field_typ,
                                                std::int64_t size);

// Whether that cuts off more than blanks: `shaped` is the view into `value` that either gave.
bool IsCut(std::string_view value, std::string_view shaped);

// --- Dates --------------------------------------------------------------------------------------

// Where day, month and year stand in a date text; positions count characters from 0.
struct DatePattern {
  struct Piece {
    std::size_t start;
    std::size_t count;
  };
  std::string_view format;
  std::size_t length;  // of the whole value
  Piece day, month, year;
};

// The pattern of one of the eight formats offered ("tt.mm.jjjj" ... "jjmmtt"), compared exactly; null for
// any other text. Lives for the life of the program.
const DatePattern* FindDatePattern(std::string_view format);

// All of them, in the order in which they are offered.
std::span<const DatePattern> DatePatterns();

// The day that a value names; none for one of another length, or that is no day of the calendar. Raises nothing.
std::optional<CalendarDate> ReadDate(std::string_view value, const DatePattern& pattern);

// How a day is written into a record.
struct StoredDate {
  std::array<char, 14> text{};  // "JJJJMMTT000000"
  std::int64_t day = 0;         // JJJJMMTT
};
// Sets `stored` for a value that has the pattern's length and names a day that exists; false for every other value,
// which then passes unchanged. Raises nothing.
bool ConvertDate(std::string_view value, const DatePattern& pattern, StoredDate& stored);

// --- The type mismatch --------------------------------------------------------------------------

inline constexpr std::int64_t kTypeMismatchNumber = 10005;
// The log's text for a value that does not fit its field.
std::string TypeMismatchText(std::string_view field_name, std::string_view value);

}  // namespace kestrel
