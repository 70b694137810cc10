#include <gmock/gmock.h>

#include "mapping/translation.h"
#include "support/session_fixture.h"
#include "support/source_kind_names.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class DistinctValuesTest : public testing::SessionFixture {
 protected:
  void UseTextFile(const std::string& content) {
    session.Provider = kTextSource;
    session.FileName = folder.Write("source.txt", content);
    session.ColumnHeadings = true;
    session.FileFormat = "ANSI";
    session.Delimiter = ";";
    session.TextRecognition = "\"";
  }
};

TEST_F(DistinctValuesTest, EveryValueOnceInOrderOfAppearance) {
  UseTextFile("Name;Land\r\na;D\r\nb;A\r\nc;D\r\nd;d\r\n");
  const DistinctValues distinct = CollectDistinctValues(session, "Land");
  EXPECT_THAT(distinct.values, ElementsAre("D", "A", "d"));
  EXPECT_FALSE(distinct.cut);
}

TEST_F(DistinctValuesTest, EmptyValuesAreShownByTheirMark) {
  UseTextFile("Name;Land\r\na;\r\nb;D\r\nc;\r\nd;<Empty>\r\n");
  EXPECT_THAT(CollectDistinctValues(session, "Land").values, ElementsAre("<Empty>", "D"));
}

TEST_F(DistinctValuesTest, AColumnThatTheSourceLacksHasNone) {
  UseTextFile("Name;Land\r\na;D\r\n");
  EXPECT_THAT(CollectDistinctValues(session, "land").values, IsEmpty());
}

TEST_F(DistinctValuesTest, ASourceWithoutRecordsHasNone) {
  UseTextFile("Name;Land\r\n");
  EXPECT_THAT(CollectDistinctValues(session, "Land").values, IsEmpty());
}

TEST_F(DistinctValuesTest, AMissingSourceHasNoneAndTellsSoOnce) {
  UseTextFile("Name;Land\r\n");
  session.FileName = folder.File("fehlt.txt");
  EXPECT_THAT(CollectDistinctValues(session, "Land").values, IsEmpty());
  EXPECT_THAT(ui.boxes, SizeIs(1));
}

TEST_F(DistinctValuesTest, TheListStopsAtItsLimit) {
  std::string content = "Name;Land\r\n";
  for (std::size_t i = 0; i < kMaxDistinctValues; ++i) content += "x;" + std::to_string(i) + "\r\n";
  UseTextFile(content);
  EXPECT_FALSE(CollectDistinctValues(session, "Land").cut);
  UseTextFile(content + "x;0\r\nx;neu\r\n");
  const DistinctValues distinct = CollectDistinctValues(session, "Land");
  EXPECT_THAT(distinct.values, SizeIs(kMaxDistinctValues));
  EXPECT_TRUE(distinct.cut);
}

}  // namespace
}  // namespace kestrel
