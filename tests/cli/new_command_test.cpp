// A first import in two commands.
#include <gmock/gmock.h>

#include "cli/end_to_end_fixture.h"
#include "support/xlsx_writer.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using testing::ProgramResult;

class NewCommandTest : public EndToEnd {
 protected:
  ProgramResult New(const std::string& name, const std::string& file,
                    std::vector<std::string> more = {}) const {
    std::vector<std::string> arguments = {"new", name, "--from", file, "--target", "ksbimport.importkunden"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  std::string Source(const std::string& name, std::string_view content) const {
    WriteFileAtomically(folder_.File(name), content);
    return folder_.File(name);
  }
};

TEST_F(NewCommandTest, AFirstImportTakesTwoCommands) {
  const std::string file = Source("liste.csv",
                                  "Kundennr,Firma,Straße,Postleitzahl,Ort,Kunde seit,Farbe\n"
                                  "1,\"Meier, Otto\",Am Weg 1,50667,Köln,2020.01.31,rot\n"
                                  "2,Schmidt AG,Hof 2,10115,Berlin,2021.12.24,blau\n");
  const ProgramResult made = New("Erstimport", file);
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_THAT(made.err,
              AllOf(HasSubstr("Erkannt: Komma, Anführungszeichen, Überschriften, UTF-8"),
                    HasSubstr("Ohne Feld bleiben die Spalten: Farbe"),
                    HasSubstr("Weiter mit:\n  kestrel-import check Erstimport --data --folder " + host() +
                              "\n  kestrel-import run Erstimport --folder " + host() + "\n")));
  const ProgramResult run = Run({"run", "Erstimport"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Query("SELECT KundenNummer, Bez1, PLZ, Ort, KundeSeit FROM Kunden"),
            "1|Meier, Otto|50667|Köln|31.01.2020\n2|Schmidt AG|10115|Berlin|24.12.2021\n");
  EXPECT_TRUE(FileExists(file));
}

TEST_F(NewCommandTest, TheRestComesFromTheTemplateOfTheDestination) {
  const std::string file = Source("liste.csv", "Name;Ort\nMeier;Köln\nSchmidt;Bonn\n");
  WriteFileAtomically(Spec("Kunden.IMT"),
                      "[Common]\r\nDescription=K\r\nApplication=7\r\nImportClass=KSBImport.ImportKunden\r\n"
                      "DeleteFile=1\r\n[CfgSettings]\r\nKundenUeberschreiben=1\r\n[FieldAssignments]\r\n"
                      "Sprache=CONST:DE\r\nBez2=FIELD:Gibtsnicht\r\n");
  EXPECT_EQ(New("Neu", file).status, 0);
  EXPECT_THAT(
      ReadWholeFile(Spec("Neu.IMP")),
      AllOf(HasSubstr("Description=Neu\r\n"), HasSubstr("Application=7\r\n"), HasSubstr("DeleteFile=0\r\n"),
            HasSubstr("KundenUeberschreiben=1\r\n"), HasSubstr("Sprache=CONST:DE\r\n"),
            HasSubstr("Bez2=NOTASSIGNED\r\n"), HasSubstr("FileName=" + file)));
  EXPECT_EQ(New("Neun", file, {"--app-mode", "9"}).status, 0);
  EXPECT_THAT(ReadWholeFile(Spec("Neun.IMP")), HasSubstr("Application=9\r\n"));
}

TEST_F(NewCommandTest, NothingIsEverReplaced) {
  const std::string before = ReadWholeFile(Spec("Messe.IMP"));
  for (const std::string& name : {std::string("Messe"), std::string("Messe.IMP"), Spec("Messe.IMP")}) {
    const ProgramResult made = New(name, Spec("kunden.txt"));
    EXPECT_EQ(made.status, 4);
    EXPECT_THAT(made.err, HasSubstr("überschrieben wird nichts"));
  }
  EXPECT_EQ(ReadWholeFile(Spec("Messe.IMP")), before);
}

TEST_F(NewCommandTest, AMandatoryFieldWithoutAColumnIsToldWithAWayOut) {
  const ProgramResult made = New("Farben", Source("farben.csv", "Farbe;Ton\nrot;1\nblau;2\n"));
  EXPECT_EQ(made.status, 1);
  EXPECT_THAT(made.err,
              AllOf(HasSubstr("Ohne Spalte bleiben die Pflichtfelder: Bez1"), HasSubstr("[FieldAssignments]")));
  EXPECT_TRUE(FileExists(Spec("Farben.IMP")));
}

TEST_F(NewCommandTest, WhatCannotBeUsedLeavesNoFile) {
  EXPECT_THAT(New("A", folder_.File("fehlt.csv")).err, HasSubstr("existiert nicht."));
  EXPECT_THAT(New("A", testing::BuiltProgram("kestrel-import")).err, HasSubstr("enthält keinen Text"));
  const ProgramResult target =
      Run({"new", "A", "--from", Spec("kunden.txt"), "--target", "ksbimport.importkunde"});
  EXPECT_EQ(target.status, 4);
  EXPECT_THAT(target.err, HasSubstr("Meinten Sie 'ksbimport.importkunden'?"));
  EXPECT_EQ(New("A\\b", Spec("kunden.txt")).status, 4);
  EXPECT_EQ(New("", Spec("kunden.txt")).status, 4);
  EXPECT_FALSE(FileExists(Spec("A.IMP")));
  EXPECT_EQ(Run({"new", "A", "--target", "x"}).status, 2);
}

TEST_F(NewCommandTest, APersonsNamesFillTheMandatoryField) {
  const ProgramResult made = New("Personen", Source("personen.csv",
                                                    "Vorname;Nachname;Straße;PLZ;Stadt\n"
                                                    "Jörg;Müller;Hauptstr. 1;01067;Dresden\n"));
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(Run({"run", "Personen"}).status, 0);
  EXPECT_EQ(Query("SELECT Bez1, Bez2, Ort FROM Kunden"), "Müller|Jörg|Dresden\n");
}

TEST_F(NewCommandTest, OfAnEmptyFileNoSpecificationIsMade) {
  const ProgramResult empty = New("Leer", Source("leer.csv", ""));
  EXPECT_EQ(empty.status, 4);
  EXPECT_THAT(empty.err, AllOf(HasSubstr("leer.csv'' ist leer. "), HasSubstr("in der schon Adressen stehen")));
  EXPECT_THAT(New("Leer", Source("leer.csv", "\n \n")).err, HasSubstr("enthält nur leere Zeilen. "));
  EXPECT_FALSE(FileExists(Spec("Leer.IMP")));
}

TEST_F(NewCommandTest, ADestinationThatDoesNotExistIsToldWithThoseThatDo) {
  const auto told = [this](const std::string& target) {
    const ProgramResult result = Run({"new", "A", "--from", Spec("kunden.txt"), "--target", target});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err, ::testing::Not(HasSubstr("429")));
    return result.err;
  };
  const std::string all =
      " Vorhanden sind:\n  ksbimport.importinteressenten\n  ksbimport.importkunden\n"
      "  ksbimport.importlieferanten\n";
  EXPECT_EQ(
      told("kunden"),
      "kestrel-import: Das Importziel 'kunden' gibt es nicht. Meinten Sie 'ksbimport.importkunden'?" + all);
  EXPECT_EQ(told("zebra"), "kestrel-import: Das Importziel 'zebra' gibt es nicht." + all);
}

TEST_F(NewCommandTest, AnUndecidedDateFormatIsTold) {
  const std::string file = Source("daten.csv", "Name;Kunde seit\nMeier;01.02.03\nSchmidt;04.05.06\n");
  EXPECT_THAT(New("Daten", file).err, HasSubstr("Datumsformat von 'KundeSeit': "));
  EXPECT_THAT(New("Daten2", file).err, HasSubstr("Prüfen Sie es."));
}

TEST_F(NewCommandTest, OfAWorkbookOneSheetIsTakenAndTheOthersAreTold) {
  testing::XlsxWriter workbook;
  const auto rows = [&](const std::vector<std::string>& texts) {
    std::vector<const std::string*> cells;
    for (const std::string& text : texts) cells.push_back(&text);
    workbook.Row(cells);
  };
  workbook.Sheet("Notizen");
  rows({"Was", "Wann"});
  rows({"x", "y"});
  workbook.Sheet("Adressen");
  rows({"Name", "Ort"});
  rows({"Meier", "Köln"});
  const std::string file = Source("mappe.xlsx", workbook.Bytes());
  EXPECT_THAT(New("Erste", file).err,
              HasSubstr("Von 2 Tabellen wurde 'Notizen$' gewählt; eine andere wählt --table."));
  const ProgramResult made = New("Blatt", file, {"--table", "Adressen$"});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(Run({"run", "Blatt"}).status, 0);
  EXPECT_EQ(Query("SELECT Bez1, Ort FROM Kunden"), "Meier|Köln\n");
  EXPECT_THAT(New("Falsch", file, {"--table", "Adresen"}).err, HasSubstr("Meinten Sie 'Adressen$'"));
}

}  // namespace
}  // namespace kestrel
