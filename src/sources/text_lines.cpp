#include "sources/text_lines.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/base/byte_blocks.h"

namespace kestrel {

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
      utf8_(begin, check_utf8),
      values_(separators),
      doubt_(separators),
      closed_{begin, begin, kUnknown, 0} {}

void LineScanner::Scan(std::string_view bytes, std::size_t begin) {
  const std::size_t end = begin + bytes.size();
  while (position_ >= begin && position_ + kBlockSize + kLookAhead <= end) {
    const char* at = bytes.data() + (position_ - begin);
    const std::size_t whole = (end - kLookAhead - position_) / kBlockSize;
    ScanBlocks(at, std::min(whole, most_blocks_), kUnknown);
  }
}

bool LineScanner::Finish(std::string_view bytes, std::size_t begin) {
  const std::size_t end = begin + bytes.size();
  for (;;) {
    while (position_ < end) {
      if (position_ < begin) return false;
      const char* at = bytes.data() + (position_ - begin);
      const std::size_t left = end - position_;
      ScanBlocks(at, std::min((left + kBlockSize - 1) / kBlockSize, most_blocks_), left);
    }
    if (!values_.is_open()) break;
    position_ = values_.Refuse();
  }
  utf8_.Finish(end);
  if (line_begin_ < end || !first_line_known()) EndLine(end);
  return true;
}

void LineScanner::ScanBlocks(const char* bytes, std::size_t blocks, std::size_t left) {
  LineMarks marks;
  MarkLines(bytes, blocks, line_end_, separators_.qualifier, marks);
  std::size_t size = std::min(left, blocks * kBlockSize);
  if (size % kBlockSize != 0) marks.line_ends[blocks - 1] &= (std::uint64_t{1} << (size % kBlockSize)) - 1;
  if (line_end_ == '\n' && marks.has_return && std::memchr(bytes, '\r', size) != nullptr)
    return BeginAgainWithCr();
  if (is_close_) {
    // Where blocks need more than masks, the next ones often do.
    const std::size_t judged =
        values_.LookAhead(bytes, position_, left, std::span(marks.line_ends).first(blocks));
    most_blocks_ = judged < blocks ? 1 : std::min(2 * most_blocks_, LineMarks::kBlocks);
    if (judged == 0) return ScanClosely(bytes, left);
    blocks = judged;
    size = blocks * kBlockSize;
  }
  if (marks.has_high && utf8_.is_valid()) utf8_.Look(bytes, position_, size);

  const std::size_t line_begin = line_begin_;
  if (!first_line_known()) TakeFirstLine(marks, blocks, bytes);
  // Every line has a character and a line end, but for the one that began earlier; the next one's begin follows.
  std::uint64_t begins[LineMarks::kBlocks * kBlockSize / 2 + 2];
  const std::size_t lines = line_end_ == '\n' ? TakeLines</*cr_lf=*/false>(marks, blocks, bytes, begins)
                                              : TakeLines</*cr_lf=*/true>(marks, blocks, bytes, begins);
  const std::size_t records = index_.size();
  index_.Append({begins, lines});
  if (is_close_) {
    position_ += size;
    return EndCloseLook();
  }
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
  const EnclosedValues::Found found =
      values_.Look(block, {bytes, position_, left, block.Equal('\n') & within, utf8_.is_valid()});
  if (utf8_.is_valid()) utf8_.Look(bytes, position_, std::min(left, kBlockSize));
  ForEachBit(found.line_ends, [&](std::size_t bit) {
    EndLine(position_ + bit);
    line_begin_ = position_ + bit + 1;
  });
  position_ = found.next;
  EndCloseLook();
}

void LineScanner::EndCloseLook() {
  if (values_.is_open() || position_ < doubt_.end()) return;
  is_close_ = false;
  most_blocks_ = LineMarks::kBlocks;
  closed_ = {position_, line_begin_, first_line_end_, index_.size()};
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
