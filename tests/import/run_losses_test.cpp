// What a run tells about records that were lost: figures, late errors, stops, and logs that cannot be written.
#include "import/run_fixture.h"
#include "platform/base/file.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kErrors =
    "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!";

// One error that an import class with the optional members tells.
struct ToldError {
  int code = 0;
  std::string description = {};
  int first = 0;
  int last = 0;
  std::string stop = {};
};

class RunLossesTest : public ImportRunFixture {
 protected:
  RunLossesTest() {
    import_class->Get("ErrorCode", [this](std::span<Argument>) { return Value(error.code); })
        .Get("ErrorDescription", [this](std::span<Argument>) { return Value(error.description); });
  }
  // Gives the import class the optional members.
  void TellWhichRecords() {
    import_class->Get("ErrorFirstRecord", [this](std::span<Argument>) { return Value(error.first); })
        .Get("ErrorLastRecord", [this](std::span<Argument>) { return Value(error.last); });
  }
  void TellStops() {
    import_class->Get("StopReason", [this](std::span<Argument>) { return Value(error.stop); });
  }
  void TellLate(std::vector<ToldError> late) {
    late_errors = std::move(late);
    import_class->Method("NextLateError", [this](std::span<Argument>) {
      error = next_late < late_errors.size() ? late_errors[next_late++] : ToldError();
      return Value(error.code != 0);
    });
  }
  // The n-th call of ImportRecord, counted from 1, tells the error; all others succeed.
  void FailAt(int call, ToldError told) {
    import_class->Method("GetNewRecord", [this](std::span<Argument>) {
      error = ToldError();
      return Value(NewRecord());
    });
    import_class->Method("ImportRecord", [this, call, told](std::span<Argument>) {
      error = ++calls == call ? told : ToldError();
      return Value();
    });
  }
  static void ExpectFigures(const RunResult& result, int stored, int rejected) {
    EXPECT_EQ(result.stored, stored);
    EXPECT_EQ(result.rejected, rejected);
    EXPECT_EQ(result.stored + result.rejected + result.duplicates + result.checked, result.records);
  }

  ToldError error;
  std::vector<ToldError> late_errors;
  std::size_t next_late = 0;
  int calls = 0;
};

// --- Figures ------------------------------------------------------------------------------------

TEST_F(RunLossesTest, ARecordThatTheImportClassRefusesIsRejected) {
  UseNames({"A", "B", "C"});
  FailAt(2, {.code = 7, .description = "voll"});
  ExpectFigures(Run(), 2, 1);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 7 voll (ImportRecord/ImportStart)"));
}

TEST_F(RunLossesTest, ARecordWhoseCallFailsIsRejectedOnce) {
  UseNames({"A", "B", "C"});
  import_class->Raises("ImportRecord", RuntimeError(3000, "weg"));
  error.code = 7;
  const RunResult& result = Run();
  ExpectFigures(result, 0, 3);
  EXPECT_EQ(result.errors, 9) << "GetNewRecord, the call and ErrorCode behind it, for each record";
}

TEST_F(RunLossesTest, ATestRunOnlyChecks) {
  UseNames({"A", "B"});
  session.TestMode = true;
  const RunResult& result = Run();
  ExpectFigures(result, 0, 0);
  EXPECT_EQ(result.checked, 2);
}

TEST_F(RunLossesTest, ALateErrorThatNamesNoRecordIsARejectedOne) {
  UseNames({"A", "B", "C"});
  TellLate({{.code = 7, .description = "erst später"}});
  ExpectFigures(Run(), 2, 1);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 7 erst später (ImportRecord/ImportStart)"));
}

TEST_F(RunLossesTest, ALostTransactionIsToldByTheNumbersOfItsRecords) {
  UseNames({"A", "B", "C", "D", "E"});
  TellWhichRecords();
  TellLate({{.code = 3000, .description = "Übernahme gescheitert", .first = 2, .last = 4}});
  ExpectFigures(Run(), 2, 3);
  EXPECT_THAT(LogLines(),
              ElementsAre("Fehler: 3000 Datensätze 2 bis 4: Übernahme gescheitert (ImportRecord/ImportStart)"));
}

TEST_F(RunLossesTest, ALostRecordIsRejectedOnceHoweverOftenItIsTold) {
  UseNames({"A", "B", "C", "D"});
  TellWhichRecords();
  FailAt(3, {.code = 7, .description = "doppelt", .first = 2, .last = 2});
  TellLate({{.code = 8, .description = "weg", .first = 1, .last = 3}});
  ExpectFigures(Run(), 1, 3);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 7 Datensatz 2: doppelt (ImportRecord/ImportStart)",
                                      "Fehler: 8 Datensätze 1 bis 3: weg (ImportRecord/ImportStart)"));
}

