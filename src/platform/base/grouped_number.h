// Numbers as German readers write them: "1.200".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kestrel {

inline std::string GroupedNumber(std::int64_t number) {
  std::string digits = std::to_string(number);
  const std::size_t sign = number < 0 ? 1 : 0;
  for (std::size_t i = digits.size(); i > sign + 3;) digits.insert(i -= 3, 1, '.');
  return digits;
}

}  // namespace kestrel
