#include "platform/data/table_names.h"

#include <gmock/gmock.h>

#include "kestrel/open_connection.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

class TableNamesTest : public ::testing::Test {
 protected:
  TableNames& Names() { return connection->attachments().Of<TableNames>(*connection); }
  std::string Translate(std::string_view sql) {
    std::string memory;
    return std::string(Names().Translate(sql, memory));
  }

  testing::TempFolder folder;
  ConnectionPtr connection = OpenConnection(folder.File("host.db"));
};

TEST_F(TableNamesTest, LeaveStatementsAloneAsLongAsNoneIsGiven) {
  EXPECT_EQ(Translate("SELECT * FROM Protokoll"), "SELECT * FROM Protokoll");
  EXPECT_EQ(Names().InDatabase("Protokoll"), "Protokoll");
}

TEST_F(TableNamesTest, PutThePrefixBeforeWholeNamesInAnyCase) {
  Names().Prefix("k_", {"Protokoll", "Protokollzeilen"});
  EXPECT_EQ(Translate("SELECT p.x FROM protokoll p JOIN Protokollzeilen ON Protokollzeilen.Nr = ProtokollNr"),
            "SELECT p.x FROM k_protokoll p JOIN k_Protokollzeilen ON k_Protokollzeilen.Nr = ProtokollNr");
}

TEST_F(TableNamesTest, LeaveAloneWhatStandsInQuotes) {
  Names().Prefix("k_", {"Protokoll"});
  const std::string sql = R"(INSERT INTO "Protokoll" VALUES ('Protokoll', 'it''s Protokoll', "a""Protokoll"))";
  EXPECT_EQ(Translate(sql), sql);
  EXPECT_EQ(Translate("SELECT 'offen Protokoll"), "SELECT 'offen Protokoll");
}

TEST_F(TableNamesTest, TellTheNamesOfBothSides) {
  Names().Prefix("k_", {"Protokoll"});
  EXPECT_EQ(Names().InDatabase("protokoll"), "k_protokoll");
  EXPECT_EQ(Names().InDatabase("Kunde"), "Kunde");
  EXPECT_EQ(Names().InStatements("k_Protokoll"), "Protokoll");
  EXPECT_EQ(Names().InStatements("k_Kunde"), "k_Kunde");
}

TEST_F(TableNamesTest, HoldForEveryWayToTheDatabase) {
  connection->Execute("CREATE TABLE \"Protokoll\" (fremd)");
  Names().Prefix("k_", {"Protokoll"});
  connection->Execute("CREATE TABLE Protokoll (eigen)");
  connection->Prepare("INSERT INTO Protokoll VALUES (1)")->Execute();
  EXPECT_EQ(connection->OpenRecordset("SELECT eigen FROM Protokoll WHERE 'x' = 'x'")->TextAt(0), "1");
  EXPECT_EQ(connection->OpenRecordset("SELECT count(*) FROM \"Protokoll\"")->TextAt(0), "0");
}

}  // namespace
}  // namespace kestrel
