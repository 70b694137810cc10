// A PostgreSQL server of the tests' own: tests/servers/postgres_server.py.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/child_process.h"

namespace kestrel::testing {

class PostgresServer {
 public:
  // The server that all tests of this program share; started at the first use, stopped at the program's end.
  static PostgresServer& Shared();
  // Why there is none (a missing package); empty where Shared() works.
  static std::string WhyNot();

  // `durable`: commits reach the disk, as in real use.
  explicit PostgresServer(bool durable);
  // A standby of the server, which holds what the server did when it was asked for, and what came since.
  static PostgresServer StandbyOf(const PostgresServer& primary);

  const std::string& port() const { return port_; }
  const std::string& password() const { return password_; }
  // "Provider=PostgreSQL;..." for a database of this server.
  std::string ConnectionString(std::string_view database = "postgres") const;
  // Makes an empty database of a new name; its name.
  std::string NewDatabase();

 private:
  explicit PostgresServer(const std::vector<std::string>& arguments);

  ChildProcess process_;
  std::string port_;
  std::string password_;
  int databases_ = 0;
};

}  // namespace kestrel::testing
