// 'target': the tables of an SQLite database that knows nothing of this program.
#include <nlohmann/json.hpp>

#include "cli/target_fixture.h"
#include "support/json_schema.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

// What stands between the first `begin` and the `end` behind it.
std::string TextBetween(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t start = text.find(begin);
  if (start == std::string::npos) return {};
  const std::size_t from = start + begin.size();
  return text.substr(from, text.find(end, from) - from);
}

class TargetCommands : public TargetFixture {
 protected:
  void SetUp() override {
    Execute("CREATE TABLE Betreuer (Nr INTEGER PRIMARY KEY, Name TEXT NOT NULL)");
    Execute("INSERT INTO Betreuer VALUES (3, 'Schmitz')");
    // A name that this program has for a table of its own.
    Execute("CREATE TABLE Protokoll (x)");
    Execute(
        "CREATE TABLE \"Kunde \"\"Süd\"\"\" (id INTEGER PRIMARY KEY, Vorname VARCHAR(40), "
        "Nachname VARCHAR(20) NOT NULL, \"Straße\" VARCHAR(70), PLZ VARCHAR(10), Ort VARCHAR(40), "
        "\"e mail\" VARCHAR(60), aktiv BOOLEAN NOT NULL DEFAULT 1, seit DATE, "
        "angelegt TIMESTAMP NOT NULL DEFAULT CURRENT_TIMESTAMP, Betreuer INTEGER REFERENCES Betreuer, bild "
        "BLOB, "
        "\"order\" NUMERIC(10,2) CHECK (\"order\" >= 0), name_lang TEXT AS (Vorname || Nachname))");
    Execute("INSERT INTO " + kTable +
            " (Vorname, Nachname, \"Straße\", PLZ, Ort) VALUES ('Erika', 'Mustermann', 'Lindenstr. 7', "
            "'50674', 'Köln')");
  }

  ProgramResult Add(std::vector<std::string> more = {}) const {
    std::vector<std::string> arguments = {"target", "add", "kunden", "--table", "Kunde \"Süd\""};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  void WriteImport(std::string_view lines, const std::string& settings = {}) const {
    WriteSource("Nr;Vor;Nach;Str;PLZ;Ort;Mail;Seit;Betreuer;Umsatz\n" + std::string(lines));
    WriteSpec(
        "kunden",
        "id=FIELD:Nr\nVorname=FIELD:Vor\nNachname=FIELD:Nach\nStraße=FIELD:Str\nPLZ=FIELD:PLZ\nOrt=FIELD:Ort\n"
        "e mail=FIELD:Mail\naktiv=NOTASSIGNED\nseit=FIELD:Seit\nBetreuer=FIELD:Betreuer\norder=FIELD:Umsatz\n",
        settings + "[FieldFormat]\nseit=tt.mm.jjjj\n");
  }
  std::string Stored() const {
    return Query(
        "SELECT id, Vorname, Nachname, \"e mail\", CAST(aktiv AS TEXT), CAST(seit AS TEXT), Betreuer, "
        "CAST(\"order\" AS TEXT) FROM " +
        kTable);
  }

  const std::string kTable = "\"Kunde \"\"Süd\"\"\"";
};

TEST_F(TargetCommands, ATableIsReadWithItsTypesLengthsDefaultsAndReferences) {
  const ProgramResult added = Add();
  ASSERT_EQ(added.status, 0) << added.err;
  EXPECT_THAT(added.err, AllOf(HasSubstr("angelegt: Bleibt außen vor. Die Datenbank füllt sie selbst"),
                               HasSubstr("bild: Bleibt außen vor. Ihr Typ BLOB nimmt keine Texte."),
                               HasSubstr("name_lang: Bleibt außen vor. Die Datenbank berechnet sie."),
                               HasSubstr("Betreuer: Zulässig sind die Werte aus Betreuer.\n")));
  EXPECT_EQ(
      Run({"target", "show", "kunden", "--format", "csv"}).out,
      "Feld,Typ,Länge,Pflicht,Schlüssel,Vorgabe,Auswahl\r\nid,ganze Zahl,,,Nummer,,\r\n"
      "Vorname,Text,40,,Name,,\r\nNachname,Text,20,ja,Name,,\r\nStraße,Text,70,,Straße,,\r\n"
      "PLZ,Text,10,,Postleitzahl,,\r\nOrt,Text,40,,Ort,,\r\ne mail,Text,60,,,,\r\naktiv,ja/nein,,,,1,ja\r\n"
      "seit,Datum,,,,,\r\nBetreuer,ganze Zahl,,,,,ja\r\norder,Zahl,,,,,\r\n");
}

TEST_F(TargetCommands, NothingOfTheApplicationIsTouched) {
  const std::string tables =
      "SELECT sql FROM sqlite_schema WHERE name NOT LIKE 'kestrel%' AND sql IS NOT NULL ORDER BY name";
  const std::string before = Query(tables) + Query("SELECT * FROM " + kTable);
  Add();
  EXPECT_EQ(Run({"target", "remove", "kunden", "--yes"}).status, 0);
  EXPECT_EQ(Query(tables) + Query("SELECT * FROM " + kTable), before);
  EXPECT_EQ(Query("SELECT count(*) FROM sqlite_schema WHERE name NOT LIKE 'kestrel%' AND sql IS NOT NULL"),
            "3\n");
}

TEST_F(TargetCommands, AnImportChecksForDuplicatesStoresAndIsTakenBack) {
  Add();
  WriteImport(
      ";Erika;Mustermann;Lindenstraße 7;50674;Köln;a@b;01.02.2020;3;1,5\n"
      ";Hans;Meier;Am Weg 1;01067;Dresden;h@m;13.04.2021;3;12,50\n"
      ";Uwe;Arm;Weg 3;10115;Berlin;;;3;-3\n");
  const ProgramResult tested = Run({"run", "kunden", "--test", "--format", "json"});
  EXPECT_THAT(tested.out, HasSubstr("\"checked\":1")) << tested.err;
  EXPECT_EQ(Query("SELECT count(*) FROM " + kTable), "1\n");

  const ProgramResult run = Run({"run", "kunden", "--format", "json"});
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_THAT(run.out,
              AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"heldBack\":1"), HasSubstr("\"rejected\":1")));
  EXPECT_EQ(Stored(), "1|Erika|Mustermann||1|||\n2|Hans|Meier|h@m|1|2021-04-13|3|12.5\n");
  EXPECT_THAT(Run({"log"}).out, HasSubstr("CHECK constraint failed"));
  EXPECT_THAT(Run({"log", "duplicates"}).out, HasSubstr("Erika Mustermann  50674 Köln"));
  EXPECT_THAT(Run({"runs"}).out, HasSubstr("Kunde \"Süd\""));
  // The import keeps the index true.
  EXPECT_EQ(Run({"target", "check", "kunden"}).out, "Keine Auffälligkeiten.\n");

  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("1 Adresse gelöscht"));
  EXPECT_EQ(Stored(), "1|Erika|Mustermann||1|||\n");
  EXPECT_EQ(Query("SELECT count(*) FROM kestrel_Adressindex"), "1\n");
}

