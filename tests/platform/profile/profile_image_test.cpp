// What the bytes of a profile file mean.
#include <gmock/gmock.h>

#include <string>
#include <string_view>

#include "platform/profile/profile.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

std::vector<std::string> EntriesOf(const ProfileImage& image, std::string_view section) {
  std::vector<std::string> lines;
  if (const ProfileImage::Section* found = image.FindSection(section)) {
    for (const ProfileImage::Entry& entry : found->entries) lines.push_back(entry.key + "|" + entry.value);
  }
  return lines;
}

TEST(ProfileImage, ComparesSectionsAndKeysWithoutCase) {
  const ProfileImage image("[Common]\r\nDescription=Kunden\r\n");
  EXPECT_THAT(image.Find("COMMON", "description"), Optional(std::string_view("Kunden")));
  EXPECT_EQ(image.Find("Common", "Other"), std::nullopt);
  EXPECT_EQ(image.Find("Other", "Description"), std::nullopt);
}

TEST(ProfileImage, ComparesUmlautsWithoutCaseToo) {
  const ProfileImage image(
      "[\xDC"
      "bersetzung]\r\nGr\xF6\xDF"
      "e=5\r\n");  // Windows-1252
  EXPECT_THAT(image.Find("übersetzung", "GRÖßE"), Optional(std::string_view("5")));
}

TEST(ProfileImage, TakesTheFirstOfEqualKeys) {
  const ProfileImage image("[S]\nKey=1\nKEY=2\n");
  EXPECT_THAT(image.Find("S", "key"), Optional(std::string_view("1")));
}

TEST(ProfileImage, TakesTheFirstOfEqualSections) {
  const ProfileImage image("[S]\nA=1\n[s]\nA=2\nB=3\n");
  EXPECT_THAT(image.Find("S", "A"), Optional(std::string_view("1")));
  EXPECT_EQ(image.Find("S", "B"), std::nullopt);
}

TEST(ProfileImage, TrimsBlanksAndTabsAroundSectionsKeysAndValues) {
  const ProfileImage image("  [ \tS ]  \n \tKey\t = \t a value \t\n");
  EXPECT_THAT(image.Find("S", "Key"), Optional(std::string_view("a value")));
  EXPECT_THAT(image.Find(" S ", " Key\t"), Optional(std::string_view("a value")));
}

TEST(ProfileImage, StripsOnePairOfQuotesWhenReadByKey) {
  const ProfileImage image("[S]\nA=\" x \"\nB=' y '\nC=\"\"z\"\"\nD=\"\"\n");
  EXPECT_THAT(image.Find("S", "A"), Optional(std::string_view(" x ")));
  EXPECT_THAT(image.Find("S", "B"), Optional(std::string_view(" y ")));
  EXPECT_THAT(image.Find("S", "C"), Optional(std::string_view("\"z\"")));
  EXPECT_THAT(image.Find("S", "D"), Optional(std::string_view("")));
}

TEST(ProfileImage, KeepsALoneQuoteAndQuotesThatAreNoPair) {
  const ProfileImage image("[S]\nA=\"\nB='\nC=\"x'\nD=\"x\n");
  EXPECT_THAT(image.Find("S", "A"), Optional(std::string_view("\"")));
  EXPECT_THAT(image.Find("S", "B"), Optional(std::string_view("'")));
  EXPECT_THAT(image.Find("S", "C"), Optional(std::string_view("\"x'")));
  EXPECT_THAT(image.Find("S", "D"), Optional(std::string_view("\"x")));
}

TEST(ProfileImage, SectionReadKeepsQuotesAndLeavesOutCommentsAndLinesWithoutEquals) {
  const ProfileImage image("[S]\r\n; a=comment\r\nA=\"x\"\r\nno entry\r\n\r\n  ;b=comment\r\nB = 'y' \r\n");
  EXPECT_THAT(EntriesOf(image, "s"), ElementsAre("A|\"x\"", "B|'y'"));
}

TEST(ProfileImage, CutsAnEntryAtItsFirstEquals) {
  const ProfileImage image("[S]\na=b=c\n=without key\n");
  EXPECT_THAT(EntriesOf(image, "S"), ElementsAre("a|b=c", "|without key"));
}

TEST(ProfileImage, EndsLinesAtCrLfAtLfAndAtCr) {
  const ProfileImage image("[S]\r\nA=1\nB=2\rC=3");
  EXPECT_THAT(EntriesOf(image, "S"), ElementsAre("A|1", "B|2", "C|3"));
}

TEST(ProfileImage, ListsAllSectionsInFileOrder) {
  const ProfileImage image("Lost=1\n[B]\n[A]\nx=1\n[b]\n");
  std::vector<std::string> names;
  for (const ProfileImage::Section& section : image.Sections()) names.push_back(section.name);
  EXPECT_THAT(names, ElementsAre("B", "A", "b"));
}

TEST(ProfileImage, ReadsASectionNameUpToTheLastBracket) {
  const ProfileImage image("[Translation_Art[1]] behind\nA=1\n[unclosed\nB=2\n[x=y\n");
  EXPECT_THAT(EntriesOf(image, "Translation_Art[1]"), ElementsAre("A|1", "B|2", "[x|y"));
}

TEST(ProfileImage, ANulEndsTheTextOfItsLine) {
  const ProfileImage image(std::string_view("[S]\nA=1\0rest\nB\0=2\nC=3\n", 23));
  EXPECT_THAT(EntriesOf(image, "S"), ElementsAre("A|1", "C|3"));
}

TEST(ProfileImage, ReadsWindows1252) {
  const ProfileImage image("[S]\nName=M\xFCller \x80 \x84x\x93\n");
  EXPECT_THAT(image.Find("S", "Name"), Optional(std::string_view("Müller € „x“")));
}

TEST(ProfileImage, ReadsUtf8WithoutAMark) {
  const ProfileImage image("[S]\nName=Müller €\n");
  EXPECT_THAT(image.Find("S", "Name"), Optional(std::string_view("Müller €")));
}

TEST(ProfileImage, ReadsUtf8WithAMark) {
  const ProfileImage image("\xEF\xBB\xBF[S]\nName=Müller\n");
  EXPECT_THAT(image.Find("S", "Name"), Optional(std::string_view("Müller")));
}

TEST(ProfileImage, ReadsUtf16OfEitherByteOrder) {
  const std::string_view little("\xFF\xFE[\0S\0]\0\n\0A\0=\0\xFC\0", 16);
  EXPECT_THAT(ProfileImage(little).Find("S", "A"), Optional(std::string_view("ü")));
  const std::string_view big("\xFE\xFF\0[\0S\0]\0\n\0A\0=\0\xFC", 16);
  EXPECT_THAT(ProfileImage(big).Find("S", "A"), Optional(std::string_view("ü")));
}

TEST(ProfileImage, OneByteThatIsNoUtf8MakesTheFileWindows1252) {
  const ProfileImage image("[S]\nA=ü\nB=\xFC\n");
  EXPECT_THAT(image.Find("S", "B"), Optional(std::string_view("ü")));
  EXPECT_THAT(image.Find("S", "A"), Optional(std::string_view("Ã¼"))) << "the bytes of a UTF-8 ü, read as ANSI";
}

TEST(ProfileImage, AnEmptyFileHoldsNothing) {
  EXPECT_TRUE(ProfileImage("").Sections().empty());
  EXPECT_TRUE(ProfileImage().Sections().empty());
  EXPECT_EQ(ProfileImage().Find("S", "A"), std::nullopt);
}

}  // namespace
}  // namespace kestrel
