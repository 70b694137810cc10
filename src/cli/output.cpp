#include "cli/output.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <ostream>

#include "cli/display_width.h"
#include "platform/base/number.h"
#include "platform/base/terminal_text.h"
#include "platform/base/text.h"

namespace kestrel::cli {

namespace {

// Rows looked at before the widths of a text table are settled.
constexpr std::size_t kHeldRows = 200;
// Wider values run over instead of pushing every other row apart.
constexpr std::size_t kWidestColumn = 60;
// What spreadsheets calculate begins with one of the first four; the others they pass over before that.
constexpr std::string_view kFormulaSigns = "=+-@\t\r";
constexpr std::size_t kGap = 2;
// Below that a last column that goes on below itself cannot be read.
constexpr std::size_t kNarrowestLastColumn = 20;

}  // namespace

void WriteJsonText(std::ostream& stream, std::string_view text) {
  const std::string valid = RepairUtf8(text);
  std::string written = "\"";
  for (std::size_t position = 0; position < valid.size();) {
    const std::size_t start = position;
    const char32_t code_point = NextCodePoint(valid, position);
    switch (code_point) {
      case '"': written += "\\\""; break;
      case '\\': written += "\\\\"; break;
      case '\n': written += "\\n"; break;
      case '\r': written += "\\r"; break;
      case '\t': written += "\\t"; break;
      default:
        if (IsTerminalControl(code_point)) {
          AppendEscaped(written, code_point);
        } else {
          written.append(valid, start, position - start);
        }
    }
  }
  stream << written << '"';
}

void JsonObject::Key(std::string_view key) {
  stream_ << (first_ ? "{" : ",");
  first_ = false;
  WriteJsonText(stream_, key);
  stream_ << ':';
}

JsonObject& JsonObject::Text(std::string_view key, std::string_view value) {
  Key(key);
  WriteJsonText(stream_, value);
  return *this;
}

JsonObject& JsonObject::OptionalText(std::string_view key, std::string_view value) {
  return value.empty() ? Null(key) : Text(key, value);
}

JsonObject& JsonObject::Value(std::string_view key, JsonKind kind, std::string_view text) {
  switch (kind) {
    case JsonKind::kText: return Text(key, text);
    case JsonKind::kOptional: return OptionalText(key, text);
    case JsonKind::kTruth: return Truth(key, text == kYes);
    case JsonKind::kNumber: break;
  }
  const std::optional<std::int64_t> number = ParseWholeNumber(text);
  return number ? Number(key, *number) : Null(key);
}

JsonObject& JsonObject::Number(std::string_view key, std::int64_t value) {
  Key(key);
  stream_ << value;
  return *this;
}

JsonObject& JsonObject::NumberFrom(std::string_view key, std::int64_t value, std::int64_t least) {
  return value < least ? Null(key) : Number(key, value);
}

JsonObject& JsonObject::Numbers(std::string_view key,
                                const std::vector<std::pair<std::string, std::int64_t>>& values) {
  Key(key);
  stream_ << '{';
  for (const auto& [name, number] : values) {
    stream_ << (&name == &values.front().first ? "" : ",");
    WriteJsonText(stream_, name);
    stream_ << ':' << number;
  }
  stream_ << '}';
  return *this;
}

JsonObject& JsonObject::Texts(std::string_view key, const std::vector<std::string>& values) {
  Key(key);
  stream_ << '[';
  for (const std::string& value : values) {
    stream_ << (&value == &values.front() ? "" : ",");
    WriteJsonText(stream_, value);
  }
  stream_ << ']';
  return *this;
}

JsonObject& JsonObject::Null(std::string_view key) {
  Key(key);
  stream_ << "null";
  return *this;
}

JsonObject& JsonObject::Truth(std::string_view key, bool value) {
  Key(key);
  stream_ << (value ? "true" : "false");
  return *this;
}

std::ostream& JsonObject::Member(std::string_view key) {
  Key(key);
  return stream_;
}

void JsonObject::Close() { stream_ << (first_ ? "{}" : "}"); }

void JsonObject::End() {
  Close();
  stream_ << '\n';
}

std::string ShellWord(std::string_view word) {
  constexpr std::string_view kPlain = "-./_,+:@%=";
  const auto is_plain = [&](unsigned char c) {
    return std::isalnum(c) != 0 || c >= 0x80 || kPlain.find(static_cast<char>(c)) != std::string_view::npos;
  };
  if (!word.empty() && std::all_of(word.begin(), word.end(), is_plain)) return std::string(word);
  return "'" + ReplaceAll(word, "'", "'\\''") + "'";
}

TableWriter::TableWriter(std::ostream& stream, const TableLook& look, std::vector<Column> columns)
    : stream_(stream), look_(look), columns_(std::move(columns)) {
  if (look_.format != OutputFormat::kCsv) return;
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(column.title);
  WriteCsv(titles);
}

void TableWriter::Row(std::vector<std::string> values) {
  if (!stream_) throw OutputFailed();
  switch (look_.format) {
    case OutputFormat::kCsv: WriteCsv(values); return;
    case OutputFormat::kJson: WriteJson(values); return;
    case OutputFormat::kText: break;
  }
  for (std::string& value : values) value = Shown(value);
  if (flushed_) {
    WriteText(values);
    return;
  }
  held_.push_back(std::move(values));
  if (held_.size() == kHeldRows) FlushHeld();
}

void TableWriter::Finish() {
  if (look_.format == OutputFormat::kText && !flushed_) FlushHeld();
  stream_.flush();
}

// What is measured is what will be seen.
std::string TableWriter::Shown(std::string_view value) const {
  std::string text = TerminalText(value, TextLayout::kOneLine);
  return look_.charset == nullptr ? text : look_.charset->Representable(text);
}

void TableWriter::SettleLayout() {
  widths_.assign(columns_.size(), 0);
  std::size_t widest_title = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    columns_[i].title = Shown(columns_[i].title);
    widths_[i] = DisplayWidth(columns_[i].title);
    widest_title = std::max(widest_title, widths_[i]);
  }
  for (const auto& row : held_) {
    for (std::size_t i = 0; i < row.size() && i < widths_.size(); ++i) {
      widths_[i] = std::max(widths_[i], std::min(kWidestColumn, DisplayWidth(row[i])));
    }
  }
  if (look_.screen_columns == 0 || widths_.empty()) return;
  // The last column may go on below itself.
  std::size_t needed = std::min(widths_.back(), kNarrowestLastColumn);
  for (std::size_t i = 0; i + 1 < widths_.size(); ++i) needed += widths_[i] + kGap;
  is_in_blocks_ = needed > look_.screen_columns;
  if (is_in_blocks_) widths_.assign(1, widest_title);
}