TEST_F(TargetCommands, AnUpdateKeepsWhatItIsNotGivenAndIsTakenBack) {
  Add();
  Execute("UPDATE " + kTable + " SET aktiv = 0");
  WriteImport("1;Erika;Musterfrau;;;;neu@x;;;\n7;Ina;Neu;;;;;;;\n");
  const ProgramResult refused = Run({"run", "kunden"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(Run({"log"}).out,
              HasSubstr("Zum Überschreiben ist KundeSüdUeberschreiben=1 im Abschnitt [CfgSettings]"));
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("1 Adresse gelöscht"));
  const std::string spec = folder_.File("Import") + "/kunden.IMP";
  WriteFileAtomically(spec, ReplaceAll(ReadWholeFile(spec), "Ueberschreiben=0", "Ueberschreiben=1"));
  EXPECT_EQ(Run({"run", "kunden"}).status, 0);
  EXPECT_EQ(Stored(), "1|Erika|Musterfrau|neu@x|0|||\n7|Ina|Neu||1|||\n");
  EXPECT_THAT(Run({"undo", "2"}).err, HasSubstr("1 Adresse wiederhergestellt"));
  EXPECT_THAT(Stored(), HasSubstr("1|Erika|Mustermann||0|||\n"));
}

TEST_F(TargetCommands, KeysCanBeToldAndWithoutThemTheCheckIsOffWithAReason) {
  EXPECT_THAT(Add({"--no-keys"}).err,
              HasSubstr("Die Dublettenprüfung ist aus: So ist es mit --no-keys verlangt."));
  EXPECT_THAT(Run({"target", "list", "--format", "json"}).out,
              HasSubstr(R"("table":"Kunde \"Süd\"","fields":11,"duplicateCheck":false})"));
  const ProgramResult edited = Run({"target", "edit", "kunden", "--key-name", "e mail", "--key-place", "ort"});
  EXPECT_EQ(edited.status, 0) << edited.err;
  EXPECT_THAT(edited.out, HasSubstr("Die Dublettenprüfung kennt 1 Anschrift der Tabelle."));
  EXPECT_THAT(Run({"target", "show", "kunden"}).out, HasSubstr("e mail    Text        60              Name"));
  Execute("CREATE TABLE Artikel (id INTEGER PRIMARY KEY, Bezeichnung TEXT, Preis REAL)");
  EXPECT_THAT(Run({"target", "add", "artikel", "--table", "artikel"}).err,
              HasSubstr("Die Dublettenprüfung ist aus: Keine Spalte heißt wie Straße, Postleitzahl oder Ort."));
  EXPECT_THAT(Run({"target", "edit", "artikel", "--key-name", "Preis"}).err,
              HasSubstr("Aus der Spalte 'Preis' kann kein Schlüssel der Dublettenprüfung werden"));
  EXPECT_THAT(Run({"target", "edit", "artikel", "--key-name", "Foo"}).err,
              HasSubstr("Die Tabelle hat keine Spalte 'Foo'"));
}

TEST_F(TargetCommands, AddCountsNoAddressWhoseNumberTheIndexCannotHold) {
  Execute("INSERT INTO " + kTable + " (id, Nachname, Ort) VALUES (-5, 'Neu', 'Bonn')");
  EXPECT_THAT(Add().out,
              HasSubstr("kennt 1 Anschrift der Tabelle.\n1 Datensatz kennt die Dublettenprüfung nicht"));
}

TEST_F(TargetCommands, CheckTellsWhatOtherProgramsHaveChangedAndPutsTheIndexRight) {
  Add();
  Execute("UPDATE " + kTable + " SET Nachname = 'Beispiel'");
  Execute("INSERT INTO " + kTable + " (Nachname, Ort) VALUES ('Neu', 'Bonn')");
  const ProgramResult checked = Run({"target", "check", "kunden"});
  EXPECT_EQ(checked.status, 1);
  EXPECT_THAT(checked.out, HasSubstr("Andere Programme haben 2 Anschriften geändert"));
  EXPECT_THAT(Run({"target", "check", "kunden", "--rebuild"}).out, HasSubstr("neu gebildet"));
  EXPECT_EQ(Run({"target", "check", "kunden"}).status, 0);
  Execute("DELETE FROM " + kTable + " WHERE id = 2");
  EXPECT_THAT(Run({"target", "check", "kunden", "--format", "json"}).out, HasSubstr("\"keysOrphaned\":1"));
  Run({"target", "check", "kunden", "--rebuild"});
  EXPECT_EQ(Query("SELECT Referenz FROM kestrel_Adressindex"), "1\n");
}

TEST_F(TargetCommands, CheckTellsHowFarItIsWhetherItLooksOrRepairs) {
  Add();
  Execute(
      "INSERT INTO " + kTable +
      " (Nachname, Ort) WITH RECURSIVE zahl (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM zahl WHERE n < 3999) "
      "SELECT 'Neu' || n, 'Bonn' FROM zahl");
  const std::string way =
      "Lese Datensatz 1000 von 4000 (20 %)\nLese Datensatz 2000 von 4000 (50 %)\n"
      "Lese Datensatz 3000 von 4000 (70 %)\nLese Datensatz 4000 von 4000 (100 %)\n";
  EXPECT_EQ(Run({"target", "check", "kunden", "--progress", "plain"}).err, way);
  const ProgramResult repaired = Run({"target", "check", "kunden", "--rebuild", "--progress", "plain"});
  EXPECT_EQ(repaired.err, way);
  EXPECT_THAT(repaired.out, HasSubstr("Andere Programme haben 3999 Anschriften geändert"));
  EXPECT_EQ(Run({"target", "check", "kunden", "--progress", "plain"}).err, way);
  EXPECT_EQ(Run({"target", "check", "kunden", "--progress", "none"}).err, "");
}

TEST_F(TargetCommands, ARepairThatIsStoppedSaysHowFarItCameAndGoesOnWithTheNext) {
  Add();
  Execute(
      "INSERT INTO " + kTable +
      " (Nachname, Ort) WITH RECURSIVE zahl (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM zahl WHERE n < 29999) "
      "SELECT 'Neu' || n, 'Bonn' FROM zahl");
  const std::vector<std::string> repair = {testing::BuiltProgram("kestrel-import"),
                                           "target",
                                           "check",
                                           "kunden",
                                           "--rebuild",
                                           "--progress",
                                           "plain",
                                           "--folder",
                                           folder_.path(),
                                           "--host",
                                           database_};
  const ProgramResult stopped = testing::RunProgram(repair, {}, "Lese Datensatz 3000 ");
  EXPECT_EQ(stopped.status, 5);
  EXPECT_THAT(stopped.err,
              AllOf(HasSubstr("Angehalten nach "), HasSubstr("verglichenen Anschriften. Derselbe")));
  EXPECT_EQ(Run({"target", "check", "kunden", "--rebuild"}).status, 0);
  EXPECT_EQ(Run({"target", "check", "kunden"}).out, "Keine Auffälligkeiten.\n");
}

TEST_F(TargetCommands, CheckTellsATableThatHasChangedOrGoneAndTheWayOut) {
  Add();
  Execute("ALTER TABLE " + kTable + " RENAME COLUMN \"e mail\" TO email");
  const ProgramResult renamed = Run({"target", "check", "kunden"});
  EXPECT_EQ(renamed.status, 1);
  EXPECT_THAT(renamed.out,
              HasSubstr("e mail: Die Spalte gibt es nicht mehr; sie wurde umbenannt oder gelöscht. "
                        "'kestrel-import target edit kunden' liest die Tabelle neu."));
  EXPECT_EQ(Run({"target", "edit", "kunden"}).status, 0);
  EXPECT_EQ(Run({"target", "check", "kunden"}).status, 0);
  Execute("ALTER TABLE " + kTable + " RENAME TO Kundschaft");
  EXPECT_THAT(Run({"target", "check", "kunden"}).out, HasSubstr("Es gibt sie in dieser Datenbank nicht."));
  EXPECT_EQ(Run({"target", "edit", "kunden", "--table", "Kundschaft"}).status, 0);
  EXPECT_EQ(Run({"target", "check", "kunden"}).status, 0);
}

TEST_F(TargetCommands, TablesThatCannotBeOneAreRefusedWithTheReason) {
  Execute("CREATE TABLE ohne (a TEXT)");
  Execute("CREATE TABLE zwei (a INTEGER, b INTEGER, PRIMARY KEY (a, b))");
  Execute("CREATE TABLE text_key (a TEXT PRIMARY KEY)");
  Execute("CREATE TABLE bild (id INTEGER PRIMARY KEY, inhalt BLOB NOT NULL)");
  Execute("CREATE VIEW sicht AS SELECT * FROM Betreuer");
  const auto refusal = [this](const std::string& table) {
    const ProgramResult added = Run({"target", "add", "x", "--table", table});
    EXPECT_EQ(added.status, 4);
    return added.err;
  };
  EXPECT_THAT(refusal("ohne"), HasSubstr("Sie hat keinen Primärschlüssel. Gebraucht wird"));
  EXPECT_THAT(refusal("zwei"), HasSubstr("Ihr Primärschlüssel hat 2 Spalten."));
  EXPECT_THAT(refusal("text_key"), HasSubstr("Ihr Primärschlüssel 'a' enthält keine ganzen Zahlen."));
  EXPECT_THAT(refusal("bild"), HasSubstr("Ihre Pflichtspalte 'inhalt' kann nicht gefüllt werden"));
  EXPECT_THAT(refusal("sicht"), HasSubstr("Sie ist eine Sicht; nennen Sie die Tabelle, aus der sie liest."));
  EXPECT_THAT(refusal("fehlt"), HasSubstr("Es gibt sie in dieser Datenbank nicht."));
  Execute("CREATE TABLE gemischt (nr INT PRIMARY KEY, name TEXT, ort TEXT)");
  Execute("INSERT INTO gemischt VALUES (1, 'a', 'b'), (NULL, 'a', 'b'), ('A17', 'a', 'b')");
  EXPECT_THAT(refusal("gemischt"), HasSubstr("enthält nicht nur ganze Zahlen, sondern auch 'A17'."));
  Execute("CREATE TABLE fremd (\"Номер\" INTEGER PRIMARY KEY, name TEXT)");
  EXPECT_THAT(refusal("fremd"),
              HasSubstr("Die Spalte 'Номер' mit ihren Nummern lässt sich nicht importieren."));
  EXPECT_EQ(Query("SELECT count(*) FROM sqlite_schema WHERE name LIKE 'kestrel%'"), "0\n");
}

TEST_F(TargetCommands, ATableWithoutRowidAndOneWhoseTriggerRefusesAreImportedInto) {
  Execute("CREATE TABLE glatt (nr INT NOT NULL PRIMARY KEY, name TEXT) WITHOUT ROWID");
  Execute(
      "CREATE TRIGGER nein BEFORE INSERT ON glatt WHEN new.name = 'B' BEGIN SELECT raise(ABORT, 'kein B'); "
      "END");
  ASSERT_EQ(Run({"target", "add", "glatt", "--table", "glatt"}).status, 0);
  WriteSource("Name\nA\nB\nC\n");
  WriteSpec("glatt", "nr=NOTASSIGNED\nname=FIELD:Name\n");
  const ProgramResult run = Run({"run", "glatt", "--format", "json"});
  EXPECT_THAT(run.out, AllOf(HasSubstr("\"storedNew\":2"), HasSubstr("\"rejected\":1"))) << run.err;
  EXPECT_THAT(Run({"log"}).out, HasSubstr("kein B"));
  EXPECT_EQ(Query("SELECT nr, name FROM glatt"), "1|A\n2|C\n");
}

TEST_F(TargetCommands, AnotherUniqueColumnCanBeTheNumber) {
  Execute("CREATE TABLE kontakt (code TEXT PRIMARY KEY NOT NULL, nr INTEGER NOT NULL UNIQUE, name TEXT)");
  const ProgramResult added = Run({"target", "add", "kontakte", "--table", "kontakt"});
  ASSERT_EQ(added.status, 0) << added.err;
  EXPECT_THAT(added.err,
              HasSubstr("nr: Nummer der Datensätze ist die eindeutige Spalte 'nr'. Ihr Primärschlüssel "
                        "'code' enthält keine ganzen Zahlen."));
  WriteSource("Code;Name\nx;A\ny;B\nx;C\n");
  WriteSpec("kontakte", "code=FIELD:Code\nnr=NOTASSIGNED\nname=FIELD:Name\n");
  EXPECT_THAT(Run({"run", "kontakte", "--format", "json"}).out,
              AllOf(HasSubstr("\"storedNew\":2"), HasSubstr("\"rejected\":1")));
  EXPECT_EQ(Query("SELECT * FROM kontakt"), "x|1|A\ny|2|B\n");
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("2 Adressen gelöscht"));
  for (const char* sql : {"CREATE TABLE unsicher (code TEXT PRIMARY KEY, nr INTEGER UNIQUE)",
                          "CREATE TABLE teils (code TEXT PRIMARY KEY, nr INTEGER NOT NULL)",
                          "CREATE UNIQUE INDEX teil ON teils (nr) WHERE nr > 5"}) {
    Execute(sql);
  }
  for (const char* table : {"unsicher", "teils"}) {
    EXPECT_THAT(Run({"target", "add", "x", "--table", table}).err, HasSubstr("UNIQUE, NOT NULL")) << table;
  }
}

