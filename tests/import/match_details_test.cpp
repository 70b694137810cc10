// What a run tells of the address that a record is held to repeat.
#include "import/match_details.h"

#include <map>
#include <random>

#include "import/run_fixture.h"
#include "import/run_notes.h"

namespace kestrel::testing {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

class MatchDetailsTest : public ImportRunFixture {
 protected:
  MatchDetailsTest() {
    UseDuplicateHost();
    // Each record is stored under the number `next_number` and on.
    import_class->Method("ImportRecord", [this](std::span<Argument> arguments) {
      const RecordsetPtr record = ToRecordset(arguments[0].Get());
      HostKnows(std::string(record->TextAt(record->RequireColumn("Bez1"))), std::to_string(next_number));
      result = answer + std::to_string(next_number++);
      return Value();
    });
    import_class->Get("ImportResult", [this](std::span<Argument>) { return Value(result); });
  }

  int next_number = 100;
  std::string answer = "new ";
  std::string result;
};

TEST_F(MatchDetailsTest, WithinOneFileTheEarlierRecordIsTold) {
  UseNames({"A", "B", "A", "C", "B"});
  Run();
  ASSERT_THAT(view.outcomes, SizeIs(5));
  EXPECT_EQ(view.outcomes[2].duplicate_of.record, 1);
  EXPECT_EQ(view.outcomes[2].duplicate_of.reference, "100");
  EXPECT_EQ(view.outcomes[4].duplicate_of.record, 2);
}

TEST_F(MatchDetailsTest, ANumberThatIsNotSureYetTellsTheEarlierRecordToo) {
  answer = "open ";
  UseNames({"A", "B", "B"});
  Run();
  EXPECT_EQ(view.outcomes.at(2).duplicate_of.record, 2);
  EXPECT_EQ(view.outcomes.at(1).address, "") << "as it is not sure";
}

TEST_F(MatchDetailsTest, AnAddressThatTheHostHadBeforeIsOfNoRecord) {
  HostKnows("A", "7");
  UseNames({"B", "A"});
  Run();
  EXPECT_EQ(view.outcomes.at(1).duplicate_of.reference, "7");
  EXPECT_EQ(view.outcomes.at(1).duplicate_of.record, 0);
}

TEST_F(MatchDetailsTest, AnAddressOfAnotherTypeWithTheSameNumberIsOfNoRecord) {
  UseSpecification(
      "[Common]\nImportClass=ksbimport.importkunden\n"
      "[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=33\nDublettenKey1=1\n");
  host->Execute("INSERT INTO Adressindex VALUES (32, '100', 'K|||L|L||||', '', '')");
  UseNames({"A", "L"});
  Run();
  EXPECT_EQ(view.outcomes.at(1).duplicate_of.address_type, 32);
  EXPECT_EQ(view.outcomes.at(1).duplicate_of.record, 0);
}

TEST_F(MatchDetailsTest, NameAndPlaceAreTheImportClassesToTell) {
  import_class->Method("DescribeAddress", [](std::span<Argument> arguments) {
    arguments[2].Set(Value("Name von " + arguments[0].Get().ToText() + "/" + arguments[1].Get().ToText()));
    arguments[3].Set(Value("50667 Köln"));
    return Value();
  });
  HostKnows("A", "7");
  UseNames({"A", "B"});
  Run();
  EXPECT_EQ(view.outcomes.at(0).duplicate_of.name, "Name von 1/7");
  EXPECT_EQ(view.outcomes.at(0).duplicate_of.place, "50667 Köln");
  EXPECT_EQ(view.outcomes.at(1).duplicate_of.name, "");
  EXPECT_EQ(import_class->CountOf("DescribeAddress"), 1u);
}

TEST_F(MatchDetailsTest, WhatTheClassCannotTellIsNoErrorOfTheRun) {
  import_class->Raises("DescribeAddress", RuntimeError(3000, "weg"));
  HostKnows("A", "7");
  UseNames({"A"});
  const RunResult& run_result = Run();
  EXPECT_EQ(run_result.errors, 0);
  EXPECT_EQ(run_result.duplicates, 1);
  EXPECT_THAT(view.outcomes.at(0).duplicate_of.name, IsEmpty());
}

TEST(StoredAddresses, AreFoundWhateverTheOrderOfTheirNumbers) {
  std::mt19937 random(20261122);
  for (int round = 0; round < 50; ++round) {
    MatchDetails details;
    RecordingView view(std::make_shared<CallJournal>());
    kestrel::RunNotes notes;
    RunOutcomes outcomes(view, notes);
    std::map<std::int64_t, std::int32_t> first_of;
    std::int64_t number = 0;
    for (std::int32_t ordinal = 1; ordinal <= 200; ++ordinal) {
      number = random() % 4 == 0 ? static_cast<std::int64_t>(random() % 150) : number + 1;
      outcomes.Begin(ordinal);
      outcomes.HandOver(RecordFate::kStored);
      outcomes.End();
      details.NoteStored(std::to_string(number), ordinal);
      first_of.emplace(number, ordinal);
    }
    outcomes.Add(RecordError{}, {ErrorScope::Of::kRecords, 17, 17});
    for (std::int64_t asked = 0; asked < 400; ++asked) {
      DuplicateMatch match{.reference = std::to_string(asked)};
      details.FindRecord(match, outcomes);
      const auto expected = first_of.find(asked);
      const bool is_known = expected != first_of.end() && expected->second != 17;
      ASSERT_EQ(match.record, is_known ? expected->second : 0) << asked;
    }
  }
}

}  // namespace
}  // namespace kestrel::testing
