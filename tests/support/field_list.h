// The field list of an import class, for tests.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/memory_recordset.h"

namespace kestrel::testing {

// One destination field.
struct DestinationField {
  std::string name;
  bool mandatory = false;
  bool date = false;
  std::string type = "VARCHAR";
  std::int64_t size = 50;
  std::string row_source = "";
  std::int64_t row_source_typ = 1;
};

// What GetFields answers, at its first row.
std::shared_ptr<MemoryRecordset> FieldList(const std::vector<DestinationField>& fields);

}  // namespace kestrel::testing
