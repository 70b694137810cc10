// Several clerks who import into one database, each over a connection of his own, step by step in one thread.
#include "storage/group_lock.h"

#include <gmock/gmock.h>

#include <mutex>
#include <utility>

#include "host/host_fixture.h"
#include "platform/data/absent_values.h"
#include "storage/address_index.h"
#include "support/scripted_watch.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class GroupLocks : public testing::HostFixture {
 protected:
  // One of the clerks. No lock is waited for, so that a step that has to wait fails at once.
  struct Clerk {
    explicit Clerk(GroupLocks& test, const std::string& database) : connection(OpenConnection(database)) {
      importer = test.components.CreateObject("ksbimport.importkunden");
      SetProperty(importer, "Connection", connection);
      Value cancel(false);
      CallMethod(importer, "BeforeImport", ByRef(cancel));
    }
    ~Clerk() { host::GroupedWrites::Of(*connection).Flush(); }
    host::GroupLock& lock() const { return host::GroupLock::Of(*connection); }

    ConnectionPtr connection;
    ObjectPtr importer;
  };

  std::string Impatient() const {
    return OnPostgres() ? file + ";LockWait=0.001" : "Provider=SQLite;Data Source=" + file + ";LockWait=0";
  }
  // What the duplicate check asks before each record.
  static bool Finds(const Clerk& clerk, const std::string& key) {
    const SoughtValue sought[] = {{"Doubletkey1", key}};
    const std::lock_guard lock(clerk.connection->CallMutex());
    if (clerk.connection->attachments().Of<AbsentValues>(*clerk.connection).Lacks("Adressindex", sought)) {
      return false;
    }
    return !clerk.connection->OpenRecordset("SELECT * FROM Adressindex WHERE Doubletkey1 = '" + key + "'")
                ->IsEof();
  }
  std::string Store(const Clerk& clerk, const char* name) {
    return Import(clerk.importer, {{"Bez1", name}, {"PLZ", "50667"}, {"Ort", "Köln"}, {"Strasse", "Weg 1"}});
  }
  std::string KeyOf(const char* name) const {
    std::string text;
    host::AppendKeyText(text, {"50667", "Köln", "Weg 1", {name, "", ""}, ""});
    return host::BuildDoubletKey("4", text);
  }
  static void EndGroup(const Clerk& clerk) { host::GroupedWrites::Of(*clerk.connection).Flush(); }
  std::vector<std::string> Names() { return Rows("SELECT Bez1 FROM Kunden ORDER BY Bez1"); }
};

}  // namespace

TEST_F(GroupLocks, ALookUpBeginsAGroupThatKeepsOthersOutUntilItEnds) {
  const Clerk one(*this, file);
  const Clerk other(*this, Impatient());
  // The timer that ends a group waits for it.
  const std::lock_guard held(one.connection->CallMutex());
  EXPECT_FALSE(Finds(one, KeyOf("Muster")));
  EXPECT_TRUE(one.lock().IsHeld());
  Finds(other, KeyOf("Muster"));
  EXPECT_FALSE(other.lock().IsHeld());
  EXPECT_NE(Store(other, "Muster"), "");
  EXPECT_NE(GetProperty(other.importer, "StopReason").ToText(), "");
  EXPECT_EQ(Store(one, "Muster"), "");
  EndGroup(one);
  EXPECT_TRUE(Finds(other, KeyOf("Muster")));
  EXPECT_TRUE(other.lock().IsHeld());
  EXPECT_THAT(Names(), ElementsAre("Muster"));
}

TEST_F(GroupLocks, ARecordWhoseLookUpSomebodyElseHasOvertakenIsRefused) {
  const Clerk one(*this, file);
  const Clerk other(*this, file);
  EXPECT_FALSE(Finds(one, KeyOf("Muster")));
  EndGroup(one);
  EXPECT_FALSE(Finds(other, KeyOf("Muster")));
  EXPECT_EQ(Store(other, "Muster"), "");
  EndGroup(other);
  EXPECT_THAT(Store(one, "Muster"), HasSubstr("noch einmal"));
  // Going on is not senseless.
  EXPECT_EQ(GetProperty(one.importer, "StopReason").ToText(), "");
  EndGroup(one);
  EXPECT_THAT(Names(), ElementsAre("Muster"));
}

