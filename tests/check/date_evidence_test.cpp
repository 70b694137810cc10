#include "check/date_evidence.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string_view>

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

DateEvidence Of(std::string_view chosen, std::initializer_list<std::string_view> values) {
  DateEvidence evidence(FindDatePattern(chosen));
  for (const std::string_view value : values) evidence.Look(value);
  return evidence;
}

TEST(DateEvidence, TellsWhetherAValueIsADayInTheChosenFormat) {
  DateEvidence evidence(FindDatePattern("tt.mm.jjjj"));
  EXPECT_TRUE(evidence.Look("31.12.2024"));
  EXPECT_FALSE(evidence.Look("2024.12.31"));
  EXPECT_FALSE(evidence.Look("31.02.2024"));
  EXPECT_FALSE(DateEvidence(nullptr).Look("31.12.2024")) << "no format is chosen";
}

TEST(DateEvidence, FindsTheFormatsThatAllValuesFit) {
  EXPECT_THAT(Of("tt.mm.jjjj", {"2024.12.31", "2024.01.02"}).FitAll(), ElementsAre("jjjj.mm.tt"));
  EXPECT_THAT(Of("", {"31.12.2024", "01.02.2024"}).FitAll(), ElementsAre("tt.mm.jjjj"));
  EXPECT_THAT(Of("", {"31122024"}).FitAll(), ElementsAre("ttmmjjjj"));
  EXPECT_THAT(Of("", {"991231"}).FitAll(), ElementsAre("jjmmtt"));
}

TEST(DateEvidence, OneValueThatDoesNotFitIsEnough) {
  const DateEvidence evidence = Of("tt.mm.jjjj", {"31.12.2024", "30.11.2023", "unbekannt"});
  EXPECT_THAT(evidence.FitAll(), IsEmpty());
  EXPECT_EQ(evidence.BestFormat(), "tt.mm.jjjj");
  EXPECT_EQ(evidence.BestFits(), 2);
  EXPECT_EQ(evidence.values(), 3);
}

TEST(DateEvidence, NoValuesFitNothing) {
  EXPECT_THAT(Of("tt.mm.jjjj", {}).FitAll(), IsEmpty());
  EXPECT_EQ(Of("tt.mm.jjjj", {}).BestFits(), 0);
  EXPECT_FALSE(Of("tt.mm.jjjj", {}).DayCouldBeMonth());
}

TEST(DateEvidence, FormatsThatFitTooAndGiveOtherDaysAreRivals) {
  EXPECT_THAT(Of("tt.mm.jj", {"01.02.03", "04.05.06"}).Rivals(), ElementsAre("jj.mm.tt"));
  EXPECT_THAT(Of("jjmmtt", {"010203"}).Rivals(), ElementsAre("ttmmjj"));
}

TEST(DateEvidence, FormatsThatGiveTheSameDaysOrDoNotFitAllAreNoRivals) {
  EXPECT_THAT(Of("tt.mm.jj", {"03.02.03"}).Rivals(), IsEmpty()) << "the same day either way";
  EXPECT_THAT(Of("tt.mm.jj", {"01.02.03", "04.05.99"}).Rivals(), IsEmpty()) << "there is no day 99";
  EXPECT_THAT(Of("tt.mm.jjjj", {"2024.12.31"}).Rivals(), IsEmpty()) << "the chosen one does not fit itself";
}

TEST(DateEvidence, WithoutADayAbove12DayAndMonthCouldBeSwapped) {
  EXPECT_TRUE(Of("tt.mm.jjjj", {"01.02.2024", "12.11.2023"}).DayCouldBeMonth());
  EXPECT_FALSE(Of("tt.mm.jjjj", {"01.02.2024", "13.11.2023"}).DayCouldBeMonth());
  EXPECT_FALSE(Of("tt.mm.jjjj", {"01.01.2024", "02.02.2024"}).DayCouldBeMonth()) << "it makes no difference";
}

}  // namespace
}  // namespace kestrel