TEST_F(TargetCommands, OddNamesAndColumnsCalledAsTheProgramsOwnAreNoMatter) {
  Execute(
      "CREATE TABLE \"select\" (Protokoll INTEGER PRIMARY KEY, Einstellungen TEXT, \"group by\" TEXT, "
      "\"O'Neil \"\"x\"\"\" TEXT, Adressindex TEXT NOT NULL DEFAULT 'a', \"Größe\" INTEGER)");
  ASSERT_EQ(Run({"target", "add", "odd", "--table", "select"}).status, 0);
  WriteSource("A;B;C;D;E\n1;'x;y;z;7\n");
  WriteSpec("odd",
            "Protokoll=NOTASSIGNED\nEinstellungen=FIELD:A\ngroup by=FIELD:B\nO'Neil \"x\"=FIELD:C\n"
            "Adressindex=FIELD:D\nGröße=FIELD:E\n");
  EXPECT_EQ(Run({"run", "odd", "--test"}).status, 0);
  EXPECT_EQ(Run({"run", "odd"}).status, 0) << Run({"log"}).out;
  EXPECT_EQ(Query("SELECT * FROM \"select\""), "1|1|'x|y|z|7\n");
  EXPECT_EQ(Run({"target", "check", "odd"}).status, 0);
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("1 Adresse gelöscht"));
}

