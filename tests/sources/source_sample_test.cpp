// The first records of a source, read apart from the session.
#include "sources/source_sample.h"

#include <gmock/gmock.h>

#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;

class SourceSampleTest : public testing::SessionFixture {
 protected:
  SourceSampleTest() {
    session.Provider = "Textdatei";
    session.Delimiter = ";";
    session.FileFormat = "ANSI";
    session.ColumnHeadings = true;
  }
  SourceSample Read(std::size_t most = 20) const {
    return BeginSample(session, SessionInputs(session), most)();
  }
};

TEST_F(SourceSampleTest, HoldsTheColumnsAndTheFirstRecords) {
  session.FileName = folder.Write("k.txt", "Name;Ort\nBeck;Ulm\nMüller;Köln\nGroß;Hof\n");
  const SourceSample sample = Read(2);
  ASSERT_NE(sample.records, nullptr);
  EXPECT_EQ(sample.records->RecordCount(), 2);
  EXPECT_EQ(sample.records->ColumnName(1), "Ort");
  sample.records->GoTo(1);
  EXPECT_EQ(sample.records->TextAt(0), "Müller");
  EXPECT_EQ(sample.reason, "");
}

TEST_F(SourceSampleTest, IsReadWithTheSettingsOfTheTimeItWasBegun) {
  session.FileName = folder.Write("k.txt", "Name;Ort\nBeck;Ulm\n");
  const SampleReading reading = BeginSample(session, {}, 20);
  session.Delimiter = ",";
  session.FileName = "/x";
  EXPECT_EQ(reading().records->ColumnCount(), 2u);
}

TEST_F(SourceSampleTest, LongValuesAreCut) {
  session.FileName = folder.Write("k.txt", "Name\n" + std::string(100'000, 'x') + "\n");
  const SourceSample sample = Read();
  sample.records->MoveFirst();
  EXPECT_EQ(sample.records->TextAt(0).size(), kSampleCharacters);
}

TEST_F(SourceSampleTest, ASourceThatFailsSaysWhy) {
  session.FileName = folder.File("fehlt.txt");
  EXPECT_EQ(Read().records, nullptr);
  EXPECT_THAT(Read().reason, HasSubstr("fehlt.txt"));
  session.Provider = "dBase-Datenbank";
  session.Database = folder.path();
  session.Table = "FEHLT";
  EXPECT_EQ(Read().records, nullptr);
  EXPECT_THAT(Read().reason, HasSubstr("FEHLT"));
}

TEST_F(SourceSampleTest, AConnectionOfItsOwnReadsTheTable) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the public test files are not there";
  session.Provider = "dBase-Datenbank";
  session.Database = testing::TestDataFolder() + "/dbf";
  session.Table = "KUNDEN_c1252";
  const SourceSample sample = Read(3);
  ASSERT_NE(sample.records, nullptr) << sample.reason;
  EXPECT_EQ(sample.records->RecordCount(), 3);
  EXPECT_EQ(session.SourceConnection, nullptr);
}

TEST_F(SourceSampleTest, AnUnknownKindHasNone) {
  session.Provider = "Unbekannt";
  EXPECT_FALSE(BeginSample(session, {}, 20));
}

}  // namespace
}  // namespace kestrel
