#include "support/sql_server_stand_in.h"

#include <stdexcept>
#include <utility>

#include "kestrel/open_connection.h"
#include "kestrel/runtime_error.h"
#include "support/project_paths.h"

namespace kestrel::testing {

namespace {

constexpr int kStartSeconds = 20;

std::vector<std::string> Command(const std::string& file, const SqlServerStandIn::Options& options) {
  std::vector<std::string> command{"python3",
                                   InSourceTree("tests/servers/sql_server_stand_in.py"),
                                   "--data",
                                   file,
                                   "--user",
                                   options.user,
                                   "--password",
                                   options.password,
                                   "--database",
                                   options.database,
                                   "--vanish-after-rows=" + std::to_string(options.vanish_after_rows),
                                   "--silent-after-rows=" + std::to_string(options.silent_after_rows)};
  if (!options.log_file.empty()) command.insert(command.end(), {"--log", options.log_file});
  return command;
}

}  // namespace

std::string SqlServerStandIn::WhyNot() {
  if (!CanRun("python3")) return "python3 is missing";
  // Where the driver is registered, nobody answers; where it is not, the driver manager says so.
  std::string reason;
  Trap(
      [] {
        OpenConnection("Provider=SQLOLEDB.1;Initial Catalog=x;Data Source=127.0.0.1,1;Password=;User ID=x");
      },
      [&](const RuntimeError& error) { reason = error.Description(); });
  const bool missing =
      reason.find("open lib") != std::string::npos || reason.find("no default driver") != std::string::npos;
  return missing ? "the ODBC driver FreeTDS (package tdsodbc) is missing" : "";
}

SqlServerStandIn::SqlServerStandIn(const std::string& sqlite_file, Options options)
    : options_(std::move(options)), process_(Command(sqlite_file, options_)) {
  const std::string line = process_.ReadLine(kStartSeconds);
  if (!line.starts_with("port ")) throw std::runtime_error("the stand-in for SQL Server did not start");
  port_ = line.substr(5);
}

std::string SqlServerStandIn::ConnectionString() const {
  return "Provider=SQLOLEDB.1;Initial Catalog=" + options_.database + ";Data Source=" + DataSource() +
         ";Password={" + options_.password + "};User ID=" + options_.user;
}

}  // namespace kestrel::testing
