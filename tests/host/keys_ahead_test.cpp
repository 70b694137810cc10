// The keys of many records asked for at once, before each of them is looked for.
#include <array>

#include "host/host_fixture.h"
#include "keys/duplicate_keys.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"

namespace kestrel {

namespace {

class KeysAhead : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  }

  static std::string Name(int i) {
    return "Firma " + std::string(1, static_cast<char>('A' + i)) + " Nordlicht";
  }
  static std::string KeyText(int i) {
    return "50667|Köln|Ring " + std::to_string(i) + "|" + Name(i).substr(0, 15) + "|" + Name(i) + "||||";
  }
  void Expect(std::initializer_list<int> records) {
    std::vector<std::string> texts;
    for (const int i : records) texts.push_back(KeyText(i));
    connection->attachments().Of<ComingLookUps>(*connection).Tell(texts);
  }
  // Whether the look-up for that record need not be run.
  bool IsKnownToBeAbsent(int i) {
    std::array<std::string, 3> keys;
    std::array<SoughtValue, 3> sought;
    constexpr std::array<std::string_view, 3> kColumns = {"Doubletkey1", "Doubletkey2", "Doubletkey3"};
    for (std::size_t key = 0; key < keys.size(); ++key) {
      keys[key] = host::BuildDoubletKey(std::to_string(key + 1), KeyText(i));
      sought[key] = {kColumns[key], keys[key]};
    }
    return connection->attachments().Of<AbsentValues>(*connection).Lacks("Adressindex", sought);
  }
  void Store(const ObjectPtr& into, int i) {
    EXPECT_EQ(Import(into, {{"KundenNummer", std::to_string(i + 1).c_str()},
                            {"Bez1", Name(i).c_str()},
                            {"PLZ", "50667"},
                            {"Ort", "Köln"},
                            {"Strasse", ("Ring " + std::to_string(i)).c_str()}}),
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

TEST_F(KeysAhead, AreLookedForWhereTheTableComparesInAnotherWay) {
  connection->Execute("ALTER TABLE Adressindex ALTER COLUMN Doubletkey2 TYPE char(20)");
  const ObjectPtr importer = Importer();
  Store(importer, 7);
  Expect({0});
  EXPECT_FALSE(IsKnownToBeAbsent(0));
}

}  // namespace kestrel
