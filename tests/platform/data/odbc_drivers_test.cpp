// Which driver serves a provider, and what its connection string says.
#include "platform/data/providers/odbc/drivers.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "support/expect_error.h"
#include "support/temp_folder.h"

namespace kestrel::odbc {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class OdbcDrivers : public ::testing::Test {
 protected:
  OdbcDrivers() {
    unsetenv("KESTREL_DRIVERS");
    setenv("KESTREL_HOME", folder_.path().c_str(), 1);
  }
  ~OdbcDrivers() override {
    unsetenv("KESTREL_DRIVERS");
    unsetenv("KESTREL_HOME");
  }

  static std::string StringFor(const std::string& server) {
    const ConnectionKeys keys("Provider=SQLOLEDB.1;Initial Catalog=x;Data Source=" + server +
                              ";Password=;User ID=sa");
    return DriverConnectionString(*FindDriver("SQLOLEDB.1"), keys);
  }

  testing::TempFolder folder_;
};

TEST_F(OdbcDrivers, AServerWithoutPortIsReachedAt1433) {
  EXPECT_THAT(StringFor("daten"), HasSubstr("Server=daten;Port=1433;"));
  EXPECT_THAT(StringFor("daten,1500"), HasSubstr("Server=daten;Port=1500;"));
  EXPECT_THAT(StringFor("daten\\Buero"), HasSubstr("Server=daten\\Buero;"));
  EXPECT_THAT(StringFor("daten\\Buero"), Not(HasSubstr("Port=")));
}

TEST_F(OdbcDrivers, TheDriversFileLiesInTheComponentsFolder) {
  folder_.Write("drivers.ini", "[SQLOLEDB.1]\r\nDriver=Hausmarke\r\nServer=comma\r\n");
  EXPECT_THAT(StringFor("daten"), HasSubstr("Driver={Hausmarke};Server=daten,1433;"));
  setenv("KESTREL_DRIVERS", folder_.Write("andere.ini", "[SQLOLEDB.1]\r\nDriver=Andere\r\n").c_str(), 1);
  EXPECT_THAT(StringFor("daten"), HasSubstr("Driver={Andere};"));
}

TEST_F(OdbcDrivers, APortAmongTheOptionsIsKept) {
  folder_.Write("drivers.ini", "[SQLOLEDB.1]\r\nDriver=FreeTDS\r\nOptions=Port=5000\r\n");
  EXPECT_THAT(StringFor("daten"), HasSubstr("Port=5000"));
  EXPECT_THAT(StringFor("daten"), Not(HasSubstr("1433")));
}

TEST_F(OdbcDrivers, OtherProvidersHaveNoPortOfTheirOwn) {
  folder_.Write("drivers.ini", "[Fremd]\r\nDriver=Fremd\r\n");
  const ConnectionKeys keys("Provider=Fremd;Data Source=daten;User ID=sa");
  EXPECT_THAT(DriverConnectionString(*FindDriver("Fremd"), keys), Not(HasSubstr("Port")));
}

TEST_F(OdbcDrivers, PostgresTakesOnlyThePasswordInBraces) {
  folder_.Write("drivers.ini", "[Fremd]\r\nDriver=PostgreSQL Unicode\r\n");
  const auto text = [](const std::string& user, const std::string& password) {
    const ConnectionKeys keys("Data Source=daten;Initial Catalog=x;User ID=\"" + user + "\";Password=\"" +
                              password + "\"");
    return DriverConnectionString(*FindDriver("Fremd"), keys);
  };
  EXPECT_THAT(text("sa", "a;b}c"), HasSubstr(";Database=x;UID=sa;PWD={a;b}}c};"));
  EXPECT_ERROR_TEXT(text("s;a", ""), ErrorNumber::kDatabase, HasSubstr("Zeichen \";\""));
}

TEST_F(OdbcDrivers, BracesCanBeChosen) {
  const auto text = [&](const std::string& braces, const std::string& password) {
    folder_.Write("drivers.ini", "[Fremd]\r\nDriver=Fremd\r\nBraces=" + braces + "\r\n");
    return DriverConnectionString(*FindDriver("Fremd"),
                                  ConnectionKeys("User ID=sa;Password=\"" + password + "\""));
  };
  EXPECT_THAT(text("", "a}b"), HasSubstr("UID={sa};PWD={a}b};"));
  EXPECT_ERROR_TEXT(text("plain", "a};b"), ErrorNumber::kDatabase, HasSubstr("Zeichen \"};\""));
  EXPECT_THAT(text("double", "a};b"), HasSubstr("UID={sa};PWD={a}};b};"));
  EXPECT_THAT(text("password", "a};b"), HasSubstr("UID=sa;PWD={a}};b};"));
}

}  // namespace
}  // namespace kestrel::odbc
