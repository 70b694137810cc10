// Connection strings, when a connection is opened, and what a file handed in by the host selects.
#include "sources/source_connection.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/data/connection_string.h"
#include "sources/source_kind.h"
#include "support/session_fixture.h"
#include "support/source_kind_names.h"

namespace kestrel {
namespace {

using testing::SessionFixture;

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

  const SourceKind& Kind(const char* name) const { return *KindsOf(session).Find(name); }
  ConnectResult Connect(const char* kind, const SourceInputs& inputs) {
    return kestrel::Connect(session, Kind(kind), inputs, loaded, Open());
  }
  // What a kind opens with these inputs.
  std::string ConnectionString(const char* kind, const SourceInputs& inputs) {
    EXPECT_TRUE(Connect(kind, inputs).connected);
    return connection_strings.back();
  }

  std::vector<std::string> connection_strings;
  bool refuse = false;
  ListLoadedFlags loaded;
};

// --- The strings --------------------------------------------------------------------------------

TEST_F(SourceConnectionTest, DBaseStringHasABlankBeforeDriverId) {
  EXPECT_EQ(ConnectionString(kDBaseSource, {.database = "C:\\Daten"}),
            "Driver={Microsoft dBASE Driver (*.dbf)};DBQ=C:\\Daten; DriverID=277");
}

TEST_F(SourceConnectionTest, ExcelStringNamesTheWorkbookAsDefaultDir) {
  EXPECT_EQ(ConnectionString(kExcelSource, {.database = "C:\\Daten\\Kunden.xls"}),
            "Driver={Microsoft Excel Driver (*.xls)};defaultdir=C:\\Daten\\Kunden.xls");
}

TEST_F(SourceConnectionTest, AccessStringPutsThePasswordBeforeTheUser) {
  EXPECT_EQ(ConnectionString(kAccessSource, {.user = "sa", .password = "geheim", .database = "C:\\k.mdb"}),
            "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=C:\\k.mdb;Password=geheim;User ID=sa");
}

TEST_F(SourceConnectionTest, SqlServerStringWithEmptyPasswordGoesStraightOnToTheUser) {
  EXPECT_EQ(ConnectionString(kSqlServerSource, {.server = "srv", .user = "sa", .database = "Firma"}),
            "Provider=SQLOLEDB.1;Initial Catalog=Firma;Data Source=srv;Password=;User ID=sa");
}

TEST_F(SourceConnectionTest, TextsAreInsertedAsTyped) {
  EXPECT_EQ(ConnectionString(kSqlServerSource, {" s;x ", "u=1", "p;w", " d"}),
            "Provider=SQLOLEDB.1;Initial Catalog= d;Data Source= s;x ;Password=p;w;User ID=u=1");
}

// --- Connecting ---------------------------------------------------------------------------------

TEST_F(SourceConnectionTest, ConnectsSqlServerWithEmptyPassword) {
  const ConnectResult result = Connect(kSqlServerSource, {.server = "srv", .user = "sa", .database = "Firma"});
  EXPECT_TRUE(result.connected);
  EXPECT_EQ(result.tables, std::vector<std::string>{"Kunden"});
  EXPECT_EQ(result.reason, "");
  EXPECT_TRUE(loaded.IsLoaded(Kind(kSqlServerSource)));
  EXPECT_NE(session.SourceConnection, nullptr);
  EXPECT_EQ(connection_strings.size(), 1U);
}

TEST_F(SourceConnectionTest, ARequiredInputThatIsEmptyStopsBeforeAnythingIsDropped) {
  session.SourceConnection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("old.sqlite"));
  const ConnectionPtr old = session.SourceConnection;
  const auto stays_idle = [&](const ConnectResult& result) {
    EXPECT_FALSE(result.connected);
    EXPECT_EQ(result.reason, "");
    EXPECT_EQ(session.SourceConnection, old);
  };
  stays_idle(Connect(kSqlServerSource, {"srv", "", "pw", "Firma"}));
  stays_idle(Connect(kSqlServerSource, {"srv", "sa", "pw", ""}));
  stays_idle(Connect(kSqlServerSource, {"", "sa", "pw", "Firma"}));
  for (const char* kind : {kAccessSource, kExcelSource, kDBaseSource}) {
    stays_idle(Connect(kind, {"srv", "sa", "pw", ""}));
  }
  EXPECT_TRUE(connection_strings.empty());
}

