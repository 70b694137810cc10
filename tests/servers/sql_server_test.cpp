// SQL Server through ODBC and FreeTDS, against the stand-in of tests/servers.
#include <gmock/gmock.h>

#include <cstdlib>

#include "kestrel/open_connection.h"
#include "platform/data/connection_contract.h"
#include "support/expect_error.h"
#include "support/sql_server_stand_in.h"

namespace kestrel {

using ::testing::AllOf;
using testing::ConnectionContract;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::RecordsetContract;
using testing::SqlServerStandIn;
using testing::TempFolder;

namespace {

// A connection that ends its server with itself.
class ServedConnection {
 public:
  ServedConnection(const std::string& file)
      : server_(file), connection_(OpenConnection(server_.ConnectionString())) {}
  const ConnectionPtr& connection() const { return connection_; }

 private:
  SqlServerStandIn server_;
  ConnectionPtr connection_;
};

testing::ContractSource SqlServerContract() {
  testing::ContractSource source;
  source.name = "SqlServerStandIn";
  source.open = [](const TempFolder& folder, const testing::ContractTable& table) -> ConnectionPtr {
    if (!SqlServerStandIn::WhyNot().empty()) return nullptr;
    const std::string file = folder.File("server.sqlite");
    testing::CreateTable(*OpenConnection(file), table);
    const auto served = std::make_shared<ServedConnection>(file);
    return ConnectionPtr(served, served->connection().get());
  };
  return source;
}

class SqlServer : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string reason = SqlServerStandIn::WhyNot();
    if (!reason.empty()) GTEST_SKIP() << reason;
  }

  void Run(const std::vector<std::string>& statements) {
    const ConnectionPtr data = OpenConnection(file);
    for (const std::string& statement : statements) data->Execute(statement);
  }
  // `count` rows Nr, Name.
  void FillNumbers(int count) {
    Run({"CREATE TABLE Kunden (Nr int, Name nvarchar(40))",
         "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) +
             ") INSERT INTO Kunden SELECT i, 'Müller ' || i FROM n"});
  }
  ConnectionPtr Connect(SqlServerStandIn::Options options = {}) {
    options.log_file = folder.File("log");
    server = std::make_unique<SqlServerStandIn>(file, options);
    return OpenConnection(server->ConnectionString());
  }
  std::string Log() { return testing::ReadBytes(folder.File("log")); }

  TempFolder folder;
  const std::string file = folder.File("data.sqlite");
  std::unique_ptr<SqlServerStandIn> server;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(SqlServerStandIn, RecordsetContract, ::testing::Values(SqlServerContract()),
                         testing::ContractName);
INSTANTIATE_TEST_SUITE_P(SqlServerStandIn, ConnectionContract, ::testing::Values(SqlServerContract()),
                         testing::ContractName);

TEST_F(SqlServer, EveryTypeBecomesTextByTheOneRule) {
  Run(
      {"CREATE TABLE t (a tinyint, b smallint, c int, d bigint, e bit, f float, g real, h money, i smallmoney,"
       " j decimal(12,2), k numeric(38,10), l datetime, m smalldatetime, n datetime2, o date, p time,"
       " q nvarchar(40), r varchar(40), s nchar(3), t \"nvarchar(max)\", u varbinary(8), v uniqueidentifier)",
       "INSERT INTO t VALUES (255, -32768, 2147483647, -9223372036854775807, 1, 0.15, 0.1, '-12.5', '0.0100',"
       " '1234.50', '123456789012.0123', '2024-03-07 14:05:09.123', '2024-03-07 00:00',"
       " '2024-03-07 14:05:09.5', '2024-03-07', '14:05:09.5', 'Köln €', 'ÄÖÜ', 'abc', 'lang', x'00ff',"
       " '6F9619FF-8B86-D011-B42D-00C04FC964FF')"});
  const RecordsetPtr rows = Connect()->OpenRecordset("SELECT * From t");
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < rows->ColumnCount(); ++i) texts.emplace_back(rows->TextAt(i));
  EXPECT_THAT(texts, ElementsAre("255", "-32768", "2147483647", "-9223372036854775807", "Wahr", "0,15", "0,1",
                                 "-12,5", "0,01", "1234,5", "123456789012,0123", "07.03.2024 14:05:09",
                                 "07.03.2024", "07.03.2024 14:05:09", "07.03.2024", "14:05:09", "Köln €", "ÄÖÜ",
                                 "abc", "lang", "00FF", "6F9619FF-8B86-D011-B42D-00C04FC964FF"));
  EXPECT_EQ(rows->ValueAt(2), Value(2147483647));
  EXPECT_EQ(rows->ValueAt(4), Value(true));
  EXPECT_EQ(rows->ValueAt(5), Value(0.15));
}

