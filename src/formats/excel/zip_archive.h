// A zip archive in memory, its parts unpacked as they are read.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/byte_span.h"

namespace kestrel::excel {

class ZipArchive {
 public:
  struct Part {
    std::string name;
    std::uint16_t method = 0;
    bool encrypted = false;
    std::uint32_t checksum = 0;
    std::uint64_t packed_size = 0;
    std::uint64_t size = 0;
    std::uint64_t head = 0;  // offset in the file
  };

  static bool IsOne(Bytes file);

  // Views `file`, which must outlive this and the streams opened. Error 3000 where the list of parts cannot be
  // read.
  explicit ZipArchive(Bytes file);

  // Names are compared without case (ASCII letters only), a leading "/" does not count.
  const Part* Find(std::string_view name) const;
  const std::vector<Part>& parts() const { return parts_; }
  // The packed bytes of a part. Error 3000 where they lie outside the file or are encrypted.
  Bytes Packed(const Part& part) const;

 private:
  Bytes file_;
  std::vector<Part> parts_;
};

// How much may still be unpacked of an archive, all its parts together. Sheets unpack to ten or twenty times
// their size, seldom to fifty; an archive made to burst is not unpacked for longer than a person would wait.
class UnpackBudget {
 public:
  // For what is that long when it is packed.
  explicit UnpackBudget(std::size_t packed) : left_(Limit(packed)) {}
  static std::uint64_t Limit(std::size_t packed);

  // Error 3000 where it is used up.
  void Take(std::size_t bytes);

 private:
  std::uint64_t left_;
};

// Unpacks one part from its start to its end.
class ZipStream {
 public:
  // Archive and budget must outlive this. Error 3000 for a way of packing that is unknown here, and for a part
  // that would be too large by itself.
  ZipStream(const ZipArchive& archive, const ZipArchive::Part& part, UnpackBudget& budget);
  ~ZipStream();
  ZipStream(const ZipStream&) = delete;
  ZipStream& operator=(const ZipStream&) = delete;

  // Puts up to `size` bytes at `buffer`; 0 at the end only. Error 3000 for a part that is damaged or larger
  // than it says, and where the budget is used up.
  std::size_t Read(char* buffer, std::size_t size);

 private:
  struct Inflater;
  std::size_t Unpack(char* buffer, std::size_t size);

  UnpackBudget& budget_;
  Bytes packed_;
  std::uint64_t size_;
  std::uint64_t position_ = 0;
  std::uint32_t expected_checksum_;
  std::uint32_t checksum_ = 0;
  std::unique_ptr<Inflater> inflater_;  // none for a part that is stored as it is
};

}  // namespace kestrel::excel
