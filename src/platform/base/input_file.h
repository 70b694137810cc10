// An ordinary file that is open for reading. Move-only; closes itself.
//
// Pipes, devices and the like are refused: they may have no end, may keep a program waiting without limit, and
// cannot be read twice.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>

#include "kestrel/file_identity.h"

namespace kestrel {

// Raises 75 for what is no ordinary file, with its path and what it is instead.
void RequireOrdinaryFile(const struct stat& status, const std::string& path);

class InputFile {
 public:
  // Opens the file, never waiting. Raises what opening raises, with the path (53, 70, 76 ...), and as
  // RequireOrdinaryFile.
  explicit InputFile(const std::string& path);
  InputFile(InputFile&& other) noexcept;
  InputFile& operator=(InputFile&& other) noexcept;
  ~InputFile();
  // Early; nothing can be read afterwards. No effect where it is closed already.
  void Close();

  const std::string& path() const { return path_; }
  // In bytes, as the system told it at opening. A file that grows holds more.
  std::size_t SizeAtOpening() const;
  // Whether size or time of the last change have changed since. True where they cannot be had.
  bool HasChanged() const;
  // What the file is now, whatever its name names meanwhile. Raises what asking raises, with the path.
  FileIdentity Identity() const;
  // Error 75: the file has changed since it was opened.
  [[noreturn]] void RaiseChanged() const;

  // Fills `size` bytes from that byte on, fewer only at the end of the file. Raises what reading raises, with
  // the path.
  std::size_t ReadAt(std::size_t offset, char* bytes, std::size_t size) const;

 private:
  // Takes the descriptor over, so that it is closed where the rest of opening fails.
  InputFile(std::string path, int descriptor);

  std::string path_;
  int descriptor_;
  struct stat opened_ {};
};

}  // namespace kestrel
