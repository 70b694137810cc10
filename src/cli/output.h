// Tables and objects on standard output, as text, CSV or JSON.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/locale_charset.h"

namespace kestrel::cli {

enum class OutputFormat { kText, kJson, kCsv };

// How a table is printed.
struct TableLook {
  OutputFormat format = OutputFormat::kText;
  // CSV cells that a spreadsheet would take for formulas begin with an apostrophe; else values are exact.
  bool excel = false;
  // Of the terminal that a text is for; 0: as wide as it gets.
  std::size_t screen_columns = 0;
  // What a text is shown in; null: UTF-8. Outlives the table.
  const LocaleCharset* charset = nullptr;
};

// What is printed cannot be written; the stream has kept why.
class OutputFailed : public std::exception {
 public:
  const char* what() const noexcept override { return "Die Ausgabe kann nicht geschrieben werden"; }
};

// How a truth value stands in a table.
inline constexpr const char* kYes = "ja";
inline constexpr const char* kNo = "nein";

// What a value is in JSON.
enum class JsonKind {
  kText,
  kOptional,  // a text; null where it is empty
  kNumber,    // a whole number; null where it is none
  kTruth,     // true for "ja"
};

// Writes `text` as a JSON string with its quotes. `text` is UTF-8. What JSON forbids and what a terminal would
// obey is escaped, so that the value stays exact and can be looked at.
void WriteJsonText(std::ostream& stream, std::string_view text);

// One JSON object on a line of its own, member by member.
class JsonObject {
 public:
  explicit JsonObject(std::ostream& stream) : stream_(stream) {}
  JsonObject& Text(std::string_view key, std::string_view value);
  // Null where the text is empty.
  JsonObject& OptionalText(std::string_view key, std::string_view value);
  JsonObject& Number(std::string_view key, std::int64_t value);
  // Null where it is below `least`, as a number that nobody knows is.
  JsonObject& NumberFrom(std::string_view key, std::int64_t value, std::int64_t least);
  // An object of numbers.
  JsonObject& Numbers(std::string_view key, const std::vector<std::pair<std::string, std::int64_t>>& values);
  JsonObject& Texts(std::string_view key, const std::vector<std::string>& values);
  JsonObject& Null(std::string_view key);
  // The text of a table's cell, as that kind of value.
  JsonObject& Value(std::string_view key, JsonKind kind, std::string_view text);
  JsonObject& Truth(std::string_view key, bool value);
  // Writes the key; what is written to the stream then is its value.
  std::ostream& Member(std::string_view key);
  // Ends the object, as a value within another one.
  void Close();
  // Ends the object and the line.
  void End();

 private:
  void Key(std::string_view key);
  std::ostream& stream_;
  bool first_ = true;
};

// A word of a command as a shell takes it.
std::string ShellWord(std::string_view word);

// A table row by row. Text aligns its columns by the first rows, so a long table is not held in memory; where the screen
// is too narrow for that, each row is a block of lines. CSV begins with a line of titles; JSON is one object a row, or
// one array where the columns have no keys.
class TableWriter {
 public:
  struct Column {
    std::string title;  // for text and CSV
    std::string key;    // for JSON; empty in every column gives arrays
    JsonKind kind = JsonKind::kText;
  };

  TableWriter(std::ostream& stream, const TableLook& look, std::vector<Column> columns);
  TableWriter(std::ostream& stream, OutputFormat format, std::vector<Column> columns)
      : TableWriter(stream, TableLook{.format = format}, std::move(columns)) {}
  TableWriter(const TableWriter&) = delete;
  TableWriter& operator=(const TableWriter&) = delete;
  ~TableWriter() { Finish(); }

  // One text per column. OutputFailed where the stream has failed, so that a long table ends with its reader.
  void Row(std::vector<std::string> values);
  // Writes what is held back. Called by the destructor.
  void Finish();

 private:
  std::string Shown(std::string_view value) const;
  void SettleLayout();
  void WriteText(const std::vector<std::string>& values);
  void WriteAligned(const std::vector<std::string>& values);
  void WriteBlock(const std::vector<std::string>& values);
  void WriteCsv(const std::vector<std::string>& values);
  void WriteJson(const std::vector<std::string>& values);
  void FlushHeld();

  std::ostream& stream_;
  TableLook look_;
  std::vector<Column> columns_;
  std::vector<std::size_t> widths_;
  std::vector<std::vector<std::string>> held_;
  bool flushed_ = false;
  bool is_in_blocks_ = false;
};

}  // namespace kestrel::cli
