// The same imports into a host on SQLite and one on PostgreSQL: what is printed, stored and logged must be equal.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "support/postgres_server.h"
#include "support/program.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::BuiltProgram;
using testing::PostgresServer;
using testing::ProgramResult;
using testing::RunProgram;
using testing::TempFolder;

// The marks that group a duplicate's rows are made anew in every run: each becomes its number in the text.
std::string WithNumberedMarks(std::string text) {
  constexpr std::size_t kLength = std::string_view("{FC76AB4A-7384-459C-910B-98FFA34C2B7F}").size();
  int number = 0;
  for (std::size_t at = 0; (at = text.find('{', at)) != std::string::npos; ++at) {
    if (at + kLength > text.size() || text[at + kLength - 1] != '}' || text[at + 9] != '-') continue;
    text = ReplaceAll(text, text.substr(at, kLength), "mark " + std::to_string(++number));
  }
  return text;
}

// One host with its folder and its database.
class Host {
 public:
  Host(std::string folder, std::string database) : folder_(std::move(folder)), database_(std::move(database)) {
    const ProgramResult made = Run({"init", folder_});
    EXPECT_EQ(made.status, 0) << made.err;
    for (const char* name : {"Kundenliste.IMP", "Messe.IMP", "kunden.txt", "messe.txt"}) {
      CopyFile(testing::InSourceTree(std::string("demo/") + name), folder_ + "/Import/" + name);
    }
  }

  ProgramResult Run(std::vector<std::string> arguments) const {
    std::vector<std::string> command = {BuiltProgram("kestrel-import")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    if (arguments[0] != "init") command.insert(command.end(), {"--folder", folder_});
    command.insert(command.end(), {"--host", database_});
    return RunProgram(command);
  }

  std::string InImportFolder(const std::string& name) const { return folder_ + "/Import/" + name; }

  // Every value of a table in the order of its key.
  std::string Content(const std::string& table, const std::string& columns, const std::string& key) const {
    const RecordsetPtr rows =
        OpenConnection(database_)->OpenRecordset("SELECT " + columns + " FROM " + table + " ORDER BY " + key);
    std::string text;
    for (; !rows->IsEof(); rows->MoveNext()) {
      for (std::size_t i = 0; i < rows->ColumnCount(); ++i) {
        text += (rows->IsNull(i) ? std::string("NULL") : std::string(rows->TextAt(i))) + "|";
      }
      text += "\n";
    }
    return text;
  }

 private:
  std::string folder_;
  std::string database_;
};

class BothHosts : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string reason = PostgresServer::WhyNot();
    if (!reason.empty()) GTEST_SKIP() << reason;
    PostgresServer& server = PostgresServer::Shared();
    const std::string database = server.NewDatabase();
    sqlite = std::make_unique<Host>(folder.File("eins"), folder.File("eins.db"));
    postgres = std::make_unique<Host>(folder.File("zwei"), server.ConnectionString(database));
  }

  void ExpectEqualOutput(const std::vector<std::string>& arguments) {
    const ProgramResult one = sqlite->Run(arguments);
    const ProgramResult other = postgres->Run(arguments);
    EXPECT_EQ(one.status, other.status) << one.err << other.err;
    EXPECT_EQ(Comparable(one.out), Comparable(other.out));
    EXPECT_EQ(Comparable(one.err), Comparable(other.err));
  }

  // Without what must differ: the folder, and the marks of duplicates.
  std::string Comparable(const std::string& text) const {
    return WithNumberedMarks(ReplaceAll(ReplaceAll(text, folder.File("eins"), "X"), folder.File("zwei"), "X"));
  }

  void ExpectEqualTables() {
    const std::string address =
        "Bez1, Bez2, Bez3, Strasse, Land, PLZ, Ort, Telefon, EMail, Umsatz, Rabatt, Mitarbeiter, Bemerkung, "
        "Suchbegriff, Sprache, Waehrung, Zahlungsziel";
    ExpectEqualTable("Kunden", "KundenNummer, KundeSeit, Kundengruppe, " + address, "KundenNummer");
    ExpectEqualTable("Adressindex", "AdressId, Adressart, Referenz, Doubletkey1, Doubletkey2, Doubletkey3",
                     "AdressId");
    ExpectEqualTable("Protokoll", "ProtokollNr, Titel, Benutzer, Liste, Beschreibung, Quelle, Klasse",
                     "ProtokollNr");
    ExpectEqualTable("Einstellungen", "Gruppe, Name, Wert", "Gruppe, Name");
  }

  TempFolder folder;
  std::unique_ptr<Host> sqlite;
  std::unique_ptr<Host> postgres;

 private:
  void ExpectEqualTable(const std::string& table, const std::string& columns, const std::string& key) {
    const std::string expected = sqlite->Content(table, columns, key);
    EXPECT_FALSE(expected.empty()) << table;
    EXPECT_EQ(expected, postgres->Content(table, columns, key)) << table;
  }
};

TEST_F(BothHosts, RunsStoreAndLogTheSame) {
  ExpectEqualOutput({"run", "Kundenliste", "--user", "4711", "--format", "json"});
  ExpectEqualTables();
  ExpectEqualOutput({"log", "errors", "--last", "--format", "json"});
  // A second file with duplicates, translated values and records that replace stored ones.
  ExpectEqualOutput({"run", "Messe", "--user", "1", "--format", "json"});
  ExpectEqualTables();
  ExpectEqualOutput({"log", "duplicates", "--last", "--format", "json"});
  ExpectEqualOutput({"log", "errors", "--format", "csv"});
}

