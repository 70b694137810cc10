// The columns that the source had when its specification was saved, so that a later source that differs is noticed.
//
// They stand in a section of their own, which readers that do not know it pass over: how many there are, and each by its
// number. Entries beyond that number are left from a save before.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/profile/profile.h"

namespace kestrel {

inline constexpr const char* kSourceColumnsSection = "SourceColumns";

// Appends what makes a specification hold the columns. `names` ends with one empty element, which is no column, as
// session.SourceFieldNames does; without a column nothing is appended, so that what is remembered stays.
void AddSourceColumns(const std::vector<std::string>& names, std::vector<ProfileEdit>& edits);

// The entry that remembers the column of that number.
ProfileEdit RememberedColumn(std::string number, std::string_view name);

// The columns in their order; empty where none are remembered, or not all of them can be read.
std::vector<std::string> RememberedSourceColumns(const ProfileImage& specification);

// Whether a remembered name is that of the column: a file does not hold control characters, nor, unless it is UTF-8,
// characters that Windows-1252 lacks.
bool IsRememberedAs(std::string_view column, std::string_view remembered);

}  // namespace kestrel
