#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kestrel::postgres {

// A statement whose "?" are written as the server numbers them: $1, $2 ...
struct NumberedText {
  std::string sql;
  std::size_t parameters = 0;
};

// Every "?" becomes a parameter but those within literals ('..', E'..', $tag$..$tag$), quoted names and
// comments. Operators that hold "?" can therefore not be written.
NumberedText NumberParameters(std::string_view sql);

// The first word of a statement in upper case, behind blanks and comments.
std::string FirstWord(std::string_view sql);

}  // namespace kestrel::postgres
