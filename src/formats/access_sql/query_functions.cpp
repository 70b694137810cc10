#include "formats/access_sql/query_functions.h"

#include <algorithm>
#include <cmath>

#include "formats/access_sql/access_text.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::access_sql {
namespace {

// Digits with groups and a decimal comma, as a format of 0, #, "," and "." asks for.
class NumberFormat {
 public:
  explicit NumberFormat(std::string_view format) {
    bool fraction = false;
    for (const char c : format) {
      if (c == '.') {
        fraction = true;
      } else if (c == ',') {
        groups_ = groups_ || !fraction;
      } else if (c == '0' || c == '#') {
        std::size_t& places = fraction ? decimals_ : digits_;
        if (fraction || c == '0') ++places;
        if (fraction && c == '0') least_decimals_ = decimals_;
      } else {
        percent_ = percent_ || c == '%';
        (digits_seen_ ? suffix_ : prefix_) += c;
        continue;
      }
      digits_seen_ = true;
    }
  }

  bool HasDigits() const { return digits_seen_; }

  std::string Apply(double number) const {
    if (percent_) number *= 100;
    const std::size_t decimals = std::min<std::size_t>(decimals_, 15);
    // Half away from zero, as people round; the small addition makes up for halves that binary lacks.
    const double factor = std::pow(10.0, static_cast<double>(decimals));
    const double magnitude = std::abs(number);
    const double scaled = magnitude * factor;
    const double rounded = scaled < 9e15 ? std::floor(scaled + 0.5 + scaled * 1e-15) : -1;
    if (rounded < 0) return FormatNumber(number);
    std::string all = std::to_string(static_cast<std::int64_t>(rounded));
    if (all.size() <= decimals) all.insert(0, decimals + 1 - all.size(), '0');
    std::string whole = all.substr(0, all.size() - decimals);
    std::string fraction = all.substr(all.size() - decimals);
    while (fraction.size() > least_decimals_ && fraction.back() == '0') fraction.pop_back();
    if (whole == "0" && digits_ == 0) whole.clear();
    if (whole.size() < digits_) whole.insert(0, std::min<std::size_t>(digits_, 64) - whole.size(), '0');
    if (groups_) {
      for (std::size_t at = whole.size(); at > 3; at -= 3) whole.insert(at - 3, 1, '.');
    }
    std::string text = rounded != 0 && number < 0 ? "-" : "";
    text += prefix_ + whole;
    if (decimals_ > 0) text += "," + fraction;
    return text + suffix_;
  }

 private:
  std::size_t digits_ = 0;
  std::size_t decimals_ = 0;
  std::size_t least_decimals_ = 0;
  bool groups_ = false;
  bool percent_ = false;
  bool digits_seen_ = false;
  std::string prefix_;
  std::string suffix_;
};

std::string FormatText(std::string_view text, std::string_view format) {
  if (format == ">") return UpperCase(text);
  if (format == "<") return LowerCase(text);
  return std::string(text);
}

}  // namespace

const QueryFunction* FindQueryFunction(std::string_view name) {
  for (const auto functions : {TextFunctions(), NumberFunctions(), DateFunctions()}) {
    const auto found = std::find_if(functions.begin(), functions.end(),
                                    [&](const QueryFunction& function) { return function.name == name; });
    if (found != functions.end()) return &*found;
  }
  return nullptr;
}

double RealArgument(QueryArguments arguments, std::size_t index, double missing) {
  if (index >= arguments.size()) return missing;
  if (const auto* whole = std::get_if<std::int64_t>(&arguments[index])) return static_cast<double>(*whole);
  if (const auto* real = std::get_if<double>(&arguments[index])) return *real;
  throw RuntimeError(ErrorNumber::kTypeMismatch);
}

std::int64_t WholeArgument(QueryArguments arguments, std::size_t index, std::int64_t missing) {
  if (index >= arguments.size()) return missing;
  const double number = std::nearbyint(RealArgument(arguments, index));
  if (!(std::abs(number) <= 2147483648.0)) throw RuntimeError(ErrorNumber::kOverflow);
  return static_cast<std::int64_t>(number);
}

std::string_view TextArgument(QueryArguments arguments, std::size_t index) {
  if (index >= arguments.size()) return {};
  if (const auto* text = std::get_if<std::string>(&arguments[index])) return *text;
  if (std::holds_alternative<std::monostate>(arguments[index])) return {};
  throw RuntimeError(ErrorNumber::kTypeMismatch);
}

std::string TextOfValue(const QueryValue& value) {
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return std::to_string(*whole);
  if (const auto* real = std::get_if<double>(&value)) return FormatNumber(*real);
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  return {};
}

std::string FormatValue(const QueryValue& value, std::string_view format) {
  if (std::holds_alternative<std::monostate>(value)) return {};
  if (format.empty()) return TextOfValue(value);
  double number = 0;
  if (const auto* text = std::get_if<std::string>(&value)) {
    const auto parsed = ParseNumber(*text);
    if (!parsed) return FormatText(*text, format);
    number = *parsed;
  } else {
    number = RealArgument(QueryArguments(&value, 1), 0);
  }
  struct Named {
    std::string_view name;
    std::string_view format;
  };
  constexpr Named kNamed[] = {
      {"Fixed", "0.00"}, {"Standard", "#,##0.00"}, {"Percent", "0.00%"}, {"Currency", "#,##0.00 €"}};
  if (EqualsIgnoringCase(format, "General Number")) return FormatNumber(number);
  for (const Named& named : kNamed) {
    if (EqualsIgnoringCase(format, named.name)) return NumberFormat(named.format).Apply(number);
  }
  // Sections for positive and negative numbers.
  const std::size_t section = format.find(';');
  if (section != std::string_view::npos && number < 0) {
    const std::string_view rest = format.substr(section + 1);
    return NumberFormat(rest.substr(0, rest.find(';'))).Apply(-number);
  }
  const NumberFormat parsed(format.substr(0, section));
  return parsed.HasDigits() ? parsed.Apply(number) : FormatText(TextOfValue(value), format);
}

}  // namespace kestrel::access_sql
