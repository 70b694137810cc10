#include <gmock/gmock.h>

#include <random>
#include <stdexcept>

#include "kestrel/open_connection.h"
#include "kestrel/transaction.h"
#include "platform/data/connection_contract.h"
#include "platform/data/literal_template.h"
#include "support/expect_error.h"

namespace kestrel {

using testing::ConnectionContract;
using ::testing::HasSubstr;
using testing::RecordsetContract;
using testing::TempFolder;
using testing::WritingContract;

namespace {

testing::ContractSource SqliteContract() {
  testing::ContractSource source;
  source.name = "Sqlite";
  source.open = [](const TempFolder& folder, const testing::ContractTable& table) {
    ConnectionPtr connection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("contract.data"));
    testing::CreateTable(*connection, table);
    return connection;
  };
  return source;
}

class Sqlite : public ::testing::Test {
 protected:
  TempFolder folder;
  const ConnectionPtr connection = OpenConnection(folder.File("test.sqlite"));

  // The one value of a query.
  std::string Text(std::string_view sql) { return std::string(connection->OpenRecordset(sql)->TextAt(0)); }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Sqlite, RecordsetContract, ::testing::Values(SqliteContract()), testing::ContractName);
INSTANTIATE_TEST_SUITE_P(Sqlite, ConnectionContract, ::testing::Values(SqliteContract()),
                         testing::ContractName);
INSTANTIATE_TEST_SUITE_P(Sqlite, WritingContract, ::testing::Values(SqliteContract()), testing::ContractName);

TEST_F(Sqlite, ATransactionAroundAStepEndsWhateverTheStepRaises) {
  connection->Execute("CREATE TABLE t (n INTEGER)");
  const auto fail = [this] {
    connection->Execute("INSERT INTO t VALUES (1)");
    throw std::out_of_range("of a component");
  };
  EXPECT_THROW(InTransaction(*connection, fail), std::out_of_range);
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "0");
}

TEST_F(Sqlite, StackedStatementsAreRefusedBeforeAnythingRuns) {
  connection->Execute("CREATE TABLE t (a)");
  connection->Execute("INSERT INTO t VALUES (1)");
  for (const char* stacked :
       {"DELETE FROM t; SELECT 1", "DELETE FROM t;;x", "DELETE FROM t; /* */ DELETE FROM t"}) {
    EXPECT_ERROR(connection->Execute(stacked), ErrorNumber::kDatabase) << stacked;
    EXPECT_ERROR(connection->Prepare(stacked), ErrorNumber::kDatabase) << stacked;
  }
  EXPECT_ERROR(connection->OpenRecordset("SELECT * FROM t WHERE a = 'x'; DELETE FROM t"),
               ErrorNumber::kDatabase);
  EXPECT_EQ(Text("SELECT count(*) FROM t"), "1");
}

TEST_F(Sqlite, ASemicolonAndCommentsMayFollowAStatement) {
  EXPECT_EQ(Text("SELECT 1;"), "1");
  EXPECT_EQ(Text("SELECT 2 ; ; -- Ende\n /* wirklich */"), "2");
  EXPECT_EQ(Text("SELECT 3 WHERE 'a' = 'a'; -- Ende"), "3");
}

TEST_F(Sqlite, StatementsWithoutContentAreRefused) {
  EXPECT_ERROR(connection->Execute(""), ErrorNumber::kDatabase);
  EXPECT_ERROR(connection->Execute("-- nichts"), ErrorNumber::kDatabase);
  EXPECT_ERROR(connection->Execute(std::string_view("SELECT 1\0; DELETE", 17)), ErrorNumber::kDatabase);
}

TEST_F(Sqlite, ErrorsCarryTheReason) {
  EXPECT_ERROR_TEXT(connection->Execute("INSERT INTO fehlt VALUES (1)"), ErrorNumber::kDatabase,
                    HasSubstr("no such table: fehlt"));
}

