// KSHProto.Protokoll: one log of the host, a head in Protokoll and its rows in Protokollzeilen.
//
// The head is committed alone before the first row, so no row is ever without one. Rows are written behind.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/bound_object.h"
#include "kestrel/connection.h"
#include "storage/log_details.h"
#include "storage/write_behind_buffer.h"

namespace kestrel::host {

class LogComponent final : public BoundObject<LogComponent> {
 public:
  static void Bind(Members& members);

 private:
  static constexpr std::size_t kColumns = 3;

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
  // Of the log created last, or of the row: what stands beside it (storage/log_details.h). Error 91 before
  // CreateProtokoll, 5 without a row, 3000 from the database.
  void SetLogDetail(std::string_view name, std::string_view text);
  void SetRowDetail(std::string_view name, std::string_view text);
  // Stores the row; it is committed with its group. Error 5 without a row, 3000 from the database, which
  // may also come from an earlier row; the rows are then tried again with the next one.
  void UpdateRecord();
  // AddNewRecord, SetField and UpdateRecord of a whole row without details.
  void StoreRow(std::string_view text0, std::optional<std::string_view> text1,
                std::optional<std::string_view> text2);

  void BeginRow();
  void AppendRow(const std::array<WriteBehindBuffer::Text, kColumns>& texts);

  ObjectPtr connection_;
  std::int64_t number_ = 0;
  std::int64_t range_ = 0;  // where its rows lie
  std::int64_t row_number_ = 0;
  // The row on its way.
  std::array<std::string, kColumns> row_texts_;
  std::array<bool, kColumns> row_set_{};
  bool in_row_ = false;
  std::unique_ptr<WriteBehindBuffer> rows_;  // of the log created last
  std::unique_ptr<LogDetailRows> details_;   // beside them
};

}  // namespace kestrel::host
