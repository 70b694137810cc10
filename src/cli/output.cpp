#include "cli/output.h"

#include <algorithm>
#include <ostream>

#include "kestrel/value.h"
#include "platform/base/terminal_text.h"
#include "platform/base/text.h"

namespace kestrel::cli {

namespace {

// Rows looked at before the widths of a text table are settled.
constexpr std::size_t kHeldRows = 200;
// Wider values run over instead of pushing every other row apart.
constexpr std::size_t kWidestColumn = 60;

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

JsonObject& JsonObject::Number(std::string_view key, std::int64_t value) {
  Key(key);
  stream_ << value;
  return *this;
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

TableWriter::TableWriter(std::ostream& stream, OutputFormat format, std::vector<Column> columns)
    : stream_(stream), format_(format), columns_(std::move(columns)) {
  if (format_ != OutputFormat::kCsv) return;
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(column.title);
  WriteCsv(titles);
}

void TableWriter::Row(std::vector<std::string> values) {
  if (!stream_) throw OutputFailed();
  switch (format_) {
    case OutputFormat::kCsv: WriteCsv(values); return;
    case OutputFormat::kJson: WriteJson(values); return;
    case OutputFormat::kText: break;
  }
  for (std::string& value : values) value = TerminalText(value, TextLayout::kOneLine);
  if (flushed_) {
    WriteText(values);
    return;
  }
  held_.push_back(std::move(values));
  if (held_.size() == kHeldRows) FlushHeld();
}

void TableWriter::Finish() {
  if (format_ == OutputFormat::kText && !flushed_) FlushHeld();
  stream_.flush();
}

void TableWriter::FlushHeld() {
  flushed_ = true;
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(TerminalText(column.title, TextLayout::kOneLine));
  widths_.assign(columns_.size(), 0);
  const auto widen = [&](const std::vector<std::string>& values) {
    for (std::size_t i = 0; i < values.size() && i < widths_.size(); ++i) {
      widths_[i] = std::max(widths_[i], std::min(kWidestColumn, LengthInCharacters(values[i])));
    }
  };
  widen(titles);
  for (const auto& row : held_) widen(row);
  WriteText(titles);
  std::vector<std::string> rule;
  for (const std::size_t width : widths_) {
    std::string line;
    for (std::size_t i = 0; i < width; ++i) line += "─";
    rule.push_back(std::move(line));
  }
  WriteText(rule);
  for (const auto& row : held_) WriteText(row);
  held_.clear();
}

void TableWriter::WriteText(const std::vector<std::string>& values) {
  std::string line;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) line += "  ";
    line += values[i];
    const std::size_t length = LengthInCharacters(values[i]);
    if (i < widths_.size() && length < widths_[i]) line.append(widths_[i] - length, ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  stream_ << line << '\n';
}

void TableWriter::WriteCsv(const std::vector<std::string>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) stream_ << ',';
    if (values[i].find_first_of(",\"\r\n") == std::string::npos) {
      stream_ << values[i];
    } else {
      stream_ << '"' << ReplaceAll(values[i], "\"", "\"\"") << '"';
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
      const Column& column = columns_[i];
      if (!column.number) {
        object.Text(column.key, values[i]);
      } else if (values[i].empty()) {
        object.Null(column.key);
      } else {
        object.Number(column.key, Value(values[i]).ToInteger());
      }
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
