// The keys of many records asked for at once, before each of them is looked for.
#include <array>
#include <mutex>

#include "host/host_fixture.h"
#include "keys/duplicate_keys.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"
#include "storage/known_keys.h"

namespace kestrel {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr std::array<std::string_view, 8> kNames = {"Bauer", "Dorn",  "Fink", "Gockel",
                                                    "Lamm",  "Meise", "Rabe", "Sommer"};
constexpr std::array<std::string_view, 8> kTowns = {"Berlin", "Dresden", "Fulda",  "Köln",
                                                    "Lübeck", "Mainz",   "Rheine", "Singen"};

class KeysAhead : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  }

  // Nothing that two of them have gives both a key.
  static std::string Name(int i) { return std::string(kNames[static_cast<std::size_t>(i)]) + " Nordlicht"; }
  static std::string Postcode(int i) { return std::to_string(10000 * (i + 1) + 7); }
  static std::string Town(int i) { return std::string(kTowns[static_cast<std::size_t>(i)]); }
  static std::string Street(int i) { return "Kastanienweg " + std::to_string(i + 1); }
  static std::string KeyText(int i) {
    return Postcode(i) + "|" + Town(i) + "|" + Street(i) + "|" + Name(i).substr(0, 15) + "|" + Name(i) + "||||";
  }
  static std::array<std::string, 3> Keys(int i) {
    return {host::BuildDoubletKey("4", KeyText(i)), host::BuildDoubletKey("7", KeyText(i)),
            host::BuildDoubletKey("6", KeyText(i))};
  }
  void Expect(std::initializer_list<int> records) {
    std::vector<std::string> texts;
    for (const int i : records) texts.push_back(KeyText(i));
    const std::lock_guard lock(connection->CallMutex());
    connection->attachments().Of<ComingLookUps>(*connection).Tell(texts);
  }
  // Whether the look-up for that record need not be run, as there is none.
  bool IsKnownToBeAbsent(int i) {
    const std::array<std::string, 3> keys = Keys(i);
    const std::lock_guard lock(connection->CallMutex());
    return connection->attachments().Of<AbsentValues>(*connection).Lacks("Adressindex", Sought(keys));
  }
  // The references of those that the look-up would find; "?" where it must be run.
  std::vector<std::string> Known(int i) {
    const std::array<std::string, 3> keys = Keys(i);
    const std::lock_guard lock(connection->CallMutex());
    const auto rows = connection->attachments().Of<ComingLookUps>(*connection).Find(Sought(keys));
    if (!rows) return {"?"};
    std::vector<std::string> references;
    for (const FoundAddress& row : *rows) {
      EXPECT_EQ(row.address_type, 1);
      references.emplace_back(row.reference);
    }
    return references;
  }
  static std::array<SoughtValue, 3> Sought(const std::array<std::string, 3>& keys) {
    return {{{"Doubletkey1", keys[0]}, {"Doubletkey2", keys[1]}, {"Doubletkey3", keys[2]}}};
  }
  std::optional<std::string> KnownText(const std::string& reference) {
    const auto text = host::KnownKeys::Of(*connection).KeyTextOf(1, reference);
    return text ? std::optional<std::string>(*text) : std::nullopt;
  }
  // As a candidate that a look-up has found, which the record may repeat.
  void Confirm(const std::string& reference) {
    Value reason("");
    const ObjectPtr functions = components.CreateObject("ksdoublb.doubletfunctions");
    EXPECT_GT(CallMethod(functions, "Confirm", connection, KeyText(7), 1, reference, ByRef(reason)).ToDouble(),
              0);
  }
  static void Prepare(const ObjectPtr& importer) {
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
  }
  // How many statements ask for many records, where there are any.
  std::vector<std::string> Questions() {
    return Rows(
        "SELECT count(*) FROM pg_prepared_statements WHERE statement LIKE '%Doubletkey1 = ANY%' HAVING "
        "count(*) > 0");
  }
  void Store(const ObjectPtr& into, int i, const char* number = nullptr) {
    const std::string own = std::to_string(i + 1);
    EXPECT_EQ(Import(into, {{"KundenNummer", number != nullptr ? number : own.c_str()},
                            {"Bez1", Name(i).c_str()},
                            {"PLZ", Postcode(i).c_str()},
                            {"Ort", Town(i).c_str()},
                            {"Strasse", Street(i).c_str()}}),
              "");
  }
};

}  // namespace

TEST_F(KeysAhead, AreWantedOnlyWhileAnImportWritesTheIndex) {
  const ComingLookUps& coming = connection->attachments().Of<ComingLookUps>(*connection);
  EXPECT_EQ(coming.Wanted(), 0U);
  {
    const ObjectPtr importer = Importer();
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
    EXPECT_GT(coming.Wanted(), 100U);
  }
  EXPECT_EQ(coming.Wanted(), 0U);
}

