// What a run tells of each record as data: its fate, its errors with their values, and what came to light later.
#include "import/run_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class RecordOutcomeTest : public ImportRunFixture {
 protected:
  std::vector<RecordFate> Fates() const {
    std::vector<RecordFate> fates;
    for (const RecordOutcome& outcome : view.outcomes) fates.push_back(outcome.fate);
    return fates;
  }
  // ErrorCode is 7 after the n-th call of ImportRecord, counted from 1.
  void FailAt(int call) {
    import_class->Method("ImportRecord", [this, call](std::span<Argument>) {
      failing = ++calls == call;
      return Value();
    });
    import_class->Get("ErrorCode", [this](std::span<Argument>) { return Value(failing ? 7 : 0); })
        .Get("ErrorDescription", Value("voll"));
    import_class->Method("GetNewRecord", [this](std::span<Argument>) {
      failing = false;
      return Value(NewRecord());
    });
  }
  void NameRecords(int first, int last) {
    import_class->Get("ErrorFirstRecord", Value(first)).Get("ErrorLastRecord", Value(last));
  }
  // One error more, after the last record.
  void FailLate() {
    import_class->Method("NextLateError", [this](std::span<Argument>) {
      failing = !std::exchange(told_late, true);
      return Value(failing);
    });
    import_class->Get("ErrorCode", [this](std::span<Argument>) { return Value(failing ? 7 : 0); })
        .Get("ErrorDescription", Value("voll"));
  }

  int calls = 0;
  bool failing = false;
  bool told_late = false;
};

auto IsError(std::int64_t number, const std::string& text, const std::string& function) {
  return AllOf(Field(&RecordError::number, number), Field(&RecordError::text, text),
               Field(&RecordError::function, function));
}

auto IsOfValue(const std::string& field, const std::string& column, const std::string& raw_value) {
  return AllOf(Field(&RecordError::field, field), Field(&RecordError::source_column, column),
               Field(&RecordError::raw_value, raw_value));
}

auto Revises(int first, int last, int revised) {
  return AllOf(Field(&OutcomeRevision::first, first), Field(&OutcomeRevision::last, last),
               Field(&OutcomeRevision::revised, revised), Field(&OutcomeRevision::fate, RecordFate::kRejected));
}

// --- Fates --------------------------------------------------------------------------------------

TEST_F(RecordOutcomeTest, EveryRecordIsToldOnceInTheSourcesOrder) {
  UseDuplicateHost();
  UseNames({"A", "Alt", "B", "C"});
  HostKnows("Alt", "4711");
  FailAt(2);
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored, RecordFate::kHeldBack, RecordFate::kRejected,
                                   RecordFate::kStored));
  EXPECT_THAT(view.outcomes, ElementsAre(Field(&RecordOutcome::record, 1), Field(&RecordOutcome::record, 2),
                                         Field(&RecordOutcome::record, 3), Field(&RecordOutcome::record, 4)));
  EXPECT_THAT(view.outcomes[2].errors, ElementsAre(IsError(7, "voll", "ImportRecord")));
  EXPECT_THAT(view.outcomes[3].errors, IsEmpty());
  EXPECT_THAT(view.revisions, IsEmpty());
}

TEST_F(RecordOutcomeTest, ARecordHeldBackTellsWhichAddressItRepeats) {
  UseDuplicateHost();
  UseNames({"Alt", "Neu"});
  HostKnows("Alt", "4711");
  Run();
  ASSERT_THAT(view.outcomes, SizeIs(2));
  EXPECT_EQ(view.outcomes[0].duplicate_of.reference, "4711");
  EXPECT_EQ(view.outcomes[0].duplicate_of.address_type, 1);
  EXPECT_EQ(view.outcomes[0].duplicate_of.key, 1);
  EXPECT_EQ(view.outcomes[1].duplicate_of.reference, "") << "nothing is left of the record before";
  EXPECT_EQ(view.outcomes[1].duplicate_of.key, 0);
}

