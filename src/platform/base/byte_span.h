// Numbers in the bytes of a file that may be damaged: every read is checked.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/base/format_error.h"

namespace kestrel {

using Bytes = std::span<const std::byte>;

inline Bytes BytesOf(std::string_view text) { return std::as_bytes(std::span(text.data(), text.size())); }
// The same bytes as characters of whatever encoding they are in.
inline std::string_view CharactersOf(Bytes bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Error 3000: the file is damaged; `what` says how ("der Tabellenkopf ist unvollständig"), `place` where.
[[noreturn]] inline void RaiseDamaged(std::string_view what, FilePlace place) {
  throw FormatError("Die Datei ist beschädigt: " + std::string(what), std::move(place));
}
// Never inline, so that reading stays so.
[[noreturn, gnu::noinline, gnu::cold]] inline void RaiseDamaged(std::string_view what) {
  RaiseDamaged(what, {});
}

// The part of `bytes` at `offset`; damaged (3000) where it reaches beyond the end.
inline Bytes Part(Bytes bytes, std::size_t offset, std::size_t length) {
  if (offset > bytes.size() || length > bytes.size() - offset) RaiseDamaged("sie endet zu früh");
  return bytes.subspan(offset, length);
}
// The bytes from `offset` to the end.
inline Bytes Rest(Bytes bytes, std::size_t offset) {
  return Part(bytes, offset, offset > bytes.size() ? 1 : bytes.size() - offset);
}

namespace detail {
template <class Unsigned>
Unsigned ReadNumber(Bytes bytes, std::size_t offset, bool big_endian) {
  const Bytes part = Part(bytes, offset, sizeof(Unsigned));
  Unsigned number = 0;
  for (std::size_t i = 0; i < sizeof(Unsigned); ++i) {
    const std::size_t at = big_endian ? i : sizeof(Unsigned) - 1 - i;
    number = static_cast<Unsigned>(static_cast<std::uint64_t>(number) << 8 |
                                   std::to_integer<std::uint8_t>(part[at]));
  }
  return number;
}
}  // namespace detail

// Little-endian numbers at a byte offset; damaged (3000) beyond the end.
inline std::uint8_t ReadU8(Bytes bytes, std::size_t offset) {
  return std::to_integer<std::uint8_t>(Part(bytes, offset, 1)[0]);
}
inline std::uint16_t ReadU16(Bytes bytes, std::size_t offset) {
  return detail::ReadNumber<std::uint16_t>(bytes, offset, false);
}
inline std::uint32_t ReadU32(Bytes bytes, std::size_t offset) {
  return detail::ReadNumber<std::uint32_t>(bytes, offset, false);
}
inline std::uint64_t ReadU64(Bytes bytes, std::size_t offset) {
  return detail::ReadNumber<std::uint64_t>(bytes, offset, false);
}
inline double ReadDouble(Bytes bytes, std::size_t offset) {
  return std::bit_cast<double>(ReadU64(bytes, offset));
}
// Big-endian ones.
inline std::uint16_t ReadU16BigEndian(Bytes bytes, std::size_t offset) {
  return detail::ReadNumber<std::uint16_t>(bytes, offset, true);
}
inline std::uint32_t ReadU32BigEndian(Bytes bytes, std::size_t offset) {
  return detail::ReadNumber<std::uint32_t>(bytes, offset, true);
}

}  // namespace kestrel
