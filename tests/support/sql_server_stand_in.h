// A stand-in for SQL Server, started for a test: tests/servers/sql_server_stand_in.py over an SQLite file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/child_process.h"

namespace kestrel::testing {

class SqlServerStandIn {
 public:
  struct Options {
    std::string user = "sa";
    std::string password = "geheim";
    std::string database = "Adressen";
    // The server goes away in the middle of a result, after so many rows; -1 never.
    int vanish_after_rows = -1;
    // The server answers no more from there on, and keeps the connection; -1 never.
    int silent_after_rows = -1;
    // Where each login and request is noted, a line each; empty for nowhere.
    std::string log_file;
  };

  // Why no stand-in can be started or reached here (Python or the driver is missing); empty where it can.
  static std::string WhyNot();

  // Serves the SQLite file, whose declared column types become those of SQL Server.
  explicit SqlServerStandIn(const std::string& sqlite_file) : SqlServerStandIn(sqlite_file, Options()) {}
  SqlServerStandIn(const std::string& sqlite_file, Options options);

  // What stands for "host,port" in Data Source.
  std::string DataSource() const { return "127.0.0.1," + port_; }
  // The whole string in the order in which the wizard writes it.
  std::string ConnectionString() const;

  // Between the two it takes connections and answers nothing.
  void Pause() { process_.Pause(); }
  void Resume() { process_.Resume(); }

 private:
  Options options_;
  ChildProcess process_;
  std::string port_;
};

}  // namespace kestrel::testing
