// 'target' on PostgreSQL: tables of another application, odd ones among them.
#include <filesystem>

#include "cli/sample_schema.h"
#include "servers/target_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

TEST_F(TargetsOnPostgres, ATableIsReadWithIdentityDefaultsDomainsAndEnumsAndImportedInto) {
  Execute("CREATE SCHEMA crm");
  Execute("CREATE TYPE crm.stufe AS ENUM ('neu', 'fest')");
  Execute("CREATE DOMAIN crm.kurz AS varchar(20) NOT NULL");
  Execute("CREATE TABLE crm.betreuer (nr integer PRIMARY KEY, name text)");
  Execute("INSERT INTO crm.betreuer VALUES (3, 'Schmitz')");
  Execute(
      "CREATE TABLE crm.\"Kunde Süd\" (id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY, "
      "\"Vorname\" varchar(40), \"Nachname\" crm.kurz, \"Straße\" text, plz char(5), ort text, "
      "stufe crm.stufe NOT NULL DEFAULT 'neu', aktiv boolean NOT NULL DEFAULT true, umsatz numeric(10,2), "
      "seit timestamp, angelegt timestamptz NOT NULL DEFAULT now(), tags text[], "
      "betreuer integer REFERENCES crm.betreuer, lang text GENERATED ALWAYS AS (upper(\"Straße\")) STORED)");
  const std::string out = Import(
      "crm.Kunde Süd",
      "Vor;Nach;Str;PLZ;Ort;Umsatz;Seit;Betreuer;Aktiv\nHans;Meier;Weg "
      "1;01067;Dresden;12,50;13.04.2021;3;nein\n"
      "Ina;Falsch;Weg 2;10115;Berlin;1;01.01.2020;99;ja\nEva;Klug;Weg 3;10115;Berlin;;;;\n",
      "id=NOTASSIGNED\nVorname=FIELD:Vor\nNachname=FIELD:Nach\nStraße=FIELD:Str\nplz=FIELD:PLZ\nort=FIELD:Ort\n"
      "stufe=NOTASSIGNED\naktiv=FIELD:Aktiv\numsatz=FIELD:Umsatz\nseit=FIELD:Seit\nbetreuer=FIELD:Betreuer\n",
      "[FieldFormat]\nseit=tt.mm.jjjj\n");
  EXPECT_THAT(out, AllOf(HasSubstr("\"storedNew\":2"), HasSubstr("\"rejected\":1")));
  const std::string stored =
      "SELECT \"Nachname\", plz, stufe::text, aktiv::text, umsatz::text, seit::text, betreuer, lang "
      "FROM crm.\"Kunde Süd\" ORDER BY 1";
  EXPECT_EQ(Query(stored),
            "Klug|10115|neu|true||||WEG 3\nMeier|01067|neu|false|12.50|2021-04-13 00:00:00|3|WEG 1\n");
  EXPECT_THAT(Run({"target", "show", "ziel"}).out, Not(HasSubstr("tags")));
  EXPECT_THAT(Run({"target", "edit", "ziel"}).err,
              HasSubstr("tags: Bleibt außen vor. Ihr Typ text[] nimmt mehrere Werte."));
  EXPECT_EQ(Run({"target", "check", "ziel"}).out, "Keine Auffälligkeiten.\n");
  const ProgramResult undone = Run({"undo", "1"});
  EXPECT_THAT(undone.err, AllOf(HasSubstr("2 Adressen gelöscht"), HasSubstr("0 Änderungen seit dem Import")));
  EXPECT_EQ(Query(stored), "");
}

