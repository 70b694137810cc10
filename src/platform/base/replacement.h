// A new file that takes the place of another one whole or not at all: written beside it, flushed, renamed over
// it. Used by the functions of file.h.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/base/file_descriptor.h"

namespace kestrel {

class Replacement {
 public:
  // Makes the file beside `destination`. A file that is replaced gives its mode and, where allowed, its owner;
  // a new one gets `mode`, or the usual one (what the process leaves of 0666) where none is given. Links are
  // followed. Raises 75 for a folder, a device or a pipe, what making the file raises otherwise, with `destination` in the text.
  Replacement(const std::string& destination, std::optional<mode_t> mode);
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  // Without Commit the file beside disappears and the destination stays as it was.
  ~Replacement();

  // The file that the destination is now; none where it is missing.
  const std::optional<struct stat>& existing() const { return existing_; }
  void SetMode(mode_t mode);
  void Write(std::string_view content);
  // Flushes the content to the device, renames and flushes the folder.
  void Commit();

  // What replacements of processes that ended half-way have left in the folder is removed. Raises nothing.
  static void Sweep(const std::string& folder);

 private:
  void MakeSibling(mode_t mode);
  [[noreturn]] void Fail() const;

  std::string destination_;  // as the caller named it
  std::string target_;       // with links followed
  std::optional<struct stat> existing_;
  std::string sibling_;
  FileDescriptor file_;
  bool made_ = false;
};

}  // namespace kestrel
