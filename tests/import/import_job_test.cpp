// ImportJob as a host without a screen uses it: a real specification and source, a recording import class.
#include "kestrel/import_job.h"

#include "import/import_job_fixture.h"
#include "platform/base/file.h"
#include "support/dbf_writer.h"
#include "support/expect_error.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using testing::ImportJobTest;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

// --- The way through ----------------------------------------------------------------------------

TEST_F(ImportJobTest, ImportsInTheOrderOfThePages) {
  Open(Spec());
  const RunResult& result = job.Run();
  EXPECT_EQ(result.records, 2);
  EXPECT_EQ(result.stored, 2);
  EXPECT_EQ(result.errors, 0);
  EXPECT_EQ(result.message, "Der Import wurde erfolgreich fertig gestellt.");
  EXPECT_THAT(stored, ElementsAre("Meier, Köln", "Weiß, Ulm"));
  const std::string copy = session.SpecFolder + "/~031407092024" + "4711.tmp";
  EXPECT_THAT(
      CallLines(),
      ElementsAre("Set Connection Nothing", "Let PersonalNr \"4711\"", "Let Application 3",
                  "Let SpecificationFile \"" + copy + "\"", "Call GetFields()", "Get ErrorCode",
                  "Get ErrorCode", "Let SpecificationFile \"" + copy + "\"", "Call BeforeImport(ByRef False)",
                  "Call GetNewRecord()", "Get ErrorCode", StartsWith("Call ImportRecord("), "Get ErrorCode",
                  "Call GetNewRecord()", "Get ErrorCode", StartsWith("Call ImportRecord("), "Get ErrorCode",
                  "Call AfterImport()"));
  EXPECT_THAT(WorkingCopies(), IsEmpty());
}

TEST_F(ImportJobTest, FindsASpecificationByItsNameOrDescriptionInTheFolder) {
  Spec();
  for (const char* name : {"Adressen", "Adressen.IMP"}) {
    job.Open({.specification = name, .folder = session.SpecFolder});
    EXPECT_EQ(job.session().ChosenSpecFile, session.SpecFolder + "/Adressen.IMP") << name;
  }
  EXPECT_ERROR(job.Open({.specification = "Kunden", .folder = session.SpecFolder}), ErrorNumber::kAutomation);
}

TEST_F(ImportJobTest, TakesWhatTheHostGives) {
  const auto connection = std::make_shared<testing::RecordingObject>("connection");
  folder.Write("andere.txt", "Name;Ort\r\nHaas;Bonn\r\n");
  job.Open({.specification = Spec(),
            .source_file = folder.File("andere.txt"),
            .working_folder = folder.path(),
            .host_connection = connection,
            .user = "12",
            .app_mode = std::int16_t{4}});
  EXPECT_EQ(ParentFolder(job.session().SpecFile), folder.path());
  job.Run();
  EXPECT_THAT(stored, ElementsAre("Haas, Bonn"));
  EXPECT_THAT(CallLines(), AllOf(Contains("Let PersonalNr \"12\""), Contains("Let Application 4"),
                                 Contains("Set Connection Object")));
}

TEST_F(ImportJobTest, ATestRunStoresNothingAndLeavesTheSource) {
  folder.Write("Import/weg.txt", "Name;Ort\r\nMeier;Köln\r\n");
  Open(Spec("Name=FIELD:Name\n", "DeleteFile=1\nSaveFile=1\nSavePath=" + folder.path() + "\n"));
  job.session().FileName = session.SpecFolder + "/weg.txt";
  const RunResult& result = job.Run(RunMode::kTest);
  EXPECT_EQ(result.checked, 1);
  EXPECT_THAT(stored, IsEmpty());
  EXPECT_TRUE(FileExists(session.SpecFolder + "/weg.txt"));
  EXPECT_FALSE(FileExists(folder.File("weg.txt")));
}

