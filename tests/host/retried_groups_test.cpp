// Groups that a server loses in passing: they are stored again, neither twice nor not at all, and the ledger agrees.
#include <signal.h>

#include <functional>
#include <mutex>
#include <thread>

#include "host/ledger_fixture.h"
#include "storage/write_behind_buffer.h"
#include "support/scripted_watch.h"

namespace kestrel {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

// Does something right before a group's commit, when what belongs to it is written down.
class BeforeTheCommit final : public host::GroupMember {
 public:
  explicit BeforeTheCommit(std::function<void()> step) : step_(std::move(step)) {}
  void BeforeCommit() override {
    if (auto step = std::exchange(step_, nullptr)) step();
  }
  void GroupCommitted() override {}
  bool GroupLost(const RuntimeError&) override { return false; }

 private:
  std::function<void()> step_;
};

class RetriedGroups : public testing::LedgerFixture {
 protected:
  void SetUp() override {
    if (!OnPostgres()) GTEST_SKIP() << "needs a server";
    LedgerFixture::SetUp();
  }
  void TearDown() override { connection->WatchWaits(nullptr); }

  pid_t Backend() { return std::stoi(Rows("SELECT pg_backend_pid()").at(0)); }
  void EndSession(pid_t backend) {
    OpenConnection(file)->OpenRecordset("SELECT pg_terminate_backend(" + std::to_string(backend) + ", 10000)");
  }
  // Once, the session ends with the row that is to have number 1.
  void EndSessionWith(const std::string& table, const std::string& column) {
    connection->Execute("CREATE SEQUENCE beendet");
    connection->Execute(
        "CREATE FUNCTION beende() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN IF nextval('beendet') = 1 THEN "
        "PERFORM pg_terminate_backend(pg_backend_pid()); END IF; RETURN NEW; END $$");
    connection->Execute("CREATE TRIGGER beende BEFORE INSERT ON " + table + " FOR EACH ROW WHEN (NEW." +
                        column + " = 1) EXECUTE FUNCTION beende()");
  }
  // For sessions that begin later.
  void SetForDatabase(const std::string& setting) {
    connection->Execute("ALTER DATABASE " + Rows("SELECT current_database()").at(0) + " SET " + setting);
  }
  // Joins the open group behind the importer.
  void Join(host::GroupMember& member) {
    host::GroupedWrites::Of(*connection).Store(member, host::GroupedWrites::Record::kOneStatement, [] {});
  }
  void Finish(const ObjectPtr& of) {
    while (CallMethod(of, "NextLateError").ToBool()) {
      errors.push_back(GetProperty(of, "ErrorDescription").ToText());
      stop_reason = GetProperty(of, "StopReason").ToText();
    }
    CallMethod(of, "AfterImport");
  }
  // Table, index and ledger, each by a connection of its own.
  void ExpectStored(int count) {
    const ConnectionPtr other = OpenConnection(file);
    const auto value = [&](const char* sql) { return std::string(other->OpenRecordset(sql)->TextAt(0)); };
    EXPECT_EQ(value("SELECT count(*) FROM Kunden"), std::to_string(count));
    EXPECT_EQ(value("SELECT count(*) FROM Adressindex"), std::to_string(count));
    EXPECT_EQ(value("SELECT coalesce(sum(Anzahl), 0) FROM Importlaufzeilen"), std::to_string(count));
    EXPECT_EQ(value("SELECT count(*) FROM Importlaufzeilen WHERE Ereignis = ''"), "0");
  }

  std::string stop_reason;
};

TEST_F(RetriedGroups, ACommitThatIsNeverAnsweredAndNeverHappensIsDoneAgain) {
  const std::unique_lock no_timer(connection->CallMutex());
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 300);
  BeforeTheCommit lose([&] { EndSession(Backend()); });
  Join(lose);
  Flush();
  ImportMany(importer, 50);
  End(importer, 350);
  EXPECT_THAT(errors, IsEmpty());
  ExpectStored(350);
}

TEST_F(RetriedGroups, AnAddressThatOverwritesNoneWhenItIsStoredAgainIsToldAsNew) {
  const std::unique_lock no_timer(connection->CallMutex());
  const ObjectPtr importer = OverwritingImporter();
  Start(importer);
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  // The number that the first one has drawn, which draws another one when it is stored again.
  EXPECT_EQ(Import(importer, {{"KundenNummer", "1"}, {"Bez1", "B"}}), "");
  EXPECT_THAT(Rows("SELECT Bez1 FROM Kunden"), ElementsAre("B"));
  EndSession(Backend());
  Flush();
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1 FROM Kunden ORDER BY 1"), ElementsAre("1|B", "2|A"));
  Finish(importer);
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_EQ(CallMethod(importer, "NextLateUpdate").ToInteger(), 0);
  EXPECT_THAT(Rows("SELECT Ereignis, sum(Anzahl) FROM Importlaufzeilen GROUP BY Ereignis"),
              ElementsAre("neu|2"));
}

