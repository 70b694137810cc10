// Texts and numbers as a dBase table stores them: filled up with blanks, to be trimmed without looking at one
// byte at a time.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/base/byte_blocks.h"
#include "platform/base/code_page.h"

namespace kestrel::dbase {

// Bytes before a column that may be read but are not part of it. A table's head alone is as long.
inline constexpr std::size_t kRoomBefore = 64;

namespace detail {

// Columns of at most this many bytes are looked at in one block.
inline constexpr std::size_t kShortColumn = 32;

// The mask of a block of `size` bytes, moved to the upper end, and of that the last `count` (1 to 64) bytes
// alone. A block that ends where a column ends begins in other columns or in the table's head.
template <std::size_t size>
std::uint64_t LastBytes(std::uint64_t mask, std::size_t count) {
  return mask << (64 - size) & ~std::uint64_t{0} << (64 - count);
}

std::string_view LongPaddedText(std::string_view stored, const CodePage& code_page, std::string& buffer);
std::string_view NulPaddedText(std::string_view stored, const CodePage& code_page, std::string& buffer);

}  // namespace detail

// The text of a column, of at least one byte, that is filled up with blanks, or with NULs: a view of `stored`
// or of `buffer`. `stored` has kRoomBefore bytes before and CodePage::kRoomBehind behind it that can be read.
// Inline and without a call of its own that returns here, as most of the time of reading a table is spent here.
inline std::string_view PaddedText(std::string_view stored, const CodePage& code_page, std::string& buffer) {
  const std::size_t size = stored.size();
  if (size > detail::kShortColumn) return detail::LongPaddedText(stored, code_page, buffer);
  const ByteBlockOf<detail::kShortColumn> block(stored.data() + size - detail::kShortColumn);
  const std::uint64_t filled = detail::LastBytes<detail::kShortColumn>(~block.Equal(' '), size);
  if (filled == 0) return {};
  const std::string_view text(stored.data(), size - static_cast<std::size_t>(std::countl_zero(filled)));
  if (text.back() == '\0') [[unlikely]]
    return detail::NulPaddedText(text, code_page, buffer);
  if (detail::LastBytes<detail::kShortColumn>(block.High(), size) == 0) return text;
  return code_page.DecodeWithRoom(text, buffer);
}

// Blanks and NULs at the end, or on both sides, cut off.
std::string_view TrimEnd(std::string_view text);
std::string_view Trim(std::string_view text);

// The text of a number that is stored as digits, by the rule of value_text.h; a stored text that is no number
// comes back trimmed, in UTF-8. A view of `stored` or of `buffer`. `stored` has kRoomBefore bytes before it.
std::string_view NumberText(std::string_view stored, const CodePage& code_page, std::string& buffer);

bool AreDigits(std::string_view text);

}  // namespace kestrel::dbase