TEST_F(ImportJobTest, ASourceThatCannotBeBackedUpStays) {
  folder.Write("Import/weg.txt", "Name;Ort\r\nMeier;Köln\r\n");
  Open(Spec("Name=FIELD:Name\n", "DeleteFile=1\nSaveFile=1\nSavePath=/gibt/es/nicht\n"));
  job.session().FileName = session.SpecFolder + "/weg.txt";
  class View final : public RunView {
    void SetInfo(std::string_view) override {}
    void SetProgress(double) override {}
    void Yield() override {}
    void CloseWindow() override {}
  } view;
  EXPECT_EQ(job.RunDespiteFindings(view).stored, 1);
  EXPECT_TRUE(FileExists(session.SpecFolder + "/weg.txt"));
  EXPECT_THAT(told, ElementsAre(HasSubstr("wird nicht gelöscht, da sie nicht gesichert werden kann.")));
}

// --- The preview --------------------------------------------------------------------------------

TEST_F(ImportJobTest, ThePreviewShowsTheFirstRecordsWithoutTheImportClass) {
  Open(Spec());
  std::vector<std::string> rows;
  const SourceEnd end = job.Preview(1, [&](const std::vector<std::string>& values, const Findings& unreadable) {
    EXPECT_TRUE(unreadable.empty());
    rows.push_back(values.at(0) + "|" + values.at(1) + "|" + values.at(2));
  });
  EXPECT_THAT(rows, ElementsAre("Meier|Köln|01.02.2024"));
  EXPECT_FALSE(end.error);
  EXPECT_THAT(CallLines(), IsEmpty());
}

TEST_F(ImportJobTest, ThePreviewOfTheWholeSourceEndsAtItsEnd) {
  Open(Spec());
  int rows = 0;
  const auto count = [&](const std::vector<std::string>&, const Findings&) { ++rows; };
  EXPECT_EQ(job.Preview(1000, count).state, SourceState::kAtEnd);
  EXPECT_EQ(rows, 2);
}

// --- Findings -----------------------------------------------------------------------------------

TEST_F(ImportJobTest, ASoundSpecificationHasNoFindings) {
  Open(Spec());
  EXPECT_THAT(Lines(job.Check()), IsEmpty());
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ImportJobTest, FindingsTellSeverityPlaceTextAndWayOut) {
  Open(Spec("Name=FIELD:name\nUnbekannt=CONST:1\n", "Server=nirgends\n"));
  const Findings findings = job.Check();
  EXPECT_EQ(findings.errors(), 1u);
  EXPECT_THAT(Lines(findings),
              ElementsAre("Fehler [FieldAssignments] Name: Die Datenquelle hat keine Spalte \"name\"; das Feld "
                          "bleibt ohne Zuweisung. Gemeint ist wohl \"Name\"; Groß- und Kleinschreibung zählen.",
                          "Warnung [FieldAssignments] Unbekannt: Das Importziel hat kein solches Feld; der "
                          "Eintrag wird nicht gelesen.",
                          "Warnung [Common] Server: Der Schlüssel wird für diese Datenquelle nicht gelesen."));
  EXPECT_EQ(findings[0].place.field, "Name");
  EXPECT_EQ(findings[0].way_out, "Gemeint ist wohl \"Name\"; Groß- und Kleinschreibung zählen.");
}

TEST_F(ImportJobTest, ASwitchThatIsNeither0Nor1IsTold) {
  Open(Spec("Name=FIELD:Name\n[CfgSettings]\nKundenUeberschreiben=ja\nDublettenPruefen=0\nDublettenKey2=1\n"));
  EXPECT_THAT(Lines(job.Check()),
              ElementsAre("Warnung [CfgSettings] KundenUeberschreiben: \"ja\" gilt als nein. "
                          "Nur 1 schaltet ein."));
}

TEST_F(ImportJobTest, AThresholdOfTheDuplicateCheckIsReadAndTellsWhenItIsNone) {
  const std::string on =
      "Name=FIELD:Name\n[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n";
  Open(Spec(on + "DublettenSchwelle=92,5\n"));
  EXPECT_THAT(Lines(job.Check()), Not(Contains(HasSubstr("DublettenSchwelle"))));
  Open(Spec(on + "DublettenSchwelle=viel\n"));
  EXPECT_THAT(Lines(job.Check()),
              Contains("Fehler [CfgSettings] DublettenSchwelle: 'viel' ist keine Zahl von 0 bis 100. Geben Sie "
                       "die Schwelle in Prozent an, oder lassen Sie den Schlüssel weg."));
}

