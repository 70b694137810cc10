#include "platform/data/connection_contract.h"

#include <gmock/gmock.h>

#include "support/expect_error.h"

namespace kestrel::testing {

using ::testing::ElementsAre;

// Opens the parameter's source with the table, or skips the test.
#define OPEN_OR_SKIP(variable, table)                            \
  const ConnectionPtr variable = GetParam().open(folder, table); \
  if (variable == nullptr) GTEST_SKIP() << GetParam().name << ": not possible"

namespace {

const ContractTable kTowns{
    "Orte", {"PLZ", "Ort", "Land"}, {{"50667", "Köln", "D"}, {"1010", "Wien", "A"}, {"80331", "München", "D"}}};

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted.append(c == '\'' ? "''" : std::string(1, c));
  return quoted + "'";
}

}  // namespace

void CreateTable(Connection& connection, const ContractTable& table) {
  std::string sql = "CREATE TABLE " + table.name + " (";
  for (const std::string& column : table.columns) sql += column + " VARCHAR(255), ";
  sql.resize(sql.size() - 2);
  connection.Execute(sql + ")");
  for (const auto& row : table.rows) {
    sql = "INSERT INTO " + table.name + " VALUES (";
    for (const auto& cell : row) sql += (cell ? Quoted(*cell) : "NULL") + ", ";
    sql.resize(sql.size() - 2);
    connection.Execute(sql + ")");
  }
}

TEST_P(ConnectionContract, ColumnsComeInTheOrderOfTheTable) {
  OPEN_OR_SKIP(connection, kTowns);
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Orte"));
  ASSERT_EQ(rows->ColumnCount(), 3U);
  EXPECT_EQ(rows->ColumnName(0), GetParam().told_name("PLZ"));
  EXPECT_EQ(rows->ColumnName(1), GetParam().told_name("Ort"));
  EXPECT_EQ(rows->ColumnName(2), GetParam().told_name("Land"));
  EXPECT_EQ(rows->FindColumn(GetParam().told_name("Ort")), 1U);
  EXPECT_EQ(rows->FindColumn("oRT"), std::nullopt);
  EXPECT_EQ(rows->RequireColumn(GetParam().told_name("Land")), 2U);
  EXPECT_ERROR(rows->RequireColumn("Telefon"), ErrorNumber::kColumnNotFound);
  EXPECT_ERROR(rows->ColumnName(3), ErrorNumber::kSubscriptOutOfRange);
}

TEST_P(ConnectionContract, RowsAreWalkedOnceToTheEnd) {
  OPEN_OR_SKIP(connection, kTowns);
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Orte"));
  EXPECT_FALSE(rows->IsBof());
  std::vector<std::string> towns;
  for (; !rows->IsEof(); rows->MoveNext()) towns.emplace_back(rows->TextAt(1));
  EXPECT_THAT(towns, ElementsAre("Köln", "Wien", "München"));
  EXPECT_FALSE(rows->IsBof());
  EXPECT_ERROR(rows->MoveNext(), ErrorNumber::kNoCurrentRecord);
}

TEST_P(ConnectionContract, TheCountIsExactWhereverTheSetStands) {
  OPEN_OR_SKIP(connection, kTowns);
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Orte"));
  EXPECT_EQ(rows->RecordCount(), 3);
  EXPECT_EQ(rows->TextAt(1), "Köln");
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(1), "Wien");
  EXPECT_EQ(rows->RecordCount(), 3);
}

TEST_P(ConnectionContract, MoveFirstGoesBackFromAnywhere) {
  OPEN_OR_SKIP(connection, kTowns);
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Orte"));
  rows->MoveFirst();
  EXPECT_EQ(rows->TextAt(1), "Köln");
  while (!rows->IsEof()) rows->MoveNext();
  rows->MoveFirst();
  EXPECT_EQ(rows->TextAt(1), "Köln");
  EXPECT_FALSE(rows->IsEof());
  EXPECT_EQ(rows->RecordCount(), 3);
}

TEST_P(ConnectionContract, BookmarksLeadBack) {
  OPEN_OR_SKIP(connection, kTowns);
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Orte"));
  rows->MoveNext();
  const std::int64_t second = rows->Bookmark();
  rows->MoveNext();
  rows->GoTo(second);
  EXPECT_EQ(rows->TextAt(1), "Wien");
  rows->GoTo(second + 1);
  EXPECT_EQ(rows->TextAt(1), "München");
  EXPECT_ERROR(rows->GoTo(second + 2), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows->GoTo(-1), ErrorNumber::kNoCurrentRecord);
  while (!rows->IsEof()) rows->MoveNext();
  EXPECT_ERROR(rows->Bookmark(), ErrorNumber::kNoCurrentRecord);
}

