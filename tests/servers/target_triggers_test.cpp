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
  WriteSpec("ziel", "nr=FIELD:Nr\nname=FIELD:Name\n");
  LetOverwrite("ziel");
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

TEST_F(TargetTriggers, WhatOtherTablesReferToIsLeftAloneAndTheirRowsStay) {
  Execute("CREATE SCHEMA crm");
  Execute(
      "CREATE TABLE crm.\"Kunde\" (nr serial PRIMARY KEY, name text, chef integer REFERENCES crm.\"Kunde\")");
  Execute("CREATE TABLE auftrag (nr integer, kunde integer REFERENCES crm.\"Kunde\" ON DELETE CASCADE)");
  Execute("CREATE TABLE crm.\"No tiz\" (nr integer, kunde integer REFERENCES crm.\"Kunde\")");
  EXPECT_THAT(Import("crm.Kunde", "Name;Chef\nA;\nB;1\nC;\nD;4\n",
                     "nr=NOTASSIGNED\nname=FIELD:Name\nchef=FIELD:Chef\n"),
              HasSubstr("\"storedNew\":4"));
  Execute("INSERT INTO auftrag VALUES (10, 1)");
  Execute("INSERT INTO crm.\"No tiz\" VALUES (20, 3)");
  const ProgramResult undone = Run({"undo", "1", "--force"});
  EXPECT_EQ(undone.status, 1);
  EXPECT_THAT(undone.out, AllOf(HasSubstr("(von 'auftrag' verwendet)"), HasSubstr("No tiz")));
  EXPECT_EQ(Query("SELECT nr FROM crm.\"Kunde\" ORDER BY 1"), "1\n3\n");
  EXPECT_EQ(Query("SELECT count(*) FROM auftrag"), "1\n");
}

TEST_F(TargetTriggers, WhatTheDatabaseHoldsOnToKeepsNothingElseFromBeingTakenBack) {
  MakeTable(
      "BEFORE DELETE",
      "IF old.name = 'B' THEN RAISE 'nein'; END IF; IF old.name = 'C' THEN RETURN NULL; END IF; RETURN old;");
  EXPECT_THAT(Import("kunde", "Name\nA\nB\nC\nD\n", "nr=NOTASSIGNED\nname=FIELD:Name\n"),
              HasSubstr("\"storedNew\":4"));
  const ProgramResult undone = Run({"undo", "1"});
  EXPECT_EQ(undone.status, 1);
  EXPECT_THAT(undone.out, AllOf(HasSubstr("nein"), HasSubstr("hat das Löschen verhindert")));
  EXPECT_EQ(Query("SELECT string_agg(name, ' ' ORDER BY name) FROM kunde"), "B C\n");
}

TEST_F(TargetTriggers, WhoMayNotDeleteIsToldSoAndTheRunStaysWhatItIs) {
  Execute("CREATE TABLE kunde (nr serial PRIMARY KEY, name text)");
  Import("kunde", "Name\nA\n", "nr=NOTASSIGNED\nname=FIELD:Name\n");
  Execute("CREATE ROLE undo_ohne LOGIN PASSWORD 'x'");
  Execute("GRANT USAGE ON SCHEMA public TO undo_ohne");
  Execute("GRANT ALL ON ALL TABLES IN SCHEMA public TO undo_ohne");
  Execute("REVOKE DELETE ON kunde FROM undo_ohne");
  const std::string owner = database_;
  database_ = owner.substr(0, owner.find(";user=")) + ";user=undo_ohne;password=x";
  const ProgramResult undone = Run({"undo", "1"});
  database_ = owner;
  EXPECT_EQ(undone.status, 4) << undone.err;
  EXPECT_THAT(undone.err, HasSubstr("fehlt ein Recht"));
  EXPECT_THAT(Run({"runs"}).out, HasSubstr("fertig"));
}