TEST_F(KeysAhead, ThatNoRowHasSpareTheLookUp) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({0, 1, 2, 7, 3});
  EXPECT_TRUE(IsKnownToBeAbsent(0));
  EXPECT_TRUE(IsKnownToBeAbsent(1));
  EXPECT_TRUE(IsKnownToBeAbsent(2));
  EXPECT_FALSE(IsKnownToBeAbsent(7)) << "it is there";
  EXPECT_TRUE(IsKnownToBeAbsent(3));
  EXPECT_FALSE(IsKnownToBeAbsent(4)) << "nobody has asked for it";
}

TEST_F(KeysAhead, AreNotAskedForWhereATriggerOfAPartMayChangeThem) {
  connection->Execute(
      "CREATE FUNCTION aendere() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN NEW.Doubletkey1 := 'x'; RETURN "
      "NEW; "
      "END $$");
  connection->Execute(
      "CREATE TRIGGER aendere BEFORE INSERT ON AdressindexTeil0 FOR EACH ROW EXECUTE FUNCTION aendere()");
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({0, 7});
  EXPECT_FALSE(IsKnownToBeAbsent(0));
  EXPECT_THAT(Known(7), ElementsAre("?"));
}

TEST_F(KeysAhead, ThatRowsHaveTellThemAndTheirAddresses) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Store(importer, 7, "20");
  Store(importer, 6);
  Expect({0, 7, 6});
  EXPECT_THAT(Known(0), IsEmpty());
  EXPECT_THAT(Known(7), ElementsAre("8", "20"));
  EXPECT_EQ(KnownText("8"), KeyText(7));
  EXPECT_EQ(KnownText("20"), KeyText(7));
  EXPECT_EQ(KnownText("7"), std::nullopt) << "it was not found for this record";
  EXPECT_THAT(Known(6), ElementsAre("7"));
  EXPECT_EQ(KnownText("7"), KeyText(6));
}

TEST_F(KeysAhead, OfAnAddressOverwrittenMeanwhileAreLookedFor) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Store(importer, 6);
  Expect({7, 6});
  EXPECT_THAT(Known(7), ElementsAre("8"));
  host::KnownKeys::Of(*connection).Change(8 * 64 + 1);
  EXPECT_THAT(Known(7), ElementsAre("?"));
  EXPECT_EQ(KnownText("8"), std::nullopt);
  EXPECT_THAT(Known(6), ElementsAre("7"));
}

// Else each record that finds a hundred candidates would take a hundred round trips.
TEST_F(KeysAhead, OfACandidateReadOnceAreRememberedUntilItChangesOrTheNextQuestion) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({0, 1});
  EXPECT_EQ(KnownText("8"), std::nullopt) << "no record that was foreseen has its keys";
  Confirm("8");
  EXPECT_EQ(KnownText("8"), KeyText(7));
  host::GroupedWrites::Of(*connection).Flush();
  EXPECT_EQ(KnownText("8"), std::nullopt) << "nobody has the lock";
  EXPECT_TRUE(IsKnownToBeAbsent(0));
  EXPECT_EQ(KnownText("8"), KeyText(7));

  host::KnownKeys::Of(*connection).Change(8 * 64 + 1);
  EXPECT_EQ(KnownText("8"), std::nullopt);
  Confirm("8");
  EXPECT_EQ(KnownText("8"), KeyText(7));
  Expect({2});
  EXPECT_EQ(KnownText("8"), std::nullopt);
}

TEST_F(KeysAhead, OfACandidateAreReadAgainWhereAnotherClerkHasStoredOrAGroupIsLost) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  host::GroupedWrites& group = host::GroupedWrites::Of(*connection);
  group.Flush();
  const ConnectionPtr other = OpenConnection(file);
  for (const bool is_lost : {false, true}) {
    Expect({0, 1});
    EXPECT_TRUE(IsKnownToBeAbsent(0));
    Confirm("8");
    ASSERT_EQ(KnownText("8"), KeyText(7));
    if (is_lost) {
      group.Lose(RuntimeError(ErrorNumber::kDatabase, "weg"));
    } else {
      group.Flush();
      EXPECT_EQ(other->Execute("UPDATE Importsperre SET Stand = Stand + 1 WHERE Name = 'Adressindex'"), 1);
    }
    EXPECT_FALSE(IsKnownToBeAbsent(1));
    EXPECT_EQ(KnownText("8"), std::nullopt);
  }
}

