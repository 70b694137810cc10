// How many columns of a terminal a text takes: East Asian characters and pictures take two, combining marks none.
#pragma once

#include <cstddef>
#include <string_view>

namespace kestrel::cli {

// `text` is valid UTF-8 without control characters.
std::size_t DisplayWidth(std::string_view text);

// The beginning of the text that takes at most `columns`, as a view into it.
std::string_view FittingBeginning(std::string_view text, std::size_t columns);

}  // namespace kestrel::cli
