// Takes back what a run did: its new addresses are deleted, the fields it changed get their old values, and the
// address index follows.
//
// Invariants
//  1. What somebody changed since is left alone and told, unless that is to be taken back, too: a new address as a
//     whole, of an update only the fields in question.
//  2. A row of Importlaufzeilen, of at most 1,000 records, is worked through in one transaction, the last one first.
//     What is taken back is taken out of the row in the same transaction: wherever a program ends, the next undo of
//     the run goes on there. What was left alone stays in the row, so that it can be taken back later.
//  3. A number that a later run has given to a new address is that run's, also where both addresses look the same.
//  4. Rows of other tables stay as they are: what they refer to is left alone, and so is what the database holds on to,
//     whether or not changes are to be taken back.
//  5. A trial does the same in one transaction, which it takes back at its end.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ledger/ledger_block.h"
#include "ledger/references.h"
#include "ledger/run_lock.h"
#include "ledger/stored_row.h"
#include "platform/data/recovery.h"
#include "storage/address_fields.h"
#include "storage/address_index.h"

namespace kestrel::host {

// What was left alone, as texts for a person.
struct LeftAlone {
  std::int64_t record;
  std::int64_t number;
  std::string field;
  std::string before;    // the import; empty for a new address
  std::string imported;  // "(nicht aufbewahrt)" where the ledger keeps only a fingerprint
  std::string now;       // in brackets what keeps it, where no field was changed
};

class RunUndo {
 public:
  struct Options {
    bool is_trial = false;
    bool takes_changes = false;  // back that somebody made since
  };
  // The connection outlives this object. Error 5 for a run that there is not, that is still running or being
  // undone, whose destination has changed, or whose rows are not all there; 3000.
  RunUndo(Connection& connection, std::int64_t run, const Options& options);
  ~RunUndo();
  RunUndo(const RunUndo&) = delete;
  RunUndo& operator=(const RunUndo&) = delete;

  // Works through the next row; false once there is none, and all is on the disk. Error 3000: what came before
  // stands, and another undo goes on behind it; a trial has ended then.
  bool Next();

  // Records, of those with which there was anything to do.
  std::int64_t total() const { return total_; }
  std::int64_t done() const { return done_; }
  std::int64_t removed() const { return removed_; }
  std::int64_t restored() const { return restored_; }
  // The last record first.
  const std::vector<LeftAlone>& left_alone() const { return left_alone_; }

 private:
  struct Entry {
    std::int64_t record;
    std::int64_t number;
    std::string_view content;
  };
  // Refuses a run of whose stored records the ledger has lost some.
  void RequireAllRows();
  void FindNumbersOfLaterRuns();
  void SetState(std::string_view state);
  // Whether anything was left alone; what is to stay in the row goes into `rest`.
  bool UndoNew(const Entry& entry, LedgerBlockWriter& rest);
  bool UndoUpdate(const Entry& entry, LedgerBlockWriter& rest);
  void TellChangesOfNew(const Entry& entry, std::string_view fingerprint, const RecordValues& imported);
  bool Remove(const Entry& entry);
  void TellKept(const Entry& entry, const std::string& reason);
  bool IsRefusal() const;
  void UndoRow(std::int64_t row, bool is_new, std::string_view text);
  // False where the database holds on to what is there.
  bool RestoreFields(const Entry& entry, const std::vector<std::pair<std::size_t, StoredValue>>& fields);
  void Finish();

  Connection& connection_;
  const std::int64_t run_;
  const Options options_;
  std::unique_ptr<RunLock> lock_;
  std::unique_ptr<Destination> destination_;
  std::unique_ptr<StoredRow> row_;
  std::unique_ptr<References> references_;
  const Recovery* const recovery_;  // null where a failure tells nothing of its transaction
  std::optional<AddressIndex> index_;
  std::optional<AddressFields> address_fields_;
  std::unique_ptr<Statement> next_row_;
  std::unique_ptr<Statement> keep_rest_;
  std::unique_ptr<Statement> remove_;
  std::map<std::string, std::unique_ptr<Statement>> updates_;  // by the columns they set
  std::set<std::int64_t> numbers_of_later_runs_;
  std::int64_t position_;  // rows from here on are done
  std::int64_t total_ = 0;
  std::int64_t done_ = 0;
  std::int64_t removed_ = 0;
  std::int64_t restored_ = 0;
  bool has_begun_ = false;
  std::vector<LeftAlone> left_alone_;
};

}  // namespace kestrel::host
