// Rows of the address index that were learned are told as the query would find them, whoever changes them, without being
// read.
#include <mutex>
#include <random>

#include "host/host_fixture.h"
#include "keys/duplicate_keys.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"
#include "storage/address_index.h"
#include "storage/known_keys.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;

class LearnedRows : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && OnPostgres()) GTEST_SKIP() << "a server is asked for many at once instead";
  }

  using Keys = std::array<std::string, 3>;
  // Of a row: its type and reference, and for each key that is looked for whether it has it.
  using Told = std::vector<std::string>;

  static std::string KeyText(int name, int postcode) {
    return "5066" + std::to_string(postcode) + "|||" + Name(name) + "|" + Name(name) + "||||";
  }
  static std::string Name(int name) { return "Name" + std::string(1, static_cast<char>('a' + name)); }
  static Keys KeysOf(int name, int postcode) {
    Keys keys;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      keys[i] = host::BuildDoubletKey(std::array{"4", "7", "6"}[i], KeyText(name, postcode));
    }
    return keys;
  }
  static std::vector<SoughtValue> Sought(const Keys& keys) {
    return {{"Doubletkey1", keys[0]}, {"Doubletkey2", keys[1]}, {"Doubletkey3", keys[2]}};
  }
  static std::string Text(std::int64_t type, std::string_view reference,
                          const std::array<std::string_view, 3>& keys, std::span<const SoughtValue> sought) {
    std::string text = std::to_string(type) + " " + std::string(reference);
    for (std::size_t i = 0; i < sought.size(); ++i) text += keys[i] == sought[i].second ? "+" : "-";
    return text;
  }

  bool IsKnownToLack(std::span<const SoughtValue> sought) {
    const std::lock_guard lock(connection->CallMutex());
    return connection->attachments().Of<AbsentValues>(*connection).Lacks("Adressindex", sought);
  }
  std::optional<Told> Known(std::span<const SoughtValue> sought) {
    const std::lock_guard lock(connection->CallMutex());
    const auto rows = connection->attachments().Of<ComingLookUps>(*connection).Find(sought);
    if (!rows) return std::nullopt;
    Told told;
    for (const FoundAddress& row : *rows) {
      told.push_back(Text(row.address_type, row.reference, row.keys, sought));
      // Of a row that is read all keys are told.
      if (std::ranges::find(row.keys, "?") != row.keys.end()) ++unread_;
    }
    return told;
  }
  // As the check runs it: rows that wait and that it would not find stay so.
  Told Asked(std::span<const SoughtValue> sought) {
    std::string query =
        "SELECT Adressart, Referenz, ifnull(Doubletkey1, ''), ifnull(Doubletkey2, ''), ifnull(Doubletkey3, '') "
        "FROM Adressindex WHERE ";
    for (const auto& [column, key] : sought) {
      query.append(column).append(" = '").append(key).append("' OR ");
    }
    const std::lock_guard lock(connection->CallMutex());
    const SoughtRows rows{"Adressindex", sought};
    const AbsentValues::Query opened(connection->attachments().Of<AbsentValues>(*connection), rows);
    Told told;
    for (const RecordsetPtr set = connection->OpenRecordset(query + "0"); !set->IsEof(); set->MoveNext()) {
      told.push_back(Text(set->ValueAt(0).ToInteger(), set->TextAt(1),
                          {set->TextAt(2), set->TextAt(3), set->TextAt(4)}, sought));
    }
    return told;
  }
  void Add(Connection& by, int number, const Keys& keys, const std::string& reference, int type = 1) {
    by.Execute("INSERT OR REPLACE INTO Adressindex VALUES (" + std::to_string(64 * number + 1) + ", " +
               std::to_string(type) + ", '" + reference + "', '" + keys[0] + "', '" + keys[1] + "', NULL)");
  }
  void Add(Connection& by, int number, const Keys& keys) { Add(by, number, keys, std::to_string(number)); }
  std::unique_ptr<host::AddressIndex> NewIndex() {
    return std::make_unique<host::AddressIndex>(*connection, 1, std::make_shared<host::KeyMemory>());
  }

  int unread_ = 0;
};

