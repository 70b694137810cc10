// An Access file read alone, without a connection.
#include "formats/access/database.h"

#include <gmock/gmock.h>

#include "support/jet_builder.h"

namespace kestrel::access {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::JetBuilder;
using testing::Le32;

constexpr std::size_t kPage = 4096;

std::string Customers(std::uint32_t count) {
  JetBuilder builder;
  const auto table = builder.AddTable("Kunden", {{"Nr", 4, 4}, {"Name"}});
  for (std::uint32_t i = 0; i < count; ++i)
    builder.AddRow(table, {Le32(i), builder.Text("Kunde " + std::string(80, 'x'))});
  builder.AddQuery("Grosse", {{1, 1}, {5, {}, "", "Kunden"}, {6, 0, "Kunden.Nr"}, {8, {}, "Kunden.Nr>=2"}});
  return builder.Build();
}

TEST(AccessDatabase, TellsItsObjectsAndReadsTablesAndQueries) {
  const Database database(Customers(4), "");
  std::vector<std::string> listed;
  for (const CatalogEntry& entry : database.Objects()) {
    if (entry.listed) listed.push_back(entry.name);
  }
  EXPECT_THAT(listed, ElementsAre("Kunden", "Grosse"));
  EXPECT_THAT(database.ColumnNames(database.Require("kunden")), ElementsAre("Nr", "Name"));
  TableReader table = database.OpenTable(database.Require("kunden"));
  ASSERT_EQ(table.RowCount(), 4U);
  table.GoTo(3);
  EXPECT_EQ(table.Text(0), "3");
  EXPECT_FALSE(table.Loss("Kunden"));
  const Database::QueryResult query = database.RunQuery(database.Require("GROSSE"));
  EXPECT_THAT(query.names, ElementsAre("Nr"));
  ASSERT_EQ(query.rows->RowCount(), 2U);
  query.rows->GoTo(1);
  EXPECT_EQ(query.rows->Text(0), "3");
}

TEST(AccessDatabase, ReadersOutliveIt) {
  auto database = std::make_unique<const Database>(Customers(1), "");
  TableReader table = database->OpenTable(database->Require("Kunden"));
  const Database::QueryResult query = database->RunQuery(database->Require("Grosse"));
  database.reset();
  table.GoTo(0);
  EXPECT_EQ(table.Text(0), "0");
  EXPECT_EQ(query.rows->RowCount(), 0U);
}

TEST(AccessDatabase, RowsThatAreMissingAreToldWithTheirPage) {
  const std::string whole = Customers(500);
  const Database database(whole.substr(0, 8 * kPage), "", "a.mdb");
  const TableReader table = database.OpenTable(database.Require("Kunden"));
  const auto loss = table.Loss("Kunden");
  ASSERT_TRUE(loss);
  EXPECT_EQ(loss->place().file, "a.mdb");
  ASSERT_TRUE(loss->place().page);
  EXPECT_GE(*loss->place().page, 8U);
  EXPECT_EQ(loss->place().offset, *loss->place().page * kPage);
}

TEST(AccessDatabase, ARowThatLiesOutsideItsPageIsToldWithThePage) {
  std::string bytes = Customers(3);
  // The first row of the table's only page of data; its entry says where it begins.
  const std::size_t row = bytes.find("Kunde xx");
  ASSERT_NE(row, std::string::npos);
  const std::size_t page = row / kPage;
  bytes.replace(page * kPage + 14, 2, std::string("\x01\x00", 2));
  const Database database(std::move(bytes), "");
  try {
    const TableReader table = database.OpenTable(database.Require("Kunden"));
    ADD_FAILURE() << "read";
  } catch (const FormatError& error) {
    EXPECT_EQ(error.place().page, page);
    EXPECT_THAT(error.Description(), HasSubstr("außerhalb seiner Seite"));
  }
}

}  // namespace
}  // namespace kestrel::access
