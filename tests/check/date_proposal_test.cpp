// The date format that the values of a column fit.
#include "check/date_proposal.h"

#include <gmock/gmock.h>

#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

DateProposal Of(std::vector<std::string_view> values) { return ProposeDateFormat(values); }

TEST(DateProposalTest, IsTheFormatThatAllValuesFit) {
  const DateProposal proposal = Of({"24.12.2023", "", "01.02.2024", "  "});
  EXPECT_THAT(proposal.formats, ElementsAre("tt.mm.jjjj"));
  EXPECT_FALSE(proposal.day_could_be_month);
  EXPECT_THAT(Of({"20231224"}).formats, ElementsAre("jjjjmmtt"));
}

TEST(DateProposalTest, IsNoneWhereAValueFitsNoneOrNothingIsThere) {
  EXPECT_THAT(Of({"24.12.2023", "unbekannt"}).formats, IsEmpty());
  EXPECT_THAT(Of({"", " "}).formats, IsEmpty());
  EXPECT_THAT(Of({}).formats, IsEmpty());
}

TEST(DateProposalTest, NamesAllThatFitWhereTheValuesDoNotTell) {
  EXPECT_THAT(Of({"01.02.03", "04.05.06"}).formats, ElementsAre("tt.mm.jj", "jj.mm.tt"));
  EXPECT_THAT(Of({"01.02.03", "24.05.06", "99.01.24"}).formats, ElementsAre("jj.mm.tt"));
}

class DateProposalOfAColumn : public testing::SessionFixture {};

TEST_F(DateProposalOfAColumn, LooksAtWhatTheTranslationMakesOfTheValues) {
  UseSpecification("[Translation_Seit]\nalt=31.12.1999\n");
  const SourceExcerpt excerpt{{"Nr", "Seit"}, {{{"1"}, {"alt"}}, {{"2"}, {"24.12.2023"}}}, ""};
  EXPECT_THAT(ProposeDateFormat(session, "Seit", excerpt, 1).formats, ElementsAre("tt.mm.jjjj"));
  const DateProposal untranslated = ProposeDateFormat(session, "", excerpt, 1);
  EXPECT_THAT(untranslated.formats, IsEmpty());
  EXPECT_TRUE(untranslated.has_values);
}

TEST(DateProposalTest, SaysWhereNoDayIsAbove12) {
  EXPECT_TRUE(Of({"01.02.2024", "03.04.2024"}).day_could_be_month);
  EXPECT_FALSE(Of({"01.02.2024", "13.04.2024"}).day_could_be_month);
  EXPECT_FALSE(Of({"01.01.2024"}).day_could_be_month);
}

}  // namespace
}  // namespace kestrel
