// Which of several names was probably meant by one that is not among them.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// How many characters must be put in, taken out, replaced or swapped with their neighbour to get from one text to
// the other.
std::size_t EditDistance(std::string_view a, std::string_view b);

// For each name the index of the candidate that was probably meant by it: by a third of the longer one's characters
// they differ at most, where case does not count, nor whether umlauts and ß are written out. Those that differ least
// find each other first, in their order where several do; each candidate is meant by one name at most.
std::vector<std::optional<std::size_t>> NearestNames(std::span<const std::string> names,
                                                     std::span<const std::string> candidates);

// The same for one name. None where no candidate is that near.
std::optional<std::string> NearestName(const std::string& name, std::span<const std::string> candidates);

}  // namespace kestrel
