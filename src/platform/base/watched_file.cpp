#include "platform/base/watched_file.h"

#include <algorithm>

#include "platform/base/checksum.h"
#include "platform/base/file_stamp.h"

namespace kestrel {

WatchedFile::WatchedFile(const std::string& path) : file_(path) { BeginAnew(); }

void WatchedFile::BeginAnew() {
  const std::int64_t now = StampClock();
  identity_ = file_.Identity();
  shows_every_change_ = ShowsEveryChange(identity_, now);
  sums_.clear();
}

std::size_t WatchedFile::Read(std::size_t begin, char* bytes, std::size_t size) {
  size = std::min(size, this->size() - std::min(begin, this->size()));
  const std::size_t got = file_.ReadAt(begin, bytes, size);
  const bool unchanged = IsUnchanged();
  for (std::size_t at = 0; at < size; at += kPart) {
    const std::size_t part = (begin + at) / kPart;
    const std::size_t part_size = std::min(kPart, size - at);
    if (unchanged && part < sums_.size()) continue;
    if (at + part_size > got) return at;  // cut short meanwhile
    const std::uint64_t sum = ChecksumOf({bytes + at, part_size});
    if (part == sums_.size()) {
      sums_.push_back(sum);
    } else if (sums_[part] != sum) {
      return at;
    }
  }
  return got;
}

}  // namespace kestrel
