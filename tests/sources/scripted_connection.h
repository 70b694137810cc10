// A source whose catalog, order included, and whose failures a test writes down.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/connection.h"
#include "kestrel/memory_recordset.h"

namespace kestrel::testing {

class ScriptedConnection final : public Connection {
 public:
  std::vector<CatalogTable> tables;
  // The columns of every table.
  std::vector<std::string> columns;
  RecordsetPtr records = std::make_shared<MemoryRecordset>();
  std::optional<RuntimeError> failure;  // raised by every call
  std::vector<std::string> queries;

  std::int64_t Execute(std::string_view) override { throw RuntimeError(ErrorNumber::kMemberNotFound); }
  RecordsetPtr OpenRecordset(std::string_view sql) override {
    queries.emplace_back(sql);
    FailIfTold();
    return records;
  }
  std::vector<CatalogTable> Tables() override {
    FailIfTold();
    return tables;
  }
  std::vector<std::string> ColumnNames(std::string_view table) override {
    queries.push_back("columns of " + std::string(table));
    FailIfTold();
    return columns;
  }
  void Close() override {}
  bool IsOpen() const override { return true; }

 private:
  void FailIfTold() const {
    if (failure) throw RuntimeError(*failure);
  }
};

}  // namespace kestrel::testing
