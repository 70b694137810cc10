// Backup and removal of a source text file.
#pragma once

#include <string>

#include "component/session.h"
#include "kestrel/run_result.h"

namespace kestrel {

// Copies the source file into SavePath under its own name, when the session asks for it and the source is a
// text file. A missing folder shows its message and nothing is copied. Raises what looking at the folder and
// CopyFile raise, and 70 where the backup would be the source file itself.
void BackUpSourceFile(Session& session);

// Deletes the source file of a text source when the session asks for it and nothing that the file holds can be
// lost with it: no error was counted, nobody aborted, the source was read to its end, its records were worked
// through to the last, and the file is still the one whose content was read. Otherwise the file stays, and the
// answer says why in a German sentence; it is empty where the file is gone or was not to be removed. The source
// is still open. Raises what looking at the file and deleting it raise.
std::string RemoveSourceFile(Session& session, const RunResult& run);

}  // namespace kestrel
