// Look-ups that need not be run, as it is known that the address index lacks what they look for.
#include "storage/known_keys.h"

#include <random>

#include "host/host_fixture.h"
#include "kestrel/transaction.h"
#include "platform/base/text.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"
#include "storage/address_index.h"
#include "support/noting_member.h"

namespace kestrel {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
namespace {

class KnownKeys : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && OnPostgres()) GTEST_SKIP() << "PostgreSQL is asked every query";
  }

  bool IsKnownToLack(std::string_view key1, std::string_view key2) {
    const SoughtValue values[] = {{"Doubletkey1", key1}, {"Doubletkey2", key2}};
    const std::lock_guard lock(connection->CallMutex());
    return connection->attachments().Of<AbsentValues>(*connection).Lacks("Adressindex", values);
  }
  bool IsKnownToLack(std::string_view key) { return IsKnownToLack(key, key); }
  std::vector<std::string> RowsWith(const std::string& key1, const std::string& key2) {
    return Rows(
        "SELECT Adressart, Referenz, ifnull(Doubletkey1, ''), ifnull(Doubletkey2, ''), ifnull(Doubletkey3, '') "
        "FROM "
        "Adressindex where ( Doubletkey1 = '" +
        key1 + "'  OR  Doubletkey2 = '" + key2 + "' )");
  }
  bool IsThere(const std::string& key1, const std::string& key2) {
    return !connection
                ->OpenRecordset("SELECT * FROM Adressindex where  (Adressart = 1)  and ( Doubletkey1 = '" +
                                key1 + "'  OR  Doubletkey2 = '" + key2 + "' )")
                ->IsEof();
  }
  // The same rows without that query; none where they are not known.
  std::optional<std::vector<std::string>> Known(std::string_view key1, std::string_view key2) {
    const SoughtValue values[] = {{"Doubletkey1", key1}, {"Doubletkey2", key2}};
    const std::lock_guard lock(connection->CallMutex());
    const auto found = connection->attachments().Of<ComingLookUps>(*connection).Find(values);
    if (!found) return std::nullopt;
    std::vector<std::string> rows;
    for (const FoundAddress& row : *found) {
      std::string& text = rows.emplace_back(std::to_string(row.address_type)).append("|").append(row.reference);
      for (const std::string_view key : row.keys) text.append("|").append(key);
    }
    return rows;
  }
  // These rows as `told` has them, where it says of a key only that it is none of those looked for.
  static std::vector<std::string> ToldAs(const std::vector<std::string>& told, std::vector<std::string> rows,
                                         const std::vector<std::string>& sought) {
    constexpr std::size_t kFirstKey = 2;
    for (std::size_t i = 0; i < std::min(told.size(), rows.size()); ++i) {
      const std::vector<std::string_view> parts = Split(told[i], '|');
      const std::string row = rows[i];
      std::vector<std::string_view> shown = Split(row, '|');
      for (std::size_t part = kFirstKey; part < std::min(parts.size(), shown.size()); ++part) {
        const bool is_sought = std::ranges::find(sought, shown[part]) != sought.end();
        if (parts[part] == "?" && !shown[part].empty() && !is_sought) shown[part] = "?";
      }
      rows[i].clear();
      for (const std::string_view part : shown) rows[i].append(rows[i].empty() ? "" : "|").append(part);
    }
    return rows;
  }
  // Adds a row past the writer of the index.
  static void Add(Connection& by, const std::string& id, const std::string& key) {
    by.Execute("INSERT INTO Adressindex VALUES (" + id + ", 1, 'r', '" + key + "', NULL, NULL)");
  }
  static host::IndexedAddress Address(std::string_view name) {
    return {"50667", "Köln", "Weg 1", {name, "", ""}, ""};
  }
  static std::string KeyOf(const char* code, const std::string& name) {
    std::string text;
    host::AppendKeyText(text, Address(name));
    return host::BuildDoubletKey(code, text);
  }

  std::unique_ptr<host::AddressIndex> NewIndex() {
    return std::make_unique<host::AddressIndex>(*connection, 1, std::make_shared<host::KeyMemory>());
  }
  ConnectionPtr Other() { return OpenConnection(file); }
};

}  // namespace