TEST_F(KeysAhead, OfARecordStoredMeanwhileAreLookedFor) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({0, 0, 1});
  EXPECT_TRUE(IsKnownToBeAbsent(0));
  Store(importer, 0);
  EXPECT_FALSE(IsKnownToBeAbsent(0));
  EXPECT_TRUE(IsKnownToBeAbsent(1));
}

TEST_F(KeysAhead, OfARecordThatWasNotForeseenAreLookedForAndTheNextOnesAreKnown) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({0, 1, 2});
  EXPECT_FALSE(IsKnownToBeAbsent(5));
  EXPECT_TRUE(IsKnownToBeAbsent(1));
  EXPECT_FALSE(IsKnownToBeAbsent(0)) << "its turn is over";
  EXPECT_TRUE(IsKnownToBeAbsent(2));
}

TEST_F(KeysAhead, AreLookedForOnceAnotherClerkHasStored) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({0, 1});
  EXPECT_TRUE(IsKnownToBeAbsent(0));
  // The end of the group gives up the lock; another clerk takes it.
  host::GroupedWrites::Of(*connection).Flush();
  const ConnectionPtr other = OpenConnection(file);
  EXPECT_EQ(other->Execute("UPDATE Importsperre SET Stand = Stand + 1 WHERE Name = 'Adressindex'"), 1);
  EXPECT_FALSE(IsKnownToBeAbsent(1));
}

TEST_F(KeysAhead, OfAnAddressThatIsBeingOverwrittenAreLookedForWhetherTheIndexIsKeptOrNot) {
  const ObjectPtr importer = OverwritingImporter();
  Store(importer, 7);
  // As a new one it fails, so that the next is not sent as such.
  for (const char* is_kept : {"1", "0"}) {
    Expect({7});
    ASSERT_THAT(Known(7), ElementsAre("8"));
    EXPECT_EQ(KnownText("8"), KeyText(7));
    Set("Doubletindex", is_kept);
    Store(importer, 6, "8");
    EXPECT_EQ(KnownText("8"), std::nullopt) << is_kept;
    Set("Doubletindex", "1");
    Store(importer, 7, "8");
  }
}

TEST_F(KeysAhead, AreAskedForAgainAfterASessionThatEndedWithTheFirstQuestion) {
  const std::lock_guard no_timer(connection->CallMutex());
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({5});
  OpenConnection(file)->OpenRecordset("SELECT pg_terminate_backend(" + Rows("SELECT pg_backend_pid()").at(0) +
                                      ", 10000)");
  Expect({0});
  EXPECT_FALSE(IsKnownToBeAbsent(0));
  Expect({1});
  EXPECT_TRUE(IsKnownToBeAbsent(1));
}

// A table without statistics looks as if each of its keys came again and again.
TEST_F(KeysAhead, AreFoundByTheIndexesWhileTheTableIsBeingFilled) {
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  host::GroupedWrites::Of(*connection).Flush();
  connection->Execute(
      "INSERT INTO Adressindex SELECT n, 1, n, 'a' || n, 'b' || n, 'c' || n FROM generate_series(1000, 3000) "
      "n");
  const std::lock_guard lock(connection->CallMutex());
  const auto scans = [&](const std::string& kind) {
    return std::stoi(
        Rows("SELECT sum(" + kind + ") FROM pg_stat_xact_user_tables WHERE relname LIKE 'adressindexteil%'")
            .at(0));
  };
  Expect({0});
  const int of_all = scans("seq_scan");
  const int by_index = scans("idx_scan");
  std::vector<std::string> texts;
  for (int i = 0; i < 500; ++i) texts.push_back(std::to_string(10000 + i) + "|" + KeyText(i % 7));
  connection->attachments().Of<ComingLookUps>(*connection).Tell(texts);
  EXPECT_EQ(scans("seq_scan"), of_all);
  EXPECT_GT(scans("idx_scan"), by_index);
  EXPECT_THAT(Rows("SELECT current_setting('enable_seqscan')"), ElementsAre("off"));
  host::GroupedWrites::Of(*connection).Flush();
  EXPECT_THAT(Rows("SELECT current_setting('enable_seqscan'), current_setting('jit')"), ElementsAre("on|on"));
}

// --- What needs no question: keys of an index that was empty -----------------------------------------

TEST_F(KeysAhead, OfAnIndexThatWasEmptyAreKnown) {
  const ObjectPtr importer = Importer();
  Prepare(importer);
  EXPECT_TRUE(IsKnownToBeAbsent(0));
  Store(importer, 0);
  EXPECT_FALSE(IsKnownToBeAbsent(0));
  EXPECT_TRUE(IsKnownToBeAbsent(1));
  host::GroupedWrites::Of(*connection).Flush();
  EXPECT_FALSE(IsKnownToBeAbsent(0));
  EXPECT_TRUE(IsKnownToBeAbsent(1));
  EXPECT_THAT(Questions(), IsEmpty());
}

