// Saving what the user set up in steps 2 and 3.
#pragma once

#include <string>

#include "spec/working_copy.h"

namespace kestrel {

// Commit false: writes the settings into the session's working file. Commit true: makes them permanent; a
// specification is saved in place, a template under a name that is asked for. The name's messages, the
// numbering of files ("Kunden(1).IMP" to "(9)") and the order of writing are told in the .cpp.
//
// The specification is replaced once, by the working copy with the settings: it is the new one or the old one.
// A new one that holds a password can be read by its owner only.
//
// Raises why the file could not be written (a folder or disk that takes nothing, 52 for a name that holds a
// path separator, 53 for a working file that has vanished, what ProfileStore raises). File, working copy,
// SchemaSaved and SchemaChanged are then as before. Only a fresh working copy that cannot be made is told after
// the save has happened; the session then works on the saved file itself. An empty or taken name shows its
// message and changes nothing.
//
// `lock` is that of the working copy, and then that of the fresh one.
void SaveSchema(Session& session, WorkingCopyLock& lock, bool Commit);

// Saves the settings as a new specification, whatever was chosen, with all that the working copy holds; its name is
// asked for as that of a template. The session goes on with the new one: it is the chosen file, and the fresh working
// copy is its. False where the person gave no name that can be used. Raises as SaveSchema, and 58 where there are
// files for the name and for the nine numbered ones; none is replaced.
bool SaveSchemaAs(Session& session, WorkingCopyLock& lock);

// Where a specification of this name is to lie: the first of Name.IMP and Name(1).IMP to Name(9).IMP that does not
// exist, else the ninth. Raises 52 for a name that holds a path separator or a control character.
std::string NewSpecificationPath(const Session& session, const std::string& name);

}  // namespace kestrel
