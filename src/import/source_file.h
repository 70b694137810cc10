// Backup and removal of a source text file.
#pragma once

#include <cstdint>

#include "component/session.h"

namespace kestrel {

// Copies the source file into SavePath under its own name, when the session asks for it and the source is a
// text file. A missing folder shows its message and nothing is copied. Raises what CopyFile raises, and 70
// where the backup would be the source file itself.
void BackUpSourceFile(Session& session);

// Deletes the source file of a text source when the session asks for it and no error was counted. Raises
// what DeleteFile raises.
void RemoveSourceFile(Session& session, std::int32_t error_count);

}  // namespace kestrel