// Rows of the index that are stored without any look-up, as by an import without duplicate check, wait for nobody.
TEST_F(GroupLocks, WhoStoresWithoutALookUpTakesNoLockAndIsCounted) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  const Clerk one(*this, file);
  const Clerk other(*this, Impatient());
  const auto counted = [&] {
    EXPECT_FALSE(Finds(one, KeyOf("Muster")));
    EXPECT_TRUE(one.lock().IsHeld());
    return one.lock().CommitsUnlocked();
  };
  const std::lock_guard held(one.connection->CallMutex());
  EXPECT_EQ(counted(), 0);
  EXPECT_EQ(Store(other, "Anderer"), "");
  EndGroup(other);
  EXPECT_TRUE(one.lock().IsHeld());
  EndGroup(one);
  EXPECT_EQ(counted(), 1);
  EXPECT_EQ(Store(one, "Erster"), "");
  EndGroup(one);
  EXPECT_EQ(counted(), 1) << "who has the lock is counted by it";
  EndGroup(one);
  connection->Execute("DELETE FROM Importsperre WHERE Name = 'Adressindex ohne Sperre'");
  EXPECT_EQ(counted(), std::nullopt) << "of an earlier version's database";
}

TEST_F(GroupLocks, ARecordWhoseGroupEndedBeforeItIsStoredWhereNobodyElseHasCommitted) {
  const Clerk one(*this, file);
  EXPECT_FALSE(Finds(one, KeyOf("Erster")));
  EXPECT_EQ(Store(one, "Erster"), "");
  EndGroup(one);
  EXPECT_FALSE(Finds(one, KeyOf("Muster")));
  EndGroup(one);
  EXPECT_EQ(Store(one, "Muster"), "");
  EXPECT_TRUE(one.lock().IsHeld());
  EndGroup(one);
  EXPECT_THAT(Names(), ElementsAre("Erster", "Muster"));
}

TEST_F(GroupLocks, ItIsToldWhetherOthersHaveCommittedSinceTheLastHolding) {
  const Clerk one(*this, file);
  const Clerk other(*this, file);
  Finds(one, KeyOf("A"));
  Store(one, "A");
  EndGroup(one);
  const std::uint64_t before = one.lock().CommitsOfOthers();
  Finds(one, KeyOf("B"));
  Store(one, "B");
  EXPECT_EQ(one.lock().CommitsOfOthers(), before);
  EndGroup(one);
  Finds(other, KeyOf("C"));
  Store(other, "C");
  EndGroup(other);
  Finds(one, KeyOf("D"));
  EXPECT_EQ(one.lock().CommitsOfOthers(), before + 1);
  EndGroup(one);
}

TEST_F(GroupLocks, AGroupThatIsLostIsNoCommit) {
  const Clerk one(*this, file);
  Finds(one, KeyOf("A"));
  Store(one, "A");
  EndGroup(one);
  const std::uint64_t before = one.lock().CommitsOfOthers();
  Finds(one, KeyOf("B"));
  Store(one, "B");
  one.connection->Rollback();
  EndGroup(one);
  Finds(one, KeyOf("C"));
  EXPECT_EQ(one.lock().CommitsOfOthers(), before);
  EndGroup(one);
}

TEST_F(GroupLocks, WithoutALookUpNobodyWaitsWhereTheDatabaseLetsSeveralStore) {
  if (!OnPostgres()) GTEST_SKIP() << "SQLite lets one store at a time";
  const Clerk one(*this, file);
  const Clerk other(*this, Impatient());
  const std::lock_guard held(one.connection->CallMutex());
  EXPECT_EQ(Import(one.importer, {{"Bez1", "Erster"}}), "");
  EXPECT_EQ(Import(other.importer, {{"Bez1", "Zweiter"}}), "");
  EndGroup(other);
  EndGroup(one);
  EXPECT_THAT(Names(), ElementsAre("Erster", "Zweiter"));
}

