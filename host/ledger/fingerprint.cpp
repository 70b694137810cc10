#include "ledger/fingerprint.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "ledger/decimal.h"
#include "ledger/stored_row.h"

namespace kestrel::host {

namespace {

constexpr std::size_t kWhole = 8;
constexpr int kBitsOfACharacter = 6;
constexpr int kBitsOfAField = 3;
constexpr std::string_view kCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Odd, its bits half set and without a pattern: the golden ratio's.
constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
constexpr std::uint64_t kNull = 0x51ED270B0A1F39C1;
constexpr std::uint64_t kNumber = 0x2545F4914F6CDD1D;

std::uint64_t Mix(std::uint64_t hash, std::uint64_t bits) {
  hash = (hash ^ bits) * kMultiplier;
  return hash ^ (hash >> 32);
}

// So many bytes as a number, the lowest first on every machine.
template <class Number>
std::uint64_t BitsAt(const char* bytes) {
  Number bits = 0;
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(&bits, bytes, sizeof bits);
  } else {
    for (std::size_t i = sizeof bits; i > 0; --i) {
      bits = static_cast<Number>(bits << 8 | static_cast<unsigned char>(bytes[i - 1]));
    }
  }
  return bits;
}

std::uint64_t HashText(std::string_view text) {
  constexpr std::size_t kStep = sizeof(std::uint64_t);
  const std::size_t size = text.size();
  const char* const bytes = text.data();
  std::uint64_t hash = Mix(0, size);
  if (size >= kStep) {
    for (std::size_t at = 0; at + kStep < size; at += kStep)
      hash = Mix(hash, BitsAt<std::uint64_t>(bytes + at));
    // The last ones may stand in the step before, too.
    return Mix(hash, BitsAt<std::uint64_t>(bytes + size - kStep));
  }
  constexpr std::size_t kHalf = sizeof(std::uint32_t);
  if (size >= kHalf) {
    return Mix(hash, BitsAt<std::uint32_t>(bytes) | BitsAt<std::uint32_t>(bytes + size - kHalf) << 32);
  }
  if (size == 0) return hash;
  // The first, the middle and the last of three, two or one.
  return Mix(hash, BitsAt<std::uint8_t>(bytes) | BitsAt<std::uint8_t>(bytes + size / 2) << 8 |
                       BitsAt<std::uint8_t>(bytes + size - 1) << 16);
}

std::uint64_t HashNumber(double number) {
  // Both zeros are one.
  return Mix(kNumber, std::bit_cast<std::uint64_t>(number == 0 ? 0.0 : number));
}

std::uint64_t HashDecimal(const Decimal& number) {
  return HashText((number.is_negative ? "-" : "") + number.digits + "e" + std::to_string(number.exponent));
}

std::optional<double> RealOf(const StoredValue& value) {
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return static_cast<double>(*whole);
  const std::string_view text = std::get<std::string_view>(value);
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::uint64_t HashValue(FieldKind kind, const StoredValue& value) {
  if (std::holds_alternative<std::monostate>(value)) return kNull;
  if (kind == FieldKind::kText || kind == FieldKind::kDate) {
    const auto* text = std::get_if<std::string_view>(&value);
    return text != nullptr ? HashText(*text) : HashText(ShownValue(value));
  }
  if (const auto* real = std::get_if<double>(&value)) return HashNumber(*real);
  const auto* whole = std::get_if<std::int64_t>(&value);
  constexpr std::int64_t kExactWholes = std::int64_t{1} << 53;
  if (whole != nullptr && *whole <= kExactWholes && *whole >= -kExactWholes) {
    return HashNumber(static_cast<double>(*whole));
  }
  const std::optional<Decimal> number = DecimalOf(value);
  if (!number) return HashText(std::get<std::string_view>(value));
  // Where a double stands for another number, too, all digits count.
  const std::optional<double> real = RealOf(value);
  return real && DecimalOf(*real) == number ? HashNumber(*real) : HashDecimal(*number);
}

}  // namespace

std::size_t FingerprintSize(const Destination& destination) {
  return kWhole + (destination.fields.size() + 1) / 2;
}

void AppendFingerprint(std::string& text, const Destination& destination, const RecordValues& values) {
  const std::size_t start = text.size();
  text.resize(start + FingerprintSize(destination));
  char* const whole = text.data() + start;
  char* pair = whole + kWhole;
  std::uint64_t hash = 0;
  std::uint64_t first_of_pair = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::uint64_t of_field =
        i == destination.number_field ? 0 : HashValue(destination.fields[i].kind, values[i]);
    hash = Mix(hash, of_field);
    const std::uint64_t bits = of_field >> (64 - kBitsOfAField);
    if (i % 2 == 0) {
      first_of_pair = bits << kBitsOfAField;
      *pair = kCharacters[first_of_pair];
    } else {
      *pair++ = kCharacters[first_of_pair | bits];
    }
  }
  for (std::size_t i = 0; i < kWhole; ++i, hash >>= kBitsOfACharacter) {
    whole[i] = kCharacters[hash % kCharacters.size()];
  }
}

std::vector<std::size_t> DifferentFields(std::string_view one, std::string_view other) {
  const auto bits_at = [](std::string_view text, std::size_t field) {
    const std::size_t pair = kCharacters.find(text[kWhole + field / 2]);
    return field % 2 == 0 ? pair >> kBitsOfAField : pair % (1 << kBitsOfAField);
  };
  std::vector<std::size_t> fields;
  for (std::size_t i = 0; kWhole + i / 2 < std::min(one.size(), other.size()); ++i) {
    if (bits_at(one, i) != bits_at(other, i)) fields.push_back(i);
  }
  return fields;
}

}  // namespace kestrel::host
