// Encrypts what tests read back: the ways in which Access has protected files since 2007.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace kestrel::testing {

enum class OfficeScheme {
  kRc4Short,       // RC4 as of 1997
  kRc4Export,      // RC4 with 40 bits, as the library chose by default
  kRc4,            // RC4 with 128 bits
  kStandard,       // AES with 128 bits and many rounds
  kStandard256,    // the same with 256 bits
  kAesWithoutSay,  // AES in the place of RC4: not announced, the password hashed once
  kAgile,          // AES in chains, described in XML
};

struct OfficeEncryption {
  std::string info;  // what the document says of it
  // Encrypts a block in place.
  std::function<void(std::uint32_t block, std::span<char> bytes)> encrypt;
};

OfficeEncryption EncryptFor(OfficeScheme scheme, std::string_view password);

}  // namespace kestrel::testing
