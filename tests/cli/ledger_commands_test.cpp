// The commands runs and undo.
#include <gmock/gmock.h>

#include "cli/end_to_end_fixture.h"
#include "components/register_components.h"
#include "support/eventually.h"
#include "support/forked_child.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::ProgramResult;
using ::testing::StartsWith;

class LedgerCommands : public EndToEnd {
 protected:
  void SetUp() override {
    EndToEnd::SetUp();
    WriteSpec(
        "Namen.IMP",
        "[Common]\nDescription=Namen\nImportClass=ksbimport.importkunden\nFileName=namen.txt\nDelimiter=;\n"
        "[CfgSettings]\nDublettenPruefen=0\nKundenUeberschreiben=1\n"
        "[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\nOrt=FIELD:Ort\n");
  }
  void Import(const std::string& lines, int status = 0) const {
    WriteFileAtomically(Spec("namen.txt"), ToWindows1252("Nr;Name;Ort\r\n" + lines));
    const ProgramResult run = Run({"run", "Namen", "--user", "4711"});
    ASSERT_EQ(run.status, status) << run.err;
  }
  // Waits for no lock for long.
  ProgramResult RunInAHurry(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), testing::BuiltProgram("kestrel-import"));
    arguments.insert(arguments.end(), {"--folder", host()});
    return testing::RunProgram(arguments, {{"KESTREL_LOCK_WAIT", "0.2"}});
  }
  void Change(const std::string& sql) const { OpenConnection(host() + "/kestrel.db")->Execute(sql); }
  std::string Customers() const {
    return Query("SELECT KundenNummer, Bez1, Ort FROM Kunden ORDER BY KundenNummer");
  }

  // An import class whose run is under way in this process.
  ObjectPtr RunningImport(const ConnectionPtr& connection) {
    host::RegisterComponents(components_);
    const ObjectPtr importer = components_.CreateObject("ksbimport.importkunden");
    SetProperty(importer, "Connection", connection);
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
    CallMethod(importer, "RunStarts", "Namen.IMP", "", "namen.txt", std::int64_t{-1}, "");
    return importer;
  }

  ComponentRegistry components_;
};

TEST_F(LedgerCommands, RunsListsEveryImportWithItsFigures) {
  Import("1;A;Köln\r\n2;B;" + std::string(60, 'x') + "\r\n");
  Import("1;A;Bonn\r\n3;;Ulm\r\n", 1);
  const ProgramResult runs = Run({"runs"});
  EXPECT_EQ(runs.status, 0) << runs.err;
  EXPECT_THAT(runs.out,
              AllOf(StartsWith("Lauf  Zustand"), HasSubstr("\n1     fertig"), HasSubstr("\n2     fertig")));
  const ProgramResult json = Run({"runs", "--format", "json"});
  EXPECT_THAT(json.out,
              AllOf(StartsWith("{\"run\":1,\"state\":\"fertig\",\"begin\":\"20"),
                    HasSubstr("\"table\":\"Kunden\",\"read\":2,\"storedNew\":2,\"updated\":0,\"heldBack\":0,"
                              "\"rejected\":0,\"errors\":0,\"cutValues\":1,\"cutIn\":\"1 in Ort\","
                              "\"user\":\"4711\""),
                    HasSubstr("\n{\"run\":2,"),
                    HasSubstr("\"read\":2,\"storedNew\":0,\"updated\":1,\"heldBack\":0,\"rejected\":1,")));
}

TEST_F(LedgerCommands, RunsShowsWhatBecameOfTheRecordsOfOne) {
  Import("1;A;Köln\r\n2;B;Köln\r\n");
  Import("1;A;Bonn\r\n3;;Ulm\r\n4;D;Ulm\r\n5;E;Ulm\r\n", 1);
  const ProgramResult last = Run({"runs", "--last"});
  EXPECT_EQ(last.status, 0) << last.err;
  EXPECT_THAT(last.out, AllOf(StartsWith("Lauf: 2\nZustand: fertig\n"), HasSubstr("\nBenutzer: 4711\n"),
                              HasSubstr("\nSpezifikation: " + Spec("Namen.IMP") + "\n"),
                              HasSubstr("\nQuelle: " + Spec("namen.txt") + "\n"), HasSubstr("\nPrüfsumme: ")));
  EXPECT_EQ(Run({"runs", "2"}).out, last.out);
  const std::string json = Run({"runs", "2", "--format", "json"}).out;
  EXPECT_EQ(
      json.substr(json.find('\n') + 1),
      "{\"record\":1,\"lastRecord\":1,\"event\":\"geändert\",\"table\":\"Kunden\",\"number\":1,\"lastNumber\":"
      "1,"
      "\"field\":\"Ort\",\"before\":\"Köln\",\"imported\":\"Bonn\"}\n"
      "{\"record\":2,\"lastRecord\":2,\"event\":\"abgewiesen\",\"table\":null,\"number\":null,\"lastNumber\":"
      "null,"
      "\"field\":null,\"before\":null,\"imported\":null}\n"
      "{\"record\":3,\"lastRecord\":4,\"event\":\"neu\",\"table\":\"Kunden\",\"number\":4,\"lastNumber\":5,"
      "\"field\":null,\"before\":null,\"imported\":null}\n");
}

