// Line breaks within enclosed values, in files that end their lines at LF.
#include "sources/enclosed_values.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "sources/text_source.h"
#include "sources/text_window.h"
#include "sources/whole_files.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::Records;
using testing::TempFolder;

constexpr std::size_t kWindow = TextWindow::kWindowSize;
constexpr std::size_t kLongest = EnclosedValues::kLongest;
const TextFormat kPlain{false, "ANSI", ";", "\""};
const TextFormat kHeadings{true, "ANSI", ";", "\""};

class EnclosedLineFeeds : public ::testing::Test {
 protected:
  std::string Write(const std::string& bytes) { return testing::WriteAnew(folder_, bytes); }
  Records Read(const std::string& bytes, const TextFormat& format = kPlain) {
    return testing::ReadRecords(Write(bytes), format);
  }
  // As the slow reader reads it.
  void Compare(const std::string& bytes) { ASSERT_EQ(Read(bytes), testing::ReadSlowly(bytes, kPlain)); }

  // Pieces of what makes enclosed values and what looks like it, with up to so many letters behind each.
  static std::string RandomText(std::mt19937& random, std::size_t count, std::size_t letters) {
    const std::vector<std::string> pieces = {"\"",   "\"",    "\"",     ";", "\n",   "x",
                                             "\"\"", "\";\"", "\"\n\"", "ü", "\n\"", ";\""};
    std::string text;
    for (; count != 0; --count) {
      text += pieces[random() % pieces.size()];
      text.append(random() % (letters + 1), 'y');
    }
    return text;
  }

  TempFolder folder_;
};

TEST_F(EnclosedLineFeeds, BelongToTheValue) {
  EXPECT_EQ(Read("a;b\n\"c\nd\";e\nf;\"g\n\n\"\n"), (Records{{"a", "b"}, {"c\nd", "e"}, {"f", "g\n\n"}}));
  EXPECT_EQ(Read("a;b\nc;\"d\n\""), (Records{{"a", "b"}, {"c", "d\n"}}));
}

TEST_F(EnclosedLineFeeds, BesideDoubledQualifiersAndDelimiters) {
  EXPECT_EQ(Read("a;b\n\"c\"\"\n;\"\"d\";e\n"), (Records{{"a", "b"}, {"c\n;d", "e"}}));
  EXPECT_EQ(Read("a;b\n\"\"\"\n\"\"\";e\n"), (Records{{"a", "b"}, {"\n", "e"}}));
}

TEST_F(EnclosedLineFeeds, AnEmptyEnclosedValueEndsAtOnce) {
  EXPECT_EQ(Read("a;b\n\"\";\"\"\nc;\"\"\n"), (Records{{"a", "b"}, {"", ""}, {"c", ""}}));
}

TEST_F(EnclosedLineFeeds, AreSeenInColumnNames) {
  const std::string bytes = "\"Vor\nname\";Ort\nx;y\n";
  EXPECT_EQ(Read(bytes, kHeadings), (Records{{"x", "y"}}));
  EXPECT_EQ(ReadTextFieldNames(Write(bytes), kHeadings), (std::vector<std::string>{"Vor\nname", "Ort", ""}));
  EXPECT_EQ(OpenTextSource(Write(bytes), kHeadings)->ColumnName(0), "Vor\nname");
}

TEST_F(EnclosedLineFeeds, AreSeenInLongColumnNames) {
  const std::string name = std::string(100, 'x') + "\n" + std::string(200, 'y');
  EXPECT_EQ(OpenTextSource(Write("\"" + name + "\";Ort\nx;y\n"), kHeadings)->ColumnName(0), name);
  EXPECT_EQ(Read("\"" + name + "\";Ort\nx;y\n", kHeadings), (Records{{"x", "y"}}));
}

TEST_F(EnclosedLineFeeds, AStrayQualifierEnclosesNothing) {
  // Within a value, before a single one elsewhere, and without any end.
  EXPECT_EQ(Read("a;b\nc 5\" d;e\nf;g\n"), (Records{{"a", "b"}, {"", ""}, {"f", "g"}}));
  EXPECT_EQ(Read("a;b\n\"c;d\ne;\"f\"\ng;h\n").size(), 4U);
  EXPECT_EQ(Read("a;b\n\"c\nd;e\nf;g").size(), 4U);
  EXPECT_EQ(Read("a;b\n\"c\n \"d\ne;f\n").size(), 4U);
}

