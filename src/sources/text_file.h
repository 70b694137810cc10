// A text file in memory: its bytes, their character set, its first line and where its records begin.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/base/file_buffer.h"
#include "sources/text_lines.h"
#include "sources/text_source.h"

namespace kestrel {

class TextFile {
 public:
  enum class Charset { kWindows1252, kUtf8 };
  enum class Extent { kWhole, kFirstLine };

  // Reads the file. With kFirstLine it stops as soon as FirstLine() is certain; the records are then those
  // seen so far. Raises what opening and reading raise, with the path, and 7.
  static TextFile Load(const std::string& path, const TextFormat& format, Extent extent = Extent::kWhole);

  // What the bytes of the lines are. UTF-16, and UTF-8 that had to be repaired, have become UTF-8.
  Charset charset() const { return charset_; }
  // Whether umlauts of a DOS file are still to be repaired in the bytes of the lines.
  bool repair_umlauts() const { return repair_umlauts_; }
  // The character that ends a line.
  char line_end() const { return line_end_; }

  // The first line as text.
  std::string FirstLine() const;
  std::size_t record_count() const { return index_.size(); }
  // The first byte of a record, which is not empty. A line_end() follows its last byte, and behind that
  // LineScanner::kPadding bytes can be read. Lives as long as this object, wherever it is moved.
  const char* Record(std::size_t row) const { return text() + index_[row]; }

  // Text of this file's character set as UTF-8, umlauts repaired.
  std::string Decode(std::string_view bytes) const;

 private:
  const char* text() const { return decoded_.empty() ? buffer_.data() : decoded_.data(); }
  void TakeLines(LineScanner& scanner);
  // Goes on with `text` instead of the file's own bytes.
  void Replace(std::string text, bool header);

  FileBuffer buffer_;
  std::string decoded_;
  Charset charset_ = Charset::kWindows1252;
  bool repair_umlauts_ = false;
  char line_end_ = '\n';
  std::size_t first_line_begin_ = 0;
  std::size_t first_line_end_ = 0;
  LineIndex index_;
};

}  // namespace kestrel