TEST_F(SqlServer, NullsOfEveryTypeAreNull) {
  Run(
      {"CREATE TABLE t (a int, b bit, c float, d money, e decimal(9,2), f datetime, g date, h nvarchar(10),"
       " i \"varchar(max)\", j varbinary(8))",
       "INSERT INTO t (a) VALUES (NULL)"});
  const RecordsetPtr rows = Connect()->OpenRecordset("SELECT * From t");
  for (std::size_t i = 0; i < rows->ColumnCount(); ++i) {
    EXPECT_TRUE(rows->IsNull(i)) << i;
    EXPECT_EQ(rows->TextAt(i), "") << i;
  }
}

TEST_F(SqlServer, RowsBeyondOneBlockComeInOrder) {
  FillNumbers(1000);
  const RecordsetPtr rows = Connect()->OpenRecordset("SELECT * From Kunden");
  int number = 0;
  for (; !rows->IsEof(); rows->MoveNext()) {
    ++number;
    ASSERT_EQ(rows->TextAt(0), std::to_string(number));
    ASSERT_EQ(rows->TextAt(1), "Müller " + std::to_string(number));
  }
  EXPECT_EQ(number, 1000);
  EXPECT_EQ(rows->RecordCount(), 1000);
}

TEST_F(SqlServer, TheCountComesWithoutReadingAndTheReadingGoesOn) {
  FillNumbers(1000);
  const RecordsetPtr rows = Connect()->OpenRecordset("SELECT * From Kunden");
  for (int i = 0; i < 300; ++i) rows->MoveNext();
  EXPECT_EQ(rows->RecordCount(), 1000);
  EXPECT_EQ(rows->TextAt(0), "301");
  rows->GoTo(999);
  EXPECT_EQ(rows->TextAt(0), "1000");
  rows->GoTo(5);
  EXPECT_EQ(rows->TextAt(0), "6");
}

TEST_F(SqlServer, TheCountOfAnOrderedQueryWithEqualNamesIsExact) {
  FillNumbers(450);
  const RecordsetPtr rows = Connect()->OpenRecordset("SELECT Nr, Nr FROM Kunden ORDER BY Nr DESC;");
  EXPECT_EQ(rows->RecordCount(), 450);
  EXPECT_EQ(rows->TextAt(0), "450");
}

TEST_F(SqlServer, LongTextsComeWhole) {
  Run({"CREATE TABLE t (Nr int, Text \"nvarchar(max)\", Ort nvarchar(20))"});
  const ConnectionPtr data = OpenConnection(file);
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "Grüße € 😀 ";
  const auto insert = data->Prepare("INSERT INTO t VALUES (?, ?, ?)");
  for (int i = 0; i < 3; ++i) {
    insert->BindInteger(0, i);
    insert->BindText(1, i == 1 ? std::string_view() : std::string_view(text));
    insert->BindText(2, "Köln");
    insert->Execute();
  }
  const RecordsetPtr rows = Connect()->OpenRecordset("SELECT * From t");
  EXPECT_TRUE(rows->TextAt(1) == text);
  EXPECT_EQ(rows->TextAt(2), "Köln");
  rows->MoveNext();
  EXPECT_FALSE(rows->IsNull(1));
  EXPECT_EQ(rows->TextAt(1), "");
  rows->MoveNext();
  EXPECT_TRUE(rows->TextAt(1) == text);
  EXPECT_EQ(rows->TextAt(2), "Köln");
  rows->MoveNext();
  EXPECT_TRUE(rows->IsEof());
}

TEST_F(SqlServer, TablesAndViewsComeInTheServersOrder) {
  Run({"CREATE TABLE B (x int)", "CREATE TABLE A (Zwei int, Eins nvarchar(5))",
       "CREATE VIEW V AS SELECT x FROM B"});
  const ConnectionPtr connection = Connect();
  std::vector<std::string> names;
  for (const CatalogTable& table : connection->Tables()) names.push_back(table.type + " " + table.name);
  EXPECT_THAT(names, ElementsAre("TABLE B", "TABLE A", "VIEW V"));
  EXPECT_THAT(connection->ColumnNames("A"), ElementsAre("Zwei", "Eins"));
  EXPECT_THAT(connection->ColumnNames("[dbo].[A]"), ElementsAre("Zwei", "Eins"));
}

TEST_F(SqlServer, ATableWhoseNameNeedsQuotesHasColumnsInTheCatalog) {
  Run({"CREATE TABLE [Alte Kunden] (Nr int, Name nvarchar(5))"});
  EXPECT_THAT(Connect()->ColumnNames("Alte Kunden"), ElementsAre("Nr", "Name"));
}

