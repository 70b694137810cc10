#include "abi/values.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>

#include "kestrel/date.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/base/value_text.h"

namespace kestrel::abi {

namespace {

// It stands in arrays, whose steps would not fit a longer one.
void RequireExactSize(const kestrel_value* value, const char* name) {
  if (RequireSize(value, name) != sizeof(kestrel_value)) {
    throw Misuse(KESTREL_WRONG_SIZE,
                 std::string("'") + name + "' ist kein kestrel_value dieser Schnittstelle.");
  }
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Digits, with a sign before them and a point among them.
bool IsDecimal(std::string_view text) {
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  std::size_t digits = 0;
  std::size_t points = 0;
  for (const char c : text) {
    digits += IsDigit(c) ? 1 : 0;
    points += c == '.' ? 1 : 0;
  }
  return digits > 0 && points <= 1 && digits + points == text.size();
}

std::optional<DateTime> ToDateTime(const kestrel_date& date) {
  const DateTime time{{date.year, date.month, date.day}, date.hour, date.minute, date.second};
  if (!IsRealDate(time.date) || time.hour > 23 || time.minute > 59 || time.second > 59) return std::nullopt;
  return time;
}

// "HH:MM:SS", also with what databases write behind a point.
bool ReadTime(std::string_view text, DateTime& time) {
  const auto part = [&](std::size_t start, int most, int& number) {
    const char* const first = text.data() + start;
    return std::from_chars(first, first + 2, number).ptr == first + 2 && number >= 0 && number <= most;
  };
  return text.size() == 8 && text[2] == ':' && text[5] == ':' && part(0, 23, time.hour) &&
         part(3, 59, time.minute) && part(6, 59, time.second);
}

// A German date or one as databases write it, with or without a time.
kestrel_date ReadDate(std::string_view text) {
  const std::string german = IsoDateText(TrimBlanks(text));
  const std::size_t blank = german.find(' ');
  const std::optional<CalendarDate> day = ParseGermanDate(std::string_view(german).substr(0, blank));
  DateTime time;
  if (!day || (blank != std::string::npos && !ReadTime(std::string_view(german).substr(blank + 1), time)))
    throw RuntimeError(ErrorNumber::kTypeMismatch);
  kestrel_date date{};
  date.year = static_cast<std::int16_t>(day->year);
  date.month = static_cast<std::uint8_t>(day->month);
  date.day = static_cast<std::uint8_t>(day->day);
  date.hour = static_cast<std::uint8_t>(time.hour);
  date.minute = static_cast<std::uint8_t>(time.minute);
  date.second = static_cast<std::uint8_t>(time.second);
  return date;
}

// Any number as digits, sign and point; exact where it is written in the usual way.
std::string ReadDecimal(const std::string& text) {
  if (const auto plain = ReadPlainDecimal(text)) {
    std::string digits = std::to_string(plain->number < 0 ? -plain->number : plain->number);
    const auto decimals = static_cast<std::size_t>(plain->decimals);
    if (digits.size() <= decimals) digits.insert(0, decimals + 1 - digits.size(), '0');
    if (decimals > 0) digits.insert(digits.size() - decimals, ".");
    return (plain->number < 0 ? "-" : "") + digits;
  }
  std::string as_decimal = ReplaceAll(TrimBlanks(text), ",", ".");
  if (IsDecimal(as_decimal)) return as_decimal;
  const std::optional<double> number = ParseNumber(text);
  if (!number) throw RuntimeError(ErrorNumber::kTypeMismatch);
  // Room for the greatest double without an exponent, and for the smallest.
  std::array<char, 1100> buffer{};
  const auto end =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), *number, std::chars_format::fixed).ptr;
  return std::string(buffer.data(), end);
}

std::string ReadBytes(std::string_view text) {
  if (text.size() % 2 != 0) throw RuntimeError(ErrorNumber::kTypeMismatch);
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    unsigned char byte = 0;
    const auto read = std::from_chars(text.data() + i, text.data() + i + 2, byte, 16);
    if (read.ptr != text.data() + i + 2) throw RuntimeError(ErrorNumber::kTypeMismatch);
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

}  // namespace

Value ToValue(const Library& library, const kestrel_value* value, const char* name) {
  RequireExactSize(value, name);
  switch (value->kind) {
    case KESTREL_UNSET: return {};
    case KESTREL_NULL: return kNull;
    case KESTREL_MISSING: return kMissing;
    case KESTREL_BOOLEAN: return value->as.boolean != 0;
    case KESTREL_INTEGER: return value->as.integer;
    case KESTREL_DOUBLE: return value->as.real;
    case KESTREL_STRING: return Value(ToView(value->as.text, name));
    case KESTREL_DECIMAL: {
      const std::string_view text = ToView(value->as.text, name);
      if (!IsDecimal(text)) RaiseArgument(std::string("'") + name + "' ist keine Dezimalzahl.");
      return DecimalText(text);
    }
    case KESTREL_BYTES: {
      const kestrel_text& bytes = value->as.text;
      if (bytes.length == 0) return std::string();
      RequireCount(bytes.data, bytes.length, name);
      return BytesText({bytes.data, bytes.length});
    }
    case KESTREL_DATE: {
      const std::optional<DateTime> time = ToDateTime(value->as.date);
      if (!time) RaiseArgument(std::string("'") + name + "' ist kein Tag des Kalenders.");
      return FormatDateTime(*time);
    }
    case KESTREL_OBJECT:
      return value->as.object == 0 ? Value(ObjectPtr()) : Value(library.RequireObject(value->as.object));
    default:
      RaiseArgument(std::string("'") + name + "' hat die Art " + std::to_string(value->kind) +
                    ", die es nicht gibt.");
  }
}

kestrel_value ViewOf(Library& library, const Value& value) {
  kestrel_value view{};
  view.size = sizeof view;
  if (value.IsText()) {
    view.kind = KESTREL_STRING;
    view.as.text = ToText(value.TextOrEmpty());
  } else if (value.IsObject()) {
    view.kind = KESTREL_OBJECT;
    view.as.object = library.handles.Add(value.ToObject());
  } else if (value.IsBool()) {
    view.kind = KESTREL_BOOLEAN;
    view.as.boolean = value.ToBool() ? 1 : 0;
  } else if (value.IsNull()) {
    view.kind = KESTREL_NULL;
  } else if (value.IsMissing()) {
    view.kind = KESTREL_MISSING;
  } else if (!value.IsUnset()) {
    // Equal values are of one kind.
    const double real = value.ToDouble();
    if (Value(real) == value || std::isnan(real)) {
      view.kind = KESTREL_DOUBLE;
      view.as.real = real;
    } else {
      view.kind = KESTREL_INTEGER;
      view.as.integer = value.ToInteger();
    }
  }
  return view;
}

void RequireTarget(const kestrel_value* target, const char* name) { RequireExactSize(target, name); }

void HandOutValue(Library& library, Value value, kestrel_value* target, const char* name) {
  RequireExactSize(target, name);
  *target = ViewOf(library, library.HandOut(std::move(value)));
}

}  // namespace kestrel::abi

