// What has become of the source's columns since the specification was saved.
#pragma once

#include <string>
#include <vector>

#include "kestrel/finding.h"
#include "platform/profile/profile.h"

namespace kestrel {

// Columns that are missing, that seem to have another name, or stand in another order. `columns` ends with one empty
// element, as session.SourceFieldNames does. An assigned column that is missing is an error, as its field would
// stay empty. Nothing where the specification remembers no columns.
void CheckColumnDrift(const ProfileImage& specification, const std::vector<std::string>& columns,
                      Findings& findings);

// What makes the specification that was checked assign, and remember, the replacements in the place of the missing
// columns. Findings without a replacement change nothing.
std::vector<ProfileEdit> ReplacementEdits(const ProfileImage& specification, const Findings& drift);

}  // namespace kestrel
