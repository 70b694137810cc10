// What tests want of the rows of a record set.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "kestrel/recordset.h"

namespace kestrel::testing {

// The rows of a record set that is broken off, a null as "<null>", and the reason; without one it is empty.
inline std::pair<std::vector<std::vector<std::string>>, std::string> RowsAndReason(Recordset& rows) {
  std::vector<std::vector<std::string>> texts;
  std::string raised;
  while (!rows.IsEof()) {
    std::vector<std::string>& row = texts.emplace_back();
    for (std::size_t i = 0; i < rows.ColumnCount(); ++i) {
      row.emplace_back(rows.IsNull(i) ? "<null>" : rows.TextAt(i));
    }
    try {
      rows.MoveNext();
    } catch (const RuntimeError& error) {
      raised = error.Description();
    }
  }
  const auto told = rows.BrokenOff();
  EXPECT_TRUE(texts.empty() || raised == (told ? told->Description() : "")) << raised;
  return {texts, told ? told->Description() : ""};
}

}  // namespace kestrel::testing
