#include "platform/data/providers/dbf/record_window.h"

#include <algorithm>
#include <utility>

#include "platform/data/code_page.h"
#include "platform/data/providers/dbf/stored_text.h"

namespace kestrel::dbf {

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
      bytes_(memory_.get() + kRoomBefore) {}

// Parts begin at the same records whichever way the table is walked, so that walking back reads no part twice.
void RecordWindow::Load(std::size_t record) {
  count_ = 0;
  const std::size_t first = record - record % most_;
  const std::size_t count = std::min(most_, record_count_ - first);
  file_.ReadAt(first_record_ + first * record_length_, bytes_, count * record_length_);
  first_ = first;
  count_ = count;
}

}  // namespace kestrel::dbf