TEST_F(EnclosedLineFeeds, WithACrAnywhereLinesAreCutAsEver) {
  EXPECT_EQ(Read("a;b\n\"c\nd\";e\n\rf;g"), (Records{{"a", "b\nc\nd", "e\n"}, {"f", "g", ""}}));
}

TEST_F(EnclosedLineFeeds, OtherSeparatorsKnowThemToo) {
  EXPECT_EQ(Read("a,b\n'c\nd',e\n", {false, "ANSI", ",", "'"}), (Records{{"a", "b"}, {"c\nd", "e"}}));
  EXPECT_EQ(Read("a\tb\n\"c\nd\"\te\n", {false, "ASCII", "TAB", ""}), (Records{{"a", "b"}, {"c\nd", "e"}}));
  // With delimiters that never match, or that are the qualifier, there is nothing to enclose.
  EXPECT_EQ(Read("a\n\"b\nc\"\n", {false, "ANSI", ";;", "\""}).size(), 3U);
  EXPECT_EQ(Read("a\n\"b\nc\"\n", {false, "ANSI", "\"", "\""}).size(), 3U);
}

TEST_F(EnclosedLineFeeds, InFilesOfUtf16) {
  std::string bytes = "\xFF\xFE";
  for (const char c : std::string("a;b\n\"c\nd\";e\n")) bytes.append({c, '\0'});
  EXPECT_EQ(Read(bytes), (Records{{"a", "b"}, {"c\nd", "e"}}));
}

