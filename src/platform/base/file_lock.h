// A lock that a process holds until it ends, however it ends: on a file that marks a name as in use, or on a
// folder. What is left unlocked belongs to no living process.
#pragma once

#include <optional>
#include <string>

#include "platform/base/file_descriptor.h"

namespace kestrel {

class FileLock {
 public:
  // Locks the file, which is made (readable by its owner only) where it is missing. None where another lock is
  // held on it, in this process or another one. On a file system without locks everybody gets one. Raises what
  // making the file raises.
  static std::optional<FileLock> Acquire(const std::string& path);
  // The lock of what nobody uses any more: an existing file or folder of this user that was locked once. None
  // where it is in use, not there, another user's, or where that cannot be told. Raises nothing.
  static std::optional<FileLock> AcquireAbandoned(const std::string& path);
  // Whether somebody has the lock of the file; false where that cannot be told. Raises nothing.
  static bool IsHeld(const std::string& path);
  // A lock on an existing folder. As Acquire; none where it is gone.
  static std::optional<FileLock> AcquireFolder(const std::string& path);

  const std::string& path() const { return path_; }
  // Deletes the file and ends the lock. Raises nothing.
  void Remove();

 private:
  FileLock(std::string path, FileDescriptor file) : path_(std::move(path)), file_(std::move(file)) {}

  std::string path_;
  FileDescriptor file_;
};

}  // namespace kestrel
