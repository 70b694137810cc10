// A compound file: a small file system inside a file, in which workbooks up to 2003 are kept. Reads the format
// published as [MS-CFB].
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "formats/excel/scattered_bytes.h"

namespace kestrel::excel {

struct CompoundStream {
  ScatteredBytes bytes;
  bool is_whole = true;  // as long as the directory tells
};

class CompoundFile {
 public:
  static bool IsOne(Bytes file);

  // Views `file`, which must outlive this and the streams found. Error 3000 where the head or the directory
  // cannot be read.
  explicit CompoundFile(Bytes file);

  // The stream of that name directly under the root, names compared without case (ASCII letters only). Where
  // its chain of sectors ends early, so does the stream, which then is not whole. None where there is no such
  // stream.
  std::optional<CompoundStream> FindStream(std::string_view name) const;

 private:
  struct Entry {
    std::string name;
    int type = 0;
    std::uint32_t left = 0, right = 0, child = 0;
    std::uint32_t first_sector = 0;
    std::uint64_t size = 0;
  };

  Bytes Sector(std::uint32_t sector) const;
  std::uint32_t NextSector(std::uint32_t sector) const;
  ScatteredBytes Chain(std::uint32_t first) const;
  ScatteredBytes MiniChain(std::uint32_t first) const;
  void ReadAllocation();
  void ReadDirectory(std::uint32_t first_sector);

  Bytes file_;
  std::size_t sector_size_;
  std::uint32_t mini_cutoff_;
  std::vector<std::uint32_t> allocation_sectors_;  // of the table that chains the sectors
  ScatteredBytes mini_allocation_;                 // the table that chains the small sectors
  ScatteredBytes mini_sectors_;
  std::vector<Entry> entries_;
};

}  // namespace kestrel::excel
