#include "storage/grouped_writes.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <mutex>
#include <utility>
#include <vector>

#include "kestrel/open_connection.h"
#include "support/eventually.h"
#include "support/expect_error.h"
#include "support/forked_child.h"
#include "support/noting_member.h"
#include "support/scripted_watch.h"
#include "support/temp_folder.h"

namespace kestrel::host {

using Record = GroupedWrites::Record;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::NotingMember;

namespace {

class Grouped : public ::testing::Test {
 protected:
  ~Grouped() override { GroupedWrites::Leave(*connection, member); }
  Grouped() { connection->Execute("CREATE TABLE t (n INTEGER PRIMARY KEY, part TEXT NOT NULL)"); }

  std::int64_t CountSeenByOthers() {
    return OpenConnection(file)->OpenRecordset("SELECT n FROM t")->RecordCount();
  }
  static void Insert(Connection& connection, std::int64_t number, std::string_view part) {
    const auto insert = connection.Prepare("INSERT INTO t VALUES (?, ?)");
    insert->BindInteger(0, number);
    insert->BindText(1, part);
    insert->Execute();
  }
  void StoreOne(std::int64_t number) {
    GroupedWrites::Of(*connection).Store(member, Record::kOneStatement, [&] {
      Insert(*connection, number, "x");
    });
  }

  testing::TempFolder folder;
  const std::string file = folder.File("host.db");
  const ConnectionPtr connection = OpenConnection(file);
  NotingMember member;
};

// Writes all numbers behind, when it is asked for them; where its group is lost, it stores them with the next one.
class NumbersWrittenBehind final : public GroupMember {
 public:
  explicit NumbersWrittenBehind(ConnectionPtr connection) : connection_(std::move(connection)) {}
  ~NumbersWrittenBehind() override { GroupedWrites::Leave(*connection_, *this); }
  void Add(std::int64_t number) {
    GroupedWrites& group = GroupedWrites::Of(*connection_);
    group.Store(*this, Record::kOneStatement, [&] {
      numbers_.push_back(number);
      was_written_behind_ = group.MayWriteBehind();
      if (was_written_behind_) {
        group.WriteBehind(*this);
      } else {
        FlushRows();
      }
    });
  }
  void FlushRows() override {
    for (const std::int64_t number : std::exchange(numbers_, {})) {
      stored_.push_back(number);
      connection_->Execute("INSERT INTO t VALUES (" + std::to_string(number) + ", 'x')");
    }
  }
  void GroupCommitted() override { stored_.clear(); }
  bool GroupLost(const RuntimeError&) override {
    numbers_.insert(numbers_.begin(), stored_.begin(), stored_.end());
    stored_.clear();
    return !numbers_.empty();
  }
  // The number added last.
  bool WasWrittenBehind() const { return was_written_behind_; }

