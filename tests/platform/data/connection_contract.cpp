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
