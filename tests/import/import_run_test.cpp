// The steps of a run: order of calls, counters, labels, messages and log lines.
#include "import/import_run.h"

#include <stdexcept>

#include "import/run_fixture.h"
#include "platform/base/file.h"
#include "spec/specification.h"

namespace kestrel::testing {
namespace {

using Box = RecordingUserInterface::Box;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::DoubleEq;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kSuccess = "Der Import wurde erfolgreich fertig gestellt.";
constexpr const char* kErrors =
    "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!";
constexpr const char* kCancelled = "Der Vorgang wurde vom Benutzer abgebrochen!";

Box ResultBox(const std::string& text) { return Box{text, "KESTREL Import", Icon::kInformation, Buttons::kOk}; }

class ImportRunTest : public ImportRunFixture {
 protected:
  // An import class that sets its cancel flag.
  void CancelInBeforeImport() {
    import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
      arguments[0].Set(Value(true));
      return Value();
    });
  }
  // Asks for the window to be closed during the given yield, counted from 1.
  void CloseDuringYield(int yield) {
    view.on_yield = [this, yield] {
      if (view.yields != yield) return;
      run.RequestAbort();
    };
  }
};

// --- Order of calls -----------------------------------------------------------------------------

TEST_F(ImportRunTest, OneRecordFromBeginToEnd) {
  UseNames({"Müller"});
  Run();
  EXPECT_THAT(
      CallLines(),
      ElementsAre("Let class.SpecificationFile \"" + session.SpecFile + "\"",
                  "Call class.BeforeImport(ByRef False)", "Call view.Yield()", "Call view.Yield()",
                  "Call view.SetInfo(\"Importiere Datensatz 0 von 1\")", "Call view.Yield()",
                  "Call class.GetNewRecord()", "Get class.ErrorCode", "Call class.ImportRecord(ByRef Object)",
                  "Get class.ErrorCode", "Call view.SetProgress(100)", "Call class.AfterImport()",
                  "Call view.SetInfo(\"" + std::string(kSuccess) + "\")", "Call view.CloseWindow()"));
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Bez1", "Müller"}}));
}

TEST_F(ImportRunTest, ASourceWithoutRecordsIsASuccess) {
  UseNames({});
  const RunResult& result = Run();
  EXPECT_THAT(CallsOf("class"),
              ElementsAre("Let class.SpecificationFile \"" + session.SpecFile + "\"",
                          "Call class.BeforeImport(ByRef False)", "Call class.AfterImport()"));
  EXPECT_EQ(result.records, 0);
  EXPECT_EQ(result.total, 0);
  EXPECT_EQ(result.errors, 0);
  EXPECT_THAT(view.infos, ElementsAre(kSuccess));
  EXPECT_THAT(ui.boxes, ElementsAre(ResultBox(kSuccess)));
}

TEST_F(ImportRunTest, CountsFromZeroInTheLabelAndFromOneInTheBar) {
  UseNames({"A", "B", "C", "D"});
  const RunResult& result = Run();
  EXPECT_THAT(view.infos,
              ElementsAre("Importiere Datensatz 0 von 4", "Importiere Datensatz 1 von 4",
                          "Importiere Datensatz 2 von 4", "Importiere Datensatz 3 von 4", kSuccess));
  EXPECT_THAT(view.progress, ElementsAre(DoubleEq(25), DoubleEq(50), DoubleEq(75), DoubleEq(100)));
  EXPECT_EQ(view.yields, 1 + 2 * 4);
  EXPECT_EQ(result.records, 4);
  EXPECT_EQ(result.total, 4);
  EXPECT_EQ(result.message, kSuccess);
}

TEST_F(ImportRunTest, TheLabelHasNumbersOfAnyWidth) {
  UseNames(std::vector<std::string>(101, "X"));
  Run();
  EXPECT_EQ(view.infos.at(9), "Importiere Datensatz 9 von 101");
  EXPECT_EQ(view.infos.at(10), "Importiere Datensatz 10 von 101");
  EXPECT_EQ(view.infos.at(100), "Importiere Datensatz 100 von 101");
}

TEST_F(ImportRunTest, TheWindowClosesAfterTheMessageAndTheSourceIsReleased) {
  UseNames({"A"});
  Run();
  EXPECT_EQ(view.closes, 1);
  EXPECT_EQ(ui.boxes.size(), 1u);
  EXPECT_EQ(session.SourceRecordset, nullptr);
}

