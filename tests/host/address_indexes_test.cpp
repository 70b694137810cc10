// The indexes of duplicate keys in an SQLite database, whose sections nobody who looks for a key needs to know of.
#include "schema/address_indexes.h"

#include <array>
#include <cstdint>
#include <random>

#include "host/host_fixture.h"
#include "storage/index_repair.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr std::int64_t kSectionNumbers = 65536;

class AddressIndexes : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (OnPostgres()) GTEST_SKIP() << "a server's indexes have no sections";
  }

  void Add(std::int64_t number, const std::array<std::string, 3>& keys) {
    const auto insert = connection->Prepare("INSERT INTO Adressindex VALUES (?, 1, ?, ?, ?, ?)");
    insert->BindInteger(0, number * 64 + 1);
    const std::string reference = std::to_string(number);
    insert->BindText(1, reference);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (keys[i].empty()) {
        insert->BindNull(2 + i);
      } else {
        insert->BindText(2 + i, keys[i]);
      }
    }
    insert->Execute();
  }

  void MakeThoseOfAnEarlierVersion() {
    for (const char* number : {"1", "2", "3"}) {
      connection->Execute("DROP INDEX Adressindex" + std::string(number));
      connection->Execute("CREATE INDEX Adressindex" + std::string(number) + " ON Adressindex (Doubletkey" +
                          number + ")");
    }
  }

  void BeginImport() {
    const ObjectPtr importer = Importer();
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
  }

  static std::string PlanOf(Connection& database, const std::string& sql) {
    std::string plan;
    for (const RecordsetPtr rows = database.OpenRecordset("EXPLAIN QUERY PLAN " + sql); !rows->IsEof();
         rows->MoveNext()) {
      plan += std::string(rows->TextAt(3)) + "\n";
    }
    return plan;
  }

  static constexpr const char* kLookUp =
      "SELECT * FROM Adressindex where  (Adressart = 1)  and ( Doubletkey1 = 'a'  OR  Doubletkey2 = 'b'  OR  "
      "Doubletkey3 = 'c' )";
  static auto UsesAll() {
    return AllOf(HasSubstr("USING INDEX Adressindex1"), HasSubstr("USING INDEX Adressindex2"),
                 HasSubstr("USING INDEX Adressindex3"), Not(HasSubstr("SCAN")));
  }
};

TEST_F(AddressIndexes, ALookUpFindsWhatReadingTheWholeTableFinds) {
  std::mt19937_64 random(11);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same each time
  const auto key = [&] {
    const auto one = random() % 60;
    return one == 0 ? std::string() : "k" + std::to_string(one);
  };
  for (int i = 0; i < 400; ++i) {
    // Over all sections, and over those that are filled anew.
    Add(static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(40 * kSectionNumbers)) * 8 + i % 8,
        {key(), key(), key()});
  }
  connection->Execute("CREATE TABLE Vergleich AS SELECT * FROM Adressindex");
  std::size_t found = 0;
  for (int i = 0; i < 300; ++i) {
    const std::string condition = " where  (Adressart = 1)  and ( Doubletkey1 = '" + key() +
                                  "'  OR  Doubletkey2 = '" + key() + "'  OR  Doubletkey3 = '" + key() +
                                  "' ) And Not (Adressart = 1 And Referenz = '" + std::to_string(i) +
                                  "') ORDER BY AdressId";
    const auto rows = Rows("SELECT * FROM Adressindex" + condition);
    EXPECT_EQ(rows, Rows("SELECT * FROM Vergleich" + condition)) << condition;
    found += rows.size();
  }
  EXPECT_GT(found, 3000U);
  EXPECT_THAT(Rows("PRAGMA integrity_check"), ElementsAre("ok"));
}

