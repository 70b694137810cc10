// The table that a test run stores into: a temporary one that takes and refuses what the destination's would.
//
// It has the columns, the number's key and the constraints of the destination's table, belongs to the
// connection alone and is empty at first. A RecordWriter for destination() takes over the destination's row of
// a number before it stores that number, so a taken number is found taken, and an update is one of the row as
// it stands. What the table does not know: unique indexes beside the key, and references to other tables.
#pragma once

#include <string>

#include "kestrel/connection.h"
#include "schema/destination.h"

namespace kestrel::host {

// The columns of a table as its definition tells them, "(...)"; empty where `table` is none. For SQLite.
std::string TableColumns(Connection& connection, const std::string& table);

class TrialTable {
 public:
  // `connection` outlives this object. Commits its open write group. Error 3000 where the table cannot be made;
  // 5 where the destination's is none whose definition can be read.
  TrialTable(Connection& connection, const Destination& destination);
  TrialTable(const TrialTable&) = delete;
  TrialTable& operator=(const TrialTable&) = delete;
  // Drops the table; what else was stored meanwhile is committed. Whoever writes through destination() has ended.
  ~TrialTable();

  const Destination& destination() const { return destination_; }
  // An error's text as the destination's own table would have told it.
  std::string ToldOfTable(const std::string& description) const;

 private:
  std::string CreateText(const std::string& original) const;
  void Remove();

  Connection& connection_;
  Destination destination_;
  std::string told_table_;
  bool is_transaction_ = false;  // holds the table: behind a pooler none outlives one
};

}  // namespace kestrel::host
