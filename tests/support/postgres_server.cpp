#include "support/postgres_server.h"

#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "kestrel/open_connection.h"
#include "support/project_paths.h"

namespace kestrel::testing {

namespace {

constexpr int kStartSeconds = 120;

std::vector<std::string> Command(const std::vector<std::string>& arguments) {
  std::vector<std::string> command{"python3", InSourceTree("tests/servers/postgres_server.py")};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

}  // namespace

PostgresServer& PostgresServer::Shared() {
  static PostgresServer server(false);
  return server;
}

std::string PostgresServer::WhyNot() {
  if (!CanRun("python3")) return "python3 is missing";
  if (CanRun("initdb")) return {};
  std::error_code ignored;
  for (const auto& version : std::filesystem::directory_iterator("/usr/lib/postgresql", ignored)) {
    if (CanRun(version.path().string() + "/bin/initdb")) return {};
  }
  return "the PostgreSQL server (package postgresql) is missing";
}

PostgresServer::PostgresServer(bool durable)
    : PostgresServer(durable ? std::vector<std::string>{"--durable"} : std::vector<std::string>{}) {}

PostgresServer PostgresServer::StandbyOf(const PostgresServer& primary) {
  return PostgresServer(std::vector<std::string>{"--standby-of", primary.port_, primary.password_});
}

PostgresServer::PostgresServer(const std::vector<std::string>& arguments) : process_(Command(arguments)) {
  std::istringstream line(process_.ReadLine(kStartSeconds));
  std::string port_word, password_word;
  if (!(line >> port_word >> port_ >> password_word >> password_)) {
    throw std::runtime_error("the PostgreSQL server did not start");
  }
}

std::string PostgresServer::ConnectionString(std::string_view database) const {
  return "Provider=PostgreSQL;host=127.0.0.1;port=" + port_ + ";dbname=" + std::string(database) +
         ";user=kestrel;password=" + password_;
}

std::string PostgresServer::NewDatabase() {
  std::string name = "test" + std::to_string(++databases_);
  OpenConnection(ConnectionString())->Execute("CREATE DATABASE " + name);
  return name;
}

}  // namespace kestrel::testing
