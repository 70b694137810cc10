#include "kestrel/run_figures.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace kestrel {
namespace {

class RunFiguresTest : public ::testing::Test {
 protected:
  void Tell(RecordFate fate) {
    outcome_.Begin(++record_);
    outcome_.fate = fate;
    figures.Add(outcome_);
  }
  std::int32_t Revise(std::int32_t first, std::int32_t last, RecordFate fate = RecordFate::kRejected) {
    return figures.Add(OutcomeRevision{.first = first, .last = last, .fate = fate});
  }
  // One of those stored is lost, and nobody says which.
  std::int32_t LoseOne() { return figures.Add(OutcomeRevision{.revised = 1}); }
  void ExpectThatTheyAddUp() const {
    EXPECT_EQ(figures.read(), figures.stored_new() + figures.updated() + figures.held_back() +
                                  figures.rejected() + figures.checked());
  }

  RunFigures figures;

 private:
  RecordOutcome outcome_;
  std::int32_t record_ = 0;
};

TEST_F(RunFiguresTest, EveryRecordIsExactlyOneThing) {
  for (const RecordFate fate :
       {RecordFate::kStored, RecordFate::kUpdated, RecordFate::kHeldBack, RecordFate::kRejected}) {
    Tell(fate);
    ExpectThatTheyAddUp();
  }
  EXPECT_EQ(figures.read(), 4);
  EXPECT_EQ(figures.stored_new(), 1);
  EXPECT_EQ(figures.updated(), 1);
  EXPECT_EQ(figures.stored(), 2);
  EXPECT_EQ(figures.held_back(), 1);
  EXPECT_EQ(figures.rejected(), 1);
  EXPECT_EQ(figures.checked(), 0);
}

TEST_F(RunFiguresTest, ATestRunChecksWhereOthersStoreAndMayRejectLaterToo) {
  for (int i = 0; i < 4; ++i) Tell(RecordFate::kChecked);
  Tell(RecordFate::kRejected);
  EXPECT_EQ(Revise(2, 3), 2);
  EXPECT_EQ(figures.checked(), 2);
  EXPECT_EQ(figures.rejected(), 3);
  EXPECT_EQ(figures.stored(), 0);
  ExpectThatTheyAddUp();
}

TEST_F(RunFiguresTest, ErrorsAreCountedApart) {
  RecordOutcome outcome{.record = 1, .errors = {{.number = 1}, {.number = 2}}};
  figures.Add(outcome);
  figures.Add(OutcomeRevision{.error = RecordError{.number = 3}});
  EXPECT_EQ(figures.errors(), 3);
  EXPECT_EQ(figures.stored(), 1) << "stored in spite of them";
  ExpectThatTheyAddUp();
}

TEST_F(RunFiguresTest, CutValuesAreCountedByFieldInTheOrderTheyCame) {
  figures.Add({.record = 1, .cut_fields = {"Ort", "Bez1"}});
  figures.Add({.record = 2, .cut_fields = {"Bez1"}});
  ASSERT_EQ(figures.cut_fields().size(), 2u);
  EXPECT_EQ(figures.cut_fields()[0].field, "Ort");
  EXPECT_EQ(figures.cut_fields()[0].values, 1);
  EXPECT_EQ(figures.cut_fields()[1].values, 2);
  EXPECT_EQ(figures.cut_values(), 3);
}

TEST_F(RunFiguresTest, AnUpdatedRecordIsAStoredOneUntilItIsLost) {
  Tell(RecordFate::kStored);
  Tell(RecordFate::kUpdated);
  Tell(RecordFate::kUpdated);
  EXPECT_EQ(Revise(2, 2), 1);
  EXPECT_EQ(Revise(2, 2), 0) << "it is lost once";
  EXPECT_EQ(figures.stored(), 2);
  EXPECT_EQ(figures.updated(), 1);
  EXPECT_EQ(Revise(1, 1, RecordFate::kUpdated), 1);
  EXPECT_EQ(Revise(1, 1, RecordFate::kUpdated), 0);
  EXPECT_EQ(Revise(2, 2, RecordFate::kUpdated), 0) << "what is lost was no update";
  EXPECT_EQ(figures.stored_new(), 0);
  LoseOne();
  LoseOne();
  EXPECT_EQ(LoseOne(), 0) << "no more are lost than were stored";
  EXPECT_EQ(figures.stored(), 0);
  EXPECT_EQ(figures.updated(), 0);
  ExpectThatTheyAddUp();
}

TEST_F(RunFiguresTest, ALossTakesOnlyWhatWasStored) {
  Tell(RecordFate::kHeldBack);
  Tell(RecordFate::kStored);
  Tell(RecordFate::kRejected);
  Tell(RecordFate::kStored);
  EXPECT_EQ(Revise(1, 4), 2);
  EXPECT_EQ(figures.held_back(), 1);
  EXPECT_EQ(figures.rejected(), 3);
  ExpectThatTheyAddUp();
}

TEST_F(RunFiguresTest, TheFirstRecordLostWithOthersIsThatOfTheFirstGroup) {
  for (int i = 0; i < 7; ++i) Tell(RecordFate::kStored);
  Revise(2, 2);
  EXPECT_EQ(figures.FirstOfLostGroup(), 0) << "it was lost alone";
  Revise(6, 7);
  Revise(4, 5);
  EXPECT_EQ(figures.FirstOfLostGroup(), 4);
}

TEST_F(RunFiguresTest, TheLastStoredRecordStandsBeforeTheLostOnes) {
  EXPECT_EQ(figures.LastStoredRecord(), 0);
  Tell(RecordFate::kHeldBack);
  EXPECT_EQ(figures.LastStoredRecord(), 0);
  Tell(RecordFate::kStored);
  Tell(RecordFate::kHeldBack);
  Tell(RecordFate::kStored);
  Tell(RecordFate::kHeldBack);
  EXPECT_EQ(figures.LastStoredRecord(), 4);
  Revise(4, 4);
  EXPECT_EQ(figures.LastStoredRecord(), 2);
  Revise(2, 2);
  EXPECT_EQ(figures.LastStoredRecord(), 0);
}

TEST_F(RunFiguresTest, AgreeWithAPlainListForAnyOrderOfTidings) {
  constexpr RecordFate kFates[] = {RecordFate::kStored, RecordFate::kUpdated, RecordFate::kHeldBack,
                                   RecordFate::kRejected};
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    figures = RunFigures();
    std::map<std::int32_t, RecordFate> fates;
    const auto record = [&] { return static_cast<std::int32_t>(random() % fates.size()) + 1; };
    for (std::int32_t next = 1; next <= 60; ++next) {
      fates[next] = kFates[random() % std::size(kFates)];
      figures.Add({.record = next, .fate = fates[next]});
      if (random() % 4 != 0) continue;
      std::int32_t first = record();
      std::int32_t last = record();
      if (last < first) std::swap(first, last);
      const RecordFate fate = random() % 2 == 0 ? RecordFate::kRejected : RecordFate::kUpdated;
      std::int32_t changed = 0;
      for (std::int32_t each = first; each <= last; ++each) {
        const bool is_stored = fates[each] == RecordFate::kStored || fates[each] == RecordFate::kUpdated;
        if (is_stored && fates[each] != fate) ++changed;
        if (is_stored) fates[each] = fate;
      }
      ASSERT_EQ(Revise(first, last, fate), changed);
      ExpectThatTheyAddUp();
    }
    std::map<RecordFate, std::int32_t> count;
    for (const auto& [number, fate] : fates) ++count[fate];
    ASSERT_EQ(figures.stored_new(), count[RecordFate::kStored]);
    ASSERT_EQ(figures.updated(), count[RecordFate::kUpdated]);
    ASSERT_EQ(figures.held_back(), count[RecordFate::kHeldBack]);
    ASSERT_EQ(figures.rejected(), count[RecordFate::kRejected]);
  }
}

}  // namespace
}  // namespace kestrel
