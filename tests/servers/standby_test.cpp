// What is told of a server that takes no changes: a standby, and a database that is kept from them.
#include <gmock/gmock.h>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "support/postgres_server.h"
#include "support/program.h"
#include "support/temp_folder.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class Standby : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const std::string reason = PostgresServer::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
    database = PostgresServer::Shared().NewDatabase();
    Execute("CREATE TABLE kunde (nr integer PRIMARY KEY, name text, ort text)");
    primary = PostgresServer::Shared().ConnectionString(database);
  }
  void Execute(const std::string& sql) const {
    OpenConnection(PostgresServer::Shared().ConnectionString(database))->Execute(sql);
  }
  ProgramResult Run(const std::string& host, std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), BuiltProgram("kestrel-import"));
    if (arguments[1] != "init") arguments.insert(arguments.end(), {"--folder", folder.path()});
    arguments.insert(arguments.end(), {"--host", host});
    return RunProgram(arguments);
  }

  TempFolder folder;
  std::string database;
  std::string primary;
};

TEST_F(Standby, IsToldAsWhatItIsByEveryCommandThatChangesTheDatabase) {
  const ProgramResult added = Run(primary, {"target", "add", "ziel", "--table", "kunde"});
  ASSERT_EQ(added.status, 0) << added.err;
  const PostgresServer server = PostgresServer::StandbyOf(PostgresServer::Shared());
  const std::string standby = server.ConnectionString(database);
  const auto told =
      AllOf(HasSubstr("Der Datenbankserver ist ein Standby"), HasSubstr("Primärserver"),
            HasSubstr("target_session_attrs=read-write"), Not(HasSubstr("read-only transaction")));
  const std::string made = folder.File("neu");
  for (const std::vector<std::string>& command : {std::vector<std::string>{"init", made},
                                                  {"init", made, "--force"},
                                                  {"target", "add", "mehr", "--table", "kunde"},
                                                  {"target", "edit", "ziel"},
                                                  {"target", "check", "ziel", "--rebuild"},
                                                  {"target", "upgrade"},
                                                  {"target", "remove", "ziel", "--yes"}}) {
    const ProgramResult run = Run(standby, command);
    EXPECT_EQ(run.status, 4) << command[1];
    EXPECT_THAT(run.err, told) << command[0] << " " << command[1];
  }
  EXPECT_FALSE(FolderExists(made)) << "nothing is begun that cannot be ended";
  EXPECT_EQ(Run(standby, {"target", "list"}).status, 0) << "it can be read";
}

TEST_F(Standby, ADatabaseThatIsKeptFromChangesIsToldBeforeInitMakesAnything) {
  Execute("ALTER DATABASE " + database + " SET default_transaction_read_only = on");
  const std::string made = folder.File("neu");
  const ProgramResult run = Run(primary, {"init", made, "--force"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err,
              AllOf(HasSubstr("'" + made + "' nicht angelegt werden. Die Datenbank ist schreibgeschützt"),
                    HasSubstr("default_transaction_read_only")));
  EXPECT_FALSE(FolderExists(made));
}

}  // namespace
}  // namespace kestrel::testing
