#include "platform/data/deferred_indexes.h"

#include <gmock/gmock.h>

#include <random>
#include <string>
#include <vector>

#include "platform/data/open_connection.h"
#include "support/expect_error.h"
#include "support/temp_folder.h"

namespace kestrel {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr std::int64_t kAnyNumber = 1'000'000;

class Deferred : public ::testing::Test {
 protected:
  Deferred() { CreateTable(*connection); }

  static void CreateTable(Connection& connection) {
    connection.Execute(
        "CREATE TABLE t (id INTEGER PRIMARY KEY, kind INTEGER NOT NULL, a VARCHAR(20), b VARCHAR(20), c TEXT)");
    connection.Execute("CREATE INDEX t_a ON t (a)");
    connection.Execute("CREATE INDEX t_b ON t (b)");
  }
  // Rows of a query or, for a statement, the number of rows changed or the error.
  static std::vector<std::string> Answer(Connection& connection, const std::string& sql) {
    std::vector<std::string> answer;
    Trap(
        [&] {
          if (!sql.starts_with("SELECT") && !sql.starts_with("EXPLAIN")) {
            answer.push_back(std::to_string(connection.Execute(sql)));
            return;
          }
          for (const RecordsetPtr rows = connection.OpenRecordset(sql); !rows->IsEof(); rows->MoveNext()) {
            std::string row;
            for (std::size_t i = 0; i < rows->ColumnCount(); ++i) {
              row += (rows->IsNull(i) ? "NULL" : std::string(rows->TextAt(i))) + "|";
            }
            answer.push_back(row);
          }
        },
        [&](const RuntimeError& error) { answer.push_back(std::to_string(error.Number())); });
    return answer;
  }
  std::vector<std::string> Answer(const std::string& sql) { return Answer(*connection, sql); }
  std::string Plan() {
    std::string plan;
    for (const std::string& row : Answer("EXPLAIN QUERY PLAN SELECT * FROM t WHERE a = 'x' OR b = 'y'"))
      plan += row;
    return plan;
  }
  std::vector<std::string> IndexesInTheFile() {
    return Answer(*OpenConnection(file), "SELECT name FROM sqlite_schema WHERE type = 'index' ORDER BY name");
  }
  void InsertRow(int id, const std::string& a) {
    connection->Execute("INSERT INTO t VALUES (" + std::to_string(id) + ", 1, '" + a + "', 'b', 'c')");
  }

  testing::TempFolder folder;
  const std::string file = folder.File("host.db");
  ConnectionPtr connection = OpenConnection(file);
};

// Statements and queries over few different values, so that they meet.
class RandomStatements {
 public:
  explicit RandomStatements(unsigned seed) : random_(seed) {}

  std::string Next() {
    switch (Number(12)) {
      case 0:
      case 1:
      case 2: return "INSERT INTO t VALUES (" + Id() + ", " + Kind() + ", " + Text() + ", " + Text() + ", 'x')";
      case 3: return "INSERT OR REPLACE INTO t VALUES (" + Id() + ", 1, " + Text() + ", " + Text() + ", NULL)";
      case 4: return "INSERT OR IGNORE INTO t (id, kind, a) VALUES (" + Id() + ", 2, " + Text() + ")";
      case 5: return "INSERT INTO t (kind, b) VALUES (" + Kind() + ", " + Text() + ")";
      case 6: return "UPDATE t SET a = " + Text() + ", b = " + Text() + " WHERE id = " + Id();
      case 7: return "UPDATE t SET id = " + Id() + " WHERE id = " + Id();
      case 8: return "UPDATE t SET b = a WHERE a = " + Text();
      case 9: return "DELETE FROM t WHERE b = " + Text() + " AND id % 3 = 0";
      default: return Query();
    }
  }
  std::string Query() {
    const std::string sorted = " ORDER BY t.id";
    switch (Number(8)) {
      case 0:
        return "SELECT * FROM t WHERE (kind = 1) and ( a = " + Text() + "  OR  b = " + Text() + " )" + sorted;
      case 1: return "SELECT id, a FROM t WHERE a = " + Text() + sorted;
      case 2: return "SELECT * FROM t WHERE a = " + Text() + " COLLATE NOCASE" + sorted;
      case 3: return "SELECT * FROM t WHERE a IN (" + Text() + ", " + Text() + ", " + Text() + ")" + sorted;
      case 4: return "SELECT * FROM t WHERE id = " + Id() + " OR a IS NULL" + sorted;
      case 5: return "SELECT t.id, o.id FROM t JOIN t AS o ON o.a = t.b" + sorted + ", o.id";
      case 6:
        return "SELECT * FROM t WHERE b > " + Text() + " AND NOT (kind = 1 AND a = " + Text() + ")" + sorted;
      default:
        return "SELECT * FROM t WHERE a = " + Kind() + " OR b = " + std::to_string(Number(4)) + ".5" + sorted;
    }
  }
  unsigned Number(unsigned end) { return std::uniform_int_distribution<unsigned>(0, end - 1)(random_); }

