// Copies that were cut short: what can be read is read, and what is missing is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/base/file.h"
#include "platform/data/providers/access/access_connection.h"
#include "support/access_sample.h"
#include "support/jet_builder.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;
using testing::JetBuilder;
using testing::Le32;

constexpr std::size_t kPage = 4096;
constexpr std::uint32_t kRows = 1000;

// A table whose rows take many pages, behind all else but its memos.
std::string LongTable() {
  JetBuilder builder;
  const auto table = builder.AddTable("Kunden", {{"Nr", 4, 4}, {"Name"}});
  for (std::uint32_t i = 0; i < kRows; ++i)
    builder.AddRow(table, {Le32(i), builder.Text(std::string(100, 'x'))});
  builder.AddQuery("Alle", {{1, 1}, {5, {}, "", "Kunden"}, {6, 0, "Kunden.Nr"}});
  builder.AddQuery("Zahl", {{1, 1}, {5, {}, "", "Kunden"}, {6, 0, "Count(Kunden.Nr)", "n"}});
  return builder.Build();
}

access::AccessConnection Connect(std::string_view bytes) {
  return access::AccessConnection(access::Database(std::string(bytes), std::string_view(), "/tmp/kunden.mdb"));
}

// What a walk from the first record to the end finds.
struct Walk {
  std::int64_t records = 0;
  std::string error;  // of the move that found no further one
};

Walk WalkThrough(Recordset& rows) {
  Walk walk;
  while (!rows.IsEof()) {
    EXPECT_FALSE(rows.BrokenOff());
    EXPECT_NO_THROW(rows.TextAt(0));
    ++walk.records;
    try {
      rows.MoveNext();
    } catch (const RuntimeError& error) {
      walk.error = error.Description();
    }
  }
  return walk;
}

TEST(CutAccessFile, DeliversWhatIsThereAndThenBreaksOff) {
  const std::string whole = LongTable();
  const std::size_t length = 20 * kPage + 17;
  access::AccessConnection connection = Connect(std::string_view(whole).substr(0, length));
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From Kunden");
  EXPECT_EQ(rows->RecordCount(), kRows);
  const Walk walk = WalkThrough(*rows);
  EXPECT_GT(walk.records, 0);
  EXPECT_LT(walk.records, kRows);
  ASSERT_TRUE(rows->BrokenOff());
  EXPECT_EQ(rows->BrokenOff()->Description(), walk.error);
  EXPECT_THAT(walk.error, HasSubstr("'Kunden'"));
  EXPECT_THAT(walk.error, HasSubstr(std::to_string(walk.records) + " von 1000"));
  EXPECT_THAT(walk.error, HasSubstr("/tmp/kunden.mdb"));
  EXPECT_THAT(walk.error, HasSubstr(std::to_string(length) + " Bytes"));
}

TEST(CutAccessFile, NamesTheLengthThatTheWholeFileHasAtLeast) {
  const std::string whole = LongTable();
  access::AccessConnection connection = Connect(std::string_view(whole).substr(0, 20 * kPage));
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From Kunden");
  const std::string error = WalkThrough(*rows).error;
  const std::size_t at = error.find("mindestens ");
  ASSERT_NE(at, std::string::npos) << error;
  const std::size_t needed = std::stoul(error.substr(at + 11));
  EXPECT_GT(needed, 20 * kPage);
  EXPECT_LE(needed, whole.size());
}

TEST(CutAccessFile, AQueryOverATableThatLostRowsBreaksOffToo) {
  const std::string whole = LongTable();
  // The queries' own table stands behind the rows, so a page among these is taken instead of the end.
  for (const char* query : {"Alle", "Zahl"}) {
    std::string bytes = whole;
    bytes[10 * kPage] = 0;
    access::AccessConnection connection = Connect(bytes);
    const RecordsetPtr rows = connection.OpenRecordset("SELECT * From " + std::string(query));
    EXPECT_THAT(WalkThrough(*rows).error, HasSubstr("'Kunden'")) << query;
    EXPECT_TRUE(rows->BrokenOff()) << query;
  }
}

TEST(CutAccessFile, ATableWithFewerRowsThanItsDefinitionTellsIsBrokenOff) {
  std::string bytes = LongTable();
  bytes[10 * kPage] = 0;  // no page of data any more
  access::AccessConnection connection = Connect(bytes);
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From Kunden");
  const Walk walk = WalkThrough(*rows);
  EXPECT_LT(walk.records, kRows);
  EXPECT_THAT(walk.error, HasSubstr(std::to_string(walk.records) + " von 1000"));
  EXPECT_THAT(walk.error, HasSubstr("komprimieren"));
}

TEST(CutAccessFile, AQueryWhoseOwnRowsAreMissingIsRefused) {
  const std::string whole = LongTable();
  access::AccessConnection connection = Connect(std::string_view(whole).substr(0, 20 * kPage));
  EXPECT_THROW(connection.OpenRecordset("SELECT * From Alle"), RuntimeError);
}

