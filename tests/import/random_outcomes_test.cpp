// Random imports: what is told of the records adds up to the counters, to the log, and to what really became of
// them.
#include <algorithm>
#include <random>
#include <regex>

#include "import/run_fixture.h"

namespace kestrel::testing {
namespace {

// An import class of random moods. It knows what became of each record that it was given.
class MoodyClass {
 public:
  explicit MoodyClass(unsigned seed) : random_(seed) {
    names_records_ = OneOf(2);
    tells_late_ = OneOf(2);
    tells_results_ = OneOf(2);
    stops_ = OneOf(4);
  }

  // `new_record` makes an empty record.
  void Move(RecordingObject& object, std::function<Value()> new_record) {
    object.Method("GetNewRecord", [this, new_record](std::span<Argument>) {
      ++record_;
      Succeed();
      if (OneOf(15)) Fail(-OneOf(2), -1);
      return new_record();
    });
    object.Method("ImportRecord", [this](std::span<Argument>) {
      fates.push_back({record_, OneOf(3) && tells_results_ ? RecordFate::kUpdated : RecordFate::kStored});
      Import();
      return Value();
    });
    object.Get("ErrorCode", [this](std::span<Argument>) { return Value(code_); });
    object.Get("ErrorDescription",
               [this](std::span<Argument>) { return Value("Grund " + std::to_string(code_)); });
    if (names_records_) {
      object.Get("ErrorFirstRecord", [this](std::span<Argument>) { return Value(first_); });
      object.Get("ErrorLastRecord", [this](std::span<Argument>) { return Value(last_); });
    }
    if (stops_) {
      object.Get("StopReason", [this](std::span<Argument>) { return Value(OneOf(3) ? "Voll." : ""); });
    }
    if (tells_late_) {
      object.Method("NextLateError", [this](std::span<Argument>) {
        Succeed();
        if (OneOf(2) || fates.empty()) return Value(false);
        names_records_ ? FailNamed() : Fail(0, 0);
        return Value(true);
      });
    }
    if (tells_results_) {
      object.Get("ImportResult", [this](std::span<Argument>) {
        return Value(fates.back().second == RecordFate::kUpdated ? "updated 1" : "new 2");
      });
    }
  }

  // The source record and what became of it, for every record handed over.
  std::vector<std::pair<std::int32_t, RecordFate>> fates;

 private:
  bool OneOf(int count) { return random_() % static_cast<unsigned>(count) == 0; }
  int Ordinal() { return static_cast<int>(random_() % fates.size()) + 1; }
  void Succeed() { code_ = first_ = last_ = 0; }
  void Fail(int first, int last) {
    code_ = static_cast<int>(random_() % 3) + 1;
    first_ = first;
    last_ = last;
  }
  void FailNamed() {
    const int a = Ordinal();
    const int b = Ordinal();
    Fail(std::min(a, b), std::max(a, b));
    for (int ordinal = first_; ordinal <= last_; ++ordinal) Lose(ordinal);
  }
  void Lose(int ordinal) { fates[static_cast<std::size_t>(ordinal) - 1].second = RecordFate::kRejected; }
  void Import() {
    Succeed();
    const auto at_hand = static_cast<int>(fates.size());
    switch (random_() % 8) {
      case 0: Lose(at_hand); throw RuntimeError(3000, "weg");
      case 1:
        Fail(0, 0);
        Lose(at_hand);
        break;
      case 2:
        if (names_records_) FailNamed();
        break;
      case 3:
        if (names_records_) Fail(-1, -1);
        break;
      default: break;
    }
  }

