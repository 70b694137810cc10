// A text file: the character set of its bytes, its first line and where its records begin. Of a large file
// only the records' places and a window of bytes are in memory.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/base/text.h"
#include "sources/text_lines.h"
#include "sources/text_source.h"
#include "sources/text_survey.h"
#include "sources/text_window.h"

namespace kestrel {

class TextFile {
 public:
  enum class Charset { kWindows1252, kUtf8 };
  enum class Extent { kWhole, kFirstLine, kBeginning };
  // The byte order mark.
  enum class Mark { kNone, kUtf8, kUtf16Little, kUtf16Big };

  // Reads the file. With kFirstLine it stops as soon as FirstLine() is certain; the records are then those
  // seen so far. With kBeginning it stops behind some records, of which the last is whole, too; none where one is
  // longer than kBeginningBytes. The character set is then that of these bytes. Raises what opening and reading raise,
  // with the path, and 7.
  static TextFile Load(const std::string& path, const TextFormat& format, Extent extent = Extent::kWhole);

  static constexpr std::size_t kBeginningRecords = 100;
  static constexpr std::size_t kBeginningBytes = std::size_t{8} << 20;

  // Which file it is, and of which time its content is.
  const FileIdentity& identity() const { return window_.identity(); }
  // What the bytes of the lines are. UTF-16, and UTF-8 that had to be repaired, have become UTF-8.
  Charset charset() const { return charset_; }
  Mark mark() const { return mark_; }
  // Whether umlauts of a DOS file are still to be repaired in the bytes of the lines.
  bool repair_umlauts() const { return repair_umlauts_; }
  // The character that ends a line.
  char line_end() const { return line_end_; }

  // The first line as text. Gives it away, as it may be most of the file.
  std::string TakeFirstLine();
  // The first line once more, in UTF-8, umlauts not repaired. Ends what Record gave; raises what it raises.
  std::string FirstLine();
  // What ends the first line: CR LF, CR or LF; LF where nothing does. As FirstLine.
  std::string LineEnd();
  std::size_t record_count() const { return index_.size(); }
  // A record, which is not empty, without its line end; LineScanner::kPadding bytes behind it can be read. Valid
  // until the next call, wherever this object is moved.
  // Raises 75 where these bytes of a large file are no longer what they were at opening, what reading raises,
  // and 7.
  std::string_view Record(std::size_t row) {
    const std::size_t begin = index_[row];
    const std::size_t end = NextBegin(row);
    return WithoutLineEnds({Bytes(begin, end), end - begin});
  }

  // Whether Record would read nothing, and so raise nothing.
  bool HoldsRecord(std::size_t row) const {
    return row < index_.size() && (!decoded_.empty() || window_.Holds(index_[row], NextBegin(row)));
  }

  // Looks at the whole text once more. What Record gave is no longer valid. Raises as Record.
  TextSurvey Survey();

  // Text of this file's character set as UTF-8, umlauts repaired; or as they stand.
  std::string Decode(std::string_view bytes) const;
  std::string DecodeAsItStands(std::string_view bytes) const {
    return charset_ == Charset::kUtf8 ? std::string(bytes) : FromWindows1252(bytes);
  }

 private:
  explicit TextFile(const std::string& path) : window_(path) {}
  static TextFile LoadOnce(const std::string& path, const TextFormat& format, Extent extent);
  void TakeLines(LineScanner& scanner);
  // Leaves the last record out, behind which the text goes on.
  void DropLastRecord();
  const char* Bytes(std::size_t begin, std::size_t end) {
    return decoded_.empty() ? window_.Hold(begin, end) : decoded_.data() + begin;
  }
  // A record with what lies between it and the next one: its line end and empty lines. A value's own line feed has
  // its qualifier behind it.
  std::string_view WithoutLineEnds(std::string_view record) const {
    for (; !record.empty(); record.remove_suffix(1)) {
      const bool of_cr_lf = line_end_ == '\r' && record.ends_with("\r\n");
      if (record.back() != line_end_ && !of_cr_lf) break;
    }
    return record;
  }
  // Where the next record begins, or the text ends.
  std::size_t NextBegin(std::size_t row) const { return row + 1 < index_.size() ? index_[row + 1] : end_; }
  // Goes on with `text` instead of the file's own bytes.
  void Replace(std::string text, bool header, const Separators& separators);

  TextWindow window_;
  std::string decoded_;  // takes the window's place where it is not empty
  Charset charset_ = Charset::kWindows1252;
  const char* charset_name_ = "";  // of the file, for a person
  bool repair_umlauts_ = false;
  char line_end_ = '\n';
  Mark mark_ = Mark::kNone;
  std::string first_line_;
  std::size_t begin_ = 0;  // of the text, behind the mark
  std::size_t first_line_end_ = 0;
  LineIndex index_;
  std::size_t end_ = 0;  // of the text
};

}  // namespace kestrel
