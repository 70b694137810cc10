// A profile file as its lines, for changing keys without touching anything else.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/profile/caseless.h"

namespace kestrel {

class ProfileDocument {
 public:
  // `text` is UTF-8.
  explicit ProfileDocument(std::string_view text);

  // Sets a key of the first section of that name. The key's line keeps what stands before its value; a new
  // key follows the last entry of its section, a new section the last line. Line breaks and NULs of the value
  // become blanks. False, and no change, for a name that the file could not hold as one: empty, with a line
  // break or NUL, or a key that would read as a comment or a section.
  bool Set(std::string_view section, std::string_view key, std::string_view value);

  std::string Text() const;

 private:
  struct Line {
    std::string text;
    std::string end;
  };
  // A section with its heading line, or the lines before the first section.
  struct Part {
    std::vector<Line> lines;
    NameIndex entries;                  // key -> its first line
    std::size_t behind_last_entry = 0;  // where a new key goes; behind the heading if there is no entry
  };

  Part& PartOf(std::string_view section);
  static Line* FindEntry(Part& part, std::string_view key);
  static void Append(Part& part, std::string_view key, std::string_view value);
  static void EndLine(Line& line);

  std::vector<Part> parts_;  // the first one stands before all sections
  NameIndex sections_;       // name -> its first part
};

}  // namespace kestrel