TEST_F(ImportJobTest, WhatTheImportClassSaysOfItsDestinationIsToldSentenceBySentence) {
  import_class->Returns("CheckDestination", Value("Die Tabelle fehlt.\nDer Index fehlt."));
  Open(Spec());
  EXPECT_THAT(Lines(job.Check()),
              ElementsAre(StartsWith("Fehler [Common] ImportClass: Die Tabelle fehlt. Prüfen Sie"),
                          StartsWith("Fehler [Common] ImportClass: Der Index fehlt. Prüfen Sie")));
  EXPECT_THAT(stored, IsEmpty());
}

TEST_F(ImportJobTest, ADestinationThatMissesNothingIsNotTold) {
  import_class->Returns("CheckDestination", Value(""));
  Open(Spec());
  EXPECT_THAT(Lines(job.Check()), IsEmpty());
  EXPECT_EQ(import_class->CountOf("CheckDestination"), 1u);
}

TEST_F(ImportJobTest, ADestinationThatCannotBeAskedIsAWarning) {
  import_class->Raises("CheckDestination", RuntimeError(17, "Die Prüfung versagt."));
  Open(Spec());
  EXPECT_THAT(
      Lines(job.Check()),
      ElementsAre("Warnung [Common] ImportClass: Das Importziel konnte nicht geprüft werden: Die Prüfung "
                  "versagt."));
}

TEST_F(ImportJobTest, ALogThatCannotBeLoadedIsAWarningThatNamesIt) {
  components.Register("KSHProto.Protokoll", []() -> ObjectPtr { throw RuntimeError(17, "Modul kaputt"); });
  Open(Spec());
  EXPECT_THAT(Lines(job.Check()),
              ElementsAre(AllOf(StartsWith("Warnung [Common] ImportClass: Das Protokoll 'KSHProto.Protokoll'"),
                                HasSubstr("Modul kaputt"))));
}

TEST_F(ImportJobTest, WhatTheDuplicateCheckCannotLoadIsAnErrorOnlyWhereItIsSwitchedOn) {
  const std::string keys = "[CfgSettings]\nDublettenKey1=1\nAddresstypeCode=1\nDublettenPruefen=";
  Open(Spec("Name=FIELD:Name\n" + keys + "0\n"));
  EXPECT_THAT(Lines(job.Check()), IsEmpty());
  Open(Spec("Name=FIELD:Name\n" + keys + "1\n"));
  EXPECT_THAT(Lines(job.Check()), ElementsAre(AllOf(StartsWith("Fehler [CfgSettings] DublettenPruefen: "),
                                                    HasSubstr("KSBSetting.KSSettings")),
                                              AllOf(StartsWith("Fehler [CfgSettings] DublettenPruefen: "),
                                                    HasSubstr("ksDoubLb.DoubletFunctions"))));
}

TEST_F(ImportJobTest, WarningsDoNotKeepAnImportFromRunning) {
  Open(Spec("Name=FIELD:Name\nUnbekannt=CONST:1\n"));
  EXPECT_EQ(job.Check().size(), 1u);
  EXPECT_EQ(Refusal(), "");
  EXPECT_EQ(stored.size(), 2u);
}

TEST_F(ImportJobTest, TheFieldsAreAskedForOnceHoweverOftenTheJobIsChecked) {
  Open(Spec());
  job.Check();
  job.Check(CheckDepth::kColumns);
  job.Run();
  EXPECT_EQ(import_class->CountOf("GetFields"), 1u);
}

