// The records of a table's file, a part of them in memory at a time: a table may be larger than what is needed
// of it, and a part stays in the processor's cache while its columns are read.
//
// Invariant: a part that is read again holds what it held when it was first read, whatever happened to the file
// meanwhile; where it does not, reading it fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "formats/dbase/table_file.h"
#include "formats/dbase/table_header.h"

namespace kestrel::dbase {

class RecordWindow {
 public:
  // The records that the header tells of, which must be the file's own.
  RecordWindow(TableFile file, const Header& header);

  // The bytes of a record, which is below the header's count; record_length of them. kRoomBefore bytes before
  // and CodePage::kRoomBehind behind can be read too, whatever they hold. Valid until a record is asked for
  // that is not in memory, so at least until another one is. Raises 75 where the part of the file that it is in
  // was changed or cut off since it was first read, and what reading raises.
  const char* Record(std::size_t record) {
    if (record - first_ >= count_) Load(record);
    return bytes_ + (record - first_) * record_length_;
  }
  // Once every record was asked for: raises 75 where they were not all of one state of the file.
  void RequireOneState();

 private:
  void Load(std::size_t record);

  TableFile file_;
  std::size_t first_record_;
  std::size_t record_length_;
  std::size_t record_count_;
  std::size_t most_;  // how many are in memory at most
  std::unique_ptr<char[]> memory_;
  char* bytes_;
  std::vector<std::optional<std::uint64_t>> checksums_;  // of each part, as it was first read
  // Those in memory; none at first.
  std::size_t first_ = 0;
  std::size_t count_ = 0;
};

}  // namespace kestrel::dbase
