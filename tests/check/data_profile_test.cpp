// What the data of a source are like, as a check of a whole import tells it.
#include "kestrel/data_profile.h"

#include <gmock/gmock.h>

#include <map>

#include "kestrel/import_job.h"
#include "support/dbf_writer.h"
#include "support/field_list.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class DataProfileTest : public testing::SessionFixture {
 protected:
  DataProfileTest() {
    AddImportClass("test.import");
    AddComponent("KSHProto.Protokoll", "log");
    connection = std::make_shared<testing::RecordingObject>("connection");
  }

  void AddImportClass(const std::string& prog_id) {
    const auto import_class = components_made[prog_id] = AddComponent(prog_id);
    for (const char* property : {"PersonalNr", "Application", "SpecificationFile"}) import_class->Let(property);
    for (const char* method : {"BeforeImport", "AfterImport"}) import_class->Method(method);
    import_class->Set("Connection")
        .Method("GetFields", [this](std::span<Argument>) { return Value(testing::FieldList(fields)); })
        .Get("ErrorCode", 0)
        .Get("ErrorDescription", "");
  }

  // The profile of a file with those lines, each field fed by the column of its name.
  DataProfile Profile(const std::string& text, const std::string& more = "") {
    folder.Write("Import/adressen.txt", text);
    std::string assignments;
    for (const testing::DestinationField& field : fields) {
      assignments += field.name + "=FIELD:" + field.name + "\n";
    }
    return Check("Provider=Textdatei\nFileName=adressen.txt\nDelimiter=;\n[FieldAssignments]\n" + assignments +
                 more);
  }

  DataProfile Check(const std::string& specification) {
    job.Open({.specification = WriteSpecification(
                  "A.IMP", "[Common]\nDescription=A\nImportClass=" + prog_id + "\n" + specification),
              .host_connection = connection});
    return job.CheckData();
  }

  static std::vector<std::string> Lines(const DataProfile& profile) {
    std::vector<std::string> lines;
    for (const Finding& finding : profile.findings) {
      const char* severity = finding.severity == Severity::kError     ? "Fehler"
                             : finding.severity == Severity::kWarning ? "Warnung"
                                                                      : "Hinweis";
      lines.push_back(std::string(severity) + " [" + finding.place.section + "] " + finding.place.key + ": " +
                      finding.Message());
    }
    return lines;
  }

  std::string prog_id = "test.import";
  std::vector<testing::DestinationField> fields = {{"Name"}};
  std::map<std::string, std::shared_ptr<testing::RecordingObject>> components_made;
  ObjectPtr connection;
  ImportJob job{Platform{ui, components, clock}};
};

// --- Fields -------------------------------------------------------------------------------------

