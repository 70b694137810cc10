#include "platform/data/connection_string.h"

#include <gmock/gmock.h>

#include "kestrel/open_connection.h"
#include "support/expect_error.h"

namespace kestrel {

TEST(ConnectionKeys, KeysAreFoundWithoutRegardToCaseAndBlanks) {
  const ConnectionKeys keys(" Provider = SQLite ;Data Source= C:\\Daten\\host.db ; ");
  EXPECT_EQ(keys.Get("provider"), "SQLite");
  EXPECT_EQ(keys.Get("DATA SOURCE"), "C:\\Daten\\host.db");
  EXPECT_EQ(keys.Find("Mode"), std::nullopt);
  EXPECT_EQ(keys.Get("Mode"), "");
}

TEST(ConnectionKeys, OfEqualKeysTheLastCounts) { EXPECT_EQ(ConnectionKeys("a=1;A=2").Get("a"), "2"); }

TEST(ConnectionKeys, BracesAndQuotesHoldSemicolons) {
  const ConnectionKeys keys("Driver={Microsoft Excel Driver (*.xls)};Pwd={a;}}b};x=\"1;\"\"2\";y='it''s';z=5");
  EXPECT_EQ(keys.Get("Driver"), "Microsoft Excel Driver (*.xls)");
  EXPECT_EQ(keys.Get("Pwd"), "a;}b");
  EXPECT_EQ(keys.Get("x"), "1;\"2");
  EXPECT_EQ(keys.Get("y"), "it's");
  EXPECT_EQ(keys.Get("z"), "5");
}

TEST(ConnectionKeys, EmptyValuesAndPiecesWithoutEqualsSign) {
  const ConnectionKeys keys("Pwd=;plain;User=sa;=7;rest");
  EXPECT_EQ(keys.Find("Pwd"), "");
  EXPECT_EQ(keys.Get("User"), "sa");
  EXPECT_EQ(keys.Find("plain"), std::nullopt);
  EXPECT_EQ(keys.Find(""), std::nullopt);
}

TEST(ConnectionKeys, AValueThatIsNotClosedEndsWithTheText) {
  EXPECT_EQ(ConnectionKeys("a={x;y").Get("a"), "x;y");
  EXPECT_EQ(ConnectionKeys("a='").Get("a"), "");
  EXPECT_EQ(ConnectionKeys("a=").Find("a"), "");
}

TEST(OpenConnection, AnUnknownProviderIsNamedButNoOtherKey) {
  EXPECT_ERROR_TEXT(
      OpenConnection("Provider=Abakus;Pwd=geheim"), ErrorNumber::kProviderNotFound,
      ::testing::AllOf(::testing::HasSubstr("Abakus"), ::testing::Not(::testing::HasSubstr("geheim"))));
  EXPECT_ERROR(OpenConnection(""), ErrorNumber::kProviderNotFound);
}

}  // namespace kestrel
