// The RC4 stream cipher: what the format masks its header with, and its pages where it "encrypts" them.
// Nothing is kept secret by it here; the key stands in the file.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace kestrel::mdb {

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

}  // namespace kestrel::mdb