TEST_P(ConnectionContract, AnEmptyTableIsAtBothEnds) {
  OPEN_OR_SKIP(connection, (ContractTable{"Leer", {"Name", "Ort"}, {}}));
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Leer"));
  EXPECT_TRUE(rows->IsBof());
  EXPECT_TRUE(rows->IsEof());
  EXPECT_EQ(rows->RecordCount(), 0);
  EXPECT_EQ(rows->ColumnCount(), 2U);
  rows->MoveFirst();
  EXPECT_TRUE(rows->IsBof());
  EXPECT_TRUE(rows->IsEof());
  EXPECT_ERROR(rows->TextAt(0), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows->IsNull(0), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows->MoveNext(), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows->Bookmark(), ErrorNumber::kNoCurrentRecord);
}

TEST_P(ConnectionContract, OneColumnAndOneRow) {
  OPEN_OR_SKIP(connection, (ContractTable{"Eins", {"Name"}, {{"Meier"}}}));
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Eins"));
  EXPECT_EQ(rows->ColumnCount(), 1U);
  EXPECT_EQ(rows->RecordCount(), 1);
  EXPECT_EQ(rows->TextAt(0), "Meier");
  EXPECT_ERROR(rows->TextAt(1), ErrorNumber::kSubscriptOutOfRange);
}

TEST_P(ConnectionContract, MoreThanTwoHundredColumns) {
  ContractTable table{"Breit", {}, {{}}};
  for (int i = 1; i <= 240; ++i) {
    table.columns.push_back("Spalte" + std::to_string(i));
    table.rows[0].emplace_back("Wert" + std::to_string(i));
  }
  OPEN_OR_SKIP(connection, table);
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Breit"));
  ASSERT_EQ(rows->ColumnCount(), 240U);
  EXPECT_EQ(rows->ColumnName(239), GetParam().told_name("Spalte240"));
  EXPECT_EQ(rows->TextAt(0), "Wert1");
  EXPECT_EQ(rows->TextAt(239), "Wert240");
}

TEST_P(ConnectionContract, NullIsNotTheEmptyText) {
  OPEN_OR_SKIP(connection, (ContractTable{"Nulls", {"Name", "Ort"}, {{std::nullopt, ""}}}));
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Nulls"));
  EXPECT_EQ(rows->IsNull(0), GetParam().keeps_nulls);
  EXPECT_EQ(rows->TextAt(0), "");
  EXPECT_EQ(rows->ValueAt(0).IsNull(), GetParam().keeps_nulls);
  EXPECT_FALSE(rows->IsNull(1));
  EXPECT_EQ(rows->TextAt(1), "");
  EXPECT_EQ(rows->ValueAt(1), Value(""));
}

TEST_P(ConnectionContract, UmlautsAndTheEuroSignArrive) {
  OPEN_OR_SKIP(connection, (ContractTable{"Zeichen", {"Text"}, {{"ÄÖÜäöüß € é „Zitat“"}}}));
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Zeichen"));
  EXPECT_EQ(rows->TextAt(0), "ÄÖÜäöüß € é „Zitat“");
}

TEST_P(ConnectionContract, ViewsOfOneRowStayUntilTheNextMove) {
  OPEN_OR_SKIP(connection, kTowns);
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Orte"));
  const std::string_view code = rows->TextAt(0);
  const std::string_view town = rows->TextAt(1);
  EXPECT_EQ(rows->TextAt(2), "D");
  EXPECT_EQ(rows->TextAt(0), code);
  EXPECT_EQ(code, "50667");
  EXPECT_EQ(town, "Köln");
}

TEST_P(ConnectionContract, TheSameQueryOpenTwiceIsWalkedIndependently) {
  OPEN_OR_SKIP(connection, kTowns);
  const RecordsetPtr first = connection->OpenRecordset(GetParam().select("Orte"));
  const RecordsetPtr second = connection->OpenRecordset(GetParam().select("Orte"));
  first->MoveNext();
  EXPECT_EQ(first->TextAt(1), "Wien");
  EXPECT_EQ(second->TextAt(1), "Köln");
}

TEST_P(ConnectionContract, ARecordSetOutlivesItsConnection) {
  RecordsetPtr rows;
  {
    OPEN_OR_SKIP(connection, kTowns);
    rows = connection->OpenRecordset(GetParam().select("Orte"));
  }
  EXPECT_EQ(rows->TextAt(1), "Köln");
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(1), "Wien");
}

TEST_P(ConnectionContract, TheCatalogNamesTablesAndColumns) {
  OPEN_OR_SKIP(connection, kTowns);
  std::vector<std::string> names;
  for (const CatalogTable& table : connection->Tables()) {
    if (table.type == "TABLE") names.push_back(table.name);
  }
  EXPECT_THAT(names, ::testing::Contains(GetParam().told_name("Orte")));
  EXPECT_THAT(
      connection->ColumnNames("Orte"),
      ElementsAre(GetParam().told_name("PLZ"), GetParam().told_name("Ort"), GetParam().told_name("Land")));
  EXPECT_ERROR(connection->ColumnNames("GibtEsNicht"), ErrorNumber::kDatabase);
}

TEST_P(ConnectionContract, AnUnknownTableIsADatabaseError) {
  OPEN_OR_SKIP(connection, kTowns);
  EXPECT_ERROR(connection->OpenRecordset(GetParam().select("GibtEsNicht")), ErrorNumber::kDatabase);
}

