// The sample host behind a pooler that hands every transaction to another session of the server (PgBouncer).
#include <gmock/gmock.h>

#include <filesystem>
#include <set>

#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/data/recovery.h"
#include "servers/postgres_fixture.h"
#include "support/child_process.h"
#include "support/program.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"

namespace kestrel::testing {
namespace {

using ::testing::HasSubstr;

class Pooler : public PostgresTest {
 protected:
  void SetUp() override {
    if (!CanRun("pgbouncer") && !std::filesystem::exists("/usr/sbin/pgbouncer")) {
      GTEST_SKIP() << "pgbouncer is missing (package pgbouncer)";
    }
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    const PostgresServer& server = PostgresServer::Shared();
    pooler.emplace(std::vector<std::string>{"python3", InSourceTree("tests/servers/pgbouncer.py"),
                                            server.port(), server.password()});
    const std::string line = pooler->ReadLine(120);
    ASSERT_TRUE(line.starts_with("port ")) << line;
    pooled = "Provider=PostgreSQL;host=127.0.0.1;port=" + ReplaceAll(line.substr(5), "\n", "") +
             ";dbname=" + database + ";user=kestrel";
    // So many sessions at a time, which are used in turns from then on.
    std::vector<ConnectionPtr> others(5);
    for (ConnectionPtr& other : others) {
      other = OpenConnection(pooled);
      other->Begin();
    }
    ASSERT_EQ(Text("SELECT count(*) FROM pg_stat_activity WHERE datname = '" + database + "'"), "6");
  }
  ProgramResult Run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), BuiltProgram("kestrel-import"));
    arguments.insert(arguments.end(), {"--host", pooled});
    if (arguments[1] != "init") arguments.insert(arguments.end(), {"--folder", folder.File("host")});
    return RunProgram(arguments);
  }

  TempFolder folder;
  std::optional<ChildProcess> pooler;
  std::string pooled;
};

TEST_F(Pooler, IsFoundOutAndLeavesNoSettingsInItsSessions) {
  const ConnectionPtr through = OpenConnection(pooled);
  const auto* pooled_one = dynamic_cast<const Recovery*>(through.get());
  const auto* direct_one = dynamic_cast<const Recovery*>(connection.get());
  ASSERT_TRUE(pooled_one != nullptr && direct_one != nullptr);
  EXPECT_TRUE(pooled_one->IsPooled());
  EXPECT_FALSE(direct_one->IsPooled());
  const std::unique_ptr<Statement> sum = through->Prepare("SELECT CAST(? AS integer) + 1");
  std::set<std::string> sessions;
  for (int i = 0; i < 40; ++i) {
    sessions.emplace(through->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0));
    sum->BindInteger(0, i);
    EXPECT_EQ(sum->Open()->TextAt(0), std::to_string(i + 1));
    EXPECT_EQ(through->OpenRecordset("SHOW lock_timeout")->TextAt(0), "1min");
    through->Begin();
    EXPECT_EQ(through->OpenRecordset("SHOW lock_timeout")->TextAt(0), "1min");
    through->Rollback();
  }
  EXPECT_GT(sessions.size(), 1U);
  EXPECT_EQ(through->OpenRecordset("SELECT count(*) FROM pg_prepared_statements")->TextAt(0), "0");
}

TEST_F(Pooler, CarriesImportsWithDuplicatesLogsTestRunsAndTheirUndoing) {
  ProgramResult done = Run({"init", folder.File("host")});
  ASSERT_EQ(done.status, 0) << done.err;
  for (const char* name : {"Kundenliste.IMP", "Messe.IMP", "kunden.txt", "messe.txt"}) {
    CopyFile(InSourceTree(std::string("demo/") + name), folder.File("host") + "/Import/" + name);
  }
  done = Run({"check", "Kundenliste"});
  EXPECT_EQ(done.status, 0) << done.out << done.err;
  done = Run({"run", "Kundenliste", "--test"});
  EXPECT_LE(done.status, 1) << done.err;
  EXPECT_EQ(Text("SELECT count(*) FROM Kunden"), "0");
  EXPECT_NE(Text("SELECT count(*) FROM Protokollzeilen"), "0") << "the log of the test run";
  done = Run({"run", "Kundenliste"});
  EXPECT_LE(done.status, 1) << done.err;
  done = Run({"run", "Messe"});
  EXPECT_LE(done.status, 1) << done.err;
  EXPECT_NE(Text("SELECT count(*) FROM Kunden"), "0");
  EXPECT_EQ(Text("SELECT count(*) FROM Kunden"), Text("SELECT count(*) FROM Adressindex WHERE Adressart = 1"));
  EXPECT_EQ(Text("SELECT string_agg(Zustand, ' ') FROM Importlauf"), "fertig fertig");
  EXPECT_EQ(Text("SELECT count(*) FROM Importsperre WHERE Name LIKE 'Lauf%'"), "0");
  done = Run({"log", "duplicates", "--last"});
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_NE(done.out, "");
  for (const char* run : {"2", "1"}) {
    done = Run({"undo", run});
    EXPECT_EQ(done.status, 0) << done.out << done.err;
  }
  EXPECT_EQ(Text("SELECT string_agg(Zustand, ' ') FROM Importlauf"), "zurückgenommen zurückgenommen");
  EXPECT_EQ(Text("SELECT count(*) FROM Kunden"), "0");
}

// Enough that they are copied.
TEST_F(Pooler, CarriesRecordsInLargeNumbers) {
  ASSERT_EQ(Run({"init", folder.File("host")}).status, 0);
  std::string lines = "Name\r\n";
  for (int i = 1; i <= 3000; ++i) lines += "Firma " + std::to_string(i) + "\r\n";
  WriteFileAtomically(folder.File("host") + "/Import/viele.txt", lines);
  WriteFileAtomically(folder.File("host") + "/Import/Viele.IMP",
                      "[Common]\r\nDescription=Viele\r\nApplication=2\r\nImportClass=ksbimport.importkunden\r\n"
                      "Provider=Textdatei\r\nFileName=viele.txt\r\nColumnHeadings=True\r\nFileFormat=ANSI\r\n"
                      "Delimiter=;\r\n[FieldAssignments]\r\nBez1=FIELD:Name\r\n");
  const ProgramResult done = Run({"run", "Viele"});
  EXPECT_EQ(done.status, 0) << done.out << done.err;
  EXPECT_EQ(Text("SELECT count(DISTINCT Bez1) FROM Kunden"), "3000");
  EXPECT_EQ(Text("SELECT string_agg(Zustand, ' ') FROM Importlauf"), "fertig");
}

TEST_F(Pooler, ThatStartsAgainCostsNothing) {
  const ConnectionPtr through = OpenConnection(pooled);
  Text("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" + database +
       "' AND pid <> pg_backend_pid()");
  through->Begin();
  through->Execute("CREATE TABLE t (a int)");
  through->Commit();
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "0");
}

}  // namespace
}  // namespace kestrel::testing