TEST_F(KeysAhead, OfAnIndexThatHeldRowsAreAskedFor) {
  Store(Importer(), 7);
  host::GroupedWrites::Of(*connection).Flush();
  const ObjectPtr importer = Importer();
  Prepare(importer);
  EXPECT_FALSE(IsKnownToBeAbsent(0));
  Expect({0});
  EXPECT_TRUE(IsKnownToBeAbsent(0));
}

TEST_F(KeysAhead, AreNoLongerKnownOnceAnotherClerkHasStored) {
  const ObjectPtr importer = Importer();
  Prepare(importer);
  EXPECT_TRUE(IsKnownToBeAbsent(0));
  host::GroupedWrites::Of(*connection).Flush();
  const ConnectionPtr other = OpenConnection(file);
  EXPECT_EQ(other->Execute("UPDATE Importsperre SET Stand = Stand + 1 WHERE Name = 'Adressindex'"), 1);
  EXPECT_FALSE(IsKnownToBeAbsent(0));
  host::GroupedWrites::Of(*connection).Flush();
  EXPECT_FALSE(IsKnownToBeAbsent(0)) << "who knows what else comes";
}

TEST_F(KeysAhead, AreNoLongerKnownOnceAnImportWithoutACheckHasStored) {
  const ObjectPtr importer = Importer();
  Prepare(importer);
  EXPECT_TRUE(IsKnownToBeAbsent(0));
  host::GroupedWrites::Of(*connection).Flush();
  const ConnectionPtr other = OpenConnection(file);
  const ObjectPtr unchecked = components.CreateObject("ksbimport.importkunden");
  SetProperty(unchecked, "Connection", other);
  Store(unchecked, 0);
  host::GroupedWrites::Of(*other).Flush();
  EXPECT_FALSE(IsKnownToBeAbsent(0));
}

TEST_F(KeysAhead, AreNotKnownWhereNobodyCountsImportsWithoutACheck) {
  connection->Execute("DELETE FROM Importsperre WHERE Name = 'Adressindex ohne Sperre'");
  const ObjectPtr importer = Importer();
  Prepare(importer);
  EXPECT_FALSE(IsKnownToBeAbsent(0));
}

TEST_F(KeysAhead, ThatAreKnownAreAskedForTogetherWhereManyMustBeRead) {
  const ObjectPtr importer = Importer();
  Prepare(importer);
  const ComingLookUps& coming = connection->attachments().Of<ComingLookUps>(*connection);
  EXPECT_TRUE(IsKnownToBeAbsent(0));
  Store(importer, 0);
  const auto look_up = [&](int times, int sought) {
    for (int i = 0; i < times; ++i) IsKnownToBeAbsent(1);
    for (int i = 0; i < sought; ++i) Known(0);
  };
  look_up(600, 0);
  EXPECT_EQ(coming.Wanted(), 0U);
  look_up(100, 20);
  look_up(500, 0);
  EXPECT_GT(coming.Wanted(), 100U);
  Expect({0, 1});
  EXPECT_THAT(Questions(), ElementsAre("1"));
  EXPECT_THAT(Known(0), ElementsAre("1"));
  EXPECT_THAT(Known(1), IsEmpty()) << "it was not asked for, as it is known to be absent";
}

TEST_F(KeysAhead, AreComparedByTheirBytes) {
  EXPECT_THAT(Rows("SELECT attname, attcollation = '\"C\"'::regcollation FROM pg_attribute "
                   "WHERE attrelid = 'adressindex'::regclass AND attname LIKE 'doubletkey%' ORDER BY 1"),
              ElementsAre("doubletkey1|Wahr", "doubletkey2|Wahr", "doubletkey3|Wahr"));
}

TEST_F(KeysAhead, HaveIndexesOfEqualTexts) {
  EXPECT_THAT(Rows("SELECT am.amname FROM pg_index i JOIN pg_class c ON c.oid = i.indexrelid "
                   "JOIN pg_am am ON am.oid = c.relam "
                   "WHERE i.indrelid = 'adressindex'::regclass AND NOT i.indisprimary"),
              ElementsAre("hash", "hash", "hash"));
}

TEST_F(KeysAhead, AreLookedForWhereTheTableComparesInAnotherWay) {
  connection->Execute("ALTER TABLE Adressindex ALTER COLUMN Doubletkey2 TYPE char(20)");
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({0});
  EXPECT_FALSE(IsKnownToBeAbsent(0));
}

}  // namespace kestrel
