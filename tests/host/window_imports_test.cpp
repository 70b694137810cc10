// Imports whose thread keeps a window alive: what takes the database long is done by another thread, and nobody can tell by
// what is stored and told.
#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "host/host_fixture.h"
#include "storage/index_row_buffer.h"
#include "support/eventually.h"
#include "support/forked_child.h"
#include "support/scripted_watch.h"

namespace kestrel {
namespace {

using testing::ForkedChild;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::ScriptedWatch;
using testing::TempFolder;
using testing::WindowWatch;

enum class Watched { kNot, kByConsole, kByWindow };

// An import into a database of its own, driven as a run does.
class WatchedImport {
 public:
  // Into the database named, or a new one.
  explicit WatchedImport(Watched watched, const std::string& named = {})
      : database(named.empty() ? testing::NewHostDatabase(folder) : named) {
    host::PrepareNewDatabase(*connection);
    host::InitialiseHostDatabase(*connection);
    host::RegisterComponents(components_);
    if (watched == Watched::kByConsole) connection->WatchWaits(&console);
    if (watched == Watched::kByWindow) connection->WatchWaits(&window);
    importer_ = components_.CreateObject("ksbimport.importkunden");
    SetProperty(importer_, "Connection", connection);
  }
  ~WatchedImport() { connection->WatchWaits(nullptr); }

  void Begin() {
    Value cancel(false);
    CallMethod(importer_, "BeforeImport", ByRef(cancel));
    CallMethod(importer_, "RunStarts", "Kunden.IMP", "0", "Kunden.txt", 1, "");
  }
  // One in a hundred has a number that is taken, and one in a hundred a postcode that does not fit.
  void Import(int first, int last) {
    for (int number = first; number <= last; ++number) {
      Value record = CallMethod(importer_, "GetNewRecord");
      const RecordsetPtr row = ToRecordset(record);
      const auto set = [&](const char* field, const std::string& text) {
        row->SetText(row->RequireColumn(field), text);
      };
      set("KundenNummer", std::to_string(number % 100 == 7 ? number - 1 : number));
      set("Bez1", "Firma " + std::to_string(number % 5000 * 7919 % 5000));
      set("PLZ", number % 100 == 9 ? std::string(200, '5') : "50667");
      CallMethod(importer_, "ImportRecord", ByRef(record));
      ++handed_over;
      Note();
    }
  }
  void Finish() {
    while (CallMethod(importer_, "NextLateError").ToBool()) Note();
    CallMethod(importer_, "AfterImport");
    Note();
    CallMethod(importer_, "RunEnds", "finished", handed_over, 0, 0, 0, 0, 0, 0, "");
  }

  std::vector<std::string> Stored(const std::string& sql) const {
    std::vector<std::string> rows;
    const ConnectionPtr own = OpenConnection(database);
    for (const RecordsetPtr set = own->OpenRecordset(sql); !set->IsEof(); set->MoveNext()) {
      std::string row;
      for (std::size_t i = 0; i < set->ColumnCount(); ++i) row += std::string(set->TextAt(i)) + '|';
      rows.push_back(std::move(row));
    }
    return rows;
  }

  // When a server's refusals come back depends on the moment.
  std::vector<std::string> ToldInOrder() const {
    std::vector<std::string> sorted = told;
    std::sort(sorted.begin(), sorted.end());
    return sorted;
  }

  TempFolder folder;
  const std::string database;
  const ConnectionPtr connection = OpenConnection(database);
  std::function<bool(int)> answer = [](int) { return true; };
  ScriptedWatch console{[this](int times) { return answer(times); }};
  WindowWatch window{[this](int times) {
    asking = std::this_thread::get_id();
    return answer(times);
  }};
  std::thread::id asking;
  int handed_over = 0;
  int lost = 0;
  // What was told. Whether a record's own error comes with its number depends on the moment: it does where a refusal of
  // an earlier one has just come back. Which records are stored, their rows tell.
  std::vector<std::string> told;

 private:
  void Note() {
    if (GetProperty(importer_, "ErrorCode").ToInteger() == 0) return;
    const std::int64_t first = GetProperty(importer_, "ErrorFirstRecord").ToInteger();
    const std::int64_t last = GetProperty(importer_, "ErrorLastRecord").ToInteger();
    lost += first == 0 ? 1 : static_cast<int>(last - first) + 1;
    told.push_back(GetProperty(importer_, "ErrorDescription").ToText());
  }