 private:
  std::string Id() { return std::to_string(Number(60)); }
  std::string Kind() { return std::vector<std::string>{"1", "2", "NULL", "1.5"}[Number(4)]; }
  std::string Text() {
    return std::vector<std::string>{"'x'", "'X'", "'y y'", "''",  "'1'",   "'2'",
                                    "1",   "2.5", "NULL",  "'ß'", "x'41'", "'0.5'"}[Number(12)];
  }

  std::mt19937 random_;
};

}  // namespace

TEST_F(Deferred, AreNotInTheFileUntilTheyAreRestored) {
  InsertRow(1, "x");
  const auto deferred = connection->DeferIndexes("t", kAnyNumber);
  ASSERT_NE(deferred, nullptr);
  EXPECT_THAT(IndexesInTheFile(), IsEmpty());
  EXPECT_THAT(Plan(), HasSubstr("VIRTUAL TABLE"));
  InsertRow(2, "x");
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|", "2|"));
  deferred->Restore();
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
  EXPECT_THAT(Plan(), HasSubstr("USING INDEX t_a"));
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|", "2|"));
  deferred->Restore();
  EXPECT_THAT(Answer("SELECT * FROM pragma_integrity_check"), ElementsAre("ok|"));
}

// The same statements against a table with its indexes in the file and one with them in memory.
TEST_F(Deferred, TheTableAnswersToEverythingAsBefore) {
  constexpr int kStatements = 6000;
  const ConnectionPtr plain = OpenConnection(folder.File("plain.db"));
  CreateTable(*plain);
  RandomStatements statements(20261121);
  std::unique_ptr<DeferredIndexes> deferred;
  int answers = 0;
  for (int i = 0; i < kStatements; ++i) {
    if (i % 500 == 100) deferred = connection->DeferIndexes("t", kAnyNumber);
    if (i % 500 == 450) deferred.reset();
    if (i % 50 == 0) {
      for (Connection* each : {plain.get(), connection.get()}) each->Begin();
    }
    const std::string sql = statements.Next();
    const std::vector<std::string> expected = Answer(*plain, sql);
    ASSERT_EQ(Answer(sql), expected) << i << ": " << sql;
    if (!expected.empty()) ++answers;
    if (i % 50 == 49) {
      const bool keep = statements.Number(2) == 0;
      for (Connection* each : {plain.get(), connection.get()}) keep ? each->Commit() : each->Rollback();
    }
  }
  EXPECT_GT(answers, kStatements / 2);
  deferred.reset();
  EXPECT_EQ(Answer("SELECT * FROM t"), Answer(*plain, "SELECT * FROM t"));
  EXPECT_THAT(Answer("SELECT * FROM pragma_integrity_check"), ElementsAre("ok|"));
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
}

TEST_F(Deferred, RowsOfAnotherConnectionAreFoundAndEndIt) {
  const auto deferred = connection->DeferIndexes("t", kAnyNumber);
  InsertRow(1, "x");
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'y'"), IsEmpty());
  const ConnectionPtr other = OpenConnection(file);
  other->Execute("INSERT INTO t VALUES (2, 1, 'y', 'b', 'c')");
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'y'"), ElementsAre("2|"));
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
  EXPECT_THAT(Plan(), HasSubstr("USING INDEX t_a"));
}

TEST_F(Deferred, RowsOfAnotherConnectionAreFoundWhileARecordSetReadsTheTable) {
  InsertRow(1, "x");
  InsertRow(2, "x");
  const auto deferred = connection->DeferIndexes("t", kAnyNumber);
  const RecordsetPtr rows = connection->OpenRecordset("SELECT id FROM t WHERE a = 'x'");
  OpenConnection(file)->Execute("INSERT INTO t VALUES (3, 1, 'y', 'b', 'c')");
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "2");
  // That read is still of the state before; one that begins after it is not.
  rows->MoveNext();
  EXPECT_TRUE(rows->IsEof());
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'y'"), ElementsAre("3|"));
}

TEST_F(Deferred, RowsOfAnotherConnectionAreChangedToo) {
  const auto deferred = connection->DeferIndexes("t", kAnyNumber);
  InsertRow(1, "x");
  const auto prepared = connection->Prepare("UPDATE t SET b = 'changed' WHERE a = ?");
  const ConnectionPtr other = OpenConnection(file);
  other->Execute("INSERT INTO t VALUES (2, 1, 'y', 'b', 'c'), (3, 1, 'z', 'b', 'c')");
  prepared->BindText(0, "y");
  EXPECT_EQ(prepared->Execute(), 1);
  EXPECT_EQ(connection->Execute("DELETE FROM t WHERE a = 'z'"), 1);
  EXPECT_THAT(Answer("SELECT id, b FROM t"), ElementsAre("1|b|", "2|changed|"));
}

