#include "sources/record_layout.h"

#include <algorithm>

#include "platform/base/text.h"
#include "sources/source_reader.h"
#include "sources/text_line.h"
#include "sources/text_recordset.h"

namespace kestrel {

namespace {

bool IsOneCharacter(std::string_view text) { return LengthInCharacters(text) == 1; }

std::string ToUtf16(std::string_view text, bool big_endian) {
  std::string bytes;
  const auto append = [&](char32_t unit) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += big_endian ? high : low;
    bytes += big_endian ? low : high;
  };
  for (std::size_t at = 0; at < text.size();) {
    const char32_t code_point = NextCodePoint(text, at);
    if (code_point < 0x10000) {
      append(code_point);
    } else {
      append(0xD800 + ((code_point - 0x10000) >> 10));
      append(0xDC00 + ((code_point - 0x10000) & 0x3FF));
    }
  }
  return bytes;
}

}  // namespace

RecordLayout::RecordLayout(const Session& session, const std::vector<std::string>& left_out) {
  const RecordsetPtr source = session.SourceRecordset;
  if (source == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  columns_ = source->ColumnCount();
  LeaveOut(*source, left_out);
  if (const auto text = std::dynamic_pointer_cast<TextRecordset>(source)) {
    TakeText(session, *text);
    return;
  }
  for (std::size_t column = 0; column < columns_; ++column) names_.emplace_back(source->ColumnName(column));
}

void RecordLayout::LeaveOut(const Recordset& source, const std::vector<std::string>& names) {
  if (names.size() >= columns_) return;
  const std::size_t first = columns_ - names.size();
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (source.ColumnName(first + i) != names[i]) return;
  }
  columns_ = first;
  left_out_ = names.size();
}

void RecordLayout::TakeText(const Session& session, TextRecordset& source) {
  is_text_ = true;
  TextFile& file = source.file();
  switch (file.mark()) {
    case TextFile::Mark::kUtf16Little: charset_ = Charset::kUtf16Little; break;
    case TextFile::Mark::kUtf16Big: charset_ = Charset::kUtf16Big; break;
    case TextFile::Mark::kUtf8: charset_ = Charset::kUtf8WithMark; break;
    case TextFile::Mark::kNone:
      charset_ = file.charset() == TextFile::Charset::kUtf8 ? Charset::kUtf8 : Charset::kWindows1252;
      break;
  }
  repairs_umlauts_ = file.repair_umlauts();
  const TextFormat format = TextFormatOf(session);
  has_header_ = format.column_headings;
  delimiter_ = DelimiterOf(format);
  qualifier_ = QualifierOf(format);
  if (!IsOneCharacter(qualifier_) || qualifier_ == delimiter_) qualifier_.clear();
  line_end_ = file.LineEnd();
  first_line_ = file.FirstLine();
  // The record at hand has gone with the look at the first line.
  Trap([&] { source.MoveFirst(); }, [](const RuntimeError&) {});
}

std::string RecordLayout::Head(const std::vector<std::string>& further_columns) const {
  std::string head;
  if (charset_ == Charset::kUtf8WithMark || charset_ == Charset::kUtf16Little ||
      charset_ == Charset::kUtf16Big) {
    head = Encode("\uFEFF");
  }
  if (!has_header_) return head;
  std::string names;
  if (is_text_) {
    const std::vector<std::string_view> values = OwnValues(first_line_);
    names = first_line_;
    if (left_out_ > 0 && !values.empty()) {
      names.resize(static_cast<std::size_t>(values.back().data() + values.back().size() - first_line_.data()));
    }
    const auto is_well_formed = [this](std::string_view value) { return IsWellFormed(value); };
    // The names are read without qualifiers in any case.
    if (!std::all_of(values.begin(), values.end(), is_well_formed)) names = ReplaceAll(names, qualifier_, "");
    // The reader passes over one at the end, but not over that in front of the columns that are left out.
    if (left_out_ == 0 && names.ends_with(delimiter_)) names.resize(names.size() - delimiter_.size());
  } else {
    for (std::size_t column = 0; column < columns_; ++column) {
      names.append(column == 0 ? "" : delimiter_).append(Enclosed(names_[column]));
    }
  }
  return head + Line(names, further_columns);
}

std::string RecordLayout::RecordText(const Recordset& record) const {
  if (is_text_) return FirstColumns(dynamic_cast<const TextRecordset&>(record).RawRecord());
  std::string line;
  for (std::size_t column = 0; column < columns_; ++column) {
    std::string value = ReplaceAll(record.TextAt(column), "\r\n", "\n");
    value = ReplaceAll(value, "\r", "\n");
    line.append(column == 0 ? "" : delimiter_).append(Enclosed(value));
  }
  return line;
}

