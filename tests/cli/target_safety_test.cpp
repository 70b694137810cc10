// What an import, and taking it back, leave of another application's data in an SQLite file.
#include "cli/target_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class TargetSafety : public TargetFixture {
 protected:
  // Makes "Kunde" a target, and imports these lines, with existing numbers overwritten; what the run says as JSON.
  std::string Import(const std::string& lines, const std::string& assignments) {
    const ProgramResult added = Run({"target", "add", "ziel", "--table", "Kunde"});
    EXPECT_EQ(added.status, 0) << added.err;
    WriteSource(lines);
    WriteSpec("ziel", assignments);
    LetOverwrite("ziel");
    return Run({"run", "ziel", "--format", "json"}).out;
  }
};

TEST_F(TargetSafety, ARecordThatATriggerIgnoresIsToldWithAReason) {
  Execute("CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT)");
  Execute("INSERT INTO Kunde VALUES (7, 'alt')");
  Execute("CREATE TRIGGER neu BEFORE INSERT ON Kunde WHEN new.name = 'B' BEGIN SELECT RAISE(IGNORE); END");
  Execute("CREATE TRIGGER anders BEFORE UPDATE ON Kunde BEGIN SELECT RAISE(IGNORE); END");
  EXPECT_THAT(Import("Nr;Name\n;A\n;B\n5;B\n7;neu\n", "id=FIELD:Nr\nname=FIELD:Name\n"),
              AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"updated\":0"), HasSubstr("\"rejected\":3")));
  EXPECT_EQ(Query("SELECT * FROM Kunde ORDER BY 1"), "7|alt\n8|A\n");
  EXPECT_THAT(Run({"log"}).out, AllOf(HasSubstr("Datensatz nicht gespeichert"),
                                      HasSubstr("den Datensatz 7 der Tabelle 'Kunde' nicht geändert")));
}

// The application's own rule would have the new row take the place of another one, which no undo brings back.
TEST_F(TargetSafety, NoRowGivesWayToAnotherWhateverTheTableSays) {
  Execute(
      "CREATE TABLE Kunde (id INTEGER PRIMARY KEY ON CONFLICT REPLACE, mail TEXT UNIQUE ON CONFLICT REPLACE, "
      "kurz TEXT UNIQUE ON CONFLICT IGNORE)");
  Execute("INSERT INTO Kunde VALUES (1, 'a@x', 'a'), (2, 'b@x', 'b'), (9, 'i@x', 'i')");
  EXPECT_THAT(Import("Nr;Mail;Kurz\n;a@x;n\n;c@x;b\n2;a@x;b\n;d@x;d\n9;;neun\n",
                     "id=FIELD:Nr\nmail=FIELD:Mail\nkurz=FIELD:Kurz\n"),
              AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"updated\":1"), HasSubstr("\"rejected\":3")));
  EXPECT_EQ(Query("SELECT * FROM Kunde ORDER BY 1"), "1|a@x|a\n2|b@x|b\n9|i@x|neun\n10|d@x|d\n");
  EXPECT_THAT(Run({"log"}).out, AllOf(HasSubstr("Kunde.mail"), HasSubstr("Kunde.kurz")));
}

TEST_F(TargetSafety, AnImportLeavesToTriggersHowTheirOwnConflictsEnd) {
  Execute("CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT UNIQUE)");
  Execute("CREATE TABLE Zuletzt (eins INTEGER PRIMARY KEY, name TEXT)");
  Execute(
      "CREATE TRIGGER zuletzt AFTER INSERT ON Kunde BEGIN INSERT OR REPLACE INTO Zuletzt VALUES (1, new.name); "
      "END");
  EXPECT_THAT(Import("Name\nA\nB\n", "id=NOTASSIGNED\nname=FIELD:Name\n"), HasSubstr("\"storedNew\":2"));
  EXPECT_EQ(Query("SELECT * FROM Zuletzt"), "1|B\n");
}

