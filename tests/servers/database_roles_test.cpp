// The roles that init makes on a server, and what is told where it may not.
#include <gmock/gmock.h>

#include "components/register_components.h"
#include "kestrel/component_registry.h"
#include "schema/database_roles.h"
#include "schema/host_schema.h"
#include "servers/postgres_fixture.h"
#include "support/expect_error.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class DatabaseRoles : public testing::PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    host::InitialiseHostDatabase(*connection);
  }
  // A new user of the roles named.
  ConnectionPtr UserWith(const std::string& name, const std::string& roles) {
    connection->Execute("DROP ROLE IF EXISTS " + name);
    connection->Execute("CREATE ROLE " + name + " LOGIN PASSWORD 'geheim'" +
                        (roles.empty() ? "" : " IN ROLE " + roles));
    return OpenConnection(
        "Provider=PostgreSQL;host=127.0.0.1;port=" + testing::PostgresServer::Shared().port() +
        ";dbname=" + database + ";user=" + name + ";password=geheim");
  }
  std::string CheckedBy(const ConnectionPtr& user) {
    ComponentRegistry components;
    host::RegisterComponents(components);
    const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
    SetProperty(importer, "Connection", user);
    return CallMethod(importer, "CheckDestination").ToText();
  }
};

TEST_F(DatabaseRoles, AreMadeOnceAndMayBeMadeAgain) {
  EXPECT_EQ(host::GrantRoles(*connection), "");
  EXPECT_EQ(host::GrantRoles(*connection), "");
}

TEST_F(DatabaseRoles, LetAClerkImportAndAReaderRead) {
  ASSERT_EQ(host::GrantRoles(*connection), "");
  EXPECT_EQ(CheckedBy(UserWith("sachbearbeiter", "kestrel_import")), "");
  const ConnectionPtr reader = UserWith("leser", "kestrel_read");
  EXPECT_EQ(reader->OpenRecordset("SELECT count(*) FROM Kunden")->TextAt(0), "0");
  EXPECT_ERROR_TEXT(reader->Execute("DELETE FROM Kunden"), ErrorNumber::kDatabase,
                    HasSubstr("permission denied"));
}

TEST_F(DatabaseRoles, ThatAreMissingAreToldForEveryTableThatAnImportWrites) {
  ASSERT_EQ(host::GrantRoles(*connection), "");
  EXPECT_THAT(CheckedBy(UserWith("leser", "kestrel_read")),
              AllOf(HasSubstr("'Kunden'"), HasSubstr("Adressindex"), HasSubstr("'Protokoll'"),
                    HasSubstr("'Protokollzeilen'"), HasSubstr("'Importlauf'"), HasSubstr("'Importlaufzeilen'"),
                    HasSubstr("'Importsperre'")));
}

TEST_F(DatabaseRoles, ThatTheUserMayNotMakeAreToldWithTheSqlOfAnAdministrator) {
  const ConnectionPtr user = UserWith("fremder", "");
  EXPECT_THAT(
      host::GrantRoles(*user),
      AllOf(HasSubstr("permission denied"), HasSubstr("Ein Administrator der Datenbank holt es so nach:"),
            HasSubstr("\n  GRANT SELECT ON Personalstamm"), HasSubstr(" TO kestrel_import;")));
}

TEST_F(DatabaseRoles, ASchemaThatTheSearchPathNamesIsMade) {
  const ConnectionPtr elsewhere = OpenConnection(testing::PostgresServer::Shared().ConnectionString(database) +
                                                 ";options=-csearch_path=adressen");
  host::InitialiseHostDatabase(*elsewhere);
  EXPECT_EQ(host::GrantRoles(*elsewhere), "");
  EXPECT_EQ(Text("SELECT count(*) FROM adressen.Kunden"), "0");
}

}  // namespace
}  // namespace kestrel
