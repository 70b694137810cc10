// The separators in force for a text format.
#pragma once

#include <string>

#include "sources/text_source.h"

namespace kestrel {

// The tab character for "TAB", else the delimiter as it is stored.
std::string DelimiterOf(const TextFormat& format);
// The double quote where none is stored.
std::string QualifierOf(const TextFormat& format);

}  // namespace kestrel
