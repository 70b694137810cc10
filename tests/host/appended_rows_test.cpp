// Rows of a log that SQLite gives their keys are those that come with them.
#include "storage/appended_rows.h"

#include <mutex>
#include <random>

#include "host/host_fixture.h"
#include "storage/write_behind_buffer.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;

constexpr const char* kTable = "Zeilen (Nr, Kopf, Text)";

class AppendedRows : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && OnPostgres()) GTEST_SKIP() << "a server is told each key";
  }

  void Make(const std::string& columns) {
    connection->Execute("DROP TABLE IF EXISTS Zeilen");
    connection->Execute("CREATE TABLE Zeilen (" + columns);
  }
  bool Follows(std::int64_t first_key) { return host::AppendedRows(*connection, kTable, 3).Follow(first_key); }

  // What some logs leave that are written in turns.
  std::vector<std::string> WriteLogs(unsigned seed, bool with_trigger) {
    std::mt19937 random(seed);
    const auto below = [&](std::size_t count) { return random() % count; };
    Make("Nr INTEGER PRIMARY KEY, Kopf INTEGER NOT NULL, Text TEXT)");
    if (with_trigger) {
      connection->Execute("CREATE TRIGGER nichts AFTER INSERT ON Zeilen BEGIN SELECT 1; END");
    }
    const auto put = [&](std::int64_t key) {
      connection->Execute("INSERT OR IGNORE INTO Zeilen VALUES (" + std::to_string(key) + ", 0, 'vorher')");
    };
    // In the way of the first and the last log.
    put(1100);
    put(3500);
    {
      struct Log {
        std::int64_t next;
        std::unique_ptr<host::WriteBehindBuffer> rows;
      };
      std::vector<Log> logs;
      for (const std::int64_t first : {1000, 2000, 3000}) {
        logs.push_back({first, std::make_unique<host::WriteBehindBuffer>(*connection, kTable, 1)});
      }
      for (int i = 0; i < 600; ++i) {
        Log& log = logs[below(logs.size())];
        for (std::size_t rows = below(70); rows > 0 && log.next < 3900; --rows) {
          const std::string text = std::to_string(i) + std::string(below(3), 'x');
          const host::WriteBehindBuffer::Text texts[] = {below(9) == 0 ? std::nullopt
                                                                       : std::optional<std::string_view>(text)};
          log.rows->Append(log.next, log.next / 100 % 7 == 0 ? 8 : log.next / 1000, texts);
          log.next += below(50) == 0 ? 2 : 1;
        }
        if (below(10) == 0) host::GroupedWrites::Of(*connection).Flush();
        if (below(40) == 0) put(static_cast<std::int64_t>(1000 + below(3000)));
      }
    }
    return Rows("SELECT * FROM Zeilen ORDER BY Nr");
  }
};

TEST_F(AppendedRows, FollowOnlyWhatIsBeforeThem) {
  Make("Nr INTEGER PRIMARY KEY, Kopf INTEGER NOT NULL, Text TEXT)");
  EXPECT_TRUE(Follows(1));
  connection->Execute("INSERT INTO Zeilen VALUES (7, 1, 'a')");
  EXPECT_FALSE(Follows(6));
  EXPECT_FALSE(Follows(7));
  EXPECT_TRUE(Follows(8));
  EXPECT_TRUE(Follows(900));
}

TEST_F(AppendedRows, AreStoredWithTheKeysThatFollow) {
  Make("Nr INTEGER PRIMARY KEY, Kopf INTEGER NOT NULL, Text TEXT)");
  host::AppendedRows rows(*connection, kTable, 3);
  Statement& insert = rows.Of(3);
  insert.BindInteger(0, 41);
  insert.BindInteger(1, 5);
  insert.BindText(2, "a");
  insert.BindNull(3);
  insert.BindText(4, "c");
  EXPECT_EQ(insert.Execute(), 3);
  EXPECT_THAT(Rows("SELECT * FROM Zeilen ORDER BY Nr"), ElementsAre("41|5|a", "42|5|NULL", "43|5|c"));
}

TEST_F(AppendedRows, AreNoneWhereSqliteGivesNoKeysOrSomebodyElseSeesThem) {
  for (const char* columns :
       {"Nr INTEGER PRIMARY KEY DESC, Kopf INTEGER, Text TEXT)",
        "Nr INTEGER PRIMARY KEY AUTOINCREMENT, Kopf INTEGER, Text TEXT)",
        "Nr INTEGER PRIMARY KEY, Kopf INTEGER, Text TEXT) WITHOUT ROWID",
        "Nr INT PRIMARY KEY, Kopf INTEGER, Text TEXT)", "Nr INTEGER, Kopf INTEGER, Text TEXT)",
        "Nr INTEGER, Kopf INTEGER, Text TEXT, PRIMARY KEY (Nr, Kopf))"}) {
    Make(columns);
    EXPECT_FALSE(Follows(1)) << columns;
  }
  Make("Nr INTEGER PRIMARY KEY, Kopf INTEGER, Text TEXT)");
  ASSERT_TRUE(Follows(1));
  connection->Execute("CREATE TRIGGER nichts BEFORE INSERT ON Zeilen BEGIN SELECT 1; END");
  EXPECT_FALSE(Follows(1));
  connection->Execute("DROP TRIGGER nichts");
  connection->Execute("CREATE TEMP TRIGGER nichts BEFORE INSERT ON zeilen BEGIN SELECT 1; END");
  EXPECT_FALSE(Follows(1));
  connection->Execute("DROP TRIGGER nichts");
  ASSERT_TRUE(Follows(1));
  connection->Execute("CREATE TEMP TABLE zeilen (Nr TEXT, Kopf INTEGER, Text TEXT)");
  EXPECT_FALSE(Follows(1));
}

TEST_F(AppendedRows, OfLogsInTurnsAreThoseThatComeWithTheirKeys) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    const std::vector<std::string> appended = WriteLogs(seed, false);
    EXPECT_EQ(appended, WriteLogs(seed, true)) << seed;
    EXPECT_GT(appended.size(), 2000U);
  }
}

}  // namespace
}  // namespace kestrel
