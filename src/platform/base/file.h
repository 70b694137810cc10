// Files, folders and paths. Paths are UTF-8. When a path is taken apart, "\" and "/" both separate, as
// specifications written elsewhere hold either; new paths are joined with "/".
//
// Functions that change or read a file raise the classic numbers (53 not found, 70 no permission, 75,
// 76, 57, 61 ...) with the path in the description.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/file_buffer.h"

namespace kestrel {

// --- Paths (no file is touched, nothing is raised) ----------------------------------------------

// The last component.
std::string FileNameOfPath(std::string_view path);
// The text before the last separator; the path unchanged where it has none.
std::string GetFolderOfPath(std::string_view path);
// The folder in which the path's last component lies: "." for a bare name, "/" for what lies in the root.
// Separators behind the last component do not count.
std::string ParentFolder(std::string_view path);
// `folder` and `name` with exactly one separator between them; `name` alone for an empty folder.
std::string JoinPath(std::string_view folder, std::string_view name);

// --- Questions (false on every failure) ---------------------------------------------------------

// A file of any kind but a folder.
bool FileExists(const std::string& path);
bool FolderExists(const std::string& path);
// Whether nothing is there; not where that cannot be told, as a folder above it is closed.
bool IsMissing(const std::string& path);

// --- Work ---------------------------------------------------------------------------------------

// Copies the content over `destination`, created with the source's mode if missing; `mode`, where given, is the
// copy's in any case. The copy appears whole or not at all: it is written beside the destination and renamed.
void CopyFile(const std::string& source, const std::string& destination, std::optional<mode_t> mode = {});
void DeleteFile(const std::string& path);
// Owner may read and write; other bits stay.
void MakeWritable(const std::string& path);
// Creates the folder and those above it; an existing one is no error.
void CreateFolders(const std::string& path);
// Full paths of the files (not folders) of a folder, sorted by name bytewise. Error 76 if it is missing.
std::vector<std::string> ListFiles(const std::string& folder);

// The whole content. Reads to the end even where the size reported is wrong (files that grow). Raises 75 for
// what is no ordinary file: a pipe, a device.
std::string ReadWholeFile(const std::string& path);

// A whole file in memory that is cheap to fill even where it is large. Empty by default.
class FileContent {
 public:
  std::string_view bytes() const { return bytes_; }

 private:
  friend FileContent ReadFileContent(const std::string& path);
  std::string_view bytes_;  // of the buffer
  FileBuffer buffer_;
};
// As ReadWholeFile.
FileContent ReadFileContent(const std::string& path);

// Replaces `path` by `content`: a sibling file is written, flushed to the device, renamed over `path` and
// the folder flushed. Mode and, where allowed, owner of an existing file are kept; a new one gets `mode`, or
// the usual one. Links are followed, so that the file a link names is replaced. On failure the old file is
// whole and no sibling is left; what a killed process leaves is swept by SweepLeftovers.
void WriteFileAtomically(const std::string& path, std::string_view content, std::optional<mode_t> mode = {});

// Removes from the folder the siblings of writes and copies whose process has ended. Raises nothing.
void SweepLeftovers(const std::string& folder);

}  // namespace kestrel
