// The specification of the session: its Common section, and the list of specifications in the folder.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "platform/profile/profile.h"

namespace kestrel {

// Loads ImportClass, Provider and Description and the keys of that provider from session.SpecFile into the
// session; an unknown provider loads no further key. Missing keys give their defaults; a truth value that is no
// such text reads as false. Raises, with nothing loaded, what ProfileStore::Require raises for a file that
// cannot be read.
void ReadCommonSection(Session& session);

// The keys of the session's provider alone, out of the specification's image.
void ReadKeysOfKind(Session& session, const ProfileImage& image);
// A text file has taken the place of another kind of source: it is read by the settings of text files that section
// Common has, and those that it lacks are as in the CSV that such a source's rejected records are written to, with
// commas and a header. Nothing where a connection reads the source.
void UseHandedInText(Session& session);

// A stored truth value: "True", "False", "Wahr", "Falsch" (any case), or a number, where any but 0 is
// true. Other texts are false.
bool ReadBoolText(std::string_view text);

// Whether the name equals, exactly, one of the pieces of ExistingSchemaNames.
bool SchemaNameExists(const Session& session, std::string_view name);

// Whether the session's chosen file is a template (".IMT").
KESTREL_INTERNAL bool IsTemplate(const Session& session);

struct SpecificationEntry {
  std::string description;
  std::string path;
};
enum class SpecificationKind { kSpecification, kTemplate };  // ".IMP", ".IMT"

// The files of SpecFolder of one kind whose Description is not empty and whose Application (default "2")
// is the number AppMode; a file whose Application is no number is left out. Sorted by file name. A missing
// folder gives an empty list; one that cannot be looked into raises why. Files that cannot be read are left out, and
// `unreadable`, where given, gets the reason of each.
KESTREL_INTERNAL std::vector<SpecificationEntry> ListSpecifications(
    Session& session, SpecificationKind kind, std::vector<std::string>* unreadable = nullptr);
// How many entries the list of step 1 has room for.
inline constexpr std::size_t kMaxListedSpecifications = 100;

// Step 1's list fill: the entries of `kind`, and the Description of every ".IMP" entry, each followed by
// ";", appended to ExistingSchemaNames. Entries beyond the first `most` are left out and `cut`,
// where given, says so; their names are known all the same. `unreadable` as above, of all files looked at.
KESTREL_INTERNAL std::vector<SpecificationEntry> FillSpecificationList(
    Session& session, SpecificationKind kind, bool* cut = nullptr,
    std::vector<std::string>* unreadable = nullptr, std::size_t most = kMaxListedSpecifications);

}  // namespace kestrel
