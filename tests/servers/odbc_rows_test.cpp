// Rows that an ODBC driver could not read, and how its connection string is completed.
#include <gmock/gmock.h>

#include "kestrel/open_connection.h"
#include "platform/data/providers/odbc/drivers.h"
#include "support/expect_error.h"
#include "support/project_paths.h"

namespace kestrel {

using ::testing::AllOf;
using ::testing::HasSubstr;

TEST(OdbcRows, ARowThatCannotBeReadIsTheEndWithItsNumberAndColumn) {
  const ConnectionPtr connection =
      OpenConnection("Driver=" + testing::InBuildTree("tests/failing_rows_driver.so") + ";");
  const RecordsetPtr rows = connection->OpenRecordset("SELECT Menge FROM Lager");
  EXPECT_EQ(rows->ColumnName(0), "Menge");
  for (const char* amount : {"10", "20"}) {
    EXPECT_EQ(rows->TextAt(0), amount);
    rows->MoveNext();
  }
  EXPECT_EQ(rows->TextAt(0), "30");
  EXPECT_ERROR_TEXT(rows->MoveNext(), ErrorNumber::kDatabase,
                    AllOf(HasSubstr("Zeile 4, Spalte 'Menge': Der Wert kann nicht gelesen werden."),
                          HasSubstr("Numeric value out of range")));
  EXPECT_TRUE(rows->IsEof());
  ASSERT_TRUE(rows->BrokenOff());
  EXPECT_THAT(rows->BrokenOff()->Description(), HasSubstr("Zeile 4"));
  rows->MoveFirst();
  EXPECT_FALSE(rows->BrokenOff()) << "there is a row";
  EXPECT_EQ(rows->TextAt(0), "10");
}

TEST(OdbcLogin, ASilentServerIsGivenUpAfterFiveSeconds) {
  EXPECT_ERROR_TEXT(
      OpenConnection("Driver=" + testing::InBuildTree("tests/failing_rows_driver.so") + ";Server=schweigt;"),
      ErrorNumber::kDatabase, HasSubstr("Given up after 5 s"));
}

TEST(DriverDefaults, OnlyPostgresqlIsToldHowToFetchAndToKeepNoLogsUnlessTheStringSaysIt) {
  EXPECT_EQ(odbc::WithDriverDefaults("Driver={PostgreSQL Unicode};Server=a"),
            "Driver={PostgreSQL Unicode};Server=a;UseDeclareFetch=1;Fetch=1000;Debug=0;CommLog=0;");
  EXPECT_EQ(odbc::WithDriverDefaults("driver=postgresql ansi;Fetch=50;commlog=1;"),
            "driver=postgresql ansi;Fetch=50;commlog=1;UseDeclareFetch=1;Debug=0;");
  for (const char* text : {"Driver={PostgreSQL Unicode};usedeclarefetch=0;Debug=1;CommLog=1",
                           "Driver={FreeTDS};Server=a", "DSN=PostgreSQL"}) {
    EXPECT_EQ(odbc::WithDriverDefaults(text), text);
  }
}

}  // namespace kestrel