TEST_F(TargetsOnPostgres, ClerksNumbersComeFromTheTablesOwnSequenceOrBehindTheGreatest) {
  Execute("CREATE SEQUENCE zaehler START 100");
  Execute("CREATE TABLE mit (nr integer PRIMARY KEY DEFAULT nextval('zaehler'), name text)");
  EXPECT_THAT(Import("mit", "Name\nA\nB\n", "nr=NOTASSIGNED\nname=FIELD:Name\n"), HasSubstr("\"storedNew\":2"));
  EXPECT_EQ(Query("SELECT nr FROM mit ORDER BY 1"), "100\n101\n");
  EXPECT_EQ(Run({"target", "remove", "ziel", "--yes"}).status, 0);
  Execute("CREATE TABLE ohne (nr integer PRIMARY KEY, name text)");
  Execute("INSERT INTO ohne VALUES (41, 'alt')");
  std::filesystem::remove(folder_.File("Import") + "/ziel.IMT");
  EXPECT_THAT(Import("ohne", "Name\nA\nB\n", "nr=NOTASSIGNED\nname=FIELD:Name\n"),
              HasSubstr("\"storedNew\":2"));
  EXPECT_EQ(Query("SELECT nr FROM ohne ORDER BY 1"), "41\n42\n43\n");
  EXPECT_EQ(Query("SELECT count(*) FROM pg_class WHERE relkind = 'S' AND relname LIKE 'ohne%'"), "0\n");
}

TEST_F(TargetsOnPostgres, PartitionsAndTriggersThatRaiseAreTheDatabasesConcern) {
  Execute("CREATE TABLE teile (nr integer PRIMARY KEY, name text) PARTITION BY HASH (nr)");
  Execute("CREATE TABLE teil0 PARTITION OF teile FOR VALUES WITH (MODULUS 2, REMAINDER 0)");
  Execute("CREATE TABLE teil1 PARTITION OF teile FOR VALUES WITH (MODULUS 2, REMAINDER 1)");
  Execute(
      "CREATE FUNCTION nein() RETURNS trigger LANGUAGE plpgsql AS "
      "$$BEGIN IF new.name = 'B' THEN RAISE 'kein B'; END IF; RETURN new; END$$");
  Execute("CREATE TRIGGER nein BEFORE INSERT ON teile FOR EACH ROW EXECUTE FUNCTION nein()");
  EXPECT_THAT(Import("teile", "Name\nA\nB\nC\n", "nr=NOTASSIGNED\nname=FIELD:Name\n"),
              AllOf(HasSubstr("\"storedNew\":2"), HasSubstr("\"rejected\":1")));
  EXPECT_THAT(Run({"log"}).out, HasSubstr("kein B"));
  EXPECT_EQ(Query("SELECT string_agg(name, ' ' ORDER BY name) FROM teile"), "A C\n");
}

TEST_F(TargetsOnPostgres, ANumberIsStoredAsTheColumnRoundsItSoThatAnUndoFindsIt) {
  Execute(
      "CREATE TABLE werte (nr integer PRIMARY KEY, betrag numeric(10,2), tausend numeric(6,-3), kurz real, "
      "frei numeric, lang numeric(25,2))");
  EXPECT_THAT(
      Import("werte",
             "Nr;A;B;C;D;E\n1;1,005;12500;3,14159265;1.234,5678;1,5\n2;-2.675;499;1e10;"
             "12345678901234567.25;99999999999999999.50\n3;9,999;1500;0,1;0;0,995\n",
             "nr=FIELD:Nr\nbetrag=FIELD:A\ntausend=FIELD:B\nkurz=FIELD:C\nfrei=FIELD:D\nlang=FIELD:E\n"),
      HasSubstr("\"storedNew\":3"));
  EXPECT_EQ(
      Query("SELECT nr, betrag::text, tausend::text, kurz::text, frei::text, lang::text FROM werte ORDER BY 1"),
      "1|1.01|13000|3.1415927|1234.5678|1.50\n2|-2.68|0|1e+10|12345678901234567.25|99999999999999999.50\n"
      "3|10.00|2000|0.1|0|1.00\n");
  const ProgramResult undone = Run({"undo", "1"});
  EXPECT_THAT(undone.err, AllOf(HasSubstr("3 Adressen gelöscht"), HasSubstr("0 Änderungen seit dem Import")));
  Execute("ALTER TABLE werte ALTER betrag TYPE numeric(12,3)");
  EXPECT_THAT(Run({"target", "check", "ziel"}).out, HasSubstr("betrag: Die Spalte rundet Zahlen anders"));
}

