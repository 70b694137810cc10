#include "sources/text_lines.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/base/byte_blocks.h"

namespace kestrel {

namespace {

// The length in bytes of the UTF-8 character at `bytes`, whose first byte is beyond ASCII; 0 where it is
// not valid. Reads at most 3 bytes behind the first.
std::size_t Utf8Length(const char* bytes) {
  const auto byte = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const auto follows = [&byte](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
  const unsigned char first = byte(0);
  if (first < 0xC2 || first > 0xF4) return 0;
  if (!follows(1)) return 0;
  if (first < 0xE0) return 2;
  // No longer form than needed, no surrogate, nothing beyond U+10FFFF.
  if (first == 0xE0 && byte(1) < 0xA0) return 0;
  if (first == 0xED && byte(1) > 0x9F) return 0;
  if (first == 0xF0 && byte(1) < 0x90) return 0;
  if (first == 0xF4 && byte(1) > 0x8F) return 0;
  if (!follows(2)) return 0;
  if (first < 0xF0) return 3;
  return follows(3) ? 4 : 0;
}

}  // namespace

void LineIndex::Append(std::span<const std::uint64_t> offsets) {
  while (!offsets.empty()) {
    const std::size_t used = size_ % kPiece;
    if (used == 0) AddPiece();
    const std::size_t count = std::min(offsets.size(), kPiece - used);
    std::copy_n(offsets.begin(), count, pieces_.back().get() + used);
    size_ += count;
    offsets = offsets.subspan(count);
  }
}

LineScanner::LineScanner(std::size_t begin, bool header, bool check_utf8, const Separators& separators)
    : begin_(begin),
      header_(header),
      check_utf8_(check_utf8),
      separators_(separators),
      position_(begin),
      line_begin_(begin),
      utf8_(check_utf8),
      values_(separators),
      doubt_(separators),
      closed_{begin, begin, kUnknown, 0},
      character_end_(begin) {}

void LineScanner::Scan(std::string_view bytes, std::size_t begin) {
  const std::size_t end = begin + bytes.size();
  while (position_ >= begin && position_ + kBlockSize + kLookAhead <= end) {
    const char* at = bytes.data() + (position_ - begin);
    if (is_close_) {
      ScanClosely(at, kUnknown);
    } else {
      const std::size_t whole = (end - kLookAhead - position_) / kBlockSize;
      ScanBlocks(at, std::min(whole, LineMarks::kBlocks), kUnknown);
    }
  }
}

bool LineScanner::Finish(std::string_view bytes, std::size_t begin) {
  const std::size_t end = begin + bytes.size();
  for (;;) {
    while (position_ < end) {
      if (position_ < begin) return false;
      const char* at = bytes.data() + (position_ - begin);
      const std::size_t left = end - position_;
      if (is_close_) {
        ScanClosely(at, left);
      } else {
        ScanBlocks(at, std::min((left + kBlockSize - 1) / kBlockSize, LineMarks::kBlocks), left);
      }
    }
    if (!values_.is_open()) break;
    position_ = values_.Refuse();
  }
  if (character_end_ > end) utf8_ = false;
  if (line_begin_ < end || !first_line_known()) EndLine(end);
  return true;
}

void LineScanner::ScanBlocks(const char* bytes, std::size_t blocks, std::size_t left) {
  LineMarks marks;
  MarkLines(bytes, blocks, line_end_, separators_.qualifier, marks);
  const std::size_t size = std::min(left, blocks * kBlockSize);
  if (size % kBlockSize != 0) marks.line_ends[blocks - 1] &= (std::uint64_t{1} << (size % kBlockSize)) - 1;
  if (line_end_ == '\n' && marks.has_return && std::memchr(bytes, '\r', size) != nullptr)
    return BeginAgainWithCr();
  if (utf8_ && marks.has_high) CheckUtf8(bytes, size);

  const std::size_t line_begin = line_begin_;
  if (!first_line_known()) TakeFirstLine(marks, blocks, bytes);
  // Every line has a character and a line end, but for the one that began earlier; the next one's begin follows.
  std::uint64_t begins[LineMarks::kBlocks * kBlockSize / 2 + 2];
  const std::size_t lines = line_end_ == '\n' ? TakeLines</*cr_lf=*/false>(marks, blocks, bytes, begins)
                                              : TakeLines</*cr_lf=*/true>(marks, blocks, bytes, begins);
  const std::size_t records = index_.size();
  index_.Append({begins, lines});
  if (line_end_ == '\n' && separators_.enclose) {
    const std::size_t known = begins[0] == line_begin ? 1 : 0;
    const LineFeedDoubt::Stretch stretch = {bytes, position_, size, size == left, marks.has_qualifier};
    if (doubt_.Arises(stretch, {begins + known, lines + 1 - known}, records + known)) return LookClosely();
  }
  position_ += blocks * kBlockSize;
}

void LineScanner::TakeFirstLine(LineMarks& marks, std::size_t blocks, const char* bytes) {
  for (std::size_t block = 0; block < blocks; ++block) {
    std::uint64_t& ends = marks.line_ends[block];
    if (ends == 0) continue;
    const std::size_t end = block * kBlockSize + static_cast<std::size_t>(std::countr_zero(ends));
    first_line_end_ = position_ + end;
    if (header_) {
      ends &= ends - 1;
      line_begin_ = first_line_end_ + 1 + (line_end_ == '\r' && bytes[end + 1] == '\n' ? 1 : 0);
    }
    return;
  }
}

template <bool cr_lf>
std::size_t LineScanner::TakeLines(const LineMarks& marks, std::size_t blocks, const char* bytes,
                                   std::uint64_t* begins) {
  std::size_t count = 0;
  std::uint64_t line_begin = line_begin_;
  for (std::size_t block = 0; block < blocks; ++block) {
    std::uint64_t ends = marks.line_ends[block];
    // Without branches for the first line end or none, as nobody can foretell which blocks hold one.
    do {
      const bool is_end = ends != 0;
      const std::size_t at = block * kBlockSize + static_cast<std::size_t>(std::countr_zero(ends));
      const std::uint64_t end = position_ + at;
      begins[count] = line_begin;
      count += static_cast<std::size_t>(is_end & (line_begin < end));
      const std::uint64_t next = end + 1 + (cr_lf && bytes[at + 1] == '\n' ? 1 : 0);
      line_begin = is_end ? next : line_begin;
      ends &= ends - 1;
    } while (ends != 0);
  }
  begins[count] = line_begin;
  line_begin_ = line_begin;
  return count;
}

void LineScanner::ScanClosely(const char* bytes, std::size_t left) {
  const ByteBlock block(bytes);
  const std::uint64_t within = left < kBlockSize ? (std::uint64_t{1} << left) - 1 : ~std::uint64_t{0};
  if (block.HasEither('\r', '\r') && (block.Equal('\r') & within) != 0) return BeginAgainWithCr();
  const EnclosedValues::Found found =
      values_.Look(block, {bytes, position_, left, block.Equal('\n') & within, utf8_});
  if (utf8_ && block.HasHigh()) CheckUtf8(bytes, position_, block.High() & within);
  ForEachBit(found.line_ends, [&](std::size_t bit) {
    EndLine(position_ + bit);
    line_begin_ = position_ + bit + 1;
  });
  position_ = found.next;
  if (!values_.is_open() && position_ >= doubt_.end()) {
    is_close_ = false;
    closed_ = {position_, line_begin_, first_line_end_, index_.size()};
  }
}

void LineScanner::LookClosely() {
  Certain from = {begin_, begin_, kUnknown, 0};
  if (doubt_.record() > 0) {
    const std::size_t record = doubt_.record() - 1;
    const std::size_t begin = index_[record];
    from = {begin, begin, begin <= first_line_end_ ? kUnknown : first_line_end_, record};
  }
  const bool goes_on = from.position <= closed_.position && closed_.position != begin_;
  if (goes_on) from = closed_;
  position_ = from.position;
  line_begin_ = from.line_begin;
  first_line_end_ = from.first_line_end;
  index_.Truncate(from.records);
  // Where values_ has stopped, it knows itself what stands before.
  if (!goes_on) values_.BeginLine();
  is_close_ = true;
}

void LineScanner::CheckUtf8(const char* bytes, std::size_t size) {
  for (std::size_t at = 0; at < size && utf8_; at += kBlockSize) {
    const ByteBlock block(bytes + at);
    if (!block.HasHigh()) continue;
    const std::size_t left = size - at;
    const std::uint64_t within = left < kBlockSize ? (std::uint64_t{1} << left) - 1 : ~std::uint64_t{0};
    CheckUtf8(bytes + at, position_ + at, block.High() & within);
  }
}

void LineScanner::CheckUtf8(const char* block, std::size_t position, std::uint64_t high) {
  beyond_ascii_ |= high != 0;
  while (high != 0) {
    const auto bit = static_cast<std::size_t>(std::countr_zero(high));
    high &= high - 1;
    if (position + bit < character_end_) continue;
    const std::size_t length = Utf8Length(block + bit);
    if (length == 0) {
      utf8_ = false;
      return;
    }
    character_end_ = position + bit + length;
  }
}

void LineScanner::EndLine(std::size_t end) {
  if (!first_line_known()) {
    first_line_end_ = end;
    if (header_) return;
  }
  if (line_begin_ < end) index_.Append(line_begin_);
}

void LineScanner::BeginAgainWithCr() {
  *this = LineScanner(begin_, header_, check_utf8_, separators_);
  line_end_ = '\r';
}

}  // namespace kestrel
