#include "keys/cologne_phonetics.h"

namespace kestrel::host {

namespace {

// No digit: the letter is not coded.
constexpr char kNone = '\0';

bool IsIn(char letter, std::string_view letters) {
  return letter != '\0' && letters.find(letter) != std::string_view::npos;
}

char CodeOfC(char before, char after) {
  if (before == '\0') return IsIn(after, "AHKLOQRUX") ? '4' : '8';
  if (IsIn(before, "SZ")) return '8';
  return IsIn(after, "AHKOQUX") ? '4' : '8';
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
    case 'T': return IsIn(after, "CSZ") ? '8' : '2';
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
    if (word[i] == 'X' && !IsIn(before, "CKQ")) append('4');
    if (const char digit = CodeOf(word[i], before, after); digit != kNone) append(digit);
  }
}

}  // namespace kestrel::host
