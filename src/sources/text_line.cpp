#include "sources/text_line.h"

#include <algorithm>
#include <array>

#include "platform/base/text.h"

namespace kestrel {

namespace {

// Whether the text holds exactly one character.
bool IsOneCharacter(std::string_view text) { return LengthInCharacters(text) == 1; }

// `text.ends_with` is enough: in UTF-8 no character is the end of another.
bool LastCharacterIs(std::string_view text, std::string_view character) {
  return IsOneCharacter(character) && text.ends_with(character);
}

// The pieces of a text between delimiters of any length; an empty delimiter never occurs.
std::vector<std::string_view> Pieces(std::string_view text, std::string_view delimiter) {
  std::vector<std::string_view> pieces;
  while (!delimiter.empty()) {
    const std::size_t end = text.find(delimiter);
    if (end == std::string_view::npos) break;
    pieces.push_back(text.substr(0, end));
    text.remove_prefix(end + delimiter.size());
  }
  pieces.push_back(text);
  return pieces;
}

// A German letter of a DOS file, and what it looks like as Windows-1252.
struct Repair {
  std::string_view shown;
  std::string_view meant;
};
constexpr std::array<Repair, 7> kRepairs{{{"\u201E", "ä"},
                                          {"\u201D", "ö"},
                                          {"\u0081", "ü"},
                                          {"\u017D", "Ä"},
                                          {"\u2122", "Ö"},
                                          {"\u0161", "Ü"},
                                          {"\u00E1", "ß"}}};

// No repair turns into another one's character, so one pass does what seven in a row do.
std::string ReplaceEach(std::string_view text, std::string_view Repair::*what, std::string_view Repair::*with) {
  std::string replaced;
  replaced.reserve(text.size());
  while (!text.empty()) {
    const auto* repair = std::find_if(kRepairs.begin(), kRepairs.end(),
                                      [&](const Repair& each) { return text.starts_with(each.*what); });
    if (repair == kRepairs.end()) {
      replaced += text.front();
      text.remove_prefix(1);
    } else {
      replaced += repair->*with;
      text.remove_prefix((repair->*what).size());
    }
  }
  return replaced;
}

}  // namespace

std::string DelimiterOf(const TextFormat& format) {
  return format.delimiter == "TAB" ? "\t" : format.delimiter;
}

std::string QualifierOf(const TextFormat& format) {
  return format.text_recognition.empty() ? "\"" : format.text_recognition;
}

std::string RepairAsciiUmlauts(std::string_view text) {
  return ReplaceEach(text, &Repair::shown, &Repair::meant);
}

std::string SpoilAsciiUmlauts(std::string_view text) {
  return ReplaceEach(text, &Repair::meant, &Repair::shown);
}

void SplitTextLine(std::string_view line, std::string_view delimiter, std::string_view qualifier,
                   ValueSlots& slots) {
  for (std::string& slot : slots) slot.clear();
  if (!IsOneCharacter(delimiter)) return;
  const bool qualifier_can_match = IsOneCharacter(qualifier);
  const bool ended = LastCharacterIs(line, delimiter);

  std::size_t slot = 0;
  std::size_t value_begin = 0;
  bool inside = false;
  const auto end_value = [&](std::size_t end) {
    if (slot < slots.size()) {
      std::string& value = slots[slot++].assign(line.substr(value_begin, end - value_begin));
      if (value.find(qualifier) != std::string::npos) value = ReplaceAll(value, qualifier, "");
    }
    value_begin = end + delimiter.size();
  };

  for (std::size_t at = 0; at < line.size();) {
    const std::string_view rest = line.substr(at);
    if (qualifier_can_match && rest.starts_with(qualifier)) inside = !inside;
    if (rest.starts_with(delimiter) && !inside) end_value(at);
    NextCodePoint(line, at);
  }
  if (ended) return;
  // The delimiter that is thought behind the line. Where it is the qualifier as well, it toggles first.
  if (qualifier_can_match && qualifier == delimiter) inside = !inside;
  if (!inside) end_value(line.size());
}

std::vector<std::string> TextFieldNames(std::string line, const TextFormat& format) {
  const std::string delimiter = DelimiterOf(format);
  if (format.file_format == "ASCII") line = RepairAsciiUmlauts(line);
  if (!LastCharacterIs(line, delimiter)) line += delimiter;
  if (format.column_headings) line = ReplaceAll(line, QualifierOf(format), "");

  std::vector<std::string> names;
  std::vector<std::string_view> pieces = Pieces(line, delimiter);
  pieces.pop_back();
  for (const std::string_view piece : pieces) {
    const std::string_view name = format.column_headings ? TrimBlanks(piece) : std::string_view();
    names.push_back(name.empty() ? UnnamedColumn(names.size() + 1) : std::string(name));
  }
  names.emplace_back();
  return names;
}

}  // namespace kestrel