 private:
  ConnectionPtr connection_;
  std::vector<std::int64_t> numbers_;
  std::vector<std::int64_t> stored_;
  bool was_written_behind_ = false;
};

}  // namespace

TEST(SpansOfGroups, LetACommitTakeATwentiethOfTheTimeOrAFifthButLastFiveSecondsAtMost) {
  using std::chrono::milliseconds;
  const auto after_end = [](int end, int commit) {
    return std::chrono::duration_cast<milliseconds>(
               GroupedWrites::SpanAfter(milliseconds(end), milliseconds(commit)))
        .count();
  };
  const auto after = [&](int commit) { return after_end(commit, commit); };
  EXPECT_EQ(after(0), 200);
  EXPECT_EQ(after(10), 200);
  EXPECT_EQ(after(20), 380);
  EXPECT_EQ(after(100), 1000);
  EXPECT_EQ(after(250), 1000);
  EXPECT_EQ(after(400), 1600);
  EXPECT_EQ(after(60000), 5000);
  // Nobody loses more because there was more to store for it.
  EXPECT_EQ(after_end(20, 1), 380);
  EXPECT_EQ(after_end(400, 1), 1000);
  EXPECT_EQ(after_end(60000, 250), 1000);
  EXPECT_EQ(after_end(60000, 400), 1600);
}

TEST_F(Grouped, RecordsShareATransactionThatTheTimerEnds) {
  {
    // The timer waits for it, so that no slow machine lets it come first.
    const std::lock_guard lock(connection->CallMutex());
    StoreOne(1);
    StoreOne(2);
    EXPECT_TRUE(connection->InTransaction());
    EXPECT_EQ(CountSeenByOthers(), 0);
  }
  EXPECT_TRUE(testing::Eventually([&] { return CountSeenByOthers() == 2; }));
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_EQ(GroupedWrites::Of(*connection).Generation(), 1U);
}

TEST_F(Grouped, ABusyGroupEndsInTheMiddleOfTheRecords) {
  std::int64_t n = 0;
  EXPECT_TRUE(testing::Eventually([&] {
    for (int busy = 0; busy < 1000; ++busy) StoreOne(++n);
    return GroupedWrites::Of(*connection).Generation() >= 2;
  }));
  EXPECT_GT(CountSeenByOthers(), 0);
}

TEST_F(Grouped, ALookUpAmongRecordsThatAreStoredAgainLeavesTheirGroupOpenHoweverLongItTakes) {
  const std::lock_guard no_timer(connection->CallMutex());
  GroupedWrites& group = GroupedWrites::Of(*connection);
  testing::NotingMember member;
  StoreOne(1);
  const auto begin = std::chrono::steady_clock::now();
  group.Retry([&] {
    do {
      group.OpenForLookUp(member);
    } while (std::chrono::steady_clock::now() - begin < 2 * GroupedWrites::kShortestSpan);
  });
  EXPECT_EQ(group.Generation(), 1U);
  EXPECT_EQ(CountSeenByOthers(), 0);
  group.OpenForLookUp(member);
  EXPECT_EQ(group.Generation(), 2U);
  EXPECT_EQ(CountSeenByOthers(), 1);
}

TEST_F(Grouped, ARecordThatFailsLeavesTheOthersAlone) {
  GroupedWrites& group = GroupedWrites::Of(*connection);
  StoreOne(1);
  EXPECT_ERROR_TEXT(StoreOne(1), ErrorNumber::kDatabase, HasSubstr("UNIQUE"));
  EXPECT_ERROR(group.Store(member, Record::kSeveralStatements,
                           [&] {
                             Insert(*connection, 2, "first half");
                             Insert(*connection, 1, "second half");
                           }),
               ErrorNumber::kDatabase);
  StoreOne(3);
  group.Flush();
  EXPECT_EQ(CountSeenByOthers(), 2);
}

TEST_F(Grouped, ATransactionOfTheCallersFinishesTheGroupFirst) {
  StoreOne(1);
  connection->Begin();
  EXPECT_EQ(CountSeenByOthers(), 1);
  StoreOne(2);
  connection->Rollback();
  EXPECT_EQ(CountSeenByOthers(), 1);
}

TEST_F(Grouped, ClosingTheConnectionKeepsTheGroup) {
  StoreOne(1);
  connection->Close();
  EXPECT_EQ(CountSeenByOthers(), 1);
}

TEST_F(Grouped, EveryMemberIsToldOnceWhatBecameOfItsGroup) {
  StoreOne(1);
  StoreOne(2);
  NotingMember other;
  GroupedWrites& group = GroupedWrites::Of(*connection);
  EXPECT_ERROR(group.Store(other, Record::kOneStatement,
                           [&] { connection->Execute("INSERT OR ROLLBACK INTO t VALUES (1, 'x')"); }),
               ErrorNumber::kDatabase);
  EXPECT_THAT(member.losses, ElementsAre(HasSubstr("UNIQUE")));
  EXPECT_THAT(other.losses, ElementsAre(HasSubstr("UNIQUE")));
  StoreOne(4);
  group.Flush();
  EXPECT_EQ(CountSeenByOthers(), 1);
  EXPECT_EQ(member.stood, 1);
  EXPECT_EQ(member.losses.size(), 1U);
  EXPECT_EQ(other.stood, 0);
}

TEST_F(Grouped, ATransactionThatSomebodyElseEndedCountsAsLost) {
  StoreOne(1);
  connection->Execute("ROLLBACK");
  GroupedWrites::Of(*connection).Flush();
  EXPECT_THAT(member.losses, ElementsAre(HasSubstr("Transaktion beendet")));
  StoreOne(2);
  connection->Execute("ROLLBACK");
  StoreOne(3);
  GroupedWrites::Of(*connection).Flush();
  EXPECT_EQ(member.losses.size(), 2U);
  EXPECT_EQ(member.stood, 1);
}

TEST_F(Grouped, InATransactionOfTheCallersARecordStandsAtOnce) {
  connection->Begin();
  StoreOne(1);
  EXPECT_EQ(member.stood, 1);
  connection->Rollback();
  EXPECT_TRUE(member.losses.empty());
}

TEST_F(Grouped, AMemberThatLeavesIsToldNothingMore) {
  StoreOne(1);
  GroupedWrites::Leave(*connection, member);
  GroupedWrites::Of(*connection).Flush();
  EXPECT_EQ(member.stood, 0);
  EXPECT_EQ(CountSeenByOthers(), 1);
}

TEST_F(Grouped, WhatIsWrittenBehindIsStoredAgainWhereItsGroupIsLost) {
  NumbersWrittenBehind rows(connection);
  StoreOne(1);
  rows.Add(5);
  EXPECT_EQ(connection->OpenRecordset("SELECT count(*) FROM t")->TextAt(0), "2");
  rows.Add(6);
  connection->Execute("ROLLBACK");
  GroupedWrites::Of(*connection).Flush();
  EXPECT_THAT(member.losses, ElementsAre(HasSubstr("Transaktion beendet")));
  EXPECT_EQ(OpenConnection(file)->OpenRecordset("SELECT group_concat(n) FROM t")->TextAt(0), "5,6");
  EXPECT_FALSE(GroupedWrites::Of(*connection).TakeWriteBehindFailure());
}

TEST_F(Grouped, ReadersMayStayOpenAcrossAGroupsEnd) {
  StoreOne(1);
  StoreOne(2);
  const RecordsetPtr rows = connection->OpenRecordset("SELECT n FROM t ORDER BY n");
  GroupedWrites::Of(*connection).Flush();
  StoreOne(3);
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "2");
}

