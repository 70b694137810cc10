#include "import/handed_over.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace kestrel {
namespace {

TEST(HandedOverTest, AnOrdinalSkipsTheRecordsThatWereNotHandedOver) {
  HandedOver records;
  for (const bool handed_over : {false, true, true, false, false, true}) records.Add(handed_over);
  EXPECT_EQ(records.count(), 3);
  EXPECT_EQ(records.SourceRecord(1), 2);
  EXPECT_EQ(records.SourceRecord(2), 3);
  EXPECT_EQ(records.SourceRecord(3), 6);
  EXPECT_EQ(records.SourceRecord(4), 7) << "the next one to come";
}

TEST(HandedOverTest, RecordsPassedOverCountAmongThoseOfTheSource) {
  HandedOver records;
  records.Skip(10);
  EXPECT_EQ(records.SourceRecord(1), 11);
  records.Add(false);
  records.Add(true);
  EXPECT_EQ(records.SourceRecord(1), 12);
}

TEST(HandedOverTest, AgreesWithAPlainListForAnyOrderOfRecords) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    HandedOver records;
    std::vector<std::int32_t> handed_over;
    for (std::int32_t record = 1; record <= 60; ++record) {
      const bool is_handed_over = random() % 3 != 0;
      records.Add(is_handed_over);
      if (is_handed_over) handed_over.push_back(record);
    }
    for (std::size_t i = 0; i < handed_over.size(); ++i) {
      ASSERT_EQ(records.SourceRecord(static_cast<std::int32_t>(i) + 1), handed_over[i]) << "seed " << seed;
    }
  }
}

}  // namespace
}  // namespace kestrel