TEST_F(LearnedRows, AreToldWithoutBeingRead) {
  Add(*connection, 7, {"a", "b", ""});
  const auto index = NewIndex();
  const std::vector<SoughtValue> sought = {{"Doubletkey1", "a"}};
  ASSERT_FALSE(IsKnownToLack(sought));
  const std::lock_guard lock(connection->CallMutex());
  const auto rows = connection->attachments().Of<ComingLookUps>(*connection).Find(sought);
  ASSERT_TRUE(rows);
  ASSERT_EQ(rows->size(), 1U);
  EXPECT_EQ((*rows)[0].address_type, 1);
  EXPECT_EQ((*rows)[0].reference, "7");
  EXPECT_THAT((*rows)[0].keys, ElementsAre("a", "?", ""));
}

TEST_F(LearnedRows, ThatTheHostWouldWriteOtherwiseAreRead) {
  Add(*connection, 7, {"a", "b", ""}, "07");
  Add(*connection, 8, {"c", "b", ""}, "8", 2);
  const auto index = NewIndex();
  const std::vector<SoughtValue> sought = {{"Doubletkey2", "b"}};
  ASSERT_FALSE(IsKnownToLack(sought));
  const std::lock_guard lock(connection->CallMutex());
  const auto rows = connection->attachments().Of<ComingLookUps>(*connection).Find(sought);
  ASSERT_TRUE(rows);
  ASSERT_EQ(rows->size(), 2U);
  EXPECT_EQ((*rows)[0].reference, "07");
  EXPECT_THAT((*rows)[0].keys, ElementsAre("a", "b", ""));
  EXPECT_EQ((*rows)[1].address_type, 2);
}

TEST_F(LearnedRows, ThatAreRemovedThroughTheSameConnectionAreNone) {
  for (int i = 1; i < 20; ++i) Add(*connection, i, KeysOf(i, 1));
  const auto index = NewIndex();
  const Keys keys = KeysOf(7, 1);
  const auto sought = Sought(keys);
  ASSERT_FALSE(IsKnownToLack(sought));
  EXPECT_THAT(Known(sought).value_or(Told()), ::testing::Contains("1 7+++"));
  connection->Execute("DELETE FROM Adressindex WHERE Referenz = '7'");
  EXPECT_THAT(Known(sought), ::testing::Optional(Asked(sought)));
}

TEST_F(LearnedRows, AreThoseOfTheQueryWhateverHappensToThem) {
  std::mt19937 random(20240307);
  const auto below = [&random](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
  const ConnectionPtr other = OpenConnection(file);
  host::GroupedWrites& group = host::GroupedWrites::Of(*connection);
  ObjectPtr importer;
  int told = 0;
  for (int i = 0; i < 12000; ++i) {
    // As the next import does, once the last one has ended.
    if (i % 60 == 0) {
      importer = nullptr;
      group.Flush();
      importer = OverwritingImporter();
      Value cancel(false);
      CallMethod(importer, "BeforeImport", ByRef(cancel));
    }
    const std::string number = std::to_string(1 + below(60));
    switch (below(16)) {
      case 0:
      case 1:
        Import(importer, {{"KundenNummer", number.c_str()},
                          {"Bez1", Name(below(20)).c_str()},
                          {"PLZ", ("5066" + std::to_string(below(4))).c_str()}});
        break;
      // Its row of the index is left, until the number comes again.
      case 2: connection->Execute("DELETE FROM Kunden WHERE KundenNummer = " + number); break;
      case 3:
        if (below(8) == 0) connection->Execute("DELETE FROM Adressindex WHERE Referenz = '" + number + "'");
        break;
      case 4:
        if (below(4) == 0) group.Flush();
        break;
      case 5:
        if (below(4) == 0 && connection->InTransaction()) connection->Rollback();
        break;
      case 6:
        if (below(10) != 0) break;
        // While this one holds the write lock, the other one would wait for ever.
        group.Flush();
        if (below(2) == 0) {
          Add(*other, 1 + below(60), KeysOf(below(20), below(4)));
        } else {
          other->Execute("DELETE FROM Adressindex WHERE Referenz = '" + number + "'");
        }
        break;
      default: {
        const Keys keys = KeysOf(below(20), below(4));
        auto sought = Sought(keys);
        sought.resize(static_cast<std::size_t>(1 + below(3)));
        const bool lacks = IsKnownToLack(sought);
        const auto known = Known(sought);
        const Told asked = Asked(sought);
        ASSERT_TRUE(!lacks || asked.empty()) << "round " << i;
        if (!known) break;
        ASSERT_EQ(*known, asked) << "round " << i;
        if (!asked.empty()) ++told;
      }
    }
  }
  // Both happened often enough to say something.
  EXPECT_GT(told, 1000);
  EXPECT_GT(unread_, 500);
}

}  // namespace
}  // namespace kestrel
