// Look-ups that need not be run, as nothing that they would find could be confirmed.
#include "storage/known_addresses.h"

#include <gmock/gmock.h>

#include "host/host_fixture.h"
#include "keys/address_parts.h"
#include "storage/address_index.h"

namespace kestrel {
namespace {

using host::AddressParts;
using host::AddressView;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::UnorderedElementsAre;

class KnownAddresses : public ::testing::Test {
 protected:
  KnownAddresses() {
    known.Keep([this] { return holds_all; });
  }

  bool Add(host::KnownAddresses::Hashes hashes, const std::string& name) {
    return known.Add(hashes, AddressParts("50667|Köln|Weg 1||" + name + "||||"), 1);
  }
  std::vector<std::string> Find(host::KnownAddresses::Hashes hashes) {
    std::vector<std::string> names;
    const bool are_known =
        known.Visit(hashes, [&](const AddressView& address) { names.emplace_back(address.names()[0]); });
    if (!are_known) names = {"not known"};
    return names;
  }

  // -999 where they are not known.
  std::vector<std::int64_t> RowsOf(host::KnownAddresses::Hashes hashes) {
    std::vector<std::int64_t> rows;
    if (!known.VisitRows(hashes, [&](std::int64_t row) { rows.push_back(row); })) rows = {-999};
    return rows;
  }

