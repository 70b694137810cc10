// The options of run that name what was not stored, stop it, and go on.
#include <gmock/gmock.h>

#include <filesystem>

#include "cli/end_to_end_fixture.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ProgramResult;
using ::testing::StartsWith;

class RunOptionsTest : public EndToEnd {
 protected:
  void WriteNames(const std::string& lines) const {
    WriteFileAtomically(Spec("namen.txt"), ToWindows1252(lines));
  }
  void SetUp() override {
    EndToEnd::SetUp();
    WriteSpec(
        "Namen.IMP",
        "[Common]\nDescription=Namen\nImportClass=ksbimport.importkunden\nFileName=namen.txt\nDelimiter=;\n"
        "[CfgSettings]\nDublettenPruefen=0\n"
        "[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\n");
  }
  std::string Rejects() const { return folder_.File("rest.csv"); }
};

TEST_F(RunOptionsTest, TheFiguresAddUpInTheTableAndInJson) {
  WriteNames("Nr;Name\r\n1;" + std::string(300, 'x') + "\r\n2;B\r\n2;C\r\n");
  const ProgramResult text = Run({"run", "Namen"});
  EXPECT_THAT(text.err,
              HasSubstr("3 gelesen = 2 neu gespeichert + 0 geändert + 0 zurückgehalten + 1 abgewiesen; "
                        "1 Fehler; 1 Wert gekürzt (1 in Bez1)\n"));
  EXPECT_THAT(text.out, HasSubstr("Neu"));
  WriteNames("Nr;Name\r\n11;" + std::string(300, 'x') + "\r\n12;B\r\n12;C\r\n");
  const ProgramResult json = Run({"run", "Namen", "--format", "json"});
  EXPECT_THAT(json.out, HasSubstr("\"storedNew\":2,\"updated\":0,\"heldBack\":0,\"cutValues\":1,"
                                  "\"cutFields\":{\"Bez1\":1}"));
  EXPECT_THAT(json.err, Not(HasSubstr("gelesen =")));
}

TEST_F(RunOptionsTest, WhatWasNotStoredIsImportedFromItsFileOnceMended) {
  WriteNames("Nr;Name\r\n1;A\r\n1;\"B;b\"\r\n3;C\r\n");
  const ProgramResult first = Run({"run", "Namen", "--rejects", Rejects()});
  EXPECT_EQ(first.status, 1) << first.err;
  EXPECT_THAT(first.err, HasSubstr("1 nicht gespeicherter Datensatz steht in '" + Rejects() + "'."));
  const std::string rejects = ReadWholeFile(Rejects());
  EXPECT_THAT(rejects, StartsWith("Nr;Name;Grund;Datensatz\r\n1;\"B;b\";"));
  WriteFileAtomically(Rejects(), ReplaceAll(rejects, "\n1;", "\n2;"));
  const ProgramResult second =
      Run({"run", "Namen", "--file", Rejects(), "--rejects", folder_.File("rest2.csv")});
  EXPECT_EQ(second.status, 0) << second.err;
  EXPECT_EQ(Query("SELECT KundenNummer, Bez1 FROM Kunden ORDER BY KundenNummer"), "1|A\n2|B;b\n3|C\n");
  EXPECT_EQ(ReadWholeFile(folder_.File("rest2.csv")), "Nr;Name;Grund;Datensatz\r\n");
}

