#include <algorithm>
#include <array>
#include <optional>

#include "formats/access_sql/access_text.h"
#include "formats/access_sql/ole_date.h"
#include "formats/access_sql/query_functions.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::access_sql {
namespace {

// No function makes a text longer than this.
constexpr std::int64_t kLongest = 1 << 20;

RuntimeError InvalidCall() { return RuntimeError(ErrorNumber::kInvalidProcedureCall); }

std::size_t LengthArgument(QueryArguments arguments, std::size_t index, std::int64_t missing = 0) {
  const std::int64_t length = WholeArgument(arguments, index, missing);
  if (length < 0) throw InvalidCall();
  return static_cast<std::size_t>(length);
}

QueryValue Text(std::string_view text) { return std::string(text); }
QueryValue Whole(std::size_t number) { return static_cast<std::int64_t>(number); }
QueryValue Truth(bool truth) { return std::int64_t{truth ? -1 : 0}; }

QueryValue LeftOf(QueryArguments a) { return Text(Left(TextArgument(a, 0), LengthArgument(a, 1))); }

QueryValue RightOf(QueryArguments a) {
  const std::string_view text = TextArgument(a, 0);
  const std::size_t length = LengthInCharacters(text);
  const std::size_t wanted = std::min(LengthArgument(a, 1), length);
  return Text(Middle(text, length - wanted, wanted));
}

QueryValue MidOf(QueryArguments a) {
  const std::size_t start = LengthArgument(a, 1);
  if (start == 0) throw InvalidCall();
  const std::string_view text = TextArgument(a, 0);
  return Text(Middle(text, start - 1, LengthArgument(a, 2, static_cast<std::int64_t>(text.size()))));
}

QueryValue LengthOf(QueryArguments a) { return Whole(LengthInCharacters(TextArgument(a, 0))); }
QueryValue TrimBoth(QueryArguments a) { return Text(TrimBlanks(TextArgument(a, 0))); }

QueryValue TrimLeft(QueryArguments a) {
  std::string_view text = TextArgument(a, 0);
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return Text(text);
}

QueryValue TrimRight(QueryArguments a) {
  const std::string_view text = TextArgument(a, 0);
  return Text(text.substr(0, text.find_last_not_of(' ') + 1));
}

QueryValue Upper(QueryArguments a) { return UpperCase(TextArgument(a, 0)); }
QueryValue Lower(QueryArguments a) { return LowerCase(TextArgument(a, 0)); }

// Finds a text in another without case: its 0-based character, or none. `from` is a character too.
std::optional<std::size_t> FindText(std::string_view text, std::string_view what, std::size_t from) {
  const std::size_t length = LengthInCharacters(text);
  const std::size_t size = LengthInCharacters(what);
  const std::string wanted = UpperCase(what);
  for (std::size_t at = from; at + size <= length; ++at) {
    if (UpperCase(Middle(text, at, size)) == wanted) return at;
  }
  return std::nullopt;
}

// InStr([start,] text, what): the start is the only number among the first two.
QueryValue Position(QueryArguments a) {
  const bool with_start = a.size() > 2;
  const std::size_t start = with_start ? LengthArgument(a, 0) : 1;
  if (start == 0) throw InvalidCall();
  const std::string text = TextOfValue(a[with_start ? 1 : 0]);
  const std::string what = TextOfValue(a[with_start ? 2 : 1]);
  if (text.size() > 10000) throw InvalidCall();
  const auto found = FindText(text, what, start - 1);
  return found ? Whole(*found + 1) : Whole(0);
}

QueryValue LastPosition(QueryArguments a) {
  const std::string_view text = TextArgument(a, 0);
  std::size_t last = 0;
  for (auto found = FindText(text, TextArgument(a, 1), 0); found;
       found = FindText(text, TextArgument(a, 1), *found + 1)) {
    last = *found + 1;
  }
  return Whole(last);
}

QueryValue Replaced(QueryArguments a) {
  const std::string_view text = TextArgument(a, 0);
  const std::string_view what = TextArgument(a, 1);
  if (what.empty()) return Text(text);
  std::string result;
  std::size_t done = 0;
  const std::size_t size = LengthInCharacters(what);
  while (const auto found = FindText(text, what, done)) {
    result += Middle(text, done, *found - done);
    result += TextArgument(a, 2);
    done = *found + size;
  }
  return result + std::string(Middle(text, done, text.size()));
}

std::string Repeated(std::string_view piece, std::int64_t count) {
  if (count < 0 || count > kLongest) throw InvalidCall();
  std::string text;
  for (std::int64_t i = 0; i < count; ++i) text += piece;
  return text;
}

QueryValue Spaces(QueryArguments a) { return Repeated(" ", WholeArgument(a, 0)); }
QueryValue Filled(QueryArguments a) { return Repeated(Left(TextArgument(a, 1), 1), WholeArgument(a, 0)); }

QueryValue Reversed(QueryArguments a) {
  const std::string_view text = TextArgument(a, 0);
  std::string reversed;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t start = i;
    NextCodePoint(text, i);
    reversed.insert(0, text.substr(start, i - start));
  }
  return reversed;
}

QueryValue Character(QueryArguments a) {
  const std::int64_t code = WholeArgument(a, 0);
  if (code < 0 || code > 255) throw InvalidCall();
  return FromWindows1252(std::string(1, static_cast<char>(code)));
}

QueryValue CodeOf(QueryArguments a) {
  const std::string_view text = TextArgument(a, 0);
  if (text.empty()) throw InvalidCall();
  return std::int64_t{static_cast<unsigned char>(ToWindows1252(Left(text, 1))[0])};
}