TEST_F(RunLossesTest, AnErrorThatNamesNoRecordBelongsToTheOneJustHandedOver) {
  UseNames({"A", "B"});
  TellWhichRecords();
  FailAt(1, {.code = 7, .description = "nein"});
  ExpectFigures(Run(), 1, 1);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 7 nein (ImportRecord/ImportStart)"));
}

TEST_F(RunLossesTest, AnErrorOfNoRecordRejectsNone) {
  UseNames({"A", "B"});
  TellWhichRecords();
  FailAt(1, {.code = 7, .description = "allgemein", .first = -1});
  ExpectFigures(Run(), 2, 0);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 7 allgemein (ImportRecord/ImportStart)"));
}

TEST_F(RunLossesTest, NumbersBeyondTheRecordsHandedOverAreCut) {
  UseNames({"A", "B"});
  TellWhichRecords();
  TellLate({{.code = 7, .description = "wirr", .first = 2, .last = 1000000000}});
  ExpectFigures(Run(), 1, 1);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 7 Datensatz 2: wirr (ImportRecord/ImportStart)"));
}

TEST_F(RunLossesTest, AnErrorOfGetNewRecordRejectsNoRecordUnlessItNamesOne) {
  UseNames({"A", "B", "C"});
  TellWhichRecords();
  import_class->Method("ImportRecord", [this](std::span<Argument>) {
    error = ToldError();
    return Value();
  });
  import_class->Method("GetNewRecord", [this](std::span<Argument>) {
    ++calls;
    if (calls == 2) error = {.code = 5, .description = "allgemein"};
    if (calls == 3) error = {.code = 6, .description = "später", .first = 1, .last = 1};
    return Value(NewRecord());
  });
  ExpectFigures(Run(), 2, 1);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 5 allgemein (GetNewRecord/ImportStart)",
                                      "Fehler: 6 Datensatz 1: später (GetNewRecord/ImportStart)"));
}

// --- Optional members ---------------------------------------------------------------------------

TEST_F(RunLossesTest, OptionalMembersAreLookedUpOnceARun) {
  class Asked final : public Object {
   public:
    explicit Asked(ObjectPtr object) : object_(std::move(object)) {}
    std::optional<MemberId> FindMember(std::string_view name) const override {
      ++asked[std::string(name)];
      return object_->FindMember(name);
    }
    Value Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) override {
      return object_->Invoke(member, kind, arguments);
    }
    mutable std::map<std::string, int> asked;

   private:
    ObjectPtr object_;
  };
  UseNames({"A", "B", "C"});
  FailAt(2, {.code = 7, .description = "voll"});
  const auto asked = std::make_shared<Asked>(import_class);
  session.ImportClass = asked;
  Run();
  for (const char* name : {"NextLateError", "ErrorFirstRecord", "ErrorLastRecord", "StopReason", "ImportResult",
                           "NextLateUpdate"}) {
    EXPECT_EQ(asked->asked[name], 1) << name;
  }
}

TEST_F(RunLossesTest, AClassWithoutOptionalMembersIsDrivenCallForCall) {
  UseNames({"A", "B"});
  FailAt(1, {.code = 7, .description = "voll"});
  Run();
  EXPECT_THAT(
      CallsOf("class"),
      ElementsAre(StartsWith("Let class.SpecificationFile"), "Call class.BeforeImport(ByRef False)",
                  "Call class.GetNewRecord()", "Get class.ErrorCode", "Call class.ImportRecord(ByRef Object)",
                  "Get class.ErrorCode", "Get class.ErrorDescription", "Call class.GetNewRecord()",
                  "Get class.ErrorCode", "Call class.ImportRecord(ByRef Object)", "Get class.ErrorCode",
                  "Call class.AfterImport()"));
}

TEST_F(RunLossesTest, LateErrorsEndWithTheRecordsHandedOverAndOne) {
  UseNames({"A", "B", "C"});
  error.code = 7;
  import_class->Method("ImportRecord").Returns("NextLateError", Value(true));
  const RunResult& result = Run();
  EXPECT_EQ(import_class->CountOf("NextLateError"), 4u);
  ExpectFigures(result, 0, 3);
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
}

TEST_F(RunLossesTest, WhatComesToLightWithAfterImportIsTold) {
  UseNames({"A", "B"});
  TellWhichRecords();
  TellLate({});
  import_class->Method("AfterImport", [this](std::span<Argument>) {
    late_errors.push_back({.code = 61, .description = "Datenträger voll", .first = 1, .last = 2});
    return Value();
  });
  ExpectFigures(Run(), 0, 2);
  EXPECT_THAT(LogLines(),
              ElementsAre("Fehler: 61 Datensätze 1 bis 2: Datenträger voll (ImportRecord/ImportStart)"));
}

