// KSHProto.Protokoll: one log of the host, a head in Protokoll and its rows in Protokollzeilen.
//
// Invariants
//  1. The head is committed alone before the first row, so no row is ever without one.
//  2. A row is kept until the group it was stored in stands. Where that is lost, for instance with the records
//     that the rows tell of, the rows are stored again with the next group.
//  3. A row that is stored again though it is there already changes nothing: its key is its log's number and
//     its own.
//  4. rows_ and what follows it belong to the connection's CallMutex.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/automation/bound_object.h"
#include "platform/data/connection.h"
#include "storage/grouped_writes.h"

namespace kestrel::host {

class LogComponent final : public BoundObject<LogComponent>, private GroupMember {
 public:
  ~LogComponent() override;
  static void Bind(Members& members);

 private:
  static constexpr std::size_t kColumns = 3;
  // A held-back record writes one row a field; their statements cost most of such an import.
  static constexpr std::size_t kMostKeptBack = 32;

  // Its texts stand one behind the other in texts_.
  struct Row {
    std::int64_t number = 0;
    std::size_t start = 0;
    std::array<std::size_t, kColumns> lengths{};
    std::array<bool, kColumns> set{};
  };

  // Creates a log and returns its key, the number as text. `date` is in the short German form; a text that is
  // none is kept as it stands. Rows of this object belong to the log created last. Error 91 or 438 where
  // `connection` is none, 3000 from the database.
  std::string CreateProtokoll(const Value& connection, std::string_view title, std::string_view user,
                              std::string_view list, std::string_view date, std::string_view description,
                              std::string_view file, std::string_view source, std::optional<Value> reserved,
                              std::optional<std::string> log_class);
  // Starts a row without texts. Error 91 before CreateProtokoll.
  void AddNewRecord();
  // Sets a column, 0 to 2, of the row. `kind` 10 is a text, the only kind there is. Error 5 for another one
  // or without a row, 9 for another column.
  void SetField(std::int64_t kind, std::int64_t column, std::string_view text);
  // Stores the row; it is committed with its group. Error 5 without a row, 3000 from the database, which
  // may also come from an earlier row; the rows are then tried again with the next one.
  void UpdateRecord();

  void GroupCommitted() override;
  bool GroupLost(const RuntimeError& reason) override;
  void FlushRows() override;
  void AppendRow();
  // Stores the rows that are not. Error 3000; those that were stored then stay so.
  void StoreRows();
  void StoreSome(std::size_t count);
  // Before the connection changes or this object ends.
  void Flush();

  ObjectPtr connection_;
  std::int64_t number_ = 0;
  std::int64_t row_number_ = 0;
  // The row on its way.
  std::array<std::string, kColumns> row_texts_;
  std::array<bool, kColumns> row_set_{};
  bool in_row_ = false;

  std::vector<Row> rows_;  // all that are not known to stand; the first stored_ of them are in the open group
  std::string texts_;
  std::size_t stored_ = 0;
  bool is_kept_back_ = false;  // will be asked for those that are not stored
  std::array<std::unique_ptr<Statement>, kMostKeptBack + 1> inserts_;  // by the number of their rows
};

}  // namespace kestrel::host
