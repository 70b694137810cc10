// Tables that the first version of the program has made in an SQLite database, and how they come to the present one.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/target_fixture.h"
#include "platform/base/file_lock.h"
#include "schema/own_tables.h"
#include "schema/upgrade.h"
#include "support/eventually.h"
#include "support/forked_child.h"
#include "support/json_schema.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

// As version 1 made them, word for word, with two destinations.
constexpr const char* kVersion1[] = {
    "CREATE TABLE Kunde (id INTEGER PRIMARY KEY, Name VARCHAR(50), Ort VARCHAR(40))",
    "CREATE TABLE Artikel (nr INTEGER PRIMARY KEY, Bezeichnung TEXT)",
    "INSERT INTO Kunde VALUES (1, 'Alt', 'Köln')",
    "CREATE TABLE kestrel_Personalstamm (PersonalNr VARCHAR(10) NOT NULL PRIMARY KEY, Nachname VARCHAR(50) NOT "
    "NULL, Vorname VARCHAR(50), Titel VARCHAR(20))",
    "CREATE TABLE kestrel_Einstellungen (Gruppe VARCHAR(50) NOT NULL, Name VARCHAR(50) NOT NULL, Wert "
    "VARCHAR(255) NOT NULL, PRIMARY KEY (Gruppe, Name))",
    "CREATE TABLE kestrel_Adressindex (\n  AdressId INTEGER PRIMARY KEY,\n  Adressart INTEGER NOT NULL,\n  "
    "Referenz VARCHAR(20) NOT NULL,\n  Doubletkey1 VARCHAR(20),\n  Doubletkey2 VARCHAR(20),\n  Doubletkey3 "
    "VARCHAR(20))",
    "CREATE INDEX kestrel_Adressindex1 ON kestrel_Adressindex (Doubletkey1)",
    "CREATE INDEX kestrel_Adressindex2 ON kestrel_Adressindex (Doubletkey2)",
    "CREATE INDEX kestrel_Adressindex3 ON kestrel_Adressindex (Doubletkey3)",
    "CREATE TABLE kestrel_Protokoll (ProtokollNr INTEGER PRIMARY KEY, Titel VARCHAR(100) NOT NULL, Benutzer "
    "VARCHAR(100), Liste VARCHAR(50) NOT NULL, Datum DATE, Beschreibung VARCHAR(255), Datei VARCHAR(1000), "
    "Quelle VARCHAR(50), Klasse VARCHAR(50))",
    "CREATE TABLE kestrel_Protokollzeilen (ZeilenNr INTEGER PRIMARY KEY, ProtokollNr INTEGER NOT NULL, Spalte0 "
    "TEXT, Spalte1 TEXT, Spalte2 TEXT)",
    "CREATE TABLE kestrel_Protokollherkunft (ProtokollNr INTEGER PRIMARY KEY, Spezifikation VARCHAR(1000), "
    "Quelle VARCHAR(1000), Importklasse VARCHAR(100))",
    "CREATE TABLE kestrel_Protokolldetails (ZeilenNr INTEGER PRIMARY KEY, ProtokollNr INTEGER NOT NULL, "
    "Datensatz INTEGER, DatensatzBis INTEGER, Feld TEXT, Quellspalte TEXT, Rohwert TEXT, Adressart INTEGER, "
    "Adresse TEXT, Name TEXT, Ort TEXT, Schluessel INTEGER, FruehererDatensatz INTEGER, Entscheidung TEXT, "
    "Wertung INTEGER, Grund TEXT)",
    "CREATE TABLE kestrel_Importlauf (LaufNr INTEGER PRIMARY KEY, Zustand VARCHAR(20) NOT NULL, ProgID "
    "VARCHAR(255) NOT NULL, Tabelle VARCHAR(255) NOT NULL, Spalten TEXT NOT NULL, Spezifikation VARCHAR(1000), "
    "Pruefsumme VARCHAR(64), Quelle VARCHAR(1000), Quellgroesse BIGINT, Quellzeit VARCHAR(19), Benutzer "
    "VARCHAR(100), Beginn VARCHAR(19) NOT NULL, Ende VARCHAR(19), Gelesen INTEGER NOT NULL, Neu INTEGER NOT "
    "NULL, Aktualisiert INTEGER NOT NULL, Zurueckgehalten INTEGER NOT NULL, Abgewiesen INTEGER NOT NULL, "
    "Fehler "
    "INTEGER NOT NULL, Gekuerzt INTEGER NOT NULL, GekuerzteFelder TEXT)",
    "CREATE TABLE kestrel_Importlaufzeilen (ZeilenNr INTEGER PRIMARY KEY, LaufNr BIGINT NOT NULL, Ereignis "
    "VARCHAR(20) NOT NULL, Datensatz INTEGER NOT NULL, BisDatensatz INTEGER NOT NULL, Anzahl INTEGER NOT NULL, "
    "Tabelle VARCHAR(255), Nummer BIGINT, BisNummer BIGINT, Werte TEXT)",
    "CREATE TABLE kestrel_Importziele (ProgID VARCHAR(255) NOT NULL PRIMARY KEY, Tabelle VARCHAR(255) NOT "
    "NULL, "
    "Nummernfeld VARCHAR(255) NOT NULL, Gruppenfeld VARCHAR(50), Adressart INTEGER NOT NULL)",
    "CREATE TABLE kestrel_Importfelder (ProgID VARCHAR(255) NOT NULL, Position INTEGER NOT NULL, FieldName "
    "VARCHAR(255) NOT NULL, Obligation BOOLEAN NOT NULL, RowSourceTyp INTEGER NOT NULL, RowSource "
    "VARCHAR(1000), Size INTEGER NOT NULL, FieldTyp VARCHAR(10) NOT NULL, DateField BOOLEAN NOT NULL, Spalte "
    "VARCHAR(255) NOT NULL, PRIMARY KEY (ProgID, FieldName))",
    "CREATE TABLE kestrel_Importspalten (ProgID VARCHAR(50) NOT NULL, FieldName VARCHAR(255) NOT NULL, "
    "Schluesselteil VARCHAR(10), Rang INTEGER, Vorgabe TEXT, PRIMARY KEY (ProgID, FieldName))",
    "CREATE TABLE kestrel_Importfassung (Fassung INTEGER NOT NULL PRIMARY KEY)",
    "INSERT INTO kestrel_Importfassung VALUES (1)",
    "INSERT INTO kestrel_Einstellungen VALUES ('Adressindex', 'Doubletindex', '1')",
    "INSERT INTO kestrel_Einstellungen VALUES ('Adressindex', 'AlgorithmCode1', '4')",
    "INSERT INTO kestrel_Einstellungen VALUES ('Adressindex', 'AlgorithmCode2', '7')",
    "INSERT INTO kestrel_Einstellungen VALUES ('Adressindex', 'AlgorithmCode3', '6')",
    "INSERT INTO kestrel_Importziele VALUES ('ksbimport.kunden', '\"Kunde\"', 'id', '', 0)",
    "INSERT INTO kestrel_Importziele VALUES ('ksbimport.artikel', '\"Artikel\"', 'nr', '', 0)",
    "INSERT INTO kestrel_Importfelder VALUES ('ksbimport.kunden', 1, 'id', 0, 0, '', 18, 'INT', 0, '\"id\"')",
    "INSERT INTO kestrel_Importfelder VALUES ('ksbimport.kunden', 2, 'Name', 0, 0, '', 50, 'VARCHAR', 0, "
    "'\"Name\"')",
    "INSERT INTO kestrel_Importfelder VALUES ('ksbimport.kunden', 3, 'Ort', 0, 0, '', 40, 'VARCHAR', 0, "
    "'\"Ort\"')",
    "INSERT INTO kestrel_Importfelder VALUES ('ksbimport.artikel', 1, 'nr', 0, 0, '', 18, 'INT', 0, '\"nr\"')",
    "INSERT INTO kestrel_Importspalten VALUES ('ksbimport.kunden', 'Name', 'name', 1, '')",
};

