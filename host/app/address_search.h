// Reads an address list in parts, so that whoever waits for it can show what there is, or ask something else.
#pragma once

#include <QString>
#include <cstdint>
#include <string>
#include <vector>

#include "app/address_columns.h"
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
  // The connection outlives the search.
  AddressSearch(Connection& connection, AddressQuestion question);

  // Reads the next part of the table, which takes some hundredths of a second; false where there is none left. Raises
  // what the database raises.
  bool Next();
  AddressAnswer Answer();

 private:
  struct Hit {
    std::string text;  // what it is ordered by
    double number_value = 0;
    std::int64_t number = 0;
  };

  bool Precedes(const Hit& one, const Hit& other) const;
  void KeepFirst();
  bool IsOrderOfTable() const { return question_.text.isEmpty() && question_.order_column == 0; }
  std::shared_ptr<MemoryRecordset> EmptyRows() const;

  Connection& connection_;
  AddressQuestion question_;
  std::string number_;  // the column's name
  std::string pattern_;
  bool orders_by_value_;
  std::vector<Hit> hits_;
  std::int64_t found_ = 0;
  std::int64_t total_ = -1;  // rows of the table; -1 until counted
  std::int64_t read_ = 0;
  std::string read_to_;  // the greatest number read; empty before the first
  bool is_complete_ = false;
};

}  // namespace kestrel::host
