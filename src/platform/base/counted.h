// A number with its noun: "1 Datensatz", "2 Datensätze".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel {

inline std::string Counted(std::int64_t count, std::string_view one, std::string_view several) {
  return std::to_string(count).append(" ").append(count == 1 ? one : several);
}

}  // namespace kestrel