std::size_t RecordLayout::CountValues(std::string_view record_text) const {
  if (!IsOneCharacter(delimiter_)) return 0;
  const bool is_last_empty = record_text.empty() || record_text.ends_with(delimiter_);
  return CutValues(record_text).size() + (is_last_empty ? 1 : 0);
}

std::string RecordLayout::Line(std::string_view record_text, const std::vector<std::string>& further_values,
                               std::size_t columns) const {
  std::string line;
  // Behind a CR that ends a line, a LF would be taken for its other half.
  if (line_end_ == "\r" && record_text.starts_with('\n')) line += '\n';
  line += record_text;
  if (columns > 0) {
    for (std::size_t i = CountValues(record_text); i < columns; ++i) line += delimiter_;
  }
  for (const std::string& value : further_values) line.append(delimiter_).append(Added(value));
  line += line_end_;
  return Encode(line);
}

// The values of a line as they stand, with their qualifiers; the last one may be open.
std::vector<std::string_view> RecordLayout::CutValues(std::string_view line) const {
  std::vector<std::string_view> values;
  std::size_t begin = 0;
  bool inside = false;
  for (std::size_t at = 0; at < line.size(); NextCodePoint(line, at)) {
    const std::string_view rest = line.substr(at);
    if (!qualifier_.empty() && rest.starts_with(qualifier_)) inside = !inside;
    if (inside || !rest.starts_with(delimiter_)) continue;
    values.push_back(line.substr(begin, at - begin));
    begin = at + delimiter_.size();
  }
  if (begin < line.size()) values.push_back(line.substr(begin));
  return values;
}

std::vector<std::string_view> RecordLayout::OwnValues(std::string_view line) const {
  std::vector<std::string_view> values = CutValues(line);
  if (left_out_ > 0 && values.size() > columns_) values.resize(std::max(columns_, values.size() - left_out_));
  return values;
}

std::string RecordLayout::FirstColumns(std::string_view line) const {
  // Where nothing separates values there are none.
  if (!IsOneCharacter(delimiter_)) return std::string(line);
  const std::vector<std::string_view> values = OwnValues(line);
  std::string text;
  for (std::size_t i = 0; i < std::max(columns_, values.size()); ++i) {
    if (i > 0) text += delimiter_;
    if (i < values.size()) text += IsWellFormed(values[i]) ? std::string(values[i]) : Enclosed(values[i]);
  }
  return text;
}

// Without qualifiers, or within two of them and with none but doubled ones between.
bool RecordLayout::IsWellFormed(std::string_view value) const {
  if (qualifier_.empty() || value.find(qualifier_) == std::string_view::npos) return true;
  const std::size_t size = qualifier_.size();
  if (!value.starts_with(qualifier_) || !value.ends_with(qualifier_) || value.size() < 2 * size) return false;
  const std::string inner(value.substr(size, value.size() - 2 * size));
  return ReplaceAll(inner, qualifier_ + qualifier_, "").find(qualifier_) == std::string::npos;
}

std::string RecordLayout::Enclosed(std::string_view value) const {
  const auto holds = [value](std::string_view what) { return value.find(what) != std::string_view::npos; };
  if (qualifier_.empty() || !(holds(qualifier_) || holds(delimiter_) || holds("\n") || holds("\r"))) {
    return std::string(value);
  }
  return qualifier_ + ReplaceAll(value, qualifier_, qualifier_ + qualifier_) + qualifier_;
}

std::string RecordLayout::Added(std::string_view text) const {
  std::string added = ReplaceAll(ReplaceAll(text, "\r", " "), "\n", " ");
  if (qualifier_.empty()) {
    if (!delimiter_.empty()) added = ReplaceAll(added, delimiter_, " ");
  } else {
    added = Enclosed(ReplaceAll(added, qualifier_, qualifier_ == "'" ? " " : "'"));
  }
  return repairs_umlauts_ ? SpoilAsciiUmlauts(added) : added;
}

std::string RecordLayout::Encode(std::string_view text) const {
  switch (charset_) {
    case Charset::kWindows1252: return ToWindows1252(text);
    case Charset::kUtf16Little: return ToUtf16(text, false);
    case Charset::kUtf16Big: return ToUtf16(text, true);
    case Charset::kUtf8:
    case Charset::kUtf8WithMark: break;
  }
  return std::string(text);
}

}  // namespace kestrel
