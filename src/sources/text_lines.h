// One pass over the bytes of a text file: where its records begin, and whether the bytes are UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "sources/enclosed_values.h"
#include "sources/line_feed_doubt.h"
#include "sources/line_marks.h"
#include "sources/utf8_check.h"

namespace kestrel {

// Offsets of records, 8 bytes each, in pieces, so that growing copies nothing and wastes nothing.
class LineIndex {
 public:
  void Append(std::uint64_t offset) {
    if (size_ % kPiece == 0) AddPiece();
    pieces_.back()[size_++ % kPiece] = offset;
  }
  void Append(std::span<const std::uint64_t> offsets);
  // Keeps the first `size` of them.
  void Truncate(std::size_t size) {
    size_ = size;
    pieces_.resize((size + kPiece - 1) / kPiece);
  }
  std::uint64_t operator[](std::size_t row) const { return pieces_[row / kPiece][row % kPiece]; }
  std::size_t size() const { return size_; }

 private:
  static constexpr std::size_t kPiece = std::size_t{1} << 16;
  void AddPiece() { pieces_.push_back(std::make_unique_for_overwrite<std::uint64_t[]>(kPiece)); }

  std::vector<std::unique_ptr<std::uint64_t[]>> pieces_;
  std::size_t size_ = 0;
};

// Finds the lines while the file is being read, block by block, so that the bytes are still in the cache.
//
// Invariants
//  1. Lines end at LF, but not within an enclosed value, until the first CR is seen; then the pass begins again
//     and they end at CR or CR LF.
//  2. Every line before `line_begin_` is done: indexed if it is not empty, and not the header.
//  3. Everything before `position()` has been looked at, some of it more than once, and is valid UTF-8 while
//     utf8() says so.
//  4. While `is_close_`, `values_` looks at every block. Else every LF ends a line, and `doubt_` tells when that
//     may have been wrong: the pass goes back to where the line begins that ends at the first LF in doubt, but
//     not behind `closed_`, where `values_` has stopped last.
class LineScanner {
 public:
  // `begin`: where the text begins, behind a byte order mark. `header`: the first line is no record.
  LineScanner(std::size_t begin, bool header, bool check_utf8, const Separators& separators);

  // Where it goes on: the first byte that it has not looked at. Back at the start once a first CR is seen, and
  // at an earlier one where line feeds turn out to lie in an enclosed value or not, after all.
  std::size_t position() const { return position_; }
  // Looks at as much of `bytes` as can be judged without those that follow. They begin at `begin` of the
  // text, at or before position(). Error 7.
  void Scan(std::string_view bytes, std::size_t begin);
  // The same with bytes that reach to the end of the text; kPadding bytes behind them are read but not part
  // of it. False where it has to go on at a position() that lies before them.
  bool Finish(std::string_view bytes, std::size_t begin);

  static constexpr std::size_t kPadding = 64;

  char line_end() const { return line_end_; }
  // The first line: from begin() up to this offset, known from the first line end on.
  bool first_line_known() const { return first_line_end_ != kUnknown; }
  std::size_t first_line_end() const { return first_line_end_; }
  // Whether everything looked at is UTF-8, and whether it holds a character beyond ASCII.
  bool utf8() const { return utf8_.is_valid(); }
  bool beyond_ascii() const { return utf8_.beyond_ascii(); }
  // How many records have been found so far.
  std::size_t record_count() const { return index_.size(); }
  LineIndex TakeIndex() { return std::move(index_); }

 private:
  static constexpr std::size_t kUnknown = SIZE_MAX;
  // What is looked at behind a block: up to 3 further bytes of a UTF-8 character, and what doubt_ asks for.
  static constexpr std::size_t kLookAhead = LineFeedDoubt::kPadding;

  // Every line before `position` is certain.
  struct Certain {
    std::size_t position, line_begin, first_line_end, records;
  };

  // The blocks at position(); `left` bytes of the text begin there. `blocks` reach beyond it by less than one.
  void ScanBlocks(const char* bytes, std::size_t blocks, std::size_t left);
  // One block at position() of which masks do not tell enough.
  void ScanClosely(const char* bytes, std::size_t left);
  // Where the doubt ends and no value is open, every LF ends a line again.
  void EndCloseLook();
  // Takes the lines that end in `marks`: writes where they begin, without empty ones, and behind them where the
  // one begins that follows them, if any text does. Returns how many.
  template <bool cr_lf>
  std::size_t TakeLines(const LineMarks& marks, std::size_t blocks, const char* bytes, std::uint64_t* begins);
  void TakeFirstLine(LineMarks& marks, std::size_t blocks, const char* bytes);
  void EndLine(std::size_t end);
  void BeginAgainWithCr();
  // Goes back to where the lines are certain, to look at each value up to where the doubt ends.
  void LookClosely();

  std::size_t begin_;
  bool header_;
  bool check_utf8_;
  Separators separators_;

  LineIndex index_;
  std::size_t position_;
  std::size_t line_begin_;
  std::size_t first_line_end_ = kUnknown;
  char line_end_ = '\n';
  Utf8Check utf8_;
  EnclosedValues values_;
  LineFeedDoubt doubt_;
  bool is_close_ = false;
  std::size_t most_blocks_ = LineMarks::kBlocks;  // that are looked at in one go
  Certain closed_;
};

}  // namespace kestrel
