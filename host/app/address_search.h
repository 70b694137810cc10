// Answers a question about an address list in parts, so that whoever waits for it can show what there is, or ask
// something else: first what earlier questions have left in memory, then what the database has behind that.
#pragma once

#include <QString>
#include <cstdint>
#include <string>
#include <vector>

#include "app/address_columns.h"
#include "app/address_memory.h"
#include "kestrel/connection.h"
#include "kestrel/memory_recordset.h"

namespace kestrel::host {

struct AddressQuestion {
  std::string table;
  std::vector<AddressColumn> columns;  // of the table; the first is its number
  QString text;                        // that the rows hold, in whatever column; empty for all rows
  std::size_t order_column = 0;
  bool descending = false;
  std::size_t limit = 1000;  // rows wanted
};

struct AddressAnswer {
  RecordsetPtr rows;       // the first ones of what has been read, in order
  std::int64_t found = 0;  // all that hold the text, of what has been read
  bool is_complete = false;
  int percent = 0;  // of the table, that has been read
};

class AddressSearch {
 public:
  // Connection and memory outlive the search. Each connection has a memory of its own for each list; a new one knows
  // nothing.
  AddressSearch(Connection& connection, AddressMemory& memory, AddressQuestion question);

  // Works through the next part of the list, which takes some hundredths of a second; false where there is none left.
  // Raises what the database raises.
  bool Next();
  AddressAnswer Answer();
  // Whether the answer is what an older state of the list would give, less what no longer fits: it is there at once,
  // and all of the list is read behind it.
  bool IsFromOlderState() const { return is_older_; }

 private:
  struct Hit {
    std::string text;  // what it is ordered by
    double number_value = 0;
    std::int64_t number = 0;
  };

  void Begin();
  // Whether nothing that was read for an earlier question counts any more.
  bool IsMemoryOld(const std::string& version) const;
  void LookAt(const AddressTexts& texts);
  // Whether the row holds the text.
  bool Fits(const Recordset& row) const;
  // Behind what has been read. Keeps them in memory while there is room.
  void ReadPart();
  bool Precedes(const Hit& one, const Hit& other) const;
  void KeepFirst();
  bool IsOrderOfTable() const { return question_.text.isEmpty() && question_.order_column == 0; }
  const AddressColumn& OrderColumn() const { return question_.columns[question_.order_column]; }
  std::shared_ptr<MemoryRecordset> EmptyRows() const;

  Connection& connection_;
  AddressMemory& memory_;
  AddressQuestion question_;
  std::string number_;  // the column's name
  std::string text_;    // as it is compared
  std::string query_;   // of all rows
  bool orders_by_value_;
  std::vector<Hit> hits_;
  std::int64_t found_ = 0;
  bool has_begun_ = false;
  bool is_older_ = false;
  std::size_t looked_at_ = 0;  // parts of the memory
  std::int64_t read_ = 0;      // rows
  std::string read_to_;        // the greatest number read; empty before the first
  bool is_complete_ = false;
};

}  // namespace kestrel::host
