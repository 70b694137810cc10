// A connection that notes every statement and passes it on to a real database.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"

namespace kestrel::testing {

class NotingConnection final : public Connection {
 public:
  explicit NotingConnection(ConnectionPtr database) : database_(std::move(database)) {}

  // The texts of Execute and OpenRecordset, in order.
  std::vector<std::string> statements;

  // The database itself, for what a test does beside the code under test.
  Connection& database() { return *database_; }

  std::int64_t Execute(std::string_view sql) override {
    statements.emplace_back(sql);
    return database_->Execute(sql);
  }
  RecordsetPtr OpenRecordset(std::string_view sql) override {
    statements.emplace_back(sql);
    return database_->OpenRecordset(sql);
  }
  std::vector<CatalogTable> Tables() override { return database_->Tables(); }
  std::vector<std::string> ColumnNames(std::string_view table) override {
    return database_->ColumnNames(table);
  }
  void Close() override { database_->Close(); }
  bool IsOpen() const override { return database_->IsOpen(); }
  // Of its attachments none is told anything.
  Capabilities capabilities() const override {
    Capabilities capabilities = database_->capabilities();
    capabilities.announces_queries = false;
    return capabilities;
  }

 private:
  ConnectionPtr database_;
};

}  // namespace kestrel::testing
