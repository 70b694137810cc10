// The look-up where it is known which rows it would find.
#include <gmock/gmock.h>

#include "duplicates/duplicate_fixture.h"
#include "platform/data/coming_lookups.h"

namespace kestrel {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

class ForeseenRows : public testing::DuplicateFixture {
 protected:
  ForeseenRows() {
    connection->attachments()
        .Of<ComingLookUps>(*connection)
        .Want(
            1, [](std::span<const std::string>) {}, [this](std::span<const SoughtValue>) { return Rows(); });
    build_key = [](const std::string& code, const std::string&) { return code; };
  }
  ComingLookUps::Rows Rows() const { return are_known ? ComingLookUps::Rows(rows) : std::nullopt; }
  bool Ask(const std::string& number = "7") {
    match.Clear();
    return duplicates.CheckDoublett(*Record({{"KundenNummer", number}, {"PLZ", "50667"}}), &match);
  }

  bool are_known = true;
  std::vector<FoundAddress> rows;
  DuplicateMatch match;
};

}  // namespace

TEST_F(ForeseenRows, SpareTheQuery) {
  EXPECT_FALSE(Ask());
  rows = {{1, "5", {"x", "A2", "A3"}}, {1, "6", {"A1", "", ""}}};
  EXPECT_TRUE(Ask());
  EXPECT_EQ(match.reference, "5");
  EXPECT_EQ(match.key, 2);
  EXPECT_EQ(match.address_type, 1);
  EXPECT_THAT(connection->statements, IsEmpty());
}

TEST_F(ForeseenRows, OfOtherTypesAreNoDuplicates) {
  rows = {{8, "5", {"A1", "A2", "A3"}}, {3, "6", {"A1", "A2", "A3"}}};
  EXPECT_FALSE(Ask());
  UseSettings("DublettenPruefen=1\nAddresstypeCode=9\nDublettenKey1=1\n");
  EXPECT_TRUE(Ask());
  EXPECT_EQ(match.reference, "5");
}

TEST_F(ForeseenRows, LeaveOutTheRecordItselfWhereItMayBeOverwritten) {
  rows = {{1, "7", {"A1", "A2", "A3"}}};
  EXPECT_TRUE(Ask("7"));
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nKundenUeberschreiben=1\n");
  EXPECT_FALSE(Ask("7"));
  EXPECT_TRUE(Ask("8"));
}

TEST_F(ForeseenRows, ThatAreNotKnownAreLookedFor) {
  Index(1, "5", "A1");
  are_known = false;
  EXPECT_TRUE(Ask());
  EXPECT_THAT(connection->statements, SizeIs(1));
}

TEST_F(ForeseenRows, SpareNoQueryThatAReferenceMakesAnotherOne) {
  EXPECT_FALSE(Ask("x' OR '1' = '1"));
  EXPECT_THAT(connection->statements, SizeIs(1));
}

TEST_F(ForeseenRows, SpareNoQueryWithoutKeys) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\n");
  EXPECT_FALSE(Ask());
  EXPECT_THAT(connection->statements, SizeIs(1));
  EXPECT_THAT(ui.boxes, SizeIs(1));
}

}  // namespace kestrel