TEST_F(RetriedGroups, ACommitThatHappensWithoutAnAnswerIsNotDoneTwice) {
  const ConnectionPtr hasty = OpenConnection(file + ";AnswerWait=2");
  const std::unique_lock no_timer(hasty->CallMutex());
  const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
  SetProperty(importer, "Connection", hasty);
  Start(importer);
  CallMethod(importer, "RecordFate", 1, 2, "held back");
  ImportMany(importer, 300);
  const pid_t backend = std::stoi(std::string(hasty->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0)));
  BeforeTheCommit freeze([&] { ::kill(backend, SIGSTOP); });
  host::GroupedWrites::Of(*hasty).Store(freeze, host::GroupedWrites::Record::kOneStatement, [] {});
  bool is_new_session = false;
  testing::ScriptedWatch watch([&](int) {
    // The frozen session commits while the new one asks whether it has.
    if (is_new_session) ::kill(backend, SIGCONT);
    is_new_session |= watch.last_reason.find("wiederhergestellt") != std::string::npos;
    return true;
  });
  hasty->WatchWaits(&watch);
  host::GroupedWrites::Of(*hasty).Flush();
  ::kill(backend, SIGCONT);
  EXPECT_TRUE(is_new_session);
  ImportMany(importer, 50);
  End(importer, 350);
  hasty->WatchWaits(nullptr);
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_THAT(Rows("SELECT Ereignis, sum(Anzahl) FROM Importlaufzeilen GROUP BY Ereignis ORDER BY Ereignis"),
              ElementsAre("neu|350", "zurückgehalten|2"));
  EXPECT_THAT(Rows("SELECT count(*), count(DISTINCT Bez1) FROM Kunden"), ElementsAre("350|300"));
}

TEST_F(RetriedGroups, ACommitOfNothingButRefusedRecordsThatHappensWithoutAnAnswerHindersNoLaterOne) {
  ImportAll({{{"KundenNummer", "1"}, {"Bez1", "eins"}}});
  const ConnectionPtr hasty = OpenConnection(file + ";AnswerWait=0,5");
  const std::unique_lock no_timer(hasty->CallMutex());
  const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
  SetProperty(importer, "Connection", hasty);
  Start(importer);
  ASSERT_EQ(Import(importer, {{"KundenNummer", "1"}, {"Bez1", "noch einmal"}}), "");
  EXPECT_TRUE(CallMethod(importer, "NextLateError").ToBool());
  Import(importer, {{"KundenNummer", "1"}, {"Bez1", "noch einmal"}});
  CallMethod(importer, "RecordFate", 1, 2, "rejected");
  const pid_t backend = std::stoi(std::string(hasty->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0)));
  BeforeTheCommit freeze([&] { ::kill(backend, SIGSTOP); });
  host::GroupedWrites::Of(*hasty).Store(freeze, host::GroupedWrites::Record::kOneStatement, [] {});
  bool is_new_session = false;
  testing::ScriptedWatch watch([&](int) {
    // The frozen session commits before the new one begins.
    if (!is_new_session && watch.last_reason.find("wiederhergestellt") != std::string::npos) {
      is_new_session = true;
      ::kill(backend, SIGCONT);
      const ConnectionPtr other = OpenConnection(file);
      while (
          other->OpenRecordset("SELECT count(*) FROM pg_stat_activity WHERE pid = " + std::to_string(backend))
              ->TextAt(0) != "0") {
        std::this_thread::yield();
      }
    }
    return true;
  });
  hasty->WatchWaits(&watch);
  host::GroupedWrites::Of(*hasty).Flush();
  ::kill(backend, SIGCONT);
  EXPECT_TRUE(is_new_session);
  for (int i = 3; i <= 5; ++i) {
    CallMethod(importer, "RecordFate", i, i, "held back");
    Import(importer, {{"KundenNummer", std::to_string(i).c_str()}, {"Bez1", "neu"}});
    host::GroupedWrites::Of(*hasty).Flush();
  }
  End(importer, 3);
  hasty->WatchWaits(nullptr);
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_THAT(Rows("SELECT Ereignis, sum(Anzahl) FROM Importlaufzeilen WHERE ZeilenNr > 2 * 4294967296 "
                   "GROUP BY Ereignis ORDER BY Ereignis"),
              ElementsAre("abgewiesen|2", "neu|3", "zurückgehalten|3"));
}

