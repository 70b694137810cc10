// A run that begins in the middle of its source, or that its errors stop.
#include <gmock/gmock.h>

#include <fstream>

#include "import/run_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class RunLimitsTest : public ImportRunFixture {
 protected:
  void UseRecords(int count) {
    std::vector<std::string> names;
    for (int i = 1; i <= count; ++i) names.push_back("N" + std::to_string(i));
    UseNames(names);
  }
  // The import class refuses a record with the text that `fault` has for it; an empty one stores it.
  void Refuse(std::function<std::string(int record)> fault) {
    import_class->Method("ImportRecord", [this, fault](std::span<Argument>) {
      error_ = fault(++handed_over_);
      return Value();
    });
    import_class->Get("ErrorCode", [this](std::span<Argument>) { return Value(error_.empty() ? 0 : 3000); });
    import_class->Get("ErrorDescription", [this](std::span<Argument>) { return Value(error_); });
    import_class->Method("GetNewRecord", [this](std::span<Argument>) {
      error_.clear();
      return Value(NewRecord());
    });
  }
  std::vector<std::string> StoredNames() const {
    std::vector<std::string> names;
    for (const StoredRecord& record : stored) names.push_back(record.at("Bez1"));
    return names;
  }

 private:
  int handed_over_ = 0;
  std::string error_;
};

// --- From a record on ---

TEST_F(RunLimitsTest, ARunFromARecordOnPassesOverThoseBeforeAndKeepsTheirNumbers) {
  UseRecords(5);
  const RunResult& result = Run({.from = 4});
  EXPECT_THAT(StoredNames(), ElementsAre("N4", "N5"));
  EXPECT_EQ(result.skipped, 3);
  EXPECT_EQ(result.records, 2);
  EXPECT_EQ(result.figures.read(), 2);
  EXPECT_EQ(view.outcomes.front().record, 4);
  EXPECT_EQ(view.infos.front(), "Importiere Datensatz 3 von 5");
  EXPECT_EQ(view.progress.back(), 100);
  EXPECT_EQ(result.message, "Der Import wurde erfolgreich fertig gestellt.");
  EXPECT_EQ(result.next_record, 0);
}

TEST_F(RunLimitsTest, ARunFromARecordOnNamesLostRecordsByTheSourcesNumbers) {
  UseRecords(5);
  Refuse([](int) { return "weg"; });
  import_class->Get("ErrorFirstRecord", Value(1));
  import_class->Get("ErrorLastRecord", Value(2));
  Run({.from = 3});
  EXPECT_THAT(LogLines(), ::testing::Contains(HasSubstr("Datensätze 3 bis 4: weg")));
}

TEST_F(RunLimitsTest, ARunFromARecordOnNeverRemovesTheSource) {
  UseRecords(3);
  session.DeleteFile = true;
  const RunResult& result = Run({.from = 2});
  EXPECT_EQ(result.errors, 0);
  EXPECT_THAT(result.source_kept, HasSubstr("nicht mit ihrem ersten Datensatz begonnen"));
  EXPECT_TRUE(std::ifstream(session.FileName).good());
}

TEST_F(RunLimitsTest, ARecordThatTheSourceDoesNotHaveStopsTheRun) {
  UseRecords(3);
  const RunResult& result = Run({.from = 5});
  EXPECT_THAT(stored, IsEmpty());
  EXPECT_EQ(result.stop_reason, "Die Quelle hat nur 3 Datensätze; Datensatz 5 gibt es nicht.");
  EXPECT_EQ(result.next_record, 0);
  EXPECT_EQ(ui.boxes.front().text,
            "Der Import wurde angehalten. Die Quelle hat nur 3 Datensätze; Datensatz 5 gibt es nicht.");
  EXPECT_EQ(result.message,
            "Es wurde kein Datensatz verarbeitet. Die Quelle hat nur 3 Datensätze; Datensatz 5 gibt es nicht.");
}

