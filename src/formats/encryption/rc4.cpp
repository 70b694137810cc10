#include "formats/encryption/rc4.h"

#include <numeric>
#include <utility>

namespace kestrel::encryption {

Rc4::Rc4(std::string_view key) {
  std::iota(state_.begin(), state_.end(), std::uint8_t{0});
  std::uint8_t j = 0;
  for (std::size_t i = 0; i < state_.size(); ++i) {
    j = static_cast<std::uint8_t>(j + state_[i] + static_cast<std::uint8_t>(key[i % key.size()]));
    std::swap(state_[i], state_[j]);
  }
}

void Rc4::Apply(std::span<char> bytes) {
  for (char& byte : bytes) {
    i_ = static_cast<std::uint8_t>(i_ + 1);
    j_ = static_cast<std::uint8_t>(j_ + state_[i_]);
    std::swap(state_[i_], state_[j_]);
    const auto mask = state_[static_cast<std::uint8_t>(state_[i_] + state_[j_])];
    byte = static_cast<char>(static_cast<std::uint8_t>(byte) ^ mask);
  }
}

}  // namespace kestrel::encryption
