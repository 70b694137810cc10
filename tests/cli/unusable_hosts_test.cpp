// Databases of the host that the program cannot use, or may only read, and how it says what to do.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "cli/end_to_end_fixture.h"
#include "support/postgres_server.h"
#include "support/without_privileges.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ProgramResult;

class UnusableHosts : public EndToEnd {
 protected:
  std::string Database() const { return host() + "/kestrel.db"; }
  // After an import; without a write ahead log, which could not even be read.
  void AllowOnly(mode_t of_folder, mode_t of_file) {
    WriteFileAtomically(Spec("namen.txt"), "Nr;Name\r\n1;A\r\n");
    WriteSpec(
        "Namen.IMP",
        "[Common]\nDescription=Namen\nImportClass=ksbimport.importkunden\nFileName=namen.txt\nDelimiter=;\n"
        "[CfgSettings]\nDublettenPruefen=0\n[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\n");
    ASSERT_EQ(Run({"run", "Namen"}).status, 0);
    OpenConnection(Database())->Execute("PRAGMA journal_mode = DELETE");
    ASSERT_EQ(::chmod(folder_.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(Database().c_str(), of_file), 0);
    ASSERT_EQ(::chmod(host().c_str(), of_folder), 0);
  }
  void TearDown() override { ::chmod(host().c_str(), 0755); }
  static std::size_t Count(const std::string& text, std::string_view word) {
    std::size_t count = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
    return count;
  }
};

TEST_F(UnusableHosts, AnUndoInAFolderThatMayNotBeWrittenSaysWhatIsRefusedAndTheWayOut) {
  AllowOnly(0555, 0666);
  const testing::WithoutPrivileges nobody;
  const ProgramResult undo = Run({"undo", "1"});
  EXPECT_EQ(undo.status, 4);
  EXPECT_THAT(undo.err,
              AllOf(HasSubstr("die Datei, die den Importlauf 1 sperrt, nicht angelegt werden. Zugriff "
                              "verweigert: " +
                              Database() + "-lauf1. "),
                    HasSubstr("Geben Sie dem Benutzer Schreibrecht im Ordner '" + host() + "'.")));
}

TEST_F(UnusableHosts, AnUndoInADatabaseThatMayNotBeWrittenSaysTheWayOut) {
  AllowOnly(0777, 0444);
  const testing::WithoutPrivileges nobody;
  const ProgramResult undo = Run({"undo", "1"});
  EXPECT_EQ(undo.status, 4);
  EXPECT_THAT(undo.err, AllOf(HasSubstr("schreibgeschützt"),
                              HasSubstr("Geben Sie dem Benutzer Schreibrecht an '" + Database() + "'")));
}

TEST_F(UnusableHosts, ALogThatCannotBeMadeIsToldOnceHoweverManyErrorsThereAre) {
  const ProgramResult run = Run({"run", "Kundenliste", "--test", "--host",
                                 "Provider=SQLite;Data Source=" + Database() + ";Mode=ReadOnly"});
  EXPECT_EQ(run.status, 1);
  EXPECT_GT(Count(run.err, "Nicht im Protokoll: "), 2U) << "each of them is told all the same";
  EXPECT_EQ(Count(run.err, "Protokoll konnte nicht erzeugt werden"), 1U) << run.err;
  EXPECT_EQ(Count(run.err, "Fehler beim Erzeugen der Protokollzeile"), 1U) << run.err;
}

TEST_F(UnusableHosts, ADatabaseWithoutTablesSaysWhatMakesThem) {
  std::vector<std::string> hosts = {folder_.File("leer.db")};
  OpenConnection(hosts[0])->Execute("CREATE TABLE Andere (Nr INTEGER)");
  const std::string no_server = testing::PostgresServer::WhyNot();
  if (no_server.empty()) {
    testing::PostgresServer& server = testing::PostgresServer::Shared();
    hosts.push_back(server.ConnectionString(server.NewDatabase()));
  }
  for (const std::string& database : hosts) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"run", "Messe"}, {"log"}, {"runs"}}) {
      std::vector<std::string> arguments = command;
      arguments.insert(arguments.end(), {"--host", database});
      const ProgramResult result = Run(arguments);
      EXPECT_EQ(result.status, 4);
      EXPECT_THAT(result.err, AllOf(HasSubstr("' fehlt in dieser Datenbank. In der Datenbank einer anderen "
                                              "Anwendung legt 'kestrel-import target add' "),
                                    Not(HasSubstr("no such table")), Not(HasSubstr("does not exist"))));
    }
  }
  if (!no_server.empty()) GTEST_SKIP() << no_server;
}

TEST_F(UnusableHosts, InitMakesTheTablesInTheDatabaseThatTheEnvironmentNames) {
  const std::string database = folder_.File("umgebung.db");
  const std::string made = folder_.File("neu");
  const ProgramResult init = testing::RunProgram({testing::BuiltProgram("kestrel-import"), "init", made},
                                                 {{"KESTREL_HOST", database}});
  EXPECT_EQ(init.status, 0) << init.err;
  EXPECT_THAT(init.out, HasSubstr("Datenbank   (KESTREL_HOST)"));
  EXPECT_FALSE(FileExists(made + "/kestrel.db"));
  EXPECT_TRUE(FileExists(made + "/Import/Kunden.IMP"));
  EXPECT_EQ(OpenConnection(database)->OpenRecordset("SELECT count(*) FROM Kunden")->TextAt(0), "0");
}

}  // namespace
}  // namespace kestrel
