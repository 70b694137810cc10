// What an import, and taking it back, leave of another application's data in an SQLite file.
#include "cli/target_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class TargetSafety : public TargetFixture {
 protected:
  // Makes "Kunde" a target, and imports these lines, with existing numbers overwritten; what the run says as JSON.
  std::string Import(const std::string& lines, const std::string& assignments) {
    const ProgramResult added = Run({"target", "add", "ziel", "--table", "Kunde"});
    EXPECT_EQ(added.status, 0) << added.err;
    WriteSource(lines);
    WriteSpec("ziel", assignments);
    const std::string spec = folder_.File("Import") + "/ziel.IMP";
    WriteFileAtomically(spec, ReplaceAll(ReadWholeFile(spec), "Ueberschreiben=0", "Ueberschreiben=1"));
    return Run({"run", "ziel", "--format", "json"}).out;
  }
};

TEST_F(TargetSafety, ARecordThatATriggerIgnoresIsToldWithAReason) {
  Execute("CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT)");
  Execute("INSERT INTO Kunde VALUES (7, 'alt')");
  Execute("CREATE TRIGGER neu BEFORE INSERT ON Kunde WHEN new.name = 'B' BEGIN SELECT RAISE(IGNORE); END");
  Execute("CREATE TRIGGER anders BEFORE UPDATE ON Kunde BEGIN SELECT RAISE(IGNORE); END");
  EXPECT_THAT(Import("Nr;Name\n;A\n;B\n5;B\n7;neu\n", "id=FIELD:Nr\nname=FIELD:Name\n"),
              AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"updated\":0"), HasSubstr("\"rejected\":3")));
  EXPECT_EQ(Query("SELECT * FROM Kunde ORDER BY 1"), "7|alt\n8|A\n");
  EXPECT_THAT(Run({"log"}).out, AllOf(HasSubstr("Datensatz nicht gespeichert"),
                                      HasSubstr("den Datensatz 7 der Tabelle 'Kunde' nicht geändert")));
}

// The application's own rule would have the new row take the place of another one, which no undo brings back.
TEST_F(TargetSafety, NoRowGivesWayToAnotherWhateverTheTableSays) {
  Execute(
      "CREATE TABLE Kunde (id INTEGER PRIMARY KEY ON CONFLICT REPLACE, mail TEXT UNIQUE ON CONFLICT REPLACE, "
      "kurz TEXT UNIQUE ON CONFLICT IGNORE)");
  Execute("INSERT INTO Kunde VALUES (1, 'a@x', 'a'), (2, 'b@x', 'b'), (9, 'i@x', 'i')");
  EXPECT_THAT(Import("Nr;Mail;Kurz\n;a@x;n\n;c@x;b\n2;a@x;b\n;d@x;d\n9;;neun\n",
                     "id=FIELD:Nr\nmail=FIELD:Mail\nkurz=FIELD:Kurz\n"),
              AllOf(HasSubstr("\"storedNew\":1"), HasSubstr("\"updated\":1"), HasSubstr("\"rejected\":3")));
  EXPECT_EQ(Query("SELECT * FROM Kunde ORDER BY 1"), "1|a@x|a\n2|b@x|b\n9|i@x|neun\n10|d@x|d\n");
  EXPECT_THAT(Run({"log"}).out, AllOf(HasSubstr("Kunde.mail"), HasSubstr("Kunde.kurz")));
}

TEST_F(TargetSafety, AnImportLeavesToTriggersHowTheirOwnConflictsEnd) {
  Execute("CREATE TABLE Kunde (id INTEGER PRIMARY KEY, name TEXT UNIQUE)");
  Execute("CREATE TABLE Zuletzt (eins INTEGER PRIMARY KEY, name TEXT)");
  Execute(
      "CREATE TRIGGER zuletzt AFTER INSERT ON Kunde BEGIN INSERT OR REPLACE INTO Zuletzt VALUES (1, new.name); "
      "END");
  EXPECT_THAT(Import("Name\nA\nB\n", "id=NOTASSIGNED\nname=FIELD:Name\n"), HasSubstr("\"storedNew\":2"));
  EXPECT_EQ(Query("SELECT * FROM Zuletzt"), "1|B\n");
}

}  // namespace
}  // namespace kestrel::testing