TEST_F(Sqlite, AnErrorAmongTheRowsBreaksTheSetOff) {
  connection->Execute("CREATE TABLE t (a INTEGER)");
  connection->Execute("INSERT INTO t VALUES (-1), (-2), (-9223372036854775808), (-4)");
  const RecordsetPtr rows = connection->OpenRecordset("SELECT abs(a) FROM t");
  EXPECT_EQ(rows->TextAt(0), "1");
  rows->MoveNext();
  EXPECT_FALSE(rows->BrokenOff());
  EXPECT_ERROR_TEXT(rows->MoveNext(), ErrorNumber::kDatabase, HasSubstr("overflow"));
  EXPECT_TRUE(rows->IsEof());
  ASSERT_TRUE(rows->BrokenOff());
  EXPECT_THAT(rows->BrokenOff()->Description(), HasSubstr("overflow"));
  EXPECT_EQ(rows->RecordCount(), 2);
  rows->MoveFirst();
  EXPECT_EQ(rows->TextAt(0), "1");
  EXPECT_FALSE(rows->BrokenOff());
}

TEST_F(Sqlite, QueriesThatDifferInLiteralsGiveTheirOwnRows) {
  connection->Execute("CREATE TABLE t (k TEXT, v TEXT)");
  connection->Execute("INSERT INTO t VALUES ('a', '1'), ('b', '2'), ('O''Neil', '3'), ('', '4'), ('\"', '5')");
  EXPECT_EQ(Text("SELECT v FROM t WHERE k = 'a'"), "1");
  EXPECT_EQ(Text("SELECT v FROM t WHERE k = 'b'"), "2");
  EXPECT_EQ(Text("SELECT v FROM t WHERE k = 'O''Neil'"), "3");
  EXPECT_EQ(Text("SELECT v FROM t WHERE k = ''"), "4");
  EXPECT_EQ(Text("SELECT v FROM t WHERE k = '\"'"), "5");
  const RecordsetPtr a = connection->OpenRecordset("SELECT v FROM t WHERE k = 'a' OR v = '4'");
  const RecordsetPtr b = connection->OpenRecordset("SELECT v FROM t WHERE k = 'b' OR v = '5'");
  a->MoveNext();
  EXPECT_EQ(a->TextAt(0), "4");
  EXPECT_EQ(a->RecordCount(), 2);
  EXPECT_EQ(b->TextAt(0), "2");
  b->MoveNext();
  EXPECT_EQ(b->TextAt(0), "5");
}

TEST_F(Sqlite, ALiteralThatNamesAColumnIsLeftInPlace) {
  connection->Execute("CREATE TABLE t (k TEXT)");
  connection->Execute("INSERT INTO t VALUES ('a')");
  EXPECT_EQ(connection->OpenRecordset("SELECT k AS 'Schlüssel' FROM t WHERE k = 'a'")->ColumnName(0),
            "Schlüssel");
  EXPECT_EQ(connection->OpenRecordset("SELECT 1 WHERE 1 IN (SELECT 1 AS 'x')")->TextAt(0), "1");
}

TEST_F(Sqlite, ValuesBecomeTextByTheirDeclaredType) {
  connection->Execute("CREATE TABLE t (d DATE, z DATETIME, w BOOLEAN, r REAL, i INTEGER, b BLOB)");
  connection->Execute("INSERT INTO t VALUES ('2024-03-07', '2024-03-07 14:05:09', 1, 0.1, -7, x'00ff')");
  connection->Execute("INSERT INTO t VALUES ('irgendwann', '2024-03-07T00:00:00', 0, 3.0, 0, '')");
  const RecordsetPtr rows = connection->OpenRecordset("SELECT * FROM t");
  EXPECT_EQ(rows->TextAt(0), "07.03.2024");
  EXPECT_EQ(rows->TextAt(1), "07.03.2024 14:05:09");
  EXPECT_EQ(rows->TextAt(2), "Wahr");
  EXPECT_EQ(rows->ValueAt(2), Value(true));
  EXPECT_EQ(rows->TextAt(3), "0,1");
  EXPECT_EQ(rows->ValueAt(3), Value(0.1));
  EXPECT_EQ(rows->TextAt(4), "-7");
  EXPECT_EQ(rows->ValueAt(4), Value(-7));
  EXPECT_EQ(rows->TextAt(5), "00FF");
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "irgendwann");
  EXPECT_EQ(rows->TextAt(1), "07.03.2024");
  EXPECT_EQ(rows->TextAt(2), "Falsch");
  EXPECT_EQ(rows->TextAt(3), "3");
  EXPECT_EQ(rows->TextAt(5), "");
}

