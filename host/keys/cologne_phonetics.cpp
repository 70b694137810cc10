#include "keys/cologne_phonetics.h"

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

// The digit of a letter between its neighbours ('\0' at the word's ends). X is two digits; this is the last.
char CodeOf(char letter, char before, char after) {
  switch (letter) {
    case 'A':
    case 'E':
    case 'I':
    case 'J':
    case 'O':
    case 'U':
    case 'Y': return '0';
    case 'B': return '1';
    case 'P': return after == 'H' ? '3' : '1';
    case 'D':
    case 'T': return IsIn<'C', 'S', 'Z'>(after) ? '8' : '2';
    case 'F':
    case 'V':
    case 'W': return '3';
    case 'G':
    case 'K':
    case 'Q': return '4';
    case 'C': return CodeOfC(before, after);
    case 'X':
    case 'S':
    case 'Z': return '8';
    case 'L': return '5';
    case 'M':
    case 'N': return '6';
    case 'R': return '7';
    default: return kNone;
  }
}

}  // namespace

void AppendCologneCode(std::string& code, std::string_view word) {
  char last = kNone;
  bool first = true;
  const auto append = [&](char digit) {
    // Equal neighbours count once; a vowel only at the beginning.
    if (digit != last && (digit != '0' || first)) code.push_back(digit);
    last = digit;
    first = false;
  };
  for (std::size_t i = 0; i < word.size(); ++i) {
    const char before = i == 0 ? '\0' : word[i - 1];
    const char after = i + 1 < word.size() ? word[i + 1] : '\0';
    if (word[i] == 'X' && !IsIn<'C', 'K', 'Q'>(before)) append('4');
    if (const char digit = CodeOf(word[i], before, after); digit != kNone) append(digit);
  }
}

}  // namespace kestrel::host