TEST_F(TargetSafety, WhatOtherTablesReferToIsLeftAloneAndTheirRowsStay) {
  Execute(
      "CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT, kurz TEXT UNIQUE, chef INTEGER REFERENCES "
      "Kunde)");
  Execute(
      "CREATE TABLE Auftrag (nr INTEGER PRIMARY KEY, kunde INTEGER REFERENCES Kunde (id) ON DELETE CASCADE)");
  Execute(
      "CREATE TABLE \"No tiz\" (nr INTEGER PRIMARY KEY, kunde INTEGER REFERENCES Kunde ON DELETE SET NULL)");
  Execute("CREATE TABLE Beleg (nr INTEGER PRIMARY KEY, kurz TEXT REFERENCES kunde (KURZ))");
  EXPECT_THAT(Import("Name;Kurz;Chef\nA;a;\nB;b;1\nC;c;\nD;d;4\nE;e;\n",
                     "id=NOTASSIGNED\nname=FIELD:Name\nkurz=FIELD:Kurz\nchef=FIELD:Chef\n"),
              HasSubstr("\"storedNew\":5"));
  Execute("INSERT INTO Auftrag VALUES (10, 1)");
  Execute("INSERT INTO \"No tiz\" VALUES (20, 3)");
  Execute("INSERT INTO Beleg VALUES (30, 'e')");
  for (const char* force : {"--dry-run", "--force"}) {
    const ProgramResult undone = Run({"undo", "1", force, "--format", "csv"});
    EXPECT_EQ(undone.status, 1);
    EXPECT_EQ(undone.out,
              "Datensatz,Nummer,Feld,Vorher,Importiert,Jetzt\r\n1,1,,,,(von 'Auftrag' verwendet)\r\n"
              "3,3,,,,(von 'No tiz' verwendet)\r\n5,5,,,,(von 'Beleg' verwendet)\r\n");
    EXPECT_THAT(undone.err, AllOf(HasSubstr("2 Adressen gelöscht"), HasSubstr("0 Änderungen seit dem Import"),
                                  HasSubstr("3 Adressen bleiben, weil andere Tabellen sie verwenden")));
  }
  EXPECT_EQ(Query("SELECT id FROM Kunde ORDER BY 1"), "1\n3\n5\n");
  EXPECT_EQ(Query("SELECT * FROM Auftrag UNION ALL SELECT * FROM \"No tiz\" UNION ALL SELECT * FROM Beleg"),
            "10|1\n20|3\n30|e\n");
  Execute("DELETE FROM Auftrag");
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("1 Adresse gelöscht"));
  EXPECT_EQ(Query("SELECT id FROM Kunde ORDER BY 1"), "3\n5\n");
}

TEST_F(TargetSafety, WhatTheDatabaseHoldsOnToKeepsNothingElseFromBeingTakenBack) {
  Execute("CREATE TABLE Rabatt (nr INTEGER PRIMARY KEY)");
  Execute("CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT, rabatt INTEGER REFERENCES Rabatt)");
  Execute("INSERT INTO Rabatt VALUES (1), (2)");
  Execute("INSERT INTO Kunde VALUES (1, 'alt', 1), (2, 'alt', 2)");
  Execute(
      "CREATE TRIGGER bleibt BEFORE DELETE ON Kunde WHEN old.name = 'B' BEGIN SELECT RAISE(ABORT, 'nein'); "
      "END");
  Execute("CREATE TRIGGER still BEFORE DELETE ON Kunde WHEN old.name = 'C' BEGIN SELECT RAISE(IGNORE); END");
  EXPECT_THAT(Import("Nr;Name;Rabatt\n1;neu;2\n2;neu;2\n11;A;\n12;B;\n13;C;\n14;D;\n",
                     "id=FIELD:Nr\nname=FIELD:Name\nrabatt=FIELD:Rabatt\n"),
              AllOf(HasSubstr("\"storedNew\":4"), HasSubstr("\"updated\":2")));
  Execute("DELETE FROM Rabatt WHERE nr = 1");
  const ProgramResult undone = Run({"undo", "1"});
  EXPECT_EQ(undone.status, 1);
  EXPECT_THAT(undone.out, AllOf(HasSubstr("nein"), HasSubstr("hat das Löschen verhindert"),
                                HasSubstr("FOREIGN KEY constraint failed")));
  EXPECT_EQ(Query("SELECT * FROM Kunde"), "1|neu|2\n2|alt|2\n12|B|\n13|C|\n");
  EXPECT_THAT(Run({"runs"}).out, HasSubstr("zurückgenommen"));
}

TEST_F(TargetSafety, EveryValueThatWasOverwrittenIsPutBackAsItWasStored) {
  Execute(
      "CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT, seit DATETIME, aktiv BOOLEAN, umsatz "
      "DECIMAL(30,2), "
      "zahl INTEGER, gross BIGINT, kurz VARCHAR(20), frei)");
  Execute(
      "INSERT INTO Kunde VALUES (1, 'Alt', '2020-01-02 00:00:00', 'true', 12345678901234567.25, 'abc', "
      "9007199254740993, NULL, 12), (2, 'Alt', '2020-01-02 00:00:00.123', 'false', '0012.50', 1.5, "
      "-9223372036854775808, 17, 1.0), (3, 'Alt', 1577923200, 1, 1e300, NULL, '12345678901234567890', '', ''), "
      "(4, '', '2020-01-02', 'x', 0.1, '', 1e18, 1e15, NULL), "
      "(5, 'x' || char(0) || 'y', '2020-01-02T00:00:00Z', '', 9e999, -0.0, 9007199254740992, '1', '007')");
  const std::string all =
      "SELECT id, quote(name), hex(name), quote(seit), quote(aktiv), quote(umsatz), quote(zahl), quote(gross), "
      "quote(kurz), quote(frei) FROM Kunde";
  const std::string before = Query(all);
  std::string lines = "Nr;Name;Seit;Aktiv;Umsatz;Zahl;Gross;Kurz;Frei\n";
  for (int i = 1; i <= 5; ++i) {
    lines += std::to_string(i) + ";neu;02.01.2020;1;12345678901234568;3;9007199254740992;v;12\n";
  }
  EXPECT_THAT(Import(lines,
                     "id=FIELD:Nr\nname=FIELD:Name\nseit=FIELD:Seit\naktiv=FIELD:Aktiv\numsatz=FIELD:Umsatz\n"
                     "zahl=FIELD:Zahl\ngross=FIELD:Gross\nkurz=FIELD:Kurz\nfrei=FIELD:Frei\n"
                     "[FieldFormat]\nseit=tt.mm.jjjj\n"),
              HasSubstr("\"updated\":5"));
  EXPECT_NE(Query(all), before);
  const ProgramResult undone = Run({"undo", "1"});
  EXPECT_EQ(undone.status, 0) << undone.out;
  EXPECT_EQ(Query(all), before);
}