// A specification keeps names in the ANSI code page, without regard to case; two columns must not share an entry.
TEST_F(TargetCommands, ColumnsWhoseNamesNoSpecificationKeepsAreLeftOutWithTheReason) {
  Execute("CREATE TABLE namen (id INTEGER PRIMARY KEY, \"ä\" TEXT, \"Ä\" TEXT, \"Имя\" TEXT, \"Łódź\" TEXT)");
  const std::string told = Run({"target", "add", "namen", "--table", "namen"}).err;
  EXPECT_THAT(
      told,
      HasSubstr("Ä: Bleibt außen vor. Eine andere Spalte heißt bis auf Groß- und Kleinschreibung ebenso."));
  for (const char* name : {"Имя", "Łódź"}) {
    EXPECT_THAT(told, HasSubstr(std::string(name) + ": Bleibt außen vor. Ihr Name enthält Zeichen"));
  }
  EXPECT_EQ(Run({"target", "show", "namen", "--format", "csv"}).out,
            "Feld,Typ,Länge,Pflicht,Schlüssel,Vorgabe,Auswahl\r\nid,ganze Zahl,,,Nummer,,\r\nä,Text,,,,,\r\n");
}

TEST_F(TargetCommands, ATypeThatMakesNumbersOfTextsIsTold) {
  Execute("CREATE TABLE zahlen (id INTEGER PRIMARY KEY, plz STRING, ort VARCHAR(5), frei)");
  const std::string told = Run({"target", "add", "zahlen", "--table", "zahlen"}).err;
  EXPECT_THAT(told,
              AllOf(HasSubstr("plz: Ihr Typ STRING macht"), Not(HasSubstr("ort: ")), Not(HasSubstr("frei: "))));
}

