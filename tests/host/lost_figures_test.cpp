// Whole imports of which a group is lost between records that are held back: what is told of the run and what stands in the
// ledger add up to what was read.
#include <string>

#include "host/checked_customers.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class LostFigures : public HostFixture {
 protected:
  static constexpr int kRecords = 300;

  void SetUp() override {
    HostFixture::SetUp();
    folder.Write("Kunden.IMP", kCheckedCustomers);
    std::string source = kCustomerHeadings;
    for (int i = 1; i <= kRecords; ++i) {
      source += CustomerLine(i, i);
      if (i % 10 == 0) source += CustomerLine(kRecords + i, i);
    }
    folder.Write("Quelle.txt", source);
  }

  // The group that stores the customer of this number cannot be committed.
  void LoseGroupOf(const std::string& condition) {
    if (OnPostgres()) {
      connection->Execute(
          "CREATE FUNCTION lehne_ab() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE EXCEPTION 'nein'; END "
          "$$");
      connection->Execute(
          "CREATE CONSTRAINT TRIGGER lehne_ab AFTER INSERT ON Kunden DEFERRABLE INITIALLY DEFERRED "
          "FOR EACH ROW WHEN (" +
          condition + ") EXECUTE FUNCTION lehne_ab()");
    } else {
      connection->Execute("CREATE TABLE Nirgends (n INTEGER PRIMARY KEY)");
      connection->Execute(
          "CREATE TABLE Verweis (n INTEGER REFERENCES Nirgends (n) DEFERRABLE INITIALLY DEFERRED)");
      connection->Execute("CREATE TRIGGER lehne_ab AFTER INSERT ON Kunden WHEN " + condition +
                          " BEGIN INSERT INTO Verweis VALUES (1); END");
    }
  }

  const RunResult& Run() {
    job.emplace(Platform{ui, components, clock});
    job->Open({.specification = folder.File("Kunden.IMP"), .host_connection = connection, .user = "4711"});
    return job->Run();
  }

  void ExpectToAddUp(const RunResult& result) {
    EXPECT_EQ(result.stored + result.duplicates + result.rejected, result.records);
    EXPECT_GT(result.rejected, 0);
    EXPECT_GT(result.duplicates, 0);
    const std::string told = std::to_string(result.records) + "|" + std::to_string(result.stored) + "|0|" +
                             std::to_string(result.duplicates) + "|" + std::to_string(result.rejected);
    EXPECT_THAT(Rows("SELECT Gelesen, Neu, Aktualisiert, Zurueckgehalten, Abgewiesen FROM Importlauf"),
                ElementsAre(told));
    const auto events = [this](const char* event) {
      return Rows(std::string("SELECT coalesce(sum(Anzahl), 0) FROM Importlaufzeilen WHERE Ereignis = '") +
                  event + "'")
          .at(0);
    };
    EXPECT_EQ(events("neu"), std::to_string(result.stored));
    EXPECT_EQ(events("zurückgehalten"), std::to_string(result.duplicates));
    EXPECT_EQ(events("abgewiesen"), std::to_string(result.rejected));
    EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre(std::to_string(result.stored)));
    EXPECT_THAT(Rows("SELECT count(DISTINCT Spalte0) FROM Protokollzeilen WHERE Spalte0 LIKE '{%'"),
                ElementsAre(std::to_string(result.duplicates)));
  }

  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  std::optional<ImportJob> job;
};

TEST_F(LostFigures, AddUpBehindOneLostGroup) {
  LoseGroupOf("NEW.KundenNummer = 150");
  ExpectToAddUp(Run());
}

TEST_F(LostFigures, AddUpWhereTheLastGroupIsLost) {
  LoseGroupOf("NEW.KundenNummer = 300");
  ExpectToAddUp(Run());
}

TEST_F(LostFigures, AddUpWhereAllGroupsAreLost) {
  LoseGroupOf("NEW.KundenNummer > 0");
  ExpectToAddUp(Run());
}

}  // namespace
}  // namespace kestrel::testing
