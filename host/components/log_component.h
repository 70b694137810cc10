// KSHProto.Protokoll: one log of the host, a head in Protokoll and its rows in Protokollzeilen.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/automation/bound_object.h"
#include "platform/data/connection.h"
#include "platform/data/grouped_writes.h"

namespace kestrel::host {

class LogComponent final : public BoundObject<LogComponent>, private KeptBackRows {
 public:
  ~LogComponent() override;
  static void Bind(Members& members);

 private:
  static constexpr std::size_t kColumns = 3;
  // A held-back record writes one row a field; their statements cost most of such an import.
  static constexpr std::size_t kMostKeptBack = 32;

  struct Row {
    std::int64_t number = 0;
    std::array<std::string, kColumns> texts;
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
  // Stores the row; it is durable within a quarter second. Error 5 without a row, 3000 from the database, which
  // may also come from an earlier row.
  void UpdateRecord();

  void StoreKeptBack() override;
  // Before the connection changes or this object ends.
  void Flush();

  ObjectPtr connection_;
  std::int64_t number_ = 0;
  std::int64_t row_number_ = 0;
  Row row_;  // on its way
  bool in_row_ = false;
  std::array<Row, kMostKeptBack> rows_;  // kept back; under the connection's CallMutex, as is count_
  std::size_t count_ = 0;
  std::array<std::unique_ptr<Statement>, kMostKeptBack + 1> inserts_;  // by the number of their rows
};

}  // namespace kestrel::host
