#include "formats/dbase/record_window.h"

#include <algorithm>
#include <utility>

#include "formats/dbase/stored_text.h"
#include "platform/base/checksum.h"
#include "platform/base/code_page.h"

namespace kestrel::dbase {

namespace {

// A part of the second cache of today's processors.
constexpr std::size_t kWindowSize = std::size_t{128} << 10;

}  // namespace

RecordWindow::RecordWindow(TableFile file, const Header& header)
    : file_(std::move(file)),
      first_record_(header.first_record),
      record_length_(header.record_length),
      record_count_(header.record_count),
      most_(std::min(std::max<std::size_t>(kWindowSize / record_length_, 1), record_count_)),
      memory_(std::make_unique<char[]>(kRoomBefore + most_ * record_length_ + CodePage::kRoomBehind)),
      bytes_(memory_.get() + kRoomBefore),
      checksums_((record_count_ + std::max<std::size_t>(most_, 1) - 1) / std::max<std::size_t>(most_, 1)) {}

// Parts begin at the same records whichever way the table is walked, so that walking back reads no part twice.
void RecordWindow::Load(std::size_t record) {
  count_ = 0;
  const std::size_t part = record / most_;
  const std::size_t first = part * most_;
  const std::size_t count = std::min(most_, record_count_ - first);
  const std::size_t size = count * record_length_;
  file_.ReadAt(first_record_ + first * record_length_, bytes_, size);
  const std::uint64_t checksum = ChecksumOf({bytes_, size});
  if (checksums_[part].value_or(checksum) != checksum) file_.RaiseChanged();
  checksums_[part] = checksum;
  first_ = first;
  count_ = count;
}

void RecordWindow::RequireOneState() {
  if (!file_.HasChanged()) return;
  // What reads the same a second time stood there together when the first reading ended.
  for (std::size_t record = 0; record < record_count_; record += most_) Load(record);
}

}  // namespace kestrel::dbase
