// A destination field's text, converted to what its column stores.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/base/number.h"
#include "platform/data/borrowing_recordset.h"
#include "schema/destination.h"
#include "storage/field_error.h"

namespace kestrel::host {

// Nothing (the column stays null or as it was), a number, or a text: a view of the record's, or an ISO date.
using StoredValue = std::variant<std::monostate, std::int64_t, double, std::string_view>;

// The memory of a converted text: ten characters "JJJJ-MM-TT" of a date, or the digits of a long number.
struct IsoDate {
  char text[10];
  std::string number = {};
};

// Why a field does not take a value, told where it is looked for: in a long file thousands of values are wrong, and to raise
// each through the writer would cost as much as storing ten records.
using Refusal = std::optional<FieldError>;

namespace detail {
[[nodiscard]] Refusal ConvertFully(const DestinationField& field, std::string_view text, IsoDate& date,
                                   StoredValue& stored);
// Of a text that begins with "JJJJMMTT".
inline std::string_view WriteIso(std::string_view day, IsoDate& date) {
  constexpr std::size_t kPlaces[] = {0, 1, 2, 3, 0, 4, 5, 0, 6, 7};
  for (std::size_t i = 0; i < sizeof date.text; ++i) date.text[i] = i == 4 || i == 7 ? '-' : day[kPlaces[i]];
  return {date.text, sizeof date.text};
}
// Bytes are an upper bound for characters, so most texts need no counting.
// What the column makes of a number.
double Rounded(const Rounding& rounding, double number);
inline bool FitsByBytes(const DestinationField& field, std::string_view text) {
  return field.size == 0 || text.size() <= static_cast<std::size_t>(field.size);
}
}  // namespace detail

// Converts `text` of a field that is not null.
//   whole number, real number   a number in German or English writing; nothing for an empty text. A decimal number of more
//                               digits than a double keeps is the text that the column keeps of it, where it does
//   date                        JJJJMMTT with or without 000000, TT.MM.JJJJ or JJJJ-MM-TT to ISO; nothing for
//                               an empty text
//   true or false               1 or 0, for what is so called in German or English; nothing for an empty text
//   text                        as it stands
// `date` must live as long as the result. Error 13 or 3421 with a sentence that names field and value.
inline StoredValue ConvertFieldText(const DestinationField& field, std::string_view text, IsoDate& date) {
  if (field.kind == FieldKind::kText && detail::FitsByBytes(field, text)) return text;
  StoredValue stored;
  if (const Refusal refusal = detail::ConvertFully(field, text, date, stored)) throw FieldError(*refusal);
  return stored;
}

// Up to so many bytes a text goes into the field as it stands; -1: no text does.
inline std::int64_t BytesTakenAsTheyStand(const DestinationField& field) {
  if (field.kind != FieldKind::kText) return -1;
  return field.size == 0 ? std::numeric_limits<std::int64_t>::max() : field.size;
}

// The same for a text of which something is known, which spares looking at it. What ConvertFieldText raises is returned.
[[nodiscard]] inline Refusal ConvertField(const DestinationField& field, const BorrowedText& value,
                                          IsoDate& date, StoredValue& stored) {
  if (value.known == KnownText::kDecimal && field.kind == FieldKind::kWhole && value.decimals == 0) {
    stored = value.number;
  } else if (value.known == KnownText::kDecimal && field.kind == FieldKind::kReal) {
    stored = ToDouble(PlainDecimal{value.number, value.decimals});
    if (field.rounding.kind != Rounding::Kind::kNone) {
      stored = detail::Rounded(field.rounding, std::get<double>(stored));
    }
  } else if (value.known == KnownText::kDay && field.kind == FieldKind::kDate) {
    stored = detail::WriteIso(value.text, date);
  } else if (field.kind == FieldKind::kText && detail::FitsByBytes(field, value.text)) {
    stored = value.text;
  } else {
    return detail::ConvertFully(field, value.text, date, stored);
  }
  return std::nullopt;
}

}  // namespace kestrel::host