// --- Logging in ------------------------------------------------------------------------------------

TEST_F(SqlServer, AnEmptyPasswordConnects) {
  FillNumbers(1);
  SqlServerStandIn::Options options;
  options.password = "";
  server = std::make_unique<SqlServerStandIn>(file, options);
  const ConnectionPtr connection =
      OpenConnection("Provider=SQLOLEDB.1;Initial Catalog=Adressen;Data Source=" + server->DataSource() +
                     ";Password=;User ID=sa");
  EXPECT_EQ(connection->OpenRecordset("SELECT * From Kunden")->RecordCount(), 1);
}

TEST_F(SqlServer, APasswordMayHoldSemicolonBraceAndUmlaut) {
  FillNumbers(1);
  SqlServerStandIn::Options options;
  options.password = "a;b}ü";
  server = std::make_unique<SqlServerStandIn>(file, options);
  const std::string front = "Provider=SQLOLEDB.1;Initial Catalog=Adressen;Data Source=" + server->DataSource();
  const ConnectionPtr connection = OpenConnection(front + ";Password={a;b}}ü};User ID=sa");
  EXPECT_EQ(connection->OpenRecordset("SELECT * From Kunden")->TextAt(1), "Müller 1");
  // Put in as typed, it breaks the string and is refused.
  EXPECT_ERROR_TEXT(OpenConnection(front + ";Password=a;b}ü;User ID=sa"), ErrorNumber::kDatabase,
                    HasSubstr("Login failed"));
}

TEST_F(SqlServer, APasswordTheDriverCannotExpressIsRefusedWithTheReason) {
  EXPECT_ERROR_TEXT(OpenConnection("Provider=SQLOLEDB.1;Data Source=x;Password={a}};b};User ID=sa"),
                    ErrorNumber::kDatabase, AllOf(HasSubstr("\"};\""), Not(HasSubstr("a};b"))));
}

TEST_F(SqlServer, ARefusedLoginTellsWhyButNeverThePassword) {
  Run({"CREATE TABLE t (a int)"});
  SqlServerStandIn::Options options;
  options.password = "richtig";
  server = std::make_unique<SqlServerStandIn>(file, options);
  EXPECT_ERROR_TEXT(
      OpenConnection("Provider=SQLOLEDB.1;Initial Catalog=Adressen;Data Source=" + server->DataSource() +
                     ";Password=verkehrt;User ID=sa"),
      ErrorNumber::kDatabase, AllOf(HasSubstr("Login failed for user 'sa'"), Not(HasSubstr("verkehrt"))));
  EXPECT_ERROR_TEXT(OpenConnection("Provider=SQLOLEDB.1;Initial Catalog=Fehlt;Data Source=" +
                                   server->DataSource() + ";Password=richtig;User ID=sa"),
                    ErrorNumber::kDatabase, HasSubstr("Cannot open database \"Fehlt\""));
}

TEST_F(SqlServer, AServerThatIsNotThereIsADatabaseError) {
  EXPECT_ERROR(
      OpenConnection("Provider=SQLOLEDB.1;Initial Catalog=x;Data Source=127.0.0.1,1;Password=;User ID=x"),
      ErrorNumber::kDatabase);
}

TEST_F(SqlServer, AServerThatGoesAwayAmongTheRowsIsADatabaseErrorAndTheEnd) {
  FillNumbers(5000);
  SqlServerStandIn::Options options;
  options.vanish_after_rows = 1000;
  const RecordsetPtr rows = Connect(options)->OpenRecordset("SELECT * From Kunden");
  int read = 0;
  const auto walk = [&] {
    for (; !rows->IsEof(); rows->MoveNext()) ++read;
  };
  EXPECT_ERROR(walk(), ErrorNumber::kDatabase);
  EXPECT_GT(read, 0);
  EXPECT_LE(read, 1000);
  EXPECT_TRUE(rows->IsEof());
  EXPECT_ERROR(rows->TextAt(0), ErrorNumber::kNoCurrentRecord);
}

TEST_F(SqlServer, AServerThatFallsSilentAmongTheRowsIsGivenUpWhichIsAnErrorAndTheEnd) {
  FillNumbers(5000);
  SqlServerStandIn::Options options;
  options.silent_after_rows = 1000;
  ::setenv("KESTREL_ANSWER_WAIT", "1", 1);
  {
    const RecordsetPtr rows = Connect(options)->OpenRecordset("SELECT * From Kunden");
    const auto walk = [&] {
      while (!rows->IsEof()) rows->MoveNext();
    };
    EXPECT_ERROR_TEXT(walk(), ErrorNumber::kDatabase, HasSubstr("Timeout"));
    EXPECT_TRUE(rows->IsEof());
    EXPECT_TRUE(rows->BrokenOff());
  }
  ::unsetenv("KESTREL_ANSWER_WAIT");
}