TEST_F(TargetSafety, ADatabaseThatKeepsItsTextsInUtf16IsReadAndPutBack) {
  {
    const ConnectionPtr connection = OpenConnection(database_);
    connection->Execute("PRAGMA encoding = 'UTF-16le'");
    connection->Execute("CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT, ort TEXT, plz TEXT)");
    connection->Execute(
        "INSERT INTO Kunde VALUES (1, 'Müller €', 'Köln', '50667'), (2, 'Haas', 'Ulm', '89073')");
  }
  ASSERT_EQ(Query("PRAGMA encoding"), "UTF-16le\n");
  const std::string all = "SELECT id, name, hex(name), ort, plz FROM Kunde ORDER BY 1";
  const std::string before = Query(all);
  EXPECT_THAT(before, HasSubstr("1|Müller €|"));
  EXPECT_THAT(Import("Nr;Name;Ort;PLZ\n1;Jäger;Bonn;53111\n;haas;ulm;89073\n",
                     "id=FIELD:Nr\nname=FIELD:Name\nort=FIELD:Ort\nplz=FIELD:PLZ\n"),
              AllOf(HasSubstr("\"updated\":1"), HasSubstr("\"heldBack\":1")));
  EXPECT_EQ(Query("SELECT name, ort FROM Kunde ORDER BY 1"), "Haas|Ulm\nJäger|Bonn\n");
  EXPECT_EQ(Run({"target", "check", "ziel"}).out, "Keine Auffälligkeiten.\n");
  EXPECT_EQ(Run({"undo", "1"}).status, 0);
  EXPECT_EQ(Query(all), before);
}

TEST_F(TargetSafety, BytesAreNoTextToBeReplaced) {
  Execute("CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT, ort TEXT)");
  Execute("INSERT INTO Kunde VALUES (1, x'00ff', 'Ulm'), (2, 'B', x'41')");
  EXPECT_THAT(Import("Nr;Name\n1;neu\n2;neu\n", "id=FIELD:Nr\nname=FIELD:Name\nort=NOTASSIGNED\n"),
              AllOf(HasSubstr("\"updated\":1"), HasSubstr("\"rejected\":1")));
  EXPECT_EQ(Query("SELECT quote(name), quote(ort) FROM Kunde"), "X'00FF'|'Ulm'\n'neu'|X'41'\n");
  EXPECT_THAT(Run({"log"}).out, HasSubstr("enthält im Feld 'name' keinen Text, sondern Bytes"));
  EXPECT_EQ(Run({"undo", "1"}).status, 0);
  EXPECT_EQ(Query("SELECT quote(name), quote(ort) FROM Kunde"), "X'00FF'|'Ulm'\n'B'|X'41'\n");
}

TEST_F(TargetSafety, AnUndoThatDoesNotFitTheTableAnyMoreIsRefusedAndMayBeTriedAgain) {
  Execute("CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT, ort TEXT)");
  Import("Name;Ort\nA;Ulm\n", "id=NOTASSIGNED\nname=FIELD:Name\nort=FIELD:Ort\n");
  for (const char* column : {"id", "ort"}) {
    Execute("ALTER TABLE Kunde RENAME COLUMN " + std::string(column) + " TO anders");
    const ProgramResult undone = Run({"undo", "1"});
    EXPECT_EQ(undone.status, 4);
    EXPECT_THAT(undone.err,
                AllOf(HasSubstr(column), HasSubstr("Hat sich die Tabelle 'Kunde' seit dem Import geändert")));
    EXPECT_THAT(Run({"run", "ziel"}).err, HasSubstr("'kestrel-import target check ziel'"));
    Execute("ALTER TABLE Kunde RENAME COLUMN anders TO " + std::string(column));
  }
  Execute("ALTER TABLE Kunde RENAME COLUMN ort TO stadt");
  EXPECT_EQ(Run({"target", "edit", "ziel"}).status, 0);
  EXPECT_THAT(Run({"undo", "1"}).err,
              AllOf(HasSubstr("(id, name, ort)"), HasSubstr("'kestrel-import target edit' neu")));
  Execute("ALTER TABLE Kunde RENAME COLUMN stadt TO ort");
  EXPECT_EQ(Run({"target", "edit", "ziel"}).status, 0);
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("1 Adresse gelöscht"));
}

}  // namespace
}  // namespace kestrel::testing
