#include "formats/access_sql/access_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "platform/base/text.h"

namespace kestrel::access_sql {
namespace {

// The base letters of the accented capitals of Latin-1 and Latin Extended-A, a string a base letter.
struct Family {
  char32_t base;
  std::u32string_view accented;
};
constexpr std::array kFamilies{
    Family{U'A', U"ÀÁÂÃÄÅĀĂĄ"}, Family{U'C', U"ÇĆĈĊČ"}, Family{U'D', U"ĎĐ"},        Family{U'E', U"ÈÉÊËĒĔĖĘĚ"},
    Family{U'G', U"ĜĞĠĢ"},      Family{U'H', U"ĤĦ"},    Family{U'I', U"ÌÍÎÏĨĪĬĮİ"}, Family{U'J', U"Ĵ"},
    Family{U'K', U"Ķ"},         Family{U'L', U"ĹĻĽĿŁ"}, Family{U'N', U"ÑŃŅŇ"},      Family{U'O', U"ÒÓÔÕÖØŌŎŐ"},
    Family{U'R', U"ŔŖŘ"},       Family{U'S', U"ŚŜŞŠ"},  Family{U'T', U"ŢŤŦ"},       Family{U'U', U"ÙÚÛÜŨŪŬŮŰŲ"},
    Family{U'W', U"Ŵ"},         Family{U'Y', U"ÝŶŸ"},   Family{U'Z', U"ŹŻŽ"},
};

char32_t BaseLetter(char32_t capital) {
  if (capital < 0xC0 || capital > 0x17F) return capital;
  for (const Family& family : kFamilies) {
    if (family.accented.find(capital) != std::u32string_view::npos) return family.base;
  }
  return capital;
}

std::u32string Capitals(std::string_view text) {
  const std::string capitals = UpperCase(RepairUtf8(text));
  std::u32string letters;
  for (std::size_t i = 0; i < capitals.size();) letters += NextCodePoint(capitals, i);
  return letters;
}

// Capitals with ß as SS.
std::u32string Folded(std::string_view text) {
  std::u32string folded;
  for (const char32_t letter : Capitals(text)) {
    if (letter == U'ß' || letter == U'ẞ') {
      folded += U"SS";
    } else {
      folded += letter;
    }
  }
  return folded;
}

char AsciiCapital(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

// Base letters decide before accents; a prefix stands before the longer text.
int CompareFolded(const std::u32string& a, const std::u32string& b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const char32_t x = BaseLetter(a[i]);
    const char32_t y = BaseLetter(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  return a.compare(b);
}

class Matcher {
 public:
  Matcher(const std::u32string& text, const std::u32string& pattern, bool ansi)
      : text_(text), pattern_(pattern), any_(ansi ? U'%' : U'*'), one_(ansi ? U'_' : U'?'), digit_(!ansi) {}

  // Goes on greedily; after a mismatch the last star takes one character more. No recursion.
  bool Run() {
    std::size_t text = 0;
    std::size_t pattern = 0;
    std::size_t star = std::u32string::npos;
    std::size_t star_text = 0;
    while (text < text_.size()) {
      if (pattern < pattern_.size() && pattern_[pattern] == any_) {
        star = pattern++;
        star_text = text;
      } else if (std::size_t next = pattern; MatchesOne(text_[text], next)) {
        pattern = next;
        ++text;
      } else if (star != std::u32string::npos) {
        pattern = star + 1;
        text = ++star_text;
      } else {
        return false;
      }
    }
    while (pattern < pattern_.size() && pattern_[pattern] == any_) ++pattern;
    return pattern == pattern_.size();
  }

 private:
  bool MatchesOne(char32_t letter, std::size_t& at) const {
    if (at >= pattern_.size()) return false;
    const char32_t sign = pattern_[at];
    if (sign == U'[') {
      const std::size_t close = pattern_.find(U']', at + 1);
      if (close != std::u32string::npos) {
        const bool matches = InList(letter, std::u32string_view(pattern_).substr(at + 1, close - at - 1));
        at = close + 1;
        return matches;
      }
    }
    ++at;
    if (sign == one_) return true;
    if (digit_ && sign == U'#') return letter >= U'0' && letter <= U'9';
    return sign == letter;
  }

  static bool InList(char32_t letter, std::u32string_view list) {
    const bool none = list.size() > 1 && list.front() == U'!';
    if (none) list.remove_prefix(1);
    bool found = false;
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (i + 2 < list.size() && list[i + 1] == U'-') {
        found = found || (list[i] <= letter && letter <= list[i + 2]);
        i += 2;
      } else {
        found = found || list[i] == letter;
      }
    }
    return found != none;
  }

  const std::u32string& text_;
  const std::u32string& pattern_;
  const char32_t any_;
  const char32_t one_;
  const bool digit_;
};

}  // namespace

int CompareText(std::string_view a, std::string_view b) {
  // Most texts are told apart or found equal without leaving ASCII.
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (((a[i] | b[i]) & 0x80) != 0) return CompareFolded(Folded(a), Folded(b));
    const char x = AsciiCapital(a[i]);
    const char y = AsciiCapital(b[i]);
    if (x == y) continue;
    // What follows cannot change the order of two base letters.
    return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

std::string LowerCase(std::string_view text) {
  // Upper case is known for every letter; lower case is the letter whose upper case it is.
  std::string lower;
  for (std::size_t i = 0; i < text.size();) {
    const char32_t letter = NextCodePoint(text, i);
    char32_t small = letter;
    for (const char32_t candidate : {letter + 32, letter + 1, letter + 80, letter + 63}) {
      std::string one;
      AppendUtf8(one, candidate);
      std::string same;
      AppendUtf8(same, letter);
      if (UpperCase(one) == same && UpperCase(same) == same) {
        small = candidate;
        break;
      }
    }
    AppendUtf8(lower, small);
  }
  return lower;
}

bool MatchesPattern(std::string_view text, std::string_view pattern, bool ansi) {
  return Matcher(Capitals(text), Capitals(pattern), ansi).Run();
}

}  // namespace kestrel::access_sql
