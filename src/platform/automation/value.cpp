#include "kestrel/value.h"

#include <cmath>
#include <limits>
#include <optional>

#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
// clang 14, which builds the fuzzers, does not find this by itself.
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

[[noreturn]] void RaiseNull() { throw RuntimeError(ErrorNumber::kInvalidUseOfNull); }
[[noreturn]] void RaiseMissing() { throw RuntimeError(ErrorNumber::kArgumentNotOptional); }
[[noreturn]] void RaiseType() { throw RuntimeError(ErrorNumber::kTypeMismatch); }

double RequireNumber(const std::string& text) {
  const std::optional<double> number = ParseNumber(text);
  if (!number) RaiseType();
  return *number;
}

std::int64_t RoundToInteger(double number) {
  // std::nearbyint rounds half to even in the default rounding mode. 2^63 is exact as a double.
  const double rounded = std::nearbyint(number);
  if (!(rounded >= -9223372036854775808.0 && rounded < 9223372036854775808.0)) {
    throw RuntimeError(ErrorNumber::kOverflow);
  }
  return static_cast<std::int64_t>(rounded);
}

}  // namespace

std::string Value::ToText() const {
  return std::visit(Overloaded{
                        [](std::monostate) { return std::string(); },
                        [](NullValue) -> std::string { RaiseNull(); },
                        [](MissingValue) -> std::string { RaiseMissing(); },
                        [](bool truth) { return std::string(truth ? "Wahr" : "Falsch"); },
                        [](std::int64_t number) { return std::to_string(number); },
                        [](double number) { return FormatNumber(number); },
                        [](const std::string& text) { return text; },
                        [](const ObjectPtr&) -> std::string { RaiseType(); },
                    },
                    content_);
}

std::int64_t Value::ToInteger() const {
  return std::visit(Overloaded{
                        [](std::monostate) -> std::int64_t { return 0; },
                        [](NullValue) -> std::int64_t { RaiseNull(); },
                        [](MissingValue) -> std::int64_t { RaiseMissing(); },
                        // The truth value of late-bound components is all bits set.
                        [](bool truth) -> std::int64_t { return truth ? -1 : 0; },
                        [](std::int64_t number) { return number; },
                        [](double number) { return RoundToInteger(number); },
                        [](const std::string& text) {
                          if (const auto whole = ParseWholeNumber(text)) return *whole;
                          return RoundToInteger(RequireNumber(text));
                        },
                        [](const ObjectPtr&) -> std::int64_t { RaiseType(); },
                    },
                    content_);
}

std::int16_t Value::ToInt16() const {
  const std::int64_t number = ToInteger();
  if (number < std::numeric_limits<std::int16_t>::min() || number > std::numeric_limits<std::int16_t>::max()) {
    throw RuntimeError(ErrorNumber::kOverflow);
  }
  return static_cast<std::int16_t>(number);
}

double Value::ToDouble() const {
  if (const auto* number = std::get_if<double>(&content_)) return *number;
  if (const auto* text = std::get_if<std::string>(&content_)) return RequireNumber(*text);
  return static_cast<double>(ToInteger());
}

bool Value::ToBool() const {
  if (const auto* text = std::get_if<std::string>(&content_)) {
    if (EqualsIgnoringCase(*text, "True") || EqualsIgnoringCase(*text, "Wahr")) return true;
    if (EqualsIgnoringCase(*text, "False") || EqualsIgnoringCase(*text, "Falsch")) return false;
    return RequireNumber(*text) != 0;
  }
  if (const auto* number = std::get_if<double>(&content_)) return *number != 0;
  return ToInteger() != 0;
}

ObjectPtr Value::ToObject() const {
  if (const auto* object = std::get_if<ObjectPtr>(&content_)) return *object;
  if (IsUnset()) return nullptr;
  throw RuntimeError(ErrorNumber::kObjectRequired);
}

void Value::AssignText(std::string_view text) {
  if (auto* existing = std::get_if<std::string>(&content_)) {
    existing->assign(text);
  } else {
    content_.emplace<std::string>(text);
  }
}

}  // namespace kestrel
