// Texts and numbers as a dBase table stores them: filled up with blanks, to be trimmed without looking at one
// byte at a time.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/base/byte_blocks.h"
#include "platform/data/code_page.h"

namespace kestrel::dbf {

// Bytes before a column that may be read but are not part of it. A table's head alone is as long.
inline constexpr std::size_t kRoomBefore = 64;

// A column's bytes without the blanks at its end, and whether they are ASCII.
struct FilledPart {
  std::size_t size;
  bool is_ascii;
};

namespace detail {
// The mask of a block of `size` bytes, moved to the upper end, and of that the last `count` bytes alone. A
// block that ends where a column ends begins in other columns or in the table's head.
template <std::size_t size>
std::uint64_t LastBytes(std::uint64_t mask, std::size_t count) {
  return mask << (64 - size) & ~std::uint64_t{0} << (64 - count);
}

// For columns of at most `block_size` bytes.
template <std::size_t block_size>
FilledPart FindInBlock(const char* field, std::size_t size) {
  const ByteBlockOf<block_size> block(field + size - block_size);
  const std::uint64_t filled = LastBytes<block_size>(~block.Equal(' '), size);
  const bool is_ascii = LastBytes<block_size>(block.High(), size) == 0;
  return {size - std::min(static_cast<std::size_t>(std::countl_zero(filled)), size), is_ascii};
}

FilledPart FindInBlocks(const char* field, std::size_t size);
}  // namespace detail

// `field`: `size` bytes, at least one, behind kRoomBefore others that can be read.
inline FilledPart FindFilledPart(const char* field, std::size_t size) {
  if (size <= 16) return detail::FindInBlock<16>(field, size);
  if (size <= 32) return detail::FindInBlock<32>(field, size);
  return detail::FindInBlocks(field, size);
}

// Blanks and NULs at the end, or on both sides, cut off.
std::string_view TrimEnd(std::string_view text);
std::string_view Trim(std::string_view text);

// The text of a number that is stored as digits, by the rule of value_text.h; a stored text that is no number
// comes back trimmed, in UTF-8. A view of `stored` or of `buffer`. `stored` has kRoomBefore bytes before it.
std::string_view NumberText(std::string_view stored, const CodePage& code_page, std::string& buffer);

bool AreDigits(std::string_view text);

}  // namespace kestrel::dbf
