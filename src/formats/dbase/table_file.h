// The file of a dBase table, read in pieces.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/input_file.h"

namespace kestrel::dbase {

// The file of the folder whose name is `name` in any case; one written exactly so comes first. Raises 76 where
// the folder is missing.
std::optional<std::string> FindFile(const std::string& folder, std::string_view name);

class TableFile {
 public:
  // Raises what opening raises, with the path. The file stays open as long as this lives.
  explicit TableFile(const std::string& path) : file_(std::in_place, path), size_(file_->SizeAtOpening()) {}
  // Bytes from elsewhere that are read as a file's.
  static TableFile Of(std::string_view bytes);

  // In bytes, as it was at opening.
  std::size_t size() const { return size_; }
  // Fills `size` bytes from `offset` on, which were there at opening. Raises 75 where the file is shorter now,
  // and what reading raises, with the path.
  void ReadAt(std::size_t offset, char* bytes, std::size_t size) const;
  // Whether size or time of the file have changed since it was opened, which its content need not have.
  bool HasChanged() const { return file_ && file_->HasChanged(); }
  // Error 75: the content has changed since it was read first.
  [[noreturn]] void RaiseChanged() const;

 private:
  TableFile() = default;

  std::optional<InputFile> file_;  // none for bytes from elsewhere
  std::string bytes_;
  std::size_t size_ = 0;
};

}  // namespace kestrel::dbase
