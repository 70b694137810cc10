// Tables of another application whose triggers and rules drop, renumber or divert what an import stores.
#include "servers/target_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class TargetTriggers : public TargetsOnPostgres {
 protected:
  // A table "kunde" whose trigger of this time and event runs `body` for each row.
  void MakeTable(const std::string& when, const std::string& body, const std::string& number = "serial") {
    Execute("CREATE TABLE kunde (nr " + number + " PRIMARY KEY, name text)");
    Execute("CREATE FUNCTION eigen() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN " + body + " END$$");
    Execute("CREATE TRIGGER eigen " + when + " ON kunde FOR EACH ROW EXECUTE FUNCTION eigen()");
  }
};

TEST_F(TargetTriggers, ARecordThatTheDatabaseDropsCountsAsRefused) {
  MakeTable("BEFORE INSERT", "IF new.name = 'B' THEN RETURN NULL; END IF; RETURN new;");
  EXPECT_THAT(Import("kunde", "Name\nA\nB\nC\n", "nr=NOTASSIGNED\nname=FIELD:Name\n"),
              AllOf(HasSubstr("\"storedNew\":2"), HasSubstr("\"rejected\":1")));
  EXPECT_EQ(Query("SELECT string_agg(name, ' ' ORDER BY name) FROM kunde"), "A C\n");
  EXPECT_THAT(Run({"log"}).out, AllOf(HasSubstr("keinen Grund genannt"), HasSubstr("Trigger")));
}

TEST_F(TargetTriggers, OneWithANumberOfItsOwnThatIsDroppedIsNotToldToExist) {
  MakeTable("BEFORE INSERT", "IF new.name = 'B' THEN RETURN NULL; END IF; RETURN new;", "integer");
  EXPECT_THAT(Import("kunde", "Nr;Name\n1;A\n2;B\n", "nr=FIELD:Nr\nname=FIELD:Name\n"),
              AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"updated\":0"), HasSubstr("\"rejected\":1")));
  EXPECT_THAT(Run({"log"}).out, HasSubstr("keinen Grund genannt"));
}

TEST_F(TargetTriggers, AChangeThatTheDatabaseDropsCountsAsRefused) {
  MakeTable("BEFORE UPDATE", "RETURN NULL;", "integer");
  Execute("INSERT INTO kunde VALUES (1, 'alt')");
  Run({"target", "add", "ziel", "--table", "kunde"});
  WriteSource("Nr;Name\n1;neu\n2;neu\n");
  WriteSpec("ziel", "nr=FIELD:Nr\nname=FIELD:Name\n", "kundeUeberschreiben=1\n");
  EXPECT_THAT(Run({"run", "ziel", "--format", "json"}).out,
              AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"updated\":0"), HasSubstr("\"rejected\":1")));
  EXPECT_EQ(Query("SELECT * FROM kunde ORDER BY 1"), "1|alt\n2|neu\n");
}

TEST_F(TargetTriggers, ANumberThatTheDatabaseReplacesIsRefusedAsNobodyCouldTakeTheImportBack) {
  Execute("CREATE SEQUENCE eigene START 1000");
  MakeTable("BEFORE INSERT", "new.nr := nextval('eigene'); RETURN new;");
  EXPECT_THAT(Import("kunde", "Name\nA\nB\n", "nr=NOTASSIGNED\nname=FIELD:Name\n"),
              AllOf(HasSubstr("\"storedNew\":0"), HasSubstr("\"rejected\":2")));
  EXPECT_EQ(Query("SELECT count(*) FROM kunde"), "0\n");
  EXPECT_THAT(Run({"log"}).out, HasSubstr("anderen Nummer"));
}

TEST_F(TargetTriggers, RowsThatATriggerPutsIntoAnotherTableOfTheSameFamilyAreStoredAndTakenBack) {
  MakeTable("BEFORE INSERT", "INSERT INTO kunde_teil VALUES (new.*); RETURN NULL;");
  Execute("CREATE TABLE kunde_teil () INHERITS (kunde)");
  EXPECT_THAT(Import("kunde", "Name\nA\nB\n", "nr=NOTASSIGNED\nname=FIELD:Name\n"),
              HasSubstr("\"storedNew\":2"));
  EXPECT_EQ(Query("SELECT nr, name FROM kunde_teil ORDER BY 1"), "1|A\n2|B\n");
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("2 Adressen gelöscht"));
  EXPECT_EQ(Query("SELECT count(*) FROM kunde"), "0\n");
}

TEST_F(TargetTriggers, ATriggerThatOnlyChangesValuesCostsNoRecord) {
  MakeTable("BEFORE INSERT", "new.name := upper(new.name); RETURN new;");
  std::string lines = "Name\n";
  for (int i = 0; i < 300; ++i) lines += "n" + std::to_string(i) + "\n";
  EXPECT_THAT(Import("kunde", lines, "nr=NOTASSIGNED\nname=FIELD:Name\n"), HasSubstr("\"storedNew\":300"));
  EXPECT_EQ(Query("SELECT count(*), min(nr), max(nr), max(name) FROM kunde"), "300|1|300|N99\n");
}

}  // namespace
}  // namespace kestrel::testing
