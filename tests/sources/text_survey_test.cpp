// What a check asks a text file beyond its records: line ends, character set, the values of a line.
#include "sources/text_survey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "sources/text_source.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::IsEmpty;
using ::testing::Optional;

const TextFormat kFormat{true, "ANSI", ";", "\""};

class TextSurveyTest : public ::testing::Test {
 protected:
  TextFacts& Open(const std::string& bytes, const TextFormat& format = kFormat) {
    folder_.Write("adressen.txt", bytes);
    records_ = OpenTextSource(folder_.File("adressen.txt"), format);
    return dynamic_cast<TextFacts&>(*records_);
  }

  testing::TempFolder folder_;
  RecordsetPtr records_;
};

TEST_F(TextSurveyTest, CountsEachKindOfLineEndWithItsFirstLines) {
  const TextSurvey survey = Open("a;b\r\n1;2\n3;4\r5;6\r\n7;8\n\n9;9\n8").Survey();
  EXPECT_EQ(survey.crlf.count, 2);
  EXPECT_THAT(survey.crlf.places, ElementsAre(1, 4));
  EXPECT_EQ(survey.lf.count, 4);
  EXPECT_THAT(survey.lf.places, ElementsAre(2, 5, 6)) << "the first three";
  EXPECT_EQ(survey.cr.count, 1);
  EXPECT_THAT(survey.cr.places, ElementsAre(3));
}

TEST_F(TextSurveyTest, ACarriageReturnAtTheEndOfTheFileCounts) {
  EXPECT_THAT(Open("a;b\r1;2\r").Survey().cr.places, ElementsAre(1, 2));
}

TEST_F(TextSurveyTest, NamesTheCharacterSet) {
  EXPECT_EQ(Open("Ort\r\nUlm\r\n").Survey().charset, "Windows-1252");
  EXPECT_EQ(Open("Ort\r\nK\xF6ln\r\n").Survey().charset, "Windows-1252");
  EXPECT_EQ(Open("Ort\r\nKöln\r\n").Survey().charset, "UTF-8");
  EXPECT_EQ(Open("\xEF\xBB\xBFOrt\r\nUlm\r\n").Survey().charset, "UTF-8 mit Kennung (BOM)");
  EXPECT_EQ(Open(std::string("\xFF\xFEO\0\r\0\n\0U\0", 10)).Survey().charset, "UTF-16 LE");
  EXPECT_EQ(Open(std::string("\xFE\xFF\0O\0\r\0\n\0U", 10)).Survey().charset, "UTF-16 BE");
  EXPECT_EQ(Open("Ort\r\nK\xF6ln\r\n", {true, "ASCII", ";", "\""}).Survey().charset, "ASCII (DOS-Umlaute)");
}

TEST_F(TextSurveyTest, CountsTheLineEndsOfUtf16ByItsCharacters) {
  const TextSurvey survey = Open(std::string("\xFF\xFE\x0A\x0A\r\0\n\0U\0\n\0", 12)).Survey();
  EXPECT_EQ(survey.crlf.count, 1);
  EXPECT_EQ(survey.lf.count, 1) << "U+0A0A is a letter";
}

TEST_F(TextSurveyTest, AFileBeyondTheWindowIsReadOnFromItsFirstRecord) {
  std::string bytes = "a;b\n";
  for (int i = 0; i < 100000; ++i) bytes += std::to_string(i) + ";x\n";
  TextFacts& facts = Open(bytes);
  records_->GoTo(99999);
  EXPECT_EQ(facts.Survey().lf.count, 100001);
  EXPECT_EQ(records_->TextAt(0), "0");
  records_->GoTo(99999);
  EXPECT_EQ(records_->TextAt(0), "99999");
}

TEST_F(TextSurveyTest, CountsTheValuesOfALineWhateverTheColumns) {
  TextFacts& facts = Open("a;b\r\n1\r\n1;2\r\n1;2;3\r\n\"1;2\";3\r\n1;\"open\r\n");
  for (const std::size_t values : {1, 2, 3, 2, 1}) {
    EXPECT_THAT(facts.ValueCount(), Optional(Eq(values)));
    EXPECT_THAT(facts.ValueCount(), Optional(Eq(values))) << "asked again";
    records_->MoveNext();
  }
}

TEST_F(TextSurveyTest, AnEmptyLastValueCountsWhereThereIsAColumnForIt) {
  TextFacts& facts = Open("a;b;c\r\n1;2;\r\n1;2;3;\r\n1;\r\n");
  for (const std::size_t values : {3, 3, 2}) {
    EXPECT_THAT(facts.ValueCount(), Optional(Eq(values)));
    records_->MoveNext();
  }
}

TEST_F(TextSurveyTest, CountsTheValuesOfALineWithALineFeedInAValue) {
  TextFacts& facts = Open("a;b\n\"x\ny\";2\n1;2\n");
  EXPECT_THAT(facts.ValueCount(), Optional(Eq(2u)));
}

TEST_F(TextSurveyTest, SeparatorsOfMoreThanOneCharacterTellNoCount) {
  EXPECT_EQ(Open("a;;b\r\n1;;2\r\n", {true, "ANSI", ";;", "\""}).ValueCount(), std::nullopt);
}

TEST(LineEndCounter, CountsTheSameHoweverTheBytesAreCut) {
  std::mt19937 random(4711);
  for (int round = 0; round < 300; ++round) {
    std::string bytes;
    const std::size_t size = random() % 400;
    for (std::size_t i = 0; i < size; ++i) bytes += "\r\nabcd"[random() % (round % 2 == 0 ? 3 : 6)];
    std::int64_t crlf = 0, lf = 0, cr = 0;
    for (std::size_t i = 0; i < size; ++i) {
      const bool behind_cr = i > 0 && bytes[i - 1] == '\r';
      if (bytes[i] == '\n') ++(behind_cr ? crlf : lf);
      if (bytes[i] == '\r' && (i + 1 == size || bytes[i + 1] != '\n')) ++cr;
    }
    LineEndCounter counter;
    for (std::string_view rest = bytes; !rest.empty();) {
      const std::string_view piece = rest.substr(0, 1 + random() % 200);
      counter.Scan(piece);
      rest.remove_prefix(piece.size());
    }
    counter.Finish();
    EXPECT_EQ(counter.crlf().count, crlf);
    EXPECT_EQ(counter.lf().count, lf);
    EXPECT_EQ(counter.cr().count, cr);
  }
}

TEST(LineEndCounter, NothingHasNoLineEnds) {
  LineEndCounter counter;
  counter.Finish();
  EXPECT_EQ(counter.crlf().count + counter.lf().count + counter.cr().count, 0);
  EXPECT_THAT(counter.lf().places, IsEmpty());
}

}  // namespace
}  // namespace kestrel