TEST_F(TargetCommands, DaysAndTruthsThatAreWrittenOtherwiseThanAnImportDoesAreTold) {
  Execute("CREATE TABLE form (id INTEGER PRIMARY KEY, a DATE, b DATETIME, c BOOLEAN, d BOOLEAN, e DATE)");
  Execute("INSERT INTO form VALUES (1, '2020-01-02', '2020-01-02 10:00:00', 1, 'J', NULL)");
  Execute("INSERT INTO form VALUES (2, '02.01.2020', NULL, 0, 0, 1577923200)");
  const std::string told = Run({"target", "add", "form", "--table", "form"}).err;
  EXPECT_THAT(
      told,
      AllOf(HasSubstr("a: Ein Import schreibt JJJJ-MM-TT; in der Tabelle steht auch anderes, zum Beispiel "
                      "'02.01.2020'."),
            HasSubstr("d: Ein Import schreibt 1 und 0; in der Tabelle steht auch anderes, zum Beispiel 'J'."),
            HasSubstr("zum Beispiel 1577923200."), Not(HasSubstr("b: ")), Not(HasSubstr("c: "))));
}

TEST_F(TargetCommands, ValuesOfALongTableAreNotOfferedAndNotHeldForWrong) {
  Execute("CREATE TABLE Plan (nr INTEGER PRIMARY KEY, name TEXT)");
  Execute(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) INSERT INTO Plan "
      "SELECT i, "
      "'P' || i FROM n");
  Execute("CREATE TABLE Vertrag (nr INTEGER PRIMARY KEY, plan INTEGER REFERENCES Plan, text TEXT)");
  EXPECT_THAT(
      Run({"target", "add", "vertraege", "--table", "Vertrag"}).err,
      HasSubstr("plan: Zulässig sind die Werte aus Plan. Sie stehen nicht zur Auswahl, denn es sind mehr als "
                "500"));
  WriteSource("Plan;Text\n90000;a\n100001;b\n");
  WriteSpec("vertraege", "nr=NOTASSIGNED\nplan=FIELD:Plan\ntext=FIELD:Text\n");
  EXPECT_THAT(Run({"check", "vertraege", "--data"}).out, Not(HasSubstr("90000")));
  EXPECT_THAT(Run({"run", "vertraege", "--format", "json"}).out,
              AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"rejected\":1")));
}