TEST_F(KnownKeys, NothingIsKnownWithoutAWriterOfTheIndex) {
  EXPECT_FALSE(IsKnownToLack("x"));
  auto index = NewIndex();
  EXPECT_TRUE(IsKnownToLack("x"));
  index.reset();
  EXPECT_FALSE(IsKnownToLack("x"));
  index = NewIndex();
  EXPECT_TRUE(IsKnownToLack("x"));
}

TEST_F(KnownKeys, AWriterThatEndsLeavesTheOtherItsKnowledge) {
  auto index = NewIndex();
  index = NewIndex();
  EXPECT_TRUE(IsKnownToLack("x"));
}

TEST_F(KnownKeys, AnEmptyQuestionAnotherTableOrColumnIsNotAnswered) {
  const auto index = NewIndex();
  ASSERT_TRUE(IsKnownToLack("x"));
  const AbsentValues& absent = connection->attachments().Of<AbsentValues>(*connection);
  const SoughtValue value[] = {{"Doubletkey1", "x"}};
  const SoughtValue others[] = {{"Doubletkey1", "x"}, {"Referenz", "x"}};
  const std::lock_guard lock(connection->CallMutex());
  EXPECT_TRUE(absent.Lacks("Adressindex", value));
  EXPECT_FALSE(absent.Lacks("Adressindex", {}));
  EXPECT_FALSE(absent.Lacks("Kunden", value));
  EXPECT_FALSE(absent.Lacks("Adressindex", others));
}

TEST_F(KnownKeys, AnyOneOfTheKeysIsEnoughAndEachBelongsToItsColumn) {
  Add(*connection, "1", "x");
  const auto index = NewIndex();
  EXPECT_FALSE(IsKnownToLack("x", "-"));
  EXPECT_TRUE(IsKnownToLack("-", "x"));
}

TEST_F(KnownKeys, WhatIsStoredIsKnownAtOnce) {
  const auto index = NewIndex();
  const std::string key1 = KeyOf("4", "Meyer"), key2 = KeyOf("7", "Meyer");
  ASSERT_TRUE(IsKnownToLack(key1, key2));
  index->Write(5, Address("Meyer"));
  EXPECT_FALSE(IsKnownToLack(key1, "-"));
  EXPECT_FALSE(IsKnownToLack("-", key2));
  // And so is the new key of a row that was there.
  index->Write(5, Address("Schulze"));
  EXPECT_FALSE(IsKnownToLack(KeyOf("4", "Schulze"), "-"));
  EXPECT_TRUE(IsKnownToLack("y"));
}

TEST_F(KnownKeys, WhatIsUndoneMayBeThoughtToBeThere) {
  const auto index = NewIndex();
  ASSERT_TRUE(IsKnownToLack("x"));
  connection->Begin();
  index->Write(5, Address("Meyer"));
  connection->Rollback();
  EXPECT_FALSE(IsThere(KeyOf("4", "Meyer"), "-"));
  index->Write(5, Address("Meyer"));
  EXPECT_FALSE(IsKnownToLack(KeyOf("4", "Meyer")));
}

TEST_F(KnownKeys, WhatIsDeletedForAMomentIsNotForgotten) {
  Add(*connection, "1", "x");
  const auto index = NewIndex();
  for (const char* undo : {"ROLLBACK", "ROLLBACK TO s"}) {
    connection->Begin();
    connection->Execute("SAVEPOINT s");
    connection->Execute("DELETE FROM Adressindex");
    // Asked for the first time while nothing is there.
    EXPECT_FALSE(IsKnownToLack("x"));
    connection->Execute(undo);
    EXPECT_FALSE(IsKnownToLack("x")) << undo;
    if (connection->InTransaction()) connection->Commit();
    EXPECT_FALSE(IsKnownToLack("x")) << undo;
  }
  EXPECT_TRUE(IsKnownToLack("y"));
}