TEST_F(TargetsOnPostgres, AnotherUniqueColumnCanBeTheNumber) {
  Execute(
      "CREATE TABLE kontakt (id uuid PRIMARY KEY DEFAULT gen_random_uuid(), "
      "kundennr integer GENERATED ALWAYS AS IDENTITY NOT NULL UNIQUE, vielleicht integer UNIQUE, name text)");
  EXPECT_THAT(
      Import("kontakt", "Name\nA\nB\n", "kundennr=NOTASSIGNED\nvielleicht=NOTASSIGNED\nname=FIELD:Name\n"),
      HasSubstr("\"storedNew\":2"));
  EXPECT_THAT(Run({"target", "edit", "ziel"}).err,
              AllOf(HasSubstr("kundennr: Nummer der Datensätze ist die eindeutige Spalte 'kundennr'."),
                    HasSubstr("id: Bleibt außen vor. Die Datenbank füllt sie selbst.")));
  EXPECT_EQ(Query("SELECT kundennr, name FROM kontakt ORDER BY 1"), "1|A\n2|B\n");
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("2 Adressen gelöscht"));
}

TEST_F(TargetsOnPostgres, TablesThatCannotBeOneAreRefusedWithTheReason) {
  Execute("CREATE TABLE zwei (a integer, b integer, PRIMARY KEY (a, b))");
  Execute("CREATE TABLE kennung (a uuid PRIMARY KEY)");
  Execute("CREATE TABLE pflicht (a integer PRIMARY KEY, b text[] NOT NULL)");
  Execute("CREATE VIEW sicht AS SELECT * FROM zwei");
  const auto refusal = [this](const std::string& table) {
    return Run({"target", "add", "x", "--table", table}).err;
  };
  EXPECT_THAT(refusal("zwei"), HasSubstr("Ihr Primärschlüssel hat 2 Spalten."));
  EXPECT_THAT(refusal("kennung"), HasSubstr("Ihr Primärschlüssel 'a' enthält keine ganzen Zahlen."));
  EXPECT_THAT(refusal("pflicht"), HasSubstr("Ihre Pflichtspalte 'b' kann nicht gefüllt werden"));
  EXPECT_THAT(refusal("sicht"), HasSubstr("Sie ist eine Sicht"));
  EXPECT_THAT(refusal("fehlt"), HasSubstr("Nennen Sie sie mit ihrem Schema"));
  EXPECT_EQ(Query("SELECT count(*) FROM pg_class WHERE relname LIKE 'kestrel%'"), "0\n");
}

TEST_F(TargetsOnPostgres, ATableMayBeNamedAsAStatementNamesIt) {
  Execute("CREATE SCHEMA \"Verkauf\"");
  Execute("CREATE TABLE \"Kunde\" (nr integer PRIMARY KEY, name text)");
  Execute("CREATE TABLE \"Verkauf\".\"Kunde\" (nr integer PRIMARY KEY, name text)");
  Execute("CREATE TABLE lieferant (nr integer PRIMARY KEY, name text)");
  const auto table_of = [this](const char* name, const char* table) {
    const ProgramResult added = Run({"target", "add", name, "--table", table, "--format", "json"});
    EXPECT_EQ(added.status, 0) << added.err;
    return added.out;
  };
  EXPECT_THAT(table_of("a", "\"Kunde\""), HasSubstr("\"table\":\"Kunde\""));
  EXPECT_THAT(table_of("b", "\"Verkauf\".\"Kunde\""), HasSubstr("\"table\":\"Verkauf.Kunde\""));
  EXPECT_THAT(table_of("c", "public.\"lieferant\""), HasSubstr("\"table\":\"lieferant\""));
  const ProgramResult wrong = Run({"target", "add", "d", "--table", "\"Kunde"});
  EXPECT_EQ(wrong.status, 4);
  EXPECT_THAT(wrong.err, HasSubstr("Es gibt sie in dieser Datenbank nicht"));
}

