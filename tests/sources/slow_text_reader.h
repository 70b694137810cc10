// Reading delimited text a second time in the most obvious way: whole texts of code points, one step after
// the other, nothing clever. Random tests compare the fast reader with this one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sources/text_source.h"

namespace kestrel::testing {

std::u32string ToCodePoints(std::string_view text);
std::string ToUtf8(std::u32string_view text);

class SlowTextReader {
 public:
  explicit SlowTextReader(const TextFormat& format);

  // Column names without the closing empty one.
  std::vector<std::string> ColumnNames(const std::u32string& file) const;
  // 200 values a record.
  std::vector<std::vector<std::string>> Records(const std::u32string& file) const;
  std::vector<std::string> SplitLine(const std::u32string& line) const;

 private:
  std::u32string Repair(std::u32string text) const;
  std::vector<std::u32string> Lines(const std::u32string& file) const;
  // The place behind the value that begins at `begin`, where it is enclosed; else `begin`.
  std::size_t EndOfEnclosed(const std::u32string& file, std::size_t begin) const;

  bool column_headings_;
  bool repair_;
  std::u32string delimiter_;
  std::u32string qualifier_;
};

}  // namespace kestrel::testing
