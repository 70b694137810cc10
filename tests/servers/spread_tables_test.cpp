// The sample host's tables spread over partitions and over three servers, as the stand-in for databases that spread rows
// over nodes by themselves: the same imports must leave the same rows.
#include <gmock/gmock.h>

#include "platform/base/file.h"
#include "platform/base/text.h"
#include "schema/host_schema.h"
#include "servers/postgres_fixture.h"
#include "support/program.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"

namespace kestrel::testing {
namespace {

constexpr int kShards = 3;

class SpreadTables : public PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    plain = PostgresServer::Shared().ConnectionString(PostgresServer::Shared().NewDatabase());
    spread = PostgresServer::Shared().ConnectionString(database);
    for (const auto& [name, host] : {std::pair("eins", &plain), std::pair("drei", &spread)}) {
      const ProgramResult made =
          RunProgram({BuiltProgram("kestrel-import"), "init", folder.File(name), "--host", *host});
      ASSERT_EQ(made.status, 0) << made.err;
      for (const char* file : {"Kundenliste.IMP", "Messe.IMP", "kunden.txt", "messe.txt"}) {
        CopyFile(InSourceTree(std::string("demo/") + file), folder.File(name) + "/Import/" + file);
      }
    }
  }

  // Makes an empty table one of three partitions by the hash of its key.
  void Partition(const std::string& table, const std::string& key) {
    connection->Execute("ALTER TABLE " + table + " RENAME TO muster");
    connection->Execute("CREATE TABLE " + table + " (LIKE muster INCLUDING ALL) PARTITION BY HASH (" + key +
                        ")");
    for (int shard = 0; shard < kShards; ++shard) {
      connection->Execute("CREATE TABLE " + table + "_teil" + std::to_string(shard) + " PARTITION OF " + table +
                          Remainder(shard));
    }
    connection->Execute("DROP TABLE muster");
  }
  // The same with each partition on another server, where the keys are.
  void Shard(const std::string& table, const std::string& key, const std::string& node_table) {
    connection->Execute("ALTER TABLE " + table + " RENAME TO muster");
    connection->Execute("CREATE TABLE " + table + " (LIKE muster) PARTITION BY HASH (" + key + ")");
    for (int shard = 0; shard < kShards; ++shard) {
      connection->Execute("CREATE FOREIGN TABLE " + table + "_teil" + std::to_string(shard) + " PARTITION OF " +
                          table + Remainder(shard) + " SERVER knoten" + std::to_string(shard) +
                          " OPTIONS (table_name '" + node_table + "')");
    }
    connection->Execute("DROP TABLE muster");
  }
  static std::string Remainder(int shard) {
    return " FOR VALUES WITH (MODULUS " + std::to_string(kShards) + ", REMAINDER " + std::to_string(shard) +
           ")";
  }
  void AddServers() {
    connection->Execute("CREATE EXTENSION postgres_fdw");
    for (int shard = 0; shard < kShards; ++shard) {
      const PostgresServer& server = *servers.emplace_back(std::make_unique<PostgresServer>(false));
      host::InitialiseHostDatabase(*OpenConnection(server.ConnectionString()));
      const std::string name = "knoten" + std::to_string(shard);
      connection->Execute("CREATE SERVER " + name +
                          " FOREIGN DATA WRAPPER postgres_fdw OPTIONS (host '127.0.0.1', "
                          "port '" +
                          server.port() + "', dbname 'postgres')");
      connection->Execute("CREATE USER MAPPING FOR kestrel SERVER " + name +
                          " OPTIONS (user 'kestrel', password '" + server.password() + "')");
    }
  }

  void ExpectSame(const std::vector<std::string>& arguments) {
    std::vector<ProgramResult> results;
    for (const auto& [name, host] : {std::pair("eins", &plain), std::pair("drei", &spread)}) {
      std::vector<std::string> command = {BuiltProgram("kestrel-import")};
      command.insert(command.end(), arguments.begin(), arguments.end());
      command.insert(command.end(), {"--folder", folder.File(name), "--host", *host});
      results.push_back(RunProgram(command));
    }
    EXPECT_EQ(results[0].status, results[1].status) << results[0].err << results[1].err;
    for (const char* content :
         {"SELECT md5(string_agg(k::text, '' ORDER BY KundenNummer)) FROM Kunden AS k",
          "SELECT md5(string_agg(a::text, '' ORDER BY AdressId)) FROM Adressindex AS a",
          "SELECT count(*)::text FROM Protokollzeilen", "SELECT count(*)::text FROM Protokolldetails",
          "SELECT string_agg(Zustand || Neu || '/' || Fehler, ' ' ORDER BY LaufNr) FROM Importlauf",
          "SELECT sum(Anzahl)::text FROM Importlaufzeilen"}) {
      EXPECT_EQ(OpenConnection(plain)->OpenRecordset(content)->TextAt(0),
                OpenConnection(spread)->OpenRecordset(content)->TextAt(0))
          << arguments[0] << ' ' << content;
    }
  }
  void ExpectTheSameOfImports() {
    ExpectSame({"run", "Kundenliste", "--test"});
    ExpectSame({"run", "Kundenliste"});
    ExpectSame({"run", "Messe"});
    EXPECT_NE(Text("SELECT count(*) FROM Kunden"), "0");
    ExpectSame({"undo", "2"});
    ExpectSame({"undo", "1"});
    EXPECT_EQ(Text("SELECT count(*) FROM Kunden"), "0");
  }

  TempFolder folder;
  std::string plain;
  std::string spread;
  std::vector<std::unique_ptr<PostgresServer>> servers;
};

TEST_F(SpreadTables, InPartitionsByTheHashOfTheirKeysAreFilledAsOneTableIs) {
  Partition("Kunden", "KundenNummer");
  Partition("Adressindex", "AdressId");
  Partition("Protokollzeilen", "ZeilenNr");
  Partition("Protokolldetails", "ZeilenNr");
  Partition("Importlaufzeilen", "ZeilenNr");
  ExpectTheSameOfImports();
}

TEST_F(SpreadTables, OfLogsAndLedgerOnThreeServersAreFilledAsOneTableIs) {
  AddServers();
  Shard("Protokollzeilen", "ZeilenNr", "protokollzeilen");
  Shard("Protokolldetails", "ZeilenNr", "protokolldetails");
  Shard("Importlaufzeilen", "ZeilenNr", "importlaufzeilen");
  ExpectTheSameOfImports();
  for (const auto& server : servers) {
    const ConnectionPtr node = OpenConnection(server->ConnectionString());
    EXPECT_NE(node->OpenRecordset("SELECT count(*) FROM Protokollzeilen")->TextAt(0), "0");
  }
}

}  // namespace
}  // namespace kestrel::testing