TEST_F(RecordOutcomeTest, KeysAreMadeOfTheRecordsOwnColumnsWhereverTheyStand) {
  UseDuplicateHost();
  UseNames({"Alt", "Alt", "Alt", "Neu", "Alt", "Alt"});
  HostKnows("Alt", "4711");
  // Two records of the usual shape, two of another, and again, each pair being one object.
  std::vector<std::shared_ptr<MemoryRecordset>> shapes = {NewRecord(), std::make_shared<MemoryRecordset>()};
  for (std::size_t column = shapes[0]->ColumnCount(); column-- > 0;) {
    shapes[1]->AppendColumn(std::string(shapes[0]->ColumnName(column)));
  }
  shapes[1]->AddNew();
  int calls = 0;
  import_class->Method("GetNewRecord", [&](std::span<Argument>) {
    const auto& record = shapes[static_cast<std::size_t>(calls++ / 2 % 2)];
    record->MoveFirst();
    record->ClearRow();
    return Value(record);
  });
  Run();
  using enum RecordFate;
  EXPECT_THAT(Fates(), ElementsAre(kHeldBack, kHeldBack, kHeldBack, kStored, kHeldBack, kHeldBack));
  EXPECT_THAT(ui.boxes, SizeIs(1)) << "no question failed";
}

TEST_F(RecordOutcomeTest, ATestRunChecks) {
  UseNames({"A", "B"});
  session.TestMode = true;
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kChecked, RecordFate::kChecked));
}

TEST_F(RecordOutcomeTest, ARecordThatCannotBeMadeIsRejectedAndTellsWhy) {
  UseNames({"A", "B"});
  import_class->Method("ImportRecord", [this](std::span<Argument>) {
    std::remove(session.SpecFile.c_str());
    return Value();
  });
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored, RecordFate::kRejected));
  ASSERT_THAT(view.outcomes.at(1).errors, SizeIs(1));
  EXPECT_EQ(view.outcomes[1].errors[0].number, 53);
}

TEST_F(RecordOutcomeTest, ACallThatFailsRejectsItsRecord) {
  UseNames({"A"});
  import_class->Raises("ImportRecord", RuntimeError(3000, "weg"));
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kRejected));
  EXPECT_THAT(view.outcomes[0].errors, ElementsAre(IsError(3000, "weg", "")));
}

TEST_F(RecordOutcomeTest, AnErrorOfGetNewRecordBelongsToTheRecordThatIsStoredAllTheSame) {
  UseNames({"A"});
  import_class->Get("ErrorDescription", Value("voll"));
  import_class->Method("GetNewRecord", [this](std::span<Argument>) {
    failing = true;
    return Value(NewRecord());
  });
  import_class->Get("ErrorCode",
                    [this](std::span<Argument>) { return Value(std::exchange(failing, false) ? 7 : 0); });
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored));
  EXPECT_THAT(view.outcomes[0].errors, ElementsAre(IsError(7, "voll", "GetNewRecord")));
}

TEST_F(RecordOutcomeTest, ACancelledRunHasNoOutcome) {
  UseNames({"A"});
  import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(Value(true));
    return Value();
  });
  Run();
  EXPECT_THAT(view.outcomes, IsEmpty());
  EXPECT_THAT(view.revisions, IsEmpty());
}

// --- Values -------------------------------------------------------------------------------------

TEST_F(RecordOutcomeTest, AValueThatDoesNotFitTellsFieldColumnAndWhatTheSourceHolds) {
  UseSource("Zahl\nx\n");
  UseSpecification("[Common]\nImportClass=test.import\n[Translation_Nr]\nx=eins\n");
  Assign({.field = "Nr", .destination = "\"Zahl\"", .typ = "INT", .translate = true});
  Assign({.field = "Fest", .option = kConstantValue, .destination = "abc", .typ = "INT"});
  Run();
  ASSERT_THAT(view.outcomes, SizeIs(1));
  EXPECT_THAT(view.outcomes[0].errors, ElementsAre(IsOfValue("Nr", "Zahl", "x"), IsOfValue("Fest", "", "abc")));
  EXPECT_EQ(view.outcomes[0].errors[0].text.substr(view.outcomes[0].errors[0].text.find('(')), "(Nr / eins");
  EXPECT_EQ(view.outcomes[0].errors[0].number, 10005);
  EXPECT_EQ(view.outcomes[0].fate, RecordFate::kStored) << "an error need not reject";
}