  host::KnownAddresses known{host::KnownAddresses::kMostBytes};
  bool holds_all = true;
};

TEST_F(KnownAddresses, AreFoundOnceByAnyOfTheirKeysEachInItsColumn) {
  Add({1, 2, 3}, "Anna");
  Add({1, 5, 0}, "Berta");
  Add({4, 2, 3}, "Carla");
  EXPECT_THAT(Find({1, 0, 0}), UnorderedElementsAre("ANNA", "BERTA"));
  EXPECT_THAT(Find({1, 2, 3}), UnorderedElementsAre("ANNA", "BERTA", "CARLA"));
  EXPECT_THAT(Find({0, 0, 3}), UnorderedElementsAre("ANNA", "CARLA"));
  EXPECT_THAT(Find({2, 1, 9}), ElementsAre());
  EXPECT_THAT(Find({0, 0, 0}), ElementsAre());
}

TEST_F(KnownAddresses, AreAsTheyWereToldHoweverMany) {
  const AddressParts told(
      "61348|Bad Homburg v. d. Höhe OT Nord|Konrad-Adenauer-Str. 5 a||Anna Berg jun.|Maria Optik|||");
  for (std::uint64_t i = 1; i <= 50000; ++i) {
    const std::uint64_t hash = i * 0x9E3779B97F4A7C15U;
    if (i == 777) {
      known.Add({hash, 0, 0}, told, 1);
    } else {
      Add({hash, hash, hash}, "Name");
    }
  }
  int found = 0;
  known.Visit({777 * 0x9E3779B97F4A7C15U, 0, 0}, [&](const AddressView& address) {
    ++found;
    const AddressView& expected = told.view();
    EXPECT_EQ(address.postcode, expected.postcode);
    EXPECT_EQ(address.town, expected.town);
    EXPECT_EQ(address.town_word, "HOMBURG");
    EXPECT_EQ(address.street, expected.street);
    EXPECT_EQ(address.street_word, "KONRAD");
    EXPECT_EQ(address.house_number, "5");
    EXPECT_EQ(address.house_letter, 'A');
    EXPECT_EQ(address.is_company, expected.is_company);
    EXPECT_EQ(address.marks, expected.marks);
    EXPECT_THAT(address.names(), ElementsAreArray(expected.names()));
  });
  EXPECT_EQ(found, 1);
}

TEST_F(KnownAddresses, AreNotToldWhereSomeAreUnknown) {
  Add({1, 2, 3}, "Anna");
  known.AddUnknown(2);
  EXPECT_THAT(Find({1, 2, 0}), ElementsAre("not known"));
  EXPECT_THAT(Find({1, 0, 3}), ElementsAre("ANNA"));
  holds_all = false;
  EXPECT_THAT(Find({1, 0, 3}), ElementsAre("not known"));
  holds_all = true;
  known.Clear();
  EXPECT_THAT(Find({1, 2, 3}), ElementsAre());
}

TEST_F(KnownAddresses, OfWhichOnlyTheRowIsKnownAreFoundByRowAndNotCompared) {
  Add({1, 2, 0}, "Anna");
  ASSERT_TRUE(known.AddRow({1, 0, 9}, 77));
  ASSERT_TRUE(known.AddRow({0, 0, 5}, -3));
  EXPECT_THAT(Find({1, 0, 0}), ElementsAre("not known"));
  EXPECT_THAT(Find({0, 2, 0}), ElementsAre("not known"));
  EXPECT_THAT(RowsOf({1, 0, 0}), UnorderedElementsAre(1, 77));
  EXPECT_THAT(RowsOf({3, 2, 5}), UnorderedElementsAre(1, -3));
  EXPECT_THAT(RowsOf({9, 9, 1}), ElementsAre());
  known.Clear();
  EXPECT_THAT(RowsOf({1, 2, 5}), ElementsAre());
}

TEST_F(KnownAddresses, AreNotFoundByRowWhereSomeAreUnknownOrTooMany) {
  constexpr std::int64_t kNotKnown = -999;
  for (std::uint64_t i = 0; i < host::KnownAddresses::kMostAlike; ++i) {
    EXPECT_THAT(RowsOf({8, 0, 0}), ::testing::SizeIs(i));
    known.AddRow({8, 2 * i + 101, 0}, static_cast<std::int64_t>(i));
  }
  EXPECT_THAT(RowsOf({8, 0, 0}), ElementsAre(kNotKnown));
  EXPECT_THAT(RowsOf({0, 103, 0}), ElementsAre(1));
  known.AddUnknown(103);
  EXPECT_THAT(RowsOf({0, 103, 0}), ElementsAre(kNotKnown));
  holds_all = false;
  EXPECT_THAT(RowsOf({0, 105, 0}), ElementsAre(kNotKnown));
}

TEST_F(KnownAddresses, ThatAreTooLongOrTooManyAreUnknown) {
  Add({1, 0, 0}, std::string(300, 'x'));
  EXPECT_THAT(Find({1, 0, 0}), ElementsAre("not known"));
  host::KnownAddresses few(std::size_t{2} << 20);
  few.Keep([] { return true; });
  const AddressParts address("50667|Köln|Weg 1||Anna Berg||||");
  int known_ones = 0;
  for (std::uint64_t i = 1; i <= 30000; ++i) few.Add({i * 0x9E3779B97F4A7C15U, 0, 0}, address, 1);
  for (std::uint64_t i = 1; i <= 30000; ++i) {
    int found = 0;
    const bool are_known = few.Visit({i * 0x9E3779B97F4A7C15U, 0, 0}, [&](const AddressView&) { ++found; });
    ASSERT_TRUE(!are_known || found == 1) << i;
    known_ones += found;
  }
  EXPECT_GT(known_ones, 5000);
  EXPECT_LT(known_ones, 29000);
}

// A long street, key 3 here, is one that a look-up goes through from its beginning; those with more keys come first.
TEST_F(KnownAddresses, OfALongStreetAreThoseThatALookUpComparesWith) {
  const auto most = host::KnownAddresses::kMostAlike;
  for (std::uint64_t i = 1; i <= 20 * most; ++i) Add({100000 + i, 200000 + i, 3}, std::to_string(i));
  Add({1, 300000, 3}, "Anna");
  Add({300001, 2, 3}, "Berta");
  Add({1, 2, 300002}, "Carla");
  Add({300003, 2, 300004}, "Dora");
  const std::vector<std::string> found = Find({1, 2, 3});
  ASSERT_EQ(found.size(), 4 + most);
  EXPECT_THAT(std::vector(found.begin(), found.begin() + 3), ElementsAre("ANNA", "BERTA", "CARLA"));
  EXPECT_THAT(found, ::testing::AllOf(::testing::Contains("DORA"), ::testing::Contains("1"),
                                      ::testing::Contains(std::to_string(most))));
  EXPECT_THAT(Find({0, 0, 3}), ::testing::AllOf(::testing::SizeIs(most), ::testing::Contains("1"),
                                                ::testing::Contains(std::to_string(most))));
}

TEST_F(KnownAddresses, WithFewerKeysAreLeftOutWhereEnoughHaveMore) {
  const auto most = host::KnownAddresses::kMostAlike;
  Add({1, 300000, 300001}, "Anna");
  for (std::uint64_t i = 1; i <= most; ++i) Add({100000 + i, 2, 3}, std::to_string(i));
  EXPECT_THAT(Find({1, 2, 3}),
              ::testing::AllOf(::testing::SizeIs(most), ::testing::Not(::testing::Contains("ANNA"))));
  EXPECT_THAT(Find({1, 2, 0}), ::testing::SizeIs(1 + most));
}

class HighestScore : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && OnPostgres()) GTEST_SKIP() << "PostgreSQL is asked every query";
  }

  double Of(const std::string& key_text) {
    return CallMethod(functions, "HighestScore", connection, key_text, host::BuildDoubletKey("4", key_text),
                      host::BuildDoubletKey("7", key_text), host::BuildDoubletKey("6", key_text))
        .ToDouble();
  }
  static void Store(host::AddressIndex& index, std::int64_t number, const char* name) {
    index.Write(number, {"50667", "Köln", "Tulpenhof 5", {name, "", ""}, ""});
  }
  std::unique_ptr<host::AddressIndex> NewIndex() {
    return std::make_unique<host::AddressIndex>(*connection, 1, std::make_shared<host::KeyMemory>());
  }
  // As the run asks before.
  void Look() {
    const SoughtValue sought[] = {{"Doubletkey1", "x"}};
    const std::lock_guard lock(connection->CallMutex());
    connection->attachments().Of<AbsentValues>(*connection).Lacks("Adressindex", sought);
  }

  ObjectPtr functions = components.CreateObject("ksDoubLb.DoubletFunctions");
};

