#include "sources/slow_text_reader.h"

#include "platform/base/text.h"

namespace kestrel::testing {

namespace {

std::u32string Without(std::u32string text, const std::u32string& what) {
  for (std::size_t at = text.find(what); at != std::u32string::npos; at = text.find(what, at)) {
    text.erase(at, what.size());
  }
  return text;
}

std::string Feld(std::size_t number) {
  const std::string digits = std::to_string(number);
  return "Feld" + (digits.size() == 1 ? "0" + digits : digits);
}

}  // namespace

std::u32string ToCodePoints(std::string_view text) {
  std::u32string code_points;
  for (std::size_t at = 0; at < text.size();) code_points += NextCodePoint(text, at);
  return code_points;
}

std::string ToUtf8(std::u32string_view text) {
  std::string utf8;
  for (const char32_t code_point : text) AppendUtf8(utf8, code_point);
  return utf8;
}

SlowTextReader::SlowTextReader(const TextFormat& format)
    : column_headings_(format.column_headings),
      repair_(format.file_format == "ASCII"),
      delimiter_(format.delimiter == "TAB" ? U"\t" : ToCodePoints(format.delimiter)),
      qualifier_(format.text_recognition.empty() ? U"\"" : ToCodePoints(format.text_recognition)) {}

std::u32string SlowTextReader::Repair(std::u32string text) const {
  if (!repair_) return text;
  const std::u32string from = U"\u201E\u201D\u0081\u017D\u2122\u0161\u00E1";
  const std::u32string to = U"äöüÄÖÜß";
  for (std::size_t i = 0; i < from.size(); ++i) {
    for (char32_t& character : text) {
      if (character == from[i]) character = to[i];
    }
  }
  return text;
}

std::size_t SlowTextReader::EndOfEnclosed(const std::u32string& file, std::size_t begin) const {
  const auto is_ascii = [](const std::u32string& text) { return text.size() == 1 && text[0] < 0x80; };
  if (!is_ascii(delimiter_) || !is_ascii(qualifier_) || delimiter_ == qualifier_) return begin;
  if (file[begin] != qualifier_[0]) return begin;
  for (std::size_t i = begin + 1; i < file.size() && i - begin <= 65536; ++i) {
    if (file[i] != qualifier_[0]) continue;
    if (i + 1 == file.size() || file[i + 1] == delimiter_[0] || file[i + 1] == U'\n') return i + 1;
    if (file[i + 1] != qualifier_[0]) return begin;
    ++i;
  }
  return begin;
}

std::vector<std::u32string> SlowTextReader::Lines(const std::u32string& file) const {
  std::vector<std::u32string> lines;
  std::u32string line;
  if (file.find(U'\r') != std::u32string::npos) {
    for (std::size_t i = 0; i < file.size(); ++i) {
      if (file[i] == U'\r') {
        if (i + 1 < file.size() && file[i + 1] == U'\n') ++i;
        lines.push_back(line);
        line.clear();
      } else {
        line += file[i];
      }
    }
  } else {
    bool value_begins = true;
    for (std::size_t i = 0; i < file.size(); ++i) {
      if (value_begins) {
        const std::size_t end = EndOfEnclosed(file, i);
        line += file.substr(i, end - i);
        i = end;
        if (i == file.size()) break;
      }
      value_begins = file[i] == U'\n' || file.compare(i, delimiter_.size(), delimiter_) == 0;
      if (file[i] == U'\n') {
        lines.push_back(line);
        line.clear();
      } else {
        line += file[i];
      }
    }
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

std::vector<std::string> SlowTextReader::ColumnNames(const std::u32string& file) const {
  const std::vector<std::u32string> lines = Lines(file);
  std::u32string line = lines.empty() ? U"" : Repair(lines[0]);
  const bool ended = delimiter_.size() == 1 && !line.empty() && line.back() == delimiter_[0];
  if (!ended) line += delimiter_;
  if (column_headings_) line = Without(line, qualifier_);

  std::vector<std::string> names;
  std::u32string piece;
  for (std::size_t i = 0; !delimiter_.empty() && i < line.size();) {
    if (line.compare(i, delimiter_.size(), delimiter_) != 0) {
      piece += line[i++];
      continue;
    }
    std::string name(TrimBlanks(ToUtf8(piece)));
    if (!column_headings_ || name.empty()) name = Feld(names.size() + 1);
    names.push_back(name);
    piece.clear();
    i += delimiter_.size();
  }
  return names;
}

std::vector<std::string> SlowTextReader::SplitLine(const std::u32string& given) const {
  std::vector<std::string> slots(200);
  std::u32string line = given;
  if (delimiter_.size() != 1) return slots;
  if (line.empty() || line.back() != delimiter_[0]) line += delimiter_;
  std::size_t slot = 0;
  std::u32string value;
  bool inside = false;
  for (const char32_t character : line) {
    if (qualifier_.size() == 1 && character == qualifier_[0]) inside = !inside;
    if (character == delimiter_[0] && !inside) {
      if (slot < slots.size()) slots[slot] = ToUtf8(Without(value, qualifier_));
      ++slot;
      value.clear();
    } else {
      value += character;
    }
  }
  return slots;
}

std::vector<std::vector<std::string>> SlowTextReader::Records(const std::u32string& file) const {
  std::vector<std::vector<std::string>> records;
  std::vector<std::u32string> lines = Lines(file);
  if (column_headings_ && !lines.empty()) lines.erase(lines.begin());
  for (const std::u32string& line : lines) {
    const std::u32string repaired = Repair(line);
    if (!repaired.empty()) records.push_back(SplitLine(repaired));
  }
  return records;
}

}  // namespace kestrel::testing
