#include "platform/base/nearest_name.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::Optional;

TEST(EditDistance, CountsWhatIsPutInTakenOutReplacedAndSwapped) {
  EXPECT_EQ(EditDistance("", ""), 0u);
  EXPECT_EQ(EditDistance("Ort", "Ort"), 0u);
  EXPECT_EQ(EditDistance("", "Ort"), 3u);
  EXPECT_EQ(EditDistance("Ort", ""), 3u);
  EXPECT_EQ(EditDistance("Ort", "Orte"), 1u);
  EXPECT_EQ(EditDistance("Ort", "Ost"), 1u);
  EXPECT_EQ(EditDistance("Ort", "Otr"), 1u);
  EXPECT_EQ(EditDistance("Strasse", "Sträße"), 3u) << "characters count, not bytes";
}

TEST(NearestName, IsTheOneThatDiffersLeast) {
  const std::vector<std::string> names = {"Name2", "Name", "Ort", "Telefon"};
  EXPECT_THAT(NearestName("Nmae", names), Optional(Eq("Name")));
  EXPECT_THAT(NearestName("Telfon", names), Optional(Eq("Telefon")));
}

TEST(NearestName, NeitherCaseNorTheWayUmlautsAreWrittenMakesADifference) {
  const std::vector<std::string> names = {"Groesse", "Straße", "ort"};
  EXPECT_THAT(NearestName("Strasse", names), Optional(Eq("Straße")));
  EXPECT_THAT(NearestName("GRÖßE", names), Optional(Eq("Groesse")));
  EXPECT_THAT(NearestName("ORT", names), Optional(Eq("ort")));
}

TEST(NearestName, OfEquallyNearOnesTheFirstIsTaken) {
  const std::vector<std::string> names = {"Name2", "Name3"};
  EXPECT_THAT(NearestName("Name1", names), Optional(Eq("Name2")));
}

TEST(NearestName, ANameThatIsFarFromAllHasNone) {
  const std::vector<std::string> names = {"Ort", "PLZ", "", "B"};
  EXPECT_EQ(NearestName("Umsatz", names), std::nullopt);
  EXPECT_EQ(NearestName("A", names), std::nullopt) << "a third of one character is none";
  EXPECT_EQ(NearestName("", names), std::nullopt);
  EXPECT_EQ(NearestName("Ort", {}), std::nullopt);
}

TEST(NearestNames, ThoseThatDifferLeastFindEachOtherFirst) {
  const std::vector<std::string> names = {"Name1", "Name2", "Ort"};
  const std::vector<std::string> candidates = {"Plz", "Name2a", "Name3"};
  EXPECT_THAT(NearestNames(names, candidates), ElementsAre(2u, 1u, std::nullopt));
}

}  // namespace
}  // namespace kestrel