TEST_F(RecordOutcomeTest, AFieldThatCannotBeFilledTellsItsColumnAndValue) {
  UseSource("Name\nA\n");
  Assign({.field = "Fehlt", .destination = "Anders"});
  Assign({.field = "Kurz", .destination = "Name", .size = -1});
  Run();
  ASSERT_THAT(view.outcomes, SizeIs(1));
  EXPECT_THAT(view.outcomes[0].errors,
              ElementsAre(IsOfValue("Fehlt", "Anders", ""), IsOfValue("Kurz", "Name", "A")));
}

TEST_F(RecordOutcomeTest, AFieldWithoutSizeTellsItself) {
  UseNames({"A"});
  session.AssignmentList->SetValue(kSize, kNull);
  Run();
  ASSERT_THAT(view.outcomes, SizeIs(1));
  EXPECT_THAT(view.outcomes[0].errors, ElementsAre(IsOfValue("Bez1", "Name", "A")));
}

TEST_F(RecordOutcomeTest, TheErrorsOfOneRecordAreNotThoseOfTheNext) {
  UseSource("Zahl\nx\n1\ny\n");
  Assign({.field = "Nr", .destination = "Zahl", .typ = "INT"});
  Run();
  ASSERT_THAT(view.outcomes, SizeIs(3));
  EXPECT_THAT(view.outcomes[0].errors, ElementsAre(IsOfValue("Nr", "Zahl", "x")));
  EXPECT_THAT(view.outcomes[1].errors, IsEmpty());
  EXPECT_THAT(view.outcomes[2].errors, ElementsAre(IsOfValue("Nr", "Zahl", "y")));
}

// --- What comes to light later ------------------------------------------------------------------

TEST_F(RecordOutcomeTest, ALostGroupRevisesItsRecordsBehindTheRecordAtHand) {
  UseDuplicateHost();
  UseNames({"A", "Alt", "B", "C", "D"});
  HostKnows("Alt");
  FailAt(3);
  NameRecords(1, 3);
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored, RecordFate::kHeldBack, RecordFate::kStored,
                                   RecordFate::kStored, RecordFate::kStored));
  ASSERT_THAT(view.revisions, ElementsAre(Revises(1, 4, 3)));
  EXPECT_THAT(*view.revisions[0].error, IsError(7, "voll", "ImportRecord"));
  EXPECT_EQ(run.result().rejected, 3);
}

TEST_F(RecordOutcomeTest, AnErrorThatNamesOnlyTheRecordAtHandStandsInItsOutcome) {
  UseNames({"A", "B"});
  FailAt(2);
  NameRecords(2, 2);
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored, RecordFate::kRejected));
  EXPECT_THAT(view.outcomes[1].errors, SizeIs(1));
  EXPECT_THAT(view.revisions, IsEmpty());
}

TEST_F(RecordOutcomeTest, AnErrorOfNoRecordRevisesNothing) {
  UseNames({"A"});
  FailAt(1);
  NameRecords(-1, -1);
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored));
  EXPECT_THAT(view.outcomes[0].errors, IsEmpty());
  EXPECT_THAT(view.revisions, ElementsAre(Revises(0, 0, 0)));
}

TEST_F(RecordOutcomeTest, ALateErrorThatNamesNoRecordRevisesOneThatNobodyNames) {
  UseNames({"A", "B"});
  FailLate();
  Run();
  EXPECT_THAT(view.revisions, ElementsAre(Revises(0, 0, 1)));
}

TEST_F(RecordOutcomeTest, ALateErrorOfTheRecordJustHandedOverRevisesTheLast) {
  UseNames({"A", "B"});
  FailLate();
  NameRecords(0, 0);
  Run();
  EXPECT_THAT(view.revisions, ElementsAre(Revises(2, 2, 1)));
}