TEST_F(RunOptionsTest, AFileThatCannotBeWrittenIsStatus4BeforeAnythingIsImported) {
  WriteNames("Nr;Name\r\n1;A\r\n");
  for (const std::string& place :
       {folder_.File("fehlt/rest.csv"), host(), Spec("namen.txt"), Spec("Namen.IMP"), host() + "/kestrel.db"}) {
    const ProgramResult run = Run({"run", "Namen", "--rejects", place});
    EXPECT_EQ(run.status, 4) << place;
    EXPECT_THAT(run.err, HasSubstr(place));
  }
  const std::string to_a_folder = "Bitte einen Ordner wählen";
  EXPECT_THAT(Run({"run", "Namen", "--rejects", folder_.File("fehlt/rest.csv")}).err,
              AllOf(HasSubstr("kann nicht angelegt werden. Datei nicht gefunden"), HasSubstr(to_a_folder)));
  EXPECT_THAT(Run({"run", "Namen", "--rejects", host()}).err,
              AllOf(HasSubstr("Bitte eine Datei angeben, keinen Ordner"), Not(HasSubstr(to_a_folder))));
  EXPECT_THAT(Run({"run", "Namen", "--rejects", "/dev/full"}).err,
              AllOf(HasSubstr("keine gewöhnliche Datei"), HasSubstr("Bitte eine Datei angeben"),
                    Not(HasSubstr(to_a_folder))));
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Kunden"), "0\n");
  EXPECT_THAT(ReadWholeFile(Spec("namen.txt")), StartsWith("Nr;Name"));
}

TEST_F(RunOptionsTest, NoSpecificationAndNoTemplateIsEverReplacedByRejects) {
  WriteNames("Nr;Name\r\n1;A\r\n");
  const std::string link = folder_.File("rest.csv");
  std::filesystem::create_symlink(Spec("Messe.IMP"), link);
  const std::string before = ReadWholeFile(Spec("Messe.IMP"));
  for (const std::string& place : {Spec("Messe.IMP"), Spec("Kunden.IMT"), link, folder_.File("rest.imp"),
                                   folder_.File("rest.Imt"), folder_.File("rest.IMP")}) {
    const ProgramResult run = Run({"run", "Namen", "--rejects", place});
    EXPECT_EQ(run.status, 4) << place;
    EXPECT_THAT(run.err, AllOf(HasSubstr(place), HasSubstr("Importspezifikation"), HasSubstr("Bitte eine ")));
  }
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Kunden"), "0\n");
  EXPECT_EQ(ReadWholeFile(Spec("Messe.IMP")), before);
  EXPECT_FALSE(FileExists(folder_.File("rest.imp")));
}

TEST_F(RunOptionsTest, AnImportThatItsErrorsStoppedSaysWithWhichRecordToGoOnAndDoes) {
  WriteNames("Nr;Name\r\n1;A\r\n1;B\r\n1;C\r\n4;D\r\n5;E\r\n");
  const ProgramResult stopped = Run({"run", "Namen", "--max-errors", "2"});
  EXPECT_EQ(stopped.status, 4);
  EXPECT_THAT(stopped.err,
              HasSubstr("Fortsetzen mit: kestrel-import run Namen --from 2 --folder " + host() + "\n"));
  WriteNames("Nr;Name\r\n1;A\r\n2;B\r\n3;C\r\n4;D\r\n5;E\r\n");
  const ProgramResult resumed = Run({"run", "Namen", "--from", "2"});
  EXPECT_EQ(resumed.status, 0) << resumed.err;
  EXPECT_EQ(Query("SELECT Bez1 FROM Kunden ORDER BY KundenNummer"), "A\nB\nC\nD\nE\n");
}

TEST_F(RunOptionsTest, TheCommandToGoOnWithNamesTheSourceThatWasReadAsAShellTakesIt) {
  WriteNames("Nr;Name\r\n7;Andere\r\n");
  const std::string other = folder_.Write("andere Namen.txt", "Nr;Name\r\n1;A\r\n1;B\r\n3;C\r\n");
  const ProgramResult stopped = Run({"run", "Namen", "--file", other, "--max-errors", "1"});
  EXPECT_THAT(stopped.err, HasSubstr("Fortsetzen mit: kestrel-import run Namen --file '" + other +
                                     "' --from 2 --folder " + host() + "\n"));
  const std::string rejects = folder_.File("rest 1.csv");
  const ProgramResult kept =
      Run({"run", "Namen", "--file", other, "--from", "2", "--max-errors", "1", "--rejects", rejects});
  EXPECT_THAT(kept.err,
              HasSubstr(": kestrel-import run Namen --file '" + rejects + "' --folder " + host() + "\n"));
}

