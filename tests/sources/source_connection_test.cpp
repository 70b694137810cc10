// Connection strings, when a connection is opened, and what a file handed in by the host selects.
#include "sources/source_connection.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/data/connection_string.h"
#include "spec/specification.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using testing::SessionFixture;

SourceInputs SqlServer(std::string server, std::string uid, std::string database, std::string password = "") {
  SourceInputs inputs;
  inputs.txtSQLServer = std::move(server);
  inputs.txtSQLUID = std::move(uid);
  inputs.txtSQLDB = std::move(database);
  inputs.txtSQLKennwort = std::move(password);
  return inputs;
}

SourceInputs FileInputs(std::string dbase, std::string excel, std::string access) {
  SourceInputs inputs;
  inputs.txtdBaseFile = std::move(dbase);
  inputs.txtExcelFile = std::move(excel);
  inputs.txtAccessDB = std::move(access);
  return inputs;
}

class SourceConnectionTest : public SessionFixture {
 protected:
  // Notes each connection string and opens a real database in its place.
  ConnectionOpener Open() {
    return [this](std::string_view connection_string) {
      connection_strings.emplace_back(connection_string);
      EXPECT_EQ(session.SourceConnection, nullptr) << "the old connection is dropped before";
      if (refuse) throw RuntimeError(ErrorNumber::kDatabase, "Anmeldung fehlgeschlagen");
      ConnectionPtr connection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("source.sqlite"));
      connection->Execute("CREATE TABLE IF NOT EXISTS Kunden (Name TEXT)");
      return connection;
    };
  }

  std::vector<std::string> connection_strings;
  bool refuse = false;
  SourceInputs inputs;
  ListLoadedFlags loaded;
};

// --- The strings --------------------------------------------------------------------------------

TEST_F(SourceConnectionTest, DBaseStringHasABlankBeforeDriverId) {
  inputs.txtdBaseFile = "C:\\Daten";
  EXPECT_EQ(DBaseConnectionString(inputs),
            "Driver={Microsoft dBASE Driver (*.dbf)};DBQ=C:\\Daten; DriverID=277");
}

TEST_F(SourceConnectionTest, ExcelStringNamesTheWorkbookAsDefaultDir) {
  inputs.txtExcelFile = "C:\\Daten\\Kunden.xls";
  EXPECT_EQ(ExcelConnectionString(inputs),
            "Driver={Microsoft Excel Driver (*.xls)};defaultdir=C:\\Daten\\Kunden.xls");
}

TEST_F(SourceConnectionTest, AccessStringTakesUserAndPasswordFromTheSqlServerBoxes) {
  inputs.txtAccessDB = "C:\\k.mdb";
  inputs.txtSQLUID = "sa";
  inputs.txtSQLKennwort = "geheim";
  EXPECT_EQ(AccessConnectionString(inputs),
            "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=C:\\k.mdb;Password=geheim;User ID=sa");
}

TEST_F(SourceConnectionTest, SqlServerStringWithEmptyPasswordGoesStraightOnToTheUser) {
  inputs = SqlServer("srv", "sa", "Firma");
  EXPECT_EQ(SqlServerConnectionString(inputs),
            "Provider=SQLOLEDB.1;Initial Catalog=Firma;Data Source=srv;Password=;User ID=sa");
}

TEST_F(SourceConnectionTest, TextsAreInsertedAsTyped) {
  inputs = SqlServer(" s;x ", "u=1", " d", "p;w");
  EXPECT_EQ(SqlServerConnectionString(inputs),
            "Provider=SQLOLEDB.1;Initial Catalog= d;Data Source= s;x ;Password=p;w;User ID=u=1");
}

// --- Connecting ---------------------------------------------------------------------------------

TEST_F(SourceConnectionTest, ConnectsSqlServerWithEmptyPassword) {
  inputs = SqlServer("srv", "sa", "Firma");
  const ConnectResult result = ConnectSQLServer(session, inputs, loaded, Open());
  EXPECT_TRUE(result.connected);
  EXPECT_EQ(result.tables, std::vector<std::string>{"Kunden"});
  EXPECT_EQ(result.reason, "");
  EXPECT_TRUE(loaded.sql_server);
  EXPECT_NE(session.SourceConnection, nullptr);
  EXPECT_EQ(connection_strings, std::vector<std::string>{SqlServerConnectionString(inputs)});
}

