// How many columns of a terminal a text takes: East Asian characters and pictures take two, combining marks none; and lines
// that keep to them.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

namespace kestrel::cli {

// `text` is valid UTF-8 without control characters.
std::size_t DisplayWidth(std::string_view text);

// The beginning of the text that takes at most `columns`, as a view into it.
std::string_view FittingBeginning(std::string_view text, std::size_t columns);

// Writes a line of `begin` and `text`, which goes on below itself where the screen ends; a screen of 0 columns is as wide
// as it takes. A word that is longer than the room is cut; what is wider than that is written as it is.
void WriteHanging(std::ostream& stream, std::string begin, std::string_view text, std::size_t screen_columns);

}  // namespace kestrel::cli