TEST_F(RunOptionsTest, TheCommandToGoOnWithDoesWhatThisOneDid) {
  WriteNames("Nr;Name\r\n1;A\r\n1;B\r\n3;C\r\n");
  const std::string database = host() + "/kestrel.db";
  const ProgramResult stopped = Run({"run", "Namen", "--max-errors", "1", "--host", database, "--user", "7"});
  EXPECT_THAT(stopped.err, HasSubstr("Fortsetzen mit: kestrel-import run Namen --from 2 --folder " + host() +
                                     " --host " + database + " --user 7\n"));
  EXPECT_THAT(Run({"run", "Namen", "--from", "2", "--max-errors", "1", "--test"}).err,
              HasSubstr("Fortsetzen mit: kestrel-import run Namen --from 2 --test --folder " + host() + "\n"));
}

TEST_F(RunOptionsTest, NoRecordBehindTheLastIsOfferedToGoOnWith) {
  WriteNames("Nr;Name\r\n1;A\r\n2;B\r\n");
  const ProgramResult run = Run({"run", "Namen", "--from", "3"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, AllOf(HasSubstr("Die Quelle hat nur 2 Datensätze"), Not(HasSubstr("Fortsetzen mit")),
                             Not(HasSubstr("erfolgreich"))));
}

TEST_F(RunOptionsTest, AHostThatRefusesEveryRecordIsToldOnceAndStopsTheRun) {
  std::string lines = "Nr;Name\r\n";
  for (int i = 1; i <= 1000; ++i) lines += std::to_string(i) + ";A\r\n";
  WriteNames(lines);
  OpenConnection(host() + "/kestrel.db")
      ->Execute("CREATE TRIGGER keine BEFORE INSERT ON Kunden BEGIN SELECT RAISE(ABORT, 'keine Rechte'); END");
  const ProgramResult run = Run({"run", "Namen", "--format", "json"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.out, HasSubstr("\"records\":100,"));
  EXPECT_THAT(run.out, HasSubstr("\"nextRecord\":1,"));
  const ProgramResult log = Run({"log", "errors", "--last", "--format", "csv"});
  EXPECT_EQ(std::count(log.out.begin(), log.out.end(), '\n'), 2) << log.out;
}

TEST_F(RunOptionsTest, NumbersThatNameNoRecordAreWrongUse) {
  for (const char* number : {"0", "-1", "x", "99999999999"}) {
    EXPECT_EQ(Run({"run", "Kundenliste", "--from", number}).status, 2) << number;
    EXPECT_EQ(Run({"run", "Kundenliste", "--max-errors", number}).status, 2) << number;
  }
  const ProgramResult run = Run({"run", "Kundenliste", "--from", "2000"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, HasSubstr("Die Quelle hat nur 1000 Datensätze; Datensatz 2000 gibt es nicht."));
  EXPECT_THAT(run.err, Not(HasSubstr("Fortsetzen")));
}

TEST_F(RunOptionsTest, RejectsOfADatabaseAreCsvThatTheSameSpecificationImports) {
  const ConnectionPtr source = OpenConnection("Provider=SQLite;Data Source=" + folder_.File("quelle.db"));
  WriteSpec("Tabelle.IMP",
            "[Common]\nDescription=Tabelle\nImportClass=ksbimport.importkunden\nProvider=dBase-Datenbank\n"
            "Database=" +
                host() +
                "/Import\nTable=namen\n[CfgSettings]\nDublettenPruefen=0\n"
                "[FieldAssignments]\nBez1=FIELD:NAME\n");
  // What a database's rejects look like.
  WriteFileAtomically(Rejects(),
                      "NR,NAME,Grund,Datensatz\r\n1,\"Müller, Eva\",weg,7\r\n2,\"zwei\nZeilen\",weg,8\r\n");
  const ProgramResult run = Run({"run", "Tabelle", "--file", Rejects()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Query("SELECT Bez1 FROM Kunden ORDER BY KundenNummer"), "Müller, Eva\nzwei\nZeilen\n");
}

}  // namespace
}  // namespace kestrel
