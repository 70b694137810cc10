#include "ledger/ledger_block.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "support/expect_error.h"

namespace kestrel::host {

namespace {

struct Entry {
  std::int64_t record;
  std::int64_t number;
  std::vector<StoredValue> values;
};

StoredValue RandomValue(std::mt19937& random, std::vector<std::string>& texts) {
  static const std::vector<double> reals = {0.1, -1e300, 5e-324, 12345678.25, -0.0};
  switch (random() % 4) {
    case 0: return {};
    case 1: return static_cast<std::int64_t>(random()) - std::numeric_limits<std::int32_t>::max();
    case 2: return reals[random() % reals.size()];
    default: break;
  }
  std::string text;
  const std::string_view characters("#-tidrnc;:'\n\0ß", 15);
  for (std::size_t i = random() % 9; i > 0; --i) text += characters[random() % characters.size()];
  texts.push_back(std::move(text));
  return std::string_view(texts.back());
}

}  // namespace

TEST(LedgerBlock, GivesBackTheEntriesAsTheyWereWritten) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::string> texts;
    texts.reserve(1000);
    std::vector<Entry> entries(random() % 20);
    std::int64_t record = 0;
    LedgerBlockWriter writer;
    for (Entry& entry : entries) {
      record += 1 + random() % 2 * (random() % 5);
      entry = {record, static_cast<std::int64_t>(random() % 10), {}};
      writer.Begin(entry.record, entry.number);
      for (std::size_t i = random() % 6; i > 0; --i) {
        entry.values.push_back(RandomValue(random, texts));
        writer.Add(entry.values.back());
      }
    }
    LedgerBlockReader reader(writer.text());
    for (const Entry& entry : entries) {
      ASSERT_TRUE(reader.Next());
      EXPECT_EQ(reader.record(), entry.record);
      EXPECT_EQ(reader.number(), entry.number);
      // Some entries are left unread.
      if (entry.record % 3 == 0) continue;
      for (const StoredValue& value : entry.values) EXPECT_EQ(reader.Read(), value);
    }
    EXPECT_FALSE(reader.Next());
  }
}

TEST(LedgerBlock, GivesBackTheChangesOfAnUpdate) {
  LedgerBlockWriter writer;
  writer.Begin(3, 70);
  writer.AddChange(4, std::string_view("alt"), std::string_view("neu"));
  writer.AddChange(9, {}, std::int64_t{5});
  writer.Begin(4, 12);
  LedgerBlockReader reader(writer.text());
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.ReadChange(), 4u);
  EXPECT_EQ(reader.Read(), StoredValue(std::string_view("alt")));
  EXPECT_EQ(reader.Read(), StoredValue(std::string_view("neu")));
  ASSERT_TRUE(reader.Next()) << "the second change is passed over";
  EXPECT_EQ(reader.number(), 12);
  EXPECT_EQ(reader.ReadChange(), std::nullopt);
  EXPECT_EQ(writer.least_number(), 12);
  EXPECT_EQ(writer.greatest_number(), 70);
}

TEST(LedgerBlock, TakesOneCharacterForARecordOfWhichOnlyItsFateIsKnown) {
  LedgerBlockWriter writer;
  for (int record = 1; record <= 1000; ++record) writer.Begin(record, std::nullopt);
  EXPECT_LE(writer.text().size(), 1003u);
  EXPECT_EQ(writer.first_record(), 1);
  EXPECT_EQ(writer.last_record(), 1000);
}

TEST(LedgerBlock, RefusesWhatSomebodyElseHasWritten) {
  for (const char* text :
       {"x", "#r", "#r1", "#rx;", "#t9:kurz", "#t99999999999999999999:a", "#c", "#c-1;--", "#dx;"}) {
    const auto read_all = [&] {
      LedgerBlockReader reader(text);
      while (reader.Next()) {
      }
    };
    EXPECT_ERROR_TEXT(read_all(), ErrorNumber::kDatabase, ::testing::HasSubstr("Importlaufzeilen")) << text;
  }
}

}  // namespace kestrel::host