TEST_F(GroupLocks, ATestRunTakesNone) {
  const Clerk one(*this, file);
  {
    Value record = CallMethod(one.importer, "GetNewRecord");
    ToRecordset(record)->SetText(ToRecordset(record)->RequireColumn("Bez1"), "Muster");
    CallMethod(one.importer, "CheckRecord", ByRef(record));
    EndGroup(one);
  }
  Finds(one, KeyOf("Muster"));
  EXPECT_FALSE(one.lock().IsHeld());
  EXPECT_FALSE(one.connection->InTransaction());
}

TEST_F(GroupLocks, InATransactionOfTheCallersThereIsNone) {
  const Clerk one(*this, file);
  one.connection->Begin();
  EXPECT_FALSE(Finds(one, KeyOf("Muster")));
  EXPECT_FALSE(one.lock().IsHeld());
  EXPECT_EQ(Store(one, "Muster"), "");
  one.connection->Commit();
  EXPECT_THAT(Names(), ElementsAre("Muster"));
}

TEST_F(GroupLocks, ItsTableIsMadeInADatabaseOfAnEarlierVersion) {
  if (!OnPostgres()) GTEST_SKIP() << "SQLite needs none";
  connection->Execute("DROP TABLE Importsperre");
  const Clerk one(*this, file);
  EXPECT_FALSE(Finds(one, KeyOf("Muster")));
  EXPECT_TRUE(one.lock().IsHeld());
  EXPECT_EQ(Store(one, "Muster"), "");
}

namespace {

// What is flushed before the records of a lost group, and takes longer than a group may last.
class SlowRows final : public host::GroupMember {
 public:
  explicit SlowRows(ConnectionPtr connection) : connection_(std::move(connection)) {}
  void GroupCommitted() override {}
  bool GroupLost(const RuntimeError&) override { return !was_slow; }
  void FlushRows() override {
    if (!std::exchange(was_slow, true)) connection_->OpenRecordset("SELECT pg_sleep(1.1)");
  }

  bool was_slow = false;

 private:
  ConnectionPtr connection_;
};

}  // namespace

TEST_F(GroupLocks, RecordsOfALostGroupAreStoredBeforeTheNextOneIsCommittedHoweverLongThatTakes) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  const Clerk one(*this, file);
  const std::lock_guard held(one.connection->CallMutex());
  SlowRows slow(one.connection);
  EXPECT_FALSE(Finds(one, KeyOf("eins")));
  host::GroupedWrites::Of(*one.connection).Store(slow, host::GroupedWrites::Record::kOneStatement, [] {});
  EXPECT_EQ(Store(one, "eins"), "");
  const std::string backend(one.connection->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0));
  Rows("SELECT pg_terminate_backend(" + backend + ", 10000)");
  EndGroup(one);
  EXPECT_TRUE(slow.was_slow);
  EXPECT_THAT(Names(), ElementsAre("eins"));
}

TEST_F(GroupLocks, AWaitForAnotherClerkIsToldAsWhatItIsAndNotAsASilentServer) {
  if (!OnPostgres()) GTEST_SKIP() << "of SQLite the whole database is locked";
  Clerk one(*this, file);
  Clerk other(*this, file);
  testing::ScriptedWatch watch([&](int times) {
    if (times == 2) EndGroup(one);
    return true;
  });
  const std::lock_guard no_timer(one.connection->CallMutex());
  EXPECT_FALSE(Finds(one, "x"));
  other.connection->WatchWaits(&watch);
  EXPECT_FALSE(Finds(other, "x"));
  EXPECT_GE(watch.times, 2);
  EXPECT_THAT(watch.last_reason, HasSubstr("Ein anderer Import in diese Datenbank speichert gerade"));
  other.connection->WatchWaits(nullptr);
}

}  // namespace kestrel
