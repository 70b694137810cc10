#include "formats/dbase/table_file.h"

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/base/text.h"

namespace kestrel::dbase {

std::optional<std::string> FindFile(const std::string& folder, std::string_view name) {
  const std::string exact = JoinPath(folder, name);
  if (FileExists(exact)) return exact;
  const std::string wanted = UpperCase(name);
  for (std::string& path : ListFiles(folder)) {
    if (UpperCase(FileNameOfPath(path)) == wanted) return std::move(path);
  }
  return std::nullopt;
}

TableFile TableFile::Of(std::string_view bytes) {
  TableFile file;
  file.bytes_ = bytes;
  file.size_ = bytes.size();
  return file;
}

void TableFile::ReadAt(std::size_t offset, char* bytes, std::size_t size) const {
  if (!file_) {
    bytes_.copy(bytes, size, offset);
  } else if (file_->ReadAt(offset, bytes, size) < size) {
    file_->RaiseChanged();
  }
}

void TableFile::RaiseChanged() const {
  if (file_) file_->RaiseChanged();
  throw RuntimeError(ErrorNumber::kPathFileAccess);
}

}  // namespace kestrel::dbase