TEST_F(RunLimitsTest, TheRecordBehindTheLastCannotBeGoneOnWith) {
  UseRecords(3);
  const RunResult& result = Run({.from = 4});
  EXPECT_EQ(result.stop_reason, "Die Quelle hat nur 3 Datensätze; Datensatz 4 gibt es nicht.");
  EXPECT_EQ(result.next_record, 0);
  EXPECT_EQ(ui.boxes.front().text, "Der Import wurde angehalten. " + result.stop_reason);
}

// --- At most so many errors ---

TEST_F(RunLimitsTest, ARunStopsBeforeItsNextRecordOnceItHasAsManyErrorsAsAreAllowed) {
  UseRecords(10);
  Refuse([](int record) { return record % 2 == 0 ? "Fehler bei " + std::to_string(record) : ""; });
  const RunResult& result = Run({.most_errors = 2});
  EXPECT_EQ(result.records, 4);
  EXPECT_EQ(result.errors, 2);
  EXPECT_EQ(result.stop_reason, "Es sind 2 Fehler aufgetreten, zugelassen sind 2.");
  EXPECT_EQ(result.next_record, 4) << "the last one stored is record 3";
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
  EXPECT_EQ(import_class->CountOf("GetNewRecord"), 4u);
  EXPECT_THAT(ui.boxes.front().text, HasSubstr("ist der Import mit Datensatz 4 fortzusetzen"));
}

TEST_F(RunLimitsTest, ErrorsOfTheLastRecordStopNothing) {
  UseRecords(3);
  Refuse([](int record) { return record == 3 ? "Fehler" : ""; });
  const RunResult& result = Run({.most_errors = 1});
  EXPECT_EQ(result.stop_reason, "");
  EXPECT_EQ(result.records, 3);
  EXPECT_EQ(result.next_record, 0);
}

TEST_F(RunLimitsTest, AnErrorBeforeTheFirstRecordCountsToo) {
  UseRecords(3);
  import_class->Raises("BeforeImport", RuntimeError(3000, "nein"));
  const RunResult& result = Run({.most_errors = 1});
  EXPECT_EQ(result.records, 0);
  EXPECT_EQ(result.stop_reason, "Es ist ein Fehler aufgetreten, und mehr sind nicht zugelassen.");
  EXPECT_EQ(result.next_record, 1);
}

// --- The same error for every record ---

TEST_F(RunLimitsTest, TheSameErrorForEveryRecordIsToldOnceAndStopsTheRun) {
  UseRecords(500);
  Refuse([](int) { return "Die Tabelle 'Kunden' fehlt"; });
  const RunResult& result = Run({.most_same_errors = 100});
  EXPECT_EQ(result.records, 100);
  EXPECT_EQ(result.rejected, 100);
  EXPECT_EQ(result.errors, 100);
  EXPECT_EQ(result.stop_reason,
            "Das Importziel hat die ersten 100 Datensätze mit demselben Fehler abgewiesen (3000: Die Tabelle "
            "'Kunden' fehlt).");
  EXPECT_EQ(result.next_record, 1);
  EXPECT_THAT(LogLines(), ::testing::Contains(StartsWith("Fehler: ")).Times(1));
}

TEST_F(RunLimitsTest, AnImportClassThatRaisesTheSameErrorForEveryRecordStopsTheRunToo) {
  UseRecords(50);
  import_class->Raises("ImportRecord", RuntimeError(3000, "weg"));
  EXPECT_EQ(Run({.most_same_errors = 10}).records, 10);
}

TEST_F(RunLimitsTest, TheSameErrorIsToldForEachRecordWhereOneWasStored) {
  UseRecords(30);
  Refuse([](int record) { return record == 6 ? "" : "weg"; });
  const RunResult& result = Run({.most_same_errors = 10});
  EXPECT_EQ(result.records, 30);
  EXPECT_EQ(result.stop_reason, "");
  EXPECT_THAT(LogLines(), ::testing::Contains(StartsWith("Fehler: ")).Times(29));
}