TEST_F(SourceConnectionTest, ConnectingTwiceWithoutEditsConnectsOnce) {
  const SourceInputs inputs = {.database = "/daten"};
  EXPECT_TRUE(Connect(kDBaseSource, inputs).connected);
  const ConnectionPtr first = session.SourceConnection;
  EXPECT_FALSE(Connect(kDBaseSource, inputs).connected);
  EXPECT_EQ(session.SourceConnection, first);
  EXPECT_EQ(connection_strings.size(), 1U);

  loaded.Clear(SourceFrame::kDBase);  // an edit
  EXPECT_TRUE(Connect(kDBaseSource, inputs).connected);
  EXPECT_NE(session.SourceConnection, first);
}

TEST_F(SourceConnectionTest, EachKindSetsItsOwnFlag) {
  const auto loaded_kinds = [&] {
    std::string names;
    for (const SourceKind& kind : KindsOf(session)) names += loaded.IsLoaded(kind) ? kind.name + ";" : "";
    return names;
  };
  EXPECT_TRUE(Connect(kExcelSource, {.database = "a.xls"}).connected);
  EXPECT_EQ(loaded_kinds(), "Microsoft Excel;");
  EXPECT_TRUE(Connect(kAccessSource, {.database = "a.mdb"}).connected);
  EXPECT_EQ(loaded_kinds(), "Microsoft Access-Datenbanken;Microsoft Excel;");
  loaded.Clear(SourceFrame::kExcel);
  EXPECT_EQ(loaded_kinds(), "Microsoft Access-Datenbanken;");
}

TEST_F(SourceConnectionTest, AFailedConnectIsSilentAndTriedAgain) {
  session.SourceConnection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("old.sqlite"));
  refuse = true;
  const ConnectResult result = Connect(kAccessSource, {.database = "a.mdb"});
  EXPECT_FALSE(result.connected);
  EXPECT_EQ(result.reason, "Anmeldung fehlgeschlagen");
  EXPECT_FALSE(loaded.IsLoaded(Kind(kAccessSource)));
  EXPECT_EQ(session.SourceConnection, nullptr);
  EXPECT_TRUE(ui.boxes.empty());

  refuse = false;
  EXPECT_TRUE(Connect(kAccessSource, {.database = "a.mdb"}).connected);
}

TEST_F(SourceConnectionTest, AWrongPathFailsThroughTheRealProvidersWithAReason) {
  for (const char* kind : {kDBaseSource, kExcelSource}) {
    const ConnectResult result =
        kestrel::Connect(session, Kind(kind), {.database = folder.File("fehlt.xls")}, loaded);
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

TEST_F(SourceConnectionTest, ANewerAccessFileSelectsAccessWhereAllEndingsCount) {
  session.ImportFileName = "/daten/Kunden.accdb";
  ApplyImportFileName(session);
  EXPECT_EQ(session.Provider, "Textdatei");
  EXPECT_EQ(session.Database, "");
  ApplyImportFileName(session, FileEndings::kAll);
  EXPECT_EQ(session.Provider, "Microsoft Access-Datenbanken");
  EXPECT_EQ(session.Database, "/daten/Kunden.accdb");
}

TEST_F(SourceConnectionTest, AFolderNamedLikeAFileIsNoEndingOfTheFile) {
  session.ImportFileName = "/daten.mdb/kunden";
  ApplyImportFileName(session);
  EXPECT_EQ(session.Provider, "Textdatei");
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
