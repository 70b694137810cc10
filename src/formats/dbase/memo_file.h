// The file beside a dBase table that holds its long texts.
#pragma once

#include <cstdint>

#include "formats/dbase/table_header.h"
#include "platform/base/byte_span.h"

namespace kestrel::dbase {

class MemoFile {
 public:
  // A table without memo columns.
  MemoFile() = default;
  // Views `file`, which must outlive this.
  MemoFile(Bytes file, MemoKind kind);

  // The memo that begins at the block; FormatError, with its offset, where it does not lie within the file.
  Bytes Read(std::uint32_t block) const;

 private:
  Bytes ReadDbt(std::size_t offset) const;
  Bytes ReadFpt(std::size_t offset) const;

  Bytes file_;
  MemoKind kind_ = MemoKind::kNone;
  std::size_t block_size_ = 512;
  // Where the file ends by its own account; 0 where it gives none.
  std::size_t told_size_ = 0;
};

}  // namespace kestrel::dbase