TEST_F(SqlServer, RecordSetsReadOneAfterAnotherShareOneLogin) {
  FillNumbers(10);
  const ConnectionPtr connection = Connect();
  for (int i = 0; i < 3; ++i) {
    const RecordsetPtr rows = connection->OpenRecordset("SELECT * From Kunden");
    while (!rows->IsEof()) rows->MoveNext();
  }
  const std::string log = Log();
  EXPECT_EQ(log.find("login"), log.rfind("login")) << log;
}

// --- Only read -------------------------------------------------------------------------------------

TEST_F(SqlServer, NothingCanBeChanged) {
  FillNumbers(3);
  const ConnectionPtr connection = Connect();
  EXPECT_ERROR(connection->Execute("DELETE FROM Kunden"), ErrorNumber::kDatabase);
  EXPECT_ERROR(connection->Begin(), ErrorNumber::kMemberNotFound);
  for (const char* sql : {"DELETE FROM Kunden", "SELECT * From Kunden DELETE FROM Kunden",
                          "SELECT * From Kunden; DELETE FROM Kunden", "SELECT * INTO Neu FROM Kunden",
                          "SELECT * From Kunden /* */ drop table Kunden",
                          "SELECT * From Kunden SELECT * From Kunden", "", "-- nichts"}) {
    EXPECT_ERROR(connection->OpenRecordset(sql), ErrorNumber::kDatabase) << sql;
  }
  EXPECT_EQ(connection->OpenRecordset("SELECT * From Kunden")->RecordCount(), 3);
  EXPECT_THAT(Log(), Not(HasSubstr("DELETE")));
}

TEST_F(SqlServer, WordsInLiteralsNamesAndCommentsAreNoStatements) {
  Run({"CREATE TABLE [delete; from] ([Set] int, Name nvarchar(20))",
       "INSERT INTO [delete; from] VALUES (1, 'drop')"});
  const ConnectionPtr connection = Connect();
  EXPECT_EQ(
      connection->OpenRecordset("SELECT [Set] FROM [delete; from] WHERE Name <> '; DELETE' /* ; drop */; -- x")
          ->TextAt(0),
      "1");
  EXPECT_EQ(connection->OpenRecordset("SELECT 1 UNION ALL SELECT 2")->RecordCount(), 2);
}

// --- The drivers file --------------------------------------------------------------------------------

TEST_F(SqlServer, ADriversFileMapsAProviderToADriver) {
  FillNumbers(2);
  server = std::make_unique<SqlServerStandIn>(file);
  const std::string drivers = folder.Write("treiber.ini",
                                           "[MeinProvider]\r\nDriver=FreeTDS\r\nOptions=TDS_Version=7.4;"
                                           "ClientCharset=UTF-8\r\n[SQLOLEDB.1]\r\nDriver=GibtEsNicht\r\n");
  setenv("KESTREL_DRIVERS", drivers.c_str(), 1);
  const std::string keys =
      ";Initial Catalog=Adressen;Data Source=" + server->DataSource() + ";Password=geheim;User ID=sa";
  // Texts are fetched as UTF-16 here.
  EXPECT_EQ(OpenConnection("Provider=MeinProvider" + keys)->OpenRecordset("SELECT * From Kunden")->TextAt(1),
            "Müller 1");
  EXPECT_ERROR_TEXT(OpenConnection("Provider=SQLOLEDB.1" + keys), ErrorNumber::kDatabase,
                    HasSubstr("GibtEsNicht"));
  unsetenv("KESTREL_DRIVERS");
  EXPECT_ERROR(OpenConnection("Provider=MeinProvider" + keys), ErrorNumber::kProviderNotFound);
}

TEST_F(SqlServer, ADriverStringIsHandedOnAsItStands) {
  FillNumbers(2);
  server = std::make_unique<SqlServerStandIn>(file);
  const std::string port = server->DataSource().substr(server->DataSource().find(',') + 1);
  const ConnectionPtr connection =
      OpenConnection("Driver={FreeTDS};Server=127.0.0.1;Port=" + port + ";Database=Adressen;UID=sa;PWD=geheim");
  EXPECT_EQ(connection->OpenRecordset("SELECT * From Kunden")->TextAt(1), "Müller 1");
}

}  // namespace kestrel
