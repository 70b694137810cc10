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
    while (true) {
      const std::size_t special = text.find_first_of(std::string_view("\\\t\n\r", 4));
      lines_ += text.substr(0, special);
      if (special == std::string_view::npos) return;
      lines_ += '\\';
      lines_ += text[special] == '\t' ? 't' : text[special] == '\n' ? 'n' : text[special] == '\r' ? 'r' : '\\';
      text.remove_prefix(special + 1);
    }
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