TEST_F(AddressIndexes, NewAddressesShareASectionAndNoMoreThanSixteenAreSearched) {
  for (int section = 0; section < 40; ++section) {
    Add(section * kSectionNumbers, {"a", "", ""});
    Add((section + 1) * kSectionNumbers - 1, {"a", "", ""});
  }
  EXPECT_THAT(Rows("SELECT count(DISTINCT (AdressId >> 22) & 15) FROM Adressindex"), ElementsAre("16"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex WHERE Doubletkey1 = 'a'"), ElementsAre("80"));
}

TEST_F(AddressIndexes, AreUsedByWhoeverOpensTheDatabaseThoughItIsStillEmpty) {
  EXPECT_THAT(PlanOf(*connection, kLookUp), UsesAll());
  EXPECT_THAT(PlanOf(*OpenConnection(file), kLookUp), UsesAll());
  EXPECT_EQ(host::StateOfAddressIndexes(*connection), host::AddressIndexes::kComplete);
}

TEST_F(AddressIndexes, AreUsedAgainAfterSomebodyHasTakenStatisticsOfAFewRows) {
  Add(1, {"a", "b", "c"});
  connection->Execute("ANALYZE");
  // Else nothing would have to be put right.
  ASSERT_THAT(PlanOf(*OpenConnection(file), kLookUp), HasSubstr("SCAN"));
  BeginImport();
  EXPECT_THAT(PlanOf(*connection, kLookUp), UsesAll());
  EXPECT_THAT(PlanOf(*OpenConnection(file), kLookUp), UsesAll());
}

TEST_F(AddressIndexes, AreUsedAgainAfterTheStatisticsWereRemoved) {
  connection->Execute("DROP TABLE sqlite_stat1");
  EXPECT_EQ(host::StateOfAddressIndexes(*connection), host::AddressIndexes::kUnknown);
  BeginImport();
  EXPECT_THAT(PlanOf(*connection, kLookUp), UsesAll());
}

TEST_F(AddressIndexes, StatisticsOfManyRowsStayAsSomebodyHasTakenThem) {
  connection->Execute("UPDATE sqlite_stat1 SET stat = '5000000 312500 2'");
  EXPECT_EQ(host::StateOfAddressIndexes(*connection), host::AddressIndexes::kComplete);
}

TEST_F(AddressIndexes, ThoseOfAnEarlierVersionAreMadeAnewByAnImportAndFindTheSame) {
  for (int i = 0; i < 50; ++i) Add(i * 1000, {i % 2 == 0 ? "a" : "x", "y" + std::to_string(i), ""});
  MakeThoseOfAnEarlierVersion();
  EXPECT_EQ(host::StateOfAddressIndexes(*connection), host::AddressIndexes::kEarlier);
  const auto before = Rows("SELECT AdressId FROM Adressindex WHERE Doubletkey1 = 'a' ORDER BY 1");
  BeginImport();
  EXPECT_EQ(host::StateOfAddressIndexes(*connection), host::AddressIndexes::kComplete);
  EXPECT_EQ(Rows("SELECT AdressId FROM Adressindex WHERE Doubletkey1 = 'a' ORDER BY 1"), before);
  EXPECT_THAT(PlanOf(*connection, kLookUp), UsesAll());
}

TEST_F(AddressIndexes, WhoeverOnlyLooksIntoTheDatabaseLeavesThoseOfAnEarlierVersionAndWaitsForNobody) {
  MakeThoseOfAnEarlierVersion();
  connection->Begin();
  connection->Execute("DELETE FROM Kunden");
  EXPECT_EQ(CallMethod(components.CreateObject("kestrelhost.Setup"), "RestoreDatabase", OpenConnection(file)),
            Value(""));
  connection->Rollback();
  EXPECT_EQ(host::StateOfAddressIndexes(*connection), host::AddressIndexes::kEarlier);
}

TEST_F(AddressIndexes, WhereTheyCannotBeMadeAnewAnImportGoesOnWithThoseOfBefore) {
  MakeThoseOfAnEarlierVersion();
  const ConnectionPtr other = OpenConnection(file);
  other->Execute("PRAGMA query_only = ON");
  host::TuneAddressIndexes(*other);
  EXPECT_EQ(host::StateOfAddressIndexes(*connection), host::AddressIndexes::kEarlier);
  EXPECT_THAT(PlanOf(*other, kLookUp), UsesAll());
}

TEST_F(AddressIndexes, ATransactionThatIsTakenBackLeavesThemAsTheyWere) {
  MakeThoseOfAnEarlierVersion();
  connection->Begin();
  host::RenewAddressIndexes(*connection);
  connection->Rollback();
  EXPECT_EQ(host::StateOfAddressIndexes(*connection), host::AddressIndexes::kEarlier);
  EXPECT_THAT(PlanOf(*OpenConnection(file), kLookUp), UsesAll());
}

TEST_F(AddressIndexes, OfADatabaseWithoutAnAddressIndexNothingIsMade) {
  const ConnectionPtr empty = OpenConnection(folder.File("leer.db"));
  EXPECT_EQ(host::StateOfAddressIndexes(*empty), host::AddressIndexes::kNone);
  EXPECT_EQ(CallMethod(components.CreateObject("kestrelhost.Setup"), "RestoreDatabase", empty), Value(""));
  EXPECT_THAT(empty->Tables(), IsEmpty());
}

class AddressIndexParts : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && !OnPostgres()) GTEST_SKIP() << "an SQLite table has no parts";
  }
  std::vector<std::string> Parts() {
    return Rows("SELECT tableoid::regclass || ' ' || Referenz FROM Adressindex ORDER BY AdressId");
  }
  std::vector<std::string> CountOfParts() {
    return Rows("SELECT count(*) FROM pg_inherits WHERE inhparent = 'adressindex'::regclass");
  }
};

