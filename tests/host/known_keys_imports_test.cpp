// Whole imports with duplicate check: what the database need not be asked changes nothing of their results.
#include <random>

#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;

// Asks the database every query, as nobody tells what is stored through it.
class AskingConnection final : public Connection {
 public:
  explicit AskingConnection(ConnectionPtr database) : database_(std::move(database)) {}
  ~AskingConnection() override { attachments().Drop(*this); }
  std::int64_t Execute(std::string_view sql) override { return database_->Execute(sql); }
  RecordsetPtr OpenRecordset(std::string_view sql) override {
    ++queries;
    return database_->OpenRecordset(sql);
  }
  std::unique_ptr<Statement> Prepare(std::string_view sql) override { return database_->Prepare(sql); }
  Capabilities capabilities() const override {
    Capabilities capabilities = database_->capabilities();
    capabilities.announces_queries = false;
    return capabilities;
  }
  void Begin() override { database_->Begin(); }
  void Commit() override { database_->Commit(); }
  void Rollback() override { database_->Rollback(); }
  bool InTransaction() const override { return database_->InTransaction(); }
  std::vector<CatalogTable> Tables() override { return database_->Tables(); }
  std::vector<std::string> ColumnNames(std::string_view table) override {
    return database_->ColumnNames(table);
  }
  void Close() override {
    attachments().Drop(*this);
    database_->Close();
  }
  bool IsOpen() const override { return database_->IsOpen(); }

  int queries = 0;

 private:
  ConnectionPtr database_;
};

class KnownKeysImports : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && OnPostgres()) GTEST_SKIP() << "PostgreSQL is asked every query";
    folder.Write("Kunden.IMP",
                 "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\n"
                 "Provider=Textdatei\nFileName=Quelle.txt\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\n"
                 "TextRecognition=\"\n[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n"
                 "DublettenKey2=1\nDublettenKey3=1\nKundenUeberschreiben=1\n[FieldAssignments]\n"
                 "KundenNummer=FIELD:Nr\nBez1=FIELD:Name\nStrasse=FIELD:Strasse\nPLZ=FIELD:PLZ\n"
                 "Mitarbeiter=FIELD:Anzahl\n");
  }

  // Addresses that repeat each other and earlier ones, take numbers that exist, and hold errors.
  static std::string Source(unsigned seed, int count) {
    std::mt19937 random(seed);
    const auto below = [&random](int limit) {
      return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    std::string text = "Nr;Name;Strasse;PLZ;Anzahl\r\n";
    for (int i = 0; i < count; ++i) {
      text += (below(3) == 0 ? std::string() : std::to_string(below(4 * count))) + ";Name" +
              static_cast<char>('a' + below(26)) + static_cast<char>('a' + below(26)) + " GmbH;Weg " +
              std::to_string(below(40)) + ";5" + std::to_string(1000 + below(30)) + ";" +
              (below(9) == 0 ? "-1" : std::to_string(below(50))) + "\r\n";
    }
    return text;
  }

  // The import's figures.
  std::string Import(const ObjectPtr& host, const std::string& source) {
    folder.Write("Quelle.txt", source);
    ImportJob job({ui, components, clock});
    job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = host, .user = "4711"});
    const RunResult& result = job.Run();
    ui.boxes.clear();
    duplicates += result.duplicates;
    return std::to_string(result.records) + " read, " + std::to_string(result.errors) + " errors, " +
           std::to_string(result.duplicates) + " held back, " + std::to_string(result.stored) + " stored, " +
           std::to_string(result.updated) + " updated";
  }

  static std::vector<std::string> AllRows(Connection& database) {
    std::vector<std::string> rows;
    for (const char* sql :
         {"SELECT * FROM Kunden ORDER BY KundenNummer", "SELECT * FROM Adressindex ORDER BY AdressId",
          "SELECT ProtokollNr, Titel, Liste FROM Protokoll ORDER BY ProtokollNr",
          // But for the mark of a record, which is random.
          "SELECT ZeilenNr, ProtokollNr, CASE WHEN Spalte1 IS NULL THEN Spalte0 END, Spalte1, Spalte2 "
          "FROM Protokollzeilen ORDER BY ProtokollNr, ZeilenNr"}) {
      for (const RecordsetPtr set = database.OpenRecordset(sql); !set->IsEof(); set->MoveNext()) {
        std::string row;
        for (std::size_t i = 0; i < set->ColumnCount(); ++i) row.append(set->TextAt(i)).append("|");
        rows.push_back(std::move(row));
      }
    }
    return rows;
  }

  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  int duplicates = 0;
};

}  // namespace

TEST_F(KnownKeysImports, StoreAndHoldBackWhatAskingEachTimeDoes) {
  const std::string asked_file = folder.File("asked.db");
  const ConnectionPtr asked = OpenConnection(asked_file);
  host::InitialiseHostDatabase(*asked);
  const auto asking = std::make_shared<AskingConnection>(asked);
  for (unsigned round = 0; round < 4; ++round) {
    const std::string source = Source(round, 400);
    asking->queries = 0;
    ASSERT_EQ(Import(connection, source), Import(asking, source));
    EXPECT_GE(asking->queries, 400);
    ASSERT_EQ(AllRows(*connection), AllRows(*asked));
    // Another program adds some addresses of the next round to both.
    for (const std::string& path : {file, asked_file}) {
      const ConnectionPtr writer = OpenConnection(path);
      writer->Execute("UPDATE Adressindex SET Doubletkey1 = 'fremd' WHERE AdressId % 128 = 1");
      Import(writer, Source(round + 1, 30));
    }
    ASSERT_EQ(AllRows(*connection), AllRows(*asked));
  }
  EXPECT_GT(duplicates, 200);
}

TEST_F(KnownKeysImports, OfAddressesAlikeTheLowestNumberIsNamedWhateverTheSectionOfItsRow) {
  // Sections 15, 0 and 1, stored in no order; each is asked about, as all agree alike.
  Import(connection, "Nr;Name;Strasse;PLZ;Anzahl\r\n1114112;Nama GmbH;Weg 1;51000;1\r\n");
  for (const char* number : {"1048576", "983040"}) {
    connection->Execute("INSERT INTO Kunden (KundenNummer, Bez1, Strasse, PLZ) SELECT " + std::string(number) +
                        ", Bez1, Strasse, PLZ FROM Kunden WHERE KundenNummer = 1114112");
    connection->Execute("INSERT INTO Adressindex SELECT " + std::string(number) + " * 64 + 1, 1, '" + number +
                        "', Doubletkey1, Doubletkey2, Doubletkey3 FROM Adressindex WHERE Referenz = '1114112'");
  }
  const std::string repeated = "Nr;Name;Strasse;PLZ;Anzahl\r\n5;Nama GmbH;Weg 1;51000;1\r\n";
  const auto named = [&] {
    return Rows(
        "SELECT Adresse FROM Protokolldetails WHERE Adresse IS NOT NULL ORDER BY ZeilenNr DESC LIMIT 1");
  };
  Import(connection, repeated);
  EXPECT_THAT(named(), ElementsAre("983040"));
  Import(std::make_shared<AskingConnection>(OpenConnection(file)), repeated);
  EXPECT_THAT(named(), ElementsAre("983040"));
  EXPECT_EQ(duplicates, 2);
}

}  // namespace kestrel