TEST_F(ImportJobTest, OnlyACheckOfTheRecordsReadsToTheEndOfTheSource) {
  testing::DbfWriter table({{"NAME", 'C', 10}});
  for (const char* name : {"Meier", "Haas", "Weiss"}) table.Add({name});
  table.ClaimRecordCount(4);
  folder.Write("Import/kurz.dbf", table.Bytes());
  Open(WriteSpecification(
      "dbase.IMP", "[Common]\nDescription=D\nImportClass=test.import\nProvider=dBase-Datenbank\nDatabase=" +
                       session.SpecFolder + "\nTable=kurz\n[FieldAssignments]\nName=FIELD:NAME\n"));
  EXPECT_THAT(Lines(job.Check(CheckDepth::kColumns)), IsEmpty());
  EXPECT_THAT(
      Lines(job.Check()),
      ElementsAre(StartsWith("Fehler [Common] Database: Die Datenquelle endet nach 3 von 4 Datensätzen.")));
  EXPECT_THAT(ui.boxes, IsEmpty()) << "a check tells by its findings";
}

TEST_F(ImportJobTest, ATextConstantInANumberFieldIsAnError) {
  fields = {{"Name", true}, {.name = "Umsatz", .type = "FLOAT"}, {.name = "Rabatt", .type = "INT"}};
  Open(Spec("Name=FIELD:Name\nUmsatz=CONST:viel\nRabatt=CONST:3\n"));
  EXPECT_THAT(Lines(job.Check()),
              ElementsAre("Fehler [FieldAssignments] Umsatz: Die Konstante \"viel\" ist keine Zahl; das Feld "
                          "bleibt leer, und jeder Datensatz zählt einen Fehler. Geben Sie eine Zahl an, zum "
                          "Beispiel 2,5."));
}

TEST_F(ImportJobTest, AConstantThatIsTooLongIsToldWithWhatIsWrittenOfIt) {
  fields = {{"Name", true}, {.name = "Land", .size = 3}, {.name = "Bemerkung", .type = "TEXT", .size = 3}};
  Open(Spec("Name=FIELD:Name\nLand=CONST:Österreich\nBemerkung=CONST:lang genug\n"));
  EXPECT_THAT(Lines(job.Check()),
              ElementsAre("Warnung [FieldAssignments] Land: Die Konstante hat 10 Zeichen, das Feld 3; "
                          "geschrieben wird \"Öst\". Kürzen Sie die Konstante."));
}

TEST_F(ImportJobTest, AConstantThatFitsToTheLastCharacterIsNotTold) {
  fields = {{"Name", true}, {.name = "Land", .size = 3}};
  Open(Spec("Name=FIELD:Name\nLand=CONST:Öst\n"));
  EXPECT_THAT(Lines(job.Check()), IsEmpty());
}

TEST_F(ImportJobTest, AColumnThatFeedsTwoFieldsIsNoted) {
  Open(Spec("Name=FIELD:Ort\nOrt=FIELD:Ort\n"));
  const Findings findings = job.Check();
  EXPECT_THAT(Lines(findings), ElementsAre("Hinweis [FieldAssignments] Ort: Die Spalte \"Ort\" ist mehreren "
                                           "Feldern zugeordnet: Name, Ort. Ist das nicht gemeint, ordnen Sie "
                                           "den anderen Feldern ihre Spalte zu."));
  EXPECT_TRUE(findings.only_notes());
}

TEST_F(ImportJobTest, AFieldThatIsAssignedTwiceIsTold) {
  Open(Spec("Name=FIELD:Name\nOrt=FIELD:Ort\nORT=FIELD:Name\n"));
  EXPECT_THAT(Lines(job.Check()),
              ElementsAre("Warnung [FieldAssignments] ORT: Das Feld steht mehrfach da; gelesen wird nur der "
                          "erste Eintrag. Löschen Sie die übrigen."));
}