TEST_F(TargetsOnPostgres, CheckTellsARightThatIsMissing) {
  Execute("CREATE TABLE kunde (nr integer PRIMARY KEY, name text, ort text)");
  ASSERT_EQ(Run({"target", "add", "ziel", "--table", "kunde"}).status, 0);
  Execute("DROP ROLE IF EXISTS nur_leser");
  Execute("CREATE ROLE nur_leser LOGIN PASSWORD 'geheim'");
  Execute("GRANT SELECT ON ALL TABLES IN SCHEMA public TO nur_leser");
  const std::string as_admin = database_;
  const std::string name = Query("SELECT current_database()");
  database_ = "Provider=PostgreSQL;host=127.0.0.1;port=" + PostgresServer::Shared().port() +
              ";dbname=" + name.substr(0, name.size() - 1) + ";user=nur_leser;password=geheim";
  const ProgramResult checked = Run({"target", "check", "ziel"});
  EXPECT_EQ(checked.status, 1) << checked.err;
  EXPECT_THAT(checked.out, HasSubstr("In die Tabelle 'kunde' kann nicht eingefügt werden"));
  database_ = as_admin;
}

TEST_F(TargetsOnPostgres, RolesThatAreThereMayImportAndReadAndNobodyElse) {
  for (const char* statement :
       {"CREATE SCHEMA crm", "CREATE TABLE crm.kunde (nr serial PRIMARY KEY, name text, ort text)"}) {
    Execute(statement);
  }
  for (const std::string role : {"kestrel_import", "kestrel_read"}) {
    if (Query("SELECT 1 FROM pg_roles WHERE rolname = '" + role + "'").empty()) Execute("CREATE ROLE " + role);
  }
  const ProgramResult added = Run({"target", "add", "ziel", "--table", "crm.kunde"});
  ASSERT_EQ(added.status, 0) << added.err;
  EXPECT_THAT(added.err, Not(HasSubstr("Rollen")));
  WriteSource("Name;Ort\nA;Ulm\n");
  WriteSpec("ziel", "nr=NOTASSIGNED\nname=FIELD:Name\nort=FIELD:Ort\n");
  const std::string as_owner = database_;
  const auto use = [&](const std::string& user, const std::string& role) {
    Execute("DROP ROLE IF EXISTS " + user);
    Execute("CREATE ROLE " + user + " LOGIN PASSWORD 'geheim'" + (role.empty() ? "" : " IN ROLE " + role));
    const std::string name = Query("SELECT current_database()");
    database_ = "Provider=PostgreSQL;host=127.0.0.1;port=" + PostgresServer::Shared().port() +
                ";dbname=" + name.substr(0, name.size() - 1) + ";user=" + user + ";password=geheim";
  };
  use("ziel_clerk", "kestrel_import");
  EXPECT_EQ(Run({"target", "check", "ziel"}).out, "Keine Auffälligkeiten.\n");
  EXPECT_EQ(Run({"run", "ziel"}).status, 0) << Run({"log"}).out;
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("1 Adresse gelöscht"));
  database_ = as_owner;
  use("ziel_reader", "kestrel_read");
  EXPECT_EQ(Query("SELECT count(*) FROM crm.kunde"), "0\n");
  const ProgramResult checked = Run({"target", "check", "ziel"});
  EXPECT_EQ(checked.status, 1) << checked.err;
  EXPECT_THAT(checked.out, AllOf(HasSubstr("In die Tabelle 'crm.kunde' kann nicht eingefügt werden"),
                                 HasSubstr("'kestrel_Importlauf'")));
  database_ = as_owner;
}