// The host takes records; those that are left are refused for what stands in them.
TEST_F(RunLimitsTest, TheSameErrorStopsNothingWhereARecordBetweenWasHeldBack) {
  UseRecords(30);
  UseDuplicateHost();
  HostKnows("N6", "6");
  Refuse([](int) { return "weg"; });
  const RunResult& result = Run({.most_same_errors = 10});
  EXPECT_EQ(result.duplicates, 1);
  EXPECT_EQ(result.records, 30);
  EXPECT_EQ(result.stop_reason, "");
  EXPECT_THAT(LogLines(), ::testing::Contains(StartsWith("Fehler: ")).Times(29));
}

TEST_F(RunLimitsTest, TheSameErrorIsToldForEachRecordWhereThereIsAnotherOne) {
  UseRecords(30);
  Refuse([](int record) { return record == 6 ? "anders" : "weg"; });
  EXPECT_EQ(Run({.most_same_errors = 10}).records, 30);
  std::vector<std::string> logged;
  for (const std::string& line : LogLines())
    if (line.starts_with("Fehler: ")) logged.push_back(line);
  ASSERT_THAT(logged, SizeIs(30));
  EXPECT_THAT(logged[4], HasSubstr("weg"));
  EXPECT_THAT(logged[5], HasSubstr("anders")) << "in the order in which they came";
}

TEST_F(RunLimitsTest, FewRecordsWithTheSameErrorAreAllTold) {
  UseRecords(9);
  Refuse([](int) { return "weg"; });
  EXPECT_EQ(Run({.most_same_errors = 10}).stop_reason, "");
  EXPECT_THAT(LogLines(), ::testing::Contains(StartsWith("Fehler: ")).Times(9));
}

TEST_F(RunLimitsTest, ARowThatWasHeldBackNamesItsOwnRecordWhereTheLogDoesNotTakeIt) {
  UseRecords(3);
  Refuse([](int) { return "weg"; });
  log->Raises("UpdateRecord", RuntimeError(61, "voll"));
  EXPECT_THAT(Run({.most_same_errors = 10}).unlogged,
              ElementsAre("Datensatz 1: Fehler 3000: weg", "Datensatz 2: Fehler 3000: weg",
                          "Datensatz 3: Fehler 3000: weg"));
}

TEST_F(RunLimitsTest, ErrorsThatComeToLightLateStopTheRunAsWell) {
  UseRecords(50);
  Refuse([](int record) { return record > 3 ? "keine Rechte" : ""; });
  int told = 0;
  import_class->Get("ErrorFirstRecord", [&](std::span<Argument>) { return Value(++told); });
  import_class->Get("ErrorLastRecord", [&](std::span<Argument>) { return Value(told); });
  const RunResult& result = Run({.most_same_errors = 10});
  EXPECT_EQ(result.records, 13) << "each is told three records later";
  EXPECT_THAT(result.stop_reason, HasSubstr("keine Rechte"));
}

TEST_F(RunLimitsTest, WithoutSettingsNothingStopsTheRun) {
  UseRecords(300);
  Refuse([](int) { return "weg"; });
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 300);
  EXPECT_THAT(LogLines(), ::testing::Contains(StartsWith("Fehler: ")).Times(300));
}

// --- With which record to go on ---

TEST_F(RunLimitsTest, AnImportThatThePersonStoppedGoesOnBehindTheLastRecord) {
  UseRecords(5);
  import_class->Method("ImportRecord", [this](std::span<Argument>) {
    if (view.outcomes.size() == 2) limited().RequestAbort();
    return Value();
  });
  EXPECT_EQ(Run(RunSettings{.most_errors = 9}).next_record, 4);
}

}  // namespace
}  // namespace kestrel::testing
