#include "keys/cologne_phonetics.h"

#include <array>

namespace kestrel::host {

namespace {

// No digit: the letter is not coded.
constexpr char kNone = '\0';

// As a template argument the letters are known when this is compiled.
template <char... kLetters>
constexpr bool IsIn(char letter) {
  return ((letter == kLetters) || ...);
}

char CodeOfC(char before, char after) {
  if (before == '\0') return IsIn<'A', 'H', 'K', 'L', 'O', 'Q', 'R', 'U', 'X'>(after) ? '4' : '8';
  if (IsIn<'S', 'Z'>(before)) return '8';
  return IsIn<'A', 'H', 'K', 'O', 'Q', 'U', 'X'>(after) ? '4' : '8';
}

// The digit of one of the letters that their neighbours ('\0' at the word's ends) tell. X is two digits; this is the last.
char CodeOf(char letter, char before, char after) {
  switch (letter) {
    case 'P': return after == 'H' ? '3' : '1';
    case 'C': return CodeOfC(before, after);
    case 'X': return '8';
    default: return IsIn<'C', 'S', 'Z'>(after) ? '8' : '2';
  }
}

constexpr char kByNeighbours = '?';

// What other characters become, and which letters CodeOf tells. Looked up, as a branch for each letter would be foreseen by
// no processor.
constexpr auto kDigits = [] {
  std::array<char, 256> digits{};
  const auto set = [&digits](std::string_view letters, char digit) {
    for (const char letter : letters) digits[static_cast<unsigned char>(letter)] = digit;
  };
  set("AEIJOUY", '0');
  set("B", '1');
  set("FVW", '3');
  set("GKQ", '4');
  set("L", '5');
  set("MN", '6');
  set("R", '7');
  set("SZ", '8');
  set("CDPTX", kByNeighbours);
  return digits;
}();

}  // namespace

void AppendCologneCode(std::string& code, std::string_view word, std::size_t most) {
  const std::size_t enough = most > std::string::npos - code.size() ? std::string::npos : code.size() + most;
  char last = kNone;
  bool first = true;
  const auto append = [&](char digit) {
    // Equal neighbours count once; a vowel only at the beginning.
    if (digit != last && (digit != '0' || first)) code.push_back(digit);
    last = digit;
    first = false;
  };
  for (std::size_t i = 0; i < word.size() && code.size() < enough; ++i) {
    char digit = kDigits[static_cast<unsigned char>(word[i])];
    if (digit == kByNeighbours) {
      const char before = i == 0 ? '\0' : word[i - 1];
      const char after = i + 1 < word.size() ? word[i + 1] : '\0';
      if (word[i] == 'X' && !IsIn<'C', 'K', 'Q'>(before)) append('4');
      digit = CodeOf(word[i], before, after);
    }
    if (digit != kNone) append(digit);
  }
  if (code.size() > enough) code.resize(enough);
}

}  // namespace kestrel::host