TEST_F(TargetCommands, AGermanFileFindsTheFieldsOfAnEnglishTable) {
  Execute(
      "CREATE TABLE Customer (CustomerId INTEGER PRIMARY KEY, FirstName TEXT, LastName TEXT, Company TEXT, "
      "Address TEXT, City TEXT, Country TEXT, PostalCode TEXT, Phone TEXT, Email TEXT)");
  ASSERT_EQ(Run({"target", "add", "customers", "--table", "Customer"}).status, 0);
  WriteSource(
      "Vorname;Nachname;Firma;Straße;Ort;Land;PLZ;Telefon;E-Mail\nHans;Meier;Meier GmbH;Weg 1;Ulm;DE;89073;"
      "0731;h@m\n");
  const ProgramResult made =
      Run({"new", "Messe", "--from", folder_.File("Import") + "/quelle.txt", "--target", "customers"});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(Run({"run", "Messe"}).status, 0);
  EXPECT_EQ(Query("SELECT * FROM Customer"), "1|Hans|Meier|Meier GmbH|Weg 1|Ulm|DE|89073|0731|h@m\n");
}

TEST_F(TargetCommands, SeveralTablesStandInOneHostEachWithItsOwnAddresses) {
  Add();
  Execute("CREATE TABLE Lieferant (id INTEGER PRIMARY KEY, Firma TEXT NOT NULL, Ort TEXT)");
  Execute("INSERT INTO Lieferant VALUES (1, 'Mustermann GmbH', 'Köln')");
  EXPECT_EQ(Run({"target", "add", "lieferanten", "--table", "Lieferant"}).status, 0);
  EXPECT_EQ(Query("SELECT Adressart, Referenz FROM kestrel_Adressindex ORDER BY 1"), "1|1\n2|1\n");
  EXPECT_THAT(Run({"target", "add", "Kunden", "--table", "Lieferant"}).err,
              HasSubstr("Ein Importziel 'Kunden' gibt es schon."));
  EXPECT_EQ(Run({"target", "remove", "kunden"}).status, 0);
  EXPECT_EQ(Query("SELECT Adressart, Referenz FROM kestrel_Adressindex"), "2|1\n");
  EXPECT_THAT(Run({"target", "show", "kunden"}).err, HasSubstr("Ein Importziel 'kunden' gibt es hier nicht."));
}

