// When the errors of a run are enough to stop it.
#pragma once

#include <cstdint>
#include <string>

#include "kestrel/record_outcome.h"
#include "kestrel/run_settings.h"

namespace kestrel {

class ErrorLimits {
 public:
  explicit ErrorLimits(const RunSettings& settings)
      : most_errors_(settings.most_errors), most_same_errors_(settings.most_same_errors) {}

  // One more error, the `count`th. `first` to `last`: the records that are lost by it, in the import class's count;
  // 0 for none. Whether it only repeats what every record before was refused with.
  bool Add(const RecordError& error, std::int32_t first, std::int32_t last, std::int32_t count);

  // A record was held back: the destination is not what keeps every record out.
  void NoteHeldBack() { is_over_ = true; }

  // Why no further record should be read; empty while there is no reason.
  const std::string& stop_reason() const { return stop_reason_; }
  // All records were refused with one error, so many of them that one row tells it.
  bool are_all_the_same() const { return refused_ >= most_same_errors_ && most_same_errors_ > 0; }

 private:
  bool Repeats(const RecordError& error, std::int32_t first, std::int32_t last);

  std::int32_t most_errors_;
  std::int32_t most_same_errors_;
  std::string stop_reason_;
  RecordError every_;         // what the records so far were refused with
  std::int32_t refused_ = 0;  // how many, from the first one on
  bool is_over_ = false;      // a record was stored, held back, or refused for another reason
};

}  // namespace kestrel