TEST_F(DataProfileTest, SoundDataHaveFiguresAndNoFindings) {
  fields = {{"Name", true}, {"Ort"}};
  const DataProfile profile = Profile("Name;Ort\r\nMeier;Ulm\r\nWeiß;\r\nHaas;  \r\n");
  EXPECT_THAT(Lines(profile), IsEmpty());
  EXPECT_EQ(profile.source.records, 3);
  EXPECT_EQ(profile.source.columns, 2u);
  EXPECT_EQ(profile.source.charset, "UTF-8");
  EXPECT_EQ(profile.source.crlf, 4);
  EXPECT_EQ(profile.source.lf + profile.source.cr, 0);
  ASSERT_THAT(profile.fields, SizeIs(2));
  EXPECT_EQ(profile.fields[0].filled, 3);
  EXPECT_EQ(profile.fields[0].empty, 0);
  EXPECT_EQ(profile.fields[1].column, "Ort");
  EXPECT_EQ(profile.fields[1].filled, 1);
  EXPECT_EQ(profile.fields[1].empty, 2) << "blanks alone are nothing";
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(DataProfileTest, AMandatoryFieldThatIsEmptyIsAnError) {
  fields = {{"Name", true}, {"Ort"}};
  const DataProfile profile = Profile("Name;Ort\r\nMeier;Ulm\r\n;Bonn\r\n");
  EXPECT_THAT(
      Lines(profile),
      ElementsAre("Fehler [FieldAssignments] Name: 1 Datensatz lässt das Pflichtfeld leer (Datensatz 2). "
                  "Ergänzen Sie die Spalte \"Name\"."));
  EXPECT_EQ(profile.findings[0].count, 1);
  ASSERT_THAT(profile.findings[0].examples, SizeIs(1));
  EXPECT_EQ(profile.findings[0].examples[0].record, 2);
}

TEST_F(DataProfileTest, ValuesThatAreCutAreCountedWithTheFirstThatDiffer) {
  fields = {{.name = "Name", .size = 4}};
  const DataProfile profile = Profile("Name\r\nHaas\r\nMeier\r\nMeier\r\nWeißmann\r\n Uhl \r\n");
  EXPECT_EQ(profile.fields[0].cut, 3);
  EXPECT_THAT(Lines(profile),
              ElementsAre("Warnung [FieldAssignments] Name: 3 Werte werden gekürzt (Datensatz 2: \"Meier\", "
                          "Datensatz 4: \"Weißmann\"). Das Feld fasst 4 Zeichen."));
}

TEST_F(DataProfileTest, TextInANumberFieldIsAnError) {
  fields = {{.name = "Umsatz", .type = "FLOAT"}};
  const DataProfile profile = Profile("Umsatz\r\n1.234,50\r\nviel\r\n\"\"\r\n");
  EXPECT_EQ(profile.fields[0].not_numbers, 1);
  EXPECT_THAT(Lines(profile),
              ElementsAre("Fehler [FieldAssignments] Umsatz: 1 Wert ist keine Zahl (Datensatz 2: "
                          "\"viel\"). Ohne Berichtigung oder Übersetzung bleibt das Feld "
                          "leer."));
}

TEST_F(DataProfileTest, ATranslationCountsBeforeTheValueIsJudged) {
  fields = {{.name = "Rabatt", .type = "INT"}};
  const DataProfile profile = Profile("Rabatt\r\nkeiner\r\n5\r\nviel\r\n\"\"\r\n",
                                      "[FieldTranslation]\nRabatt=1\n[Translation_Rabatt]\nkeiner=0\n");
  EXPECT_EQ(profile.fields[0].not_translated, 2) << "an empty value needs no translation";
  EXPECT_EQ(profile.fields[0].not_numbers, 1);
  EXPECT_THAT(
      Lines(profile),
      Contains("Warnung [Translation_Rabatt] : 2 Werte haben keine Übersetzung und bleiben, wie sie sind "
               "(Datensatz 2: \"5\", Datensatz 3: \"viel\"). Ergänzen Sie die Übersetzungstabelle."));
}

TEST_F(DataProfileTest, ValuesThatAFieldMayNotHaveAreTold) {
  fields = {{.name = "Land", .row_source = "DE*Deutschland#AT*Österreich", .row_source_typ = 1}};
  const DataProfile profile = Profile("Land\r\nDE\r\nD\r\n\"\"\r\nAT\r\n");
  EXPECT_EQ(profile.fields[0].not_permitted, 1);
  EXPECT_THAT(Lines(profile), ElementsAre("Warnung [FieldAssignments] Land: 1 Wert ist für das Feld nicht "
                                          "vorgesehen (Datensatz 2: \"D\"). Eine Übersetzung kann daraus "
                                          "einen vorgesehenen machen."));
}

TEST_F(DataProfileTest, ALongValueIsToldByItsBeginning) {
  fields = {{.name = "Name", .size = 4}};
  const DataProfile profile = Profile("Name\r\n" + std::string(500, 'x') + "\r\n");
  EXPECT_EQ(profile.findings[0].examples[0].value, std::string(60, 'x') + "...");
}

// --- Dates --------------------------------------------------------------------------------------

TEST_F(DataProfileTest, TheFormatThatFitsAllValuesIsNamedWhereTheChosenOneDoesNot) {
  fields = {{.name = "Tag", .date = true}};
  const DataProfile profile = Profile("Tag\r\n2024.12.31\r\n2023.01.15\r\n", "[FieldFormat]\nTag=tt.mm.jjjj\n");
  EXPECT_EQ(profile.fields[0].not_dates, 2);
  EXPECT_THAT(
      Lines(profile),
      ElementsAre("Fehler [FieldFormat] Tag: 2 Werte sind keine Tage im Format tt.mm.jjjj (Datensatz 1: "
                  "\"2024.12.31\", Datensatz 2: \"2023.01.15\"). Zu allen Werten passt: jjjj.mm.tt."));
}

TEST_F(DataProfileTest, WhereNoFormatFitsAllTheBestIsNamed) {
  fields = {{.name = "Tag", .date = true}};
  EXPECT_THAT(Lines(Profile("Tag\r\n31.12.2024\r\n15.01.2023\r\nunbekannt\r\n\"\"\r\n",
                            "[FieldFormat]\nTag=tt.mm.jjjj\n")),
              ElementsAre("Fehler [FieldFormat] Tag: 1 Wert ist kein Tag im Format tt.mm.jjjj (Datensatz 3: "
                          "\"unbekannt\"). Am besten passt tt.mm.jjjj (2 von 3); berichtigen Sie die übrigen "
                          "Werte."));
}

TEST_F(DataProfileTest, AFormatThatFitsAsWellIsTold) {
  fields = {{.name = "Tag", .date = true}};
  EXPECT_THAT(
      Lines(Profile("Tag\r\n01.02.03\r\n24.12.11\r\n", "[FieldFormat]\nTag=tt.mm.jj\n")),
      ElementsAre("Warnung [FieldFormat] Tag: Auch jj.mm.tt passt zu allen Werten und ergibt andere Tage "
                  "als tt.mm.jj. Prüfen Sie an einem bekannten Datum, was gilt."));
}

TEST_F(DataProfileTest, WithoutADayAbove12TheEvidenceIsAmbiguous) {
  fields = {{.name = "Tag", .date = true}};
  EXPECT_THAT(
      Lines(Profile("Tag\r\n01.02.2024\r\n11.12.2024\r\n", "[FieldFormat]\nTag=tt.mm.jjjj\n")),
      ElementsAre("Hinweis [FieldFormat] Tag: Kein Tag liegt über 12; ob Tag und Monat vertauscht sind, "
                  "lassen die Werte offen. Prüfen Sie an einem bekannten Datum, was gilt."));
}

TEST_F(DataProfileTest, ADateFieldWithoutAFormatIsToldWhichWouldFit) {
  fields = {{.name = "Tag", .date = true}};
  EXPECT_THAT(Lines(Profile("Tag\r\n31122024\r\n")),
              Contains("Hinweis [FieldFormat] Tag: Es ist kein Datumsformat bestimmt. Zu allen Werten passt: "
                       "ttmmjjjj."));
}

// --- What the import class says -----------------------------------------------------------------

class AskedDestinationTest : public DataProfileTest {
 protected:
  AskedDestinationTest() {
    import_class = AddImportClassThatChecks();
    prog_id = "test.checking";
  }

  // Refuses what is no date to it: anything without a point.
  std::shared_ptr<testing::RecordingObject> AddImportClassThatChecks() {
    AddImportClass("test.checking");
    const auto checking = components_made.at("test.checking");
    checking->Method("GetNewRecord", [this](std::span<Argument>) {
      code = 0;
      const auto record = std::make_shared<MemoryRecordset>();
      for (const testing::DestinationField& field : fields) record->AppendColumn(field.name);
      record->AddNew();
      return Value(record);
    });
    checking->Method("CheckRecord", [this](std::span<Argument> arguments) {
      const RecordsetPtr record = ToRecordset(arguments[0].Get());
      std::string& seen = asked.emplace_back();
      for (std::size_t i = 0; i < fields.size(); ++i) seen.append(i == 0 ? "" : "|").append(record->TextAt(i));
      if (record->TextAt(0) == refused) code = 13;
      return Value();
    });
    checking->Get("ErrorCode", [this](std::span<Argument>) { return Value(code); });
    checking->Get("ErrorDescription", Value("Das nimmt das Ziel nicht."));
    checking->Get("ErrorField", [this](std::span<Argument>) { return Value(fields[0].name); });
    return checking;
  }

  std::shared_ptr<testing::RecordingObject> import_class;
  std::vector<std::string> asked;
  std::string refused = "unbekannt";
  int code = 0;
};

TEST_F(AskedDestinationTest, ADateThatItTakesAsItIsIsNoErrorAndOneThatItRefusesIs) {
  fields = {{.name = "Tag", .date = true}};
  const DataProfile profile =
      Profile("Tag\r\n31.12.2024\r\n7.3.2018\r\nunbekannt\r\n\"\"\r\n", "[FieldFormat]\nTag=tt.mm.jjjj\n");
  EXPECT_THAT(asked, ElementsAre("20241231000000", "7.3.2018", "unbekannt", ""));
  EXPECT_THAT(
      Lines(profile),
      ElementsAre("Warnung [FieldFormat] Tag: 2 Werte sind keine Tage im Format tt.mm.jjjj und gehen, wie sie "
                  "sind, an das Importziel (Datensatz 2: \"7.3.2018\", Datensatz 3: \"unbekannt\"). Am besten "
                  "passt tt.mm.jjjj (1 von 3); berichtigen Sie die übrigen Werte.",
                  "Fehler [FieldAssignments] Tag: 1 Datensatz weist das Importziel ab (Datensatz 3: "
                  "\"unbekannt\"). Das nimmt das Ziel nicht."));
  EXPECT_EQ(import_class->CountOf("BeforeImport"), 1u);
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
  EXPECT_EQ(import_class->CountOf("ImportRecord"), 0u);
}

TEST_F(AskedDestinationTest, ItGetsTheRecordAsTheRunMakesIt) {
  fields = {{.name = "Name", .size = 4}, {.name = "Rabatt", .type = "INT"}, {.name = "Land"}};
  folder.Write("Import/adressen.txt", "Name;Rabatt\r\nMeier;keiner\r\nHaas;viel\r\n");
  Check(
      "Provider=Textdatei\nFileName=adressen.txt\nDelimiter=;\n[FieldAssignments]\nName=FIELD:Name\n"
      "Rabatt=FIELD:Rabatt\nLand=CONST:DE\n[FieldTranslation]\nRabatt=1\n[Translation_Rabatt]\nkeiner=0\n");
  EXPECT_THAT(asked, ElementsAre("Meie|0|DE", "Haas||DE"));
}

TEST_F(AskedDestinationTest, AValueThatItsRecordDoesNotTakeIsAnErrorOfTheFieldAndTheOthersAreAskedAllTheSame) {
  fields = {{.name = "Name", .size = 10}, {.name = "Land", .size = 10}};
  import_class->Method("GetNewRecord", [](std::span<Argument>) {
    const auto record = std::make_shared<MemoryRecordset>();
    record->AppendColumn("Name", ColumnType::kText, 4);
    record->AppendColumn("Land", ColumnType::kText, 2);
    record->AddNew();
    return Value(record);
  });
  folder.Write("Import/adressen.txt", "Name\r\nMeier\r\nHaas\r\n");
  const DataProfile profile =
      Check("Provider=Textdatei\nFileName=adressen.txt\n[FieldAssignments]\nName=FIELD:Name\nLand=CONST:DEU\n");
  EXPECT_THAT(asked, ElementsAre("|", "Haas|"));
  EXPECT_THAT(Lines(profile),
              ElementsAre(StartsWith("Fehler [FieldAssignments] Name: 1 Wert passt nicht in das Feld des "
                                     "Importziels (Datensatz 1: \"Meier\")."),
                          StartsWith("Fehler [FieldAssignments] Land: 2 Werte passen nicht in das Feld des "
                                     "Importziels (Datensatz 1: \"DEU\").")));
}

TEST_F(AskedDestinationTest, WhatIsAnErrorAnywayIsToldOnce) {
  fields = {{"Name", true}};
  refused = "";
  EXPECT_THAT(
      Lines(Profile("Name;Ort\r\n;Ulm\r\n")),
      ElementsAre(StartsWith("Fehler [FieldAssignments] Name: 1 Datensatz lässt das Pflichtfeld leer")));
}

TEST_F(AskedDestinationTest, AnErrorThatComesToLightLateBelongsToTheRecordThatItNames) {
  bool told = false;
  import_class->Method("NextLateError", [&](std::span<Argument>) {
    code = told ? 0 : 13;
    return Value(!std::exchange(told, true));
  });
  import_class->Get("ErrorFirstRecord", [&](std::span<Argument>) { return Value(told ? 2 : 0); });
  import_class->Get("ErrorLastRecord", [&](std::span<Argument>) { return Value(told ? 2 : 0); });
  EXPECT_THAT(
      Lines(Profile("Name\r\nA\r\nB\r\nC\r\n")),
      ElementsAre("Fehler [FieldAssignments] Name: 1 Datensatz weist das Importziel ab (Datensatz 2). Das "
                  "nimmt das Ziel nicht."));
}

TEST_F(AskedDestinationTest, WhereItStopsOrCancelsNothingMoreIsAskedAndThatIsAnError) {
  import_class->Get("StopReason",
                    [this](std::span<Argument>) { return Value(code == 0 ? "" : "Kein Platz."); });
  EXPECT_THAT(Lines(Profile("Name\r\nunbekannt\r\nB\r\n")),
              Contains("Fehler [Common] ImportClass: Das Importziel prüft die Datensätze nicht zu Ende: Kein "
                       "Platz."));
  EXPECT_THAT(asked, SizeIs(1));
  code = 0;
  import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(Value(true));
    return Value();
  });
  EXPECT_THAT(Lines(Profile("Name\r\nA\r\n")), ElementsAre(HasSubstr("vor dem ersten Datensatz")));
  EXPECT_THAT(asked, SizeIs(1));
}