TEST_F(BothHosts, TestRunsFindAndStoreTheSame) {
  ExpectEqualOutput({"run", "Kundenliste", "--test", "--format", "json"});
  ExpectEqualOutput({"log", "errors", "--last", "--format", "json"});
  EXPECT_EQ(postgres->Content("Kunden", "KundenNummer", "KundenNummer"), "");
}

TEST_F(BothHosts, RecordsThatTheDatabaseRefusesAreCountedTheSame) {
  std::string lines = "KdNr;Name;Leute\r\n";
  for (int i = 1; i <= 500; ++i) {
    lines += std::to_string(i % 100 == 0 ? 7 : i) + ";Name " + std::to_string(i) + ";" +
             (i % 50 == 0 ? "-1" : "3") + "\r\n";
  }
  for (const Host* host : {sqlite.get(), postgres.get()}) {
    WriteFileAtomically(host->InImportFolder("leute.txt"), lines);
    WriteFileAtomically(
        host->InImportFolder("Leute.IMP"),
        "[Common]\r\nDescription=Leute\r\nApplication=2\r\nImportClass=ksbimport.importkunden\r\n"
        "Provider=Textdatei\r\nFileName=leute.txt\r\nColumnHeadings=True\r\nFileFormat=ANSI\r\nDelimiter=;\r\n"
        "[FieldAssignments]\r\nKundenNummer=FIELD:KdNr\r\nBez1=FIELD:Name\r\nMitarbeiter=FIELD:Leute\r\n");
  }
  const ProgramResult result = postgres->Run({"run", "Leute", "--format", "json"});
  EXPECT_THAT(result.out, ::testing::HasSubstr("\"errors\":10,")) << result.err;
  EXPECT_EQ(result.out, sqlite->Run({"run", "Leute", "--format", "json"}).out);
  ExpectEqualTables();
  EXPECT_EQ(postgres->Content("Protokollzeilen", "count(*)", "1"), "10|\n");
  EXPECT_EQ(sqlite->Content("Protokollzeilen", "count(*)", "1"), "10|\n");
}

// A server is asked for many records at once, an SQLite file for each of them.
TEST_F(BothHosts, DuplicatesAmongRecordsThatFollowEachOtherAreHeldBackTheSame) {
  for (const unsigned seed : {1U, 2U}) {
    std::mt19937 random(seed);
    std::string lines = "KdNr;Name;PLZ;Ort;Strasse;Leute\r\n";
    std::vector<std::string> addresses;
    for (int i = 0; i < 1200; ++i) {
      // Some are those of an earlier record, near or far.
      const bool again = !addresses.empty() && random() % 15 == 0;
      const std::size_t back = 1 + random() % (random() % 2 == 0 ? 8 : 1500);
      std::string address = again ? addresses[addresses.size() - std::min(back, addresses.size())]
                                  : "Firma " + std::to_string(seed * 100000 + i) + " Bau GmbH;" +
                                        std::to_string(10000 + random() % 80000) + ";Köln;Ring " +
                                        std::to_string(random() % 100);
      addresses.push_back(address);
      lines += std::to_string(seed * 10000 + (random() % 200 == 0 ? 1 : i)) + ";" + address + ";" +
               (random() % 90 == 0 ? "-1" : "3") + "\r\n";
    }
    for (const Host* host : {sqlite.get(), postgres.get()}) {
      WriteFileAtomically(host->InImportFolder("folge.txt"), lines);
      WriteFileAtomically(
          host->InImportFolder("Folge.IMP"),
          "[Common]\r\nDescription=Folge\r\nApplication=2\r\nImportClass=ksbimport.importkunden\r\n"
          "Provider=Textdatei\r\nFileName=folge.txt\r\nColumnHeadings=True\r\nFileFormat=ANSI\r\n"
          "Delimiter=;\r\n[CfgSettings]\r\nDublettenPruefen=1\r\nAddresstypeCode=1\r\nDublettenKey1=1\r\n"
          "DublettenKey2=1\r\nDublettenKey3=1\r\n[FieldAssignments]\r\nKundenNummer=FIELD:KdNr\r\n"
          "Bez1=FIELD:Name\r\nPLZ=FIELD:PLZ\r\nOrt=FIELD:Ort\r\nStrasse=FIELD:Strasse\r\n"
          "Mitarbeiter=FIELD:Leute\r\n");
    }
    const auto counts = [](const ProgramResult& result) {
      return result.out.substr(result.out.rfind("{\"records"));
    };
    const ProgramResult one = sqlite->Run({"run", "Folge", "--format", "json"});
    const ProgramResult other = postgres->Run({"run", "Folge", "--format", "json"});
    EXPECT_EQ(one.status, other.status) << other.err;
    EXPECT_EQ(counts(one), counts(other));
    EXPECT_THAT(counts(one), ::testing::Not(::testing::HasSubstr("\"duplicates\":0,")));
    ExpectEqualTables();
    ExpectEqualOutput({"log", "duplicates", "--last", "--format", "json"});
  }
}

TEST_F(BothHosts, ChecksSayTheSame) {
  ExpectEqualOutput({"check", "Kundenliste"});
  ExpectEqualOutput({"show", "Messe"});
}

}  // namespace
}  // namespace kestrel