  ComponentRegistry components_;
  ObjectPtr importer_;
};

class WindowImports : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string reason = testing::WantsPostgres() ? testing::PostgresServer::WhyNot() : std::string();
    if (!reason.empty()) GTEST_SKIP() << reason;
  }
  // However the records fell into groups.
  static void ExpectSame(const WatchedImport& one, const WatchedImport& other) {
    for (const char* sql :
         {"SELECT * FROM Kunden ORDER BY KundenNummer", "SELECT * FROM Adressindex ORDER BY AdressId",
          "SELECT Zustand, Gelesen, Neu FROM Importlauf",
          "SELECT Ereignis, min(Datensatz), max(BisDatensatz), sum(Anzahl), min(Nummer), max(BisNummer) FROM "
          "Importlaufzeilen GROUP BY Ereignis ORDER BY Ereignis"}) {
      EXPECT_EQ(one.Stored(sql), other.Stored(sql)) << sql;
    }
    EXPECT_EQ(one.ToldInOrder(), other.ToldInOrder());
    EXPECT_EQ(one.lost, other.lost);
  }
  static void ExpectNothingHalfStoredOrUntold(const WatchedImport& import) {
    EXPECT_EQ(import.Stored("SELECT count(*) FROM Kunden"),
              std::vector{std::to_string(import.handed_over - import.lost) + '|'});
    ExpectThatEachAddressHasItsRow(import);
  }
  static void ExpectThatEachAddressHasItsRow(const WatchedImport& import) {
    EXPECT_THAT(import.Stored("SELECT KundenNummer FROM Kunden WHERE KundenNummer * 64 + 1 NOT IN (SELECT "
                              "AdressId FROM Adressindex)"),
                IsEmpty());
    EXPECT_THAT(import.Stored("SELECT AdressId FROM Adressindex WHERE AdressId / 64 NOT IN (SELECT "
                              "KundenNummer FROM Kunden)"),
                IsEmpty());
  }
  // From now on a group with a record of this number cannot be committed.
  static void RefuseAtCommit(WatchedImport& import, int number) {
    const std::string when = "new.KundenNummer = " + std::to_string(number);
    import.connection->Execute("CREATE TABLE Eltern (n INTEGER PRIMARY KEY)");
    import.connection->Execute(
        "CREATE TABLE Kinder (n INTEGER REFERENCES Eltern (n) DEFERRABLE INITIALLY DEFERRED)");
    if (testing::WantsPostgres()) {
      import.connection->Execute(
          "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN INSERT INTO Kinder VALUES (1); "
          "RETURN "
          "new; END $$");
      import.connection->Execute("CREATE TRIGGER t AFTER INSERT ON Kunden FOR EACH ROW WHEN (" + when +
                                 ") EXECUTE PROCEDURE f()");
    } else {
      import.connection->Execute("CREATE TRIGGER t AFTER INSERT ON Kunden WHEN " + when +
                                 " BEGIN INSERT INTO Kinder VALUES (1); END");
    }
  }
};

// More than wait at most, so that some are stored in the middle of a record; a server is sent rows all the time.
int Many() {
  return testing::WantsPostgres() ? 2000 : static_cast<int>(host::IndexRowBuffer::kMostRows) + 2000;
}

}  // namespace

TEST_F(WindowImports, StoreAndTellTheSame) {
  WatchedImport plain(Watched::kNot);
  WatchedImport in_window(Watched::kByWindow);
  for (WatchedImport* import : {&plain, &in_window}) {
    import->Begin();
    import->Import(1, Many());
    import->Finish();
    EXPECT_GT(import->lost, 0);
    ExpectNothingHalfStoredOrUntold(*import);
  }
  ExpectSame(plain, in_window);
  // By nobody else, and where the machine is fast not even by it.
  EXPECT_TRUE(in_window.window.times == 0 || in_window.asking == std::this_thread::get_id());
}

TEST_F(WindowImports, LeaveTheKeysOfAnEarlierVersionToAnotherThreadWhereADatabaseIsOpened) {
  WatchedImport import(Watched::kByWindow);
  host::Settings::Of(*import.connection).Set("Adressindex", "AlgorithmCode1", "1");
  const ConnectionPtr other = OpenConnection(import.database);
  other->Begin();
  if (other->capabilities().dialect != Dialect::kSqlite)
    other->Execute("UPDATE Importsperre SET Stand = Stand + 1");
  bool is_left = false;
  import.answer = [&](int) { is_left |= !import.connection->CallMutex().try_lock();
  if (!is_left) import.connection->CallMutex().unlock();
  if (other->InTransaction()) other->Rollback();
  return true;
};
ComponentRegistry components;
host::RegisterComponents(components);
EXPECT_THAT(
    CallMethod(components.CreateObject("kestrelhost.Setup"), "RestoreDatabase", import.connection).ToText(),
    HasSubstr("neu gebildet"));
EXPECT_TRUE(is_left);
}  // namespace kestrel