TEST_F(RetriedGroups, ALogWhoseHeadIsStoredAgainLeavesThatOfSomebodyElseAlone) {
  connection->Execute("INSERT INTO Protokoll (ProtokollNr, Titel, Liste) VALUES (1, 'eines anderen', 'X')");
  EndSessionWith("Protokoll", "ProtokollNr");
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", "LST", "07.03.2024", "e", "f", "g");
  EXPECT_THAT(Rows("SELECT Titel FROM Protokoll ORDER BY ProtokollNr"), ElementsAre("eines anderen", "t"));
}

TEST_F(RetriedGroups, ARunWhoseBeginningIsStoredAgainLeavesThatOfSomebodyElseAlone) {
  connection->Execute(
      "INSERT INTO Importlauf SELECT 1, 'fertig', 'fremd', '', '', '', '', '', 0, '', '', '', '', 0, 0, 0, 0, "
      "0, 0, 0");
  EndSessionWith("Importlauf", "LaufNr");
  const ObjectPtr importer = Importer();
  Start(importer);
  End(importer);
  EXPECT_THAT(Rows("SELECT ProgID FROM Importlauf ORDER BY LaufNr"),
              ElementsAre("fremd", "ksbimport.importkunden"));
}

TEST_F(RetriedGroups, ASilentServerIsLeftAndTheGroupDoneAgain) {
  const ConnectionPtr hasty = OpenConnection(file + ";AnswerWait=0,5");
  const std::unique_lock no_timer(hasty->CallMutex());
  const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
  SetProperty(importer, "Connection", hasty);
  Start(importer);
  ImportMany(importer, 20);
  const pid_t backend = std::stoi(std::string(hasty->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0)));
  ::kill(backend, SIGSTOP);
  // Once it goes on, it finds that nobody listens, and gives up what it holds.
  testing::ScriptedWatch watch([&](int) {
    if (watch.last_reason.find("wiederhergestellt") != std::string::npos) ::kill(backend, SIGCONT);
    return true;
  });
  hasty->WatchWaits(&watch);
  ImportMany(importer, 300);
  End(importer, 320);
  hasty->WatchWaits(nullptr);
  EXPECT_THAT(errors, IsEmpty());
  ExpectStored(320);
}

TEST_F(RetriedGroups, AServerThatCrashesAndStartsAgainLosesNothing) {
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 200);
  // All sessions end, and the server recovers.
  ::kill(Backend(), SIGKILL);
  ImportMany(importer, 200);
  End(importer, 400);
  EXPECT_THAT(errors, IsEmpty());
  ExpectStored(400);
  EXPECT_THAT(States(), ElementsAre("1|fertig"));
}

TEST_F(RetriedGroups, ARunKeepsItsLockInANewSession) {
  const ObjectPtr importer = Importer();
  Start(importer);
  EndSession(Backend());
  ImportMany(importer, 10);
  Flush();
  EXPECT_EQ(Restore(OpenConnection(file)), "");
  EXPECT_THAT(States(), ElementsAre("1|läuft"));
  End(importer, 10);
}

TEST_F(RetriedGroups, ARowOfALogWhoseSessionEndsWaitsForTheNextGroup) {
  const std::unique_lock no_timer(connection->CallMutex());
  host::WriteBehindBuffer rows(*connection, "Protokollzeilen (ZeilenNr, ProtokollNr, Spalte0)", 1);
  const host::WriteBehindBuffer::Text text[] = {"eine Zeile"};
  rows.Append(1, 1, text);
  EndSession(Backend());
  EXPECT_NO_THROW(rows.Append(2, 1, text));
  Flush();
  EXPECT_THAT(Rows("SELECT ZeilenNr, Spalte0 FROM Protokollzeilen ORDER BY ZeilenNr"),
              ElementsAre("1|eine Zeile", "2|eine Zeile"));
}

TEST_F(RetriedGroups, ADeadlockIsEndedByDoingTheGroupAgain) {
  ImportAll({{{"KundenNummer", "1"}, {"Bez1", "eins"}}, {{"KundenNummer", "2"}, {"Bez1", "zwei"}}});
  const ConnectionPtr other = OpenConnection(file);
  other->Execute("SET deadlock_timeout = '1h'");
  const std::string waits = "SELECT count(*) FROM pg_stat_activity WHERE wait_event_type = 'Lock' AND pid = " +
                            std::string(other->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0));
  other->Begin();
  other->Execute("UPDATE Kunden SET Bez2 = 'anderer' WHERE KundenNummer = 2");
  const std::unique_lock no_timer(connection->CallMutex());
  const ObjectPtr importer = OverwritingImporter();
  Start(importer);
  ASSERT_EQ(Import(importer, {{"KundenNummer", "1"}, {"Bez1", "EINS"}}), "");
  Rows("SELECT 1");  // follows all answers before it
  std::jthread crossing([&] {
    other->Execute("UPDATE Kunden SET Bez2 = 'anderer' WHERE KundenNummer = 1");
    other->Commit();
  });
  const ConnectionPtr third = OpenConnection(file);
  while (third->OpenRecordset(waits)->TextAt(0) == "0") std::this_thread::yield();
  EXPECT_EQ(Import(importer, {{"KundenNummer", "2"}, {"Bez1", "ZWEI"}}), "");
  crossing.join();
  End(importer, 0, 2);
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_THAT(Rows("SELECT Bez1, Bez2 FROM Kunden ORDER BY KundenNummer"),
              ElementsAre("EINS|anderer", "ZWEI|anderer"));
}