TEST_F(KnownKeys, WhatOthersStoreThroughTheSameConnectionIsNotMissed) {
  connection->Execute(
      "CREATE TRIGGER t AFTER INSERT ON Kundengruppen BEGIN INSERT INTO Adressindex VALUES"
      " (900, 1, 'r', new.Kundengruppe, NULL, NULL); END");
  const auto prepared =
      connection->Prepare("INSERT INTO Adressindex VALUES (700, 1, 'r', 'vorbereitet', '', '')");
  const std::pair<std::string, std::string> statements[] = {
      {"INSERT INTO Adressindex VALUES (1, 1, 'r', 'eins', '', ''), (2, 1, 'r', 'zwei', '', '')", "zwei"},
      {"UPDATE Adressindex SET Doubletkey2 = 'geändert' WHERE AdressId = 1", "geändert"},
      {"REPLACE INTO Adressindex VALUES (1, 1, 'r', 'ersetzt', '', '')", "ersetzt"},
      {"INSERT INTO Adressindex SELECT AdressId + 50, 1, 'r', 'kopiert', '', '' FROM Adressindex", "kopiert"},
      {"INSERT INTO Kundengruppen VALUES ('ausgelöst', '')", "ausgelöst"},
  };
  for (const auto& [statement, key] : statements) {
    const auto index = NewIndex();
    EXPECT_TRUE(IsKnownToLack(key)) << statement;
    connection->Execute(statement);
    EXPECT_FALSE(IsKnownToLack(key)) << statement;
  }
  auto index = NewIndex();
  EXPECT_TRUE(IsKnownToLack("vorbereitet"));
  prepared->Execute();
  EXPECT_FALSE(IsKnownToLack("vorbereitet"));
  index = NewIndex();
  EXPECT_TRUE(IsKnownToLack("nirgends"));
}

// Else a host that is written to all the time would be read again and again.
TEST_F(KnownKeys, WhatIsForgottenIsLearnedAgainOnlyAsAddressesAreStored) {
  Add(*connection, "1", "x");
  const auto index = NewIndex();
  ASSERT_TRUE(IsKnownToLack("y"));
  Add(*Other(), "2", "z");
  EXPECT_FALSE(IsKnownToLack("y"));
  int stored = 0;
  for (; stored < 10 && !IsKnownToLack("y"); ++stored) index->Write(stored, Address("A"));
  EXPECT_GT(stored, 0);
  EXPECT_LT(stored, 10);
  EXPECT_FALSE(IsKnownToLack("z"));
}

TEST_F(KnownKeys, WhatAnotherProgramStoresIsNotMissed) {
  const auto index = NewIndex();
  const ConnectionPtr other = Other();
  ASSERT_TRUE(IsKnownToLack("x"));
  Add(*other, "1", "x");
  EXPECT_FALSE(IsKnownToLack("x"));
  EXPECT_TRUE(IsKnownToLack("y"));
}

TEST_F(KnownKeys, WhatAnotherProgramStoresJustBeforeAGroupBeginsIsNotMissed) {
  const ObjectPtr importer = Importer();
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  host::GroupedWrites::Of(*connection).Flush();
  ASSERT_TRUE(IsKnownToLack("x"));
  host::GroupedWrites::Of(*connection).Flush();
  Add(*Other(), "1000", "x");
  EXPECT_FALSE(IsKnownToLack("x"));
  EXPECT_TRUE(connection->InTransaction());
  EXPECT_EQ(Import(importer, {{"Bez1", "B"}}), "");
  EXPECT_FALSE(IsKnownToLack("x"));
  host::GroupedWrites::Of(*connection).Flush();
  EXPECT_FALSE(IsKnownToLack("x"));
  EXPECT_TRUE(IsKnownToLack("y"));
}