TEST_F(HighestScore, IsThatOfTheAddressMostAlike) {
  const auto index = NewIndex();
  Look();
  EXPECT_LT(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 0);
  Store(*index, 1, "Peter Ruckweiler");
  EXPECT_LT(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 1);
  EXPECT_GE(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 0);
  Store(*index, 2, "Anna Ruckwieler");
  EXPECT_GT(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 99);
}

// What pairs at one address look like is counted with each of them, and weighs in the scores of all.
TEST_F(HighestScore, IsNotExceededByTheScoreOfAnAddressThatWasLookedAtBeforeAnother) {
  Set("AlgorithmCode1", "6");
  Set("AlgorithmCode3", "4");
  connection->Execute(
      "INSERT INTO Kunden (KundenNummer, Bez1, Strasse, PLZ, Ort) VALUES (1, 'Anna Ruckweiler', 'Tulpenhof 5', "
      "'50667', 'Köln'), (2, 'Zwackelmann', 'Am Anger', '50667', 'Köln'), (3, 'Zwackelmann', 'Am Brunnen', "
      "'50667', 'Köln')");
  const auto index = NewIndex();
  Look();
  // By the street another name at the address, by the name two that are the same.
  index->Write(1, {"50667", "Köln", "Tulpenhof 5", {"Anna Ruckweiler", "", ""}, ""});
  index->Write(2, {"50667", "Köln", "Am Anger", {"Zwackelmann", "", ""}, ""});
  index->Write(3, {"50667", "Köln", "Am Brunnen", {"Zwackelmann", "", ""}, ""});
  const std::string key_text = "50667|Köln|Tulpenhof 5||Anna Zwackelmann||||";
  const double highest =
      CallMethod(functions, "HighestScore", connection, key_text, host::BuildDoubletKey("6", key_text), "",
                 host::BuildDoubletKey("4", key_text))
          .ToDouble();
  EXPECT_LT(highest, 50);
  for (const char* number : {"1", "2", "3"}) {
    Value reason(std::string{});
    EXPECT_LE(CallMethod(functions, "Confirm", connection, key_text, 1, number, ByRef(reason)).ToDouble(),
              highest + 1e-9)
        << number;
  }
}

TEST_F(HighestScore, IsNotKnownWithoutAWriterOfTheIndex) {
  EXPECT_EQ(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 100);
  NewIndex().reset();
  EXPECT_EQ(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 100);
}

TEST_F(HighestScore, IsNotKnownWhereAnAddressWasThereBefore) {
  Store(*NewIndex(), 1, "Peter Ruckweiler");
  const auto index = NewIndex();
  Look();
  EXPECT_EQ(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 100);
  // Nor of anybody else: which records are answered would depend on when the last row was learned.
  EXPECT_EQ(Of("80331|München|Am Anger 7||Otto Lindenau||||"), 100);
}

TEST_F(HighestScore, IsNotKnownOnceAnotherProgramHasStoredSomething) {
  const auto index = NewIndex();
  Look();
  Store(*index, 1, "Peter Ruckweiler");
  ASSERT_LT(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 1);
  OpenConnection(file)->Execute("UPDATE Adressindex SET Referenz = '9'");
  EXPECT_EQ(Of("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||"), 100);
}

}  // namespace
}  // namespace kestrel
