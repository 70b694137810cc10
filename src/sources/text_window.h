// The bytes of a text file, of which only a window is in memory.
//
// Invariants
//  1. buffer_ holds the bytes [begin_, end_) of the file, line_end_ behind them, and room for as much more
//     as a scan may read.
//  2. A file that is small or cannot be read twice (a pipe) is in the window whole; it is closed then, and
//     the window never moves again.
//  3. Of any other file every byte is of the state that it had when it was opened: a window that finds the
//     file changed meanwhile is not filled.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/base/file_buffer.h"
#include "platform/base/input_file.h"
#include "sources/text_lines.h"

namespace kestrel {

class TextWindow {
 public:
  // What one look at the file gave: the bytes from `begin` on, and whether they reach to the file's end.
  struct Part {
    std::string_view bytes;
    std::size_t begin = 0;
    bool is_last = false;
  };

  // Opens the file. Raises what opening and reading raise, with the path, and 7.
  explicit TextWindow(const std::string& path);

  // Bytes that begin at `position` or before; at most kWindowSize of a file that is not in memory whole.
  // Valid until the next call of any function. Raises what reading raises, and 7.
  Part From(std::size_t position);
  // All bytes; the file is in memory whole from now on. Raises as From.
  std::string_view All();
  // The character that Hold shows behind the last byte of the file, where a line end may be lacking.
  void SetLineEnd(char line_end);

  // The first of the bytes [begin, end), which lie within the file. At least kPadding bytes can be read
  // behind them. Valid until the next call. Raises 75 where the file has changed since it was opened, what
  // reading raises, and 7.
  const char* Hold(std::size_t begin, std::size_t end) {
    if (begin < begin_ || end > end_) [[unlikely]]
      MoveTo(begin, end);
    return buffer_.data() + (begin - begin_);
  }

  // Small enough that what was just read is still in the cache when it is looked at.
  static constexpr std::size_t kWindowSize = std::size_t{256} << 10;
  static constexpr std::size_t kPadding = LineScanner::kPadding;

 private:
  // A line end behind the last byte, and the padding.
  static constexpr std::size_t kTail = 1 + kPadding;

  void Fill(std::size_t begin, std::size_t size);
  void ReadToEnd();
  void MoveTo(std::size_t begin, std::size_t end);

  InputFile file_;
  FileBuffer buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool is_whole_ = false;
  char line_end_ = '\n';
};

}  // namespace kestrel
