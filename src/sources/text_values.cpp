#include "sources/text_values.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/base/avx2_block.h"
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

std::string_view WithoutQualifiers(std::string_view value, char qualifier, ValueScratch& scratch) {
  char* const begin = scratch.Room(value.size());
  char* end = begin;
  for (const char c : value) {
    *end = c;
    end += c != qualifier ? 1 : 0;
  }
  const auto size = static_cast<std::size_t>(end - begin);
  scratch.Keep(size);
  return {begin, size};
}

RecordDecoder::RecordDecoder(bool windows_1252, bool repair_umlauts) : windows_1252_(windows_1252) {
  for (std::size_t byte = 0; byte < entries_.size(); ++byte) {
    std::string text = FromWindows1252(std::string(1, static_cast<char>(byte)));
    if (repair_umlauts) text = RepairAsciiUmlauts(text);
    std::copy(text.begin(), text.end(), entries_[byte].bytes.begin());
    entries_[byte].size = static_cast<unsigned char>(text.size());
  }
}

void RecordDecoder::Reserve(std::size_t size) {
  constexpr std::size_t kLeast = 4096;
  if (size <= capacity_) return;
  capacity_ = 0;
  buffer_.reset();
  buffer_ = std::make_unique_for_overwrite<char[]>(std::max(size, kLeast));
  capacity_ = std::max(size, kLeast);
}

template <class Block>
[[gnu::always_inline]] inline std::string_view RecordDecoder::DecodeBy(std::string_view record) {
  const char* const end = record.data() + record.size();
  const auto high = [end](const char* at) {
    const auto left = static_cast<std::size_t>(end - at);
    return Block(at).High() & (left < kBlockSize ? (std::uint64_t{1} << left) - 1 : ~std::uint64_t{0});
  };
  std::uint64_t any = 0;
  for (const char* at = record.data(); at < end; at += kBlockSize) any |= high(at);
  if (any == 0) return record;

  // Three bytes at most take the place of one, and whole blocks are copied. How many bytes change is asked only of a
  // record that may be most of the file.
  constexpr std::size_t kCopied = 2 * kBlockSize;
  if (capacity_ < 3 * record.size() + kCopied) {
    std::size_t changed = 0;
    for (const char* at = record.data(); at < end; at += kBlockSize) {
      changed += static_cast<std::size_t>(std::popcount(high(at)));
    }
    Reserve(record.size() + 2 * changed + kCopied);
  }
  char* to = buffer_.get();
  const char* from = record.data();
  for (const char* at = from; at < end; at += kBlockSize) {
    // What stands between the bytes to decode is copied as a whole block, which costs less than to ask how
    // much of it is wanted; the next copy begins where the wanted part ends.
    for (std::uint64_t to_decode = high(at); to_decode != 0; to_decode &= to_decode - 1) {
      const char* const until = at + std::countr_zero(to_decode);
      std::memcpy(to, from, kBlockSize);
      to += until - from;
      const Entry& entry = entries_[static_cast<unsigned char>(*until)];
      std::memcpy(to, &entry, sizeof(Entry));
      to += entry.size;
      from = until + 1;
    }
    std::memcpy(to, from, kBlockSize);
    const char* const until = std::min(at + kBlockSize, end);
    to += until - from;
    from = until;
  }
  return {buffer_.get(), static_cast<std::size_t>(to - buffer_.get())};
}

#if defined(__x86_64__)
KESTREL_FOR_AVX2 std::string_view RecordDecoder::DecodeByAvx2(std::string_view record) {
  return DecodeBy<Avx2Block>(record);
}
#endif

std::string_view RecordDecoder::Decode(std::string_view record) {
  if (!windows_1252_) return record;
#if defined(__x86_64__)
  if (HasAvx2()) return DecodeByAvx2(record);
#endif
  return DecodePlainly(record);
}

std::string_view RecordDecoder::DecodePlainly(std::string_view record) {
  return windows_1252_ ? DecodeBy<PlainBlock>(record) : record;
}

}  // namespace kestrel