TEST_F(LedgerCommands, ATestRunIsNotListed) {
  WriteFileAtomically(Spec("namen.txt"), "Nr;Name;Ort\r\n1;A;B\r\n");
  ASSERT_EQ(Run({"run", "Namen", "--test"}).status, 0);
  const ProgramResult last = Run({"runs", "--last"});
  EXPECT_EQ(last.status, 4);
  EXPECT_THAT(last.err, HasSubstr("Es ist noch kein Importlauf verzeichnet."));
}

TEST_F(LedgerCommands, AnUnknownRunIsStatus4) {
  Import("1;A;Köln\r\n");
  for (const char* command : {"runs", "undo"}) {
    const ProgramResult result = Run({command, "9"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err,
                HasSubstr("Der Importlauf 9 ist nicht verzeichnet. 'kestrel-import runs' zeigt alle."));
  }
}

TEST_F(LedgerCommands, WrongUseIsStatus2) {
  EXPECT_EQ(Run({"undo"}).status, 2);
  EXPECT_EQ(Run({"undo", "eins"}).status, 2);
  const ProgramResult both = Run({"runs", "1", "--last"});
  EXPECT_EQ(both.status, 2);
  EXPECT_THAT(both.err, HasSubstr("LAUF und --last sind zusammen nicht möglich."));
}

TEST_F(LedgerCommands, TheirHelpIsGermanThroughout) {
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"--help"}, {"runs", "--help"}, {"undo", "--help"}}) {
    EXPECT_THAT(Run(command).out, AllOf(HasSubstr("\nOptionen:\n"), Not(HasSubstr("Options")),
                                        Not(HasSubstr("Subcommands")), Not(HasSubstr("Excludes"))));
  }
}

TEST_F(LedgerCommands, ADatabaseWithoutALedgerSaysSo) {
  const std::string file = folder_.File("andere.db");
  OpenConnection(file)->Execute("CREATE TABLE Kunden (Nr INTEGER)");
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"runs", "--host", file}, {"undo", "1", "--host", file}}) {
    const ProgramResult result = Run(command);
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err,
                HasSubstr("führt kein Verzeichnis der Importläufe. Die Tabelle 'Importlaufzeilen' fehlt"));
  }
}

TEST_F(LedgerCommands, UndoTakesARunBackWhichCanThenBeImportedAgain) {
  Import("1;A;Köln\r\n2;B;Köln\r\n");
  const std::string before = Customers();
  const std::string second = "1;A;Bonn\r\n3;C;Ulm\r\n4;D;Ulm\r\n";
  Import(second);
  const std::string imported = Customers();
  const ProgramResult undo = Run({"undo", "2"});
  EXPECT_EQ(undo.status, 0) << undo.err;
  EXPECT_THAT(undo.err,
              HasSubstr("2 Adressen gelöscht, 1 Adresse wiederhergestellt, 0 Änderungen seit dem Import "
                        "stehen gelassen."));
  EXPECT_EQ(Customers(), before);
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "fertig\nzurückgenommen\n");
  Import(second);
  EXPECT_EQ(Customers(), imported);
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "fertig\nzurückgenommen\nfertig\n");
}

TEST_F(LedgerCommands, RunsTellsWhatAnUndoTookBack) {
  Import("7;G;Köln\r\n");
  EXPECT_EQ(Run({"undo", "1"}).status, 0);
  EXPECT_THAT(Run({"runs", "1"}).out, HasSubstr("\n1          1    neu, zurückgenommen  Kunden   7       7\n"));
}

TEST_F(LedgerCommands, ARunWhoseRowsAreMissingIsRefusedAndStaysAsItIs) {
  Import("1;A;Köln\r\n2;B;Köln\r\n");
  Change("DELETE FROM Importlaufzeilen");
  for (const bool dry : {true, false}) {
    const ProgramResult undo = dry ? Run({"undo", "1", "--dry-run", "--force"}) : Run({"undo", "1", "--force"});
    EXPECT_EQ(undo.status, 4);
    EXPECT_THAT(undo.err, HasSubstr("Von 2 gespeicherten Adressen stehen in der Tabelle 'Importlaufzeilen' nur "
                                    "noch 0. Stellen Sie die fehlenden Zeilen aus einer Sicherung"));
  }
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "fertig\n");
  EXPECT_EQ(Customers(), "1|A|Köln\n2|B|Köln\n");
}