TEST_F(Sqlite, ForeignKeysAreKept) {
  connection->Execute("CREATE TABLE a (id INTEGER PRIMARY KEY)");
  connection->Execute("CREATE TABLE b (a INTEGER REFERENCES a(id))");
  EXPECT_ERROR(connection->Execute("INSERT INTO b VALUES (1)"), ErrorNumber::kDatabase);
}

TEST_F(Sqlite, ASecondConnectionSeesWhatIsCommitted) {
  connection->Execute("CREATE TABLE t (a)");
  connection->Begin();
  connection->Execute("INSERT INTO t VALUES (1)");
  const ConnectionPtr other = OpenConnection(folder.File("test.sqlite"));
  EXPECT_EQ(other->OpenRecordset("SELECT * FROM t")->RecordCount(), 0);
  connection->Commit();
  EXPECT_EQ(other->OpenRecordset("SELECT * FROM t")->RecordCount(), 1);
}

TEST_F(Sqlite, AConnectionForReadingRefusesToWrite) {
  connection->Execute("CREATE TABLE t (a)");
  const ConnectionPtr reader =
      OpenConnection("Provider=SQLite;Mode=ReadOnly;Data Source=" + folder.File("test.sqlite"));
  EXPECT_ERROR_TEXT(reader->Execute("INSERT INTO t VALUES (1)"), ErrorNumber::kDatabase,
                    HasSubstr("Die Datenbank ist schreibgeschützt (attempt to write a readonly database)"));
  EXPECT_EQ(reader->OpenRecordset("SELECT * FROM t")->RecordCount(), 0);
}

TEST_F(Sqlite, AFileThatIsNoDatabaseIsRefusedWhenItIsOpened) {
  EXPECT_ERROR_TEXT(OpenConnection(folder.Write("text.db", std::string(1000, 'x'))), ErrorNumber::kDatabase,
                    HasSubstr("Die Datei ist keine SQLite-Datenbank, oder sie ist verschlüsselt (file is "
                              "not a database)"));
}

TEST_F(Sqlite, KnownErrorsAreToldInGermanWithTheOriginalBehind) {
  connection->Execute(
      "CREATE TABLE t (n INTEGER PRIMARY KEY, u UNIQUE, p NOT NULL, c CHECK (c > 0), f REFERENCES t)");
  connection->Execute("INSERT INTO t VALUES (1, 1, 1, 1, 1)");
  const auto expect = [&](const std::string& sql, const std::string& text, const std::string& original) {
    EXPECT_ERROR_TEXT(connection->Execute(sql), ErrorNumber::kDatabase,
                      HasSubstr(": " + text + " (" + original));
  };
  expect("INSERT INTO t VALUES (1, 2, 1, 1, 1)", "Der Wert ist schon vergeben und darf nur einmal vorkommen",
         "UNIQUE");
  expect("INSERT INTO t VALUES (2, 1, 1, 1, 1)", "Der Wert ist schon vergeben und darf nur einmal vorkommen",
         "UNIQUE");
  expect("INSERT INTO t VALUES (2, 2, NULL, 1, 1)", "Ein Feld, das einen Wert braucht, ist leer", "NOT NULL");
  expect("INSERT INTO t VALUES (2, 2, 1, 0, 1)", "Ein Wert ist nicht zulässig", "CHECK");
  expect("INSERT INTO t VALUES (2, 2, 1, 1, 9)", "Ein Wert verweist auf einen Datensatz, den es nicht gibt",
         "FOREIGN");
  connection->Execute("PRAGMA max_page_count = 1");
  expect(
      "CREATE TABLE voll AS WITH RECURSIVE r(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM r WHERE i < 9999) "
      "SELECT i, hex(zeroblob(100)) FROM r",
      "Auf dem Datenträger der Datenbank ist kein Platz mehr", "database or disk is full");
  // What is wrong with a statement nobody can tell better.
  EXPECT_ERROR_TEXT(connection->Execute("DELETE FROM fehlt"), ErrorNumber::kDatabase,
                    HasSubstr(": no such table: fehlt"));
}

TEST_F(Sqlite, AFolderThatIsMissingIsToldWithThePath) {
  EXPECT_ERROR_TEXT(OpenConnection(folder.File("fehlt/x.db")), ErrorNumber::kDatabase, HasSubstr("fehlt/x.db"));
  EXPECT_ERROR_TEXT(OpenConnection("Provider=SQLite"), ErrorNumber::kDatabase, HasSubstr("Data Source"));
}

