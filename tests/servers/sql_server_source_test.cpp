// SQL Server as a source of an import, from the page's settings to stored records, against the stand-in.
#include <gmock/gmock.h>
#include <signal.h>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "sources/source_catalog.h"
#include "sources/source_kind.h"
#include "sources/source_reader.h"
#include "support/eventually.h"
#include "support/expect_error.h"
#include "support/program.h"
#include "support/session_fixture.h"
#include "support/sql_server_stand_in.h"
#include "support/started_program.h"

namespace kestrel {
namespace {

using testing::BuiltProgram;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::ProgramResult;
using testing::RunProgram;
using testing::SqlServerStandIn;
using testing::StartedProgram;

class SqlServerSource : public testing::SessionFixture {
 protected:
  void SetUp() override {
    const std::string reason = SqlServerStandIn::WhyNot();
    if (!reason.empty()) GTEST_SKIP() << reason;
    const ConnectionPtr data = OpenConnection(file);
    data->Execute("CREATE TABLE B (Nr int, Name nvarchar(40), Ort nvarchar(40), Umsatz float, Seit datetime)");
    data->Execute("CREATE TABLE A (x int)");
    data->Execute("CREATE VIEW V AS SELECT Name FROM B");
    data->Execute(
        "INSERT INTO B VALUES (1, 'Müller & Söhne', 'Köln', 0.15, '2024-03-07 00:00:00'),"
        " (2, 'Café €', NULL, NULL, '2024-03-07 14:05:09')");
  }

  void Start(SqlServerStandIn::Options options = {}) {
    options.log_file = log_file;
    server = std::make_unique<SqlServerStandIn>(file, options);
    inputs.server = server->DataSource();
    inputs.database = options.database;
    inputs.user = options.user;
    inputs.password = options.password;
    session.Provider = "Microsoft SQL-Server";
  }

  ConnectResult Connect() { return kestrel::Connect(session, *KindOf(session), inputs, loaded); }

  int Logins() const {
    int logins = 0;
    const std::string log = FileExists(log_file) ? testing::ReadBytes(log_file) : std::string();
    for (std::size_t at = 0; (at = log.find("login", at)) != std::string::npos; ++at) ++logins;
    return logins;
  }

