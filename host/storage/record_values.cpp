#include "storage/record_values.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace kestrel::host {

namespace {

// Before each value; behind it the bytes of a number, or the size of a text and its characters.
constexpr char kNull = 0, kText = 1, kWhole = 2, kReal = 3;
constexpr std::size_t kMostBeforeText = 1 + sizeof(std::int64_t);

}  // namespace

std::string_view TextOf(const StoredValue& value) {
  const auto* text = std::get_if<std::string_view>(&value);
  return text == nullptr ? std::string_view() : *text;
}

std::string ColumnList(const Destination& destination) {
  std::string columns;
  for (const DestinationField& field : destination.fields) {
    columns += (columns.empty() ? "" : ", ") + field.column;
  }
  return columns;
}

void Bind(Statement& statement, std::size_t parameter, const StoredValue& value) {
  if (const auto* text = std::get_if<std::string_view>(&value)) {
    statement.BindText(parameter, *text);
  } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
    statement.BindInteger(parameter, *whole);
  } else if (const auto* real = std::get_if<double>(&value)) {
    statement.BindDouble(parameter, *real);
  } else {
    statement.BindNull(parameter);
  }
}

void Append(CopiedRows& rows, const StoredValue& value) {
  if (const auto* text = std::get_if<std::string_view>(&value)) {
    rows.AddText(*text);
  } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
    rows.AddInteger(*whole);
  } else if (const auto* real = std::get_if<double>(&value)) {
    rows.AddDouble(*real);
  } else {
    rows.AddNull();
  }
}

std::string InsertTarget(const Destination& destination) {
  return destination.table + " (" + ColumnList(destination) + ")" +
         (destination.overrides_identity ? " OVERRIDING SYSTEM VALUE" : "");
}

std::string InsertText(const Destination& destination) {
  std::string marks = "?";
  for (std::size_t i = 1; i < destination.fields.size(); ++i) marks += ", ?";
  return std::string(destination.overrides_conflicts ? "INSERT OR ABORT INTO " : "INSERT INTO ") +
         InsertTarget(destination) + " VALUES (" + marks + ")";
}

std::string UpdateText(const Destination& destination, const std::string& sets) {
  return (destination.overrides_conflicts ? "UPDATE OR ABORT " : "UPDATE ") + destination.table + " SET " +
         sets + " WHERE " + destination.fields[destination.number_field].column + " = ?";
}

std::string TakeOverText(const Destination& destination) {
  const std::string& number = destination.fields[destination.number_field].column;
  const std::string target = IsQuoted(destination.trial_of) ? InsertTarget(destination) : destination.table;
  return "INSERT INTO " + target + " SELECT " +
         (IsQuoted(destination.trial_of) ? ColumnList(destination) : "*") + " FROM " + destination.trial_of +
         " WHERE " + number + " = ? ON CONFLICT (" + number + ") DO NOTHING";
}

void Pack(const RecordValues& values, std::size_t left_out, std::string& packed) {
  const std::size_t start = packed.size();
  std::size_t room = values.size() * kMostBeforeText;
  for (const StoredValue& value : values) room += TextOf(value).size();
  packed.resize(start + room);
  char* to = packed.data() + start;
  const auto put = [&to](char kind, const auto& bits) {
    *to++ = kind;
    std::memcpy(to, &bits, sizeof bits);
    to += sizeof bits;
  };
  for (std::size_t field = 0; field < values.size(); ++field) {
    const StoredValue& value = values[field];
    if (field == left_out || std::holds_alternative<std::monostate>(value)) {
      *to++ = kNull;
    } else if (const auto* text = std::get_if<std::string_view>(&value)) {
      put(kText, static_cast<std::uint32_t>(text->size()));
      to = std::ranges::copy(*text, to).out;
    } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
      put(kWhole, *whole);
    } else {
      put(kReal, std::get<double>(value));
    }
  }
  packed.resize(static_cast<std::size_t>(to - packed.data()));
}

void Unpack(std::string_view packed, RecordValues& values) {
  const char* from = packed.data();
  const auto take = [&from]<class Bits>(Bits bits) {
    std::memcpy(&bits, from, sizeof bits);
    from += sizeof bits;
    return bits;
  };
  for (StoredValue& value : values) {
    switch (*from++) {
      case kText: {
        const auto size = take(std::uint32_t{});
        value = std::string_view(from, size);
        from += size;
        break;
      }
      case kWhole: value = take(std::int64_t{}); break;
      case kReal: value = take(double{}); break;
      default: value = std::monostate();
    }
  }
}

}  // namespace kestrel::host
