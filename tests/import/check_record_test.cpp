// A test run asks an import class that can check a record.
#include "import/run_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class CheckRecordRunTest : public ImportRunFixture {
 protected:
  CheckRecordRunTest() { session.TestMode = true; }

  // Checks by the field Bez1; "schlecht" is refused.
  void LetClassCheck() {
    import_class->Method("CheckRecord", [this](std::span<Argument> arguments) {
      const RecordsetPtr record = ToRecordset(arguments[0].Get());
      checked.emplace_back(record->TextAt(0));
      is_refused_ = checked.back() == "schlecht";
      return Value();
    });
    import_class->Method("GetNewRecord", [this](std::span<Argument>) {
      is_refused_ = false;
      return Value(NewRecord());
    });
    import_class->Get("ErrorCode", [this](std::span<Argument>) { return Value(is_refused_ ? 13 : 0); });
    import_class->Get("ErrorDescription", Value("kein Datum"));
  }

  std::vector<std::string> checked;

 private:
  bool is_refused_ = false;
};

TEST_F(CheckRecordRunTest, TheClassIsAskedWithTheFilledRecordInsteadOfStoringIt) {
  LetClassCheck();
  UseNames({"A", "B"});
  const RunResult& result = Run();
  EXPECT_THAT(checked, ElementsAre("A", "B"));
  EXPECT_EQ(import_class->CountOf("ImportRecord"), 0u);
  EXPECT_EQ(result.checked, 2);
  EXPECT_EQ(result.stored, 0);
}

TEST_F(CheckRecordRunTest, ARefusedRecordIsCountedLoggedAndRejected) {
  LetClassCheck();
  UseNames({"A", "schlecht", "C"});
  const RunResult& result = Run();
  EXPECT_EQ(result.errors, 1);
  EXPECT_EQ(result.checked, 2);
  EXPECT_EQ(result.rejected, 1);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 13 kein Datum (CheckRecord/ImportStart)"));
  ASSERT_THAT(view.outcomes, SizeIs(3));
  EXPECT_EQ(view.outcomes[0].fate, RecordFate::kChecked);
  EXPECT_EQ(view.outcomes[1].fate, RecordFate::kRejected);
}

TEST_F(CheckRecordRunTest, ALateErrorRejectsTheRecordThatWasChecked) {
  LetClassCheck();
  UseNames({"A", "B", "C"});
  bool told = false;
  import_class->Method("NextLateError", [&](std::span<Argument>) { return Value(!std::exchange(told, true)); });
  import_class->Get("ErrorCode", [&](std::span<Argument>) { return Value(told ? 13 : 0); });
  import_class->Get("ErrorFirstRecord", Value(2)).Get("ErrorLastRecord", Value(2));
  const RunResult& result = Run();
  EXPECT_EQ(result.checked, 2);
  EXPECT_EQ(result.rejected, 1);
  ASSERT_THAT(view.revisions, SizeIs(1));
  EXPECT_EQ(view.revisions[0].first, 2);
}

TEST_F(CheckRecordRunTest, ARecordHeldBackIsNotChecked) {
  UseDuplicateHost();
  LetClassCheck();
  HostKnows("Alt");
  UseSource("Name\nAlt\nNeu\n");
  // The first column of the record.
  Assign({.field = "Name", .destination = "Name"});
  Assign({.field = "Bez1", .destination = "Name"});
  EXPECT_EQ(Run().duplicates, 1);
  EXPECT_THAT(checked, SizeIs(1));
}

TEST_F(CheckRecordRunTest, AnImportDoesNotAsk) {
  LetClassCheck();
  UseNames({"A"});
  session.TestMode = false;
  EXPECT_EQ(Run().stored, 1);
  EXPECT_THAT(checked, IsEmpty());
}

TEST_F(CheckRecordRunTest, WhatStoringCameToIsNotAsked) {
  LetClassCheck();
  import_class->Get("ImportResult", Value("new 1"));
  import_class->Returns("NextLateUpdate", Value(1));
  UseNames({"A"});
  EXPECT_EQ(Run().updated, 0);
  EXPECT_EQ(import_class->CountOf("ImportResult"), 0u);
  EXPECT_EQ(import_class->CountOf("NextLateUpdate"), 0u);
}

}  // namespace
}  // namespace kestrel::testing
