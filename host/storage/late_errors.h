// Errors that come to light after their record was handed over.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include "kestrel/runtime_error.h"

namespace kestrel::host {

// Of one record, or of several in a row that are all lost. Records are counted from 1, as they are handed over.
struct LateError {
  std::int64_t first;
  std::int64_t last;
  RuntimeError error;
  std::string field = {};  // of the destination; empty where the error is not one field's
};

// In the order in which they are told. All calls but MayHaveOne under the connection's CallMutex.
class LateErrors {
 public:
  // Asked behind every record, without the mutex: what another thread is just adding is told behind the next.
  bool MayHaveOne() const { return may_have_one_.load(std::memory_order_acquire); }

  bool IsEmpty() const { return errors_.empty(); }
  void Add(LateError error) {
    errors_.push_back(std::move(error));
    may_have_one_.store(true, std::memory_order_release);
  }
  // The first one; there is one.
  LateError Take() {
    LateError error = std::move(errors_.front());
    errors_.pop_front();
    may_have_one_.store(!errors_.empty(), std::memory_order_release);
    return error;
  }

 private:
  std::deque<LateError> errors_;
  std::atomic<bool> may_have_one_ = false;
};

}  // namespace kestrel::host