TEST_F(Deferred, RowsOfAnotherConnectionAreFoundWithinATransaction) {
  const auto deferred = connection->DeferIndexes("t", kAnyNumber);
  const ConnectionPtr other = OpenConnection(file);
  for (int i = 1; i <= 3; ++i) {
    connection->Begin();
    InsertRow(i, "x");
    EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'y'"), IsEmpty());
    connection->Commit();
    EXPECT_THAT(IndexesInTheFile(), IsEmpty()) << "one's own commit";
  }
  other->Execute("INSERT INTO t VALUES (9, 1, 'y', 'b', 'c')");
  connection->Begin();
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'y'"), ElementsAre("9|"));
  connection->Commit();
  EXPECT_THAT(IndexesInTheFile(), IsEmpty()) << "to write them would keep the transaction open";
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'y'"), ElementsAre("9|"));
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
}

TEST_F(Deferred, ARollbackBringsNothingBack) {
  auto deferred = connection->DeferIndexes("t", kAnyNumber);
  InsertRow(1, "x");
  connection->Begin();
  InsertRow(2, "x");
  deferred->Restore();
  EXPECT_THAT(Plan(), HasSubstr("USING INDEX t_a"));
  connection->Rollback();
  // With it went the indexes.
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|"));
  EXPECT_THAT(Plan(), Not(HasSubstr("VIRTUAL TABLE")));
  InsertRow(3, "x");
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|", "3|"));
  connection->Execute("CREATE INDEX t_b ON t (b)");
  EXPECT_NE(connection->DeferIndexes("t", kAnyNumber), nullptr);
}

TEST_F(Deferred, AreDeferredOnlyOnceAtATime) {
  connection->Execute("CREATE INDEX t_c ON t (c)");
  const auto deferred = connection->DeferIndexes("t", kAnyNumber);
  EXPECT_EQ(connection->DeferIndexes("t", kAnyNumber), nullptr);
  connection->Execute("CREATE INDEX main.t_a ON t (a)");
  EXPECT_EQ(connection->DeferIndexes("t", kAnyNumber), nullptr);
  InsertRow(1, "x");
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|"));
}

TEST_F(Deferred, AreBackWithTheRollbackOfTheirTransaction) {
  InsertRow(1, "x");
  connection->Begin();
  const auto deferred = connection->DeferIndexes("t", kAnyNumber);
  InsertRow(2, "x");
  connection->Rollback();
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
  EXPECT_THAT(Plan(), HasSubstr("USING INDEX t_a"));
  InsertRow(3, "x");
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|", "3|"));
  deferred->Restore();
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|", "3|"));
}

TEST_F(Deferred, WhatIsRolledBackLaterIsNotFound) {
  const auto deferred = connection->DeferIndexes("t", kAnyNumber);
  InsertRow(1, "x");
  connection->Begin();
  connection->Execute("DELETE FROM t WHERE id = 1");
  InsertRow(2, "x");
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("2|"));
  connection->Rollback();
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|"));
}

TEST_F(Deferred, ATableWithMoreRowsKeepsItsIndexes) {
  for (int i = 1; i <= 3; ++i) InsertRow(i, "x");
  EXPECT_EQ(connection->DeferIndexes("t", 2), nullptr);
  EXPECT_THAT(Plan(), HasSubstr("USING INDEX t_a"));
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_NE(connection->DeferIndexes("t", 3), nullptr);
}

TEST_F(Deferred, ATableThatIsBeingReadKeepsItsIndexes) {
  for (int i = 1; i <= 3; ++i) InsertRow(i, "x");
  const RecordsetPtr rows = connection->OpenRecordset("SELECT id FROM t");
  EXPECT_EQ(connection->DeferIndexes("t", kAnyNumber), nullptr);
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "2");
}

TEST_F(Deferred, ATableThatIsReadAtTheEndIsLeftAloneUntilThen) {
  for (int i = 1; i <= 3; ++i) InsertRow(i, "x");
  auto deferred = connection->DeferIndexes("t", kAnyNumber);
  RecordsetPtr rows = connection->OpenRecordset("SELECT id FROM t WHERE a = 'x'");
  EXPECT_ERROR(deferred->Restore(), ErrorNumber::kDatabase);
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "2");
  deferred.reset();
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|", "2|", "3|"));
  rows.reset();
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'x'"), ElementsAre("1|", "2|", "3|"));
  EXPECT_THAT(Plan(), Not(HasSubstr("VIRTUAL TABLE")));
}