TEST_F(RecordOutcomeTest, ALossThatWasToldBeforeRevisesNothing) {
  UseNames({"A", "B"});
  FailAt(2);
  FailLate();
  NameRecords(2, 2);
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored, RecordFate::kRejected));
  EXPECT_THAT(view.revisions, ElementsAre(Revises(2, 2, 0)));
  EXPECT_EQ(run.result().rejected, 1);
}

TEST_F(RecordOutcomeTest, TheErrorsOfARecordThatTheRunStopsBeforeBelongToNone) {
  UseNames({"A"});
  import_class->Get("ErrorCode", Value(7))
      .Get("ErrorDescription", Value("voll"))
      .Get("StopReason", Value("Voll."));
  Run();
  EXPECT_THAT(view.outcomes, IsEmpty());
  EXPECT_THAT(view.revisions, ElementsAre(Revises(0, 0, 0)));
  EXPECT_EQ(run.result().errors, 1);
}

TEST_F(RecordOutcomeTest, AnErrorOfTheRunBelongsToNoRecord) {
  UseNames({"A"});
  import_class->Raises("AfterImport", RuntimeError(3000, "weg"));
  Run();
  EXPECT_THAT(view.outcomes.at(0).errors, IsEmpty());
  ASSERT_THAT(view.revisions, ElementsAre(Revises(0, 0, 0)));
  EXPECT_THAT(*view.revisions[0].error, IsError(3000, "weg", ""));
}

// --- What the import class tells of a stored record ---------------------------------------------

TEST_F(RecordOutcomeTest, AnImportClassMayTellNewFromUpdated) {
  UseNames({"A", "B", "C"});
  import_class->Get("ImportResult", [this](std::span<Argument>) {
    constexpr const char* kResults[] = {"new 12", "updated 4711", ""};
    return Value(kResults[stored.size() - 1]);
  });
  const RunResult& result = Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored, RecordFate::kUpdated, RecordFate::kStored));
  EXPECT_THAT(view.outcomes,
              ElementsAre(Field(&RecordOutcome::address, "12"), Field(&RecordOutcome::address, "4711"),
                          Field(&RecordOutcome::address, "")));
  EXPECT_EQ(result.stored, 3);
  EXPECT_EQ(result.updated, 1);
}

TEST_F(RecordOutcomeTest, ARefusedRecordIsNotAskedForItsResult) {
  UseNames({"A", "B"});
  FailAt(1);
  import_class->Returns("ImportResult", Value("new 1"));
  Run();
  EXPECT_EQ(import_class->CountOf("ImportResult"), 1u);
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kRejected, RecordFate::kStored));
}

TEST_F(RecordOutcomeTest, AResultThatCannotBeReadIsAnErrorOfARecordThatIsStored) {
  UseNames({"A"});
  import_class->Raises("ImportResult", RuntimeError(3000, "weg"));
  Run();
  EXPECT_THAT(Fates(), ElementsAre(RecordFate::kStored));
  EXPECT_THAT(view.outcomes[0].errors, ElementsAre(IsError(3000, "weg", "")));
}

TEST_F(RecordOutcomeTest, AnUpdateMayBeToldLateAndOnce) {
  UseNames({"A", "B", "C"});
  FailAt(1);
  const std::vector<int> late = {3, 3, 1, 0, 2};
  std::size_t next = 0;
  import_class->Method("NextLateUpdate", [&](std::span<Argument>) { return Value(late.at(next++)); });
  const RunResult& result = Run();
  ASSERT_THAT(view.revisions, SizeIs(3));
  EXPECT_EQ(view.revisions[0].first, 3);
  EXPECT_EQ(view.revisions[0].fate, RecordFate::kUpdated);
  EXPECT_EQ(view.revisions[0].revised, 1);
  EXPECT_FALSE(view.revisions[0].error);
  EXPECT_EQ(view.revisions[1].revised, 0) << "told before";
  EXPECT_EQ(view.revisions[2].revised, 0) << "rejected";
  EXPECT_EQ(result.updated, 1);
  EXPECT_EQ(result.stored, 2);
}

TEST_F(RecordOutcomeTest, LateUpdatesEndWithTheRecordsHandedOver) {
  UseNames({"A", "B"});
  import_class->Returns("NextLateUpdate", Value(1));
  EXPECT_EQ(Run().updated, 1);
  EXPECT_EQ(import_class->CountOf("NextLateUpdate"), 2u);
}