TEST_F(EnclosedLineFeeds, AValueIsEnclosedUpToItsGreatestLength) {
  for (const std::size_t before : {std::size_t{0}, std::size_t{1}, std::size_t{63}, kWindow - 40'000}) {
    const std::string head = "a;b\n" + std::string(before, '\n');
    for (const std::size_t longer : {0U, 1U, 2U, 64U}) {
      // Together with the line feed, so many characters stand between the qualifiers.
      const std::string value = "\n" + std::string(kLongest - 2 + longer, 'x');
      const Records records = Read(head + "\"" + value + "\";e\nf;g\n");
      if (longer == 0) {
        EXPECT_EQ(records, (Records{{"a", "b"}, {value, "e"}, {"f", "g"}}));
      } else {
        EXPECT_EQ(records.size(), 4U) << before << ' ' << longer;
      }
    }
  }
}

TEST_F(EnclosedLineFeeds, ItsLengthIsCountedInCharacters) {
  for (const std::string character : {"ü", "€", "😀"}) {
    std::string value = "\n";
    while (value.size() < (kLongest - 2) * character.size() + 1) value += character;
    EXPECT_EQ(Read("a;b\n\"" + value + "\";e\nf;g\n"), (Records{{"a", "b"}, {value, "e"}, {"f", "g"}}));
    EXPECT_EQ(Read("a;b\n\"" + value + character + "\";e\nf;g\n").size(), 4U);
  }
}

TEST_F(EnclosedLineFeeds, OneWithoutEndLeavesAllOthersWhole) {
  std::string bytes = "a;b\n\"c;d\n";
  std::size_t lines = 2;
  for (; bytes.size() < 3 * kWindow; ++lines) bytes += "eeeeeeeeee;ffffffffff\n";
  bytes += "\"g\nh\";i\n";
  const Records records = Read(bytes);
  ASSERT_EQ(records.size(), lines + 1);
  EXPECT_EQ(records.back(), (std::vector<std::string>{"g\nh", "i"}));
}

TEST_F(EnclosedLineFeeds, RandomTextIsReadAsTheSlowReaderReadsIt) {
  std::mt19937 random(42);
  for (int round = 0; round < 3000; ++round) {
    const std::string bytes = ";;;;\n" + RandomText(random, random() % 200, random() % 40);
    ASSERT_NO_FATAL_FAILURE(Compare(bytes)) << bytes;
  }
}

TEST_F(EnclosedLineFeeds, RandomTextWithLongStretchesBetween) {
  std::mt19937 random(44);
  for (int round = 0; round < 200; ++round) {
    std::string bytes = ";;;;\n";
    for (int part = 0; part < 8; ++part) {
      for (std::size_t lines = random() % 40; lines != 0; --lines)
        bytes += "yyyyyy;" + RandomText(random, 1, 90);
      bytes += RandomText(random, random() % 40, random() % 10);
    }
    ASSERT_NO_FATAL_FAILURE(Compare(bytes)) << bytes;
  }
}

TEST_F(EnclosedLineFeeds, RunsOfQualifiersAtEveryPlaceOfABlock) {
  for (std::size_t before = 0; before < 130; ++before) {
    for (std::size_t run = 1; run < 6; ++run) {
      for (const std::string behind : {"", ";", "\n", "z"}) {
        const std::string text = "\n" + std::string(before, 'y') + std::string(run, '"') + behind;
        ASSERT_NO_FATAL_FAILURE(Compare(";;\n\"x" + text)) << before << ' ' << run << behind;
        ASSERT_NO_FATAL_FAILURE(Compare(";;\nx" + text + "z\n")) << before << ' ' << run << behind;
      }
    }
  }
}

TEST_F(EnclosedLineFeeds, RandomTextAroundTheBordersOfWindows) {
  std::mt19937 random(45);
  for (int round = 0; round < 12; ++round) {
    std::string bytes = ";;;;\n";
    for (int window = 0; window < 2; ++window) {
      bytes += RandomText(random, 20, 20);
      // Without a line feed, with one, and with qualifiers that the border lies between.
      const std::string y(300, 'y');
      const std::string filling =
          std::vector<std::string>{y, y + "\n", y + ";\"y\"\n", "\"y\"\";\"" + y + "\ny\""}[random() % 4];
      while (bytes.size() < kWindow * (window + 1U) - 600) bytes += filling;
      bytes += RandomText(random, 80, 8);
    }
    ASSERT_NO_FATAL_FAILURE(Compare(bytes)) << round;
  }
}

TEST_F(EnclosedLineFeeds, RandomRecordsAreReadAsTheyWereWritten) {
  std::mt19937 random(43);
  Records records;
  std::string bytes;
  while (bytes.size() < 4 * kWindow) {
    std::vector<std::string>& values = records.emplace_back();
    for (int column = 0; column < 3; ++column) {
      std::string value(1 + random() % 40, static_cast<char>('a' + random() % 26));
      if (random() % 2 == 0) value[random() % value.size()] = "\n;"[random() % 2];
      values.push_back(value);
      bytes += (column == 0 ? "\"" : ";\"") + value + "\"";
    }
    bytes += "\n";
  }
  EXPECT_EQ(Read("1;2;3\n" + bytes, kHeadings), records);
}

TEST_F(EnclosedLineFeeds, AreFoundAlikeWhateverTheProcessorHas) {
  std::mt19937 random(31);
  std::size_t looked_at = 0;
  for (int round = 0; round < 3000; ++round) {
    // Mostly well-formed: values of letters, some of them enclosed, with line feeds and pairs of qualifiers.
    std::string text;
    while (text.size() < 64 * 70) {
      const std::string letters(random() % 40, 'y');
      switch (random() % (round % 2 == 0 ? 4 : 40)) {
        case 0: text += "\"" + letters + "\n" + letters + "\""; break;
        case 1: text += "\"" + letters + "\"\"" + letters + "\""; break;
        case 2: text += "\"\""; break;
        case 3: text += round % 10 == 0 && random() % 20 == 0 ? "\"x\"x" : letters; break;
        default: text += letters; break;
      }
      text += random() % 5 == 0 ? '\n' : ';';
    }
    EnclosedValues values({';', '"', true}), plain({';', '"', true});
    const auto line_feeds = [&](std::size_t position, std::size_t blocks) {
      std::vector<std::uint64_t> masks;
      for (std::size_t i = 0; i < blocks; ++i)
        masks.push_back(ByteBlock(text.data() + position + i * 64).Equal('\n'));
      return masks;
    };
    for (std::size_t position = 0; position + 65 < text.size();) {
      const std::size_t blocks = std::min<std::size_t>(1 + random() % 64, (text.size() - 1 - position) / 64);
      std::vector<std::uint64_t> found = line_feeds(position, blocks), found_plainly = found;
      const std::size_t left = text.size() - position;
      const std::size_t judged = values.LookAhead(text.data() + position, position, left, found);
      ASSERT_EQ(plain.LookAheadPlainly(text.data() + position, position, left, found_plainly), judged);
      ASSERT_EQ(found, found_plainly);
      ASSERT_EQ(values.is_open(), plain.is_open());
      looked_at += judged;
      if (judged == 0) break;
      position += judged * 64;
    }
  }
  EXPECT_GT(looked_at, 50000U);
}

}  // namespace
}  // namespace kestrel
