// A fast checksum: tells that bytes are still those that were seen before. Not a defence against forgery.
#pragma once

#include <cstdint>
#include <string_view>

namespace kestrel {

// Any change of bytes within one group of eight changes it; other changes do but for one in 2^64.
std::uint64_t ChecksumOf(std::string_view bytes);

}  // namespace kestrel