TEST_F(ImportRunTest, ARunWithoutErrorsNeverTouchesTheLogComponent) {
  UseNames({"A"});
  Run();
  EXPECT_THAT(CallsOf("log"), IsEmpty());
}

// --- Window -------------------------------------------------------------------------------------

TEST_F(ImportRunTest, OnlyTheFirstActivationRuns) {
  UseNames({"A"});
  view.on_yield = [this] { run.Activate(); };
  Run();
  run.Activate();
  EXPECT_EQ(stored.size(), 1u);
  EXPECT_EQ(view.closes, 1);
}

TEST_F(ImportRunTest, ACloseRequestEndsTheRunBeforeTheNextRecord) {
  UseNames(std::vector<std::string>(12, "X"));
  session.DeleteFile = true;
  CloseDuringYield(5);  // the second yield of the second record
  const RunResult& result = Run();
  EXPECT_EQ(stored.size(), 2u) << "the record under way is finished";
  EXPECT_EQ(result.records, 2);
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(view.infos.back(), "Der Import hat 2 von 12 Datensätzen erfolgreich importiert.");
  EXPECT_THAT(ui.boxes, ElementsAre(ResultBox("Der Import hat 2 von 12Datensätzen erfolgreich importiert.")));
  EXPECT_EQ(import_class->CountOf("AfterImport"), 0u);
  EXPECT_TRUE(FileExists(session.FileName));
  EXPECT_EQ(session.SourceRecordset, nullptr);
  EXPECT_EQ(view.closes, 1);
}

TEST_F(ImportRunTest, ACloseRequestBeforeTheFirstRecordImportsNothing) {
  UseNames({"A", "B"});
  CloseDuringYield(1);
  Run();
  EXPECT_THAT(stored, IsEmpty());
  EXPECT_THAT(view.infos, ElementsAre("Der Import hat 0 von 2 Datensätzen erfolgreich importiert."));
}

TEST_F(ImportRunTest, ACloseRequestInTheLastRecordComesTooLate) {
  UseNames({"A", "B"});
  CloseDuringYield(5);
  const RunResult& result = Run();
  EXPECT_FALSE(result.aborted);
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
  EXPECT_EQ(result.message, kSuccess);
}

TEST_F(ImportRunTest, AnAbortedRunWithErrorsTellsTheErrors) {
  UseNames({"A", "B", "C"});
  import_class->Get("ErrorCode", Value(7));
  CloseDuringYield(3);
  Run();
  EXPECT_EQ(view.infos.back(), kErrors);
  EXPECT_THAT(ui.boxes, ElementsAre(ResultBox(kErrors)));
}

// --- The import class cancels -------------------------------------------------------------------

TEST_F(ImportRunTest, ACancellationRequestsNoRecordAndMakesNoBackup) {
  UseNames({"A"});
  session.SaveFile = true;
  session.DeleteFile = true;
  session.SavePath = folder.File("Sicherung");
  CreateFolders(session.SavePath);
  CancelInBeforeImport();
  const RunResult& result = Run();
  EXPECT_THAT(CallsOf("class"), ElementsAre("Let class.SpecificationFile \"" + session.SpecFile + "\"",
                                            "Call class.BeforeImport(ByRef False)"));
  EXPECT_FALSE(FileExists(session.SavePath + "/adressen.txt"));
  EXPECT_TRUE(FileExists(session.FileName));
  EXPECT_EQ(result.errors, -1);
  EXPECT_TRUE(result.cancelled);
  EXPECT_THAT(view.infos, ElementsAre(kCancelled));
  EXPECT_THAT(ui.boxes, ElementsAre(ResultBox(kCancelled)));
  EXPECT_EQ(view.yields, 0);
  EXPECT_EQ(view.closes, 1);
}

// --- Errors of the import class -----------------------------------------------------------------