TEST_F(Deferred, ARecordSetMayOutliveConnectionAndDeferral) {
  InsertRow(1, "x");
  InsertRow(2, "x");
  auto deferred = connection->DeferIndexes("t", kAnyNumber);
  const RecordsetPtr rows = connection->OpenRecordset("SELECT id FROM t WHERE a = 'x'");
  deferred.reset();
  connection->Close();
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "2");
}

TEST_F(Deferred, AreRestoredAtTheEndOfTheirLife) {
  {
    const auto deferred = connection->DeferIndexes("t", kAnyNumber);
    InsertRow(1, "x");
  }
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
  auto deferred = connection->DeferIndexes("t", kAnyNumber);
  connection->Close();
  deferred.reset();
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
}

TEST_F(Deferred, AnIndexThatCannotBeWrittenIsToldAndNothingElseIsLost) {
  auto deferred = connection->DeferIndexes("t", kAnyNumber);
  connection->Begin();
  for (int i = 1; i <= 2000; ++i) InsertRow(i, "a text of some length " + std::to_string(i));
  connection->Commit();
  // As a full disk would.
  connection->Execute("PRAGMA max_page_count = 1");
  EXPECT_ERROR_TEXT(deferred->Restore(), ErrorNumber::kDatabase, HasSubstr("Die Indizes der Tabelle 't'"));
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_THAT(Answer("SELECT id FROM t WHERE a = 'a text of some length 77'"), ElementsAre("77|"));
  connection->Execute("PRAGMA max_page_count = 100000");
  deferred->Restore();
  EXPECT_THAT(IndexesInTheFile(), ElementsAre("t_a|", "t_b|"));
}

TEST_F(Deferred, OnlyPlainIndexesOfOneTextColumnAreDeferred) {
  connection->Execute("CREATE TABLE u (id INTEGER PRIMARY KEY, a TEXT, b TEXT, n INTEGER, k TEXT UNIQUE)");
  for (const char* index : {"u_two ON u (a, b)", "u_number ON u (n)", "u_part ON u (a) WHERE n = 1",
                            "u_case ON u (a COLLATE NOCASE)", "u_expression ON u (lower(a))"}) {
    connection->Execute(std::string("CREATE INDEX ") + index);
  }
  EXPECT_EQ(connection->DeferIndexes("u", kAnyNumber), nullptr);
  connection->Execute("CREATE INDEX u_b ON u (b)");
  const auto deferred = connection->DeferIndexes("u", kAnyNumber);
  ASSERT_NE(deferred, nullptr);
  EXPECT_THAT(IndexesInTheFile(), Not(::testing::Contains("u_b|")));
  EXPECT_THAT(IndexesInTheFile(),
              ::testing::IsSupersetOf({"u_case|", "u_expression|", "u_number|", "u_part|", "u_two|"}));
  connection->Execute("INSERT INTO u VALUES (1, 'x', 'y', 1, 'k')");
  EXPECT_ERROR_TEXT(connection->Execute("INSERT INTO u VALUES (2, 'x', 'y', 1, 'k')"), ErrorNumber::kDatabase,
                    HasSubstr("UNIQUE"));
}

TEST_F(Deferred, ATableWithoutARowNumberOfItsOwnKeepsItsIndexes) {
  connection->Execute("CREATE TABLE v (k TEXT PRIMARY KEY, a TEXT)");
  connection->Execute("CREATE INDEX v_a ON v (a)");
  EXPECT_EQ(connection->DeferIndexes("v", kAnyNumber), nullptr);
  connection->Execute("CREATE TABLE w (k INTEGER, l INTEGER, a TEXT, PRIMARY KEY (k, l)) WITHOUT ROWID");
  connection->Execute("CREATE INDEX w_a ON w (a)");
  EXPECT_EQ(connection->DeferIndexes("w", kAnyNumber), nullptr);
  EXPECT_EQ(connection->DeferIndexes("missing", kAnyNumber), nullptr);
}

TEST_F(Deferred, NamesMayHoldAnything) {
  connection->Execute("CREATE TABLE \"a \"\"b\"\" [c]\" (id INTEGER PRIMARY KEY, \"x \"\"y\" TEXT)");
  connection->Execute("CREATE INDEX \"i \"\"j\" ON \"a \"\"b\"\" [c]\" (\"x \"\"y\")");
  auto deferred = connection->DeferIndexes("a \"b\" [c]", kAnyNumber);
  ASSERT_NE(deferred, nullptr);
  connection->Execute("INSERT INTO \"a \"\"b\"\" [c]\" VALUES (1, 'z')");
  EXPECT_THAT(Answer("SELECT id FROM \"a \"\"b\"\" [c]\" WHERE \"x \"\"y\" = 'z'"), ElementsAre("1|"));
  deferred.reset();
  EXPECT_THAT(IndexesInTheFile(), ::testing::Contains("i \"j|"));
}

}  // namespace kestrel