TEST_F(SourceConnectionTest, ARequiredInputThatIsEmptyStopsBeforeAnythingIsDropped) {
  session.SourceConnection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("old.sqlite"));
  const ConnectionPtr old = session.SourceConnection;
  const auto stays_idle = [&](const ConnectResult& result) {
    EXPECT_FALSE(result.connected);
    EXPECT_EQ(result.reason, "");
    EXPECT_EQ(session.SourceConnection, old);
  };
  stays_idle(ConnectSQLServer(session, SqlServer("srv", "", "Firma"), loaded, Open()));
  stays_idle(ConnectSQLServer(session, SqlServer("srv", "sa", ""), loaded, Open()));
  stays_idle(ConnectSQLServer(session, SqlServer("", "sa", "Firma"), loaded, Open()));
  stays_idle(ConnectAccess(session, FileInputs("", "", ""), loaded, Open()));
  stays_idle(ConnectExcel(session, {}, loaded, Open()));
  stays_idle(ConnectdBase(session, {}, loaded, Open()));
  EXPECT_TRUE(connection_strings.empty());
}

TEST_F(SourceConnectionTest, ConnectingTwiceWithoutEditsConnectsOnce) {
  inputs.txtdBaseFile = "/daten";
  EXPECT_TRUE(ConnectdBase(session, inputs, loaded, Open()).connected);
  const ConnectionPtr first = session.SourceConnection;
  EXPECT_FALSE(ConnectdBase(session, inputs, loaded, Open()).connected);
  EXPECT_EQ(session.SourceConnection, first);
  EXPECT_EQ(connection_strings.size(), 1U);

  loaded.dbase = false;  // an edit
  EXPECT_TRUE(ConnectdBase(session, inputs, loaded, Open()).connected);
  EXPECT_NE(session.SourceConnection, first);
}

TEST_F(SourceConnectionTest, EachKindSetsItsOwnFlag) {
  EXPECT_TRUE(ConnectExcel(session, FileInputs("", "a.xls", ""), loaded, Open()).connected);
  EXPECT_TRUE(loaded.excel && !loaded.access && !loaded.dbase && !loaded.sql_server);
  EXPECT_TRUE(ConnectAccess(session, FileInputs("", "", "a.mdb"), loaded, Open()).connected);
  EXPECT_TRUE(loaded.excel && loaded.access && !loaded.dbase && !loaded.sql_server);
}

TEST_F(SourceConnectionTest, AFailedConnectIsSilentAndTriedAgain) {
  session.SourceConnection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("old.sqlite"));
  refuse = true;
  const ConnectResult result = ConnectAccess(session, FileInputs("", "", "a.mdb"), loaded, Open());
  EXPECT_FALSE(result.connected);
  EXPECT_EQ(result.reason, "Anmeldung fehlgeschlagen");
  EXPECT_FALSE(loaded.access);
  EXPECT_EQ(session.SourceConnection, nullptr);
  EXPECT_TRUE(ui.boxes.empty());

  refuse = false;
  EXPECT_TRUE(ConnectAccess(session, FileInputs("", "", "a.mdb"), loaded, Open()).connected);
}

TEST_F(SourceConnectionTest, AWrongPathFailsThroughTheRealProvidersWithAReason) {
  inputs.txtdBaseFile = folder.File("fehlt");
  inputs.txtExcelFile = folder.File("fehlt.xls");
  for (const ConnectResult& result :
       {ConnectdBase(session, inputs, loaded), ConnectExcel(session, inputs, loaded)}) {
    EXPECT_FALSE(result.connected);
    EXPECT_NE(result.reason, "");
  }
  EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(SourceConnectionTest, ResetDropsTheConnection) {
  session.SourceConnection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("old.sqlite"));
  ResetConnection(session);
  EXPECT_EQ(session.SourceConnection, nullptr);
}

// --- Without a page -----------------------------------------------------------------------------

TEST_F(SourceConnectionTest, SessionOfSqlServerFillsItsBoxes) {
  session.Provider = kSqlServerSource;
  session.Server = "srv";
  session.User = "sa";
  session.Password = "pw";
  session.Database = "Firma";
  EXPECT_TRUE(ConnectFromSession(session, Open()).connected);
  EXPECT_EQ(connection_strings[0],
            "Provider=SQLOLEDB.1;Initial Catalog=Firma;Data Source=srv;Password=pw;User ID=sa");
}

