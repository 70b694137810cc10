// The look at an address index whose table other programs have written: what it counts, and how far it tells to be.
#include "targets/address_reindex.h"

#include <atomic>
#include <mutex>
#include <thread>

#include "host/calling_view.h"
#include "host/checked_customers.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "kestrel/transaction.h"
#include "platform/dialogs/recording_user_interface.h"
#include "schema/destination.h"
#include "support/eventually.h"
#include "support/scripted_watch.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;

class AddressReindex : public testing::HostFixture {
 protected:
  using Way = host::AddressReindex::Way;

  void Add(int number, const std::string& name) {
    connection->Execute("INSERT INTO Kunden (KundenNummer, Bez1, PLZ, Ort) VALUES (" + std::to_string(number) +
                        ", '" + name + "', '50667', 'Köln')");
  }
  // Missing, changed, orphaned and unfit ones, at the end.
  std::vector<std::int64_t> Counts(Way way) { return CountsOver(*connection, way); }
  std::vector<std::int64_t> CountsOver(Connection& used, Way way) {
    host::AddressReindex look(used, destination, way, std::make_shared<host::KeyMemory>());
    while (look.Next()) {
    }
    return {look.missing(), look.changed(), look.orphaned(), look.unfit()};
  }

  const host::Destination destination = host::LoadDestination(*connection, "ksbimport.importkunden");
};

TEST_F(AddressReindex, CountsWhatItSaysAndLeavesItUnlessItIsToRepair) {
  for (int number = 1; number <= 6; ++number)
    Add(number, "Firma " + std::string(1, static_cast<char>('a' + number)));
  EXPECT_THAT(Counts(Way::kLook), ElementsAre(6, 0, 0, 0));
  EXPECT_THAT(Counts(Way::kRepair), ElementsAre(6, 0, 0, 0));
  EXPECT_THAT(Counts(Way::kLook), ElementsAre(0, 0, 0, 0));
  Add(7, "neu");
  Add(8, "neu");
  Add(-1, "negativ");
  connection->Execute(
      "UPDATE Kunden SET Bez1 = 'ganz anders', PLZ = '10115', Ort = 'Berlin' WHERE KundenNummer = 1");
  connection->Execute("DELETE FROM Kunden WHERE KundenNummer IN (2, 3, 4)");
  for (const Way way : {Way::kLook, Way::kLook, Way::kRepair})
    EXPECT_THAT(Counts(way), ElementsAre(2, 1, 3, 1));
  EXPECT_THAT(Counts(Way::kLook), ElementsAre(0, 0, 0, 1));
}

TEST_F(AddressReindex, TellsHowFarItIsBehindEachThousandRows) {
  InTransaction(*connection, [&] {
    for (int number = 1; number <= 2500; ++number) Add(number, "Firma " + std::to_string(number));
  });
  host::AddressReindex repair(*connection, destination, Way::kRepair, std::make_shared<host::KeyMemory>());
  std::vector<std::int64_t> done;
  while (repair.Next()) done.push_back(repair.done());
  EXPECT_THAT(done, ElementsAre(1000, 2000, 2500));
  EXPECT_EQ(repair.total(), 2500);
}

// Beside an import.
class ReindexBesideAnImport : public AddressReindex {};

TEST_F(ReindexBesideAnImport, WaitsForItsGroupAndReadsWhatItHasStored) {
  for (int number = 1; number <= 3; ++number) Add(number, "Firma " + std::to_string(number));
  Counts(Way::kRepair);
  connection->Execute("DELETE FROM Adressindex");
  connection->Execute("INSERT INTO Adressindex (AdressId, Adressart, Referenz) VALUES (9 * 64 + 1, 1, '9')");
  const ObjectPtr importer = OverwritingImporter();
  host::GroupedWrites& group = host::GroupedWrites::Of(*connection);
  group.Flush();
  // Its group is ended here and nowhere else.
  std::unique_lock no_timer(connection->CallMutex());
  EXPECT_EQ(Import(importer, {{"KundenNummer", "2"}, {"Bez1", "ganz anders"}, {"PLZ", "10115"}}), "");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "9"}, {"Bez1", "neu"}, {"PLZ", "10115"}}), "");
  // What waits to be sent with others is sent.
  Rows("SELECT count(*) FROM Adressindex");
  ASSERT_TRUE(group.IsOpen());

  const ConnectionPtr other = OpenConnection(file);
  std::atomic<bool> waits = false;
  std::vector<std::int64_t> repaired;
  std::thread repairs([&] {
    testing::ScriptedWatch watch([&waits](int) {
      waits = true;
      return true;
    });
    other->WatchWaits(&watch);
    repaired = CountsOver(*other, Way::kRepair);
    other->WatchWaits(nullptr);
  });
  EXPECT_TRUE(testing::Eventually([&] { return waits.load(); }));
  group.Flush();
  no_timer.unlock();
  repairs.join();
  EXPECT_THAT(repaired, ElementsAre(2, 0, 0, 0)) << "the import has indexed its own";
  EXPECT_THAT(Counts(Way::kLook), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("4"));
}

TEST_F(ReindexBesideAnImport, IsSeenByItsNextLookUp) {
  folder.Write("Kunden.IMP", testing::kCheckedCustomers);
  constexpr int kRecords = 100;
  std::string source = testing::kCustomerHeadings;
  for (int i = 1; i <= kRecords; ++i) source += testing::CustomerLine(i, i);
  folder.Write("Quelle.txt", source);

  // Another program has an address that the source repeats; it gets into the index in the middle of the import.
  testing::CallingView view([this](int record) {
    if (record != 50) return;
    const std::lock_guard no_timer(connection->CallMutex());
    host::GroupedWrites::Of(*connection).Flush();
    const ConnectionPtr other = OpenConnection(file);
    const std::string town(1, static_cast<char>('a' + 90 % 26));
    other->Execute("INSERT INTO Kunden (KundenNummer, Bez1, Strasse, PLZ, Ort) VALUES (1000, 'Firma " + town +
                   "90', 'Weg 90', '10090', 'Ort" + town + "')");
    EXPECT_EQ(CountsOver(*other, Way::kRepair)[0], 1);
  });
  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  ImportJob job({ui, components, clock});
  job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = connection, .user = "4711"});
  const RunResult& result = job.Run(view);
  EXPECT_EQ(result.errors, 0);
  EXPECT_EQ(result.duplicates, 1);
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden WHERE PLZ = '10090'"), ElementsAre("1"));
  EXPECT_THAT(Counts(Way::kLook), ElementsAre(0, 0, 0, 0));
}

}  // namespace
}  // namespace kestrel
