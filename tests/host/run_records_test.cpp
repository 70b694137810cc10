// What the ledger tells of the records of a run once an undo has taken some of them back.
#include "ledger/run_records.h"

#include "host/ledger_fixture.h"
#include "ledger/run_state.h"

namespace kestrel {

using ::testing::ElementsAre;

namespace {

class RunRecords : public testing::LedgerFixture {
 protected:
  RunRecords() {
    ImportAll({{{"Bez1", "A"}}});
    connection->Execute("DELETE FROM Importlaufzeilen");
  }
  // A row of the first run, about new addresses.
  void AddRow(const std::string& number, const std::string& columns) {
    connection->Execute("INSERT INTO Importlaufzeilen VALUES (" + std::to_string(host::kRowsPerRun) + " + " +
                        number + ", 1, 'neu', " + columns + ")");
  }
  // Records, event and numbers.
  std::vector<std::string> Told() {
    std::vector<std::string> told;
    const auto rows = host::RecordsOfRun(*connection, 1);
    for (; !rows->IsEof(); rows->MoveNext()) {
      std::string row;
      for (const std::size_t column : {0, 1, 2, 4, 5}) row.append(rows->TextAt(column)).append("|");
      told.push_back(row);
    }
    return told;
  }
};

}  // namespace

TEST_F(RunRecords, WhatWasTakenBackHasItsCountWhereOtherRecordsLieInBetween) {
  AddRow("1", "2, 10, 5, 'Kunden', 1, 5, NULL");
  AddRow("2", "11, 12, 2, 'Kunden', 6, 7, NULL");
  EXPECT_THAT(Told(), ElementsAre("2|10|neu, zurückgenommen (5)|1|5|", "11|12|neu, zurückgenommen|6|7|"));
}

TEST_F(RunRecords, WhatWasLeftStandsBesideWhatWasTakenBack) {
  AddRow("1", "2, 4, 3, 'Kunden', 1, 3, '#r3;n2;'");
  EXPECT_THAT(Told(), ElementsAre("2|4|neu, zurückgenommen (2)|1|3|", "3|3|neu|2|2|"));
}

}  // namespace kestrel
