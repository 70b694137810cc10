// Whole imports that ask a server for the keys of many records at once, beside the same imports that look for each: what
// is held back, stored and told is the same, whatever happens to the addresses in between.
#include <map>
#include <random>

#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "kestrel/run_view.h"
#include "keys/duplicate_keys.h"
#include "platform/base/text.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Number by number a name, so that no two are alike.
std::string NameOf(unsigned number) {
  constexpr std::array<const char*, 16> kSyllables = {"ba", "do",  "fi",  "gu", "ke", "lam", "mo", "nir",
                                                      "pe", "qua", "ros", "su", "ta", "vel", "wi", "zo"};
  std::string name;
  for (unsigned rest = number * 2654435761U, i = 0; i < 6; ++i, rest /= 16) name += kSyllables[rest % 16];
  return name;
}

struct Address {
  unsigned id = 0;
  std::string postcode = std::to_string(10000 + id * 7919 % 80000);
  std::string Name() const { return "Firma " + NameOf(id); }
  std::string Street() const { return NameOf(id + 100000) + "weg " + std::to_string(id % 90 + 1); }
  std::string Postcode() const { return postcode; }
  std::string Town() const { return "Ort" + NameOf(id + 200000); }
};

struct Record {
  int number = 0;
  Address address;
  bool is_refused = false;
};

// What another clerk does, who has the lock, behind a record of the import.
struct Deed {
  enum class Kind { kAdd, kChange, kRemove } kind = Kind::kAdd;
  int number = 0;
  Address address;
};

struct Script {
  std::vector<Record> records;
  std::map<int, Deed> deeds;
};

// Many records repeat an address or a number of one before, near or far. Some of what the clerk adds comes later in the
// source; what he changes or removes may be what a record that was foreseen repeats.
Script RandomScript(unsigned seed) {
  constexpr int kRecords = 1300;
  constexpr int kOfTheClerk = 100000;
  std::mt19937 random(seed);
  const auto one_of = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
  Script script;
  unsigned next_address = 1;
  for (int i = 1; i <= kRecords; ++i) {
    Record record{i, {next_address++}, one_of(60) == 0};
    if (i > 1 && one_of(4) == 0) {
      record.address = script.records[script.records.size() - 1 - random() % std::min(i - 1, 600)].address;
    }
    if (i > 1 && one_of(12) == 0) record.number = script.records[random() % script.records.size()].number;
    script.records.push_back(record);
  }
  for (int i = 0; i < 40; ++i) {
    const int behind = 1 + one_of(kRecords - 1);
    const auto record_at = [&](int place) {
      return script.records[static_cast<std::size_t>(std::min(place, kRecords) - 1)];
    };
    const Record ahead = record_at(behind + 1 + one_of(200));
    const Record before = record_at(1 + one_of(behind));
    switch (one_of(3)) {
      case 0: script.deeds[behind] = {Deed::Kind::kAdd, kOfTheClerk + i, ahead.address}; break;
      case 1:
        script.deeds[behind] = {Deed::Kind::kChange, before.number,
                                one_of(2) == 0 ? ahead.address : Address{next_address++}};
        break;
      default: script.deeds[behind] = {Deed::Kind::kRemove, before.number, {}};
    }
  }
  return script;
}

// Of a random script, and whether the import begins with an empty index, whose keys are all known from then on.
struct Start {
  unsigned seed;
  bool is_empty;
};

