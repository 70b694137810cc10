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

#include "platform/data/connection.h"
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

class ConnectionContract : public ::testing::TestWithParam<ContractSource> {
 protected:
  TempFolder folder;
};
// What sources promise besides that the program writes to, and those that it can only read.
class WritingContract : public ConnectionContract {};
class ReadOnlyContract : public ConnectionContract {};

}  // namespace kestrel::testing
