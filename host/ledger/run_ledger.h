// The ledger: what every import did to the addresses of this host.
//
//   Importlauf         one row a run: what was imported with which specification from where, by whom, when, its
//                      state and its counts
//   Importlaufzeilen   what became of its records: rows of several records each, see ledger_block.h
//
// Invariants
//  1. A run's row is committed, as "läuft", before its first record is stored; while it stands so, a living
//     program holds the run's lock.
//  2. What tells of a stored address is written down in the transaction that stores it: both stand, or neither.
//  3. Records that were not stored are written down with the next commit, at the latest with the run's end.
//  4. For the first new addresses of a run all values are kept, for later ones a fingerprint; for an update the values
//     of changed columns before and after. So an undo can tell what somebody changed since.
//  5. After a commit without an answer the first row of the group tells whether it stands; while that is unknown, the
//     row's number is used for nothing else.
//  6. Everything here happens under the connection's CallMutex.
//
// Settings of the host, group "Importlauf": "Fuehren" = "0" keeps no ledger; "Werte" is of how many new addresses of a
// run the values are kept.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/runtime_error.h"
#include "ledger/ledger_block.h"
#include "ledger/run_lock.h"
#include "ledger/stored_row.h"
#include "platform/data/pipeline.h"
#include "storage/row_observer.h"

namespace kestrel::host {

// What a run says of itself at its start. Texts may be empty.
struct RunDescription {
  std::string prog_id;        // of its destination
  std::string specification;  // its path
  std::string checksum;       // of its content
  std::string source;
  std::int64_t source_size = -1;  // bytes; -1 for what is no file
  std::string source_time;
  std::string user;
};

// ... and at its end. read = added + updated + held_back + rejected.
struct RunCounts {
  std::int64_t read = 0;
  std::int64_t added = 0;
  std::int64_t updated = 0;
  std::int64_t held_back = 0;
  std::int64_t rejected = 0;
  std::int64_t errors = 0;
  std::int64_t cut = 0;  // values that were longer than their field
  std::string cut_fields = {};
};

// Whether this host wants a ledger. Error 3000.
bool IsLedgerWanted(Connection& connection);

class RunLedger final : public RowObserver, private PipelineSender {
 public:
  // Begins a run of `destination`. Connection and destination outlive it. No transaction is open. Error 3000, and
  // those of RunLock.
  RunLedger(Connection& connection, const Destination& destination, const RunDescription& description);
  // A run that was not ended is broken off.
  ~RunLedger() override;

  // The record with this ordinal is about to be stored. It is the source's next one behind those that were handed
  // over or told below.
  void HandOver(std::int64_t record);
  // The source's records up to `last` are none of this run's.
  void PassOver(std::int64_t last);
  // The source records `first` to `last` were not stored: kHeldBack or kRejected.
  void NotStored(std::int64_t first, std::int64_t last, std::string_view event);
  // The run's end; `state` is kFinished, kStopped or kBrokenOff. All its records are committed. Error 3000.
  void End(std::string_view state, const RunCounts& counts);

  std::int64_t number() const { return number_; }

  void Inserted(std::int64_t record, std::int64_t number, const RecordValues& values) override;
  bool Foresee(const RecordValues& values, std::string& content) override;
  void InsertedAsForeseen(std::int64_t record, std::int64_t number, std::string_view content) override;
  void Updating(std::int64_t number, const std::vector<bool>& given) override;
  void Updated(std::int64_t record, std::int64_t number, const RecordValues& values,
               const std::vector<bool>& given) override;
  void WriteDown() override;
  void Committed() override;
  void Lost() override;
  bool Stands() override;

 private:
  // A row of Importlaufzeilen to come.
  struct Row {
    std::string_view event;
    LedgerBlockWriter block;
  };
  // Rows that wait; their memory is used again.
  struct Rows {
    std::vector<Row> rows;
    std::size_t count = 0;
    std::size_t written = 0;  // the first ones, of which it is not known whether they stand
  };
  static LedgerBlockWriter& BlockFor(Rows& rows, std::string_view event);
  void Write(const Rows& rows, bool is_stored, Pipeline* pipeline);
  void WriteAll(Pipeline* pipeline);
  void PipelineSucceeded() override {}
  void RetryPipeline() override;
  std::int64_t KeyOf(std::int64_t row) const;
  std::int64_t SourceRecord(std::int64_t record) const;

  Connection& connection_;
  const Destination& destination_;
  const std::string told_table_;
  std::int64_t number_ = 0;
  std::unique_ptr<RunLock> lock_;
  std::unique_ptr<Statement> insert_;
  std::unique_ptr<StoredRow> row_before_;
  bool is_row_before_ = false;
  std::int64_t values_to_keep_;  // of so many new addresses yet
  // From here on records handed over were the source's one after the other.
  struct Stretch {
    std::int64_t record;
    std::int64_t source_record;
  };
  std::vector<Stretch> stretches_;  // of the records that may still be stored, or stored again
  std::int64_t next_source_record_ = 1;
  // Rows that are written again have the numbers that they had: whoever is first keeps the other out.
  std::int64_t first_row_ = 1;  // of the open group
  std::int64_t next_row_ = 1;
  std::int64_t written_from_ = 1;  // are those that were sent together
  bool has_placeholder_ = false;   // stands at first_row_
  Rows stored_;
  Rows not_stored_;
  std::optional<RuntimeError> failure_;  // of rows that were sent together and then one by one
  bool is_ended_ = false;
};

}  // namespace kestrel::host
