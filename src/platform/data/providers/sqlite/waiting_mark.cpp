#include "platform/data/providers/sqlite/waiting_mark.h"

#include "kestrel/runtime_error.h"

namespace kestrel::sqlite {

WaitingMark::~WaitingMark() {
  if (lock_) lock_->Remove();
}

void WaitingMark::Set() {
  if (lock_ || path_.empty()) return;
  Trap([this] { lock_ = FileLock::Acquire(path_); }, [](const RuntimeError&) {});
}

}  // namespace kestrel::sqlite