  std::mt19937 random_;
  bool names_records_, tells_late_, tells_results_, stops_;
  std::int32_t record_ = 0;
  int code_ = 0;
  int first_ = 0;
  int last_ = 0;
};

class RandomOutcomesTest : public ImportRunFixture, public ::testing::WithParamInterface<unsigned> {
 protected:
  void UseRandomSource(std::mt19937& random);
  // What the records are after all revisions, by source record.
  std::map<std::int32_t, RecordFate> LastFates() const;
};

void RandomOutcomesTest::UseRandomSource(std::mt19937& random) {
  constexpr const char* kNumbers[] = {"1", "2,5", "", "x", "12a"};
  std::string content = "Name;Zahl\n";
  for (auto count = random() % 50; count > 0; --count) {
    content += random() % 4 == 0 ? "Alt" : "Neu " + std::to_string(count);
    content.append(";").append(kNumbers[random() % std::size(kNumbers)]).append("\n");
  }
  UseSource(content);
  UseDuplicateHost();
  HostKnows("Alt");
  Assign({.field = "Bez1", .destination = "Name"});
  Assign({.field = "Nr", .destination = "Zahl", .typ = "INT"});
  if (random() % 3 == 0)
    Assign({.field = "Fest", .option = kConstantValue, .destination = "abc", .typ = "FLOAT"});
  if (random() % 3 == 0) Assign({.field = "Fehlt", .destination = "Anders"});
}

std::map<std::int32_t, RecordFate> RandomOutcomesTest::LastFates() const {
  std::map<std::int32_t, RecordFate> fates;
  for (const RecordOutcome& outcome : view.outcomes) fates[outcome.record] = outcome.fate;
  for (const OutcomeRevision& revision : view.revisions) {
    for (auto& [record, fate] : fates) {
      const bool was_stored = fate == RecordFate::kStored || fate == RecordFate::kUpdated;
      if (record >= revision.first && record <= revision.last && was_stored) fate = revision.fate;
    }
  }
  return fates;
}

TEST_P(RandomOutcomesTest, WhatIsToldAddsUp) {
  std::mt19937 random(GetParam());
  UseRandomSource(random);
  MoodyClass moody(GetParam());
  moody.Move(*import_class, [this] { return Value(NewRecord()); });
  session.TestMode = random() % 5 == 0;
  const bool log_fails = random() % 8 == 0;
  if (log_fails) log->Raises("UpdateRecord", RuntimeError(61, "voll"));
  const RunResult& result = Run();

  // The counters.
  std::map<RecordFate, std::int32_t> count;
  for (const auto& [record, fate] : LastFates()) ++count[fate];
  std::int32_t unnamed = 0;
  std::int32_t revised = 0;
  for (const OutcomeRevision& revision : view.revisions) {
    revised += revision.revised;
    if (revision.first == 0) unnamed += revision.revised;
  }
  std::int32_t rejected_at_once = 0;
  for (const RecordOutcome& outcome : view.outcomes) {
    if (outcome.fate == RecordFate::kRejected) ++rejected_at_once;
  }
  EXPECT_EQ(view.outcomes.size(), static_cast<std::size_t>(result.records));
  EXPECT_EQ(rejected_at_once + revised, result.rejected);
  EXPECT_EQ(count[RecordFate::kStored] + count[RecordFate::kUpdated] - unnamed, result.stored);
  EXPECT_EQ(count[RecordFate::kRejected] + unnamed, result.rejected);
  EXPECT_EQ(std::min(count[RecordFate::kUpdated], result.stored), result.updated);
  EXPECT_EQ(count[RecordFate::kHeldBack], result.duplicates);
  EXPECT_EQ(count[RecordFate::kChecked], result.checked);
  EXPECT_EQ(result.stored + result.rejected + result.duplicates + result.checked, result.records);

  // The figures, by whoever watches and by the run itself.
  RunFigures figures;
  for (const RecordOutcome& outcome : view.outcomes) figures.Add(outcome);
  for (const OutcomeRevision& revision : view.revisions) EXPECT_EQ(figures.Add(revision), revision.revised);
  for (const RunFigures& each : {figures, result.figures}) {
    EXPECT_EQ(each.read(), result.records);
    EXPECT_EQ(each.stored_new() + each.updated() + each.held_back() + each.rejected() + each.checked(),
              each.read());
    EXPECT_EQ(each.stored(), result.stored);
    EXPECT_EQ(each.updated(), result.updated);
    EXPECT_EQ(each.held_back(), result.duplicates);
    EXPECT_EQ(each.rejected(), result.rejected);
    EXPECT_EQ(each.checked(), result.checked);
    EXPECT_EQ(each.errors(), result.errors);
  }

  // The import class's own word.
  std::int32_t expected_record = 0;
  for (const RecordOutcome& outcome : view.outcomes) EXPECT_EQ(outcome.record, ++expected_record);
  const std::map<std::int32_t, RecordFate> fates = LastFates();
  for (const auto& [record, fate] : moody.fates) EXPECT_EQ(fates.at(record), fate) << "record " << record;
  const auto handed_over = static_cast<std::int32_t>(moody.fates.size());
  EXPECT_EQ(handed_over + count[RecordFate::kHeldBack] + count[RecordFate::kChecked], result.records);

  // The logs.
  std::vector<std::string> told;
  const auto tell = [&](const RecordError& error) {
    told.push_back("Fehler: " + std::to_string(error.number) + " " + error.text + " (" + error.function +
                   "/ImportStart)");
  };
  for (const RecordOutcome& outcome : view.outcomes) std::ranges::for_each(outcome.errors, tell);
  for (const OutcomeRevision& revision : view.revisions) {
    if (revision.error) tell(*revision.error);
  }
  EXPECT_EQ(told.size(), static_cast<std::size_t>(result.errors));
  std::vector<std::string> logged;
  std::int32_t duplicate_fields = 0;
  for (const std::string& line : LogLines()) {
    static const std::regex kNames("^(Fehler: \\d+ )Datens(ätze \\d+ bis|atz) \\d+: ");
    if (line.starts_with("Fehler: ")) logged.push_back(std::regex_replace(line, kNames, "$1"));
    if (line == "Bez1") ++duplicate_fields;
  }
  std::ranges::sort(told);
  std::ranges::sort(logged);
  EXPECT_EQ(logged, told);
  EXPECT_EQ(duplicate_fields, result.duplicates);
  EXPECT_EQ(result.unlogged_count, log_fails ? result.errors + result.duplicates : 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomOutcomesTest, ::testing::Range(0u, 60u));

}  // namespace
}  // namespace kestrel::testing