TEST_F(Grouped, AreStoredByAnotherThreadWhereTheirsKeepsWindows) {
  class Threads final : public GroupMember {
   public:
    void FlushRows() override { flushing = std::this_thread::get_id(); }
    void BeforeCommit() override { before = std::this_thread::get_id(); }
    void GroupCommitted() override { committed = std::this_thread::get_id(); }
    bool GroupLost(const RuntimeError&) override { return false; }
    std::thread::id flushing, before, committed;
  } threads;
  const std::lock_guard no_timer(connection->CallMutex());
  GroupedWrites& group = GroupedWrites::Of(*connection);
  const auto store = [&] {
    group.Store(threads, Record::kOneStatement, [&] { group.WriteBehind(threads); });
    group.Flush();
    EXPECT_EQ(threads.flushing, threads.committed);
    EXPECT_EQ(threads.before, threads.committed);
  };
  const auto yes = [](int) { return true; };
  testing::WindowWatch window(yes);
  connection->WatchWaits(&window);
  store();
  EXPECT_NE(threads.committed, std::this_thread::get_id());
  testing::ScriptedWatch console(yes);
  connection->WatchWaits(&console);
  store();
  EXPECT_EQ(threads.committed, std::this_thread::get_id());
  connection->WatchWaits(nullptr);
  GroupedWrites::Leave(*connection, threads);
}

TEST_F(Grouped, AreStoredAgainByAnotherThreadWhereTheirsKeepsWindows) {
  const std::lock_guard no_timer(connection->CallMutex());
  GroupedWrites& group = GroupedWrites::Of(*connection);
  const auto thread_of_retry = [&] {
    std::thread::id thread;
    group.Retry([&] {
      connection->Execute("DELETE FROM t WHERE n = -1");
      thread = std::this_thread::get_id();
    });
    return thread;
  };
  const auto yes = [](int) { return true; };
  testing::WindowWatch window(yes);
  connection->WatchWaits(&window);
  EXPECT_NE(thread_of_retry(), std::this_thread::get_id());
  testing::ScriptedWatch console(yes);
  connection->WatchWaits(&console);
  EXPECT_EQ(thread_of_retry(), std::this_thread::get_id());
  connection->WatchWaits(nullptr);
}

