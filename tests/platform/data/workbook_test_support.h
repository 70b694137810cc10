// What the tests of .xls and .xlsx workbooks share.
#pragma once

#include <string>
#include <vector>

#include "kestrel/open_connection.h"
#include "support/biff_writer.h"
#include "support/project_paths.h"
#include "support/recordset_reading.h"
#include "support/temp_folder.h"

namespace kestrel::testing {

inline ConnectionPtr OpenBook(const std::string& path) {
  return OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + path);
}

inline std::string FixturePath(const std::string& name) {
  return InSourceTree("tests/platform/data/fixtures/" + name);
}

// The rows of a table, its column names first; a null is "<null>".
inline std::vector<std::vector<std::string>> TableRows(Connection& connection, const std::string& table) {
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * FROM `" + table + "`");
  std::vector<std::vector<std::string>> texts(1);
  for (std::size_t i = 0; i < rows->ColumnCount(); ++i) texts[0].emplace_back(rows->ColumnName(i));
  for (; !rows->IsEof(); rows->MoveNext()) {
    std::vector<std::string>& row = texts.emplace_back();
    for (std::size_t i = 0; i < rows->ColumnCount(); ++i) {
      row.emplace_back(rows->IsNull(i) ? "<null>" : rows->TextAt(i));
    }
  }
  return texts;
}

inline std::vector<std::string> TableNames(Connection& connection) {
  std::vector<std::string> names;
  for (const CatalogTable& table : connection.Tables()) names.push_back(table.name);
  return names;
}

}  // namespace kestrel::testing