using kestrel::Value;
using kestrel::abi::Guarded;
using kestrel::abi::Library;

int32_t kestrel_value_convert(kestrel_library* library, const kestrel_value* value, int32_t kind,
                              kestrel_value* converted) {
  return Guarded(library, [&](Library& open) {
    namespace abi = kestrel::abi;
    abi::RequireTarget(converted, "converted");
    const Value given = abi::ToValue(open, value, "value");
    const auto hand_out_text = [&](std::string text) {
      kestrel_value made{};
      made.size = sizeof made;
      made.kind = kind;
      made.as.text = open.HandOutText(std::move(text));
      *converted = made;
    };
    switch (kind) {
      case KESTREL_BOOLEAN: return abi::HandOutValue(open, given.ToBool(), converted, "converted");
      case KESTREL_INTEGER: return abi::HandOutValue(open, given.ToInteger(), converted, "converted");
      case KESTREL_DOUBLE: return abi::HandOutValue(open, given.ToDouble(), converted, "converted");
      case KESTREL_STRING: return hand_out_text(given.ToText());
      case KESTREL_DECIMAL: return hand_out_text(abi::ReadDecimal(given.ToText()));
      case KESTREL_BYTES: return hand_out_text(abi::ReadBytes(given.ToText()));
      case KESTREL_DATE: {
        const kestrel_date date = abi::ReadDate(given.ToText());
        *converted = {sizeof *converted, KESTREL_DATE, 0, {}};
        converted->as.date = date;
        return;
      }
      default: abi::RaiseArgument("In die Art " + std::to_string(kind) + " wird nichts verwandelt.");
    }
  });
}
