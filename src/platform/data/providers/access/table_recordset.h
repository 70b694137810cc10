// The rows of a stored table as a record set.
#pragma once

#include "formats/access/table_reader.h"
#include "platform/data/indexed_recordset.h"

namespace kestrel::access {

class TableRecordset final : public IndexedRecordset {
 public:
  // `table` is named in errors. Raises 3000 for a table without a column that can be read.
  TableRecordset(TableReader reader, std::string_view table);

  Value ValueAt(std::size_t column) const override;
  std::optional<FileIdentity> SourceFile() const override { return reader_.file().identity(); }

 private:
  bool IsNullAt(std::size_t row, std::size_t column) const override;
  std::string_view TextAt(std::size_t row, std::size_t column) const override;
  // Moves the reader to a row unless it is there.
  void Seek(std::size_t row) const;

  // Reading changes only what the reader has at hand.
  mutable TableReader reader_;
  mutable std::size_t at_ = static_cast<std::size_t>(-1);
};

}  // namespace kestrel::access
