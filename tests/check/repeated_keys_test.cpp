#include "check/repeated_keys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>

namespace kestrel {
namespace {

TEST(RepeatedKeys, TellsEachRecordOnceWithTheFirstOfItsKind) {
  RepeatedKeys keys(2);
  keys.Add(0, "a", 1);
  keys.Add(1, "x", 1);
  keys.Add(0, "b", 2);
  keys.Add(1, "x", 2);
  keys.Add(0, "a", 3);
  keys.Add(1, "x", 3);
  keys.Add(0, "x", 4);
  const RepeatedKeys::Result result = keys.Find(10);
  EXPECT_EQ(result.records, 2) << "the same text of another kind is another key";
  ASSERT_EQ(result.first.size(), 2u);
  EXPECT_EQ(result.first[0].record, 2);
  EXPECT_EQ(result.first[0].earlier, 1);
  EXPECT_EQ(result.first[0].kind, 1u);
  EXPECT_EQ(result.first[1].record, 3);
  EXPECT_EQ(result.first[1].earlier, 1);
  EXPECT_EQ(result.first[1].kind, 0u);
  EXPECT_FALSE(result.compared_to.has_value());
}

TEST(RepeatedKeys, AnEmptyKeyIsNone) {
  RepeatedKeys keys(1);
  keys.Add(0, "", 1);
  keys.Add(0, "", 2);
  EXPECT_EQ(keys.Find(10).records, 0);
}

TEST(RepeatedKeys, WhatThereIsNoRoomForIsTold) {
  RepeatedKeys keys(1, 0, 2);
  keys.Add(0, "a", 1);
  keys.Add(0, "b", 2);
  keys.Add(0, "a", 3);
  const RepeatedKeys::Result result = keys.Find(10);
  EXPECT_EQ(result.records, 0);
  EXPECT_EQ(result.compared_to, 2);
}

TEST(RepeatedKeys, FindsInRandomRecordsWhatAMapFinds) {
  std::mt19937 random(4711);
  RepeatedKeys keys(3, 2000);
  std::map<std::string, std::int64_t> seen;
  std::set<std::int64_t> repeats;
  for (std::int64_t record = 1; record <= 2000; ++record) {
    for (std::size_t kind = 0; kind < 3; ++kind) {
      const std::string key = std::to_string(random() % 5000);
      keys.Add(kind, key, record);
      if (!seen.emplace(std::to_string(kind) + "|" + key, record).second) repeats.insert(record);
    }
  }
  const RepeatedKeys::Result result = keys.Find(5);
  EXPECT_EQ(result.records, static_cast<std::int64_t>(repeats.size()));
  ASSERT_EQ(result.first.size(), 5u);
  auto expected = repeats.begin();
  for (const RepeatedKeys::Repeat& repeat : result.first) EXPECT_EQ(repeat.record, *expected++);
}

}  // namespace
}  // namespace kestrel