// --- The file -----------------------------------------------------------------------------------

TEST_F(DataProfileTest, ASingleCarriageReturnThatCutsAWholeFileIsAnErrorWithItsPlace) {
  const DataProfile profile = Profile("Name\nMeier\nHa\ras\nWeiß\n");
  EXPECT_EQ(profile.source.lf, 4);
  EXPECT_EQ(profile.source.cr, 1);
  EXPECT_EQ(profile.source.records, 1);
  EXPECT_THAT(
      Lines(profile),
      Contains(AllOf(StartsWith("Fehler [Common] FileName: Die Zeilenenden sind gemischt: 4-mal LF allein "
                                "(Zeile 1, 2, 4, ...), 1-mal CR (Zeile 3). In einer Datei mit CR teilt LF "
                                "allein keine Zeile: 1 Stelle teilt sie."))));
}

TEST_F(DataProfileTest, LineFeedsWithinValuesOfAnOrdinaryFileAreAWarning) {
  const DataProfile profile = Profile("Name\r\nMeier\r\n\"Haas\nUlm\"\r\n");
  EXPECT_EQ(profile.findings.errors(), 0u);
  EXPECT_THAT(Lines(profile), ElementsAre(StartsWith(
                                  "Warnung [Common] FileName: Die Zeilenenden sind gemischt: 1-mal LF allein "
                                  "(Zeile 3), 3-mal CR LF (Zeile 1, 2, 4).")));
}

