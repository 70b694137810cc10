// The rows of a record set that may be slow to reach, as those of a server: read block by block, by a thread of its
// own, as somebody looks at them.
//
//  1. Behind the constructor only the thread touches the record set.
//  2. It reads one block at a time; of those asked for meanwhile only the last, as that is what is looked at.
//  3. It ends when nothing is asked for, so behind a window that has gone with the block at hand: by the driver's own
//     time limit at the latest. It holds all that it uses.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/recordset.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

class RowReader {
 public:
  static constexpr std::int64_t kBlock = 100;

  struct Block {
    std::int64_t number = 0;
    // One text a column, a long one cut for its cell; fewer rows than kBlock at the end, or where reading broke off.
    std::vector<std::vector<std::string>> rows;
    std::optional<RuntimeError> error;
  };

  // Reads the first block, in the thread of the caller. Raises nothing.
  explicit RowReader(RecordsetPtr records);
  RowReader(const RowReader&) = delete;
  RowReader& operator=(const RowReader&) = delete;

  const std::vector<std::string>& columns() const { return columns_; }
  // As far as the source can tell.
  std::int64_t count() const { return count_; }
  const Block& first() const { return first_; }

  static void Ask(const std::shared_ptr<RowReader>& reader, std::int64_t block);
  // What was read last, once.
  std::optional<Block> Take();
  // Nothing more is wanted.
  void Drop();
  bool IsBusy() const;
  void AwaitIdle() const;

 private:
  Block Read(std::int64_t number);
  void Work();

  RecordsetPtr records_;
  std::vector<std::string> columns_;
  std::int64_t count_ = 0;
  Block first_;

  mutable std::mutex mutex_;
  mutable std::condition_variable idle_;
  bool is_working_ = false;
  std::optional<std::int64_t> wanted_;
  std::optional<Block> read_;
};

}  // namespace kestrel