TEST_F(LedgerCommands, UndoListsWhatWasChangedSinceAndTakesThatBackByForceOnly) {
  Import("1;A;Köln\r\n");
  Import("1;A;Bonn\r\n2;B;Ulm\r\n");
  Change("UPDATE Kunden SET Ort = 'Essen'");
  const ProgramResult trial = Run({"undo", "2", "--dry-run", "--format", "json"});
  EXPECT_EQ(trial.status, 1) << trial.err;
  EXPECT_EQ(
      trial.out,
      "{\"record\":1,\"number\":1,\"field\":\"Ort\",\"before\":\"Köln\",\"imported\":\"Bonn\",\"now\":"
      "\"Essen\"}\n"
      "{\"record\":2,\"number\":2,\"field\":\"Ort\",\"before\":null,\"imported\":\"Ulm\",\"now\":\"Essen\"}\n"
      "{\"run\":2,\"removed\":0,\"restored\":0,\"leftAlone\":2,\"dryRun\":true,\"complete\":true}\n");
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "fertig\nfertig\n");
  const ProgramResult undo = Run({"undo", "2"});
  EXPECT_EQ(undo.status, 1);
  EXPECT_THAT(undo.out, HasSubstr("\n1          1       Ort   Köln    Bonn        Essen\n"));
  EXPECT_THAT(undo.err,
              HasSubstr("2 Änderungen seit dem Import stehen gelassen. Auch sie nimmt --force zurück."));
  EXPECT_EQ(Customers(), "1|A|Essen\n2|B|Essen\n");
  const ProgramResult forced = Run({"undo", "2", "--force"});
  EXPECT_EQ(forced.status, 0) << forced.err;
  EXPECT_EQ(Customers(), "1|A|Köln\n");
}

TEST_F(LedgerCommands, ADryRunChangesNothing) {
  Import("1;A;Köln\r\n2;B;Köln\r\n");
  const std::string imported = Customers();
  const ProgramResult trial = Run({"undo", "1", "--dry-run"});
  EXPECT_EQ(trial.status, 0) << trial.err;
  EXPECT_THAT(trial.err, HasSubstr("Es würden 2 Adressen gelöscht"));
  EXPECT_EQ(Customers(), imported);
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "fertig\n");
}

TEST_F(LedgerCommands, AnUndoThatFailsSaysHowToGoOnAndDoes) {
  Import("1;A;Köln\r\n2;B;Köln\r\n");
  Change(
      "CREATE TRIGGER halt BEFORE UPDATE ON Importlaufzeilen BEGIN SELECT RAISE(ABORT, 'keine Rechte'); END");
  const ProgramResult failed = Run({"undo", "1"});
  EXPECT_EQ(failed.status, 4);
  EXPECT_THAT(failed.err,
              AllOf(HasSubstr("keine Rechte"),
                    HasSubstr("Nach der Abhilfe: 'kestrel-import undo 1' setzt die Rücknahme fort.")));
  EXPECT_THAT(Run({"undo", "1", "--dry-run"}).err, AllOf(HasSubstr("keine Rechte"), Not(HasSubstr("fort."))));
  Change("DROP TRIGGER halt");
  EXPECT_EQ(Run({"undo", "1"}).status, 0);
  EXPECT_EQ(Customers(), "");
}

TEST_F(LedgerCommands, ADryRunOfOneAddressSpeaksOfOne) {
  Import("1;A;Köln\r\n");
  EXPECT_THAT(Run({"undo", "1", "--dry-run"}).err, HasSubstr("Es würde 1 Adresse gelöscht"));
}

TEST_F(LedgerCommands, ARunIsLeftAloneWhileItsProgramLives) {
  const ConnectionPtr connection = OpenConnection(host() + "/kestrel.db");
  const ObjectPtr importer = RunningImport(connection);
  EXPECT_THAT(Run({"runs", "1"}).out, HasSubstr("Zustand: läuft\n"));
  const ProgramResult undo = Run({"undo", "1"});
  EXPECT_EQ(undo.status, 4);
  EXPECT_THAT(undo.err, HasSubstr("Der Importlauf 1 läuft noch"));
}

