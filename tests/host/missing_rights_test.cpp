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
  EXPECT_THAT(Answer(importer), HasSubstr("In die Tabelle 'Kunden' kann nicht eingefügt werden: "));
  if (!OnPostgres()) {
    EXPECT_THAT(Answer(importer), Not(HasSubstr("\n")));
  }
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