TEST_F(AddressIndexParts, AddressesLieInThePartOfTheirNumberAndGreatOnesTogether) {
  const ObjectPtr importer = Importer();
  for (const char* number : {"1", "65535", "65536", "1048575", "1048576", "99999999"}) {
    EXPECT_EQ(Import(importer, {{"KundenNummer", number}, {"Bez1", number}, {"PLZ", "50667"}}), "");
  }
  CallMethod(importer, "AfterImport");
  EXPECT_THAT(Parts(), ElementsAre("adressindexteil0 1", "adressindexteil0 65535", "adressindexteil1 65536",
                                   "adressindexteil15 1048575", "adressindexteil16 1048576",
                                   "adressindexteil16 99999999"));
}

TEST_F(AddressIndexParts, ATableThatIsThereStaysWhole) {
  connection->Execute("DROP TABLE Adressindex");
  connection->Execute(
      "CREATE TABLE Adressindex (AdressId BIGINT PRIMARY KEY, Adressart INTEGER NOT NULL, Referenz "
      "VARCHAR(20) NOT NULL, Doubletkey1 VARCHAR(20), Doubletkey2 VARCHAR(20), Doubletkey3 VARCHAR(20))");
  host::InitialiseHostDatabase(*connection);
  EXPECT_THAT(Rows("SELECT relkind FROM pg_class WHERE oid = 'adressindex'::regclass"), ElementsAre("r"));
  EXPECT_THAT(Rows("SELECT count(*) FROM pg_indexes WHERE tablename = 'adressindex'"), ElementsAre("4"));
}

TEST_F(AddressIndexParts, ASecondInitialisationChangesNothing) {
  host::InitialiseHostDatabase(*connection);
  EXPECT_THAT(CountOfParts(), ElementsAre("17"));
}

TEST_F(AddressIndexParts, APartThatIsGoneIsToldByACheckAndMadeAgainByInit) {
  connection->Execute("DROP TABLE AdressindexTeil0");
  const ObjectPtr importer = Importer();
  EXPECT_THAT(CallMethod(importer, "CheckDestination").ToText(), HasSubstr("'adressindexteil0'"));
  host::InitialiseHostDatabase(*connection);
  EXPECT_THAT(CountOfParts(), ElementsAre("17"));
  EXPECT_EQ(CallMethod(importer, "CheckDestination"), Value(""));
}

TEST_F(AddressIndexParts, PartsOfSomebodysOwnAreLeftAlone) {
  connection->Execute("DROP TABLE AdressindexTeil0");
  connection->Execute(
      "CREATE TABLE AdressindexKlein PARTITION OF Adressindex FOR VALUES FROM (MINVALUE) TO (4194304)");
  EXPECT_EQ(CallMethod(Importer(), "CheckDestination"), Value(""));
  host::InitialiseHostDatabase(*connection);
  EXPECT_THAT(CountOfParts(), ElementsAre("17"));
}

TEST_F(AddressIndexParts, WhereTablesOfSomebodyHaveTheirNamesTheTableIsWhole) {
  connection->Execute("DROP TABLE Adressindex");
  connection->Execute("CREATE TABLE AdressindexTeil0 (Eigenes TEXT)");
  host::InitialiseHostDatabase(*connection);
  EXPECT_THAT(CountOfParts(), ElementsAre("0"));
  const ObjectPtr importer = Importer();
  EXPECT_EQ(Import(importer, {{"KundenNummer", "1"}, {"Bez1", "a"}, {"PLZ", "50667"}}), "");
  CallMethod(importer, "AfterImport");
  EXPECT_THAT(Rows("SELECT AdressId FROM Adressindex"), ElementsAre("65"));
}

TEST_F(AddressIndexParts, AHostInAnotherSchemaBehindKeepsItsTableAndTheNewOneHasParts) {
  connection->Execute("CREATE SCHEMA zweite");
  connection->Execute("SET search_path = zweite, public");
  host::InitialiseHostDatabase(*connection);
  EXPECT_THAT(Rows("SELECT count(*) FROM pg_inherits WHERE inhparent = 'zweite.adressindex'::regclass"),
              ElementsAre("17"));
}

}  // namespace
}  // namespace kestrel