TEST_F(TargetCommands, ASecondTargetOfATableIsToldWhatItsDuplicateCheckDoesNotKnow) {
  Add();
  const ProgramResult second = Run({"target", "add", "nochmal", "--table", "Kunde \"Süd\""});
  EXPECT_EQ(second.status, 0) << second.err;
  EXPECT_THAT(second.err, AllOf(HasSubstr("Auch das Importziel 'kunden' schreibt in diese Tabelle."),
                                HasSubstr("target check nochmal --rebuild")));
  EXPECT_THAT(Run({"target", "add", "ohne", "--table", "Kunde \"Süd\"", "--no-keys"}).err,
              Not(HasSubstr("Auch das")));
}

TEST_F(TargetCommands, RemovingKeepsTheLogsUnlessYesIsSaid) {
  Add();
  WriteImport(";Hans;Meier;Am Weg 1;01067;Dresden;h@m;;3;\n");
  ASSERT_EQ(Run({"run", "kunden"}).status, 0);
  EXPECT_THAT(Run({"target", "remove", "kunden"}).err, HasSubstr("Die Protokolle von 1 Importlauf bleiben."));
  EXPECT_EQ(Query("SELECT count(*) FROM kestrel_Importlauf"), "1\n");
  Add();
  EXPECT_EQ(Run({"target", "remove", "kunden", "--yes"}).status, 0);
  EXPECT_EQ(Query("SELECT count(*) FROM kestrel_Importlauf"), "0\n");
  EXPECT_EQ(Query("SELECT count(*) FROM kestrel_Importlaufzeilen"), "0\n");
}

TEST_F(TargetCommands, ARunIntoOneThatWasRemovedSaysSoAndTheWayOut) {
  Add();
  WriteImport(";Hans;Meier;Am Weg 1;01067;Dresden;h@m;;3;\n");
  ASSERT_EQ(Run({"target", "remove", "kunden"}).status, 0);
  for (const char* command : {"run", "show", "check"}) {
    const ProgramResult result = Run({command, "kunden"});
    EXPECT_THAT(result.err + result.out,
                AllOf(HasSubstr("vielleicht entfernt"), HasSubstr("kestrel-import target list")))
        << command;
  }
}

TEST_F(TargetCommands, ATableMayBeNamedAsAStatementNamesIt) {
  Execute("CREATE TABLE Kundschaft (nr INTEGER PRIMARY KEY, name TEXT)");
  const ProgramResult added = Run({"target", "add", "x", "--table", "\"Kundschaft\""});
  EXPECT_EQ(added.status, 0) << added.err;
  EXPECT_THAT(added.out, HasSubstr("in die Tabelle 'Kundschaft'"));
}

TEST_F(TargetCommands, WhatIsPrintedAsJsonIsWhatItsSchemaDescribes) {
  const auto expect_fits = [](const std::string& schema_name, const std::string& out) {
    const auto schema =
        nlohmann::json::parse(ReadWholeFile(InSourceTree("docs/json/target-" + schema_name + ".schema.json")));
    EXPECT_NE(out, "");
    for (const std::string_view line : Split(out, '\n')) {
      if (line.empty()) continue;
      EXPECT_EQ(SchemaFault(schema, nlohmann::json::parse(line)), "") << line;
    }
  };
  expect_fits("add", Add({"--format", "json"}).out);
  expect_fits("add", Run({"target", "edit", "kunden", "--format", "json"}).out);
  expect_fits("list", Run({"target", "list", "--format", "json"}).out);
  expect_fits("show", Run({"target", "show", "kunden", "--format", "json"}).out);
  expect_fits("check", Run({"target", "check", "kunden", "--format", "json"}).out);
  Execute("ALTER TABLE " + kTable + " DROP COLUMN \"e mail\"");
  expect_fits("check", Run({"target", "check", "kunden", "--format", "json"}).out);
  expect_fits("remove", Run({"target", "remove", "kunden", "--format", "json"}).out);
}

TEST_F(TargetCommands, TheTablesOfALaterVersionAreRefused) {
  Add();
  Execute("INSERT INTO kestrel_Importfassung VALUES (99)");
  EXPECT_THAT(Run({"target", "list"}).err, HasSubstr("hat eine spätere Version des Programms angelegt"));
}

TEST_F(TargetCommands, EachHasAnApplicationModeOfItsOwnSoThatAListOffersItsSpecificationsOnly) {
  Add();
  Execute("CREATE TABLE Lieferant (id INTEGER PRIMARY KEY, Firma TEXT NOT NULL, Ort TEXT)");
  Run({"target", "add", "lieferanten", "--table", "Lieferant"});
  const auto mode_of = [this](const std::string& target) {
    return std::string(
        TextBetween(ReadWholeFile(folder_.File("Import") + "/" + target + ".IMT"), "Application=", "\r\n"));
  };
  EXPECT_EQ(mode_of("kunden"), "2");
  EXPECT_EQ(mode_of("lieferanten"), "3");
  EXPECT_EQ(Run({"target", "edit", "lieferanten", "--no-keys"}).status, 0);
  EXPECT_EQ(Query("SELECT ProgID, Anwendung FROM kestrel_Importlisten ORDER BY 2"),
            "ksbimport.kunden|2\nksbimport.lieferanten|3\n");
}