  const std::string file = folder.File("server.sqlite");
  const std::string log_file = folder.File("server.log");
  std::unique_ptr<SqlServerStandIn> server;
  SourceInputs inputs;
  ListLoadedFlags loaded;
};

TEST_F(SqlServerSource, TablesComeInTheServersOrderAndViewsBehindThem) {
  Start();
  const ConnectResult result = Connect();
  EXPECT_TRUE(result.connected) << result.reason;
  EXPECT_TRUE(loaded.IsLoaded(*KindOf(session)));
  EXPECT_THAT(result.tables, ElementsAre("B", "A", "V"));
}

TEST_F(SqlServerSource, AnEmptyPasswordConnects) {
  SqlServerStandIn::Options options;
  options.password = "";
  Start(options);
  EXPECT_TRUE(Connect().connected);
}

TEST_F(SqlServerSource, AnEmptyUserDoesNotTryToConnectAtAll) {
  Start();
  inputs.user = "";
  EXPECT_FALSE(Connect().connected);
  EXPECT_EQ(Logins(), 0);
}

TEST_F(SqlServerSource, FocusingTheListTwiceConnectsOnce) {
  Start();
  Connect();
  Connect();
  EXPECT_EQ(Logins(), 1);
  loaded.Clear(SourceFrame::kSql);  // as an edit does
  Connect();
  EXPECT_EQ(Logins(), 2);
}

TEST_F(SqlServerSource, ARefusedLoginIsSilentAndTheReasonCanBeHad) {
  Start();
  inputs.password = "verkehrt";
  const ConnectResult result = Connect();
  EXPECT_FALSE(result.connected);
  EXPECT_FALSE(loaded.IsLoaded(*KindOf(session)));
  EXPECT_THAT(result.reason, HasSubstr("Login failed"));
  EXPECT_THAT(result.reason, Not(HasSubstr("verkehrt")));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(SqlServerSource, TheSharedRecordSetGivesRowsAndColumnNames) {
  Start();
  ASSERT_TRUE(Connect().connected);
  session.Table = "B";
  EXPECT_THAT(GetColumnNamesByComponent(session), ElementsAre("Nr", "Name", "Ort", "Umsatz", "Seit", ""));
  SourceReader reader(session);
  reader.OpenSourceRecordset();
  EXPECT_EQ(reader.SourceRecordCount(), 2);
  const RecordsetPtr rows = reader.SourceMoveFirst();
  EXPECT_EQ(rows->TextAt(1), "Müller & Söhne");
  EXPECT_EQ(rows->TextAt(3), "0,15");
  EXPECT_EQ(rows->TextAt(4), "07.03.2024");
  reader.SourceMoveNext();
  EXPECT_EQ(rows->TextAt(2), "");
  EXPECT_EQ(rows->TextAt(4), "07.03.2024 14:05:09");
  reader.SourceMoveNext();
  EXPECT_TRUE(reader.SourceEOF());
  EXPECT_THAT(ui.boxes, IsEmpty());
  reader.CloseSource();
}

TEST_F(SqlServerSource, TheProgramListsPreviewsAndImports) {
  Start();
  const std::string host = folder.File("host");
  const auto run = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), BuiltProgram("kestrel-import"));
    if (arguments[1] != "init") arguments.insert(arguments.end(), {"--folder", host});
    return RunProgram(arguments);
  };
  ASSERT_EQ(run({"init", host}).status, 0);
  WriteFileAtomically(
      host + "/Import/Server.IMP",
      "[Common]\r\nDescription=Server\r\nImportClass=ksbimport.importkunden\r\n"
      "Provider=Microsoft SQL-Server\r\nServer=" +
          server->DataSource() +
          "\r\nUser=sa\r\nPassword=geheim\r\nDatabase=Adressen\r\nTable=B\r\n[FieldAssignments]\r\n"
          "KundenNummer=FIELD:Nr\r\nBez1=FIELD:Name\r\nOrt=FIELD:Ort\r\nUmsatz=FIELD:Umsatz\r\n");
  EXPECT_EQ(run({"tables", "Server", "--format", "csv"}).out.find("geheim"), std::string::npos);
  EXPECT_THAT(run({"tables", "Server"}).out, HasSubstr("V"));
  EXPECT_THAT(run({"columns", "Server"}).out, HasSubstr("Umsatz"));
  EXPECT_THAT(run({"preview", "Server", "--format", "json"}).out, HasSubstr("Müller & Söhne"));
  const ProgramResult result = run({"run", "Server", "--format", "json"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  const RecordsetPtr stored = OpenConnection(host + "/kestrel.db")
                                  ->OpenRecordset("SELECT Bez1, Ort, Umsatz FROM Kunden ORDER BY KundenNummer");
  EXPECT_EQ(stored->RecordCount(), 2);
  EXPECT_EQ(stored->TextAt(0), "Müller & Söhne");
  EXPECT_EQ(stored->TextAt(1), "Köln");
  EXPECT_EQ(stored->TextAt(2), "0,15");
}

TEST_F(SqlServerSource, AStopRequestEndsAnImportFromAServerThatFallsSilent) {
  OpenConnection(file)->Execute(
      "CREATE TABLE Viele AS WITH RECURSIVE z(Nr) AS (SELECT 1 UNION ALL SELECT Nr + 1 FROM z WHERE Nr < "
      "200000) "
      "SELECT Nr, 'Name ' || Nr AS Name FROM z");
  Start();
  const std::string host = folder.File("host");
  ASSERT_EQ(RunProgram({BuiltProgram("kestrel-import"), "init", host}).status, 0);
  WriteFileAtomically(host + "/Import/Server.IMP",
                      "[Common]\r\nDescription=Server\r\nImportClass=ksbimport.importkunden\r\n"
                      "Provider=Microsoft SQL-Server\r\nServer=" +
                          server->DataSource() +
                          "\r\nUser=sa\r\nPassword=geheim\r\nDatabase=Adressen\r\nTable=Viele\r\n"
                          "[FieldAssignments]\r\nKundenNummer=FIELD:Nr\r\nBez1=FIELD:Name\r\n");
  StartedProgram run({BuiltProgram("kestrel-import"), "run", "Server", "--folder", host, "--progress", "plain"},
                     {}, StartedProgram::Stream::kErr);
  const ConnectionPtr database = OpenConnection(host + "/kestrel.db");
  const auto stored = [&] {
    return database->OpenRecordset("SELECT count(*) FROM Kunden")->ValueAt(0).ToInteger();
  };
  ASSERT_TRUE(testing::Eventually([&] { return stored() > 0; }));
  server->Pause();
  EXPECT_TRUE(run.WaitFor("Die Datenquelle antwortet nicht"));
  run.Send(SIGINT);
  EXPECT_EQ(run.Wait(), 5) << "it ends while the server is silent";
  server->Resume();
  EXPECT_LT(stored(), 200000);
  EXPECT_EQ(std::string(database->OpenRecordset("SELECT Zustand FROM Importlauf")->TextAt(0)), "angehalten");
}

}  // namespace
}  // namespace kestrel
