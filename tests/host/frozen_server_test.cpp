// Whole imports whose server stops answering altogether: one error, with what is stored, and no more than that.
#include <signal.h>

#include <fstream>

#include "host/checked_customers.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr int kRecords = 400;

// Processes, stopped until the end of the scope.
class Frozen {
 public:
  ~Frozen() { WakeUp(); }
  void Freeze(std::vector<pid_t> processes) {
    processes_ = std::move(processes);
    for (const pid_t process : processes_) ::kill(process, SIGSTOP);
  }
  void WakeUp() {
    for (const pid_t process : std::exchange(processes_, {})) ::kill(process, SIGCONT);
  }

 private:
  std::vector<pid_t> processes_;
};

pid_t ParentOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  pid_t number = 0;
  std::string name;
  char state = 0;
  pid_t parent = 0;
  file >> number >> name >> state >> parent;
  return parent;
}

class FrozenServer : public testing::HostFixture {
 protected:
  void SetUp() override {
    if (!OnPostgres()) GTEST_SKIP() << "needs a server";
    HostFixture::SetUp();
    folder.Write("Kunden.IMP", testing::kCheckedCustomers);
    std::string source = testing::kCustomerHeadings;
    for (int i = 1; i <= kRecords; ++i) source += testing::CustomerLine(i, i);
    folder.Write("Quelle.txt", source);
  }

  // Freezes the whole server while the record of that number is imported; `stops`: the user asks for a stop where the run
  // tells that it waits.
  class View final : public RunView {
   public:
    View(FrozenServer& test, bool stops) : test_(test), stops_(stops) {}
    void SetInfo(std::string_view text) override {
      if (text.starts_with("Importiere Datensatz 250 ")) {
        test_.Freeze();
        is_frozen_ = true;
      } else if (stops_ && is_frozen_ && !text.starts_with("Importiere ")) {
        // Whatever it says that it waits for.
        test_.job->RequestStop();
      }
    }
    void SetProgress(double) override {}
    void Yield() override {}
    void CloseWindow() override {}
    void Tell(std::string_view text) override { told.emplace_back(text); }

    std::vector<std::string> told;

   private:
    FrozenServer& test_;
    const bool stops_;
    bool is_frozen_ = false;
  };

  void Freeze() { server.Freeze({backend, ParentOf(backend)}); }

  const RunResult& Import(View& view, const std::string& limits) {
    used = OpenConnection(file + limits);
    backend = std::stoi(std::string(used->OpenRecordset("SELECT pg_backend_pid()")->TextAt(0)));
    job.emplace(Platform{ui, components, clock});
    job->Open({.specification = folder.File("Kunden.IMP"), .host_connection = used, .user = "4711"});
    const RunResult& result = job->Run(view);
    server.WakeUp();
    return result;
  }

  // The last box but the closing one.
  const std::string& StopText() const { return ui.boxes.at(ui.boxes.size() - 2).text; }

  // What was told is what stands, in the ledger, too, as the next who opens the database finds out.
  void ExpectToldAsStored(const RunResult& result) {
    const std::string stored = std::to_string(result.stored);
    EXPECT_EQ(result.next_record, result.stored + 1);
    // A commit that nobody answered stands perhaps, once the server wakes up, which is told.
    if (StopText().find("ungewiss") != std::string::npos) return;
    EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre(stored));
    EXPECT_THAT(Rows("SELECT coalesce(sum(Anzahl), 0) FROM Importlaufzeilen WHERE Ereignis = 'neu'"),
                ElementsAre(stored));
  }

  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  ConnectionPtr used;
  pid_t backend = 0;
  Frozen server;
  std::optional<ImportJob> job;
};

TEST_F(FrozenServer, IsOneErrorWhereTheUserStopsAndSaysWhatIsStored) {
  View view(*this, true);
  const RunResult& result = Import(view, "");
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(result.stop_reason, "");
  ASSERT_THAT(ui.boxes, SizeIs(2));
  EXPECT_THAT(ui.boxes[0].text,
              HasSubstr("Der Import wurde abgebrochen. Der Datenbankserver hat nicht geantwortet"));
  const std::string last = std::to_string(result.stored);
  const std::string next = std::to_string(result.stored + 1);
  EXPECT_THAT(ui.boxes[0].text, result.stored == 0 ? HasSubstr("Es ist kein Datensatz gespeichert")
                                                   : HasSubstr("der letzte ist Datensatz " + last +
                                                               " der Quelle. Nach der Abhilfe ist der "
                                                               "Import mit Datensatz " +
                                                               next + " fortzusetzen"));
  EXPECT_THAT(view.told,
              ::testing::Each(::testing::AnyOf(EndsWith("aus diesem Grund"), HasSubstr("es wird gewartet"))));
  EXPECT_LE(view.told.size(), 2U);
  ExpectToldAsStored(result);
}

TEST_F(FrozenServer, StopsTheRunWhereItStaysAwayForLongerThanIsWaitedFor) {
  View view(*this, false);
  const RunResult& result = Import(view, ";AnswerWait=0,5;LockWait=0,5");
  EXPECT_FALSE(result.aborted);
  EXPECT_THAT(result.stop_reason, HasSubstr("Verbindung zum Datenbankserver"));
  ASSERT_THAT(ui.boxes, SizeIs(2)) << ui.boxes[0].text << "\n" << ui.boxes[1].text;
  EXPECT_THAT(StopText(), HasSubstr("Der Import wurde angehalten. "));
  EXPECT_LE(view.told.size(), 2U);
  ExpectToldAsStored(result);
}

}  // namespace
}  // namespace kestrel
