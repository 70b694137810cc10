// Stores the records of one destination: a new number is inserted, an existing one updated, an empty one
// becomes the next free one; the address index follows.
//
// How a record stays whole without a savepoint each (which would copy every page it touches):
//  1. An insert is one statement that leaves the table alone where the number exists.
//  2. Only then its index row is written, or left to be written behind (storage/index_row_buffer.h). Where that fails,
//     the inserted row is deleted again before the error passes on; where rows written behind cannot be stored, the
//     group is lost.
//  3. A record whose number exists is updated inside a savepoint. Fields without a value keep what they
//     had; the index row is made from the row as it then stands.
//  4. An existing number is updated only where overwriting is wanted, else it is an error and the row stays.
//  5. Every record that Store took is stored, or becomes an error: its own, raised, or one of LateErrors().
//  6. Into a trial table everything is stored as it would be into the table that it stands for; the address index
//     is only asked whether it would take the row. Where PlainTrial knows that the table takes a record, the
//     record is not even stored there.
//  7. Where the database takes statements without an answer each, records that are new as far as one can tell
//     are handed to PipelinedRecords; the three steps above are then its way of doing them again.
//  8. Where a lost transaction can be done again (platform/data/recovery.h), the records of a group are kept until it is
//     committed, and stored again in their order where it is lost in passing. After a commit without an answer the
//     ledger tells whether they stand; without one nobody knows, and they count as lost.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/recordset.h"
#include "schema/destination.h"
#include "storage/address_fields.h"
#include "storage/address_index.h"
#include "storage/field_updates.h"
#include "storage/field_value.h"
#include "storage/free_numbers.h"
#include "storage/group_lock.h"
#include "storage/grouped_writes.h"
#include "storage/insert_check.h"
#include "storage/kept_records.h"
#include "storage/large_values.h"
#include "storage/late_errors.h"
#include "storage/numbers_in_range.h"
#include "storage/pipelined_records.h"
#include "storage/plain_trial.h"
#include "storage/record_values.h"
#include "storage/records_in_group.h"
#include "storage/row_observer.h"
#include "storage/watched_definition.h"

namespace kestrel::host {

// What has become of a record that was stored.
struct StoreResult {
  enum class Kind { kOpen /* new as far as one can tell */, kNew, kUpdated };
  Kind kind = Kind::kOpen;
  std::int64_t number = 0;  // of its address; where that is open, the one it is to have
};

class RecordWriter final : private GroupMember {
 public:
  // `connection` and `destination` outlive this object. `overwrite`: whether the row of an existing number is
  // updated. Error 3000 where the table does not fit.
  RecordWriter(Connection& connection, const Destination& destination, bool overwrite,
               std::shared_ptr<KeyMemory> keys, std::optional<NumberRange> range = {});
  ~RecordWriter() override;

  // Has `observer` told of every row that is stored from now on. It outlives this object, whose end commits what
  // the open group holds, so that nothing stands untold.
  void Observe(RowObserver& observer);

  // Stores the current row of `row`; column i belongs to field columns[i] of the destination. `record` counts
  // the records from 1. What a field does not take is told, and nothing stored: what ConvertFieldText raises, 94 for an
  // empty mandatory field. Else `result` is set. Errors: 3022 for an existing number, which may be told as well, 3704
  // for a closed connection, those of AddressIndex, GroupLock and the database.
  // A record may also fail later, which LateErrors() tells.
  [[nodiscard]] Refusal Store(std::int64_t record, const Recordset& row,
                              const std::vector<std::size_t>& columns, StoreResult& result);
  // The same of a row whose column i belongs to field i.
  [[nodiscard]] Refusal Store(std::int64_t record, const BorrowingRecordset& row, StoreResult& result);

  // The errors of earlier records that are not told yet.
  host::LateErrors& LateErrors() { return late_errors_; }
  // The next record that Store left open and that has updated an existing number after all; 0 where there is
  // none. Under the connection's CallMutex.
  std::int64_t TakeLateUpdate();
  // Why going on is senseless after the last failure, with a way out; empty where it is not. Under the connection's
  // CallMutex.
  std::string StopReason() const;

