// A new database of the shared PostgreSQL server, and a connection to it. Skips where none is installed.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kestrel/open_connection.h"
#include "support/postgres_server.h"

namespace kestrel::testing {

class PostgresTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string reason = PostgresServer::WhyNot();
    if (!reason.empty()) GTEST_SKIP() << reason;
    database = PostgresServer::Shared().NewDatabase();
    connection = Connect();
  }
  ConnectionPtr Connect() { return OpenConnection(PostgresServer::Shared().ConnectionString(database)); }
  // The one value of a query.
  std::string Text(std::string_view sql) { return std::string(connection->OpenRecordset(sql)->TextAt(0)); }

  std::string database;
  ConnectionPtr connection;
};

}  // namespace kestrel::testing
