#include "mapping/translation.h"

#include <gmock/gmock.h>

#include <random>

#include "spec/profile_access.h"
#include "support/session_fixture.h"
#include "support/write_key.h"

namespace kestrel {

void PrintTo(const TranslationRow& row, std::ostream* out) {
  *out << row.field_name << "=" << row.translate_name;
}
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;
using namespace std::string_literals;

// --- Applying ---

TEST(TranslationTableTest, AnEntryReplacesItsValue) {
  const TranslationTable table("A=1\0B=2\0"s);
  EXPECT_THAT(table.Find("A"), Optional(std::string_view("1")));
  EXPECT_THAT(table.Find("B"), Optional(std::string_view("2")));
  EXPECT_EQ(table.Find("C"), std::nullopt);
}

TEST(TranslationTableTest, AnEmptySectionTranslatesNothing) {
  const TranslationTable table("");
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(table.Find(""), std::nullopt);
  EXPECT_EQ(table.Find("A"), std::nullopt);
}

TEST(TranslationTableTest, ValuesAreComparedWithCaseAndWithoutTrimming) {
  const TranslationTable table("Köln=K\0"s);
  EXPECT_EQ(table.Find("köln"), std::nullopt);
  EXPECT_EQ(table.Find("Köln "), std::nullopt);
  EXPECT_THAT(table.Find("Köln"), Optional(std::string_view("K")));
}

TEST(TranslationTableTest, TheFirstOfTwoEqualKeysWins) {
  EXPECT_THAT(TranslationTable("A=1\0A=2\0"s).Find("A"), Optional(std::string_view("1")));
}

TEST(TranslationTableTest, AnEmptySourceValueFindsNoEntryAlthoughTheEditorWroteOne) {
  EXPECT_EQ(TranslationTable("<Empty>=X\0"s).Find(""), std::nullopt);
  EXPECT_THAT(TranslationTable("<Empty>=X\0"s).Find("<Empty>"), Optional(std::string_view("X")));
}

TEST(TranslationTableTest, AValueThatHoldsAnEqualsSignNeverMatches) {
  const TranslationTable table("A=B=C\0"s);
  EXPECT_EQ(table.Find("A=B"), std::nullopt);
  EXPECT_EQ(table.Find("A=B=C"), std::nullopt);
}

TEST(TranslationTableTest, ATranslationIsTheTextBehindTheFirstEqualsSign) {
  EXPECT_THAT(TranslationTable("A=B=C\0x=Rabatt=5%\0"s).Find("A"), Optional(std::string_view("B=C")));
  EXPECT_THAT(TranslationTable("A=B=C\0x=Rabatt=5%\0"s).Find("x"), Optional(std::string_view("Rabatt=5%")));
  EXPECT_THAT(TranslationTable("A==\0"s).Find("A"), Optional(std::string_view("=")));
}

TEST(TranslationTableTest, TheLastPieceOfASectionThatWasCutIsNotLookedAt) {
  const TranslationTable table("A=1\0B=2"s);
  EXPECT_THAT(table.Find("A"), Optional(std::string_view("1")));
  EXPECT_EQ(table.Find("B"), std::nullopt);
}

TEST(TranslationTableTest, AnEntryMayTranslateToNothing) {
  EXPECT_THAT(TranslationTable("A=\0"s).Find("A"), Optional(std::string_view("")));
}

TEST(TranslationTableTest, APieceWithoutEqualsSignIsNoEntry) {
  EXPECT_EQ(TranslationTable("A\0"s).Find("A"), std::nullopt);
}

TEST(TranslationTableTest, RandomTablesAnswerLikeAWalkThroughTheirEntries) {
  std::mt19937 random(20240307);
  std::uniform_int_distribution<int> letter('a', 'd');
  std::uniform_int_distribution<int> length(0, 4);
  const auto word = [&] {
    std::string text;
    for (int i = length(random); i > 0; --i) text.push_back(static_cast<char>(letter(random)));
    return text;
  };
  for (int round = 0; round < 200; ++round) {
    std::vector<std::pair<std::string, std::string>> entries;
    std::string section;
    for (int i = round; i > 0; --i) {
      entries.emplace_back(word(), word());
      section += entries.back().first + "=" + entries.back().second + '\0';
    }
    const TranslationTable table(section);
    for (int probe = 0; probe < 100; ++probe) {
      const std::string value = word();
      std::optional<std::string_view> expected;
      for (const auto& [key, translation] : entries) {
        if (key != value) continue;
        expected = translation;
        break;
      }
      ASSERT_EQ(table.Find(value), expected) << value << " in round " << round;
    }
  }
}

class TranslationTest : public testing::SessionFixture {
 protected:
  ProfileStore profiles;
};

TEST_F(TranslationTest, ATableIsParsedAgainOnlyWhenTheFileHasChanged) {
  UseSpecification("[Translation_Land]\nD=Deutschland\n");
  TranslationLookup lookup("Land");
  const auto image = profiles.Read(session.SpecFile);
  const std::string_view first = *lookup.Table(image).Find("D");
  EXPECT_EQ(first, "Deutschland");
  EXPECT_EQ(lookup.Table(image).Find("D")->data(), first.data());

  testing::WriteKey(profiles, session.SpecFile, "Translation_Land", "D", "Germany");
  EXPECT_THAT(lookup.Table(profiles.Read(session.SpecFile)).Find("D"), Optional(std::string_view("Germany")));
}

TEST_F(TranslationTest, AFieldWithoutSectionHasAnEmptyTable) {
  UseSpecification("[Translation_Land]\nD=Deutschland\n");
  TranslationLookup lookup("Ort");
  EXPECT_TRUE(lookup.Table(profiles.Read(session.SpecFile)).empty());
}

// --- Storage ---

TEST_F(TranslationTest, RowsShowTheStoredTranslations) {
  UseSpecification("[Translation_Land]\nD=Deutschland\n<Empty>=unbekannt\n");
  EXPECT_THAT(ReadTranslationRows(session, "Land", {"D", "", "<Empty>", "F"}),
              ElementsAre(TranslationRow{"D", "Deutschland"}, TranslationRow{"<Empty>", "unbekannt"},
                          TranslationRow{"<Empty>", "unbekannt"}, TranslationRow{"F", ""}));
}

TEST_F(TranslationTest, ATranslationIsCutAt255Characters) {
  std::string umlauts;
  for (int i = 0; i < 300; ++i) umlauts += "ä";
  UseSpecification("");
  WriteTranslationRows(session, "Land", {{"D", umlauts}});
  EXPECT_EQ(ReadTranslationRows(session, "Land", {"D"})[0].translate_name, umlauts.substr(0, 2 * 255));
}

TEST_F(TranslationTest, RowsAreWrittenUnderTheirSourceValue) {
  UseSpecification("[Common]\nProvider=Textdatei\n");
  WriteTranslationRows(session, "Land", {{"D", "Deutschland"}, {"", "unbekannt"}, {"F", ""}});
  EXPECT_EQ(GetIniSection(*profiles.Read(session.SpecFile), "Translation_Land"),
            "D=Deutschland\0<Empty>=unbekannt\0"s);
  EXPECT_EQ(GetIniString(session.SpecFile, "Common", "Provider", ""), "Textdatei");
}

TEST_F(TranslationTest, AnEmptySourceValueIsStoredUnderItsOwnKey) {
  UseSpecification("");
  WriteTranslationRows(session, "Land", {{"<Empty>", "unbekannt"}});
  EXPECT_EQ(GetIniString(session.SpecFile, "Translation_Land", "<Empty>", ""), "unbekannt");
}

TEST_F(TranslationTest, EditingAValueTwiceOverwritesItsEntry) {
  UseSpecification("");
  WriteTranslationRows(session, "Land", {{"D", "Deutschland"}});
  WriteTranslationRows(session, "Land", {{"D", "Germany"}});
  EXPECT_EQ(GetIniSection(*profiles.Read(session.SpecFile), "Translation_Land"), "D=Germany\0"s);
}

TEST_F(TranslationTest, ClearingATranslationLeavesTheOldEntry) {
  UseSpecification("[Translation_Land]\nD=Deutschland\n");
  WriteTranslationRows(session, "Land", {{"D", ""}});
  EXPECT_EQ(GetIniSection(*profiles.Read(session.SpecFile), "Translation_Land"), "D=Deutschland\0"s);
}

TEST_F(TranslationTest, AFieldWhoseSwitchIsOffIsStillShownAndSaved) {
  UseSpecification("[FieldTranslation]\nLand=0\n[Translation_Land]\nD=Deutschland\n");
  EXPECT_THAT(ReadTranslationRows(session, "Land", {"D"}), ElementsAre(TranslationRow{"D", "Deutschland"}));
  WriteTranslationRows(session, "Land", {{"D", "Germany"}});
  EXPECT_EQ(GetIniString(session.SpecFile, "Translation_Land", "D", ""), "Germany");
  EXPECT_EQ(GetIniString(session.SpecFile, "FieldTranslation", "Land", ""), "0");
}

TEST_F(TranslationTest, WritingWhatStandsThereLeavesTheFileUntouched) {
  UseSpecification("[Translation_Land]\nD = Deutschland\n");
  const auto image = profiles.Read(session.SpecFile);
  const std::string before = testing::ReadBytes(session.SpecFile);
  WriteTranslationRows(session, "Land", {{"D", "Deutschland"}});
  EXPECT_EQ(testing::ReadBytes(session.SpecFile), before);
}

TEST_F(TranslationTest, ATranslationStoredInQuotesIsReplacedByTheOneWithout) {
  UseSpecification("[Translation_Land]\nD=\"Deutschland\"\n");
  WriteTranslationRows(session, "Land", {{"D", "Deutschland"}});
  EXPECT_EQ(GetIniSection(*profiles.Read(session.SpecFile), "Translation_Land"), "D=Deutschland\0"s);
}

}  // namespace
}  // namespace kestrel
