// Marks in the first bytes of files by which kinds of sources are recognised, whatever the files are called.
#pragma once

#include <string_view>

namespace kestrel {

// `beginning`: the first bytes of the file, kMarkBytes of them or all. Whether it is sound is not looked at.
inline constexpr std::size_t kMarkBytes = 128;

// Any file of Jet or ACE.
bool HasMarkOfAccess(std::string_view beginning);
// A compound file, a packed one or a bare stream of an old version: also other office documents, of which opening tells
// what they are.
bool HasMarkOfExcel(std::string_view beginning);
bool HasMarkOfDBase(std::string_view beginning);

}  // namespace kestrel
