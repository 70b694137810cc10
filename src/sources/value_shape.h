// What a value looks like, as far as its characters tell: for whoever has to guess what a file's columns are.
#pragma once

#include <string_view>

namespace kestrel {

// kText: words, also of several kinds of characters that stand in names, streets and remarks. kOther: anything else,
// such as a value that holds a separator.
enum class ValueShape { kEmpty, kNumber, kDate, kTime, kPhone, kEmail, kUrl, kText, kOther };

// Blanks around the value do not count. Raises nothing.
ValueShape ShapeOf(std::string_view value);

// Whether a value of this shape is none that a person gives a column as its name.
bool IsOfData(ValueShape shape);

}  // namespace kestrel
