// What a run tells an import class that keeps a ledger of its runs.
#include <filesystem>

#include "formats/encryption/primitives.h"
#include "import/run_fixture.h"
#include "platform/base/file.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class RunNotes : public ImportRunFixture {
 protected:
  void KeepLedger() {
    for (const char* name : {"RunStarts", "RecordFate", "RunEnds"}) import_class->Method(name);
  }
  // The arguments of its calls, one after the other.
  std::vector<std::string> CallsNamed(const std::string& name) const {
    std::vector<std::string> lines;
    for (const RecordedCall& call : *journal) {
      if (call.name == name) lines.push_back(call.ToText());
    }
    return lines;
  }
};

TEST_F(RunNotes, TellsSpecificationAndSourceBeforeTheFirstRecord) {
  KeepLedger();
  UseNames({"A"});
  session.ChosenSpecFile = "Kunden.IMP";
  Run();
  const std::vector<std::string> starts = CallsNamed("RunStarts");
  ASSERT_EQ(starts.size(), 1u);
  EXPECT_THAT(starts[0], AllOf(HasSubstr("(\"" + std::filesystem::current_path().string() + "/Kunden.IMP\""),
                               HasSubstr("\"" + session.FileName + "\"")));
  std::vector<std::string> names;
  for (const RecordedCall& call : *journal) names.push_back(call.name);
  const auto at = [&](const char* name) { return std::find(names.begin(), names.end(), name) - names.begin(); };
  EXPECT_LT(at("BeforeImport"), at("RunStarts"));
  EXPECT_LT(at("RunStarts"), at("GetNewRecord"));
}

TEST_F(RunNotes, TellsTheChecksumOfTheSpecificationAndTheSizeOfTheFile) {
  KeepLedger();
  UseNames({"A"});
  std::vector<Value> arguments;
  import_class->Method("RunStarts", [&](std::span<Argument> given) {
    for (Argument& argument : given) arguments.push_back(argument.Get());
    return Value();
  });
  const std::string content = ReadWholeFile(session.SpecFile);
  const auto size = static_cast<std::int64_t>(ReadWholeFile(session.FileName).size());
  Run();
  ASSERT_EQ(arguments.size(), 5u);
  std::string digits;
  for (const char byte : encryption::Hash(encryption::HashKind::kSha256, {content})) {
    char two[3];
    std::snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(byte));
    digits += two;
  }
  EXPECT_EQ(arguments[1].ToText(), digits);
  EXPECT_EQ(arguments[3], Value(size));
  EXPECT_EQ(arguments[4].ToText().size(), sizeof "JJJJ-MM-TT HH:MM:SS" - 1);
}

TEST_F(RunNotes, TellTheFateOfEachRecordThatIsNotStored) {
  KeepLedger();
  UseDuplicateHost();
  UseNames({"A", "Alt", "B", "C"});
  HostKnows("Alt", "4711");
  int calls = 0;
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    ++calls;
    return Value();
  });
  import_class->Get("ErrorCode", [&](std::span<Argument>) { return Value(calls == 3 ? 7 : 0); });
  Run();
  EXPECT_THAT(CallsNamed("RecordFate"),
              ElementsAre(HasSubstr("(2, 2, \"held back\")"), HasSubstr("(4, 4, \"rejected\")")));
  EXPECT_THAT(CallsNamed("RunEnds"), ElementsAre(HasSubstr("(\"finished\", 4, 2, 0, 1, 1, 1, 0, \"\")")));
}

TEST_F(RunNotes, TellOfALostGroupWithoutTheRecordsThatWereHeldBackBetween) {
  KeepLedger();
  UseDuplicateHost();
  UseNames({"A", "Alt", "B", "C"});
  HostKnows("Alt", "4711");
  bool is_told = false;
  import_class->Method("NextLateError",
                       [&](std::span<Argument>) { return Value(!std::exchange(is_told, true)); });
  import_class->Get("ErrorCode", [&](std::span<Argument>) { return Value(is_told ? 7 : 0); })
      .Get("ErrorFirstRecord", Value(1))
      .Get("ErrorLastRecord", Value(2));
  Run();
  EXPECT_THAT(CallsNamed("RecordFate"),
              ElementsAre(HasSubstr("(2, 2, \"held back\")"), HasSubstr("(1, 1, \"rejected\")"),
                          HasSubstr("(3, 3, \"rejected\")")));
}

TEST_F(RunNotes, TellTheEndBehindAfterImport) {
  KeepLedger();
  UseNames({"A", "B"});
  Run();
  EXPECT_THAT(CallsNamed("RunEnds"), ElementsAre(HasSubstr("(\"finished\", 2, 2, 0, 0, 0, 0, 0, \"\")")));
  std::vector<std::string> names;
  for (const RecordedCall& call : *journal) names.push_back(call.name);
  EXPECT_LT(std::find(names.begin(), names.end(), "AfterImport"),
            std::find(names.begin(), names.end(), "RunEnds"));
}

TEST_F(RunNotes, SayThatTheUserStoppedIt) {
  KeepLedger();
  UseNames({"A", "B"});
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    run.RequestAbort();
    return Value();
  });
  Run();
  EXPECT_THAT(CallsNamed("RunEnds"), ElementsAre(HasSubstr("(\"stopped\", 1, 1, 0, 0, 0, 0, 0, \"\")")));
}

TEST_F(RunNotes, SayWithWhichRecordTheRunBegins) {
  KeepLedger();
  UseNames({"A", "B", "C"});
  Run({.from = 3});
  EXPECT_THAT(CallsNamed("RecordFate"), ElementsAre(HasSubstr("(1, 2, \"passed over\")")));
}

TEST_F(RunNotes, TellHowManyValuesWereCutAndWhere) {
  KeepLedger();
  UseNames({"A", std::string(60, 'x')});
  Run();
  EXPECT_THAT(CallsNamed("RunEnds"), ElementsAre(HasSubstr("2, 2, 0, 0, 0, 0, 1, \"1 in ")));
}

TEST_F(RunNotes, AreNotTakenOfATestRun) {
  KeepLedger();
  UseNames({"A"});
  session.TestMode = true;
  Run();
  EXPECT_THAT(CallsNamed("RunStarts"), IsEmpty());
  EXPECT_THAT(CallsNamed("RecordFate"), IsEmpty());
  EXPECT_THAT(CallsNamed("RunEnds"), IsEmpty());
}

TEST_F(RunNotes, CountWhatTheClassRaises) {
  KeepLedger();
  UseNames({"A"});
  import_class->Raises("RunStarts", RuntimeError(ErrorNumber::kDatabase, "nicht geführt"));
  import_class->Raises("RecordFate", RuntimeError(ErrorNumber::kDatabase, "nicht gesehen"));
  EXPECT_EQ(Run().errors, 1);
  EXPECT_THAT(LogLines(), Contains(HasSubstr("nicht geführt")));
  EXPECT_EQ(run.result().stored, 1) << "the import goes on";
}

TEST_F(RunNotes, KeepTheSourceWhereTheClassCannotTakeTheEnd) {
  KeepLedger();
  UseNames({"A"});
  session.DeleteFile = true;
  import_class->Raises("RunEnds", RuntimeError(ErrorNumber::kDatabase, "nicht vermerkt"));
  EXPECT_EQ(Run().errors, 1);
  EXPECT_TRUE(FileExists(session.FileName));
}

}  // namespace
}  // namespace kestrel::testing
