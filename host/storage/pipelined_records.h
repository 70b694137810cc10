// New records that are sent to the database without waiting for the answers, up to kMost at a time and many by one
// statement. Where the tables take it and no record has failed lately they are copied instead, which costs the server
// less: kMost at a time, while the next are being made, so that twice as many may have to be stored again.
//
// A record is one row and that of its address index. Both fail only where the record is at fault or its
// number is taken; then all records under way are stored again one by one, waiting, in their order, so that an
// error hits its own record alone and the result is the one that waiting would have given.
//
// Invariants
//  1. Records are kept until the database says that they stand. Of records_, those before sent_ are on their way, those
//     from there up to count_ wait for more that share a statement: until there are enough, the group ends or a query
//     is run.
//  2. Sending and storing again share no statement and no key memory, as records may be stored again while one
//     is being sent.
//  3. Behind a record that failed fewer are under way together, which are more from one success to the next: so what is
//     stored again in vain stays little where many fail.
//  4. Used under the connection's CallMutex.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "kestrel/runtime_error.h"
#include "platform/data/pipeline.h"
#include "storage/address_index.h"
#include "storage/grouped_writes.h"
#include "storage/insert_check.h"
#include "storage/late_errors.h"
#include "storage/record_values.h"
#include "storage/row_inserts.h"
#include "storage/row_observer.h"

namespace kestrel::host {

class PipelinedRecords final : private PipelineSender, private GroupMember {
 public:
  // Under way at a time; by statements, and copied.
  static constexpr std::size_t kMost = 512;
  static constexpr std::size_t kMostCopied = 8192;
  // Of those, behind others that are copied.
  static constexpr std::size_t kMostWaiting = 4096;
  // Stores a record again and waits. May raise.
  using StoreNow = std::function<void(std::int64_t record, RecordValues&)>;
  // Told that this record and all behind it are undone, and are about to be stored again. `number` is the least that
  // one of them was given; INT64_MAX where all had their own.
  using Undone = std::function<void(std::int64_t record, std::int64_t number)>;

  // Everything given by reference outlives this object. What `store_now` raises becomes an entry of `errors`
  // that names the record.
  PipelinedRecords(Connection& connection, Pipeline& pipeline, const Destination& destination,
                   const std::shared_ptr<KeyMemory>& keys, StoreNow store_now, Undone undone,
                   LateErrors& errors);
  ~PipelinedRecords() override;

  // Has `observer` told of every record from now on; for those that are stored again it is their storing's to tell.
  void Observe(RowObserver& observer) { observer_ = &observer; }

  // Waits where as many records as may be are under way; others are then stored again where it must be. To be
  // called before each Add, outside of GroupedWrites::Store.
  void MakeRoom();
  // Sends what is not sent and waits for all answers. Raises nothing.
  void Flush();
  // The records that are under way are lost with their group, which tells them: none is stored again.
  void Forget() {
    sent_ = count_ = 0;
    ForgetRows();
  }
  // Takes a record inside a GroupedWrites::Store. `record` counts the records; `number` is what `values` has, or the
  // next free one. Errors: those of AddressIndex::MakeRow.
  void Add(std::int64_t record, const RecordValues& values, std::int64_t number, const IndexedAddress& address);
  // Behind each Add: sends the records where there are enough of them, or where they may not wait. Raises nothing.
  void SendWhenDue();

 private:
  struct Entry {
    std::int64_t record = 0;
    std::int64_t number = 0;
    std::string values;  // see Unpack
    bool is_indexed = false;
    IndexRow row;
    // Of what the observer is to be told.
    bool is_foreseen = false;
    std::string content;
  };

  void PipelineSucceeded() override;
  void RetryPipeline() override;
  std::int64_t LeastGiven(std::span<const Entry> entries) const;
  void FlushRows() override { SendWaiting(); }
  void GroupCommitted() override {}
  bool GroupLost(const RuntimeError& reason) override;
  void SendWaiting();
  void SendRows();
  bool MayCopy() const { return copies_ && most_ == kMost && group_.MayWriteBehind(); }
  bool IsCopying() const { return is_copy_ && sent_ != 0; }
  void MakeRow(const Entry& entry, const RecordValues& values);
  void ForgetRows();
  void CopyRows();
  std::string NameOf(const RecordValues& values) const;
  // Texts are views of the entry's; live until the next call.
  RecordValues& ValuesOf(const Entry& entry) const {
    Unpack(entry.values, values_);
    return values_;
  }

  Connection& connection_;
  Pipeline& pipeline_;
  const Destination& destination_;
  GroupedWrites& group_;
  StoreNow store_now_;
  Undone undone_;
  RowObserver* observer_ = nullptr;
  LateErrors& errors_;
  std::optional<AddressIndex> index_;
  RowInserts insert_;
  std::unique_ptr<Statement> take_over_;  // of a trial table
  std::unique_ptr<InsertCheck> check_;    // where the database may do otherwise than it is told
  IndexRow row_;                          // of the record on its way
  mutable RecordValues values_;           // of an entry
  bool copies_;
  std::vector<Entry> records_;  // they are used again
  bool is_copy_ = false;        // that is under way
  bool has_copied_ = false;
  int failed_copies_ = 0;
  // The rows, and those of the index: of the records that wait, as far as they are made, and those under way, which stay.
  std::array<std::vector<Pipeline::CopyTo>, 2> copied_;
  std::size_t made_ = 0;
  std::size_t sent_ = 0;
  std::size_t count_ = 0;
  std::size_t most_ = kMost;  // that may be under way
};

}  // namespace kestrel::host
