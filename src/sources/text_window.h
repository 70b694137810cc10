// The bytes of a text file, of which only a window is in memory.
//
// Invariants
//  1. buffer_ holds the bytes [begin_, end_) of the file, line_end_ behind them, and room for as much more
//     as a scan may read.
//  2. A small file is in the window whole; it is closed then, and the window never moves again.
//  3. Every byte is of the state that the file had when it was opened (a small one: when it was read).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/base/file_buffer.h"
#include "platform/base/watched_file.h"
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

  // Opens the file. Raises what opening and reading raise, with the path, 75 for a file that is written to all
  // the time, and 7.
  explicit TextWindow(const std::string& path);
  // Which file it is, and of which time its bytes are.
  const FileIdentity& identity() const { return file_.identity(); }

  // Whether somebody has written into the file since it was opened. Not told of one that is in memory whole,
  // whose bytes are of one time.
  bool WasWritten() const { return !is_whole_ && file_.WasWritten(); }

  // Bytes that begin at `position` or before; at most kWindowSize of a file that is not in memory whole.
  // Valid until the next call of any function. Raises 75 where the file is no longer what it was, what reading
  // raises, and 7.
  Part From(std::size_t position);
  // All bytes; the file is in memory whole from now on. Raises as From.
  std::string_view All();
  // Gives memory back that only a line longer than the window needed.
  void Shrink();
  // Gives all bytes back; none can be asked for any more.
  void Release();
  // The character that Hold shows behind the last byte of the file, where a line end may be lacking.
  void SetLineEnd(char line_end);

  // The first of the bytes [begin, end), which lie within the file. At least kPadding bytes can be read
  // behind them. Valid until the next call. Raises 75 where these bytes are no longer what they were, what
  // reading raises, and 7.
  const char* Hold(std::size_t begin, std::size_t end) {
    if (begin < begin_ || end > end_) [[unlikely]]
      MoveTo(begin, end);
    return buffer_.data() + (begin - begin_);
  }

  // Whether Hold would read nothing.
  bool Holds(std::size_t begin, std::size_t end) const { return begin >= begin_ && end <= end_; }

  // Small enough that what was just read is still in the cache when it is looked at.
  static constexpr std::size_t kWindowSize = std::size_t{256} << 10;
  static constexpr std::size_t kPadding = LineScanner::kPadding;

 private:
  // A line end behind the last byte, and the padding.
  static constexpr std::size_t kTail = 1 + kPadding;

  // Takes what is unchanged of the bytes from `begin` on; `begin` and `size` as WatchedFile::Read has them.
  void Fill(std::size_t begin, std::size_t size);
  // The file is in the window whole; false where its bytes may be of more than one time.
  bool IsOfOneTime();
  void MoveTo(std::size_t begin, std::size_t end);

  WatchedFile file_;
  FileBuffer buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool is_whole_ = false;
  char line_end_ = '\n';
};

}  // namespace kestrel