 private:
  template <class Make>
  Refusal StoreMade(std::int64_t record, const Make& make, StoreResult& result);
  // Each sets values_, unless one is refused. Raises as Store does.
  Refusal Convert(const Recordset& record, const std::vector<std::size_t>& columns);
  Refusal Convert(const BorrowingRecordset& record);
  Refusal Complete();
  void FillPresets();
  bool Exists(std::int64_t number);
  bool IsKnownToExist(const RecordValues& values) const;
  void TakeOver(const RecordValues& values);
  Refusal LackOfMandatory() const;
  void BeforeCommit() override;
  void GroupCommitted() override;
  bool GroupLost(const RuntimeError& reason) override;
  void FlushRows() override;
  void GroupNotOpened(const RuntimeError& reason) override;
  void Keep(std::int64_t record, const RecordValues& values, bool has_number, bool is_update);
  bool MayRetry() const;
  bool IsLostInPassing(const RuntimeError& reason);
  void GiveUp(const RuntimeError& reason);
  void StoreKept();
  // All that is stored goes this way.
  template <class Step>
  void StoreInGroup(GroupedWrites::Record record, Step&& step) {
    group_.Store(*this, record, [&] {
      watch_.Require(stop_reason_);
      step();
    });
    watch_.StepStands();
  }
  void StoreAsMayBe(std::int64_t record, StoreResult& result);
  StoreResult StoreThroughPipeline(std::int64_t record);
  StoreResult StoreNow(std::int64_t record, RecordValues& values);
  StoreResult StoreOnce(std::int64_t record, RecordValues& values);
  Refusal Try(std::int64_t record, RecordValues& values, StoreResult& result);
  bool InsertNew(std::int64_t record, RecordValues& values);
  void UpdateExisting(std::int64_t record, const RecordValues& values);
  FieldError Existing(const RecordValues& values) const;
  void InsertRow(RecordValues& values, std::int64_t number, bool& inserted);
  void IndexNewRow(std::int64_t number, const IndexedAddress& address);
  void IndexStoredRow(std::int64_t number);

  Connection& connection_;
  const Destination& destination_;
  const bool overwrite_;
  GroupedWrites& group_;
  GroupLock& lock_;
  WatchedDefinition watch_;
  std::optional<GroupLock::Storing> storing_;  // what look-ups must find
  const Recovery* const recovery_;             // null where a lost group cannot be done again
  FieldUpdates updates_;
  RowObserver* observer_ = nullptr;
  std::optional<AddressIndex> index_;
  std::unique_ptr<Statement> insert_;
  std::unique_ptr<Statement> remove_;
  std::unique_ptr<Statement> select_address_;
  std::unique_ptr<Statement> take_over_;     // of a trial table
  std::unique_ptr<PlainTrial> plain_trial_;  // where that need not be asked of each record
  const AddressFields address_fields_;

  // Of the record on its way, one a field; and the memory of converted dates.
  RecordValues values_;
  LargeValues large_;
  std::vector<IsoDate> dates_;
  std::vector<std::int64_t> plain_sizes_;  // of each field BytesTakenAsTheyStand
  struct Preset {
    std::size_t field;
    StoredValue value;  // may be a view of `date`
    IsoDate date;
  };
  std::deque<Preset> presets_;          // of new rows
  std::unique_ptr<Statement> find_;     // whether a row is one
  std::unique_ptr<InsertCheck> check_;  // where the database may do otherwise than it is told
  std::vector<std::size_t> mandatory_;  // the fields beside the number that must not be empty
  std::unique_ptr<FreeNumbers> numbers_;

  int new_in_a_row_;  // records that waited and had a number of their own
  RecordsInGroup in_group_;
  KeptRecords kept_;           // the same with their values, where there is a recovery_
  bool is_replaying_ = false;  // they are just being stored again
  bool is_uncertain_ = false;  // perhaps they stand already
  int attempts_ = 0;           // of storing them
  int groups_lost_ = 0;        // one after the other
  std::string stop_reason_;    // of the first group that was lost for one
  host::LateErrors late_errors_;
  std::deque<std::int64_t> late_updates_;
  std::unique_ptr<PipelinedRecords> pipelined_;  // its end may still store records
};

}  // namespace kestrel::host
