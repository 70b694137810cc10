// What the sample host's import class says of a destination before an import.
#include "host/host_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class MissingRightsTest : public testing::HostFixture {
 protected:
  static std::string Answer(const ObjectPtr& importer) {
    return CallMethod(importer, "CheckDestination").ToText();
  }
  void AllowReadingOnly() {
    connection->Execute(OnPostgres() ? "SET default_transaction_read_only = on" : "PRAGMA query_only = 1");
  }
};

TEST_F(MissingRightsTest, NothingIsMissingInANewDatabaseAndNothingIsStored) {
  EXPECT_EQ(Answer(OverwritingImporter()), "");
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("0"));
  EXPECT_FALSE(connection->InTransaction());
}

TEST_F(MissingRightsTest, ADatabaseThatTakesNothingIsToldOnceWithItsReason) {
  const ObjectPtr importer = OverwritingImporter();
  AllowReadingOnly();
  EXPECT_THAT(Answer(importer),
              HasSubstr(OnPostgres() ? "Die Datenbank ist schreibgeschützt"
                                     : "In die Tabelle 'Kunden' kann nicht eingefügt werden: "));
  EXPECT_THAT(Answer(importer), Not(HasSubstr("\n")));
  EXPECT_FALSE(connection->InTransaction());
}

TEST_F(MissingRightsTest, AMissingTableIsTold) {
  const ObjectPtr importer = Importer();
  connection->Execute("DROP TABLE Kunden");
  EXPECT_THAT(Answer(importer), HasSubstr("In die Tabelle 'Kunden' kann nicht eingefügt werden: "));
}

TEST_F(MissingRightsTest, AMissingAddressIndexIsTold) {
  const ObjectPtr importer = Importer();
  connection->Execute("DROP TABLE Adressindex");
  EXPECT_THAT(Answer(importer), HasSubstr("In den Adressindex der Dublettenprüfung kann nicht"));
}

// A user who may do everything else.
TEST_F(MissingRightsTest, AServersDatabaseThatTakesNoChangesIsToldOnceAndRefusesTheFirstRecord) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  connection->Execute("SET default_transaction_read_only = on");
  const ObjectPtr importer = Importer();
  const std::string told = CallMethod(importer, "CheckDestination").ToText();
  EXPECT_THAT(told, ::testing::StartsWith("Die Datenbank ist schreibgeschützt"));
  EXPECT_EQ(told.find('\n'), std::string::npos);
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  CallMethod(importer, "RunStarts", "Probe.IMP", "", "kunden.txt", 0, "");
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), told);
  EXPECT_EQ(GetProperty(importer, "StopReason").ToText(), told);
  connection->Execute("SET default_transaction_read_only = off");
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
}

class MissingGrants : public MissingRightsTest {
 protected:
  void SetUp() override {
    if (!OnPostgres()) GTEST_SKIP() << "SQLite knows no users";
    role_ = "clerk_" + Rows("SELECT current_database()")[0];
    connection->Execute("CREATE ROLE " + role_);
    connection->Execute("GRANT ALL ON ALL TABLES IN SCHEMA public TO " + role_);
    connection->Execute("GRANT ALL ON ALL SEQUENCES IN SCHEMA public TO " + role_);
  }
  std::string AnswerWithout(const std::string& rights) {
    connection->Execute("REVOKE " + rights + " FROM " + role_);
    connection->Execute("SET ROLE " + role_);
    const std::string answer = Answer(Importer());
    connection->Execute("RESET ROLE");
    return answer;
  }
  std::string role_;
};

TEST_F(MissingGrants, OfLedgerAndLockAreTold) {
  EXPECT_EQ(AnswerWithout("TRUNCATE ON Kunden"), "");
  EXPECT_THAT(AnswerWithout("INSERT ON Importlaufzeilen"), HasSubstr("In die Tabelle 'Importlaufzeilen'"));
  EXPECT_THAT(AnswerWithout("UPDATE ON Importsperre"), HasSubstr("In der Tabelle 'Importsperre'"));
}

TEST_F(MissingGrants, OfSequencesAreTold) {
  EXPECT_THAT(AnswerWithout("UPDATE ON SEQUENCE Protokoll_ProtokollNr_seq"),
              HasSubstr("An der Folge 'protokoll_protokollnr_seq', aus der 'Protokoll' seine Nummern bekommt, "
                        "fehlen Rechte: UPDATE"));
  EXPECT_THAT(AnswerWithout("SELECT, UPDATE ON SEQUENCE Kunden_KundenNummer_seq"),
              HasSubstr("aus der 'Kunden' seine Nummern bekommt, fehlen Rechte: SELECT, UPDATE"));
}

TEST_F(MissingGrants, OfLogsLedgerAndNumbersRefuseTheFirstRecordWithOneReason) {
  for (const std::string rights :
       {"INSERT ON Protokollzeilen", "UPDATE ON Importlauf", "INSERT ON Importlaufzeilen",
        "USAGE, UPDATE ON SEQUENCE Importlauf_LaufNr_seq"}) {
    connection->Execute("REVOKE " + rights + " FROM " + role_);
    connection->Execute("SET ROLE " + role_);
    const ObjectPtr importer = Importer();
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
    CallMethod(importer, "RunStarts", "Probe.IMP", "", "kunden.txt", 0, "");
    const std::string told = Import(importer, {{"Bez1", "A"}});
    connection->Execute("RESET ROLE");
    connection->Execute("GRANT " + rights + " TO " + role_);
    EXPECT_THAT(told, HasSubstr("fehlen Rechte an der Datenbank: " + rights.substr(0, 5))) << rights;
    EXPECT_THAT(GetProperty(importer, "StopReason").ToText(), HasSubstr("GRANT"));
    EXPECT_FALSE(CallMethod(importer, "NextLateError").ToBool());
  }
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("0"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Importlauf"), ElementsAre("0"));
}

TEST_F(MissingGrants, AreToldOfNoImportThatHasThem) {
  connection->Execute("SET ROLE " + role_);
  const ObjectPtr importer = Importer();
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  CallMethod(importer, "AfterImport");
  connection->Execute("RESET ROLE");
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("1"));
}

TEST_F(MissingGrants, StopAnImportAtItsFirstRecord) {
  connection->Execute("REVOKE INSERT ON Kunden FROM " + role_);
  connection->Execute("SET ROLE " + role_);
  const ObjectPtr importer = Importer();
  EXPECT_EQ(Import(importer, {{"KundenNummer", "1"}, {"Bez1", "A"}}), "");
  EXPECT_TRUE(CallMethod(importer, "NextLateError").ToBool());
  EXPECT_THAT(GetProperty(importer, "StopReason").ToText(), HasSubstr("Rechte"));
}

TEST_F(MissingRightsTest, ADestinationThatIsNotThereIsTold) {
  connection->Execute("DELETE FROM Importziele");
  EXPECT_NE(Answer(Importer()), "");
}

TEST_F(MissingRightsTest, WhereTheHostHasATransactionOpenNothingIsTriedInIt) {
  const ObjectPtr importer = Importer();
  connection->Begin();
  EXPECT_EQ(Answer(importer), "");
  EXPECT_TRUE(connection->InTransaction());
  connection->Rollback();
}

}  // namespace
}  // namespace kestrel