class TargetUpgrade : public TargetFixture {
 protected:
  void SetUp() override {
    for (const char* sql : kVersion1) Execute(sql);
    WriteFileAtomically(
        folder_.File("Import") + "/kunden.IMP",
        "[Common]\r\nDescription=kunden\r\nApplication=2\r\nImportClass=ksbimport.kunden\r\n"
        "Provider=Textdatei\r\nFileName=" +
            folder_.File("Import") +
            "/quelle.txt\r\nColumnHeadings=True\r\nFileFormat=ANSI\r\nDelimiter=;\r\n"
            "TextRecognition=\"\r\n[CfgSettings]\r\nDublettenPruefen=0\r\n[FieldAssignments]\r\n"
            "Name=FIELD:Name\r\nOrt=FIELD:Ort\r\n");
    WriteSource("Name;Ort\nNeu;Ulm\n");
  }
  // Everything that stands in the database.
  std::string Whole(const std::string& database) const {
    const ConnectionPtr connection = OpenConnection(database);
    std::string text;
    std::vector<std::string> names;
    for (const CatalogTable& table : connection->Tables()) names.push_back(table.name);
    std::ranges::sort(names);
    for (const std::string& name : names) {
      text += name + ":";
      for (const RecordsetPtr rows = connection->OpenRecordset("SELECT * FROM \"" + name + "\"");
           !rows->IsEof(); rows->MoveNext()) {
        for (std::size_t i = 0; i < rows->ColumnCount(); ++i) text += std::string(rows->TextAt(i)) + "|";
      }
      text += "\n";
    }
    return text;
  }
  std::string Copy() const { return folder_.File("fremd-vor-Fassung-2.db"); }
};

