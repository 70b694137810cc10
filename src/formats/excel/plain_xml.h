// The XML that nearly every part of a workbook consists of: UTF-8, elements with attributes, and texts with XML's own
// five entities and characters by number. Whatever else stands in a part, be it comments or faults, is unusual: that
// is left to a whole parser, which is told where and within which elements it begins.
//
// Invariants
//  1. Everything before at_ is well-formed, and has been told.
//  2. open_names_ holds the names of the open elements one behind the other, and open_begins_ where each begins.
//  3. The buffer's content ends at end_, and a zero and kBlockSize more bytes that can be read follow.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::excel {

class PlainXml {
 public:
  enum class Found { kStart, kEnd, kText, kEndOfPart, kNeedsMore, kUnusual };

  PlainXml();

  // Where more bytes of the part can be put, how many at most, and how many were; none at its end.
  char* Room();
  std::size_t room() const { return kSize - end_; }
  void Added(std::size_t size);

  // What comes next. kNeedsMore: bytes are to be added first. Behind kUnusual nothing more is found.
  Found Next();

  // Of what was found last; valid until Next.
  // The element's name, without its prefix.
  std::string_view name() const { return name_; }
  std::string_view text() const { return text_; }
  struct Attribute {
    std::string_view name;  // without its prefix
    bool has_prefix = false;
    std::string_view value;
  };
  const std::vector<Attribute>& attributes() const { return attributes_; }

  // What a whole parser needs to go on where something unusual stands: start tags of the open elements (or a whole
  // element, where the part's own has ended), how many nodes they are, and the bytes from there on.
  struct Remainder {
    std::string bytes;
    std::size_t nodes_before = 0;
  };
  Remainder Rest() const;

 private:
  static constexpr std::size_t kSize = std::size_t{64} << 10;

  // Skips the declaration at the part's begin; false where it tells anything but UTF-8.
  bool SkipDeclaration();
  Found FindText();
  Found FindStart(std::size_t at);
  Found FindEnd(std::size_t at);
  // Where the bytes end, more are needed; what stands at any other place is unusual.
  Found Stop(std::size_t at) const { return at >= end_ && !at_end_ ? Found::kNeedsMore : Found::kUnusual; }
  // Reads a name from `at` on, which is moved behind it; none where it is unusual.
  struct Name {
    std::string_view whole, local;
    bool has_prefix = false;
  };
  std::optional<Name> TakeName(std::size_t& at) const;
  // The value as it is meant, where it holds references or characters beyond ASCII; false where it is unusual.
  bool Decode(std::string_view& value, unsigned classes);
  void SkipBlanks(std::size_t& at) const;
  std::string_view Top() const { return std::string_view(open_names_).substr(open_begins_.back()); }
  // Of the innermost element.
  void Close();

  std::unique_ptr<char[]> buffer_;
  std::size_t at_ = 0;
  std::size_t end_ = 0;
  bool at_end_ = false;     // of the part
  bool has_begun_ = false;  // behind the declaration
  bool had_root_ = false;
  bool ends_at_once_ = false;  // the element that started has no content
  std::string open_names_;
  std::vector<std::size_t> open_begins_;

  std::string_view name_;
  std::string_view text_;
  std::vector<Attribute> attributes_;
  std::deque<std::string> decoded_;  // values that are not as they stand in the part
  std::size_t decoded_count_ = 0;
};

}  // namespace kestrel::excel
