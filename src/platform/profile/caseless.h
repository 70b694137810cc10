// Section and key names as keys of a hash table: compared without case, umlauts included.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kestrel {

struct CaselessHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view name) const;
};

struct CaselessEqual {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const;
};

// Names of one file or section and their positions. Looked up with a view, without a copy of the name.
using NameIndex = std::unordered_map<std::string, std::size_t, CaselessHash, CaselessEqual>;

}  // namespace kestrel
