// Queries over tables that are no Access file's: what the translator needs of the world is QueryTables.
#include "formats/access_sql/query.h"

#include <gmock/gmock.h>

#include <map>

#include "formats/access_sql/access_text.h"
#include "formats/access_sql/sql_error.h"
#include "formats/access_sql/sql_parser.h"

namespace kestrel::access_sql {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class RowsInMemory final : public TableRows {
 public:
  RowsInMemory(const std::vector<std::vector<QueryCell>>& rows, std::optional<RuntimeError> loss)
      : rows_(rows), loss_(std::move(loss)) {}
  bool Next() override { return next_++ < rows_.size(); }
  QueryCell Cell(std::size_t column) override { return rows_[next_ - 1][column]; }
  std::optional<RuntimeError> Loss() const override { return loss_; }

 private:
  const std::vector<std::vector<QueryCell>>& rows_;
  std::optional<RuntimeError> loss_;
  std::size_t next_ = 0;
};

class TablesInMemory final : public QueryTables {
 public:
  struct Table {
    std::vector<ResultColumn> columns;
    std::vector<std::vector<QueryCell>> rows;
    std::optional<RuntimeError> loss = {};
  };
  std::map<std::string, Table> tables;
  std::map<std::string, std::string> queries;

  std::optional<QueryObject> Find(std::string_view name) const override {
    std::int32_t id = 0;
    for (const auto& [known, table] : tables) {
      ++id;
      if (EqualText(known, name)) return QueryObject{known, id, false};
    }
    for (const auto& [known, sql] : queries) {
      ++id;
      if (EqualText(known, name)) return QueryObject{known, id, true};
    }
    return std::nullopt;
  }
  std::vector<ResultColumn> Columns(const QueryObject& table) const override {
    return tables.at(table.name).columns;
  }
  std::unique_ptr<TableRows> Open(const QueryObject& table) const override {
    const Table& found = tables.at(table.name);
    return std::make_unique<RowsInMemory>(found.rows, found.loss);
  }
  std::unique_ptr<SelectStatement> Statement(const QueryObject& query) const override {
    return ParseSelect(queries.at(query.name));
  }
};

void AddTowns(TablesInMemory& tables) {
  tables.tables["Orte"] = {{{"Name", ValueType::kText}, {"Einwohner", ValueType::kWhole}},
                           {{"München", std::int64_t{1500}}, {"ahlen", std::int64_t{50}}, {"Ähren", {}}}};
}

std::vector<std::string> RowsOf(TablesInMemory& tables, const std::string& sql) {
  tables.queries["q"] = sql;
  const Query query(tables, *tables.Find("Q"));
  const std::unique_ptr<QueryRows> rows = query.Run();
  std::vector<std::string> texts;
  for (std::size_t row = 0; row < rows->RowCount(); ++row) {
    rows->GoTo(row);
    std::string& text = texts.emplace_back();
    for (std::size_t column = 0; column < query.ColumnNames().size(); ++column) {
      text += (column == 0 ? "" : "|") + (rows->IsNull(column) ? "<null>" : std::string(rows->Text(column)));
    }
  }
  return texts;
}

TEST(AccessSqlQuery, RunsOverTablesOfAnyKind) {
  TablesInMemory tables;
  AddTowns(tables);
  EXPECT_THAT(RowsOf(tables, "SELECT Name, Einwohner FROM orte ORDER BY Name"),
              ElementsAre("ahlen|50", "Ähren|<null>", "München|1500"));
  EXPECT_THAT(RowsOf(tables, "SELECT Sum(Einwohner) AS s FROM Orte WHERE Name Like 'M*'"), ElementsAre("1500"));
}

TEST(AccessSqlQuery, ReadsQueriesOverQueries) {
  TablesInMemory tables;
  AddTowns(tables);
  tables.queries["gross"] = "SELECT Name FROM Orte WHERE Einwohner > 100";
  EXPECT_THAT(RowsOf(tables, "SELECT Count(*) AS n FROM gross"), ElementsAre("1"));
}

TEST(AccessSqlQuery, BytesLongDecimalsAndTruthsKeepTheirMeaning) {
  TablesInMemory tables;
  tables.tables["t"] = {
      {{"b", ValueType::kBytes}, {"d", ValueType::kDecimal}, {"w", ValueType::kTruth}, {"z", ValueType::kDate}},
      {{BytesOfCell{{"\x01\xFF", 2}}, "12345678901234567890.50", std::int64_t{-1}, 38031.0}}};
  EXPECT_THAT(RowsOf(tables, "SELECT * FROM t"), ElementsAre("01FF|12345678901234567890,5|Wahr|14.02.2004"));
}

TEST(AccessSqlQuery, AColumnThatCannotBeReadIsLeftOutOfAllAndRaisesItsReasonWhereItIsNamed) {
  TablesInMemory tables;
  tables.tables["t"] = {
      {{"a", ValueType::kWhole},
       {"x", ValueType::kUnknown, RuntimeError(ErrorNumber::kDatabase, "es ist eine Anlage.")}},
      {{std::int64_t{1}}}};
  EXPECT_THAT(RowsOf(tables, "SELECT * FROM t"), ElementsAre("1"));
  try {
    RowsOf(tables, "SELECT x FROM t");
    ADD_FAILURE() << "read";
  } catch (const RuntimeError& error) {
    EXPECT_THAT(error.Description(), HasSubstr("'q' kann nicht gelesen werden: es ist eine Anlage."));
  }
}

TEST(AccessSqlQuery, WhatTheDatabaseBehindItRefusesIsToldInGermanWithItsWordsBehind) {
  TablesInMemory tables;
  AddTowns(tables);
  try {
    RowsOf(tables, "SELECT Sum(Sum(Einwohner)) AS s FROM Orte");
    ADD_FAILURE() << "read";
  } catch (const RuntimeError& error) {
    EXPECT_THAT(
        error.Description(),
        HasSubstr("'q' kann nicht gelesen werden: So lässt sie sich hier nicht ausführen (SQLite: misuse"));
    EXPECT_THAT(error.Description(), HasSubstr("Tabellenerstellungsabfrage"));
  }
}

TEST(AccessSqlQuery, TellsTheLossOfATableThatItRead) {
  TablesInMemory tables;
  AddTowns(tables);
  tables.tables["Orte"].loss = RuntimeError(ErrorNumber::kDatabase, "zwei fehlen");
  tables.queries["q"] = "SELECT Count(*) AS n FROM Orte";
  const auto rows = Query(tables, *tables.Find("q")).Run();
  ASSERT_TRUE(rows->Loss());
  EXPECT_EQ(rows->Loss()->Description(), "zwei fehlen");
}

// Where in the text the parser stumbles.
std::optional<std::size_t> OffsetOfFault(std::string_view sql) {
  try {
    ParseSelect(sql);
  } catch (const SqlError& error) {
    return error.offset();
  }
  ADD_FAILURE() << "understood: " << sql;
  return std::nullopt;
}

TEST(AccessSqlParser, TellsTheByteAtWhichItStumbles) {
  EXPECT_EQ(OffsetOfFault("SELECT a FROM t WHERE 'offen"), 22U);
  EXPECT_EQ(OffsetOfFault("SELECT a ~ b FROM t"), 9U);
  EXPECT_EQ(OffsetOfFault("SELECT a FROM t WHERE ) > 1"), 22U);
  EXPECT_EQ(OffsetOfFault("SELECT a FROM"), 13U);
}

}  // namespace
}  // namespace kestrel::access_sql
