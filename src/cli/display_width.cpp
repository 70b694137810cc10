#include "cli/display_width.h"

#include <algorithm>
#include <iterator>
#include <ostream>

#include "platform/base/text.h"

namespace kestrel::cli {

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// In the order of their code points. Of scripts that an address may be written in, not every character that has no
// width of its own.
constexpr Range kWithoutWidth[] = {{0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A},
                                   {0x064B, 0x065F}, {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E},
                                   {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF},
                                   {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF}};
constexpr Range kTwoColumns[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},   {0x25FD, 0x25FE},
    {0x2614, 0x2615},   {0x2648, 0x2653},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x2705, 0x2705},
    {0x270A, 0x270B},   {0x274C, 0x274C},   {0x2753, 0x2755},   {0x2795, 0x2797},   {0x2B1B, 0x2B1C},
    {0x2B50, 0x2B50},   {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0xA4CF},
    {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E},
    {0x1F191, 0x1F19A}, {0x1F200, 0x1F320}, {0x1F32D, 0x1F335}, {0x1F337, 0x1F37C}, {0x1F37E, 0x1F393},
    {0x1F3A0, 0x1F3CA}, {0x1F3E0, 0x1F3F0}, {0x1F3F8, 0x1F43E}, {0x1F440, 0x1F440}, {0x1F442, 0x1F4FC},
    {0x1F4FF, 0x1F53D}, {0x1F550, 0x1F567}, {0x1F5FB, 0x1F64F}, {0x1F680, 0x1F6C5}, {0x1F6EB, 0x1F6EC},
    {0x1F7E0, 0x1F7EB}, {0x1F90C, 0x1F9FF}, {0x1FA70, 0x1FAFF}, {0x20000, 0x3FFFD}};

template <std::size_t n>
bool IsIn(const Range (&ranges)[n], char32_t code_point) {
  const Range* found = std::lower_bound(std::begin(ranges), std::end(ranges), code_point,
                                        [](const Range& range, char32_t c) { return range.last < c; });
  return found != std::end(ranges) && found->first <= code_point;
}

std::size_t WidthOf(char32_t code_point) {
  if (code_point < kWithoutWidth[0].first) return 1;
  if (IsIn(kWithoutWidth, code_point)) return 0;
  return IsIn(kTwoColumns, code_point) ? 2 : 1;
}

}  // namespace

std::size_t DisplayWidth(std::string_view text) {
  std::size_t width = 0;
  for (std::size_t position = 0; position < text.size();) width += WidthOf(NextCodePoint(text, position));
  return width;
}

std::string_view FittingBeginning(std::string_view text, std::size_t columns) {
  std::size_t width = 0;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t start = position;
    width += WidthOf(NextCodePoint(text, position));
    if (width > columns) return text.substr(0, start);
  }
  return text;
}

void WriteHanging(std::ostream& stream, std::string begin, std::string_view text, std::size_t screen_columns) {
  const std::size_t indent = DisplayWidth(begin);
  const bool has_room = screen_columns > indent;
  while (has_room && DisplayWidth(text) > screen_columns - indent) {
    std::string_view part = FittingBeginning(text, screen_columns - indent);
    const std::size_t blank = part.rfind(' ');
    if (blank != std::string_view::npos && blank > 0 && text[part.size()] != ' ') part = part.substr(0, blank);
    if (part.empty()) break;
    stream << begin << part << '\n';
    text.remove_prefix(part.size());
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    begin.assign(indent, ' ');
  }
  begin += text;
  begin.erase(begin.find_last_not_of(' ') + 1);
  stream << begin << '\n';
}

}  // namespace kestrel::cli