TEST_F(KnownKeys, OutsideOfAGroupAnotherTransactionIsAnotherOne) {
  const auto index = NewIndex();
  const ConnectionPtr other = Other();
  connection->Begin();
  EXPECT_FALSE(IsKnownToLack("x"));
  connection->Commit();
  ASSERT_TRUE(IsKnownToLack("x"));
  connection->Begin();
  ASSERT_TRUE(IsKnownToLack("x"));
  connection->Rollback();
  Add(*other, "1", "x");
  connection->Begin();
  EXPECT_FALSE(IsKnownToLack("x"));
  connection->Commit();
}

TEST_F(KnownKeys, ALargeIndexIsLearnedByTheAddressesThatAreStored) {
  constexpr int kRows = 5000;
  InTransaction(*connection, [&] {
    for (int i = 0; i < kRows; ++i) Add(*connection, std::to_string(2 * i), "a" + std::to_string(i));
  });
  const ObjectPtr importer = Importer();
  bool known = false;
  int stored = 0;
  for (; !known && stored < kRows; ++stored) {
    const std::string name = "Name" + std::to_string(stored);
    EXPECT_EQ(
        Import(importer,
               {{"KundenNummer", std::to_string(stored + 500).c_str()}, {"Bez1", name.c_str()}, {"PLZ", "1"}}),
        "");
    // It is learned between the groups.
    if (stored % 100 == 0) host::GroupedWrites::Of(*connection).Flush();
    known = IsKnownToLack("x");
    ASSERT_FALSE(IsKnownToLack("a" + std::to_string(stored)));
  }
  EXPECT_GT(stored, 1000);
  EXPECT_LT(stored, kRows);
  for (int i = 0; i < kRows; ++i) ASSERT_FALSE(IsKnownToLack("a" + std::to_string(i), "-"));
  for (const std::string& key : Rows("SELECT Doubletkey1 FROM Adressindex WHERE Doubletkey1 IS NOT NULL"))
    ASSERT_FALSE(IsKnownToLack(key, "-"));
}

TEST_F(KnownKeys, TheFirstAndTheLastPossibleRowAreLearned) {
  Add(*connection, "-9223372036854775808", "erste");
  Add(*connection, "9223372036854775807", "letzte");
  const auto index = NewIndex();
  EXPECT_TRUE(IsKnownToLack("x"));
  EXPECT_FALSE(IsKnownToLack("erste"));
  EXPECT_FALSE(IsKnownToLack("letzte"));
}

TEST_F(KnownKeys, ATableThatIsNotTheHostsOwnIsAskedEveryQuery) {
  auto index = NewIndex();
  ASSERT_TRUE(IsKnownToLack("x"));
  connection->Execute("DROP TABLE Adressindex");
  connection->Execute(
      "CREATE TABLE Adressindex (AdressId INTEGER PRIMARY KEY, Adressart, Referenz, "
      "Doubletkey1 VARCHAR(20) COLLATE NOCASE, Doubletkey2, Doubletkey3)");
  Add(*connection, "1", "x");
  EXPECT_FALSE(IsKnownToLack("X"));
  connection->Execute("DROP TABLE Adressindex");
  EXPECT_FALSE(IsKnownToLack("y"));
}

TEST_F(KnownKeys, ATemporaryTableThatHidesTheIndexIsAskedEveryQuery) {
  const auto index = NewIndex();
  ASSERT_TRUE(IsKnownToLack("x"));
  connection->Execute(
      "CREATE TEMP TABLE Adressindex AS SELECT 1 AS Adressart, 'x' AS Doubletkey1, '' AS Doubletkey2");
  EXPECT_TRUE(IsThere("x", "-"));
  EXPECT_FALSE(IsKnownToLack("x"));
}