TEST_F(ImportRunTest, AnErrorOfGetNewRecordIsLoggedAndTheRecordImported) {
  UseNames({"A"});
  import_class->Get("ErrorDescription", Value("Kein Platz"));
  int reads = 0;
  import_class->Get("ErrorCode", [&reads](std::span<Argument>) { return Value(++reads == 1 ? 4711 : 0); });
  const RunResult& result = Run();
  EXPECT_EQ(result.errors, 1);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 4711 Kein Platz (GetNewRecord/ImportStart)"));
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Bez1", "A"}}));
  EXPECT_EQ(view.infos.back(), kErrors);
  EXPECT_THAT(ui.boxes, ElementsAre(ResultBox(kErrors)));
  EXPECT_THAT(
      CallsOf("class"),
      ElementsAre(StartsWith("Let class.SpecificationFile"), "Call class.BeforeImport(ByRef False)",
                  "Call class.GetNewRecord()", "Get class.ErrorCode", "Get class.ErrorDescription",
                  "Call class.ImportRecord(ByRef Object)", "Get class.ErrorCode", "Call class.AfterImport()"));
}

TEST_F(ImportRunTest, AnErrorOfImportRecordIsLogged) {
  UseNames({"A", "B"});
  import_class->Get("ErrorDescription", Value("Nummer fehlt"));
  int reads = 0;
  import_class->Get("ErrorCode", [&reads](std::span<Argument>) { return Value(++reads == 2 ? -5 : 0); });
  const RunResult& result = Run();
  EXPECT_EQ(result.errors, 1);
  EXPECT_EQ(result.records, 2);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: -5 Nummer fehlt (ImportRecord/ImportStart)"));
}

TEST_F(ImportRunTest, TheSecondErrorGoesIntoTheLogOfTheFirst) {
  UseNames({"A", "B"});
  import_class->Get("ErrorCode", Value(1));
  EXPECT_EQ(Run().errors, 4);
  EXPECT_EQ(log->CountOf("CreateProtokoll"), 1u);
  EXPECT_EQ(LogLines().size(), 4u);
}

TEST_F(ImportRunTest, TheLogIsCreatedWithTheValuesOfTheSession) {
  UseNames({"A"});
  session.AppMode = 2;
  import_class->Get("ErrorCode", Value(1));
  Run();
  EXPECT_EQ(CallsOf("log").front(),
            "Call log.CreateProtokoll(ByRef Object, ByRef \"Datenimport\", ByRef \"Dr. Eva Muster\", ByRef "
            "\"LST_Import\", ByRef \"07.03.2024\", ByRef \"Adressen\", ByRef \"" +
                session.SpecFile + "\", ByRef \"Textdatei\")");
}

TEST_F(ImportRunTest, EveryRunStartsLogsOfItsOwn) {
  UseNames({"A"});
  import_class->Get("ErrorCode", Value(1));
  Run();
  ImportRun second(import, view);
  second.Activate();
  EXPECT_EQ(log->CountOf("CreateProtokoll"), 2u);
  EXPECT_EQ(second.result().errors, 2);
}

TEST_F(ImportRunTest, ALackingMemberIsCountedAndLoggedWithoutAFunction) {
  UseNames({"A"});
  auto lacking = std::make_shared<RecordingObject>("class", journal);
  lacking->Let("SpecificationFile")
      .Method("BeforeImport")
      .Method("GetNewRecord", [this](std::span<Argument>) { return Value(NewRecord()); })
      .Get("ErrorCode", Value(0))
      .Method("ImportRecord");
  session.ImportClass = lacking;
  const RunResult& result = Run();
  EXPECT_EQ(result.errors, 1);
  EXPECT_THAT(LogLines(),
              ElementsAre("Fehler: 438 Objekt unterstützt diese Eigenschaft oder Methode nicht: AfterImport "
                          "(/ImportStart)"));
}

TEST_F(ImportRunTest, AnErrorDescriptionThatFailsDoesNotHideTheError) {
  UseNames({"A"});
  import_class->Get("ErrorCode", Value(12));
  import_class->Raises("ErrorDescription", RuntimeError(1000, "kaputt"));
  EXPECT_EQ(Run().errors, 4);
  EXPECT_THAT(LogLines(),
              ElementsAre("Fehler: 1000 kaputt (/ImportStart)", "Fehler: 12  (GetNewRecord/ImportStart)",
                          "Fehler: 1000 kaputt (/ImportStart)", "Fehler: 12  (ImportRecord/ImportStart)"));
}