TEST_F(DataProfileTest, ACarriageReturnAmongOthersIsToldAsItEndsARecord) {
  EXPECT_THAT(
      Lines(Profile("Name\r\nMei\rer\r\n")),
      ElementsAre("Warnung [Common] FileName: Die Zeilenenden sind gemischt: 2-mal CR LF, 1-mal CR allein "
                  "(Zeile 2). Beide beenden eine Zeile. Prüfen Sie, ob dort wirklich ein Datensatz "
                  "endet."));
}

TEST_F(DataProfileTest, LinesWithMoreOrFewerValuesThanColumnsAreTold) {
  fields = {{"Name"}, {"Ort"}};
  const DataProfile profile = Profile("Name;Ort\r\nMeier;Ulm\r\nHaas\r\nWeiß;Köln;Süd\r\nUhl;\r\n");
  EXPECT_EQ(profile.source.unusual_lines, 2);
  EXPECT_THAT(
      Lines(profile),
      ElementsAre("Warnung [Common] FileName: 2 Datensätze haben nicht 2 Werte (Datensatz 2: \"1 Wert\", "
                  "Datensatz 3: \"3 Werte\"). Prüfen Sie dort Trennzeichen und Textbegrenzer."));
}

TEST_F(DataProfileTest, ASingleColumnIsToldAsOne) {
  EXPECT_THAT(Lines(Profile("Name\r\nMeier;Ulm\r\n")),
              ElementsAre(StartsWith("Warnung [Common] FileName: 1 Datensatz hat nicht 1 Wert (")));
}

