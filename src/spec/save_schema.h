// Saving what the user set up in steps 2 and 3.
#pragma once

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

}  // namespace kestrel