TEST_F(SourceConnectionTest, SessionOfAccessSendsItsPasswordAndNoUser) {
  session.Provider = kAccessSource;
  session.User = "C:\\k.mdb";
  session.Password = "Geheim";
  session.Database = "C:\\k.mdb";
  EXPECT_TRUE(ConnectFromSession(session, Open()).connected);
  EXPECT_EQ(connection_strings[0],
            "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=C:\\k.mdb;Password=Geheim;User ID=");
}

TEST_F(SourceConnectionTest, APasswordOfAccessArrivesWhateverItHolds) {
  session.Provider = kAccessSource;
  session.Database = "k.mdb";
  for (const std::string password : {"a;b", "\"q\"", "'", "{x}", " vorn", "hinten ", "a=b", "\";\""}) {
    session.Password = password;
    EXPECT_TRUE(ConnectFromSession(session, Open()).connected);
    EXPECT_EQ(ConnectionKeys(connection_strings.back()).Get("Password"), password);
  }
}

TEST_F(SourceConnectionTest, SessionsOfExcelAndDBaseConnectToTheirDatabase) {
  session.Database = "/daten";
  session.Provider = kExcelSource;
  EXPECT_TRUE(ConnectFromSession(session, Open()).connected);
  session.Provider = kDBaseSource;
  EXPECT_TRUE(ConnectFromSession(session, Open()).connected);
  EXPECT_EQ(connection_strings,
            (std::vector<std::string>{"Driver={Microsoft Excel Driver (*.xls)};defaultdir=/daten",
                                      "Driver={Microsoft dBASE Driver (*.dbf)};DBQ=/daten; DriverID=277"}));
}

TEST_F(SourceConnectionTest, ATextFileNeedsNoConnection) {
  session.Provider = kTextSource;
  EXPECT_TRUE(ConnectFromSession(session, Open()).connected);
  EXPECT_TRUE(connection_strings.empty());
}

TEST_F(SourceConnectionTest, WhatIsMissingIsToldWithoutAPage) {
  session.Provider = kSqlServerSource;
  EXPECT_EQ(ConnectFromSession(session, Open()).reason,
            "Für die Verbindung zur Datenquelle fehlt eine Angabe: Server");
  session.Server = "srv";
  EXPECT_EQ(ConnectFromSession(session, Open()).reason,
            "Für die Verbindung zur Datenquelle fehlt eine Angabe: User");
  session.Provider = "Microsoft SQL-SERVER";
  EXPECT_EQ(ConnectFromSession(session, Open()).reason,
            "Unbekannte Art der Datenquelle: \"Microsoft SQL-SERVER\"");
}

// --- The file handed in by the host -------------------------------------------------------------

TEST_F(SourceConnectionTest, AnMdbFileSelectsAccess) {
  session.ImportFileName = "C:\\x\\Kunden.mdb";
  ApplyImportFileName(session);
  EXPECT_EQ(session.Provider, "Microsoft Access-Datenbanken");
  EXPECT_EQ(session.Database, "C:\\x\\Kunden.mdb");
}

TEST_F(SourceConnectionTest, ADbfFileSelectsDBaseWithFolderAndTable) {
  session.ImportFileName = "c:\\x\\kunden.dbf";
  ApplyImportFileName(session);
  EXPECT_EQ(session.Provider, "dBase-Datenbank");
  EXPECT_EQ(session.Database, "c:\\x");
  EXPECT_EQ(session.Table, "kunden.dbf");

  session.ImportFileName = "/daten/neu/KUNDEN.DBF";
  ApplyImportFileName(session);
  EXPECT_EQ(session.Database, "/daten/neu");
  EXPECT_EQ(session.Table, "KUNDEN.DBF");
}

TEST_F(SourceConnectionTest, AnyOtherFileIsTextAndKeepsTheTextSettings) {
  for (const char* path : {"/daten/kunden.csv", "/daten/kunden.xls", "/daten/kunden"}) {
    session.Provider = kExcelSource;
    session.Delimiter = ",";
    session.ImportFileName = path;
    ApplyImportFileName(session);
    EXPECT_EQ(session.Provider, "Textdatei");
    EXPECT_EQ(session.FileName, path);
    EXPECT_EQ(session.Delimiter, ",");
  }
}

TEST_F(SourceConnectionTest, WithoutAFileOfTheHostNothingChanges) {
  session.Provider = kDBaseSource;
  session.FileName = "a.txt";
  ApplyImportFileName(session);
  EXPECT_EQ(session.Provider, kDBaseSource);
  EXPECT_EQ(session.FileName, "a.txt");
}

}  // namespace
}  // namespace kestrel