TEST_F(DataProfileTest, ColumnsOfOneNameAreTold) {
  EXPECT_THAT(
      Lines(Profile("Name;Ort;Name\r\nMeier;Ulm;x\r\n")),
      ElementsAre("Warnung [Common] FileName: Mehrere Spalten heißen \"Name\" (1, 3); gelesen wird nur die "
                  "erste. Geben Sie jeder Spalte der Quelle einen eigenen Namen."));
}

TEST_F(DataProfileTest, OtherKindsOfSourcesHaveFiguresToo) {
  testing::DbfWriter table({{"NAME", 'C', 10}});
  for (const char* name : {"Meier", "", "Weiss"}) table.Add({name});
  table.ClaimRecordCount(4);
  folder.Write("Import/kurz.dbf", table.Bytes());
  const DataProfile profile = Check("Provider=dBase-Datenbank\nDatabase=" + session.SpecFolder +
                                    "\nTable=kurz\n[FieldAssignments]\nName=FIELD:NAME\n");
  EXPECT_EQ(profile.source.records, 3);
  EXPECT_EQ(profile.source.charset, "");
  EXPECT_EQ(profile.fields[0].filled, 2);
  EXPECT_THAT(
      Lines(profile),
      ElementsAre(StartsWith("Fehler [Common] Database: Die Datenquelle endet nach 3 von 4 Datensätzen.")));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(DataProfileTest, ASourceThatIsNotThereHasNoProfile) {
  const DataProfile profile =
      Check("Provider=Textdatei\nFileName=fehlt.txt\nDelimiter=;\n[FieldAssignments]\nName=FIELD:Name\n");
  EXPECT_EQ(profile.findings.errors(), 1u);
  EXPECT_THAT(profile.fields, IsEmpty());
}

TEST_F(DataProfileTest, WithoutADestinationTheSourceIsLookedAtAllTheSame) {
  folder.Write("Import/adressen.txt", "Name;Name\r\nMeier\r\n");
  prog_id = "kein.ziel";
  const DataProfile profile = Check("Provider=Textdatei\nFileName=adressen.txt\nDelimiter=;\n");
  EXPECT_EQ(profile.source.unusual_lines, 1);
  EXPECT_THAT(profile.fields, IsEmpty());
}

// --- Addresses ----------------------------------------------------------------------------------

class RepeatedAddressesTest : public DataProfileTest {
 protected:
  RepeatedAddressesTest() {
    prog_id = "ksbimport.importkunden";
    AddImportClass(prog_id);
    fields = {{"KundenNummer"}, {"Bez1"}, {"PLZ"}};
    AddComponent("KSBSetting.KSSettings")
        ->Method("Init")
        .Method("GetSetting", [](std::span<Argument> arguments) {
          arguments[2].Set(Value(arguments[1].Get().ToText().substr(13)));
          return Value();
        });
    // Key 1 is the name, key 2 the postcode, by which parts of the key text they are.
    AddComponent("ksDoubLb.DoubletFunctions")->Method("BuildDoubletKey", [](std::span<Argument> arguments) {
      const std::string text = arguments[1].Get().ToText();
      return Value(arguments[0].Get().ToText() == "1" ? text.substr(text.find('|') + 1) : text.substr(0, 5));
    });
  }
};

constexpr const char* kLookForDuplicates =
    "[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n";
constexpr const char* kAddresses =
    "KundenNummer;Bez1;PLZ\r\n1;Meier;89073\r\n2;Haas;50667\r\n3;Meier;10115\r\n2;Uhl;50667\r\n";

TEST_F(RepeatedAddressesTest, AreToldByTheKeysInUseWithTheEarlierRecord) {
  const DataProfile profile = Profile(kAddresses, kLookForDuplicates);
  EXPECT_EQ(profile.source.repeated_addresses, 1);
  EXPECT_THAT(
      Lines(profile),
      Contains("Warnung [CfgSettings] DublettenPruefen: 1 Datensatz hat die Anschrift eines früheren "
               "(Datensatz 3 wie Datensatz 1, Schlüssel 1). Der Import hält solche als Dublettenverdacht "
               "zurück; entfernen Sie sie oder lassen Sie sie so."));
}

TEST_F(RepeatedAddressesTest, EachKeyInUseCounts) {
  const DataProfile profile = Profile(kAddresses, std::string(kLookForDuplicates) + "DublettenKey2=1\n");
  EXPECT_EQ(profile.source.repeated_addresses, 2);
  EXPECT_THAT(Lines(profile), Contains(HasSubstr("Datensatz 4 wie Datensatz 2, Schlüssel 2")));
}

TEST_F(RepeatedAddressesTest, ANumberThatComesTwiceIsToldEvenWhereNoDuplicatesAreLookedFor) {
  const DataProfile profile = Profile(kAddresses);
  EXPECT_EQ(profile.source.repeated_addresses, std::nullopt);
  EXPECT_THAT(Lines(profile),
              ElementsAre(HasSubstr("1 Datensatz hat die Nummer eines früheren (Datensatz 4 wie "
                                    "Datensatz 2).")));
}

TEST_F(RepeatedAddressesTest, AKeyComponentThatFailsIsToldOnce) {
  AddComponent("ksDoubLb.DoubletFunctions")->Method("BuildDoubletKey", [](std::span<Argument>) -> Value {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "kaputt");
  });
  const DataProfile profile = Profile(kAddresses, kLookForDuplicates);
  EXPECT_EQ(profile.source.repeated_addresses, std::nullopt);
  EXPECT_THAT(Lines(profile), Contains(HasSubstr("Die Anschriften konnten nicht verglichen werden: kaputt")));
}

}  // namespace
}  // namespace kestrel
