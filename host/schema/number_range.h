// The range of numbers that a specification gives for new addresses, as its section CfgSettings says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/runtime_error.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::host {

// Both ends belong to it.
struct NumberRange {
  std::int64_t from = 1;
  std::int64_t to = 1;
};

// The keys of the first number and of the last.
inline std::string RangeBeginKey(std::string_view table) { return std::string(table) + "NummernVon"; }
inline std::string RangeEndKey(std::string_view table) { return std::string(table) + "NummernBis"; }

// The range that the texts of these keys tell; none where both are empty. Error 5, with the key, for one that is no
// whole number above 0, for one without the other, and for an end before the beginning.
inline std::optional<NumberRange> ReadNumberRange(std::string_view table, std::string_view from,
                                                  std::string_view to) {
  const auto refuse = [](const std::string& key, const std::string& what) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Nummernkreis, " + key + ": " + what);
  };
  const auto read = [&](const std::string& key, std::string_view text) {
    const std::int64_t number = ParseWholeNumber(text).value_or(0);
    if (number < 1) refuse(key, "'" + std::string(text) + "' ist keine ganze Zahl ab 1.");
    return number;
  };
  from = TrimBlanks(from);
  to = TrimBlanks(to);
  if (from.empty() && to.empty()) return std::nullopt;
  if (from.empty()) refuse(RangeBeginKey(table), "Die erste Nummer fehlt.");
  if (to.empty()) refuse(RangeEndKey(table), "Die letzte Nummer fehlt.");
  const NumberRange range{read(RangeBeginKey(table), from), read(RangeEndKey(table), to)};
  if (range.to < range.from) refuse(RangeEndKey(table), "Die letzte Nummer ist kleiner als die erste.");
  return range;
}

}  // namespace kestrel::host
