// The look at an address index whose table other programs have written: what it counts, and how far it tells to be.
#include "targets/address_reindex.h"

#include "host/host_fixture.h"
#include "kestrel/transaction.h"
#include "schema/destination.h"

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
  std::vector<std::int64_t> Counts(Way way) {
    host::AddressReindex look(*connection, destination, way, std::make_shared<host::KeyMemory>());
    while (look.Next()) {
    }
    EXPECT_EQ(look.done(), look.total());
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

}  // namespace
}  // namespace kestrel
