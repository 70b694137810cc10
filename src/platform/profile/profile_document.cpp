#include "platform/profile/profile_document.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/base/text.h"
#include "platform/profile/profile_text.h"

namespace kestrel {
namespace {

constexpr const char* kNewLineEnd = "\r\n";
constexpr std::string_view kLineBreakers("\r\n\0", 3);

bool CanBeName(std::string_view name) {
  return !name.empty() && name.find_first_of(kLineBreakers) == std::string_view::npos;
}

bool CanBeKey(std::string_view key) { return CanBeName(key) && key.front() != ';' && key.front() != '['; }

std::string AsOneLine(std::string_view value) {
  std::string line = RepairUtf8(value);
  std::replace_if(
      line.begin(), line.end(), [](char c) { return kLineBreakers.find(c) != std::string_view::npos; }, ' ');
  return line;
}

// Where the value begins in a line that is an entry of `key`: behind the "=" that follows the key, and the
// blanks behind it. npos where the line is no entry of that key. A key may itself hold "=".
std::size_t ValuePosition(std::string_view line, std::string_view key) {
  const std::size_t key_begin = std::min(line.find_first_not_of(" \t"), line.size());
  for (std::size_t equals = line.find('='); equals != std::string_view::npos;
       equals = line.find('=', equals + 1)) {
    const std::string_view name = TrimProfileBlanks(line.substr(key_begin, equals - key_begin));
    if (CaselessEqual()(name, key)) return std::min(line.find_first_not_of(" \t", equals + 1), line.size());
  }
  return std::string_view::npos;
}

}  // namespace

ProfileDocument::ProfileDocument(std::string_view text) : parts_(1) {
  while (!text.empty()) {
    const ProfileLine line = TakeLine(text);
    const ParsedLine parsed = ParseLine(line.text);
    if (parsed.kind == LineKind::kSection) {
      sections_.emplace(parsed.name, parts_.size());
      parts_.emplace_back();
    }
    Part& part = parts_.back();
    if (parsed.kind == LineKind::kEntry) part.entries.emplace(parsed.name, part.lines.size());
    part.lines.push_back(Line{std::string(line.text), std::string(line.end)});
    if (parsed.kind != LineKind::kOther) part.behind_last_entry = part.lines.size();
  }
}

bool ProfileDocument::Set(std::string_view section, std::string_view key, std::string_view value) {
  const std::string section_name = RepairUtf8(TrimProfileBlanks(section));
  const std::string key_name = RepairUtf8(TrimProfileBlanks(key));
  if (!CanBeName(section_name) || !CanBeKey(key_name)) return false;
  const std::string content = AsOneLine(value);

  Part& part = PartOf(section_name);
  if (Line* line = FindEntry(part, key_name)) {
    const std::size_t position = ValuePosition(line->text, key_name);
    if (TrimProfileBlanks(std::string_view(line->text).substr(position)) != content) {
      line->text.replace(position, std::string::npos, content);
    }
  } else {
    Append(part, key_name, content);
  }
  return true;
}

std::string ProfileDocument::Text() const {
  std::string text;
  for (const Part& part : parts_) {
    for (const Line& line : part.lines) text.append(line.text).append(line.end);
  }
  return text;
}

ProfileDocument::Part& ProfileDocument::PartOf(std::string_view section) {
  if (const auto known = sections_.find(section); known != sections_.end()) return parts_[known->second];
  if (!parts_.back().lines.empty()) EndLine(parts_.back().lines.back());
  sections_.emplace(section, parts_.size());
  Part& part = parts_.emplace_back();
  part.lines.push_back(Line{"[" + std::string(section) + "]", kNewLineEnd});
  part.behind_last_entry = 1;
  return part;
}

ProfileDocument::Line* ProfileDocument::FindEntry(Part& part, std::string_view key) {
  if (const auto known = part.entries.find(key); known != part.entries.end()) return &part.lines[known->second];
  // Reading cuts an entry at its first "=", so a key that holds one is not in the index.
  if (key.find('=') == std::string_view::npos) return nullptr;
  const auto line = std::find_if(part.lines.begin(), part.lines.end(), [key](const Line& candidate) {
    return ParseLine(candidate.text).kind == LineKind::kEntry &&
           ValuePosition(candidate.text, key) != std::string_view::npos;
  });
  return line == part.lines.end() ? nullptr : &*line;
}

void ProfileDocument::Append(Part& part, std::string_view key, std::string_view value) {
  const std::size_t position = part.behind_last_entry;
  EndLine(part.lines[position - 1]);
  const auto at = std::next(part.lines.begin(), static_cast<std::ptrdiff_t>(position));
  part.lines.insert(at, Line{std::string(key).append("=").append(value), kNewLineEnd});
  part.entries.emplace(key.substr(0, key.find('=')), position);
  part.behind_last_entry = position + 1;
}

void ProfileDocument::EndLine(Line& line) {
  if (line.end.empty()) line.end = kNewLineEnd;
}

}  // namespace kestrel
