#include "sources/utf8_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "platform/base/text.h"

namespace kestrel {
namespace {

struct Told {
  bool is_valid;
  bool beyond_ascii;
};

// Looks at the text in pieces as a file gives them: each but the last of whole blocks.
template <class Look>
Told TellInPieces(const std::string& text, std::mt19937& random, Look&& look) {
  const std::string padded = text + std::string(Utf8Check::kPadding, '\x80');
  Utf8Check check(0, /*applies=*/true);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = std::min(text.size() - at, 64 * (1 + random() % 5));
    (check.*look)(padded.data() + at, at, size);
    at += size;
  }
  check.Finish(text.size());
  return {check.is_valid(), check.beyond_ascii()};
}

TEST(Utf8Check, TellsWhatTheObviousWayTellsWhateverTheProcessorHas) {
  const std::vector<std::string> good = {"a", "ü", "ß", "€", "漢", "😀", "x", "y"};
  const std::vector<std::string> bad = {"\x80",         "\xC3",         "\xC0\x80",         "\xC1\xBF",
                                        "\xE2\x82",     "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF",
                                        "\xE0\x80\x80", "\xBF"};
  std::mt19937 random(29);
  int valid = 0;
  for (int round = 0; round < 20000; ++round) {
    // Mostly letters of two bytes, as most texts have no others.
    const std::size_t kinds = 1 + random() % good.size();
    std::string text;
    for (std::size_t pieces = random() % 400; pieces != 0; --pieces) text += good[random() % kinds];
    if (random() % 2 == 0) text.insert(random() % (text.size() + 1), bad[random() % bad.size()]);
    if (random() % 4 == 0) text.resize(random() % (text.size() + 1));

    const Told told = TellInPieces(text, random, &Utf8Check::Look);
    const Told plain = TellInPieces(text, random, &Utf8Check::LookPlainly);
    ASSERT_EQ(told.is_valid, IsValidUtf8(text)) << text;
    ASSERT_EQ(plain.is_valid, told.is_valid) << text;
    if (!told.is_valid) continue;
    ++valid;
    ASSERT_EQ(told.beyond_ascii, LengthInCharacters(text) != text.size()) << text;
    ASSERT_EQ(plain.beyond_ascii, told.beyond_ascii) << text;
  }
  EXPECT_GT(valid, 5000);
}

TEST(Utf8Check, ACharacterMayReachOverTheEndOfAPieceButNotOfTheText) {
  for (const std::string character : {"ü", "€", "😀"}) {
    for (std::size_t before = 60; before < 200; ++before) {
      const std::string text = std::string(before, 'x') + character;
      for (const bool whole : {true, false}) {
        std::string bytes = whole ? text + std::string(70, 'y') : text.substr(0, text.size() - 1);
        std::mt19937 random(static_cast<unsigned>(before));
        EXPECT_EQ(TellInPieces(bytes, random, &Utf8Check::Look).is_valid, whole) << before;
        EXPECT_EQ(TellInPieces(bytes, random, &Utf8Check::LookPlainly).is_valid, whole) << before;
      }
    }
  }
}

TEST(Utf8Check, LooksAtNothingWhereItDoesNotApply) {
  Utf8Check check(0, /*applies=*/false);
  const std::string text(200, 'x');
  check.Look(text.data(), 0, 64);
  EXPECT_FALSE(check.is_valid());
}

}  // namespace
}  // namespace kestrel
