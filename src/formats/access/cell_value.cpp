#include "formats/access/cell_value.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "formats/access_sql/ole_date.h"
#include "platform/base/number.h"
#include "platform/base/value_text.h"

namespace kestrel::access {
namespace {

using access_sql::DateTimeOf;
using access_sql::SerialOf;
using access_sql::SerialText;

// "12345" with four digits behind the point is "1.2345".
std::string WithPoint(std::string digits, bool negative, std::size_t scale) {
  if (digits.size() <= scale) digits.insert(0, scale + 1 - digits.size(), '0');
  if (scale > 0) digits.insert(digits.size() - scale, 1, '.');
  if (negative) digits.insert(0, 1, '-');
  return digits;
}

// A number in words of 32 bits, the highest first.
std::string NumericDigits(std::array<std::uint32_t, 4> words, bool negative, std::size_t scale) {
  std::string digits;
  while (std::any_of(words.begin(), words.end(), [](std::uint32_t word) { return word != 0; })) {
    std::uint64_t rest = 0;
    for (std::uint32_t& word : words) {
      const std::uint64_t value = rest << 32 | word;
      word = static_cast<std::uint32_t>(value / 10);
      rest = value % 10;
    }
    digits += static_cast<char>('0' + rest);
  }
  if (digits.empty()) return "0";
  std::reverse(digits.begin(), digits.end());
  return WithPoint(std::move(digits), negative, scale);
}

// 17 bytes: a sign, then the words.
std::string StoredNumeric(const RawBytes& bytes, std::size_t scale) {
  return NumericDigits({bytes.U32(1), bytes.U32(5), bytes.U32(9), bytes.U32(13)}, (bytes.U8(0) & 0x80) != 0,
                       scale);
}

// 16 bytes: two of no matter here, scale and sign, then three words, the highest before the lowest.
std::string CalculatedNumeric(const RawBytes& bytes) {
  return NumericDigits({0, bytes.U32(4), bytes.U32(12), bytes.U32(8)}, (bytes.U8(3) & 0x80) != 0, bytes.U8(2));
}

std::string CurrencyDigits(std::uint64_t bits) {
  const bool negative = static_cast<std::int64_t>(bits) < 0;
  return WithPoint(std::to_string(negative ? 0 - bits : bits), negative, 4);
}

// 42 characters: days since 1 January of the year 1 (19 digits), seconds of the day (12) and their fraction
// (7), as "days:seconds:7". The fraction, which no text shows, is dropped.
double ExtendedSerial(std::string_view cell) {
  constexpr double kYearOne = -693593;
  const RawBytes bytes(cell);
  const auto number = [&](std::size_t at, std::size_t size) {
    const std::string_view digits = bytes.Part(at, size);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + size, value);
    if (error != std::errc() || end != digits.data() + size)
      throw Damaged("ein Datum besteht nicht aus Ziffern");
    return static_cast<double>(value);
  };
  return SerialOf(number(0, 19) + kYearOne, number(20, 12));
}

std::string ExtendedDateText(std::string_view cell) {
  const auto date = DateTimeOf(ExtendedSerial(cell));
  if (!date) throw Damaged("ein Datum liegt nicht im Kalender");
  return FormatDateTime(*date);
}

// {00112233-4455-6677-8899-AABBCCDDEEFF}: the first three groups are numbers, the rest bytes.
std::string GuidText(std::string_view bytes) {
  constexpr std::array<std::size_t, 16> kOrder{3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  const RawBytes checked(bytes);
  std::string text = "{";
  for (std::size_t i = 0; i < kOrder.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += BytesText(checked.Part(kOrder[i], 1));
  }
  return text + "}";
}

}  // namespace

FormatError UnreadableColumn(std::string_view table, const Column& column) {
  return FormatError("Das Feld '" + column.name + "' der Tabelle '" + std::string(table) +
                     "' kann nicht gelesen werden: " + WhyUnreadable(column).value_or("") +
                     ". Wer seine Werte braucht, überträgt sie in Access in ein Textfeld.");
}

bool CanBeNull(const Column& column) { return column.kind != ColumnKind::kBoolean || column.calculated; }

bool TruthValue(const std::optional<std::string_view>& cell) {
  return cell && (cell->empty() || cell->front() != '\0');
}

bool IsWhole(ColumnKind kind) {
  return kind == ColumnKind::kByte || kind == ColumnKind::kInteger || kind == ColumnKind::kLong ||
         kind == ColumnKind::kBigInteger;
}

std::int64_t WholeNumber(ColumnKind kind, std::string_view cell) {
  const RawBytes bytes(cell);
  switch (kind) {
    case ColumnKind::kByte: return bytes.U8(0);
    case ColumnKind::kInteger: return static_cast<std::int16_t>(bytes.U16(0));
    case ColumnKind::kLong: return static_cast<std::int32_t>(bytes.U32(0));
    default: return static_cast<std::int64_t>(bytes.U64(0));
  }
}

double RealNumber(ColumnKind kind, std::string_view cell) {
  if (kind == ColumnKind::kExtendedDate) return ExtendedSerial(cell);
  const RawBytes bytes(cell);
  if (kind != ColumnKind::kSingle) return bytes.Double(0);
  const float number = bytes.Float(0);
  if (!std::isfinite(number)) return static_cast<double>(number);
  std::array<char, 64> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number);
  double result = 0;
  std::from_chars(text.data(), end.ptr, result);
  return result;
}

std::string DecimalDigits(const Column& column, std::string_view cell) {
  const RawBytes bytes(cell);
  if (column.kind == ColumnKind::kCurrency) return CurrencyDigits(bytes.U64(0));
  return column.calculated ? CalculatedNumeric(bytes) : StoredNumeric(bytes, column.scale);
}

std::string_view CellText(const JetFile& file, const Column& column, std::string_view cell,
                          std::string& buffer) {
  switch (column.kind) {
    case ColumnKind::kText: return file.DecodeText(cell, buffer);
    case ColumnKind::kMemo: {
      std::string gathered;
      std::string_view value = LongValue(file, cell, gathered);
      if (column.calculated) value = UnwrapCalculated(value);
      const std::string_view text = file.DecodeText(value, buffer);
      if (gathered.empty() || text.data() == buffer.data()) return text;
      buffer = text;
      return buffer;
    }
    case ColumnKind::kOle: {
      std::string gathered;
      buffer = BytesText(LongValue(file, cell, gathered));
      return buffer;
    }
    case ColumnKind::kBinary: buffer = BytesText(cell); return buffer;
    case ColumnKind::kGuid: buffer = GuidText(cell); return buffer;
    case ColumnKind::kBoolean: buffer = BoolText(TruthValue(cell)); return buffer;
    case ColumnKind::kCurrency:
    case ColumnKind::kNumeric: buffer = DecimalText(DecimalDigits(column, cell)); return buffer;
    case ColumnKind::kSingle:
    case ColumnKind::kDouble: buffer = FormatNumber(RealNumber(column.kind, cell)); return buffer;
    case ColumnKind::kDate: buffer = SerialText(RealNumber(column.kind, cell)); return buffer;
    case ColumnKind::kExtendedDate: buffer = ExtendedDateText(cell); return buffer;
    default: break;
  }
  std::array<char, 24> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), WholeNumber(column.kind, cell));
  buffer.assign(digits.data(), end.ptr);
  return buffer;
}

}  // namespace kestrel::access