TEST_F(WindowImports, TellACommitThatFailsAsOthersDo) {
  for (const Watched watched : {Watched::kNot, Watched::kByConsole, Watched::kByWindow}) {
    WatchedImport import(watched);
    import.Begin();
    import.Import(1, 5);
    host::GroupedWrites::Of(*import.connection).Flush();
    RefuseAtCommit(import, 8);
    {
      // The timer leaves the group alone.
      const std::lock_guard lock(import.connection->CallMutex());
      import.Import(6, 8);
      host::GroupedWrites::Of(*import.connection).Flush();
    }
    import.Import(10, 20);
    import.Finish();
    ExpectNothingHalfStoredOrUntold(import);
    EXPECT_THAT(import.told, ::testing::Contains(HasSubstr("nicht gespeichert werden")));
    EXPECT_THAT(import.Stored("SELECT KundenNummer FROM Kunden WHERE KundenNummer = 8"), IsEmpty());
    EXPECT_THAT(import.Stored("SELECT KundenNummer FROM Kunden WHERE KundenNummer = 20"), Not(IsEmpty()));
  }
}

TEST_F(WindowImports, AreNotHarmedByAStopRequestDuringACommit) {
  WatchedImport stopped(Watched::kByWindow);
  stopped.answer = [](int) { return false; };
  stopped.Begin();
  stopped.Import(1, Many());
  stopped.Finish();
  WatchedImport plain(Watched::kNot);
  plain.Begin();
  plain.Import(1, Many());
  plain.Finish();
  ExpectSame(plain, stopped);
}

TEST_F(WindowImports, GiveUpACommitThatWaitsForOthersWhereTheWatchSaysNo) {
  if (testing::WantsPostgres()) GTEST_SKIP() << "there, nobody who reads keeps a commit waiting";
  const auto say_no = [](int) { return false; };
  const auto say_yes = [](int) { return true; };
  constexpr Watched kBoth[] = {Watched::kByConsole, Watched::kByWindow};
  for (const Watched watched : kBoth) {
    WatchedImport import(watched);
    // Without a write ahead log.
    import.connection->OpenRecordset("PRAGMA journal_mode = DELETE");
    import.Begin();
    import.answer = say_no;
    {
      const std::lock_guard lock(import.connection->CallMutex());
      import.Import(1, 3);
      const ConnectionPtr reader = OpenConnection(import.database);
      const RecordsetPtr rows = reader->OpenRecordset("SELECT * FROM Importfelder");
      host::GroupedWrites::Of(*import.connection).Flush();
    }
    import.answer = say_yes;
    import.Import(10, 20);
    import.Finish();
    ExpectNothingHalfStoredOrUntold(import);
    EXPECT_THAT(import.told, ::testing::Contains(HasSubstr("abgebrochen")));
    // Those of the group, and what came behind it, as nothing is stored behind a group that is lost.
    EXPECT_EQ(import.lost, 3 + 11);
  }
}

TEST_F(WindowImports, ThatAreKilledLeaveNothingHalfStored) {
  for (int i = 0; i < 3; ++i) {
    const TempFolder folder;
    const std::string database = testing::NewHostDatabase(folder);
    // No connection is open when the other process begins.
    WatchedImport(Watched::kNot, database).Begin();
    ForkedChild child([&] {
      WatchedImport import(Watched::kByWindow, database);
      import.Begin();
      import.Import(1, 1000 * Many());
    });
    WatchedImport after(Watched::kByWindow, database);
    const auto stored = [&] { return std::stoi(after.Stored("SELECT count(*) FROM Kunden")[0]); };
    const int first = stored();
    EXPECT_TRUE(testing::Eventually([&] { return stored() > first + 1000 * (i + 1); }));
    const int safe = stored();
    child.Kill();
    EXPECT_GE(stored(), safe);
    ExpectThatEachAddressHasItsRow(after);
    const int before = stored();
    after.Begin();
    after.Import(2'000'000, 2'000'050);
    after.Finish();
    EXPECT_EQ(stored(), before + after.handed_over - after.lost);
    ExpectThatEachAddressHasItsRow(after);
  }
}

}  // namespace kestrel
