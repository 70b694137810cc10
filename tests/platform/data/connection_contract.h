// What every source of data promises, as one suite of tests. A provider joins in its own test file:
//
//   INSTANTIATE_TEST_SUITE_P(Sqlite, ConnectionContract, ::testing::Values(SqliteContract()),
//                            ContractName);
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "kestrel/connection.h"
#include "support/temp_folder.h"

namespace kestrel::testing {

// A table of texts; a cell without value is null.
struct ContractTable {
  std::string name;
  std::vector<std::string> columns;
  std::vector<std::vector<std::optional<std::string>>> rows;
};

struct ContractSource {
  std::string name;
  // Opens a source that holds exactly the table, its files in the folder. No connection where the table is
  // beyond the source (too many columns): the test is skipped.
  std::function<ConnectionPtr(const TempFolder&, const ContractTable&)> open;
  // The query for a whole table.
  std::function<std::string(const std::string& table)> select = [](const std::string& table) {
    return "SELECT * FROM " + table;
  };
  // How the database tells a name that was written without quotes.
  std::function<std::string(std::string name)> told_name = [](std::string name) { return name; };
  // For a source without a connection, instead of `open`: writes the table, and gives what opens it as often as
  // it is called.
  std::function<std::function<RecordsetPtr()>(const TempFolder&, const ContractTable&)> write;
  // What opens the table's record set as often as it is called; none where the table is beyond the source.
  std::function<RecordsetPtr()> Opener(const TempFolder& folder, const ContractTable& table) const {
    if (write) return write(folder, table);
    const ConnectionPtr connection = open(folder, table);
    if (connection == nullptr) return nullptr;
    return [connection, query = select(table.name)] { return connection->OpenRecordset(query); };
  }
  // False where values behind the 200th column are empty.
  bool fills_all_columns = true;
  // False where a null comes back as the empty text.
  bool keeps_nulls = true;
};

// For GoogleTest's messages.
inline void PrintTo(const ContractSource& source, std::ostream* stream) { *stream << source.name; }

inline std::string ContractName(const ::testing::TestParamInfo<ContractSource>& info) {
  return info.param.name;
}

// For `open` of a database that understands CREATE TABLE and INSERT: fills an empty database.
void CreateTable(Connection& connection, const ContractTable& table);

// For every record set.
class RecordsetContract : public ::testing::TestWithParam<ContractSource> {
 protected:
  TempFolder folder;
};
// For every record set that comes from a connection, and the connection.
class ConnectionContract : public ::testing::TestWithParam<ContractSource> {
 protected:
  TempFolder folder;
};
// What sources promise besides that the program writes to, and those that it can only read.
class WritingContract : public ConnectionContract {};
class ReadOnlyContract : public ConnectionContract {};

}  // namespace kestrel::testing