TEST_F(Grouped, AKilledProgramLosesItsOpenGroupAtMostAndNoHalfRecord) {
  connection->Execute("CREATE TABLE half (n INTEGER PRIMARY KEY)");
  connection->Close();
  testing::ForkedChild child([&] {
    const ConnectionPtr own = OpenConnection(file);
    GroupedWrites& group = GroupedWrites::Of(*own);
    const auto half = own->Prepare("INSERT INTO half VALUES (?)");
    NotingMember own_member;
    for (std::int64_t n = 1;; ++n) {
      group.Store(own_member, Record::kSeveralStatements, [&] {
        Insert(*own, n, "x");
        half->BindInteger(0, n);
        half->Execute();
      });
    }
  });
  std::int64_t safe = 0;
  for (int group = 0; group < 3; ++group) {
    const std::int64_t before = safe;
    ASSERT_TRUE(testing::Eventually([&] { return (safe = CountSeenByOthers()) > before; }));
  }
  child.Kill();
  const ConnectionPtr after = OpenConnection(file);
  EXPECT_GE(after->OpenRecordset("SELECT n FROM t")->RecordCount(), safe);
  EXPECT_EQ(after->OpenRecordset("SELECT n FROM t")->RecordCount(),
            after->OpenRecordset("SELECT n FROM half")->RecordCount());
  EXPECT_EQ(after->OpenRecordset("PRAGMA integrity_check")->TextAt(0), "ok");
  Insert(*after, 0, "nobody holds a lock");
}

TEST_F(Grouped, ALastRecordSurvivesThoughNoOtherFollows) {
  connection->Close();
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  testing::ForkedChild child([&] {
    const ConnectionPtr own = OpenConnection(file);
    NotingMember own_member;
    GroupedWrites::Of(*own).Store(own_member, Record::kOneStatement, [&] { Insert(*own, 1, "x"); });
    if (write(ends[1], "x", 1) != 1) return;
    ::pause();
  });
  char ready = 0;
  ASSERT_EQ(read(ends[0], &ready, 1), 1);
  EXPECT_TRUE(testing::Eventually([&] { return CountSeenByOthers() == 1; }));
  child.Kill();
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(CountSeenByOthers(), 1);
}

TEST_F(Grouped, WhatIsWrittenBehindIsThereForEveryQuery) {
  NumbersWrittenBehind rows(connection);
  rows.Add(1);
  rows.Add(2);
  EXPECT_TRUE(rows.WasWrittenBehind());
  EXPECT_EQ(connection->OpenRecordset("SELECT count(*) FROM t")->TextAt(0), "2");
  rows.Add(3);
  EXPECT_EQ(connection->Prepare("SELECT count(*) FROM t WHERE part = 'x'")->Open()->TextAt(0), "3");
}

TEST_F(Grouped, WhatIsWrittenBehindIsCommittedWithItsGroup) {
  NumbersWrittenBehind rows(connection);
  rows.Add(1);
  EXPECT_TRUE(rows.WasWrittenBehind());
  EXPECT_TRUE(testing::Eventually([&] { return CountSeenByOthers() == 1; }));
  rows.Add(2);
  GroupedWrites::Of(*connection).Flush();
  EXPECT_EQ(CountSeenByOthers(), 2);
  rows.Add(3);
  connection->Close();
  EXPECT_EQ(CountSeenByOthers(), 3);
}

TEST_F(Grouped, NothingIsWrittenBehindInATransactionOfTheCallers) {
  NumbersWrittenBehind rows(connection);
  connection->Begin();
  rows.Add(1);
  EXPECT_FALSE(rows.WasWrittenBehind());
  connection->Commit();
  EXPECT_EQ(CountSeenByOthers(), 1);
}

TEST_F(Grouped, WhatIsWrittenBehindAndCannotBeStoredIsToldOnce) {
  NumbersWrittenBehind rows(connection);
  StoreOne(1);
  rows.Add(1);
  GroupedWrites& group = GroupedWrites::Of(*connection);
  group.Flush();
  const auto failure = group.TakeWriteBehindFailure();
  ASSERT_TRUE(failure);
  EXPECT_THAT(failure->Description(), HasSubstr("UNIQUE"));
  EXPECT_FALSE(group.TakeWriteBehindFailure());
  EXPECT_EQ(CountSeenByOthers(), 1);
}

TEST_F(Grouped, RowsMayEndBeforeTheirGroupAndAfterIt) {
  {
    NumbersWrittenBehind rows(connection);
    rows.Add(1);
  }
  GroupedWrites::Of(*connection).Flush();
  EXPECT_EQ(CountSeenByOthers(), 0);
  NumbersWrittenBehind rows(connection);
  rows.Add(2);
  connection->Close();
  EXPECT_EQ(CountSeenByOthers(), 1);
}

}  // namespace kestrel::host