TEST_F(KnownKeys, WritersAtRandomNeverHideARow) {
  auto index = NewIndex();
  const ConnectionPtr other = Other();
  std::mt19937 random(20240307);
  const auto below = [&random](unsigned count) { return static_cast<int>(random() % count); };
  const auto key = [&] { return "w" + std::to_string(below(60)); };
  int known = 0, found = 0, read = 0;
  bool in_savepoint = false;
  for (int i = 0; i < 20000; ++i) {
    // As the next import does, once the last one has ended.
    if (i % 100 == 0) {
      index.reset();
      index = NewIndex();
    }
    const bool in_transaction = connection->InTransaction();
    // While this one holds the write lock, the other one would wait for ever.
    Connection& writer = !in_transaction && below(20) == 0 ? *other : *connection;
    const std::string id = std::to_string(below(40));
    switch (below(12)) {
      case 0:
        writer.Execute("INSERT OR REPLACE INTO Adressindex VALUES (" + id + ", 1, 'r', '" + key() +
                       "', NULL, NULL)");
        break;
      case 1: index->Write(below(20), Address(key())); break;
      case 2:
        writer.Execute("UPDATE OR IGNORE Adressindex SET AdressId = AdressId + 7, Doubletkey2 = '" + key() +
                       "' WHERE AdressId < " + id);
        break;
      case 3: writer.Execute("DELETE FROM Adressindex WHERE AdressId < " + id); break;
      case 4:
        if (!in_transaction) connection->Begin();
        break;
      case 5:
        if (in_transaction) below(2) == 0 ? connection->Commit() : connection->Rollback();
        in_savepoint = false;
        break;
      case 6:
        if (!in_transaction) break;
        connection->Execute(in_savepoint ? "ROLLBACK TO s" : "SAVEPOINT s");
        in_savepoint = true;
        break;
      default: {
        const bool is_name = below(2) == 0;
        const std::string a = is_name ? KeyOf("4", key()) : key(), b = is_name ? KeyOf("7", key()) : key();
        const bool is_there = IsThere(a, b);
        const bool lacks = IsKnownToLack(a, b);
        ASSERT_FALSE(is_there && lacks) << "round " << i;
        if (const auto rows = Known(a, b)) {
          ASSERT_EQ(*rows, ToldAs(*rows, RowsWith(a, b), {a, b})) << "round " << i;
          if (is_there) ++read;
        }
        if (is_there) ++found;
        if (lacks) ++known;
      }
    }
  }
  // Both happened often enough to say something.
  EXPECT_GT(found, 500);
  EXPECT_GT(known, 500);
  EXPECT_GT(read, 500);
}

TEST_F(KnownKeys, ALargeIndexIsLearnedByTheLookUpsThatHaveToBeRun) {
  constexpr int kRows = 20000;
  InTransaction(*connection, [&] {
    for (int i = 0; i < kRows; ++i) Add(*connection, std::to_string(2 * i), "a" + std::to_string(i));
  });
  const auto index = NewIndex();
  int look_ups = 0;
  for (; look_ups < kRows; ++look_ups) {
    const std::string key = "a" + std::to_string(look_ups);
    ASSERT_FALSE(IsKnownToLack(key));
    if (const auto rows = Known(key, "-")) {
      EXPECT_THAT(*rows, ElementsAre("1|r|" + key + "||"));
      break;
    }
    // It is learned between the groups.
    if (look_ups % 100 == 0) host::GroupedWrites::Of(*connection).Flush();
  }
  EXPECT_GT(look_ups, 100);
  EXPECT_LT(look_ups, 1000);
  for (int i = 0; i < kRows; ++i) {
    const std::string key = "a" + std::to_string(i);
    ASSERT_EQ(Known(key, key), RowsWith(key, key));
  }
  EXPECT_EQ(Known("nirgends", "nirgends"), std::vector<std::string>());
}

// Else each record of a file of known addresses would have rows learned that are never all there.
TEST_F(KnownKeys, AnIndexThatFindsNoRoomIsNotLearnedByLookUps) {
  constexpr int kRows = 100000;
  InTransaction(*connection, [&] {
    for (int i = 0; i < kRows; ++i) Add(*connection, std::to_string(i), "a");
  });
  auto& addresses = connection->attachments().Of<host::KnownAddresses>(*connection);
  // For more than what is learned at the risk that it is for nothing.
  addresses.KeepWithin(std::size_t{5} << 20);
  const auto index = NewIndex();
  for (int look_ups = 0; look_ups < kRows / 16; ++look_ups) {
    ASSERT_FALSE(IsKnownToLack("a"));
    ASSERT_FALSE(Known("-", "-"));
  }
  EXPECT_TRUE(addresses.HasRoom());
}

