// Checked reading of little-endian numbers from a piece of a file that nobody vouches for.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/base/byte_span.h"

namespace kestrel::access {

// The error for a file that contradicts itself: which structure it was, and a way out.
FormatError Damaged(std::string_view what, FilePlace place);
FormatError Damaged(std::string_view what);

// Byte_span.h's reading, for pieces that are texts as often as numbers.
class RawBytes {
 public:
  RawBytes() = default;
  // The memory must outlive this view.
  explicit RawBytes(std::string_view view) : view_(view) {}

  std::size_t size() const { return view_.size(); }
  std::string_view view() const { return view_; }

  // Numbers at an offset. Raise 3000 (damaged) where they do not lie within.
  std::uint8_t U8(std::size_t offset) const { return ReadU8(BytesOf(view_), offset); }
  std::uint16_t U16(std::size_t offset) const { return ReadU16(BytesOf(view_), offset); }
  std::uint32_t U32(std::size_t offset) const { return ReadU32(BytesOf(view_), offset); }
  std::uint64_t U64(std::size_t offset) const { return ReadU64(BytesOf(view_), offset); }
  double Double(std::size_t offset) const { return ReadDouble(BytesOf(view_), offset); }
  float Float(std::size_t offset) const { return std::bit_cast<float>(U32(offset)); }

  // A part; raises 3000 (damaged) where it does not lie within.
  std::string_view Part(std::size_t offset, std::size_t length) const {
    return CharactersOf(kestrel::Part(BytesOf(view_), offset, length));
  }

 private:
  std::string_view view_;
};

}  // namespace kestrel::access