class LookAheads : public testing::HostFixture, public ::testing::WithParamInterface<Start> {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  }

  // What the import of the script leaves in a database, and tells.
  struct Outcome {
    std::vector<std::string> told, addresses, index, errors;
    std::vector<std::string> questions;  // how many statements ask for many records
    std::vector<std::string> ends;       // how often the row came with which the session ends
  };

  class View final : public RunView {
   public:
    explicit View(std::function<void(const RecordOutcome&)> done) : done_(std::move(done)) {}
    void SetInfo(std::string_view) override {}
    void SetProgress(double) override {}
    void Yield() override {}
    void RecordDone(const RecordOutcome& outcome) override { done_(outcome); }
    void CloseWindow() override {}

   private:
    std::function<void(const RecordOutcome&)> done_;
  };

  static void Act(Connection& clerk, const Deed& deed) {
    const std::string number = std::to_string(deed.number);
    const std::string of_index = " WHERE AdressId = 64 * " + number + " + 1";
    const Address& address = deed.address;
    const std::string text = address.Postcode() + "|" + address.Town() + "|" + address.Street() + "|" +
                             std::string(TrimBlanks(Left(address.Name(), 15))) + "|" + address.Name() + "||||";
    std::array<std::string, 3> keys;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      keys[i] = "'" + host::BuildDoubletKey(std::array{"4", "7", "6"}[i], text) + "'";
    }
    clerk.Begin();
    clerk.Execute("UPDATE Importsperre SET Stand = Stand + 1 WHERE Name = 'Adressindex'");
    if (deed.kind == Deed::Kind::kAdd) {
      clerk.Execute("INSERT INTO Kunden (KundenNummer, Bez1, Strasse, PLZ, Ort) VALUES (" + number + ", '" +
                    address.Name() + "', '" + address.Street() + "', '" + address.Postcode() + "', '" +
                    address.Town() + "')");
      clerk.Execute(
          "INSERT INTO Adressindex (AdressId, Adressart, Referenz, Doubletkey1, Doubletkey2, Doubletkey3) "
          "VALUES (64 * " +
          number + " + 1, 1, '" + number + "', " + keys[0] + ", " + keys[1] + ", " + keys[2] + ")");
    } else if (deed.kind == Deed::Kind::kChange) {
      clerk.Execute("UPDATE Kunden SET Bez1 = '" + address.Name() + "', Strasse = '" + address.Street() +
                    "', PLZ = '" + address.Postcode() + "', Ort = '" + address.Town() +
                    "' WHERE KundenNummer = " + number);
      clerk.Execute("UPDATE Adressindex SET Doubletkey1 = " + keys[0] + ", Doubletkey2 = " + keys[1] +
                    ", Doubletkey3 = " + keys[2] + of_index);
    } else {
      clerk.Execute("DELETE FROM Kunden WHERE KundenNummer = " + number);
      clerk.Execute("DELETE FROM Adressindex" + of_index);
    }
    clerk.Commit();
  }

  void WriteFiles(const Script& script) {
    folder.Write("Kunden.IMP",
                 "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\n"
                 "Provider=Textdatei\nFileName=Quelle.txt\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\n"
                 "TextRecognition=\"\n[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n"
                 "DublettenKey2=1\nDublettenKey3=1\nKundenUeberschreiben=1\n[FieldAssignments]\n"
                 "KundenNummer=FIELD:Nr\nBez1=FIELD:Name\nStrasse=FIELD:Strasse\nPLZ=FIELD:PLZ\nOrt=FIELD:Ort\n"
                 "Mitarbeiter=FIELD:Leute\n");
    std::string source = "Nr;Name;Strasse;PLZ;Ort;Leute\r\n";
    for (const Record& record : script.records) {
      const Address& address = record.address;
      source += std::to_string(record.number) + ";" + address.Name() + ";" + address.Street() + ";" +
                address.Postcode() + ";" + address.Town() + ";" + (record.is_refused ? "-1" : "3") + "\r\n";
    }
    folder.Write("Quelle.txt", source);
  }

  static std::vector<std::string> OpenRows(Connection& connection, std::string_view sql) {
    std::vector<std::string> texts;
    for (const RecordsetPtr set = connection.OpenRecordset(sql); !set->IsEof(); set->MoveNext()) {
      texts.emplace_back(set->TextAt(0));
    }
    return texts;
  }

  // Into a new database. `prepare` is run before.
  Outcome Import(const Script& script, const std::vector<std::string>& prepare) {
    const std::string database = testing::NewHostDatabase(folder);
    const ConnectionPtr host = OpenConnection(database);
    const ConnectionPtr clerk = OpenConnection(database);
    host::PrepareNewDatabase(*host);
    host::InitialiseHostDatabase(*host);
    for (const std::string& statement : prepare) host->Execute(statement);
    Outcome outcome;
    View view([&](const RecordOutcome& done) {
      if (done.fate == RecordFate::kHeldBack) {
        const DuplicateMatch& match = done.duplicate_of;
        outcome.told.push_back(std::to_string(done.record) + " repeats " + match.reference + " by key " +
                               std::to_string(match.key) + ": " + match.reason);
      }
      const auto deed = script.deeds.find(done.record);
      if (deed == script.deeds.end()) return;
      // Gives up the lock, for which the clerk would wait.
      host::GroupedWrites::Of(*host).Flush();
      Act(*clerk, deed->second);
    });
    RecordingUserInterface ui;
    FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
    ImportJob job({ui, components, clock});
    job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = host, .user = "4711"});
    const RunResult& result = job.Run(view);
    outcome.told.push_back(std::to_string(result.records) + " records, " + std::to_string(result.stored) +
                           " stored, " + std::to_string(result.updated) + " updated, " +
                           std::to_string(result.duplicates) + " held back, " +
                           std::to_string(result.rejected) + " rejected");
    outcome.addresses = OpenRows(*clerk, "SELECT CAST(k AS text) FROM Kunden k ORDER BY KundenNummer");
    outcome.index = OpenRows(*clerk, "SELECT CAST(i AS text) FROM Adressindex i ORDER BY AdressId");
    outcome.errors =
        OpenRows(*clerk,
                 "SELECT concat(d.Datensatz, ' ', d.Feld, ' ', d.Adresse, ' ', d.Name, ' ', z.Spalte1) "
                 "FROM Protokollzeilen z JOIN Protokolldetails d ON d.ZeilenNr = z.ZeilenNr ORDER BY 1");
    outcome.questions = OpenRows(
        *host, "SELECT count(*) FROM pg_prepared_statements WHERE statement LIKE '%Doubletkey1 = ANY%'");
    outcome.ends = OpenRows(*clerk, "SELECT last_value FROM pg_sequences WHERE sequencename = 'beendet'");
    return outcome;
  }

  // The same twice; the second time each record is looked for by itself.
  void ExpectTheSame(const Script& script, std::vector<std::string> prepare = {}) {
    WriteFiles(script);
    if (!GetParam().is_empty) {
      prepare.emplace_back("INSERT INTO Adressindex VALUES (64 * 900000 + 1, 1, '900000', 'x', 'y', 'z')");
    }
    const Outcome ahead = Import(script, prepare);
    prepare.insert(prepare.end(), {kFunction, kTrigger});
    const Outcome alone = Import(script, prepare);
    EXPECT_THAT(ahead.questions, ElementsAre(asked_for_many));
    EXPECT_THAT(alone.questions, ElementsAre("0"));
    EXPECT_EQ(ahead.told, alone.told);
    EXPECT_EQ(ahead.addresses, alone.addresses);
    EXPECT_EQ(ahead.index, alone.index);
    EXPECT_EQ(ahead.errors, alone.errors);
    EXPECT_THAT(ahead.told, Contains(HasSubstr(" repeats ")));
    ends = ahead.ends;
  }

  std::string asked_for_many = "1";  // by so many statements
  // A trigger is enough for not being the table that the host has made.
  std::vector<std::string> ends;  // of the import compared last
  static constexpr const char* kFunction =
      "CREATE FUNCTION tue_nichts() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RETURN NULL; END $$";
  static constexpr const char* kTrigger =
      "CREATE TRIGGER tue_nichts AFTER TRUNCATE ON Adressindex EXECUTE FUNCTION tue_nichts()";
};