// --- Literals ------------------------------------------------------------------------------------

TEST(LiteralTemplate, TakesTheLiteralsBehindWhere) {
  LiteralTemplate query;
  ASSERT_TRUE(query.Make("SELECT 'x', \"a'b\" FROM t where a='1' OR b = 'O''Neil' or c=''"));
  EXPECT_EQ(query.Sql(), "SELECT 'x', \"a'b\" FROM t where a= ?  OR b =  ?  or c= ? ");
  ASSERT_EQ(query.LiteralCount(), 3U);
  EXPECT_EQ(query.Literal(0), "1");
  EXPECT_EQ(query.Literal(1), "O'Neil");
  EXPECT_EQ(query.Literal(2), "");
}

TEST(LiteralTemplate, LeavesBlobsNamesAndComments) {
  LiteralTemplate query;
  ASSERT_TRUE(query.Make("SELECT * FROM t WHERE a = X'00' AND [b'c'] = 'y' -- it's\n AND `d'` = /* ' */ 'z'"));
  EXPECT_EQ(query.Sql(), "SELECT * FROM t WHERE a = X'00' AND [b'c'] =  ?  -- it's\n AND `d'` = /* ' */  ? ");
  EXPECT_EQ(query.Literal(0), "y");
  EXPECT_EQ(query.Literal(1), "z");
}

TEST(LiteralTemplate, LeavesDoubtfulTextsAlone) {
  LiteralTemplate query;
  for (const char* text :
       {"", "SELECT 1", "SELECT 'a' AS nowhere", "SELECT 1 WHERE a = 'x", "SELECT 1 WHERE a = 'x' AND b = ?",
        "SELECT 1 WHERE a = 'x' AND b = :b", "SELECT 1 WHERE a = 'x' /* '", "SELECT 1 WHERE \"a = 'x'"}) {
    EXPECT_FALSE(query.Make(text)) << text;
  }
}

TEST(LiteralTemplate, TakesLiteralsOfTheSameLengthsFromATextLikeTheLast) {
  LiteralTemplate query;
  ASSERT_TRUE(query.Make("SELECT * FROM t WHERE a = 'one' OR b = 'xy'"));
  const std::string sql = query.Sql();
  ASSERT_TRUE(query.Make("SELECT * FROM t WHERE a = 'two' OR b = '?-'"));
  EXPECT_EQ(query.Sql(), sql);
  ASSERT_EQ(query.LiteralCount(), 2U);
  EXPECT_EQ(query.Literal(0), "two");
  EXPECT_EQ(query.Literal(1), "?-");
}

TEST(LiteralTemplate, GivesWhatANewOneGivesWhateverTheLastTextWas) {
  constexpr std::string_view kBase = "SELECT 'n' FROM t WHERE a = 'one' OR [b] = 'O''N' OR c = 'x' OR d=''";
  constexpr std::string_view kPlain = "SELECT 'n' FROM t WHERE a = 'one' OR [b] = 'ON' OR c = ''";
  constexpr std::string_view kCharacters = "''x ?-/*[]\"W";
  std::mt19937 random(20261122);
  const auto below = [&](std::size_t bound) { return random() % bound; };
  LiteralTemplate kept;
  std::string text(kPlain);
  std::size_t taken = 0;
  for (int round = 0; round < 50'000; ++round) {
    // Most texts differ from the last one in a character or two, some in their lengths.
    if (below(4) == 0) text = below(2) == 0 ? kBase : kPlain;
    for (std::size_t changes = below(3); changes > 0; --changes) {
      text[below(text.size())] = kCharacters[below(kCharacters.size())];
    }
    if (below(16) == 0) text.erase(below(text.size()), 1);
    LiteralTemplate fresh;
    const bool made = fresh.Make(text);
    ASSERT_EQ(kept.Make(text), made) << text;
    if (!made) continue;
    ++taken;
    ASSERT_EQ(kept.Sql(), fresh.Sql()) << text;
    ASSERT_EQ(kept.LiteralCount(), fresh.LiteralCount()) << text;
    for (std::size_t i = 0; i < fresh.LiteralCount(); ++i) {
      ASSERT_EQ(kept.Literal(i), fresh.Literal(i)) << text;
    }
  }
  EXPECT_GT(taken, 10'000U);
}

}  // namespace kestrel