TEST_F(TargetsOnPostgres, TablesOfAnEarlierVersionAreCopiedIntoASchemaAndChangedInOneTransaction) {
  Execute("CREATE TABLE kunde (nr integer PRIMARY KEY, name text, ort text)");
  ASSERT_EQ(Run({"target", "add", "ziel", "--table", "kunde"}).status, 0);
  // What version 1 had not.
  Execute("DROP TABLE kestrel_Importlisten");
  Execute("ALTER TABLE kestrel_Importspalten DROP COLUMN Rundung");
  Execute("UPDATE kestrel_Importfassung SET Fassung = 1");
  EXPECT_THAT(Run({"target", "list"}).err, HasSubstr("'kestrel-import target upgrade' sichert sie"));

  Execute("CREATE TABLE kestrel_importlisten (im_weg integer)");
  const ProgramResult failed = Run({"target", "upgrade"});
  EXPECT_EQ(failed.status, 4);
  EXPECT_THAT(failed.err, HasSubstr("Die Tabellen sind geblieben, wie sie waren"));
  EXPECT_EQ(Query("SELECT max(Fassung) FROM kestrel_Importfassung"), "1\n");
  EXPECT_EQ(Query("SELECT count(*) FROM pg_namespace WHERE nspname LIKE 'kestrel_vor%'"), "0\n");
  Execute("DROP TABLE kestrel_importlisten");

  const ProgramResult upgraded = Run({"target", "upgrade"});
  EXPECT_EQ(upgraded.status, 0) << upgraded.err;
  EXPECT_THAT(upgraded.out, HasSubstr("Wie sie waren, steht in: kestrel_vor_fassung_2"));
  EXPECT_EQ(Query("SELECT count(*) FROM kestrel_vor_fassung_2.kestrel_importziele"), "1\n");
  EXPECT_EQ(Query("SELECT max(Fassung) FROM kestrel_vor_fassung_2.kestrel_importfassung"), "1\n");
  EXPECT_EQ(Run({"target", "check", "ziel"}).out, "Keine Auffälligkeiten.\n");
}

TEST_F(TargetsOnPostgres, TheUsersOfATicketSystemAreImportedCheckedAndTakenBack) {
  if (!IsSampleSchemaThere()) GTEST_SKIP() << kNoSampleSchema;
  Execute("CREATE SEQUENCE users_id_seq");
  Execute(StatementOf("Pg", "Users"));
  Execute(
      "INSERT INTO Users (Name, RealName, Address1, City, Zip) "
      "VALUES ('emu', 'Erika Mustermann', 'Lindenstraße 7', 'Köln', '50674')");
  const std::string out =
      Import("Users",
             "Login;Name;Strasse;PLZ;Ort;Seit\nemu2;Erika Mustermann;Lindenstr. 7;50674;Köln;01.02.2020\n"
             "hme;Hans Meier;Am Weg 1;01067;Dresden;13.04.2021\n",
             "name=FIELD:Login\nrealname=FIELD:Name\naddress1=FIELD:Strasse\nzip=FIELD:PLZ\ncity=FIELD:Ort\n"
             "created=FIELD:Seit\n",
             "[FieldFormat]\ncreated=tt.mm.jjjj\n");
  EXPECT_THAT(out, AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"heldBack\":1")));
  EXPECT_EQ(Query("SELECT id, name, creator, created::text FROM users WHERE id = 2"),
            "2|hme|0|2021-04-13 00:00:00\n");
  EXPECT_THAT(Run({"undo", "1"}).err, HasSubstr("1 Adresse gelöscht"));
  EXPECT_EQ(Query("SELECT name FROM users"), "emu\n");
  EXPECT_EQ(Run({"target", "check", "ziel"}).status, 0);
}

}  // namespace
}  // namespace kestrel::testing
