// Which values a table is known to lack, so that a query that could find nothing need not be run; and what a query
// looks for, so that only rows it could find need be stored before it.
//
// Three take part: whoever writes the table knows (Keep), the provider tells of rows that anybody stores through
// the connection (Tell), and who is about to look for values asks first (Lacks). Where one of the first two is
// missing, nothing is known and every query is run. All of it under the connection's CallMutex.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "kestrel/attachments.h"
#include "kestrel/export.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

class Connection;

// A column and the text that is looked for in it.
using SoughtValue = std::pair<std::string_view, std::string_view>;

// All that a query can find: of one table the rows with one of these values; without values, any of its rows.
struct SoughtRows {
  std::string_view table;
  std::span<const SoughtValue> values;
};

class KESTREL_INTERNAL AbsentValues final : public Attachment {
 public:
  // Whether it is certain that no row has one of these values in its column. Raises nothing.
  using Knows = std::function<bool(std::span<const SoughtValue>)>;
  // See Refuses. Raises nothing.
  using Refuse = std::function<bool(const RuntimeError&)>;

  // Use Attachments::Of. The connection owns this object.
  explicit AbsentValues(Connection&) {}

  // --- Who looks for values ---

  // Whether it is certain that a query for rows of `table` with one of these values would find none. Without values
  // there is no such query.
  bool Lacks(std::string_view table, std::span<const SoughtValue> values) const {
    return knows_ && !values.empty() && table == table_ && knows_(values);
  }

  // A query for rows of `table` has failed, and would again. True where whoever writes the table refuses what was looked
  // for with that reason, so that nobody else need tell it.
  bool Refuses(std::string_view table, const RuntimeError& reason) const {
    return refuse_ && table == table_ && refuse_(reason);
  }

  // For as long as a query is opened through the connection that finds nothing but these rows. Within the lock of
  // CallMutex; what `rows` refers to outlives this object.
  class Query {
   public:
    Query(AbsentValues& absent, const SoughtRows& rows)
        : absent_(absent), before_(std::exchange(absent.sought_, &rows)) {}
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query() { absent_.sought_ = before_; }

   private:
    AbsentValues& absent_;
    const SoughtRows* const before_;
  };

  // --- Who writes a table ---

  // What the query finds that is just being opened; null where nobody said.
  const SoughtRows* Sought() const { return sought_; }

  // `knows` is asked for `table` as long as the connection lives.
  // `in_database`: the table's name there, by which the provider tells of it; empty where it is the same.
  void Keep(std::string table, Knows knows, std::string in_database = {}) {
    in_database_ = in_database.empty() ? table : std::move(in_database);
    table_ = std::move(table);
    knows_ = std::move(knows);
  }
  void RefuseBy(Refuse refuse) { refuse_ = std::move(refuse); }
  // Whether StoredRows counts.
  bool AreTold() const { return are_told_; }
  // How many rows of the table were added or changed through the connection, by whatever statement.
  std::uint64_t StoredRows() const { return stored_rows_; }
  // The same of rows that were removed, but for those of a statement that empties the table.
  std::uint64_t RemovedRows() const { return removed_rows_; }

  // --- The provider ---

  // From now on Tell is called for every row of any table that a statement adds or changes, and TellRemoved for every one
  // that it removes.
  void WillTell() { are_told_ = true; }
  void Tell(std::string_view table) {
    if (table == in_database_) ++stored_rows_;
  }
  void TellRemoved(std::string_view table) {
    if (table == in_database_) ++removed_rows_;
  }

 private:
  std::string table_;
  std::string in_database_;
  Knows knows_;
  Refuse refuse_;
  bool are_told_ = false;
  std::uint64_t stored_rows_ = 0;
  std::uint64_t removed_rows_ = 0;
  const SoughtRows* sought_ = nullptr;
};

}  // namespace kestrel
