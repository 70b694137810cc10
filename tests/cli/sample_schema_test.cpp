// An import into the users of a ticket system, on SQLite: nobody here wrote their table.
#include "cli/sample_schema.h"

#include "cli/target_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class SampleSchemaOnSqlite : public TargetFixture {
 protected:
  void SetUp() override {
    if (!IsSampleSchemaThere()) GTEST_SKIP() << kNoSampleSchema;
  }
};

TEST_F(SampleSchemaOnSqlite, ATableWithoutPrimaryKeyIsRefused) {
  Execute(StatementOf("SQLite", "Users"));
  EXPECT_THAT(Run({"target", "add", "benutzer", "--table", "Users"}).err,
              HasSubstr("Die Tabelle 'Users' kann kein Importziel sein. Sie hat keinen Primärschlüssel."));
}

TEST_F(SampleSchemaOnSqlite, AnImportChecksForDuplicatesStoresAndIsTakenBack) {
  // As for PostgreSQL, where it has a primary key; SQLite numbers it by itself.
  Execute(ReplaceAll(StatementOf("Pg", "Users"), "DEFAULT nextval('users_id_seq')", ""));
  Execute(
      "INSERT INTO Users (id, Name, RealName, Address1, City, Zip) "
      "VALUES (7, 'emu', 'Erika Mustermann', 'Lindenstraße 7', 'Köln', '50674')");
  const ProgramResult added = Run({"target", "add", "benutzer", "--table", "users"});
  ASSERT_EQ(added.status, 0) << added.err;
  EXPECT_THAT(added.out, AllOf(HasSubstr("Importziel 'benutzer' in die Tabelle 'Users'"),
                               HasSubstr("Die Dublettenprüfung kennt 1 Anschrift der Tabelle.")));
  std::string lines =
      "Login;Name;Strasse;PLZ;Ort;Seit\nemu2;Erika Mustermann;Lindenstr. 7;50674;Köln;01.02.2020\n";
  for (int i = 1; i <= 300; ++i) {
    lines += "u" + std::to_string(i) + ";Hans Meier" + std::to_string(i) + ";Am Weg " + std::to_string(i) +
             ";0" + std::to_string(1000 + i * 7) + ";Dresden;13.04.2021\n";
  }
  WriteSource(lines);
  WriteSpec("benutzer",
            "Name=FIELD:Login\nRealName=FIELD:Name\nAddress1=FIELD:Strasse\nZip=FIELD:PLZ\nCity=FIELD:Ort\n"
            "Created=FIELD:Seit\n",
            "[FieldFormat]\nCreated=tt.mm.jjjj\n");
  const ProgramResult run = Run({"run", "benutzer", "--format", "json"});
  EXPECT_EQ(run.status, 0) << run.err << Run({"log"}).out;
  EXPECT_THAT(run.out, AllOf(HasSubstr("\"storedNew\":300"), HasSubstr("\"heldBack\":1")));
  EXPECT_EQ(Query("SELECT id, Name, Creator, CAST(Created AS TEXT) FROM Users WHERE id = 8"),
            "8|u1|0|2021-04-13\n");
  EXPECT_EQ(Run({"target", "check", "benutzer"}).status, 0);
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("300 Adressen gelöscht"));
  EXPECT_EQ(Query("SELECT id, RealName FROM Users"), "7|Erika Mustermann\n");
  EXPECT_EQ(Run({"target", "check", "benutzer"}).status, 0);
}

}  // namespace
}  // namespace kestrel::testing
