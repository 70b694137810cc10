// Rows for Pipeline::Copy: as text, a line each, tabs between the values, "\N" for null.
#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel {

class CopiedRows {
 public:
  // The memory stays.
  void Clear() {
    lines_.clear();
    is_within_ = false;
  }

  void AddText(std::string_view text) {
    Begin();
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char escape = kEscapes[static_cast<unsigned char>(text[i])];
      if (escape == 0) continue;
      lines_.append(text, begin, i - begin).append({'\\', escape});
      begin = i + 1;
    }
    lines_.append(text, begin);
  }
  void AddInteger(std::int64_t number) { AddNumber(number); }
  void AddDouble(double number) { AddNumber(number); }
  void AddNull() {
    Begin();
    lines_ += "\\N";
  }
  void EndRow() {
    lines_ += '\n';
    is_within_ = false;
  }

  std::string_view lines() const { return lines_; }

 private:
  // What stands behind the backslash in place of a character that means something else.
  static constexpr std::array<char, 256> kEscapes = [] {
    std::array<char, 256> escapes{};
    escapes['\\'] = '\\';
    escapes['\t'] = 't';
    escapes['\n'] = 'n';
    escapes['\r'] = 'r';
    return escapes;
  }();

  void Begin() {
    if (is_within_) lines_ += '\t';
    is_within_ = true;
  }
  template <class Number>
  void AddNumber(Number number) {
    Begin();
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    lines_.append(digits.data(), end.ptr);
  }

  std::string lines_;
  bool is_within_ = false;  // of a row
};

}  // namespace kestrel
