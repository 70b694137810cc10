#include "sources/text_detection.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/base/text.h"
#include "sources/heading_words.h"
#include "sources/text_rows.h"
#include "sources/text_source.h"
#include "sources/value_shape.h"

namespace kestrel {

namespace {

constexpr std::string_view kDelimiters = "\t;,|^~";
constexpr std::string_view kQualifiers = "\"'";
constexpr std::size_t kMostRows = 200;
constexpr std::size_t kMostBytes = std::size_t{64} << 10;  // of those that are cut

// --- Character set ------------------------------------------------------------------------------

struct DecodedText {
  std::string text;  // UTF-8
  std::string charset;
  bool is_dos = false;
};

bool IsAsciiLetter(unsigned char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool IsOneOf(char c, std::string_view bytes) { return bytes.find(c) != std::string_view::npos; }

// Whether more letters of a German text are umlauts of DOS (code page 437 or 850) than of Windows-1252.
bool HasDosUmlauts(std::string_view bytes) {
  // Where the other code page has the characters, they are quotation marks or letters of other languages, so
  // small ones count behind a letter only, capitals at the beginning of a word. ß is an accented letter there and
  // tells nothing.
  std::size_t dos = 0;
  std::size_t windows = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const bool follows_letter = i > 0 && IsAsciiLetter(static_cast<unsigned char>(bytes[i - 1]));
    const bool precedes_letter =
        i + 1 < bytes.size() && IsAsciiLetter(static_cast<unsigned char>(bytes[i + 1]));
    if (IsOneOf(bytes[i], "\x84\x94\x81") && follows_letter) ++dos;
    if (IsOneOf(bytes[i], "\x8E\x99\x9A") && precedes_letter && !follows_letter) ++dos;
    if (IsOneOf(bytes[i], "\xE4\xF6\xFC\xC4\xD6\xDC\xDF") && (follows_letter || precedes_letter)) ++windows;
  }
  return dos > windows;
}

// The text without a character that is cut at its end.
std::string_view WithoutCutCharacter(std::string_view bytes) {
  for (std::size_t i = 1; i <= 3 && i <= bytes.size(); ++i) {
    const auto c = static_cast<unsigned char>(bytes[bytes.size() - i]);
    if (c >= 0xC0) return bytes.substr(0, bytes.size() - i);
    if (c < 0x80) break;
  }
  return bytes;
}

DecodedText Decode(std::string_view bytes, bool is_whole) {
  if (bytes.starts_with("\xFF\xFE")) return {FromUtf16(bytes.substr(2), /*big_endian=*/false), "UTF-16"};
  if (bytes.starts_with("\xFE\xFF")) return {FromUtf16(bytes.substr(2), /*big_endian=*/true), "UTF-16"};
  if (bytes.starts_with("\xEF\xBB\xBF")) return {RepairUtf8(bytes.substr(3)), "UTF-8"};
  const bool beyond_ascii =
      std::any_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  if (!beyond_ascii) return {std::string(bytes), ""};
  if (IsValidUtf8(is_whole ? bytes : WithoutCutCharacter(bytes))) return {std::string(bytes), "UTF-8"};
  const std::string text = FromWindows1252(bytes);
  if (HasDosUmlauts(bytes)) return {RepairAsciiUmlauts(text), "ASCII (DOS-Umlaute)", true};
  return {text, "ANSI (Windows-1252)"};
}

// --- Separators ---------------------------------------------------------------------------------

// How alike the rows are in their numbers of values: the more rows have the same, the fewer such patterns there are
// and the more values they have, the better.
double PatternScore(const TextRows& cut) {
  constexpr double kOfOneValue = 1e-3;
  std::map<std::size_t, std::size_t> rows_of_length;
  for (const auto& row : cut.rows) ++rows_of_length[row.size()];
  double score = 0;
  for (const auto& [length, rows] : rows_of_length) {
    const auto values = static_cast<double>(std::max<std::size_t>(length, 1));
    score += static_cast<double>(rows) * std::max(kOfOneValue, values - 1) / values;
  }
  return rows_of_length.empty() ? 0 : score / static_cast<double>(rows_of_length.size());
}

// Which part of the values has a known shape.
double TypeScore(const TextRows& cut) {
  constexpr double kLeast = 1e-10;
  std::size_t known = 0;
  std::size_t values = 0;
  for (const auto& row : cut.rows) {
    values += row.size();
    known += static_cast<std::size_t>(std::count_if(
        row.begin(), row.end(), [](const std::string& value) { return ShapeOf(value) != ValueShape::kOther; }));
  }
  return values == 0 ? 0 : std::max(kLeast, static_cast<double>(known) / static_cast<double>(values));
}

// Whether most rows have the same number of values, and more than one.
bool IsTable(const TextRows& cut) {
  std::map<std::size_t, std::size_t> rows_of_length;
  for (const auto& row : cut.rows) ++rows_of_length[row.size()];
  return std::any_of(rows_of_length.begin(), rows_of_length.end(), [&](const auto& pattern) {
    return pattern.first > 1 && 2 * pattern.second > cut.rows.size();
  });
}

struct CutText {
  TriedSeparators separators;
  TextRows cut;
  double score = -1;
};

CutText BestCut(std::string_view text, bool is_whole) {
  CutText best;
  for (const char qualifier : kQualifiers) {
    for (const char delimiter : kDelimiters) {
      CutText tried{{delimiter, qualifier}, {}, 0};
      tried.cut = CutRows(text, is_whole, tried.separators, kMostRows);
      tried.score = PatternScore(tried.cut) * TypeScore(tried.cut);
      const bool is_enclosing = qualifier == kQualifiers.front() || tried.cut.enclosed_values > 0;
      if (is_enclosing && tried.score > best.score) best = std::move(tried);
    }
  }
  return best;
}

std::string StoredDelimiter(char delimiter) { return delimiter == '\t' ? "TAB" : std::string(1, delimiter); }

// --- Headings -----------------------------------------------------------------------------------

using Rows = std::vector<std::vector<std::string>>;

std::vector<std::string_view> ColumnOf(const Rows& rows, std::size_t column) {
  std::vector<std::string_view> values;
  for (std::size_t row = 1; row < rows.size(); ++row) {
    if (column < rows[row].size() && !rows[row][column].empty()) values.emplace_back(rows[row][column]);
  }
  return values;
}

// The shape that nearly all of a column's values have; kOther for none.
ValueShape ShapeOfColumn(const std::vector<std::string_view>& values) {
  std::map<ValueShape, std::size_t> shapes;
  for (const std::string_view value : values) ++shapes[ShapeOf(value)];
  const auto most = std::max_element(shapes.begin(), shapes.end(), [](const auto& one, const auto& other) {
    return one.second < other.second;
  });
  return most != shapes.end() && most->second * 5 >= values.size() * 4 ? most->first : ValueShape::kOther;
}

// What speaks for the first value of a column to be its name; below 0 what speaks against it.
double HeadingScore(const std::string& name, const std::vector<std::string_view>& values) {
  constexpr std::size_t kFewestToTellRepetition = 10;
  if (name.empty()) return 0;
  const ValueShape shape = ShapeOf(name);
  if (IsOfData(shape)) return -2;
  if (std::find(values.begin(), values.end(), name) != values.end()) return -1;
  double score = HoldsHeadingWord(name) ? 1 : 0;
  if (IsOfData(ShapeOfColumn(values))) score += 1;
  const std::set<std::string_view> distinct(values.begin(), values.end());
  // A value that a column of few different ones lacks.
  if (values.size() >= kFewestToTellRepetition && distinct.size() * 5 <= values.size()) score += 0.5;
  return score;
}

bool HasHeadings(const Rows& rows) {
  if (rows.empty()) return false;
  double score = 0;
  std::set<std::string_view> names;
  for (std::size_t column = 0; column < rows.front().size(); ++column) {
    const std::string& name = rows.front()[column];
    score += HeadingScore(name, ColumnOf(rows, column));
    if (!name.empty() && !names.insert(name).second) score -= 1;
  }
  return score > 0;
}

std::string NameOfDelimiter(const std::string& delimiter) {
  if (delimiter == "TAB") return "Tabstop";
  if (delimiter == ";") return "Semikolon";
  if (delimiter == ",") return "Komma";
  return "Trennzeichen " + delimiter;
}

}  // namespace

std::optional<DetectedText> DetectText(std::string_view beginning, bool is_whole) {
  const DecodedText decoded = Decode(beginning, is_whole);
  if (decoded.text.find('\0') != std::string::npos) return std::nullopt;
  DetectedText found{.charset = decoded.charset, .is_dos = decoded.is_dos};
  const std::string_view text = std::string_view(decoded.text).substr(0, kMostBytes);
  const bool is_all = is_whole && text.size() == decoded.text.size();
  const CutText best = BestCut(text, is_all);
  if (IsTable(best.cut)) found.delimiter = StoredDelimiter(best.separators.delimiter);
  found.qualifier = best.separators.qualifier;
  found.has_enclosed_values = best.cut.enclosed_values > 0;
  found.has_headings = HasHeadings(best.cut.rows);
  found.is_empty = is_all && text.find_first_not_of(" \t\r\n") == std::string_view::npos;
  return found;
}

std::string DescriptionOf(const DetectedText& text) {
  if (text.is_empty) return "eine leere Datei";
  std::string description = text.delimiter ? NameOfDelimiter(*text.delimiter) : "eine Spalte";
  if (text.has_enclosed_values) description += text.qualifier == '"' ? ", Anführungszeichen" : ", Apostrophe";
  description += text.has_headings ? ", Überschriften" : ", keine Überschriften";
  if (!text.charset.empty()) description += ", " + text.charset;
  return description;
}

}  // namespace kestrel
