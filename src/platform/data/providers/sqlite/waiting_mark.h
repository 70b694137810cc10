// A file beside a database, "DATABASE-wartet", that is locked while a program waits for the database's write lock. Who
// has just given that up sees it, and lets the others in before taking it again: those who wait only look now and then,
// and would hardly ever find it free.
#pragma once

#include <optional>
#include <string>

#include "platform/base/file_lock.h"

namespace kestrel::sqlite {

// Nothing here raises: where no file can be made, programs just wait without a mark.
class WaitingMark {
 public:
  // `database`: the path of its file; empty for one that is none.
  explicit WaitingMark(const std::string& database)
      : path_(database.empty() ? database : database + "-wartet") {}
  WaitingMark(const WaitingMark&) = delete;
  WaitingMark& operator=(const WaitingMark&) = delete;
  ~WaitingMark();

  bool IsSetByAnother() const { return !path_.empty() && FileLock::IsHeld(path_); }
  // One mark is enough for all who wait. It goes with the object.
  void Set();

 private:
  const std::string path_;
  std::optional<FileLock> lock_;
};

}  // namespace kestrel::sqlite