// Without that a group would last until its rows are looked up one by one.
TEST_F(KnownKeys, WhereMuchIsToBeLearnedAGroupEndsBeforeItsTime) {
  constexpr int kRows = 70000;
  InTransaction(*connection, [&] {
    for (int i = 0; i < kRows; ++i) Add(*connection, std::to_string(i), "a");
  });
  testing::NotingMember member;
  host::GroupedWrites& group = host::GroupedWrites::Of(*connection);
  const auto index = NewIndex();
  int look_ups = 0;
  for (; look_ups < kRows; ++look_ups) {
    ASSERT_FALSE(IsKnownToLack("a"));
    group.OpenForLookUp(member);
    if (Known("-", "-")) break;
    // However slow this machine is, no group ends by the clock.
    group.BeginSpan();
  }
  EXPECT_LT(look_ups, 5000);
  EXPECT_GT(group.Generation(), 1U);
}

TEST_F(KnownKeys, RowsThatWaitAreFoundAndThoseOfALostGroupAreNot) {
  const ObjectPtr importer = Importer();
  EXPECT_EQ(Import(importer, {{"Bez1", "Schulz"}}), "");
  host::GroupedWrites::Of(*connection).Flush();
  ASSERT_TRUE(IsKnownToLack("x"));
  EXPECT_EQ(Import(importer, {{"KundenNummer", "7"}, {"Bez1", "Meyer"}, {"PLZ", "50667"}}), "");
  const std::string key = host::BuildDoubletKey("7", "50667|||Meyer|Meyer||||");
  ASSERT_FALSE(IsKnownToLack("-", key));
  const auto known = Known("-", key);
  ASSERT_TRUE(known);
  EXPECT_EQ(*known, RowsWith("-", key));
  EXPECT_THAT(*known, SizeIs(1));
  connection->Rollback();
  host::GroupedWrites::Of(*connection).Flush();
  ASSERT_FALSE(IsKnownToLack("-", key));
  EXPECT_THAT(Known("-", key).value_or(std::vector<std::string>()), IsEmpty());
}

namespace {

std::uint64_t Mixed(std::uint64_t number) {
  number = (number + 1) * 0x9E3779B97F4A7C15U;
  number = (number ^ (number >> 32)) * 0xFF51AFD7ED558CCDU;
  return number ^ (number >> 29);
}

}  // namespace

TEST(ValueFilter, HoldsEveryValueAndFewOthers) {
  constexpr std::uint64_t kValues = 600'000;
  host::ValueFilter filter;
  EXPECT_FALSE(filter.MayContain(Mixed(0)));
  for (std::uint64_t i = 0; i < kValues; ++i) ASSERT_TRUE(filter.Add(Mixed(i)));
  int others = 0;
  for (std::uint64_t i = 0; i < kValues; ++i) {
    ASSERT_TRUE(filter.MayContain(Mixed(i)));
    if (filter.MayContain(Mixed(kValues + i))) ++others;
  }
  EXPECT_LT(others, static_cast<int>(kValues / 100));
  filter.Clear();
  EXPECT_FALSE(filter.MayContain(Mixed(1)));
}

TEST(ValueFilter, TakesNoMoreThanItsMemory) {
  constexpr std::size_t kBytes = 4 << 20;
  host::ValueFilter filter(kBytes);
  std::uint64_t count = 0;
  while (filter.Add(Mixed(count))) ++count;
  EXPECT_GT(count, kBytes / 8);
  EXPECT_LE(count, kBytes / 2);
  for (std::uint64_t i = 0; i < count; ++i) ASSERT_TRUE(filter.MayContain(Mixed(i)));
}

}  // namespace kestrel
