// Indexes of a table that stay in memory while it grows, see Connection::DeferIndexes.
//
// They are dropped in the file, and a MemoryIndexedTable stands before the file's table until they are made
// again. Where the transaction that did so is rolled back, they are in the file as before, and making them
// again finds nothing to do.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/data/deferred_indexes.h"
#include "platform/data/providers/sqlite/database.h"
#include "platform/data/providers/sqlite/memory_indexed_table.h"

namespace kestrel::sqlite {

class SqliteDeferredIndexes final : public DeferredIndexes {
 public:
  // Under database->Mutex(). Null and errors as of Connection::DeferIndexes.
  static std::unique_ptr<DeferredIndexes> Make(const std::shared_ptr<Database>& database,
                                               std::string_view table, std::int64_t most_rows);

  // Use Make.
  SqliteDeferredIndexes(std::shared_ptr<Database> database, std::shared_ptr<MemoryIndexedTable> table,
                        std::string table_name, std::vector<std::string> statements);
  ~SqliteDeferredIndexes() override;
  void Restore() override;

 private:
  // Gives up the memory where another connection has written or it is full, and then restores.
  void BeforeStatement();
  bool ChangedByOthers();
  std::int64_t DataVersion();
  void LeaveMemory();

  std::shared_ptr<Database> database_;
  std::shared_ptr<MemoryIndexedTable> table_;  // null once it is hidden
  std::string table_name_;
  std::vector<std::string> statements_;  // that make the indexes; empty once they did
  bool restored_ = false;                // or tried to
  StatementHandle read_version_;
  std::int64_t version_ = 0;         // changes with every commit of another connection's
  std::uint32_t local_version_ = 0;  // changes with every commit, also one's own
};

}  // namespace kestrel::sqlite
