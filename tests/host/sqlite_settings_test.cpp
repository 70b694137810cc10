// Which SQLite files the sample host arranges for imports, and which nobody touches.
#include "storage/sqlite_settings.h"

#include "host/host_fixture.h"
#include "platform/base/file.h"

namespace kestrel {
namespace {

class SqliteFiles : public testing::HostFixture {
 protected:
  std::string Ask(Connection& database, std::string_view sql) {
    return std::string(database.OpenRecordset(sql)->TextAt(0));
  }
  // A database of somebody else's: small pages, no write ahead log.
  std::string ForeignFile() {
    std::string path = folder.File("fremd.db");
    const ConnectionPtr database = OpenConnection(path);
    database->Execute("PRAGMA page_size = 1024");
    database->Execute("CREATE TABLE t (n INTEGER)");
    database->Execute("INSERT INTO t VALUES (7)");
    return path;
  }
  // The bytes of the head of a file that say how it is kept: page size and journal.
  static std::string Layout(const std::string& path) { return ReadWholeFile(path).substr(16, 4); }
};

TEST_F(SqliteFiles, AFileThatIsOnlyReadStaysAsItWasToTheLastByte) {
  const std::string path = ForeignFile();
  const std::string before = ReadWholeFile(path);
  const ConnectionPtr database = OpenConnection(path);
  EXPECT_EQ(Ask(*database, "SELECT n FROM t"), "7");
  EXPECT_EQ(database->Tables().size(), 1u);
  database->Close();
  EXPECT_EQ(ReadWholeFile(path), before);
}

TEST_F(SqliteFiles, AFileThatIsWrittenKeepsItsPagesAndItsJournal) {
  const std::string path = ForeignFile();
  const std::string before = Layout(path);
  const ConnectionPtr database = OpenConnection(path);
  database->Begin();
  database->Execute("INSERT INTO t VALUES (8)");
  database->Commit();
  database->MakeDurable();
  EXPECT_EQ(Ask(*database, "PRAGMA journal_mode"), "delete");
  EXPECT_EQ(Ask(*database, "PRAGMA page_size"), "1024");
  EXPECT_EQ(Ask(*database, "PRAGMA synchronous"), "2");
  database->Close();
  EXPECT_EQ(Layout(path), before);
}

TEST_F(SqliteFiles, AnImportLeavesPagesAndJournalOfItsDatabaseAsTheyAre) {
  const std::string path = ForeignFile();
  const std::string before = Layout(path);
  const ConnectionPtr database = OpenConnection(path);
  host::PrepareNewDatabase(*database);
  host::InitialiseHostDatabase(*database);
  const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
  SetProperty(importer, "Connection", database);
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(GetProperty(importer, "ErrorDescription").ToText(), "");
  // Without a write ahead log a commit alone reaches the disk.
  EXPECT_EQ(Ask(*database, "PRAGMA synchronous"), "2");
  for (const char* name : {"A", "B", "C"}) EXPECT_EQ(Import(importer, {{"Bez1", name}}), "");
  CallMethod(importer, "AfterImport");
  EXPECT_EQ(GetProperty(importer, "ErrorDescription").ToText(), "");
  EXPECT_FALSE(FileExists(path + "-wal"));
  EXPECT_EQ(Ask(*OpenConnection(path), "SELECT count(*) FROM Kunden"), "3");
  database->Close();
  EXPECT_EQ(Layout(path), before);
}

TEST_F(SqliteFiles, TheSampleHostsOwnDatabaseHasLargePagesAndAWriteAheadLog) {
  const ObjectPtr setup = components.CreateObject("kestrelhost.Setup");
  const std::string made = CallMethod(setup, "CreateSampleHost", folder.File("neu")).ToText();
  const ConnectionPtr database = OpenConnection(made);
  EXPECT_EQ(Ask(*database, "PRAGMA page_size"), "16384");
  EXPECT_EQ(Ask(*database, "PRAGMA journal_mode"), "wal");
  const ConnectionPtr named = OpenConnection(folder.File("benannt.db"));
  CallMethod(setup, "InitialiseDatabase", named);
  EXPECT_EQ(Ask(*named, "PRAGMA page_size"), "16384");
  EXPECT_EQ(Ask(*named, "PRAGMA journal_mode"), "wal");
}

TEST_F(SqliteFiles, AnImportIntoItFlushesItsCommitsAtTheEnd) {
  const ObjectPtr setup = components.CreateObject("kestrelhost.Setup");
  const std::string made = CallMethod(setup, "CreateSampleHost", folder.File("neu")).ToText();
  const ConnectionPtr database = OpenConnection(made);
  EXPECT_EQ(Ask(*database, "PRAGMA synchronous"), "2");
  const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
  SetProperty(importer, "Connection", database);
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(Ask(*database, "PRAGMA synchronous"), "1");
  EXPECT_EQ(Ask(*database, "PRAGMA cache_size"), "-65536");
}

TEST_F(SqliteFiles, ATestRunKeepsNoMoreInMemoryThanTheDatabaseHolds) {
  if (OnPostgres()) GTEST_SKIP() << "no SQLite";
  const auto cache_after = [this](const char* member) {
    const ObjectPtr importer = Importer();
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
    Value record = CallMethod(importer, "GetNewRecord");
    CallMethod(importer, member, ByRef(record));
    host::GroupedWrites::Of(*connection).Flush();
    return std::stoll(Ask(*connection, "PRAGMA cache_size"));
  };
  EXPECT_EQ(cache_after("CheckRecord"), -2048);
  EXPECT_EQ(cache_after("ImportRecord"), -65536);
  connection->Execute("CREATE TABLE Ballast (b BLOB)");
  connection->Execute("INSERT INTO Ballast VALUES (zeroblob(20000000))");
  EXPECT_LT(cache_after("CheckRecord"), -19000);
  connection->Execute("INSERT INTO Ballast VALUES (zeroblob(60000000))");
  EXPECT_EQ(cache_after("CheckRecord"), -65536);
}

TEST_F(SqliteFiles, ATransactionOfTheHostsIsLeftAlone) {
  const ConnectionPtr database = OpenConnection(ForeignFile());
  database->Execute("PRAGMA journal_mode = WAL");
  database->Begin();
  host::TuneForImport(*database);
  EXPECT_TRUE(database->InTransaction());
  database->Commit();
  EXPECT_EQ(Ask(*database, "PRAGMA synchronous"), "2");
}

}  // namespace
}  // namespace kestrel