TEST_F(RunLossesTest, AStopRequestEndsTheLateErrors) {
  UseNames({"A", "B", "C"});
  error.code = 0;
  import_class->Method("NextLateError", [this](std::span<Argument>) {
    error = {.code = 7, .description = "spät"};
    run.RequestAbort();
    return Value(true);
  });
  const RunResult& result = Run();
  EXPECT_EQ(import_class->CountOf("NextLateError"), 1u);
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(import_class->CountOf("AfterImport"), 0u);
  EXPECT_THAT(LogLines(),
              ElementsAre("Fehler: 7 spät (ImportRecord/ImportStart)",
                          "Fehler: 440 Der Import wurde abgebrochen, bevor das Importziel alle seine "
                          "Fehler genannt hat (/ImportStart)"));
}

// --- Stops --------------------------------------------------------------------------------------

TEST_F(RunLossesTest, AStopReasonEndsTheRunAndIsToldOnceWithTheRecordToGoOnWith) {
  UseNames({"A", "B", "C", "D", "E", "F"});
  session.DeleteFile = true;
  TellWhichRecords();
  TellStops();
  FailAt(4, {.code = 61, .description = "voll", .first = 3, .last = 4, .stop = "Der Datenträger ist voll."});
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 4);
  ExpectFigures(result, 2, 2);
  EXPECT_EQ(result.stop_reason, "Der Datenträger ist voll.");
  EXPECT_EQ(import_class->CountOf("ImportRecord"), 4u);
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
  ASSERT_THAT(ui.boxes, SizeIs(2));
  EXPECT_EQ(ui.boxes[0].text,
            "Der Import wurde angehalten. Der Datenträger ist voll.\r\n\r\nGespeichert sind 2 Datensätze, der "
            "letzte ist Datensatz 2 der Quelle. Nach der Abhilfe ist der Import mit Datensatz 3 fortzusetzen.");
  EXPECT_EQ(ui.boxes[0].icon, Icon::kStop);
  EXPECT_EQ(ui.boxes[1].text, kErrors);
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(RunLossesTest, AStopNamesTheFirstRecordThatIsMissingBeforeTheLastStoredOne) {
  UseNames({"A", "B", "C", "D", "E", "F"});
  TellWhichRecords();
  TellStops();
  // The group of the second and third record is lost when the fourth comes, which is stored in one of its own.
  FailAt(4, {.code = 61, .description = "voll", .first = 2, .last = 3, .stop = "Der Datenträger ist voll."});
  const RunResult& result = Run();
  ExpectFigures(result, 2, 2);
  ASSERT_THAT(ui.boxes, SizeIs(2));
  EXPECT_THAT(
      ui.boxes[0].text,
      EndsWith("der letzte ist Datensatz 4 der Quelle. Nach der Abhilfe ist der Import mit Datensatz 5 "
               "fortzusetzen. Auch davor fehlen Datensätze, der erste ist Datensatz 2; die Fehler nennen "
               "sie alle."));
}

TEST_F(RunLossesTest, AStopOfTheUsersTellsWhyTheLastRecordsWereLostAndGoesOnWithThem) {
  UseNames({"A", "B", "C", "D", "E", "F"});
  TellWhichRecords();
  TellStops();
  import_class->Method("ImportRecord", [this](std::span<Argument>) {
    error = ToldError();
    if (++calls == 4) {
      run.RequestAbort();
      error = {.code = 3000, .description = "weg", .first = 3, .last = 4, .stop = "Der Server ist weg."};
    }
    return Value();
  });
  const RunResult& result = Run();
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(result.stop_reason, "");
  EXPECT_EQ(result.next_record, 3);
  ASSERT_THAT(ui.boxes, SizeIs(2));
  EXPECT_EQ(ui.boxes[0].text,
            "Der Import wurde abgebrochen. Der Server ist weg.\r\n\r\nGespeichert sind 2 Datensätze, der "
            "letzte ist Datensatz 2 der Quelle. Nach der Abhilfe ist der Import mit Datensatz 3 fortzusetzen.");
}

TEST_F(RunLossesTest, AStopOfGetNewRecordHandsNothingOver) {
  UseNames({"A", "B"});
  TellStops();
  error = {.code = 3000, .description = "Verbindung verloren", .stop = "Die Verbindung ist verloren."};
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 0);
  EXPECT_EQ(import_class->CountOf("ImportRecord"), 0u);
  EXPECT_EQ(result.errors, 1);
  ASSERT_THAT(ui.boxes, SizeIs(2));
  EXPECT_THAT(ui.boxes[0].text,
              EndsWith("Es ist kein Datensatz gespeichert; nach der Abhilfe ist der Import von "
                       "vorn zu beginnen."));
}

