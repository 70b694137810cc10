#include "import/run_figures.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace kestrel {
namespace {

void HandOver(RunFigures& figures) { figures.Add(RecordFate::kStored, true); }
void HoldBack(RunFigures& figures) { figures.Add(RecordFate::kHeldBack, false); }

TEST(RunFiguresTest, EveryRecordIsExactlyOneThing) {
  RunFigures figures;
  for (int i = 0; i < 4; ++i) HandOver(figures);
  HoldBack(figures);
  figures.Add(RecordFate::kChecked, false);
  figures.Reject(2, 3);
  EXPECT_EQ(figures.handed_over(), 4);
  EXPECT_EQ(figures.stored(), 2);
  EXPECT_EQ(figures.rejected(), 2);
  EXPECT_EQ(figures.held_back(), 1);
  EXPECT_EQ(figures.checked(), 1);
}

TEST(RunFiguresTest, ARecordThatCouldNotBeMadeIsRejectedAndTakesNoOrdinal) {
  RunFigures figures;
  figures.Add(RecordFate::kRejected, false);
  HandOver(figures);
  EXPECT_EQ(figures.rejected(), 1);
  EXPECT_EQ(figures.stored(), 1);
  EXPECT_EQ(figures.held_back(), 0);
  EXPECT_EQ(figures.SourceRecord(1), 2);
}

TEST(RunFiguresTest, AnUpdatedRecordIsAStoredOneUntilItIsLost) {
  RunFigures figures;
  HandOver(figures);
  figures.Add(RecordFate::kUpdated, true);
  figures.Add(RecordFate::kUpdated, true);
  EXPECT_EQ(figures.stored(), 3);
  EXPECT_EQ(figures.updated(), 2);
  figures.Reject(2, 2);
  figures.Reject(2, 2);
  EXPECT_EQ(figures.stored(), 2);
  EXPECT_EQ(figures.updated(), 1);
  figures.RejectUnnamed();
  figures.RejectUnnamed();
  EXPECT_EQ(figures.stored(), 0);
  EXPECT_EQ(figures.updated(), 0);
}

TEST(RunFiguresTest, TheFirstRecordLostWithOthersIsThatOfTheFirstGroup) {
  RunFigures figures;
  HoldBack(figures);
  for (int i = 0; i < 6; ++i) HandOver(figures);
  figures.Reject(1, 1);
  EXPECT_EQ(figures.FirstOfLostGroup(), 0) << "it was lost alone";
  figures.Reject(5, 6);
  figures.Reject(3, 4);
  EXPECT_EQ(figures.FirstOfLostGroup(), 4);
}

TEST(RunFiguresTest, ARecordIsRejectedOnceHoweverOftenItsLossIsTold) {
  RunFigures figures;
  for (int i = 0; i < 10; ++i) HandOver(figures);
  figures.Reject(3, 3);
  figures.Reject(1, 4);
  figures.Reject(4, 5);
  EXPECT_EQ(figures.rejected(), 5);
}

TEST(RunFiguresTest, NoMoreAreRejectedThanWereHandedOver) {
  RunFigures figures;
  HandOver(figures);
  figures.Reject(1, 1);
  for (int i = 0; i < 5; ++i) figures.RejectUnnamed();
  EXPECT_EQ(figures.rejected(), 1);
  EXPECT_EQ(figures.stored(), 0);
}

TEST(RunFiguresTest, AnOrdinalSkipsTheRecordsHeldBack) {
  RunFigures figures;
  HoldBack(figures);  // record 1
  HandOver(figures);  // 2
  HandOver(figures);  // 3
  HoldBack(figures);  // 4
  HoldBack(figures);  // 5
  HandOver(figures);  // 6
  EXPECT_EQ(figures.SourceRecord(1), 2);
  EXPECT_EQ(figures.SourceRecord(2), 3);
  EXPECT_EQ(figures.SourceRecord(3), 6);
}

TEST(RunFiguresTest, TheLastStoredRecordStandsBeforeTheLostOnes) {
  RunFigures figures;
  EXPECT_EQ(figures.LastStoredRecord(), 0);
  HandOver(figures);
  HoldBack(figures);
  HandOver(figures);
  HandOver(figures);
  EXPECT_EQ(figures.LastStoredRecord(), 4);
  figures.Reject(2, 3);
  EXPECT_EQ(figures.LastStoredRecord(), 1);
  figures.Reject(1, 1);
  EXPECT_EQ(figures.LastStoredRecord(), 0);
}

TEST(RunFiguresTest, AgreesWithPlainListsForAnyOrderOfRecords) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    RunFigures figures;
    std::vector<std::int32_t> record_of_ordinal;
    std::set<std::int32_t> rejected;
    for (std::int32_t record = 1; record <= 60; ++record) {
      if (random() % 3 == 0) {
        HoldBack(figures);
      } else {
        HandOver(figures);
        record_of_ordinal.push_back(record);
      }
      if (random() % 5 == 0 && !record_of_ordinal.empty()) {
        const auto count = static_cast<std::int32_t>(record_of_ordinal.size());
        const auto last = static_cast<std::int32_t>(random() % static_cast<unsigned>(count)) + 1;
        const auto first = static_cast<std::int32_t>(random() % static_cast<unsigned>(last)) + 1;
        figures.Reject(first, last);
        for (std::int32_t ordinal = first; ordinal <= last; ++ordinal) rejected.insert(ordinal);
      }
    }
    for (std::size_t i = 0; i < record_of_ordinal.size(); ++i) {
      ASSERT_EQ(figures.SourceRecord(static_cast<std::int32_t>(i) + 1), record_of_ordinal[i])
          << "seed " << seed;
    }
    ASSERT_EQ(figures.rejected(), static_cast<std::int32_t>(rejected.size())) << "seed " << seed;
  }
}

}  // namespace
}  // namespace kestrel