TEST_F(RetriedGroups, ASerializationFailureIsEndedByDoingTheGroupAgain) {
  ImportAll({{{"KundenNummer", "1"}, {"Bez1", "eins"}}});
  SetForDatabase("default_transaction_isolation = 'repeatable read'");
  EndSession(Backend());
  const std::unique_lock no_timer(connection->CallMutex());
  const ObjectPtr importer = OverwritingImporter();
  Start(importer);
  ASSERT_EQ(Import(importer, {{"KundenNummer", "7"}, {"Bez1", "sieben"}}), "");
  Rows("SELECT 1");  // follows all answers before it
  OpenConnection(file)->Execute("UPDATE Kunden SET Bez2 = 'anderer' WHERE KundenNummer = 1");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "1"}, {"Bez1", "EINS"}}), "");
  End(importer, 1, 1);
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1, coalesce(Bez2, '') FROM Kunden ORDER BY KundenNummer"),
              ElementsAre("1|EINS|anderer", "7|sieben|"));
}

TEST_F(RetriedGroups, AStatementThatAlwaysTakesTooLongStopsTheImportWithOneReason) {
  ImportAll({{{"KundenNummer", "1"}, {"Bez1", "eins"}}});
  SetForDatabase("statement_timeout = '100ms'");
  const ConnectionPtr other = OpenConnection(file);
  EndSession(Backend());
  other->Begin();
  other->Execute("UPDATE Kunden SET Bez2 = 'anderer'");
  const ObjectPtr importer = OverwritingImporter();
  Start(importer);
  ASSERT_EQ(Import(importer, {{"KundenNummer", "7"}, {"Bez1", "sieben"}}), "");
  Rows("SELECT 1");  // follows all answers before it
  Import(importer, {{"KundenNummer", "1"}, {"Bez1", "EINS"}});
  Finish(importer);
  EXPECT_THAT(errors, Contains(HasSubstr("statement timeout")));
  EXPECT_THAT(stop_reason, HasSubstr("statement_timeout"));
  other->Rollback();
  EXPECT_THAT(Rows("SELECT Bez1 FROM Kunden ORDER BY KundenNummer"), ElementsAre("eins", "sieben"));
}

TEST_F(RetriedGroups, AServerThatGoesOnReadOnlyStopsTheImportWithOneReason) {
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 20);
  Flush();
  // As where a standby has taken over the address.
  SetForDatabase("default_transaction_read_only = on");
  EndSession(Backend());
  Import(importer, {{"Bez1", "Firma"}});
  Finish(importer);
  EXPECT_THAT(GetProperty(importer, "StopReason").ToText(), HasSubstr("darf nicht beschrieben werden"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("20"));
}

TEST_F(RetriedGroups, ARecordThatSomebodyElseHasStoredMeanwhileIsToldAsExisting) {
  const std::unique_lock no_timer(connection->CallMutex());
  const ObjectPtr importer = Importer();
  Start(importer);
  ASSERT_EQ(Import(importer, {{"KundenNummer", "1"}, {"Bez1", "eins"}}), "");
  ASSERT_EQ(Import(importer, {{"KundenNummer", "2"}, {"Bez1", "zwei"}}), "");
  EndSession(Backend());
  OpenConnection(file)->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (1, 'anderer')");
  // The loss is noticed with this record or only at the end, as the server's answer comes.
  const std::string at_once = Import(importer, {{"KundenNummer", "3"}, {"Bez1", "drei"}});
  Finish(importer);
  if (!at_once.empty()) errors.push_back(at_once);
  EXPECT_THAT(errors, ElementsAre(HasSubstr("Die Nummer 1 gibt es in 'Kunden' schon")));
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1 FROM Kunden ORDER BY KundenNummer"),
              ElementsAre("1|anderer", "2|zwei", "3|drei"));
}

}  // namespace
}  // namespace kestrel