TEST_F(ImportRunTest, ARaisingGetNewRecordNeverStoresTheRecordBeforeTwice) {
  UseNames({"A", "B", "C"});
  int calls = 0;
  import_class->Method("GetNewRecord", [this, &calls](std::span<Argument>) {
    if (++calls == 2) throw RuntimeError(ErrorNumber::kDiskFull);
    return Value(NewRecord());
  });
  Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Bez1", "A"}}, StoredRecord{{"Bez1", "C"}}));
  EXPECT_THAT(LogLines(), Contains("Fehler: 61 Datenträger voll (/ImportStart)"));
  EXPECT_THAT(CallsOf("class"), Contains("Call class.ImportRecord(ByRef Empty)"));
}

TEST_F(ImportRunTest, AnUnsetRecordIsAnErrorButNoEnd) {
  UseNames({"A", "B"});
  import_class->Returns("GetNewRecord", Value(ObjectPtr()));
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 2);
  EXPECT_THAT(stored, IsEmpty());
  EXPECT_THAT(LogLines(), Each("Fehler: 91 Objektvariable nicht festgelegt (/ImportStart)"));
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
}

TEST_F(ImportRunTest, ARecordThatIsNoObjectIsAnError) {
  UseNames({"A"});
  import_class->Returns("GetNewRecord", Value("kein Objekt"));
  Run();
  EXPECT_THAT(LogLines(), Contains(StartsWith("Fehler: 424 ")));
}

TEST_F(ImportRunTest, WhatImportRecordRaisesIsCountedAndTheNextRecordFollows) {
  UseNames({"A", "B"});
  import_class->Raises("ImportRecord", RuntimeError(3000, "Tabelle gesperrt"));
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 2);
  EXPECT_EQ(result.errors, 2);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 3000 Tabelle gesperrt (/ImportStart)",
                                      "Fehler: 3000 Tabelle gesperrt (/ImportStart)"));
}

TEST_F(ImportRunTest, AForeignExceptionEndsNoRun) {
  UseNames({"A"});
  import_class->Method("ImportRecord", [](std::span<Argument>) -> Value { throw std::runtime_error("fremd"); });
  EXPECT_EQ(Run().errors, 1);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 440 Automatisierungsfehler: fremd (/ImportStart)"));
}

TEST_F(ImportRunTest, WithoutAnImportClassTheRunReachesItsEnd) {
  UseNames({"A"});
  session.ImportClass = nullptr;
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 1);
  EXPECT_THAT(LogLines(), Not(IsEmpty()));
  EXPECT_EQ(result.message, kErrors);
}

TEST_F(ImportRunTest, AFailingBeforeImportDoesNotCancel) {
  UseNames({"A"});
  import_class->Raises("BeforeImport", RuntimeError(ErrorNumber::kDeviceIo));
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 1);
  EXPECT_EQ(result.errors, 1);
}

TEST_F(ImportRunTest, AWindowThatFailsIsCountedAndTheRunGoesOn) {
  UseNames({"A"});
  view.on_info = [] { throw std::runtime_error("Fenster weg"); };
  const RunResult& result = Run();
  EXPECT_EQ(stored.size(), 1u);
  EXPECT_EQ(result.errors, 1) << "the label of the result is set after the count was taken";
  EXPECT_EQ(view.closes, 1);
}

// --- Test mode ----------------------------------------------------------------------------------

TEST_F(ImportRunTest, TestModeFillsEveryRecordAndImportsNone) {
  UseNames({"A", "B"});
  session.TestMode = true;
  std::vector<std::shared_ptr<MemoryRecordset>> records;
  import_class->Method("GetNewRecord", [&](std::span<Argument>) {
    records.push_back(NewRecord());
    return Value(records.back());
  });
  EXPECT_EQ(Run().message, kSuccess);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0]->TextAt(0), "A");
  EXPECT_EQ(records[1]->TextAt(0), "B");
  EXPECT_EQ(import_class->CountOf("ImportRecord"), 0u);
  EXPECT_EQ(import_class->CountOf("ErrorCode"), 2u);
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
}

TEST_F(ImportRunTest, TestModeWithTwoIncompatibleConstantsCountsTwoErrorsPerRecord) {
  UseNames({"A", "B", "C"});
  Assign({.field = "Rabatt", .option = kConstantValue, .destination = "viel", .typ = "INT"});
  Assign({.field = "Umsatz", .option = kConstantValue, .destination = "mehr", .typ = "FLOAT"});
  session.TestMode = true;
  EXPECT_EQ(Run().errors, 6);
  EXPECT_THAT(stored, IsEmpty());
  EXPECT_THAT(ui.boxes, ElementsAre(ResultBox(kErrors)));
}