void TableWriter::FlushHeld() {
  flushed_ = true;
  SettleLayout();
  if (!is_in_blocks_) {
    std::vector<std::string> titles;
    std::vector<std::string> rule;
    std::size_t room = look_.screen_columns;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      titles.push_back(columns_[i].title);
      std::string line;
      for (std::size_t at = 0; at < widths_[i] && (look_.screen_columns == 0 || at < room); ++at) line += "─";
      rule.push_back(Shown(line));
      room -= std::min(room, widths_[i] + kGap);
    }
    WriteAligned(titles);
    WriteAligned(rule);
  }
  for (const auto& row : held_) WriteText(row);
  held_.clear();
}

void TableWriter::WriteText(const std::vector<std::string>& values) {
  is_in_blocks_ ? WriteBlock(values) : WriteAligned(values);
}

void TableWriter::WriteAligned(const std::vector<std::string>& values) {
  std::string line;
  for (std::size_t i = 0; i + 1 < values.size(); ++i) {
    line += values[i];
    const std::size_t width = DisplayWidth(values[i]);
    line.append((i < widths_.size() && width < widths_[i] ? widths_[i] - width : 0) + kGap, ' ');
  }
  WriteHanging(stream_, std::move(line), values.empty() ? std::string_view() : values.back(),
               look_.screen_columns);
}

void TableWriter::WriteBlock(const std::vector<std::string>& values) {
  for (std::size_t i = 0; i < values.size() && i < columns_.size(); ++i) {
    if (values[i].empty()) continue;
    std::string title = columns_[i].title;
    title.append(widths_[0] - DisplayWidth(title) + kGap, ' ');
    WriteHanging(stream_, std::move(title), values[i], look_.screen_columns);
  }
  stream_ << '\n';
}

void TableWriter::WriteCsv(const std::vector<std::string>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) stream_ << ',';
    const bool is_formula =
        look_.excel && !values[i].empty() && kFormulaSigns.find(values[i][0]) != std::string::npos;
    const std::string cell = is_formula ? "'" + values[i] : values[i];
    if (cell.find_first_of(",\"\r\n") == std::string::npos) {
      stream_ << cell;
    } else {
      stream_ << '"' << ReplaceAll(cell, "\"", "\"\"") << '"';
    }
  }
  stream_ << "\r\n";
}

void TableWriter::WriteJson(const std::vector<std::string>& values) {
  const bool keyed =
      std::any_of(columns_.begin(), columns_.end(), [](const Column& column) { return !column.key.empty(); });
  if (keyed) {
    JsonObject object(stream_);
    for (std::size_t i = 0; i < values.size() && i < columns_.size(); ++i) {
      object.Value(columns_[i].key, columns_[i].kind, values[i]);
    }
    object.End();
    return;
  }
  stream_ << '[';
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) stream_ << ',';
    WriteJsonText(stream_, values[i]);
  }
  stream_ << "]\n";
}

}  // namespace kestrel::cli
