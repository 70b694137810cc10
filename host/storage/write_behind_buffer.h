// Rows of one table that are written behind: they wait in memory and go to the database by one statement for
// many of them, with their write group at the latest.
//
// Invariants
//  1. A row is kept until the group it was stored in is committed. Where that is lost, for instance with the
//     records that the rows tell of, the rows are stored again with the next group.
//  2. A row that is stored again though it is there already changes nothing: its key is its own.
//  3. Nobody sees that rows wait: see invariant 7 of grouped_writes.h.
//  4. rows_ and what follows it belong to the connection's CallMutex.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "storage/appended_rows.h"
#include "storage/grouped_writes.h"
#include "storage/row_inserts.h"

namespace kestrel::host {

class WriteBehindBuffer final : private GroupMember {
 public:
  using Text = std::optional<std::string_view>;  // none for null

  // `table`: its name and columns, as "Zeilen (Nr, Kopf, Spalte0)": a whole number that is the key, another
  // whole number, and texts. `connection` outlives this object. Error 3000 where the table does not fit.
  WriteBehindBuffer(Connection& connection, std::string table, std::size_t texts);
  // Flushes.
  ~WriteBehindBuffer() override;

  // Stores a row with its texts, which are copied, or keeps it until it must; where its group is lost in passing, until
  // the next one. Error 3000, which may also come from an earlier row; the rows are then tried again with the next one.
  void Append(std::int64_t key, std::int64_t number, std::span<const Text> texts);
  // Commits what is not. Raises nothing; see GroupedWrites::TakeWriteBehindFailure.
  void Flush();

 private:
  // Rows cost a statement each; so many share one.
  static constexpr std::size_t kMostRows = 32;
  static constexpr std::size_t kNull = static_cast<std::size_t>(-1);

  // Its texts stand one behind the other in characters_, their lengths in lengths_.
  struct Row {
    std::int64_t key;
    std::int64_t number;
    std::size_t start;
  };

  void GroupCommitted() override;
  bool GroupLost(const RuntimeError& reason) override;
  void FlushRows() override;
  bool FlushSought(const SoughtRows& sought) override { return sought.table != name_; }
  // Stores the rows that are not. Error 3000; those that were stored then stay so.
  void StoreRows();
  void StoreSome(std::size_t count);
  // Whether the next so many rows, none of which is stored, come behind all others of the table. Error 3000.
  bool AreAppended(std::size_t count);
  // Of the texts of this row and all behind it.
  std::size_t BytesFrom(std::size_t row) const;

  Connection& connection_;
  const Recovery* const recovery_;  // null where a lost group cannot be done again
  const std::string name_;          // of the table
  const std::size_t texts_;

  std::vector<Row> rows_;  // all that are not known to be committed; the first stored_ of them are in the group
  std::vector<std::size_t> lengths_;  // texts_ for each row, kNull for nulls
  std::string characters_;
  std::size_t stored_ = 0;
  std::size_t most_waiting_ = kMostRows;  // as many are tried to be stored; more after a failure
  bool waits_ = false;                    // FlushRows will be called for those that are not stored
  RowInserts inserts_;
  AppendedRows appended_;
};

}  // namespace kestrel::host