TEST_F(LedgerCommands, WhoeverStartsNextTellsOfARunWhoseProgramWasKilled) {
  {
    testing::ForkedChild child([&] {
      const ConnectionPtr connection = OpenConnection(host() + "/kestrel.db");
      const ObjectPtr importer = RunningImport(connection);
      folder_.Write("ready", "");
      pause();
    });
    ASSERT_TRUE(testing::Eventually([&] { return FileExists(folder_.File("ready")); }));
  }
  WriteFileAtomically(Spec("namen.txt"), "Nr;Name;Ort\r\n1;A;B\r\n");
  const ProgramResult next = Run({"run", "Namen"});
  EXPECT_THAT(next.err, HasSubstr("Der Importlauf 1 vom "));
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "abgebrochen\nfertig\n");
  EXPECT_THAT(Run({"runs"}).err, IsEmpty()) << "told once";
}

TEST_F(LedgerCommands, AnUndoThatWaitsForAnotherProgramSaysSoAndCanBeStopped) {
  Import("1;A;Köln\r\n");
  const ConnectionPtr other = OpenConnection(host() + "/kestrel.db");
  other->Begin();
  const ProgramResult stopped = Run({"undo", "1"}, "Die Datenbank ist gesperrt, es wird gewartet");
  EXPECT_EQ(stopped.status, 5) << stopped.err;
  EXPECT_THAT(stopped.err, HasSubstr("Angehalten. 'kestrel-import undo 1' setzt die Rücknahme fort."));
  other->Rollback();
  EXPECT_EQ(Run({"undo", "1"}).status, 0);
}

TEST_F(LedgerCommands, AnUndoThatWaitsInVainSaysAWayOutAndHasTakenNothingBack) {
  Import("1;A;Köln\r\n2;B;Bonn\r\n");
  const ConnectionPtr other = OpenConnection(host() + "/kestrel.db");
  other->Begin();
  const ProgramResult undo = RunInAHurry({"undo", "1"});
  EXPECT_EQ(undo.status, 4);
  EXPECT_THAT(undo.err, AllOf(HasSubstr("Die Datenbank ist gesperrt, es wird gewartet ..."),
                              HasSubstr("Beenden Sie es, oder warten Sie länger"),
                              HasSubstr("'kestrel-import undo 1' setzt die Rücknahme fort.")));
  other->Rollback();
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "fertig\n");
  EXPECT_EQ(Customers(), "1|A|Köln\n2|B|Bonn\n");
  EXPECT_EQ(Run({"undo", "1"}).status, 0);
  EXPECT_THAT(Customers(), IsEmpty());
}

TEST_F(LedgerCommands, ARunThatWaitsInVainLeavesEveryRecordToTheFileOfThoseNotStored) {
  WriteFileAtomically(Spec("namen.txt"), "Nr;Name;Ort\r\n1;A;Ulm\r\n2;B;Bonn\r\n3;C;Hof\r\n");
  const std::string rejects = folder_.File("rest.txt");
  const ConnectionPtr other = OpenConnection(host() + "/kestrel.db");
  other->Begin();
  const ProgramResult run = RunInAHurry({"run", "Namen", "--user", "4711", "--rejects", rejects});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, AllOf(HasSubstr("Beenden Sie es, oder warten Sie länger"),
                             HasSubstr("3 nicht gespeicherte Datensätze stehen in")));
  other->Rollback();
  EXPECT_THAT(Customers(), IsEmpty());
  EXPECT_EQ(Run({"run", "Namen", "--user", "4711", "--file", rejects}).status, 0);
  EXPECT_EQ(Customers(), "1|A|Ulm\n2|B|Bonn\n3|C|Hof\n");
}

TEST_F(LedgerCommands, AnUndoThatIsStoppedGoesOnWithTheNextOne) {
  std::string lines;
  for (int number = 1; number <= 40000; ++number) lines += std::to_string(number) + ";Name;Ort\r\n";
  Import(lines);
  const ProgramResult stopped =
      Run({"undo", "1", "--progress", "plain", "--format", "json"}, "Nehme Datensatz");
  EXPECT_EQ(stopped.status, 5) << stopped.err;
  EXPECT_THAT(stopped.out, HasSubstr("\"complete\":false}"));
  EXPECT_THAT(stopped.err,
              AllOf(HasSubstr(" von 40000 zurück (10 %)\n"), HasSubstr("' setzt die Rücknahme fort.")));
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "in Rücknahme\n");
  EXPECT_THAT(Customers(), Not(IsEmpty()));
  const ProgramResult rest = Run({"undo", "1"});
  EXPECT_EQ(rest.status, 0) << rest.err;
  EXPECT_THAT(Customers(), IsEmpty());
  EXPECT_EQ(Query("SELECT Zustand FROM Importlauf"), "zurückgenommen\n");
  EXPECT_EQ(Query("SELECT count(*) FROM Adressindex"), "0\n");
}

}  // namespace
}  // namespace kestrel
