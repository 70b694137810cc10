#include "formats/dbase/stored_text.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "platform/base/byte_blocks.h"
#include "platform/base/number.h"
#include "platform/base/value_text.h"

namespace kestrel::dbase {

namespace {

bool IsPadding(char c) { return c == ' ' || c == '\0'; }

// The text of anything that is not plain digits with a point among them. `stored` is trimmed and not empty.
std::string_view UncommonNumberText(std::string_view stored, const CodePage& code_page, std::string& buffer) {
  std::string_view unsigned_part = stored;
  if (unsigned_part.starts_with('-') || unsigned_part.starts_with('+')) unsigned_part.remove_prefix(1);
  const std::size_t point = unsigned_part.find('.');
  const std::string_view whole = unsigned_part.substr(0, point);
  const std::string_view fraction = point == std::string_view::npos ? "" : unsigned_part.substr(point + 1);
  if (whole.size() + fraction.size() > 0 && AreDigits(whole) && AreDigits(fraction)) {
    std::string decimal(stored.front() == '-' ? "-" : "");
    decimal.append(whole.empty() ? "0" : whole);
    if (!fraction.empty()) decimal.append(".").append(fraction);
    buffer = DecimalText(decimal);
    return buffer;
  }
  if (stored.find_first_of("eE") == std::string_view::npos) return code_page.Decode(stored, buffer);
  const auto number = ParseNumber(stored);
  if (!number) return code_page.Decode(stored, buffer);
  buffer = FormatNumber(*number);
  return buffer;
}

// For columns of at most this many bytes, which is longer than any writer makes a number.
constexpr std::size_t kNumberBlock = 32;

// Recognises digits, and digits with a point between, by masks alone: positions are counted from the upper end
// of a mask, so that the column ends at bit 63.
std::string_view ShortNumberText(std::string_view stored, const CodePage& code_page, std::string& buffer) {
  const std::size_t size = stored.size();
  const ByteBlockOf<kNumberBlock> block(stored.data() + size - kNumberBlock);
  const auto in_column = [&](std::uint64_t mask) { return detail::LastBytes<kNumberBlock>(mask, size); };
  const std::uint64_t filled = in_column(~(block.Equal(' ') | block.Equal('\0')));
  if (filled == 0) return {};
  const std::size_t begin = static_cast<std::size_t>(std::countr_zero(filled)) + size - 64;
  const std::size_t end = size - static_cast<std::size_t>(std::countl_zero(filled));
  const std::uint64_t strange = in_column(~block.Between('0', '9')) & ~std::uint64_t{0} << (begin + 64 - size) &
                                ~std::uint64_t{0} >> (size - end);
  if (strange == 0) return stored.substr(begin, end - begin);
  const std::uint64_t point = in_column(block.Equal('.'));
  const std::uint64_t first = LowestBit(filled);
  const bool is_decimal = strange == point && LowestBit(point) == point && point != first;
  if (!is_decimal) return UncommonNumberText(stored.substr(begin, end - begin), code_page, buffer);
  // The last character that counts: no blank, no zero of the fraction, no point without a fraction.
  const std::uint64_t counting = filled & ~in_column(block.Equal('0'));
  const std::uint64_t fraction = counting & ~(point | (point - 1));
  const std::uint64_t last = fraction == 0 ? point >> 1 : std::bit_floor(fraction);
  if (buffer.size() < kNumberBlock) buffer.resize(kNumberBlock);
  block.Store(buffer.data());
  const auto place = [](std::uint64_t bit) {
    return static_cast<std::size_t>(std::countr_zero(bit)) - (64 - kNumberBlock);
  };
  buffer[place(point)] = ',';
  return std::string_view(buffer).substr(place(first), place(last) + 1 - place(first));
}

}  // namespace

// Looks at blocks that end where the part ends that is still unknown.
std::string_view detail::LongPaddedText(std::string_view stored, const CodePage& code_page,
                                        std::string& buffer) {
  const char* const begin = stored.data();
  std::size_t size = stored.size();
  std::uint64_t filled = 0, high = 0;
  for (;; size -= kBlockSize) {
    const ByteBlock block(begin + size - kBlockSize);
    const std::size_t count = std::min(size, kBlockSize);
    filled = LastBytes<kBlockSize>(~block.Equal(' '), count);
    high = LastBytes<kBlockSize>(block.High(), count);
    if (filled != 0) break;
    if (size <= kBlockSize) return {};
  }
  const std::string_view text(begin, size - static_cast<std::size_t>(std::countl_zero(filled)));
  if (text.back() == '\0') return NulPaddedText(text, code_page, buffer);
  while (high == 0 && size > kBlockSize) {
    size -= kBlockSize;
    high = LastBytes<kBlockSize>(ByteBlock(begin + size - kBlockSize).High(), std::min(size, kBlockSize));
  }
  return high == 0 ? text : code_page.DecodeWithRoom(text, buffer);
}

std::string_view detail::NulPaddedText(std::string_view stored, const CodePage& code_page,
                                       std::string& buffer) {
  return code_page.Decode(TrimEnd(stored), buffer);
}

std::string_view TrimEnd(std::string_view text) {
  while (!text.empty() && IsPadding(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view Trim(std::string_view text) {
  text = TrimEnd(text);
  while (!text.empty() && IsPadding(text.front())) text.remove_prefix(1);
  return text;
}

bool AreDigits(std::string_view text) {
  unsigned greatest = 0;
  for (const char c : text) greatest = std::max(greatest, static_cast<unsigned char>(c) - unsigned{'0'});
  return greatest <= 9;
}

std::string_view NumberText(std::string_view stored, const CodePage& code_page, std::string& buffer) {
  if (!stored.empty() && stored.size() <= kNumberBlock) return ShortNumberText(stored, code_page, buffer);
  const std::string_view trimmed = Trim(stored);
  return trimmed.empty() || AreDigits(trimmed) ? trimmed : UncommonNumberText(trimmed, code_page, buffer);
}

}  // namespace kestrel::dbase