TEST_F(RunLossesTest, AStopThatComesLateIsTold) {
  UseNames({"A", "B", "C"});
  TellWhichRecords();
  TellStops();
  TellLate({{.code = 61, .description = "voll", .first = 3, .last = 3, .stop = "Voll."}});
  const RunResult& result = Run();
  EXPECT_EQ(result.stop_reason, "Voll.");
  ASSERT_THAT(ui.boxes, SizeIs(2));
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("mit Datensatz 3 fortzusetzen"));
}

TEST_F(RunLossesTest, AnErrorWithoutStopReasonStopsNothing) {
  UseNames({"A", "B", "C"});
  TellStops();
  FailAt(1, {.code = 7, .description = "nein"});
  EXPECT_EQ(Run().records, 3);
  EXPECT_THAT(ui.boxes, SizeIs(1));
}

// --- Logs that cannot be written ----------------------------------------------------------------

TEST_F(RunLossesTest, AnErrorThatTheLogDoesNotTakeIsToldByItsRecord) {
  UseNames({"A", "B", "C"});
  TellWhichRecords();
  FailAt(2, {.code = 7, .description = "voll"});
  TellLate({{.code = 8, .description = "weg", .first = 1, .last = 3}});
  log->Raises("UpdateRecord", RuntimeError(61, "Datenträger voll"));
  const RunResult& result = Run();
  EXPECT_THAT(result.unlogged, ElementsAre("Datensatz 2: Fehler 7: voll", "Datensätze 1 bis 3: Fehler 8: weg"));
  EXPECT_EQ(result.unlogged_count, 2);
  EXPECT_THAT(view.told, ElementsAre("Nicht im Protokoll: Datensatz 2: Fehler 7: voll",
                                     "Nicht im Protokoll: Datensätze 1 bis 3: Fehler 8: weg"));
}

TEST_F(RunLossesTest, ErrorsBehindAStopThatTheLogDoesNotTakeAreToldByTheirNumber) {
  UseNames({"A", "B", "C", "D"});
  TellWhichRecords();
  TellStops();
  FailAt(3, {.code = 61, .description = "voll", .first = 3, .last = 3, .stop = "Voll."});
  TellLate({{.code = 61, .description = "auch voll", .first = 2, .last = 2}});
  log->Raises("UpdateRecord", RuntimeError(61, "Datenträger voll"));
  const RunResult& result = Run();
  EXPECT_THAT(result.unlogged,
              ElementsAre("Datensatz 3: Fehler 61: voll", "Datensatz 2: Fehler 61: auch voll"));
  EXPECT_THAT(view.told, ElementsAre("Nicht im Protokoll: 2 Fehler aus diesem Grund"));
}

TEST_F(RunLossesTest, WhereAStopRefersToItsErrorsEachIsToldThatTheLogDoesNotTake) {
  UseNames({"A", "B", "C", "D", "E"});
  TellWhichRecords();
  TellStops();
  FailAt(4, {.code = 61, .description = "voll", .first = 2, .last = 3, .stop = "Voll."});
  log->Raises("UpdateRecord", RuntimeError(61, "Datenträger voll"));
  Run();
  EXPECT_THAT(view.told, ElementsAre("Nicht im Protokoll: Datensätze 2 bis 3: Fehler 61: voll"));
}

TEST_F(RunLossesTest, ErrorsThatNoLogTakesAreCountedAndTheFirstOfThemKept) {
  UseNames(std::vector<std::string>(150, "X"));
  error = {.code = 7, .description = "voll"};
  import_class->Method("ImportRecord");
  log->Raises("CreateProtokoll", RuntimeError(3000, "keine Tabelle"));
  const RunResult& result = Run();
  EXPECT_EQ(result.unlogged_count, 300);
  EXPECT_THAT(result.unlogged, SizeIs(100));
  EXPECT_EQ(result.unlogged.back(), "Datensatz 50: Fehler 7: voll");
  ASSERT_THAT(view.told, SizeIs(101));
  EXPECT_EQ(view.told.back(), "Nicht im Protokoll: 200 weitere");
}

TEST_F(RunLossesTest, ALoggedErrorIsNotToldTwice) {
  UseNames({"A"});
  FailAt(1, {.code = 7, .description = "voll"});
  EXPECT_THAT(Run().unlogged, IsEmpty());
  EXPECT_THAT(view.told, IsEmpty());
}

}  // namespace
}  // namespace kestrel::testing