TEST_F(ImportJobTest, TheAdmissibleDateFormatsAreNamed) {
  const std::string all = "tt.mm.jjjj, tt.mm.jj, ttmmjjjj, ttmmjj, jjjj.mm.tt, jj.mm.tt, jjjjmmtt, jjmmtt.";
  Open(Spec("Name=FIELD:Name\nDatum=FIELD:Tag\n"));
  EXPECT_THAT(Lines(job.Check()),
              ElementsAre("Fehler [FieldFormat] Datum: Für das Datumsfeld ist kein Format bestimmt. Möglich "
                          "sind: " +
                          all));
  Open(Spec("Name=FIELD:Name\nDatum=FIELD:Tag\n[FieldFormat]\nDatum=TT.MM.JJJJ\n"));
  EXPECT_THAT(Lines(job.Check()),
              ElementsAre("Fehler [FieldFormat] Datum: \"TT.MM.JJJJ\" ist kein Datumsformat; das Datum bleibt, "
                          "wie es ist. Möglich sind, genau so geschrieben: " +
                          all));
}

TEST_F(ImportJobTest, TheNearestFieldIsNamedForAMisspeltOneWhereverItStands) {
  Open(
      Spec("Nmae=CONST:x\nName=FIELD:Name\n[FieldFormat]\nDatun=tt.mm.jjjj\n[FieldTranslation]\nxyz=0\n"
           "[Translation_Orte]\n"));
  EXPECT_THAT(
      Lines(job.Check()),
      ElementsAre(
          "Warnung [FieldAssignments] Nmae: Das Importziel hat kein solches Feld; der Eintrag wird nicht "
          "gelesen. Gemeint ist wohl \"Name\".",
          "Warnung [FieldFormat] Datun: Das Importziel hat kein solches Feld; der Eintrag wird nicht "
          "gelesen. Gemeint ist wohl \"Datum\".",
          "Warnung [FieldTranslation] xyz: Das Importziel hat kein solches Feld; der Eintrag wird nicht "
          "gelesen.",
          "Warnung [Translation_Orte] : Das Importziel hat kein solches Feld; die Tabelle wird nicht "
          "gelesen. Gemeint ist wohl \"Ort\"."));
}

TEST_F(ImportJobTest, TheNearestColumnIsNamedForAMisspeltOne) {
  Open(Spec("Name=FIELD:Nmae\n"));
  EXPECT_THAT(Lines(job.Check()), ElementsAre(EndsWith("Gemeint ist wohl \"Name\".")));
}

// --- What a job refuses -------------------------------------------------------------------------

TEST_F(ImportJobTest, RefusesAssignmentsThatMakeNoSense) {
  Open(Spec("Name=FIELD:Nachname\nOrt=FIELD:Stadt\n"));
  EXPECT_THAT(Refusal(),
              AllOf(HasSubstr("[FieldAssignments] Name: Die Datenquelle hat keine Spalte \"Nachname\""),
                    HasSubstr("[FieldAssignments] Ort: Die Datenquelle hat keine Spalte \"Stadt\"")));
  EXPECT_EQ(import_class->CountOf("BeforeImport"), 0u);
}

TEST_F(ImportJobTest, RefusesAMandatoryFieldThatIsNotAssigned) {
  Open(Spec("Name=NOTASSIGNED\nOrt=FIELD:Ort\n"));
  EXPECT_THAT(Refusal(), HasSubstr("[FieldAssignments] Name: Das Pflichtfeld ist nicht zugeordnet."));
  Open(Spec("Ort=FIELD:Ort\n"));
  EXPECT_THAT(Refusal(), HasSubstr("[FieldAssignments] Name: Das Pflichtfeld ist nicht zugeordnet."));
  EXPECT_EQ(import_class->CountOf("BeforeImport"), 0u);
}

TEST_F(ImportJobTest, ThatTheFileIsEmptyIsToldBeforeWhatIsMissingBecauseOfThat) {
  for (const std::string_view bytes : {"", "\xEF\xBB\xBF"}) {
    const std::string file = folder.Write("Import/adressen.txt", bytes);
    const std::string cause = "Die Datei ''" + file + "'' ist leer. Prüfen Sie, ob sie vollständig";
    Open(Spec());
    EXPECT_THAT(Lines(job.Check()).front(), StartsWith("Fehler [Common] FileName: " + cause));
    EXPECT_THAT(Refusal(), StartsWith("[Common] FileName: " + cause));
    try {
      job.Prepare();
      FAIL() << "a mandatory field has no column";
    } catch (const ImportRefused& refused) {
      EXPECT_THAT(refused.Description(),
                  AllOf(StartsWith("[Common] FileName: " + cause),
                        HasSubstr("\n[FieldAssignments]: Ein Pflichtfeld wurde noch nicht zugeordnet. ")));
    }
  }
}

