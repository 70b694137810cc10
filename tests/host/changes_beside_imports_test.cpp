// Imports with duplicate check while others change addresses without one: what an import knows of the index is what stands
// there.
#include <functional>

#include "host/calling_view.h"
#include "host/checked_customers.h"
#include "host/held_back_log.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "platform/base/text.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ChangesBesideImports : public HostFixture {
 protected:
  static constexpr int kRecords = 400;
  // The record that is like the address in question, and what another program changes well before it, when the import
  // has asked for its keys already.
  static constexpr int kRepeats = 300;
  static constexpr int kWhere = 100;
  static constexpr int kInQuestion = 5000;

  // Imports some lines; with `beside` called in the middle.
  RunResult ImportLines(const std::string& lines, const std::function<void()>& beside = {},
                        const std::string& settings = "") {
    folder.Write("Kunden.IMP", ReplaceAll(kCheckedCustomers, "[CfgSettings]\n", "[CfgSettings]\n" + settings));
    folder.Write("Quelle.txt", kCustomerHeadings + lines);
    CallingView view([&](int record) {
      if (!beside || record != kWhere) return;
      host::GroupedWrites::Of(*connection).Flush();
      beside();
    });
    ImportJob job({ui, components, clock});
    job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = connection, .user = "4711"});
    return job.Run(view);
  }
  // Others, and among them one at the address in question.
  static std::string Lines() {
    std::string lines;
    for (int i = 1; i <= kRecords; ++i) lines += CustomerLine(i, i == kRepeats ? kInQuestion : i);
    return lines;
  }
  void Undo(std::int64_t run) {
    const ObjectPtr ledger = components.CreateObject("kestrelhost.RunLedger");
    SetProperty(ledger, "Connection", other);
    CallMethod(ledger, "StartUndo", run, false, false);
    while (CallMethod(ledger, "NextUndo").ToBool()) {
    }
  }

  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  const ConnectionPtr other = OpenConnection(file);
};

TEST_F(ChangesBesideImports, AnAddressThatAnUndoRemovesHoldsNoRecordBack) {
  ASSERT_EQ(ImportLines(CustomerLine(900, 6000)).stored, 1);
  ASSERT_EQ(ImportLines(CustomerLine(901, kInQuestion)).stored, 1);
  const RunResult result = ImportLines(Lines(), [this] { Undo(2); });
  EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden WHERE KundenNummer = 901"), IsEmpty());
  EXPECT_EQ(result.duplicates, 0);
  EXPECT_EQ(result.stored, kRecords);
}

TEST_F(ChangesBesideImports, AnAddressThatAnUndoPutsBackHoldsARecordBack) {
  ASSERT_EQ(ImportLines(CustomerLine(901, kInQuestion)).stored, 1);
  ASSERT_EQ(ImportLines(CustomerLine(901, 6000), {}, "KundenUeberschreiben=1\n").updated, 1);
  const RunResult result = ImportLines(Lines(), [this] { Undo(2); });
  EXPECT_EQ(result.duplicates, 1);
  EXPECT_EQ(result.stored, kRecords - 1);
}

class DecisionsBesideImports : public ChangesBesideImports {
 protected:
  void ExpectSeen() {
    WriteHeldBackLog(components, other,
                     {{"Specification", folder.File("Kunden.IMP").c_str()},
                      {"Source", "/d/messe.txt"},
                      {"ImportClass", "ksbimport.importkunden"}},
                     {{{{"KundenNummer", "901"},
                        {"Bez1", "Firma i5000"},
                        {"Strasse", "Weg 5000"},
                        {"PLZ", "15000"},
                        {"Ort", "Orti"}},
                       {{"Record", "3"}, {"AddressType", "1"}, {"Address", "900"}}}});
    ASSERT_EQ(CustomerLine(901, kInQuestion), "901;Firma i5000;Weg 5000;15000;Orti\r\n");
    const RunResult result = ImportLines(Lines(), [this] {
      const ObjectPtr records = components.CreateObject("kestrelhost.HeldBackRecords");
      SetProperty(records, "Connection", other);
      CallMethod(records, "ImportAnyway", Rows("SELECT min(ZeilenNr) FROM Protokolldetails").at(0), "4711");
    });
    EXPECT_THAT(Rows("SELECT Bez1 FROM Kunden WHERE KundenNummer = 901"), ElementsAre("Firma i5000"));
    EXPECT_EQ(result.duplicates, 1);
    EXPECT_EQ(result.stored, kRecords - 1);
  }
};

TEST_F(DecisionsBesideImports, AreSeenByAnImportThatKnowsAllKeysOfTheIndex) { ExpectSeen(); }

TEST_F(DecisionsBesideImports, AreSeenByAnImportThatHasAskedForItsKeysBefore) {
  ASSERT_EQ(ImportLines(CustomerLine(900, 6000)).stored, 1);
  ExpectSeen();
}

}  // namespace
}  // namespace kestrel::testing
