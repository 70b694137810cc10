// The real program on the demo's files and a real database: what it prints, returns and stores.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "cli/end_to_end_fixture.h"
#include "support/without_privileges.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using testing::BuiltProgram;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ProgramResult;

long Lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

TEST_F(EndToEnd, KeyIndexesThatAreMissingAreRestoredByWhoeverOpensTheHostAndTold) {
  OpenConnection(host() + "/kestrel.db")->Execute("DROP INDEX Adressindex1");
  EXPECT_THAT(Run({"log", "errors"}).err, HasSubstr("neu angelegt"));
  EXPECT_EQ(Query("SELECT count(*) FROM sqlite_schema WHERE name LIKE 'Adressindex_'"), "3\n");
  EXPECT_THAT(Run({"log", "errors"}).err, Not(HasSubstr("neu angelegt")));
}

TEST_F(EndToEnd, TheCustomerListIsStoredAndItsErrorsAreLogged) {
  const ProgramResult run = Run({"run", "Kundenliste", "--user", "4711", "--format", "json"});
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(
      run.out,
      "{\"records\":1000,\"total\":1000,\"errors\":14,\"duplicates\":0,\"aborted\":false,\"cancelled\":false,"
      "\"test\":false,\"message\":\"Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese "
      "über die "
      "Protokolle!\",\"stored\":997,\"rejected\":3,\"checked\":0,\"source\":\"complete\",\"sourceError\":null,"
      "\"sourceKept\":null,\"stopReason\":null,\"unlogged\":0,\"storedNew\":997,\"updated\":0,\"heldBack\":0,"
      "\"cutValues\":458,\"cutFields\":{\"Suchbegriff\":458},\"skipped\":0,\"nextRecord\":null,\"rejects\":0,"
      "\"run\":1,\"rejectsError\":null}\n");
  // Three records have dates that the database refuses as a whole.
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Kunden"), "997\n");
  EXPECT_EQ(
      Query("SELECT KundenNummer, Bez1, Bez3, Strasse, Land, PLZ, Ort, KundeSeit, Umsatz, Mitarbeiter, Rabatt, "
            "Bemerkung FROM Kunden WHERE KundenNummer IN (10001, 10003)"),
      "10001|Heike Haas||Industriestraße 60 b|DE|04109|Leipzig|03.12.1989|4384,08||2,5|\n"
      "10003|Druckerei Herrmann OHG|Bärbel Herrmann|Waldstraße 42 a|DE|36037|Fulda|21.09.2008|5019,78|2|2,5|"
      "Rabatt vereinbart; siehe Vertrag\n");
  // Records without a number got the next free one, which is the number they had lost.
  EXPECT_EQ(Query("SELECT MIN(KundenNummer), MAX(KundenNummer) FROM Kunden"), "10001|11000\n");

  const ProgramResult log = Run({"log", "errors", "--last", "--format", "csv"});
  EXPECT_EQ(log.status, 0);
  EXPECT_EQ(Lines(log.out), 15);
  EXPECT_THAT(log.out, HasSubstr("Dr. Erika Schmitz"));
  EXPECT_THAT(
      log.out,
      HasSubstr("Fehler: 10005 Eine Typen Unverträglichkeit wurde im Modul ImportStart festgestellt. Ein "
                "alphanumerischer Wert kann nicht in ein numerisches Feld geschrieben werden. (KundenNummer / "
                "neu (ImportRecord/ImportStart)"));
}