TEST_P(ConnectionContract, AClosedConnectionRefusesEverything) {
  OPEN_OR_SKIP(connection, kTowns);
  EXPECT_TRUE(connection->IsOpen());
  connection->Close();
  connection->Close();
  EXPECT_FALSE(connection->IsOpen());
  EXPECT_ERROR(connection->OpenRecordset(GetParam().select("Orte")), ErrorNumber::kObjectClosed);
  EXPECT_ERROR(connection->Tables(), ErrorNumber::kObjectClosed);
  EXPECT_ERROR(connection->ColumnNames("Orte"), ErrorNumber::kObjectClosed);
}

TEST_P(ConnectionContract, OneStatementACall) {
  OPEN_OR_SKIP(connection, kTowns);
  EXPECT_ERROR(connection->OpenRecordset(GetParam().select("Orte") + "; SELECT 1"), ErrorNumber::kDatabase);
}

TEST_P(WritingContract, OneChangeACall) {
  OPEN_OR_SKIP(connection, kTowns);
  EXPECT_ERROR(connection->Execute("DELETE FROM Orte; SELECT 1"), ErrorNumber::kDatabase);
  EXPECT_EQ(connection->OpenRecordset(GetParam().select("Orte"))->RecordCount(), 3);
}

TEST_P(WritingContract, ChangedRowsAreCounted) {
  OPEN_OR_SKIP(connection, kTowns);
  EXPECT_EQ(connection->Execute("UPDATE Orte SET Land = 'DE' WHERE Land = 'D'"), 2);
  EXPECT_EQ(connection->Execute("DELETE FROM Orte WHERE Land = 'X'"), 0);
}

TEST_P(WritingContract, PreparedStatementsTakeEveryKindOfValue) {
  OPEN_OR_SKIP(connection, kTowns);
  connection->Execute("CREATE TABLE Werte (a VARCHAR(50), b INTEGER, c DOUBLE PRECISION)");
  const auto insert = connection->Prepare("INSERT INTO Werte (a, b, c) VALUES (?, ?, ?)");
  insert->BindText(0, "Größe 'x'");
  insert->BindInteger(1, 42);
  insert->BindDouble(2, 2.5);
  EXPECT_EQ(insert->Execute(), 1);
  insert->BindText(0, {});
  insert->BindNull(1);
  EXPECT_EQ(insert->Execute(), 1);
  EXPECT_ERROR(insert->BindNull(3), ErrorNumber::kSubscriptOutOfRange);

  const auto query = connection->Prepare("SELECT a, b, c FROM Werte WHERE c = ? ORDER BY a DESC");
  query->BindDouble(0, 2.5);
  const RecordsetPtr rows = query->Open();
  EXPECT_EQ(rows->RecordCount(), 2);
  EXPECT_EQ(rows->TextAt(0), "Größe 'x'");
  EXPECT_EQ(rows->TextAt(1), "42");
  EXPECT_EQ(rows->TextAt(2), "2,5");
  rows->MoveNext();
  EXPECT_FALSE(rows->IsNull(0));
  EXPECT_TRUE(rows->IsNull(1));
}

TEST_P(WritingContract, TransactionsKeepOrUndoAllOfTheirChanges) {
  OPEN_OR_SKIP(connection, kTowns);
  EXPECT_FALSE(connection->InTransaction());
  connection->Begin();
  EXPECT_TRUE(connection->InTransaction());
  EXPECT_ERROR(connection->Begin(), ErrorNumber::kDatabase);
  connection->Execute("DELETE FROM Orte");
  connection->Rollback();
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_EQ(connection->OpenRecordset(GetParam().select("Orte"))->RecordCount(), 3);
  connection->Begin();
  connection->Execute("DELETE FROM Orte WHERE Land = 'A'");
  connection->Commit();
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_EQ(connection->OpenRecordset(GetParam().select("Orte"))->RecordCount(), 2);
}

TEST_P(ReadOnlyContract, WhateverWouldChangeTheSourceIsRefused) {
  OPEN_OR_SKIP(connection, kTowns);
  for (const char* sql :
       {"DELETE FROM Orte", "UPDATE Orte SET Land = 'X'", "INSERT INTO Orte VALUES ('1', '2', '3')",
        "CREATE TABLE Neu (a INTEGER)", "SELECT * FROM Orte"}) {
    EXPECT_ERROR(connection->Execute(sql), ErrorNumber::kDatabase) << sql;
  }
  EXPECT_ERROR(connection->OpenRecordset("DELETE FROM Orte"), ErrorNumber::kDatabase);
  EXPECT_ERROR(connection->Prepare("DELETE FROM Orte"), ErrorNumber::kMemberNotFound);
  EXPECT_ERROR(connection->Begin(), ErrorNumber::kMemberNotFound);
  const RecordsetPtr rows = connection->OpenRecordset(GetParam().select("Orte"));
  EXPECT_EQ(rows->RecordCount(), 3);
  EXPECT_ERROR(rows->SetText(0, "neu"), ErrorNumber::kMemberNotFound);
}

// The servers' tests have none of the one kind.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ReadOnlyContract);

}  // namespace kestrel::testing
