// The first records of a source, read apart from the session.
#include "sources/source_excerpt.h"

#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "sources/source_count.h"
#include "sources/source_kind.h"
#include "support/dbf_writer.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class SourceExcerptTest : public testing::SessionFixture {
 protected:
  void UseText(const std::string& content) {
    session.Provider = "Textdatei";
    session.FileName = folder.Write("quelle.txt", content);
    session.Delimiter = ";";
    session.ColumnHeadings = true;
  }
  // In another thread, as a page does it.
  SourceExcerpt Take(std::size_t most) {
    std::packaged_task<SourceExcerpt()> task(BeginExcerpt(session, most));
    std::future<SourceExcerpt> sample = task.get_future();
    std::thread(std::move(task)).join();
    return sample.get();
  }
  static std::vector<std::string> Texts(const SourceExcerpt& sample, std::size_t column) {
    std::vector<std::string> texts;
    for (const auto& record : sample.records) texts.push_back(record[column].text);
    return texts;
  }
};

TEST_F(SourceExcerptTest, HoldsTheFirstRecordsOfATextFile) {
  UseText("Name;Ort\r\na;Köln\r\nb;Ulm\r\nc;Bonn\r\n");
  const SourceExcerpt sample = Take(2);
  EXPECT_THAT(sample.columns, ElementsAre("Name", "Ort"));
  EXPECT_THAT(Texts(sample, 1), ElementsAre("Köln", "Ulm"));
  EXPECT_EQ(sample.failure, "");
  EXPECT_EQ(session.SourceRecordset, nullptr);
}

TEST_F(SourceExcerptTest, OfAnEmptySourceThereAreTheColumns) {
  UseText("Name;Ort\r\n");
  const SourceExcerpt sample = Take(2);
  EXPECT_THAT(sample.columns, ElementsAre("Name", "Ort"));
  EXPECT_THAT(sample.records, IsEmpty());
}

TEST_F(SourceExcerptTest, ReadsATableByAConnectionOfItsOwn) {
  testing::DbfWriter table({{.name = "NAME"}, {.name = "NR", .type = 'N', .length = 5}});
  table.Add({"Anna", "12"});
  table.Add({"Bert", "xx"});
  folder.Write("KUNDEN.DBF", table.Bytes());
  session.Provider = "dBase-Datenbank";
  session.Database = folder.path();
  session.Table = "KUNDEN";
  const SourceExcerpt sample = Take(5);
  EXPECT_EQ(sample.failure, "");
  EXPECT_THAT(Texts(sample, 0), ElementsAre("Anna", "Bert"));
  EXPECT_EQ(session.SourceConnection, nullptr);
}

TEST_F(SourceExcerptTest, TellsWhyASourceCannotBeRead) {
  UseText("Name;Ort\r\n");
  session.FileName = folder.File("weg.txt");
  EXPECT_THAT(Take(2).failure, HasSubstr("weg.txt"));
  session.Provider = "dBase-Datenbank";
  EXPECT_THAT(Take(2).failure, Not(IsEmpty()));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(SourceExcerptTest, KeepsTheBeginningOfAVeryLongValue) {
  UseText("Name;Ort\r\n" + std::string(2 * kExcerptCharacters, 'x') + ";y\r\n");
  EXPECT_EQ(Take(1).records[0][0].text.size(), kExcerptCharacters);
}

TEST_F(SourceExcerptTest, OfASourceThatIsBeingDescribedItConnectsWithWhatWasTyped) {
  testing::DbfWriter table({{.name = "NAME"}});
  table.Add({"Anna"});
  table.Add({"Bert"});
  folder.Write("KUNDEN.DBF", table.Bytes());
  session.Provider = "dBase-Datenbank";
  session.Table = "KUNDEN";
  const SourceExcerpt sample = BeginGlimpse(session, {.database = folder.path()}, 1)();
  EXPECT_EQ(sample.failure, "");
  EXPECT_THAT(Texts(sample, 0), ElementsAre("Anna"));
  EXPECT_EQ(session.SourceConnection, nullptr);
  session.Table = "FEHLT";
  EXPECT_THAT(BeginGlimpse(session, {.database = folder.path()}, 1)().failure, HasSubstr("FEHLT"));
}

TEST_F(SourceExcerptTest, IsReadWithTheSettingsOfTheTimeItWasBegun) {
  UseText("Name;Ort\r\na;Köln\r\n");
  for (const ExcerptReading& reading : {BeginExcerpt(session, 2), BeginGlimpse(session, {}, 2)}) {
    session.Delimiter = ",";
    EXPECT_THAT(reading().columns, ElementsAre("Name", "Ort"));
    session.Delimiter = ";";
  }
}

TEST_F(SourceExcerptTest, MayBeReadWhenTheHostsKindsOfSourcesHaveGone) {
  auto kinds = std::make_unique<SourceKinds>();
  SourceKind own = *kinds->Find("Textdatei");
  own.name = "Eigene";
  own.beginning = nullptr;
  kinds->Add(own);
  auto of_host = std::make_unique<Session>(Platform{ui, components, clock, kinds.get()});
  of_host->Provider = "Eigene";
  of_host->FileName = folder.Write("quelle.txt", "Name;Ort\r\na;Köln\r\nb;Ulm\r\n");
  of_host->Delimiter = ";";
  of_host->ColumnHeadings = true;
  const ExcerptReading excerpt = BeginExcerpt(*of_host, 2);
  const ExcerptReading glimpse = BeginGlimpse(*of_host, {}, 2);
  const SourceCounting counting = CountingOf(*of_host);
  of_host.reset();
  kinds.reset();
  EXPECT_THAT(Texts(excerpt(), 1), ElementsAre("Köln", "Ulm"));
  EXPECT_THAT(Texts(glimpse(), 1), ElementsAre("Köln", "Ulm"));
  EXPECT_EQ(counting(), 2);
}

TEST_F(SourceExcerptTest, OfAnUnknownKindSaysSo) {
  session.Provider = "Unbekannt";
  EXPECT_THAT(Take(2).failure, HasSubstr("Unbekannt"));
  EXPECT_THAT(BeginGlimpse(session, {}, 2)().failure, HasSubstr("Unbekannt"));
}

TEST_F(SourceExcerptTest, IsARecordSetWithTheErrorsOfItsValues) {
  const SourceExcerpt sample{
      {"A", "B"}, {{{.text = "1"}, {.unreadable = RuntimeError(4711, "kaputt")}}, {{.text = "2"}, {}}}, ""};
  const RecordsetPtr records = RecordsOf(sample);
  EXPECT_EQ(records->RecordCount(), 2);
  EXPECT_EQ(records->TextAt(0), "1");
  EXPECT_THROW(records->TextAt(1), RuntimeError);
  records->MoveNext();
  EXPECT_EQ(records->TextAt(1), "");
  records->MoveNext();
  EXPECT_TRUE(records->IsEof());
  EXPECT_THROW(records->GoTo(2), RuntimeError);
  EXPECT_THROW(records->TextAt(0), RuntimeError);
  EXPECT_THROW(records->MoveNext(), RuntimeError);
  records->GoTo(0);
  EXPECT_EQ(records->TextAt(0), "1");
}

}  // namespace
}  // namespace kestrel
