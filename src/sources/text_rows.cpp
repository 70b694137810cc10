#include "sources/text_rows.h"

#include <algorithm>
#include <utility>

namespace kestrel {

namespace {

// How far a line feed in an enclosed value is followed to the value's end.
constexpr std::size_t kLongestEnclosed = 8192;

class Cutter {
 public:
  Cutter(std::string_view text, const TriedSeparators& separators)
      : text_(text), separators_(separators), ends_at_cr_(text.find('\r') != std::string_view::npos) {}

  TextRows Cut(bool is_whole, std::size_t most) {
    for (at_ = 0; at_ < text_.size() && result_.rows.size() < most; ++at_) {
      const char c = text_[at_];
      if (IsLineEnd(c)) {
        EndRow();
        if (c == '\r' && at_ + 1 < text_.size() && text_[at_ + 1] == '\n') ++at_;
      } else if (c == separators_.qualifier) {
        is_inside_ = !is_inside_;
        is_enclosed_ = is_enclosed_ || begins_value_;
        ends_enclosed_ = is_enclosed_ && !is_inside_;
        begins_value_ = false;
      } else if (c == separators_.delimiter && !is_inside_) {
        EndValue();
      } else {
        value_ += c;
        begins_value_ = ends_enclosed_ = false;
      }
    }
    if (at_ == text_.size() && is_whole) EndRow();
    return std::move(result_);
  }

 private:
  bool IsLineEnd(char c) const {
    if (ends_at_cr_) return c == '\r';
    return c == '\n' && !(is_inside_ && is_enclosed_ && EndsFurtherOn());
  }
  // Whether the enclosed value ends where a value may end.
  bool EndsFurtherOn() const {
    const std::size_t end = std::min(text_.size(), at_ + kLongestEnclosed);
    for (std::size_t i = at_ + 1; i < end; ++i) {
      if (text_[i] != separators_.qualifier) continue;
      if (i + 1 == text_.size() || text_[i + 1] == '\n' || text_[i + 1] == separators_.delimiter) return true;
      if (text_[i + 1] != separators_.qualifier) return false;
      ++i;
    }
    return false;
  }
  void EndValue() {
    if (ends_enclosed_) ++result_.enclosed_values;
    row_.push_back(std::move(value_));
    value_.clear();
    begins_value_ = true;
    is_enclosed_ = ends_enclosed_ = is_inside_ = false;
  }
  void EndRow() {
    const bool is_empty = row_.empty() && value_.empty() && begins_value_;
    if (!value_.empty() || !begins_value_) EndValue();
    if (!is_empty) result_.rows.push_back(std::move(row_));
    row_.clear();
    begins_value_ = true;
    is_enclosed_ = ends_enclosed_ = is_inside_ = false;
  }

  std::string_view text_;
  TriedSeparators separators_;
  bool ends_at_cr_;
  TextRows result_;
  std::vector<std::string> row_;
  std::string value_;
  std::size_t at_ = 0;
  bool begins_value_ = true;
  bool is_inside_ = false;
  bool is_enclosed_ = false;
  bool ends_enclosed_ = false;
};

}  // namespace

TextRows CutRows(std::string_view text, bool is_whole, const TriedSeparators& separators, std::size_t most) {
  return Cutter(text, separators).Cut(is_whole, most);
}

}  // namespace kestrel
