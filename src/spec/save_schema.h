// Saving what the user set up in steps 2 and 3.
#pragma once

#include "component/session.h"

namespace kestrel {

// Commit false: writes the settings into the session's working file. Commit true: makes them permanent; a
// specification is saved in place, a template under a name that is asked for. The name's messages, the
// numbering of files ("Kunden(1).IMP" to "(9)") and the order of writing are told in the .cpp.
//
// The settings are written with one replacement of the file: all of them or none.
//
// Raises what the file operations raise (a folder that cannot be written, 52 for a name that holds a path
// separator); an empty or taken name shows its message and changes nothing.
void SaveSchema(Session& session, bool Commit);

}  // namespace kestrel
