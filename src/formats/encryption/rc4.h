// The RC4 stream cipher, by which older documents are encrypted. Access also masks its header with it, whose
// key stands in the file. OpenSSL offers it only as a "legacy" that an installation may lack.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace kestrel::encryption {

class Rc4 {
 public:
  // `key` must not be empty.
  explicit Rc4(std::string_view key);
  // Masks or unmasks in place, going on where the last call ended.
  void Apply(std::span<char> bytes);

 private:
  std::array<std::uint8_t, 256> state_;
  std::uint8_t i_ = 0;
  std::uint8_t j_ = 0;
};

}  // namespace kestrel::encryption