TEST_F(ImportJobTest, AFileOfBlankLinesOnlyIsToldAndMayBeImportedWhereItHasNoHeader) {
  for (const std::string_view bytes :
       {std::string_view("\r\n \r\n\t\r\n"), std::string_view("\xFF\xFE\r\0\n\0", 6)}) {
    folder.Write("Import/adressen.txt", bytes);
    Open(Spec("Name=FIELD:Feld01\n", "ColumnHeadings=0\n"));
    EXPECT_THAT(Lines(job.Check()).front(), AllOf(StartsWith("Warnung [Common] FileName: "),
                                                  HasSubstr("'' enthält nur leere Zeilen. Prüfen")));
    told.clear();
    job.Run();
    EXPECT_THAT(told, Contains(HasSubstr("'' enthält nur leere Zeilen. Prüfen")));
  }
}

TEST_F(ImportJobTest, AFileWithOneCharacterIsNotTakenForAnEmptyOne) {
  folder.Write("Import/adressen.txt", std::string(std::size_t{100} << 10, '\n') + "Name");
  Open(Spec());
  for (const std::string& line : Lines(job.Check())) EXPECT_THAT(line, Not(HasSubstr("leer")));
}

TEST_F(ImportJobTest, RefusesADateWithoutAFormat) {
  Open(Spec("Name=FIELD:Name\nDatum=FIELD:Tag\n"));
  EXPECT_THAT(Refusal(), HasSubstr("[FieldFormat] Datum: Für das Datumsfeld ist kein Format bestimmt"));
  EXPECT_EQ(import_class->CountOf("BeforeImport"), 0u);
}

TEST_F(ImportJobTest, EvenDespiteFindingsItRefusesWhatStep3Refuses) {
  Open(Spec("Name=NOTASSIGNED\n"));
  try {
    job.Prepare();
    ADD_FAILURE() << "prepared";
  } catch (const ImportRefused& refused) {
    EXPECT_EQ(refused.findings()[0].text, "Ein Pflichtfeld wurde noch nicht zugeordnet.");
    EXPECT_TRUE(refused.Is(ErrorNumber::kAutomation));
  }
}

TEST_F(ImportJobTest, RefusesASourceThatIsNotThere) {
  Open(Spec());
  job.session().FileName = "/gibt/es/nicht.txt";
  EXPECT_THAT(Refusal(), HasSubstr("[Common] FileName: "));
  EXPECT_THAT(Refusal(), HasSubstr("/gibt/es/nicht.txt"));
  EXPECT_EQ(import_class->CountOf("BeforeImport"), 0u);
}

TEST_F(ImportJobTest, RefusesAnUnknownImportClass) {
  Open(WriteSpecification("Ziel.IMP",
                          "[Common]\nDescription=Z\nImportClass=kein.ziel\nFileName=adressen.txt\n"
                          "Delimiter=;\n"));
  EXPECT_THAT(Refusal(), HasSubstr("[Common] ImportClass: Objekt kann nicht erstellt werden: 'kein.ziel'"));
}

TEST_F(ImportJobTest, RefusesFieldsThatCannotBeRead) {
  import_class->Get("ErrorCode", 3000).Get("ErrorDescription", "Tabelle fehlt");
  Open(Spec());
  EXPECT_THAT(Refusal(), HasSubstr("[Common] ImportClass: Das Ziel meldet beim Lesen seiner Felder den Fehler "
                                   "3000: Tabelle fehlt"));
  Open(Spec());
  EXPECT_ERROR(job.Prepare(), ErrorNumber::kAutomation);
}

TEST_F(ImportJobTest, RefusesAnApplicationThatIsNoNumber) {
  const std::string spec = WriteSpecification("Zahl.IMP", "[Common]\nApplication=zwei\n");
  EXPECT_ERROR(Open(spec), ErrorNumber::kAutomation);
  EXPECT_TRUE(FileExists(spec));
  EXPECT_THAT(WorkingCopies(), IsEmpty());
}