TEST_F(TargetCommands, TheTemplateLiesWhereTheWizardFindsIt) {
  const auto add_in = [this](const std::string& folder, const std::string& name) {
    return RunProgram({BuiltProgram("kestrel-import"), "target", "add", name, "--table", "Betreuer", "--host",
                       database_, "--folder", folder})
        .out;
  };
  const std::string fresh = folder_.File("neu");
  EXPECT_THAT(add_in(fresh, "a"), HasSubstr(fresh + "/Import/a.IMT\n"));
  EXPECT_THAT(add_in(fresh, "b"), HasSubstr(fresh + "/Import/b.IMT\n"));
  // A folder that is in use as that of the specifications stays so.
  const std::string own = folder_.File("eigen");
  CreateFolders(own);
  WriteFileAtomically(own + "/alt.IMP", "[Common]\r\n");
  EXPECT_THAT(add_in(own, "c"), HasSubstr(own + "/c.IMT\n"));
}

TEST_F(TargetCommands, InitPutsNoTablesOfTheSampleHostIntoAnotherApplicationsDatabaseUnasked) {
  const std::string tables = "SELECT count(*) FROM sqlite_schema";
  const std::string before = Query(tables);
  const std::string folder = folder_.File("neu");
  const auto init = [&](std::vector<std::string> more) {
    std::vector<std::string> command = {BuiltProgram("kestrel-import"), "init", folder, "--host", database_};
    command.insert(command.end(), more.begin(), more.end());
    return RunProgram(command);
  };
  const ProgramResult refused = init({});
  EXPECT_EQ(refused.status, 4);
  EXPECT_THAT(refused.err, AllOf(HasSubstr("Betreuer"), HasSubstr("target add"), HasSubstr("--force")));
  EXPECT_EQ(Query(tables), before);
  EXPECT_FALSE(FolderExists(folder));
  // Where there are targets, the folder gets what goes with them.
  Add();
  const std::string with_target = Query(tables);
  const ProgramResult made = init({});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_THAT(made.out, HasSubstr("Vorlagen der Importziele angelegt"));
  EXPECT_THAT(ListFiles(folder + "/Import"), ::testing::ElementsAre(folder + "/Import/kunden.IMT"));
  EXPECT_EQ(Query(tables), with_target);
  EXPECT_EQ(Run({"target", "remove", "kunden", "--yes"}).status, 0);
}

TEST_F(TargetCommands, ATemplateThatCannotBeWrittenIsToldWithWhatStands) {
  WriteFileAtomically(folder_.File("kein Ordner"), "");
  const ProgramResult added =
      RunProgram({BuiltProgram("kestrel-import"), "target", "add", "betreuer", "--table", "Betreuer", "--host",
                  database_, "--folder", folder_.File("kein Ordner")});
  EXPECT_EQ(added.status, 4);
  EXPECT_THAT(
      added.err,
      HasSubstr("Das Importziel 'betreuer' gibt es, doch seine Vorlage kann nicht geschrieben werden."));
}

TEST_F(TargetCommands, ASampleHostTakesFurtherTablesBesideItsOwn) {
  ASSERT_EQ(RunProgram({BuiltProgram("kestrel-import"), "init", folder_.File("host")}).status, 0);
  database_ = folder_.File("host") + "/kestrel.db";
  Execute("CREATE TABLE Mitglied (id INTEGER PRIMARY KEY, Name TEXT NOT NULL, Ort TEXT)");
  const ProgramResult added = Run({"target", "add", "mitglieder", "--table", "Mitglied"});
  EXPECT_EQ(added.status, 0) << added.err;
  WriteSource("Name;Ort\nEva;Ulm\n");
  WriteSpec("mitglieder", "id=NOTASSIGNED\nName=FIELD:Name\nOrt=FIELD:Ort\n");
  EXPECT_EQ(Run({"run", "mitglieder"}).status, 0);
  EXPECT_EQ(Query("SELECT Name, Ort FROM Mitglied"), "Eva|Ulm\n");
  EXPECT_EQ(Query("SELECT count(*) FROM sqlite_schema WHERE name LIKE 'kestrel%'"), "0\n");
  EXPECT_EQ(Query("SELECT Tabelle FROM Importlauf"), "Mitglied\n");
}

}  // namespace
}  // namespace kestrel::testing