// --- Backup and removal -------------------------------------------------------------------------

TEST_F(ImportRunTest, TheBackupIsMadeAfterBeforeImportAndBeforeTheFirstRecord) {
  UseNames({"A"});
  session.SaveFile = true;
  session.SavePath = folder.File("Sicherung");
  CreateFolders(session.SavePath);
  const std::string backup = session.SavePath + "/adressen.txt";
  import_class->Method("BeforeImport", [&](std::span<Argument>) {
    EXPECT_FALSE(FileExists(backup));
    return Value();
  });
  import_class->Method("GetNewRecord", [&](std::span<Argument>) {
    EXPECT_TRUE(FileExists(backup));
    return Value(NewRecord());
  });
  Run();
  EXPECT_EQ(stored.size(), 1u);
}

TEST_F(ImportRunTest, AMissingBackupFolderIsToldAndTheRunGoesOn) {
  UseNames({"A"});
  session.SaveFile = true;
  session.SavePath = folder.File("Nirgends");
  const RunResult& result = Run();
  EXPECT_THAT(ui.boxes, ElementsAre(Box{"Der Sicherungspfad ''" + session.SavePath +
                                            "'' existiert nicht. Die Datei kann nicht gesichert werden.",
                                        "", Icon::kInformation, Buttons::kOk},
                                    ResultBox(kSuccess)));
  EXPECT_EQ(result.errors, 0);
}

TEST_F(ImportRunTest, AFailedBackupStaysCountedAndKeepsTheSource) {
  UseNames({"A"});
  session.SaveFile = true;
  session.DeleteFile = true;
  session.SavePath = folder.path();  // the backup would be the source itself
  const RunResult& result = Run();
  EXPECT_EQ(result.errors, 1);
  EXPECT_THAT(LogLines(), ElementsAre(AllOf(StartsWith("Fehler: 70 "), EndsWith(" (/ImportStart)"))));
  EXPECT_EQ(stored.size(), 1u);
  EXPECT_TRUE(FileExists(session.FileName));
  EXPECT_EQ(result.message, kErrors);
}

TEST_F(ImportRunTest, ACleanRunRemovesTheSourceAfterAfterImport) {
  UseNames({"A"});
  session.DeleteFile = true;
  import_class->Method("AfterImport", [this](std::span<Argument>) {
    EXPECT_TRUE(FileExists(session.FileName));
    return Value();
  });
  Run();
  EXPECT_FALSE(FileExists(session.FileName));
}

TEST_F(ImportRunTest, ACleanTestRunRemovesTheSourceAlthoughNothingWasImported) {
  UseNames({"A"});
  session.DeleteFile = true;
  session.TestMode = true;
  Run();
  EXPECT_FALSE(FileExists(session.FileName));
}

TEST_F(ImportRunTest, ACountedErrorKeepsTheSource) {
  UseNames({"A"});
  session.DeleteFile = true;
  import_class->Raises("AfterImport", RuntimeError(ErrorNumber::kDeviceIo));
  Run();
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(ImportRunTest, ARemovalThatFailsIsCounted) {
  UseNames({"A"});
  session.DeleteFile = true;
  import_class->Method("AfterImport", [this](std::span<Argument>) {
    DeleteFile(session.FileName);
    return Value();
  });
  const RunResult& result = Run();
  EXPECT_EQ(result.errors, 1);
  EXPECT_THAT(LogLines(), ElementsAre(StartsWith("Fehler: 53 ")));
}

// --- Working copy -------------------------------------------------------------------------------

TEST_F(ImportRunTest, TheWorkingCopyIsDeletedAfterTheWindowClosed) {
  UseNames({"A"});
  const std::string working_copy = session.SpecFile;
  ASSERT_TRUE(FileExists(working_copy));
  Run();
  EXPECT_FALSE(FileExists(working_copy));
}

TEST_F(ImportRunTest, TheUsersOwnSpecificationIsNeverDeleted) {
  UseNames({"A"});
  session.SpecFile = WriteSpecification("Kunden.IMP", "[Common]\n");
  Run();
  EXPECT_TRUE(FileExists(session.SpecFile));
}

}  // namespace
}  // namespace kestrel::testing