TEST_F(ImportJobTest, NothingRunsBeforeASpecificationIsOpen) {
  EXPECT_ERROR(job.Run(), ErrorNumber::kInvalidProcedureCall);
  EXPECT_ERROR(job.Check(), ErrorNumber::kInvalidProcedureCall);
  Open(Spec());
  job.Run();
  EXPECT_ERROR(job.Run(), ErrorNumber::kInvalidProcedureCall) << "a run ends what was open";
  EXPECT_ERROR(job.Prepare(), ErrorNumber::kInvalidProcedureCall);
}

// --- Ends ---------------------------------------------------------------------------------------

TEST_F(ImportJobTest, ACancellingImportClassEndsTheRunBeforeItsFirstRecord) {
  import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(true);
    return Value();
  });
  Open(Spec());
  const RunResult& result = job.Run();
  EXPECT_TRUE(result.cancelled);
  EXPECT_EQ(result.records, 0);
  EXPECT_THAT(stored, IsEmpty());
  EXPECT_THAT(WorkingCopies(), IsEmpty());
}

TEST_F(ImportJobTest, AStopRequestEndsTheRunBeforeItsNextRecord) {
  import_class->Method("ImportRecord", [this](std::span<Argument>) {
    job.RequestStop();
    stored.emplace_back("one");
    return Value();
  });
  Open(Spec());
  const RunResult& result = job.Run();
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(result.records, 1);
}

TEST_F(ImportJobTest, AJobCannotRunWithinItsOwnRun) {
  import_class->Method("AfterImport", [&](std::span<Argument>) {
    EXPECT_ERROR(job.Run(), ErrorNumber::kInvalidProcedureCall);
    EXPECT_ERROR(Open(Spec()), ErrorNumber::kInvalidProcedureCall);
    return Value();
  });
  Open(Spec());
  EXPECT_EQ(job.Run().errors, 0);
}

TEST_F(ImportJobTest, CancellingWithinARunStopsIt) {
  import_class->Method("ImportRecord", [this](std::span<Argument>) {
    job.Cancel();
    return Value();
  });
  Open(Spec());
  const RunResult& result = job.Run();
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(result.records, 1);
}

TEST_F(ImportJobTest, WhatIsOpenGoesWithTheJob) {
  {
    ImportJob other(Platform{ui, components, clock});
    other.Open({.specification = Spec()});
    EXPECT_EQ(WorkingCopies().size(), 1u);
  }
  EXPECT_THAT(WorkingCopies(), IsEmpty());
}

TEST_F(ImportJobTest, ASpecificationThatCouldNotBeOpenedStaysWhateverItsName) {
  const std::string spec = WriteSpecification("meine.tmp", "[Common]\nApplication=zwei\n");
  EXPECT_ERROR(Open(spec), ErrorNumber::kAutomation);
  job.Cancel();
  EXPECT_TRUE(FileExists(spec));
}

// --- Several jobs -------------------------------------------------------------------------------

TEST_F(ImportJobTest, OneJobRunsOneSpecificationAfterTheOther) {
  Open(Spec());
  job.Run();
  Open(Spec("Name=FIELD:Ort\n"));
  job.Run();
  EXPECT_THAT(stored, ElementsAre("Meier, Köln", "Weiß, Ulm", "Köln, ", "Ulm, "));
}

TEST_F(ImportJobTest, TwoJobsAreOpenAtTheSameTimeEachWithItsOwnWorkingCopy) {
  Open(Spec());
  ImportJob other(Platform{ui, components, clock});
  other.Open({.specification = Spec("Name=FIELD:Ort\n"), .user = "4712"});
  EXPECT_EQ(WorkingCopies().size(), 2u);
  other.Run();
  job.Run();
  EXPECT_THAT(stored, ElementsAre("Köln, ", "Ulm, ", "Meier, Köln", "Weiß, Ulm"));
}

}  // namespace
}  // namespace kestrel
