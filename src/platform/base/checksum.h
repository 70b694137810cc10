// A fast checksum: tells that bytes are still those that were seen before. Not a defence against forgery.
#pragma once

#include <cstdint>
#include <string_view>

namespace kestrel {

// Of changes by accident it misses one in 2^32 at the very most. Comparable within one process only, as it is
// computed by what the processor has.
std::uint64_t ChecksumOf(std::string_view bytes);

}  // namespace kestrel
