// The same cutting and decoding, whatever the processor has.
#include "sources/text_split.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/base/avx2_block.h"
#include "platform/base/text.h"
#include "sources/text_source.h"
#include "sources/text_values.h"

namespace kestrel {
namespace {

using Values = std::vector<std::string>;

// Texts with as many of the characters that matter as of others, or only a few.
class RandomBytes {
 public:
  explicit RandomBytes(unsigned seed) : random_(seed) {}

  std::size_t Roll(std::size_t sides) { return random_() % sides; }
  std::string Of(std::string_view special, std::size_t size) {
    const std::size_t rarity = 1 + Roll(40);
    std::string bytes(size, 'x');
    for (char& byte : bytes) {
      if (Roll(rarity) == 0) byte = special[Roll(special.size())];
    }
    return bytes;
  }

 private:
  std::mt19937 random_;
};

// Behind the text stands what must not be taken for part of it.
class Padded {
 public:
  explicit Padded(const std::string& text) : bytes_(text + std::string(kBlockSize, '"')), size_(text.size()) {}
  std::string_view text() const { return std::string_view(bytes_).substr(0, size_); }

 private:
  std::string bytes_;
  std::size_t size_;
};

Values ValuesOf(const ValueCuts& cuts, char qualifier) {
  ValueScratch scratch;
  Values values;
  for (std::size_t i = 0; i < cuts.count(); ++i) {
    values.emplace_back(cuts.IsMarked(i) ? WithoutQualifiers(cuts.Raw(i), qualifier, scratch)
                                         : cuts.Text(i, qualifier));
  }
  return values;
}

TEST(ValueCuts, AreThoseOfTheObviousWayWhateverTheProcessorHas) {
  RandomBytes random(13);
  const SplitRules rules{';', '"'};
  for (int round = 0; round < 20000; ++round) {
    const Padded record(random.Of("\";\"; \n\r", 1 + random.Roll(300)));
    ValueSlots slots;
    SplitTextLine(record.text(), ";", "\"", slots);
    ValueCuts cuts, plain;
    cuts.Cut(record.text(), rules, kValueSlots);
    plain.CutPlainly(record.text(), rules, kValueSlots);
    Values values = ValuesOf(cuts, '"');
    ASSERT_EQ(ValuesOf(plain, '"'), values) << record.text();
    values.resize(slots.size());
    ASSERT_EQ(values, Values(slots.begin(), slots.end())) << record.text();
  }
}

TEST(ValueCuts, ViewTheRecordWhereNothingHasToGo) {
  const Padded record("12;\"Anna; Berta\";;\"\";x");
  ValueCuts cuts;
  cuts.Cut(record.text(), {';', '"'}, kValueSlots);
  EXPECT_EQ(ValuesOf(cuts, '"'), (Values{"12", "Anna; Berta", "", "", "x"}));
  for (std::size_t i = 0; i < cuts.count(); ++i) EXPECT_FALSE(cuts.IsMarked(i)) << i;
  EXPECT_EQ(cuts.Text(1, '"').data(), record.text().data() + 4);
}

TEST(ValueCuts, StopAtTheLastValueThatIsAskedFor) {
  for (const std::size_t size : {1UL, 63UL, 64UL, 511UL, 512UL, 513UL, 5000UL}) {
    const Padded record(std::string(size, ';'));
    for (const std::size_t most : {1UL, 64UL, 65UL, 200UL, ValueCuts::kMost}) {
      ValueCuts cuts, plain;
      cuts.Cut(record.text(), {';', '"'}, most);
      plain.CutPlainly(record.text(), {';', '"'}, most);
      EXPECT_EQ(cuts.count(), std::min(size, most));
      EXPECT_EQ(plain.count(), cuts.count());
    }
  }
}

TEST(ValueCuts, EndWhereTheRecordEndsThoughABlockEndsThere) {
  for (const std::size_t size : {63UL, 64UL, 65UL, 128UL}) {
    const Padded record(std::string(size, 'x'));
    ValueCuts cuts;
    cuts.Cut(record.text(), {';', '"'}, kValueSlots);
    EXPECT_EQ(ValuesOf(cuts, '"'), Values{std::string(size, 'x')});
  }
}

TEST(RecordDecoder, GivesTheTextOfEveryByteWhateverTheProcessorHas) {
  RandomBytes random(17);
  for (const bool repair : {false, true}) {
    RecordDecoder decoder(/*windows_1252=*/true, repair), plain(/*windows_1252=*/true, repair);
    for (int round = 0; round < 5000; ++round) {
      std::string high;
      for (int i = 0; i < 20; ++i) high += static_cast<char>(0x80 + random.Roll(0x80));
      const std::string bytes = random.Of(high, 1 + random.Roll(round % 100 == 0 ? 20000 : 300));
      const Padded record(bytes);
      std::string expected = FromWindows1252(bytes);
      if (repair) expected = RepairAsciiUmlauts(expected);
      ASSERT_EQ(decoder.Decode(record.text()), expected);
      ASSERT_EQ(plain.DecodePlainly(record.text()), expected);
    }
  }
}

TEST(RecordDecoder, CopiesNothingThatIsAsciiOrUtf8) {
  const Padded ascii("12;Anna;Berta");
  RecordDecoder windows(/*windows_1252=*/true, /*repair_umlauts=*/false);
  EXPECT_EQ(windows.Decode(ascii.text()).data(), ascii.text().data());
  const Padded umlauts("12;Jürgen");
  RecordDecoder utf8(/*windows_1252=*/false, /*repair_umlauts=*/false);
  EXPECT_EQ(utf8.Decode(umlauts.text()).data(), umlauts.text().data());
}

TEST(WithoutQualifiers, LosesEachOfThemAndNothingElse) {
  ValueScratch scratch;
  const std::string_view first = WithoutQualifiers("\"Kurt \"\"Kutte\"\"\"", '"', scratch);
  const std::string_view second = WithoutQualifiers("\"\"", '"', scratch);
  EXPECT_EQ(first, "Kurt Kutte");
  EXPECT_EQ(second, "");
}

#if defined(__x86_64__)
KESTREL_FOR_AVX2 void ExpectTheSame(const std::string& bytes, std::uint64_t mask) {
  const Avx2Block block(bytes.data());
  const PlainBlock plain(bytes.data());
  EXPECT_EQ(block.Equal(';'), plain.Equal(';'));
  EXPECT_EQ(block.High(), plain.High());
  EXPECT_EQ(Avx2Block::Parity(mask), PlainBlock::Parity(mask));
  EXPECT_EQ(Avx2Block::Extract(mask, plain.Equal(';')), PlainBlock::Extract(mask, plain.Equal(';')));
}

TEST(Avx2Block, TellsWhatEveryProcessorTells) {
  if (!HasAvx2()) GTEST_SKIP() << "the processor has no AVX2";
  RandomBytes random(19);
  std::mt19937_64 masks(23);
  for (int round = 0; round < 2000; ++round) ExpectTheSame(random.Of(";\xE4\x80\xFF", kBlockSize), masks());
}
#endif

}  // namespace
}  // namespace kestrel