TEST_F(TargetTriggers, EveryValueThatWasOverwrittenIsPutBackAsItWasStored) {
  Execute(
      "CREATE TABLE kunde (nr integer PRIMARY KEY, name char(10), ts timestamp, tz timestamptz, d date, b "
      "boolean, "
      "n numeric(30,2), f real, g double precision, i bigint, frei numeric)");
  Execute(
      "INSERT INTO kunde VALUES (1, 'alt', '2022-01-01 00:00:00.123', '2020-01-02 00:00:00+01', '2020-01-02', "
      "true, "
      "12345678901234567.25, 1.1, 1e300, 9007199254740993, 12345678901234567890.1), (2, 'a', 'infinity', "
      "'-infinity', 'infinity', NULL, 'NaN', 'NaN', 'Infinity', -1, 0.000000000000000000001), (3, '', "
      "'2022-01-01', '2022-01-01', '0044-03-15 BC', false, 0, 0, 0, 9007199254740991, 9007199254740993)");
  const std::string all = "SELECT k::text FROM kunde k ORDER BY nr";
  const std::string before = Query(all);
  Run({"target", "add", "ziel", "--table", "kunde"});
  WriteSource(
      "Nr;Name;Tag;B;Z\n1;neu;01.01.2022;1;9007199254740992\n2;neu;01.01.2022;0;9007199254740992\n"
      "3;neu;01.01.2022;1;9007199254740992\n");
  WriteSpec("ziel",
            "nr=FIELD:Nr\nname=FIELD:Name\nts=FIELD:Tag\ntz=FIELD:Tag\nd=FIELD:Tag\nb=FIELD:B\nn=FIELD:Z\n"
            "f=FIELD:Z\ng=FIELD:Z\ni=FIELD:Z\nfrei=FIELD:Z\n[FieldFormat]\nts=tt.mm.jjjj\ntz=tt.mm.jjjj\n"
            "d=tt.mm.jjjj\n");
  LetOverwrite("ziel");
  EXPECT_THAT(Run({"run", "ziel", "--format", "json"}).out, HasSubstr("\"updated\":3")) << Run({"log"}).out;
  EXPECT_NE(Query(all), before);
  const ProgramResult undone = Run({"undo", "1"});
  EXPECT_EQ(undone.status, 0) << undone.out << undone.err;
  EXPECT_EQ(Query(all), before);
}

// A double holds 15 digits; of a longer number none may be lost, nor may an undo hold it for changed.
TEST_F(TargetTriggers, LongNumbersWithFewerDecimalsThanTheColumnAreTakenBack) {
  Execute(
      "CREATE TABLE kunde (nr integer PRIMARY KEY, n numeric(30,2), m numeric(30,0), t numeric(30,-3), frei "
      "numeric)");
  EXPECT_THAT(
      Import("kunde",
             "Nr;N;M;T;F\n1;12345678901234567.5;12345678901234567.5;12345678901234500;0012345678901234567.10\n"
             "2;-12345678901234567.255;-0.49999999999999999;12345678901234499;-0.00000000000000000\n"
             "3;99999999999999999.995;12345678901234567;499.99999999999999;12345678901234567\n",
             "nr=FIELD:Nr\nn=FIELD:N\nm=FIELD:M\nt=FIELD:T\nfrei=FIELD:F\n"),
      HasSubstr("\"storedNew\":3"))
      << Run({"log"}).out;
  EXPECT_EQ(Query("SELECT nr, n::text, m::text, t::text, frei::text FROM kunde ORDER BY 1"),
            "1|12345678901234567.50|12345678901234568|12345678901235000|12345678901234567.10\n"
            "2|-12345678901234567.26|0|12345678901234000|0.00000000000000000\n"
            "3|100000000000000000.00|12345678901234567|0|12345678901234567\n");
  const ProgramResult undone = Run({"undo", "1"});
  EXPECT_EQ(undone.status, 0) << undone.out;
  EXPECT_THAT(undone.err, HasSubstr("3 Adressen gelöscht"));
}

}  // namespace
}  // namespace kestrel::testing