// --- The view -----------------------------------------------------------------------------------

TEST_F(RecordOutcomeTest, AViewThatCannotTakeOutcomesChangesNothing) {
  class Broken final : public RunView {
   public:
    void SetInfo(std::string_view) override {}
    void SetProgress(double) override {}
    void Yield() override {}
    void CloseWindow() override {}
    void RecordDone(const RecordOutcome&) override { throw RuntimeError(61, "voll"); }
    void Revise(const OutcomeRevision&) override { throw RuntimeError(61, "voll"); }
  };
  UseNames({"A", "B"});
  FailLate();
  Broken broken;
  ImportRun run_with_it(import, broken);
  run_with_it.Activate();
  EXPECT_EQ(run_with_it.result().errors, 1) << "the late one";
  EXPECT_EQ(run_with_it.result().stored, 1);
  EXPECT_EQ(run_with_it.result().rejected, 1);
}

// --- What stands beside the rows of the logs -----------------------------------------------------

class LogDetailsTest : public ImportRunFixture {
 protected:
  LogDetailsTest() { log->Method("SetRowDetail"); }

  // "Name=text" of each, in order.
  std::vector<std::string> Details() const {
    std::vector<std::string> details;
    for (const RecordedCall& call : *journal) {
      if (call.name != "SetRowDetail") continue;
      details.push_back(call.arguments.at(0).ToText() + "=" + call.arguments.at(1).ToText());
    }
    return details;
  }
};

TEST_F(LogDetailsTest, AnErrorTellsRecordFieldSourceColumnAndRawValue) {
  UseSource("Name;Zahl\nA;1\nB;zwei\n");
  Assign({.field = "Bez1", .destination = "Name"});
  Assign({.field = "Nr", .destination = "Zahl", .typ = "INT"});
  Run();
  EXPECT_THAT(Details(), ElementsAre("Record=2", "Field=Nr", "SourceColumn=Zahl", "RawValue=zwei"));
}

TEST_F(LogDetailsTest, AnErrorOfTheImportClassTellsWhereTheFieldsValueCameFrom) {
  UseNames({"A"});
  import_class->Get("ErrorCode", [this](std::span<Argument>) { return Value(stored.empty() ? 0 : 13); });
  import_class->Get("ErrorField", Value("BEZ1"));
  Run();
  ASSERT_THAT(view.outcomes, SizeIs(1));
  ASSERT_THAT(view.outcomes[0].errors, SizeIs(1));
  EXPECT_EQ(view.outcomes[0].errors[0].source_column, "Name");
  EXPECT_THAT(Details(), ElementsAre("Record=1", "Field=BEZ1", "SourceColumn=Name", "RawValue=A"));
}

TEST_F(LogDetailsTest, AnErrorOfEarlierRecordsTellsTheirSourceNumbers) {
  UseNames({"A", "B", "C"});
  bool told = false;
  import_class->Method("NextLateError", [&](std::span<Argument>) { return Value(!std::exchange(told, true)); });
  import_class->Get("ErrorCode", [&](std::span<Argument>) { return Value(told ? 3000 : 0); });
  import_class->Get("ErrorFirstRecord", Value(2)).Get("ErrorLastRecord", Value(3));
  Run();
  EXPECT_THAT(Details(), ElementsAre("Record=2", "LastRecord=3"));
}

TEST_F(LogDetailsTest, AnErrorOfNoRecordTellsNone) {
  UseNames({"A"});
  import_class->Raises("AfterImport", RuntimeError(3000, "weg"));
  Run();
  EXPECT_THAT(Details(), IsEmpty());
}

TEST_F(LogDetailsTest, TheFirstRowOfARecordHeldBackTellsItsMatch) {
  UseDuplicateHost();
  UseNames({"Neu", "Alt"});
  HostKnows("Alt", "4711");
  Run();
  EXPECT_THAT(Details(), ElementsAre("Record=2", "AddressType=1", "Address=4711", "Key=1"));
}

}  // namespace
}  // namespace kestrel::testing
