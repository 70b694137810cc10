// Rows of the address index that are read by their numbers are those that the query by keys finds.
#include "storage/row_look_up.h"

#include <mutex>
#include <random>

#include "host/host_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RowLookUp : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && OnPostgres()) GTEST_SKIP() << "a server is asked for many at once instead";
  }

  void Add(std::int64_t id, const std::string& keys) {
    connection->Execute("INSERT INTO Adressindex VALUES (" + std::to_string(id) + ", 1, '" +
                        std::to_string(id) + "', " + keys + ")");
  }
  std::vector<std::string> Read(std::vector<std::int64_t> ids, std::span<const SoughtValue> values) {
    std::vector<std::string> references;
    const std::lock_guard lock(connection->CallMutex());
    for (const FoundAddress& row : look_up.Read(ids, values)) references.emplace_back(row.reference);
    return references;
  }

  host::RowLookUp look_up{*connection};
};

TEST_F(RowLookUp, TellsAllOfARow) {
  Add(65, "'a', NULL, 'c'");
  const SoughtValue values[] = {{"Doubletkey3", "c"}};
  std::vector<std::int64_t> ids = {65};
  const std::lock_guard lock(connection->CallMutex());
  const auto rows = look_up.Read(ids, values);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].address_type, 1);
  EXPECT_EQ(rows[0].reference, "65");
  EXPECT_THAT(rows[0].keys, ElementsAre("a", "", "c"));
}

TEST_F(RowLookUp, LeavesOutWhatIsGoneOrHasOtherKeysAndTellsARowOnce) {
  Add(1, "'a', NULL, NULL");
  Add(2, "'b', 'a', NULL");
  const SoughtValue values[] = {{"Doubletkey1", "a"}};
  EXPECT_THAT(Read({2, 3, 1, 1}, values), ElementsAre("1"));
  connection->Execute("UPDATE Adressindex SET Doubletkey1 = 'x'");
  EXPECT_THAT(Read({1, 2}, values), IsEmpty());
  const SoughtValue empty[] = {{"Doubletkey3", ""}};
  EXPECT_THAT(Read({1, 2}, empty), IsEmpty());
}

TEST_F(RowLookUp, TellsRowsInTheOrderOfTheQuery) {
  std::mt19937_64 random(5);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same each time
  std::vector<std::int64_t> ids;
  const auto key = [&] { return "k" + std::to_string(random() % 12); };
  for (int i = 0; i < 200; ++i) {
    const auto id = static_cast<std::int64_t>(random() % (std::uint64_t{40} << 22));
    Add(id, "'" + key() + "', '" + key() + "', '" + key() + "'");
    ids.push_back(id);
  }
  std::size_t found = 0;
  for (int i = 0; i < 100; ++i) {
    const std::string keys[] = {key(), key(), key()};
    const SoughtValue values[] = {{"Doubletkey1", keys[0]}, {"Doubletkey2", keys[1]}, {"Doubletkey3", keys[2]}};
    const auto rows = Read(ids, values);
    EXPECT_EQ(rows,
              Rows("SELECT Referenz FROM Adressindex where  (Adressart = 1)  and ( Doubletkey1 = '" + keys[0] +
                   "'  OR  Doubletkey2 = '" + keys[1] + "'  OR  Doubletkey3 = '" + keys[2] + "' )"));
    found += rows.size();
  }
  EXPECT_GT(found, 3000U);
}

}  // namespace
}  // namespace kestrel