QueryValue CompareTexts(QueryArguments a) {
  // 0 compares exactly; Access's databases use 2, their own order.
  if (a.size() > 2 && WholeArgument(a, 2) == 0) {
    const int order = TextArgument(a, 0).compare(TextArgument(a, 1));
    return std::int64_t{order < 0 ? -1 : order > 0 ? 1 : 0};
  }
  return std::int64_t{CompareText(TextArgument(a, 0), TextArgument(a, 1))};
}

QueryValue ConvertCase(QueryArguments a) {
  const std::string_view text = TextArgument(a, 0);
  switch (WholeArgument(a, 1)) {
    case 1: return UpperCase(text);
    case 2: return LowerCase(text);
    case 3: break;
    default: throw InvalidCall();
  }
  std::string proper;
  bool first = true;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t start = i;
    const char32_t letter = NextCodePoint(text, i);
    const std::string_view one = text.substr(start, i - start);
    proper += first ? UpperCase(one) : LowerCase(one);
    first = letter == U' ' || letter == U'\t' || letter == U'\n' || letter == U'\r';
  }
  return proper;
}

// Str(number) has a blank where a minus would stand, and a point.
QueryValue NumberText(QueryArguments a) {
  const double number = RealArgument(a, 0);
  return (number < 0 ? "" : " ") + ReplaceAll(FormatNumber(number), ",", ".");
}

QueryValue TextOf(QueryArguments a) {
  if (std::holds_alternative<std::monostate>(a[0])) return {};
  return TextOfValue(a[0]);
}
QueryValue DateText(QueryArguments a) { return SerialText(RealArgument(a, 0)); }

QueryValue Concatenate(QueryArguments a) {
  const auto null = [](const QueryValue& value) { return std::holds_alternative<std::monostate>(value); };
  if (null(a[0]) && null(a[1])) return {};
  return TextOfValue(a[0]) + TextOfValue(a[1]);
}

// + of values whose types are not known before: numbers are added, texts put together.
QueryValue Plus(QueryArguments a) {
  const auto text = [](const QueryValue& value) { return std::holds_alternative<std::string>(value); };
  if (text(a[0]) && text(a[1])) return TextOfValue(a[0]) + TextOfValue(a[1]);
  const auto number = [](const QueryValue& value) {
    if (const auto* whole = std::get_if<std::int64_t>(&value)) return static_cast<double>(*whole);
    if (const auto* real = std::get_if<double>(&value)) return *real;
    const auto parsed = ParseNumber(std::get<std::string>(value));
    if (!parsed) throw RuntimeError(ErrorNumber::kTypeMismatch);
    return *parsed;
  };
  return number(a[0]) + number(a[1]);
}

QueryValue Like(QueryArguments a) {
  return std::int64_t{MatchesPattern(TextArgument(a, 0), TextArgument(a, 1), false)};
}
QueryValue LikeAnsi(QueryArguments a) {
  return std::int64_t{MatchesPattern(TextArgument(a, 0), TextArgument(a, 1), true)};
}

QueryValue IsNull(QueryArguments a) { return Truth(std::holds_alternative<std::monostate>(a[0])); }

QueryValue Format(QueryArguments a) {
  return FormatValue(a[0], a.size() > 1 ? TextArgument(a, 1) : std::string_view());
}

constexpr ValueType kText = ValueType::kText;
constexpr ValueType kWhole = ValueType::kWhole;
constexpr std::array kFunctions{
    QueryFunction{"left", "tn", 2, kText, false, LeftOf},
    QueryFunction{"right", "tn", 2, kText, false, RightOf},
    QueryFunction{"mid", "tnn", 2, kText, false, MidOf},
    QueryFunction{"len", "t", 1, kWhole, false, LengthOf},
    QueryFunction{"trim", "t", 1, kText, false, TrimBoth},
    QueryFunction{"ltrim", "t", 1, kText, false, TrimLeft},
    QueryFunction{"rtrim", "t", 1, kText, false, TrimRight},
    QueryFunction{"ucase", "t", 1, kText, false, Upper},
    QueryFunction{"lcase", "t", 1, kText, false, Lower},
    QueryFunction{"instr", "aaan", 2, kWhole, false, Position},
    QueryFunction{"instrrev", "tt", 2, kWhole, false, LastPosition},
    QueryFunction{"replace", "ttt", 3, kText, false, Replaced},
    QueryFunction{"space", "n", 1, kText, false, Spaces},
    QueryFunction{"string", "nt", 2, kText, false, Filled},
    QueryFunction{"strreverse", "t", 1, kText, false, Reversed},
    QueryFunction{"chr", "n", 1, kText, false, Character},
    QueryFunction{"asc", "t", 1, kWhole, false, CodeOf},
    QueryFunction{"strcomp", "ttn", 2, kWhole, false, CompareTexts},
    QueryFunction{"strconv", "tn", 2, kText, false, ConvertCase},
    QueryFunction{"str", "n", 1, kText, false, NumberText},
    QueryFunction{"cstr", "t", 1, kText, false, TextOf},
    QueryFunction{"isnull", "a", 1, ValueType::kTruth, true, IsNull},
    QueryFunction{"format", "at", 1, kText, true, Format},
    QueryFunction{"_text", "a", 1, kText, false, TextOf},
    QueryFunction{"_datetext", "d", 1, kText, false, DateText},
    QueryFunction{"_concat", "aa", 2, kText, true, Concatenate},
    QueryFunction{"_plus", "aa", 2, ValueType::kUnknown, false, Plus},
    QueryFunction{"_like", "tt", 2, kWhole, false, Like},
    QueryFunction{"_alike", "tt", 2, kWhole, false, LikeAnsi},
};

}  // namespace

std::span<const QueryFunction> TextFunctions() { return kFunctions; }

}  // namespace kestrel::access_sql
