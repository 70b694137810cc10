#include "sources/text_values.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/base/byte_blocks.h"
#include "platform/base/text.h"
#include "sources/text_source.h"

namespace kestrel {

void ValueScratch::NextPiece(std::size_t size) {
  constexpr std::size_t kSmallestPiece = 4096;
  while (current_ < pieces_.size() && pieces_[current_].size - used_ < size) {
    ++current_;
    used_ = 0;
  }
  if (current_ == pieces_.size()) {
    const std::size_t piece_size = std::max(size, kSmallestPiece);
    pieces_.push_back({std::make_unique_for_overwrite<char[]>(piece_size), piece_size});
  }
}

ValueDecoder::ValueDecoder(bool windows_1252, bool repair_umlauts, char qualifier)
    : qualifier_(qualifier), decode_high_bytes_(windows_1252) {
  for (std::size_t byte = 0; byte < entries_.size(); ++byte) {
    const char character = static_cast<char>(byte);
    std::string text(1, character);
    if (windows_1252) text = FromWindows1252(text);
    if (repair_umlauts) text = RepairAsciiUmlauts(text);
    if (character == qualifier) text.clear();
    std::copy(text.begin(), text.end(), entries_[byte].bytes.begin());
    entries_[byte].size = static_cast<unsigned char>(text.size());
  }
}

// Where bytes stand that are not their own UTF-8 text, among the first `size` of a block.
inline std::uint64_t ValueDecoder::ToDecode(const char* bytes, std::size_t size) const {
  const ByteBlock block(bytes);
  std::uint64_t mask = block.Equal(qualifier_);
  if (decode_high_bytes_) mask |= block.High();
  return size < kBlockSize ? mask & ((std::uint64_t{1} << size) - 1) : mask;
}

inline char* ValueDecoder::DecodeBlock(const char* bytes, std::size_t size, std::uint64_t to_decode,
                                       char* end) const {
  // What stands between the bytes to decode is copied as a whole block, which costs less than to ask how
  // much of it is wanted; the next copy begins where the wanted part ends.
  const char* from = bytes;
  const auto copy_up_to = [&from, &end](const char* until) {
    std::memcpy(end, from, kBlockSize);
    end += until - from;
  };
  ForEachBit(to_decode, [&](std::size_t bit) {
    copy_up_to(bytes + bit);
    const Entry& entry = entries_[static_cast<unsigned char>(bytes[bit])];
    std::memcpy(end, &entry, sizeof(Entry));
    end += entry.size;
    from = bytes + bit + 1;
  });
  copy_up_to(bytes + size);
  return end;
}

std::string_view ValueDecoder::Decode(std::string_view bytes, ValueScratch& scratch) const {
  const char* from = bytes.data();
  std::size_t left = bytes.size();
  std::uint64_t to_decode = ToDecode(from, left);
  if (left >= 2 && left <= kBlockSize && from[0] == qualifier_ && from[left - 1] == qualifier_) {
    // Enclosing qualifiers alone are no reason to copy.
    ++from;
    left -= 2;
    to_decode = (to_decode >> 1) & ((std::uint64_t{1} << left) - 1);
    if (to_decode == 0) return {from, left};
  }

  constexpr std::size_t kLongest = std::tuple_size_v<decltype(Entry::bytes)>;
  char* const begin = scratch.Room(left * kLongest + kBlockSize);
  char* end = begin;
  for (; left > kBlockSize; to_decode = ToDecode(from, left)) {
    end = DecodeBlock(from, kBlockSize, to_decode, end);
    from += kBlockSize;
    left -= kBlockSize;
  }
  end = DecodeBlock(from, left, to_decode, end);
  const auto size = static_cast<std::size_t>(end - begin);
  scratch.Keep(size);
  return {begin, size};
}

}  // namespace kestrel
