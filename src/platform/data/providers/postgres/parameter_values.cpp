#include "platform/data/providers/postgres/parameter_values.h"

#include <array>
#include <charconv>

#include "kestrel/runtime_error.h"

namespace kestrel::postgres {

void ParameterValues::Clear() {
  texts_.clear();
  starts_.clear();
}

void ParameterValues::AddText(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw RuntimeError(ErrorNumber::kDatabase, std::string(DescriptionOf(ErrorNumber::kDatabase)) +
                                                   ": Ein Text enthält ein NUL-Zeichen.");
  }
  starts_.push_back(texts_.size());
  texts_.append(text);
  texts_.push_back('\0');
}

void ParameterValues::AddInteger(std::int64_t number) {
  std::array<char, 24> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  AddText({digits.data(), end.ptr});
}

void ParameterValues::AddDouble(double number) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  AddText({digits.data(), end.ptr});
}

const char* const* ParameterValues::Pointers() {
  pointers_.clear();
  for (const std::size_t start : starts_) pointers_.push_back(start == kNull ? nullptr : texts_.data() + start);
  return pointers_.data();
}

}  // namespace kestrel::postgres