TEST_P(LookAheads, FindWhatLookingForEachRecordFinds) {
  Script script = RandomScript(GetParam().seed);
  script.deeds.clear();
  ExpectTheSame(script);
}

TEST_P(LookAheads, FindTheSameWhereFewRecordsRepeatAnother) {
  Script script = RandomScript(GetParam().seed);
  script.deeds.clear();
  unsigned next_address = 100000;
  for (std::size_t i = 0; i < script.records.size(); ++i) {
    script.records[i].address = i % 150 == 149 ? script.records[i - 40].address : Address{next_address++};
  }
  if (GetParam().is_empty) asked_for_many = "0";
  ExpectTheSame(script);
}

// Keys of a place and the sound of a name: of hundreds each, so that most records are compared with as many as there may
// be, and with the same ones again and again.
TEST_P(LookAheads, FindTheSameWhereHundredsShareAKey) {
  Script script = RandomScript(GetParam().seed);
  const auto move = [](Address& address) { address.postcode = std::to_string(50667 + address.id % 3); };
  for (Record& record : script.records) move(record.address);
  for (auto& [behind, deed] : script.deeds) move(deed.address);
  ExpectTheSame(script);
}

TEST_P(LookAheads, SeeWhatAnotherClerkHasAddedChangedAndRemovedInBetween) {
  ExpectTheSame(RandomScript(GetParam().seed));
}

TEST_P(LookAheads, FindTheSameWhereTheSessionEndsInBetween) {
  const std::string number = std::to_string(200 + GetParam().seed * 37);
  ExpectTheSame(
      RandomScript(GetParam().seed),
      {"CREATE SEQUENCE beendet",
       "CREATE FUNCTION beende() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN IF nextval('beendet') = 1 THEN "
       "PERFORM pg_terminate_backend(pg_backend_pid()); END IF; RETURN NEW; END $$",
       "CREATE TRIGGER beende BEFORE INSERT ON Kunden FOR EACH ROW WHEN (NEW.KundenNummer >= " + number +
           ") EXECUTE FUNCTION beende()"});
  EXPECT_THAT(ends, ElementsAre(::testing::Ne("1")));
}

INSTANTIATE_TEST_SUITE_P(Seeds, LookAheads,
                         ::testing::Values(Start{1, false}, Start{2, false}, Start{1, true}, Start{2, true}));

}  // namespace
}  // namespace kestrel