TEST_F(TargetUpgrade, NothingIsDoneWithThemUnaskedAndTheWayIsTold) {
  const std::string before = Whole(database_);
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
           {"target", "list"}, {"target", "add", "x", "--table", "Artikel"}, {"run", "kunden"}, {"runs"}}) {
    const ProgramResult result = Run(command);
    EXPECT_EQ(result.status, 4) << command.back();
    EXPECT_THAT(result.err + result.out,
                HasSubstr("'kestrel-import target upgrade' sichert sie und stellt sie um"))
        << command.back();
  }
  EXPECT_EQ(Whole(database_), before);
}

TEST_F(TargetUpgrade, TheyAreCopiedAndChangedAndImportedIntoAsBefore) {
  const std::string before = Whole(database_);
  ::chmod(database_.c_str(), 0640);
  const ProgramResult upgraded = Run({"target", "upgrade"});
  EXPECT_EQ(upgraded.status, 0) << upgraded.err;
  EXPECT_EQ(upgraded.out,
            "Die Tabellen sind umgestellt, von Fassung 1 auf 2.\nWie sie waren, steht in: " + Copy() + "\n");
  EXPECT_EQ(Whole(Copy()), before);
  struct stat status {};
  ASSERT_EQ(::stat(Copy().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);

  EXPECT_EQ(Query("SELECT max(Fassung) FROM kestrel_Importfassung"), "2\n");
  // Their specifications are still offered where they were.
  EXPECT_EQ(Query("SELECT ProgID, Anwendung FROM kestrel_Importlisten ORDER BY 1"),
            "ksbimport.artikel|2\nksbimport.kunden|2\n");
  EXPECT_EQ(Run({"run", "kunden"}).status, 0);
  EXPECT_EQ(Query("SELECT * FROM Kunde"), "1|Alt|Köln\n2|Neu|Ulm\n");
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("1 Adresse gelöscht"));
  EXPECT_EQ(Run({"target", "edit", "kunden"}).status, 0);

  EXPECT_EQ(Run({"target", "upgrade"}).out, "Die Tabellen sind schon von dieser Version (Fassung 2).\n");
}

TEST_F(TargetUpgrade, AnEarlierCopyIsNeverReplaced) {
  WriteFileAtomically(Copy(), "wertvoll");
  const ProgramResult upgraded = Run({"target", "upgrade", "--format", "json"});
  const auto schema =
      nlohmann::json::parse(ReadWholeFile(InSourceTree("docs/json/target-upgrade.schema.json")));
  EXPECT_EQ(SchemaFault(schema, nlohmann::json::parse(upgraded.out)), "") << upgraded.err;
  EXPECT_THAT(upgraded.out, HasSubstr("fremd-vor-Fassung-2-2.db"));
  EXPECT_EQ(ReadWholeFile(Copy()), "wertvoll");
}

TEST_F(TargetUpgrade, ACopyHasItsNameOnlyOnceItIsWhole) {
  Execute("CREATE TABLE Gross (inhalt TEXT)");
  Execute(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
      "INSERT INTO Gross SELECT hex(zeroblob(500)) FROM n");
  const auto copies = [this] {
    std::vector<std::string> found;
    for (const std::string& path : ListFiles(folder_.path())) {
      if (path.find("-vor-Fassung-2") != std::string::npos) found.push_back(path);
    }
    return found;
  };
  {
    ForkedChild child([&] {
      const ConnectionPtr own = OpenConnection(database_);
      host::VersionOfOwnTables(*own);
      host::UpgradeOwnTables(*own, host::Backup::kMake, host::UpgradeSteps());
    });
    // Killed while it copies.
    ASSERT_TRUE(Eventually([&] {
      return std::ranges::any_of(copies(), [](const std::string& path) {
        std::error_code error;
        const auto size = std::filesystem::file_size(path, error);
        return !error && size > 0;
      });
    }));
  }
  if (FileExists(Copy()) && std::filesystem::file_size(Copy()) > 0) {
    EXPECT_EQ(OpenConnection(Copy())->OpenRecordset("SELECT count(*) FROM Gross")->TextAt(0), "20000");
  }
  EXPECT_EQ(Run({"target", "upgrade"}).status, 0);
  EXPECT_EQ(Query("SELECT count(*) FROM Gross"), "20000\n");
}

