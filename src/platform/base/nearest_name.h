// Which of several names was probably meant by one that is not among them.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kestrel {

// How many characters must be put in, taken out, replaced or swapped with their neighbour to get from one text to
// the other.
std::size_t EditDistance(std::string_view a, std::string_view b);

// The first of the candidates that differ least from the name: by a third of the longer one's characters at most,
// where case does not count, nor whether umlauts and ß are written out. None where none is that near.
std::optional<std::string> NearestName(std::string_view name, std::span<const std::string> candidates);

}  // namespace kestrel
