// A file that is open for reading. Move-only; closes itself.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>

namespace kestrel {

class InputFile {
 public:
  // Opens the file. Raises what opening raises, with the path (53, 70, 76 ...).
  explicit InputFile(const std::string& path);
  InputFile(InputFile&& other) noexcept;
  InputFile& operator=(InputFile&& other) noexcept;
  ~InputFile();
  // Early; nothing can be read afterwards. No effect where it is closed already.
  void Close();

  const std::string& path() const { return path_; }
  // Whether ReadAt works; not for pipes, terminals and the like.
  bool IsRegular() const { return S_ISREG(opened_.st_mode); }
  // In bytes, as the system told it at opening; 0 where it knows none. A file that grows holds more.
  std::size_t SizeAtOpening() const;
  // Whether size or time of the last change have changed since. True where they cannot be had.
  bool HasChanged() const;
  // Error 75: the file has changed since it was opened.
  [[noreturn]] void RaiseChanged() const;

  // Both fill `size` bytes, fewer only at the end of the file, and raise what reading raises, with the path.
  // On from where the last Read ended.
  std::size_t Read(char* bytes, std::size_t size);
  // From that byte on.
  std::size_t ReadAt(std::size_t offset, char* bytes, std::size_t size) const;

 private:
  std::string path_;
  int descriptor_;
  struct stat opened_ {};
};

}  // namespace kestrel