TEST_F(EndToEnd, KnownAddressesOfASecondFileAreHeldBackAndListedFieldByField) {
  ASSERT_EQ(Run({"run", "Kundenliste"}).status, 1);
  const ProgramResult run = Run({"run", "Messe"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("Adressen wegen Dublettenverdacht nicht importiert. Bitte prüfen Sie das "
                                 "Dublettenprotokoll!"));
  // The translated values, not the file's own.
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Kunden WHERE Land NOT IN ('DE', 'AT', 'CH')"), "0\n");
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Kunden WHERE Kundengruppe NOT IN ('A', 'B', 'C', 'P')"), "0\n");

  const ProgramResult log = Run({"log", "duplicates", "--last", "--format", "json"});
  const long held_back = Lines(log.out) / 20;
  EXPECT_EQ(Lines(log.out) % 20, 0) << "one row for each of the 20 assigned fields";
  EXPECT_GE(held_back, 80) << "40 repeated exactly, 40 spelled differently";
  EXPECT_LT(held_back, 100);
  EXPECT_THAT(log.out, HasSubstr("\"field\":\"Bez1\""));
  EXPECT_THAT(log.out, HasSubstr("{\"log\":")) << "a number";
  EXPECT_THAT(log.out, Not(HasSubstr("{\"log\":\"")));
  EXPECT_THAT(log.out,
              HasSubstr("\"sourceRecord\":1,\"addressType\":\"Kunden\",\"address\":\"10100\","
                        "\"name\":\"Getränkemarkt Schreiber KG\",\"place\":\"20095 Hamburg\",\"key\":1,"
                        "\"earlierRecord\":null"));
  // Everything else is stored: new addresses, and those under a known number, which replace it.
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Kunden"), std::to_string(997 + 200 - held_back) + "\n");
}

TEST_F(EndToEnd, ATestRunStoresNoAddressAndTellsTheErrorsOfTheImport) {
  const auto log = [this] {
    return Query(
        "SELECT replace(Spalte0, '(CheckRecord/', '(ImportRecord/') FROM Protokollzeilen "
        "WHERE ProtokollNr = (SELECT max(ProtokollNr) FROM Protokoll) ORDER BY ZeilenNr");
  };
  const ProgramResult test = Run({"run", "Kundenliste", "--test", "--format", "json"});
  EXPECT_THAT(test.out, AllOf(HasSubstr("\"errors\":14"), HasSubstr("\"test\":true"),
                              HasSubstr("\"rejected\":3"), HasSubstr("\"checked\":997")));
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Kunden"), "0\n");
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Adressindex"), "0\n");
  const std::string told = log();
  EXPECT_THAT(Run({"run", "Kundenliste", "--format", "json"}).out, HasSubstr("\"errors\":14"));
  EXPECT_EQ(told, log());
}

TEST_F(EndToEnd, TheErrorLogTellsRecordFieldSourceColumnAndRawValueAndNoWorkingCopy) {
  Run({"run", "Kundenliste"});
  const ProgramResult log = Run({"log", "errors", "--last", "--format", "json"});
  EXPECT_THAT(log.out, HasSubstr("\"sourceRecord\":573,\"lastSourceRecord\":null,\"field\":\"KundeSeit\","
                                 "\"sourceColumn\":\"Kunde seit\",\"rawValue\":\"31.02.2019\""));
  EXPECT_THAT(log.out, HasSubstr("\"specificationFile\":\"" + Spec("Kundenliste.IMP") + "\""));
  EXPECT_THAT(log.out, HasSubstr("/kunden.txt\""));
  EXPECT_THAT(log.out, Not(HasSubstr(".tmp")));
}

TEST_F(EndToEnd, WithinOneFileTheDuplicateLogTellsTheEarlierRecord) {
  WriteFileAtomically(Spec("doppelt.txt"), "Name;PLZ\r\nMeier;1\r\nHuber;2\r\nMEIER;1\r\n");
  WriteSpec("Doppelt.IMP",
            "[Common]\nDescription=Doppelt\nImportClass=ksbimport.importkunden\nProvider=Textdatei\n"
            "FileName=doppelt.txt\nColumnHeadings=True\nDelimiter=;\n"
            "[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n"
            "[FieldAssignments]\nBez1=FIELD:Name\nPLZ=FIELD:PLZ\n");
  Run({"run", "Doppelt"});
  EXPECT_THAT(Run({"log", "duplicates", "--last", "--format", "json"}).out,
              HasSubstr("\"sourceRecord\":3,\"addressType\":\"Kunden\",\"address\":\"1\",\"name\":\"Meier\","
                        "\"place\":\"1\",\"key\":1,\"earlierRecord\":1,\"decision\":null,\"score\":100,"
                        "\"reason\":\"gleicher Name, gleiche PLZ\""));
}

TEST_F(EndToEnd, ATestRunNeitherBacksTheSourceFileUpNorRemovesIt) {
  WriteFileAtomically(Spec("kurz.txt"), "Name\r\nMeier\r\n");
  WriteSpec(
      "Kurz.IMP",
      "[Common]\nDescription=Kurz\nImportClass=ksbimport.importkunden\nProvider=Textdatei\nFileName=kurz.txt\n"
      "ColumnHeadings=True\nDelimiter=;\nSaveFile=1\nSavePath=" +
          folder_.path() + "\nDeleteFile=1\n[FieldAssignments]\nBez1=FIELD:Name\n");
  EXPECT_EQ(Run({"run", "Kurz", "--test"}).status, 0);
  EXPECT_TRUE(FileExists(Spec("kurz.txt")));
  EXPECT_FALSE(FileExists(folder_.File("kurz.txt")));
  EXPECT_EQ(Run({"run", "Kurz"}).status, 0);
  EXPECT_FALSE(FileExists(Spec("kurz.txt")));
  EXPECT_TRUE(FileExists(folder_.File("kurz.txt")));
}

TEST_F(EndToEnd, ASourceFileThatStaysIsToldWithTheReason) {
  WriteFileAtomically(Spec("kurz.txt"), "Name;Seit\r\nMeier;morgen\r\n");
  WriteSpec(
      "Kurz.IMP",
      "[Common]\nDescription=Kurz\nImportClass=ksbimport.importkunden\nProvider=Textdatei\nFileName=kurz.txt\n"
      "ColumnHeadings=True\nDelimiter=;\nDeleteFile=1\n[FieldAssignments]\nBez1=FIELD:Name\nUmsatz=FIELD:"
      "Seit\n");
  const ProgramResult run = Run({"run", "Kurz", "--format", "json"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("wurde nicht gelöscht: Es wurden Fehler gezählt."));
  EXPECT_THAT(run.out, HasSubstr("wurde nicht gelöscht: Es wurden Fehler gezählt."));
  EXPECT_TRUE(FileExists(Spec("kurz.txt")));
}

TEST_F(EndToEnd, ADestinationWhoseFieldsCannotBeReadIsStatus4BeforeAnyRecord) {
  OpenConnection(host() + "/kestrel.db")->Execute("DROP TABLE Importfelder");
  const ProgramResult run = Run({"run", "Kundenliste"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, HasSubstr("Die Felder des Ziels konnten nicht gelesen werden. Fehler 3000: "));
  EXPECT_EQ(Query("SELECT count(*) FROM Protokollzeilen"), "1\n")
      << "the error of GetFields, and none of a record";
  const ProgramResult check = Run({"check", "Kundenliste"});
  EXPECT_EQ(check.status, 1);
  EXPECT_THAT(check.out, HasSubstr("Das Ziel meldet beim Lesen seiner Felder den Fehler 3000: "));
}

TEST_F(EndToEnd, ProgressGoesToStandardErrorOnlyWhenAskedFor) {
  EXPECT_THAT(Run({"run", "Kundenliste"}).err, Not(HasSubstr("Importiere Datensatz")));
  EXPECT_THAT(Run({"run", "Kundenliste", "--progress", "plain"}).err,
              AllOf(HasSubstr("Importiere Datensatz 99 von 1000 (10 %)"), HasSubstr("(100 %)")));
}

TEST_F(EndToEnd, AnInterruptedRunEndsInOrder) {
  std::string lines = "Name;Ort;Wert\r\n";
  for (int i = 0; i < 500'000; ++i) lines += "Meier;Köln;1\r\n";
  WriteFileAtomically(Spec("gross.txt"), ToWindows1252(lines));
  WriteSpec("Gross.IMP",
            "[Common]\nDescription=Gross\nImportClass=ksbimport.importkunden\nFileName=gross.txt\nDelimiter=;\n"
            "[FieldAssignments]\nBez1=FIELD:Name\nOrt=FIELD:Ort\n");
  const ProgramResult run = Run({"run", "Gross", "--format", "json", "--progress", "plain"}, "(10 %)");
  EXPECT_EQ(run.status, 5) << run.err;
  EXPECT_THAT(run.out, HasSubstr("\"aborted\":true"));
  const std::string stored = "{\"records\":" + ReplaceAll(Query("SELECT COUNT(*) FROM Kunden"), "\n", ",");
  EXPECT_TRUE(run.out.starts_with(stored)) << run.out << stored;
  // The database is not left locked.
  OpenConnection(host() + "/kestrel.db")->Execute("DELETE FROM Kunden");
}

TEST_F(EndToEnd, ColumnsAndPreviewShowTheSource) {
  EXPECT_THAT(Run({"columns", "Kundenliste", "--format", "csv"}).out, HasSubstr("5,Straße\r\n"));
  const ProgramResult preview = Run({"preview", "Kundenliste", "-n", "2", "--format", "json"});
  EXPECT_EQ(Lines(preview.out), 2);
  EXPECT_TRUE(preview.out.starts_with("[\"10001\",\"Heike Haas\",\"\",\"\",\"Industriestraße 60 b\",\"D\""))
      << preview.out;
  EXPECT_EQ(Lines(Run({"preview", "Kundenliste", "-n", "0"}).out), 2) << "titles only";
}

TEST_F(EndToEnd, ShowTellsSettingsAndAssignments) {
  const ProgramResult show = Run({"show", "Messe"});
  EXPECT_EQ(show.status, 0) << show.err;
  EXPECT_THAT(show.out, AllOf(HasSubstr("Kontakte der Messe"), HasSubstr("«Straße»"), HasSubstr("\"EUR\""),
                              HasSubstr("-wird übersetzt-"), HasSubstr("tt.mm.jjjj")));
}

TEST_F(EndToEnd, ListFindsSpecificationsAndTemplates) {
  EXPECT_THAT(Run({"list"}).out, HasSubstr("Kundenliste des Großhandels"));
  EXPECT_THAT(Run({"list", "--templates"}).out, HasSubstr("Kunden aus Textdatei"));
  EXPECT_THAT(Run({"list", "--app-mode", "99"}).out, Not(HasSubstr("Kundenliste")));
}

TEST_F(EndToEnd, ASpecificationIsFoundByDescriptionToo) {
  EXPECT_EQ(Run({"columns", "Kontakte der Messe"}).status, 0);
}

TEST_F(EndToEnd, ASoundSpecificationHasNoFindings) {
  const ProgramResult check = Run({"check", "Kundenliste"});
  EXPECT_EQ(check.status, 0);
  EXPECT_THAT(check.out, HasSubstr("Keine Auffälligkeiten"));
}

TEST_F(EndToEnd, CheckNamesSectionAndKeyOfEverythingSuspicious) {
  std::string table;
  for (int i = 0; i < 500; ++i) table += "Quellwert" + std::to_string(i) + "=A\n";
  WriteSpec(
      "Faul.IMP",
      "[Common]\nDescription=Faul\nImportClass=ksbimport.importkunden\nFileName=kunden.txt\nDelimiter=;\n"
      "Server=nirgends\nSaveFile=vielleicht\n"
      "[FieldAssignments]\nBez1=NOTASSIGNED\nBez2=FIELD:straße\nBez3=CONST:10:30\nKundeSeit=FIELD:Kunde seit\n"
      "Gibtesnicht=FIELD:Ort\nOrt=field:Ort\n"
      "[FieldTranslation]\nLand=1\nKundengruppe=1\n[Translation_Kundengruppe]\n" +
          table + "[Unbekannt]\nx=y\n");
  const ProgramResult check = Run({"check", "Faul", "--format", "csv"});
  EXPECT_EQ(check.status, 1);
  for (const char* finding :
       {"Fehler,FieldAssignments,Bez1,Das Pflichtfeld ist nicht zugeordnet.", "Fehler,FieldAssignments,Bez2,",
        "Gemeint ist wohl \"\"Straße\"\"", "Warnung,FieldAssignments,Bez3,", "gelesen wird \"\"10\"\"",
        "Fehler,FieldFormat,KundeSeit,", "Warnung,FieldAssignments,Gibtesnicht,",
        "Warnung,FieldAssignments,Ort,", "Fehler,Translation_Kundengruppe,Quellwert",
        "Warnung,FieldTranslation,Land,", "Warnung,Common,Server,", "Warnung,Common,SaveFile,",
        "Warnung,Unbekannt,,"}) {
    EXPECT_THAT(check.out, HasSubstr(finding));
  }
}

TEST_F(EndToEnd, CheckOfTheDataTellsFiguresAndFindingsAsTables) {
  const ProgramResult check = Run({"check", "Kundenliste", "--data", "--format", "csv"});
  EXPECT_EQ(check.status, 1);
  for (const char* line :
       {"1000,15,Windows-1252,1001,0,0,0,\r\n", "Umsatz,Umsatz,1000,0,0,4,0,0,0,0\r\n",
        "Suchbegriff,Name,1000,0,458,0,0,0,0,0\r\n",
        "Warnung,Translation_Land,,\"29 Werte haben keine Übersetzung", "Warnung,FieldFormat,KundeSeit,",
        "(996 von 1000)", "Fehler,FieldAssignments,KundeSeit,\"3 Datensätze weist das Importziel ab"}) {
    EXPECT_THAT(check.out, HasSubstr(line));
  }
}

TEST_F(EndToEnd, CheckOfTheDataGivesOneJsonObjectALineWithNumbersAsSuch) {
  const ProgramResult check = Run({"check", "Kundenliste", "--data", "--format", "json"});
  for (const char* line :
       {"{\"kind\":\"source\",\"records\":1000,\"columns\":15,\"charset\":\"Windows-1252\",\"crlf\":1001,"
        "\"lf\":0,"
        "\"cr\":0,\"unusualLines\":0,\"repeatedAddresses\":null}\n",
        "{\"kind\":\"field\",\"field\":\"Land\",\"column\":\"Land\",\"filled\":1000,\"empty\":0,\"cut\":0,"
        "\"notNumbers\":0,\"notDates\":0,\"notTranslated\":29,\"notPermitted\":0,\"unreadable\":0}\n",
        "\"count\":1,\"examples\":[{\"record\":418,\"value\":\"neu\"}]}\n"}) {
    EXPECT_THAT(check.out, HasSubstr(line));
  }
}

TEST_F(EndToEnd, TheErrorsInTheDataAreThoseThatARunCounts) {
  const std::string before = Query("SELECT count(*) FROM Kunden");
  const ProgramResult check = Run({"check", "Kundenliste", "--data", "--format", "json"});
  std::int64_t errors = 0;
  for (const std::string_view line : Split(check.out, '\n')) {
    constexpr std::string_view kCount = "\"count\":";
    const std::size_t at = line.find(kCount);
    if (line.find("\"severity\":\"Fehler\"") == std::string_view::npos || at == std::string_view::npos)
      continue;
    errors += std::stoi(std::string(line.substr(at + kCount.size())));
  }
  EXPECT_THAT(Run({"log", "errors", "--last"}).out, Not(HasSubstr("10005"))) << "a check logs nothing";
  EXPECT_EQ(Query("SELECT count(*) FROM Kunden"), before) << "and stores nothing";
  const ProgramResult run = Run({"run", "Kundenliste", "--format", "json"});
  EXPECT_THAT(run.out, HasSubstr("\"errors\":" + std::to_string(errors) + ","));
  EXPECT_EQ(errors, 14);
}

TEST_F(EndToEnd, CheckTellsAnUnknownKindOfSource) {
  WriteSpec("Art.IMP", "[Common]\nDescription=Art\nImportClass=ksbimport.importkunden\nProvider=textdatei\n");
  EXPECT_THAT(Run({"check", "Art", "--format", "csv"}).out,
              HasSubstr("Fehler,Common,Provider,\"Unbekannte Art der Datenquelle \"\"textdatei\"\""));
}

TEST_F(EndToEnd, WhatCannotBeUsedIsStatus4WithTheReason) {
  ProgramResult run = Run({"run", "Gibtesnicht"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, AllOf(HasSubstr("'Gibtesnicht' wurde nicht gefunden"), HasSubstr("Kundenliste.IMP")));

  run = Run({"run", "Kundenliste", "--file", "/gibt/es/nicht.txt"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, HasSubstr("Die Datei ''/gibt/es/nicht.txt'' existiert nicht."));

  WriteSpec("Ziel.IMP",
            "[Common]\nDescription=Ziel\nImportClass=kein.ziel\nFileName=kunden.txt\nDelimiter=;\n");
  run = Run({"run", "Ziel"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err,
              AllOf(HasSubstr("Der angegebene Import Provider ''kein.ziel'' kann nicht geladen werden. "
                              "Fehlercode 429."),
                    HasSubstr("durchsuchte Ordner")));

  EXPECT_EQ(Run({"run", "Kundenliste", "--host", "/gibt/es/nicht.db"}).status, 4);
  WriteSpec("Pflicht.IMP",
            "[Common]\nDescription=P\nImportClass=ksbimport.importkunden\nFileName=kunden.txt\nDelimiter=;\n"
            "[FieldAssignments]\nBez1=NOTASSIGNED\n");
  EXPECT_THAT(Run({"run", "Pflicht"}).err, HasSubstr("Ein Pflichtfeld wurde noch nicht zugeordnet."));
}

TEST_F(EndToEnd, WrongUseIsStatus2AndSaysWhatIsWrong) {
  EXPECT_EQ(Run({"run"}).status, 2);
  EXPECT_EQ(Run({"tanze"}).status, 2);
  EXPECT_EQ(Run({"preview", "Kundenliste", "--format", "xml"}).status, 2);
  EXPECT_EQ(Run({"--help"}).status, 0);
}

TEST_F(EndToEnd, WhatIsWrongIsToldInGermanWithAWayOut) {
  struct Case {
    std::vector<std::string> arguments;
    int status;
    const char* told;
  };
  std::filesystem::create_directory(folder_.File("leer"));
  WriteSpec("Leer.IMP", "");
  const std::vector<Case> cases = {
      {{"tanze"}, 2, "Den Befehl 'tanze' gibt es nicht. Möglich sind: list, show"},
      {{"show"}, 2, "Es fehlt die Angabe SPEC."},
      {{"list", "--force"}, 2, "Die Option --force gibt es bei 'list' nicht. Sie gehört zu 'undo', 'init'."},
      {{"preview", "Kunden", "-n", "-3"},
       2,
       "-n: '-3' ist nicht möglich. Möglich sind ganze Zahlen von 0 bis 2.147.483.647."},
      {{"list", "--app-mode", "x"},
       2,
       "--app-mode: 'x' ist nicht möglich. Möglich sind ganze Zahlen von -32.768 bis 32.767."},
      {{"log", "alles"}, 2, "'alles' ist nicht möglich. Möglich sind: errors, duplicates."},
      {{"run", "Kunden", "--user", "../x"}, 2, "'../x' enthält / oder \\"},
      {{"show", ""}, 4, "Es ist keine Importspezifikation angegeben."},
      {{"show", host()}, 4, "ist ein Ordner."},
      {{"show", "Leer"}, 4, "fehlt ImportClass"},
      {{"columns", "Kunden", "--file", "/"}, 4, "''/'' ist ein Ordner und keine Textdatei."},
      {{"run", "Kunden", "--host", "nix"}, 4, "Möglich sind eine SQLite-Datei"},
      {{"log", "--host", "Provider=SQLite;Data Source=" + Spec("Leer.IMP")},
       4,
       "Die Protokolle der Hauptanwendung können nicht gelesen werden."},
      {{"init", ""}, 4, "Es ist kein Ordner angegeben."},
      {{"init", "/proc/x"}, 4, "Die Beispielanwendung konnte in '/proc/x' nicht angelegt werden."}};
  for (const Case& one : cases) {
    const ProgramResult result = Run(one.arguments);
    EXPECT_EQ(result.status, one.status) << one.told;
    EXPECT_THAT(result.err, HasSubstr(one.told));
    EXPECT_EQ(result.out, "") << one.told;
  }
  EXPECT_THAT(testing::RunProgram({BuiltProgram("kestrel-import"), "list", "--format"}).err,
              HasSubstr("Zu --format fehlt ein Wert."));
  const ProgramResult list =
      testing::RunProgram({BuiltProgram("kestrel-import"), "list", "--folder", "nirgends"});
  EXPECT_EQ(list.status, 4);
  EXPECT_EQ(list.out, "") << "no headings above nothing";
  EXPECT_THAT(list.err, HasSubstr("Der Ordner der Importspezifikationen fehlt: nirgends"));
}

TEST_F(EndToEnd, ASpecificationFolderThatCannotBeReadIsToldWithoutAnEmptyList) {
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(Spec("").c_str(), 0), 0);
  const ProgramResult list = [&] {
    const testing::WithoutPrivileges nobody;
    return Run({"list"});
  }();
  ASSERT_EQ(::chmod(Spec("").c_str(), 0755), 0);
  EXPECT_EQ(list.status, 4);
  EXPECT_EQ(list.out, "");
  EXPECT_THAT(list.err, HasSubstr("Zugriff verweigert: " + host() + "/Import"));
}

TEST_F(EndToEnd, WhatAClosedFolderHidesIsNotToldAsMissing) {
  const std::string specification = Spec("Kundenliste.IMP");
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(host().c_str(), 0), 0);
  const auto error_of = [&](const std::vector<std::string>& command) {
    const testing::WithoutPrivileges nobody;
    const ProgramResult result = Run(command);
    EXPECT_EQ(result.status, 4);
    return result.err;
  };
  EXPECT_THAT(error_of({"list"}), HasSubstr("Zugriff verweigert: " + host()));
  EXPECT_THAT(error_of({"check", "Kundenliste", "--host", ":memory:"}),
              HasSubstr("Zugriff verweigert: " + host()));
  EXPECT_THAT(error_of({"check", specification, "--host", ":memory:"}),
              HasSubstr("Zugriff verweigert: " + specification));
  EXPECT_THAT(error_of({"run", "Kundenliste"}),
              HasSubstr(host() + "/kestrel.db: Die Datenbank lässt sich nicht öffnen"));
  ASSERT_EQ(::chmod(host().c_str(), 0755), 0);
}

TEST_F(EndToEnd, ATerminalObeysNothingThatComesFromElsewhere) {
  const std::string hostile =
      "\x1b]0,x\x07\xc2\x9b"
      "31m\xe2\x80\xae";
  const auto none_raw = AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\x07")), Not(HasSubstr("\xc2\x9b")),
                              Not(HasSubstr("\xe2\x80\xae")));
  WriteFileAtomically(Spec("boese.txt"), "Name" + hostile + ";Ort\r\nMeier" + hostile + ";Köln\r\n");
  WriteSpec("Boese.IMP",
            "[Common]\nDescription=Boese\nImportClass=ksbimport.importkunden\nFileName=boese.txt\nDelimiter=;\n"
            "[FieldAssignments]\nBez1=FIELD:Ort\nUmsatz=FIELD:Name" +
                hostile + "\n");
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"run", hostile},
                                             {hostile},
                                             {"preview", "Boese", "--format", hostile},
                                             {"columns", "Boese"},
                                             {"preview", "Boese"},
                                             {"preview", "Boese", "--format", "json"},
                                             {"check", "Boese"},
                                             {"show", "Boese"},
                                             {"run", "Boese", "--file", "/gibt/es/nicht" + hostile},
                                             {"run", "Boese"},
                                             {"log"}}) {
    const ProgramResult result = Run(command);
    EXPECT_THAT(result.out, none_raw) << command[0];
    EXPECT_THAT(result.err, none_raw) << command[0];
  }
  EXPECT_THAT(Run({"preview", "Boese", "--format", "csv"}).out, HasSubstr("\"Meier" + hostile + "\""))
      << "data are exact";
}

TEST_F(EndToEnd, ARelativeBackupFolderIsMeantFromTheSpecificationLikeItsSource) {
  std::filesystem::create_directory(host() + "/Import/sicherung");
  WriteSpec(
      "Sicher.IMP",
      "[Common]\nDescription=Sicher\nImportClass=ksbimport.importkunden\nFileName=messe.txt\nDelimiter=;\n"
      "SaveFile=1\nSavePath=sicherung\n[FieldAssignments]\nBez1=FIELD:Name\n");
  EXPECT_THAT(Run({"check", "Sicher"}).out, Not(HasSubstr("Sicherungspfad")));
  Run({"run", "Sicher"});
  EXPECT_TRUE(FileExists(host() + "/Import/sicherung/messe.txt"));
}

TEST_F(EndToEnd, ASourceThatCannotBeBackedUpIsImportedAndStays) {
  WriteSpec(
      "Sicher.IMP",
      "[Common]\nDescription=Sicher\nImportClass=ksbimport.importkunden\nFileName=messe.txt\nDelimiter=;\n"
      "ColumnHeadings=1\nSaveFile=1\nSavePath=fehlt\nDeleteFile=1\n[FieldAssignments]\nBez1=FIELD:Name\n");
  const ProgramResult run = Run({"run", "Sicher"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, AllOf(HasSubstr("Der Sicherungspfad ''fehlt'' existiert nicht."),
                             HasSubstr("wird nicht gelöscht, da sie nicht gesichert werden kann.")));
  EXPECT_NE(Query("SELECT COUNT(*) FROM Kunden"), "0\n");
  EXPECT_TRUE(FileExists(Spec("messe.txt")));
}

// A script's variable that is not set must not import another file, or into another database.
TEST_F(EndToEnd, AnEmptyFileHostOrFolderIsWrongUse) {
  for (const char* option : {"--file", "--host", "--folder"}) {
    const std::vector<std::string> command = {testing::BuiltProgram("kestrel-import"), "run", Spec("Messe.IMP"),
                                              option, ""};
    const ProgramResult run = testing::RunProgram(command);
    EXPECT_EQ(run.status, 2) << option;
    EXPECT_THAT(run.err, HasSubstr(std::string(option) + ": Der Wert ist leer.")) << option;
  }
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Kunden"), "0\n");
}

TEST_F(EndToEnd, AMistypedHostIsNotMade) {
  for (const std::string& name :
       {folder_.File("tippfehler.db"), "Provider=SQLite;Data Source=" + folder_.File("tippfehler.sqlite")}) {
    const ProgramResult run = Run({"run", "Kundenliste", "--host", name});
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, AllOf(HasSubstr("tippfehler"), HasSubstr("existiert nicht")));
    EXPECT_EQ(Run({"log", "--host", name}).status, 4);
  }
  EXPECT_EQ(std::filesystem::directory_iterator(folder_.path())->path().filename(), "host");
}

TEST_F(EndToEnd, InitMakesTheHostThatIsNamed) {
  const std::string database = folder_.File("neu.db");
  EXPECT_EQ(Run({"init", folder_.File("leer"), "--host", database}).status, 0);
  EXPECT_TRUE(FileExists(database));
}

TEST_F(EndToEnd, InitKeepsOutOfAFolderThatHoldsSomethingUnlessTold) {
  const std::string mine = folder_.File("eigenes");
  std::filesystem::create_directory(mine);
  EXPECT_EQ(Run({"init", mine}).status, 0) << "an empty folder is welcome";
  const std::string changed = mine + "/Import/Kunden.IMP";
  WriteFileAtomically(changed, "[Common]\r\nDescription=Eigene\r\n");
  std::filesystem::remove(mine + "/Import/Kunden.IMT");
  const ProgramResult again = Run({"init", mine});
  EXPECT_EQ(again.status, 4);
  EXPECT_THAT(again.err, AllOf(HasSubstr("Der Ordner '" + mine + "' ist nicht leer"), HasSubstr("--force")));
  EXPECT_FALSE(FileExists(mine + "/Import/Kunden.IMT"));
  EXPECT_EQ(Run({"init", mine, "--force"}).status, 0);
  EXPECT_TRUE(FileExists(mine + "/Import/Kunden.IMT"));
  EXPECT_EQ(testing::ReadBytes(changed), "[Common]\r\nDescription=Eigene\r\n");
  EXPECT_THAT(Run({"init", changed}).err, HasSubstr("ist eine Datei und kein Ordner"));
}

TEST_F(EndToEnd, InitMakesTheFolderThatItNamesWhateverItsCharacters) {
  const std::string odd = folder_.File("a\"b;c 'd");
  const ProgramResult made = Run({"init", odd});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_TRUE(FileExists(odd + "/kestrel.db"));
  const ProgramResult run =
      testing::RunProgram({BuiltProgram("kestrel-import"), "run", "Kunden", "--folder", odd});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(made.out, HasSubstr("--folder '" + ReplaceAll(odd, "'", "'\\''") + "'"));
}

TEST_F(EndToEnd, DriversIniLiesInTheFolderThatIsNamed) {
  WriteFileAtomically(host() + "/drivers.ini", "[SQLOLEDB.1]\r\nDriver=Hausmarke\r\n");
  WriteSpec("Server.IMP",
            "[Common]\nDescription=S\nProvider=Microsoft SQL-Server\nServer=s\nUser=u\nDatabase=d\nTable=t\n");
  EXPECT_THAT(Run({"tables", "Server"}).err, HasSubstr("Hausmarke"));
  EXPECT_THAT(
      testing::RunProgram({BuiltProgram("kestrel-import"), "tables", "Server", "--folder", host() + "/Import"})
          .err,
      HasSubstr("Hausmarke"));
}

TEST_F(EndToEnd, NoWorkingCopyIsLeftBehind) {
  Run({"run", "Kundenliste", "--test"});
  for (const std::string& path : ListFiles(host() + "/Import")) {
    EXPECT_FALSE(FileNameOfPath(path).starts_with("~")) << path;
  }
}

}  // namespace
}  // namespace kestrel