TEST(CutAccessFile, TheNumberOfRowsOfTheQueriesOwnTableIsNotTrusted) {
  std::string bytes = LongTable();
  access::Catalog catalog(std::make_shared<const access::JetFile>(bytes, std::string_view()));
  const std::size_t definition = catalog.Find("MSysQueries")->Place().page * kPage;
  ASSERT_EQ(bytes.substr(definition + 16, 4), Le32(6));
  bytes.replace(definition + 16, 4, Le32(9));
  access::AccessConnection connection = Connect(bytes);
  EXPECT_EQ(connection.OpenRecordset("SELECT * From Alle")->RecordCount(), kRows);
}

TEST(CutAccessFile, ACatalogThatLostEntriesSaysSoWhereATableIsNotFound) {
  JetBuilder builder;
  for (int i = 0; i < 200; ++i) builder.AddTable("Tabelle " + std::to_string(i), {{"t"}});
  const std::string whole = builder.Build();
  access::AccessConnection connection = Connect(std::string_view(whole).substr(0, 60 * kPage));
  const std::size_t listed = connection.Tables().size();
  EXPECT_GT(listed, 0U);
  EXPECT_LT(listed, 200U);
  try {
    connection.ColumnNames("Tabelle 199");
    ADD_FAILURE() << "found";
  } catch (const RuntimeError& error) {
    EXPECT_THAT(error.Description(), HasSubstr("'Tabelle 199'"));
    EXPECT_THAT(error.Description(), HasSubstr("Verzeichnis"));
    EXPECT_THAT(error.Description(), HasSubstr(std::to_string(60 * kPage) + " Bytes"));
  }
}

TEST(CutAccessFile, ARecordSetKnowsTheFileThatWasRead) {
  const testing::TempFolder folder;
  const std::string path = folder.Write("a.mdb", testing::AccessSample(JetBuilder::Format::kJet4));
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  access::AccessConnection connection(path, "");
  EXPECT_EQ(connection.OpenRecordset("SELECT * From Alles")->SourceFile(), FileIdentity(status));
  EXPECT_EQ(connection.OpenRecordset("SELECT * From Wahl")->SourceFile(), FileIdentity(status));
}

TEST(CutAccessFile, ADeviceIsRefusedAtOnce) {
  EXPECT_THROW(access::AccessConnection("/dev/zero", ""), RuntimeError);
}

// Every table and query of the file: how many records each has, by a walk; -1 where it is refused in words.
std::map<std::string, Walk> WalkAll(std::string_view bytes, const std::vector<std::string>& names) {
  std::map<std::string, Walk> walks;
  for (const std::string& name : names) {
    Walk& walk = walks[name];
    try {
      access::AccessConnection connection = Connect(bytes);
      const RecordsetPtr rows = connection.OpenRecordset("SELECT * From [" + name + "]");
      for (; !rows->IsEof(); ++walk.records) {
        for (std::size_t column = 0; column < rows->ColumnCount(); ++column) {
          Trap([&] { rows->TextAt(column); },
               [&](const RuntimeError& error) { walk.error = error.Description(); });
        }
        Trap([&] { rows->MoveNext(); }, [&](const RuntimeError& error) { walk.error = error.Description(); });
      }
      if (const auto broken = rows->BrokenOff()) walk.error = broken->Description();
    } catch (const RuntimeError& error) {
      EXPECT_TRUE(error.Is(ErrorNumber::kDatabase)) << error.what();
      walk.error = error.Description();
    }
  }
  return walks;
}

// Cuts at many lengths: each table is either read whole, or what is missing is told.
void CutAtManyLengths(const std::string& whole, std::size_t step) {
  std::vector<std::string> names;
  for (const CatalogTable& table : Connect(whole).Tables()) names.push_back(table.name);
  const auto expected = WalkAll(whole, names);
  std::size_t told = 0;
  for (std::size_t length = 1; length < whole.size(); length += step) {
    SCOPED_TRACE(length);
    for (const auto& [name, walk] : WalkAll(std::string_view(whole).substr(0, length), names)) {
      if (walk.error == expected.at(name).error) {
        ASSERT_EQ(walk.records, expected.at(name).records) << name;
      } else {
        ASSERT_FALSE(walk.error.empty()) << name;
        ++told;
      }
    }
  }
  EXPECT_GT(told, 0U);
}

TEST(CutAccessFile, AnyLengthOfAJet3FileIsToldOrReadWhole) {
  CutAtManyLengths(testing::AccessSample(JetBuilder::Format::kJet3), 97);
}
TEST(CutAccessFile, AnyLengthOfAJet4FileIsToldOrReadWhole) {
  CutAtManyLengths(testing::AccessSample(JetBuilder::Format::kJet4), 97);
}

TEST(CutAccessFile, AnyLengthOfPublicFilesIsToldOrReadWhole) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  for (const std::string& path : ListFiles(folder + "/mdb")) {
    if (!path.ends_with(".mdb") || path.ends_with("with-password.mdb")) continue;
    SCOPED_TRACE(path);
    const std::string whole = testing::ReadBytes(path);
    CutAtManyLengths(whole, whole.size() / 40 + 1);
  }
}

}  // namespace
}  // namespace kestrel