TEST_F(TargetUpgrade, WhereNoCopyCanBeMadeNothingIsChangedUnlessThereIsOne) {
  const std::string before = Whole(database_);
  // A name that is taken although nothing is to be seen there.
  ASSERT_EQ(::symlink("nirgends/datei", Copy().c_str()), 0);
  const ProgramResult refused = Run({"target", "upgrade"});
  EXPECT_EQ(refused.status, 4);
  EXPECT_THAT(refused.err, AllOf(HasSubstr("kann nicht angelegt werden, deshalb ist nichts geändert."),
                                 HasSubstr("--backed-up")));
  EXPECT_EQ(Whole(database_), before);
  EXPECT_EQ(Run({"target", "upgrade", "--backed-up"}).out,
            "Die Tabellen sind umgestellt, von Fassung 1 auf 2.\n");
}

TEST_F(TargetUpgrade, WhereAStepFailsEverythingIsAsItWasAndTheCopyIsTold) {
  const std::string before = Whole(database_);
  const ConnectionPtr connection = OpenConnection(database_);
  const host::UpgradeStep broken[] = {host::UpgradeSteps().front(),
                                      {3, [](Connection& database) {
                                         database.Execute("ALTER TABLE Importlauf ADD COLUMN Neues TEXT");
                                         database.Execute("DELETE FROM Importziele");
                                         database.Execute("INSERT INTO gibt_es_nicht VALUES (1)");
                                       }}};
  std::string told;
  Trap([&] { host::UpgradeOwnTables(*connection, host::Backup::kMake, broken); },
       [&](const RuntimeError& error) { told = error.Description(); });
  EXPECT_THAT(told, AllOf(HasSubstr("Die Tabellen sind geblieben, wie sie waren"), HasSubstr("gibt_es_nicht"),
                          HasSubstr("fremd-vor-Fassung-3.db")));
  EXPECT_FALSE(connection->InTransaction());
  connection->Close();
  EXPECT_EQ(Whole(database_), before);
  EXPECT_EQ(Whole(folder_.File("fremd-vor-Fassung-3.db")), before);
  // And what failed keeps nobody from trying again.
  EXPECT_EQ(Run({"target", "upgrade"}).status, 0);
}

TEST_F(TargetUpgrade, WhileAnImportGoesOnItIsRefused) {
  Execute(
      "INSERT INTO kestrel_Importlauf VALUES (7, 'läuft', 'ksbimport.kunden', 'Kunde', 'id,Name,Ort', '', '', "
      "'', "
      "0, '', '', '2026-01-01 00:00:00', NULL, 0, 0, 0, 0, 0, 0, 0, '')");
  const auto import = FileLock::Acquire(database_ + "-lauf7");
  ASSERT_TRUE(import);
  const ProgramResult refused = Run({"target", "upgrade"});
  EXPECT_EQ(refused.status, 4);
  EXPECT_THAT(refused.err, HasSubstr("Der Importlauf 7 läuft noch."));
  EXPECT_EQ(Query("SELECT max(Fassung) FROM kestrel_Importfassung"), "1\n");
}

TEST_F(TargetUpgrade, OfASampleHostTheTablesOfItsFurtherDestinationsAreChanged) {
  ASSERT_EQ(RunProgram({BuiltProgram("kestrel-import"), "init", folder_.File("host")}).status, 0);
  database_ = folder_.File("host") + "/kestrel.db";
  EXPECT_EQ(Run({"target", "list"}).status, 0);
  Execute(
      "CREATE TABLE Importspalten (ProgID VARCHAR(50) NOT NULL, FieldName VARCHAR(255) NOT NULL, "
      "Schluesselteil "
      "VARCHAR(10), Rang INTEGER, Vorgabe TEXT, PRIMARY KEY (ProgID, FieldName))");
  EXPECT_THAT(Run({"target", "list"}).err, HasSubstr("target upgrade"));
  EXPECT_EQ(Run({"target", "upgrade"}).status, 0);
  EXPECT_EQ(Run({"target", "list"}).status, 0);
  EXPECT_EQ(Query("SELECT Fassung FROM Importfassung"), "2\n");
  EXPECT_EQ(Query("SELECT count(*) FROM Importlisten"), "0\n");
}

}  // namespace
}  // namespace kestrel::testing
