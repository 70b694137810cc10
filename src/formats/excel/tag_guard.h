// Keeps XML from the parser whose time to read a tag grows with the square of its attributes.
#pragma once

#include <cstddef>
#include <string_view>

namespace kestrel::excel {

class TagGuard {
 public:
  // Looks at the next bytes of a part. Error 3000 where a tag has more attributes than any workbook needs.
  void Look(std::string_view bytes);

 private:
  enum class Place { kText, kTagBegins, kTag, kValue };
  Place place_ = Place::kText;
  char quote_ = 0;              // that the value ends with
  std::size_t attributes_ = 0;  // of the tag, so far
};

}  // namespace kestrel::excel
