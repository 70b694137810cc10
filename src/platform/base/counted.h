// A number with its noun: "1 Datensatz", "2 Datensätze".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel {

// A window groups by thousands, "1.200", as people read it there; logs and what programs read do not.
enum class Grouping { kNone, kThousands };

inline std::string NumberText(std::int64_t number, Grouping grouping = Grouping::kNone) {
  std::string text = std::to_string(number);
  if (grouping == Grouping::kNone) return text;
  const std::size_t sign = number < 0 ? 1 : 0;
  for (std::size_t at = text.size(); at > sign + 3;) text.insert(at -= 3, 1, '.');
  return text;
}

inline std::string Counted(std::int64_t count, std::string_view one, std::string_view several,
                           Grouping grouping = Grouping::kNone) {
  return NumberText(count, grouping).append(" ").append(count == 1 ? one : several);
}

}  // namespace kestrel
