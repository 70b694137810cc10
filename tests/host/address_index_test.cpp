#include "storage/address_index.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "host/host_fixture.h"
#include "kestrel/waits.h"
#include "keys/duplicate_keys.h"
#include "storage/index_repair.h"

namespace kestrel {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class AddressIndex : public testing::HostFixture {
 protected:
  static std::string Key(const char* code, const char* text) { return host::BuildDoubletKey(code, text); }
};

TEST_F(AddressIndex, EveryStoredAddressGetsItsRow) {
  EXPECT_EQ(Import(Importer(), {{"KundenNummer", "17"},
                                {"Bez1", "Schmidt GmbH"},
                                {"Strasse", "Ringstr. 1"},
                                {"PLZ", "50667"},
                                {"Ort", "Köln"},
                                {"Kundengruppe", "B"}}),
            "");
  const char* text = "50667|Köln|Ringstr. 1|Schmidt GmbH|Schmidt GmbH||||B";
  EXPECT_THAT(Rows("SELECT Adressart, Referenz, Doubletkey1, Doubletkey2, Doubletkey3 FROM Adressindex"),
              ElementsAre("1|17|" + Key("4", text) + "|" + Key("7", text) + "|" + Key("6", text)));
}

TEST_F(AddressIndex, EachAddressTypeHasItsBit) {
  Import(Importer("ksbimport.importkunden"), {{"Bez1", "A"}});
  Import(Importer("ksbimport.importinteressenten"), {{"Bez1", "A"}});
  Import(Importer("ksbimport.importlieferanten"), {{"Bez1", "A"}});
  EXPECT_THAT(Rows("SELECT Adressart, Referenz FROM Adressindex ORDER BY 1"),
              ElementsAre("1|1", "8|1", "32|1"));
}

TEST_F(AddressIndex, KeysThatAnAddressLacksAreNull) {
  Import(Importer(), {{"Bez1", "Meyer"}});
  const std::vector<std::string> rows = Rows("SELECT Doubletkey2, Doubletkey3 FROM Adressindex");
  EXPECT_THAT(rows, ElementsAre("NULL|NULL"));
}

TEST_F(AddressIndex, AnUpdateMakesTheKeysOfTheRowAsItThenStands) {
  const ObjectPtr importer = OverwritingImporter();
  Import(importer, {{"KundenNummer", "5"}, {"Bez1", "Meyer"}, {"PLZ", "50667"}, {"Ort", "Köln"}});
  Import(importer, {{"KundenNummer", "5"}, {"Bez1", "Schulze"}});
  const char* text = "50667|Köln||Schulze|Schulze||||";
  EXPECT_THAT(Rows("SELECT Referenz, Doubletkey1, Doubletkey2 FROM Adressindex"),
              ElementsAre("5|" + Key("4", text) + "|" + Key("7", text)));
}

TEST_F(AddressIndex, IsLeftAloneUnlessTheHostKeepsIt) {
  const ObjectPtr importer = Importer();
  Set("Doubletindex", "0");
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  EXPECT_THAT(Rows("SELECT * FROM Adressindex"), IsEmpty());
  Set("Doubletindex", "1");
  EXPECT_EQ(Import(importer, {{"Bez1", "B"}}), "");
  EXPECT_THAT(Rows("SELECT Referenz FROM Adressindex"), ElementsAre("2"));
}

TEST_F(AddressIndex, MayBeMissingWhereTheHostKeepsNone) {
  Set("Doubletindex", "0");
  connection->Execute("DROP TABLE Adressindex");
  const ObjectPtr importer = Importer();
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(GetProperty(importer, "ErrorCode"), Value(0));
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
}

TEST_F(AddressIndex, AnAddressThatCannotBeIndexedIsNotStoredEither) {
  Set("AlgorithmCode2", "99");
  const ObjectPtr importer = OverwritingImporter();
  EXPECT_THAT(Import(importer, {{"Bez1", "A"}}), HasSubstr("'99'"));
  EXPECT_THAT(Rows("SELECT * FROM Kunden"), IsEmpty());
  Set("AlgorithmCode2", "7");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "3"}, {"Bez1", "B"}}), "");
  Set("AlgorithmCode2", "99");
  EXPECT_THAT(Import(importer, {{"KundenNummer", "3"}, {"Bez1", "C"}}), HasSubstr("'99'"));
  EXPECT_THAT(Rows("SELECT Bez1 FROM Kunden"), ElementsAre("B"));
  EXPECT_THAT(Import(importer, {{"KundenNummer", "-3"}, {"Bez1", "D"}}), HasSubstr("-3"));
}

TEST_F(AddressIndex, TheLookUpUsesTheKeysIndexes) {
  // On an empty table this server would rather read it from end to end.
  if (OnPostgres()) connection->Execute("SET enable_seqscan = off");
  const auto plan = [&](const std::string& condition) {
    const std::string explain = OnPostgres() ? "EXPLAIN " : "EXPLAIN QUERY PLAN ";
    std::string text;
    for (const std::string& row : Rows(explain + "SELECT * FROM Adressindex where " + condition))
      text += row + "\n";
    return text;
  };
  const auto uses = [&](const std::string& number) {
    return OnPostgres() ? HasSubstr("Index Scan on adressindexteil3_doubletkey" + number)
                        : HasSubstr("USING INDEX Adressindex" + number + " (ANY(<expr>) AND Doubletkey" +
                                    number + "=?)");
  };
  const std::string keys = "( Doubletkey1 = 'k1'  OR  Doubletkey2 = 'k2'  OR  Doubletkey3 = 'k3' )";
  const auto uses_all = ::testing::AllOf(uses("1"), uses("2"), uses("3"), ::testing::Not(HasSubstr("SCAN")));
  EXPECT_THAT(plan(" (Adressart = 1)  and " + keys), uses_all);
  EXPECT_THAT(plan(" (Adressart = 1 Or Adressart = 8 Or Adressart = 32)  and " + keys), uses_all);
  EXPECT_THAT(plan(" (Adressart = 1)  and " + keys + " And Not (Adressart = 1 And Referenz = '5')"), uses_all);
  EXPECT_THAT(plan(" (Adressart = 1)  and ( Doubletkey2 = 'k2' )"), uses("2"));
}

TEST_F(AddressIndex, LaterRecordsFindEarlierOnesOfTheSameRun) {
  Import(Importer(), {{"Bez1", "Meyer"}, {"PLZ", "50667"}});
  EXPECT_TRUE(connection->InTransaction());
  const std::string key = Key("7", "50667|||Maier|Maier||||");
  EXPECT_FALSE(connection
                   ->OpenRecordset("SELECT * FROM Adressindex where  (Adressart = 1)  and ( Doubletkey2 = '" +
                                   key + "' )")
                   ->IsEof());
}

TEST_F(AddressIndex, HasItsIndexesInTheFileAtEveryMomentOfALargeImport) {
  if (OnPostgres()) GTEST_SKIP() << "looks into an SQLite file";
  const ConnectionPtr other = OpenConnection(file);
  const auto indexes = [&] {
    return other
        ->OpenRecordset("SELECT name FROM sqlite_schema WHERE type = 'index' AND name LIKE 'Adressindex_'")
        ->RecordCount();
  };
  const ObjectPtr importer = Importer();
  constexpr int kMany = 20000;
  for (int number = 1; number <= kMany; ++number) {
    const std::string text = std::to_string(number);
    ASSERT_EQ(Import(importer, {{"KundenNummer", text.c_str()}, {"Bez1", text.c_str()}, {"PLZ", "50667"}}), "");
    if (number % 5000 == 0) {
      EXPECT_EQ(indexes(), 3) << number;
    }
  }
  CallMethod(importer, "AfterImport");
  EXPECT_EQ(indexes(), 3);
  EXPECT_EQ(other->OpenRecordset("SELECT count(*) FROM Adressindex")->TextAt(0), std::to_string(kMany));
}

TEST_F(AddressIndex, ThatAnEarlierVersionLeftWithoutIndexesIsRestoredAndToldOnce) {
  if (OnPostgres()) GTEST_SKIP() << "happened to SQLite files only";
  const auto indexes = [this] {
    return Rows("SELECT name FROM sqlite_schema WHERE type = 'index' AND name LIKE 'Adressindex_' ORDER BY 1");
  };
  const auto leave_without = [&] {
    connection->Execute("DROP INDEX Adressindex1");
    connection->Execute("DROP INDEX Adressindex3");
  };
  const ObjectPtr setup = components.CreateObject("kestrelhost.Setup");
  leave_without();
  EXPECT_THAT(CallMethod(setup, "RestoreDatabase", connection).ToText(), HasSubstr("neu angelegt"));
  EXPECT_THAT(indexes(), ElementsAre("Adressindex1", "Adressindex2", "Adressindex3"));
  EXPECT_EQ(CallMethod(setup, "RestoreDatabase", connection), Value(""));
  leave_without();
  const ObjectPtr importer = Importer();
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_THAT(indexes(), SizeIs(3));
  EXPECT_EQ(CallMethod(setup, "RestoreDatabase", OpenConnection(folder.File("leer.db"))), Value(""));
}

TEST_F(AddressIndex, KeysOfAnEarlierVersionAreBuiltAnewOnceWhoeverOpensTheDatabase) {
  Import(Importer(), {{"Bez1", "Anna Meyer"}, {"Strasse", "Ring 1"}, {"PLZ", "50667"}, {"Ort", "Köln"}});
  Import(Importer("ksbimport.importlieferanten"), {{"Bez1", "Berg AG"}, {"PLZ", "10115"}, {"Ort", "Berlin"}});
  host::GroupedWrites::Of(*connection).Flush();
  const char* const rows = "SELECT * FROM Adressindex ORDER BY AdressId";
  const auto fresh = Rows(rows);
  connection->Execute("UPDATE Adressindex SET Doubletkey1 = 'alt', Doubletkey2 = NULL, Doubletkey3 = 'alt'");
  Set("AlgorithmCode1", "1");
  Set("AlgorithmCode2", "2");
  Set("AlgorithmCode3", "3");
  EXPECT_EQ(host::RenewAddressKeys(*connection),
            "Die Schlüssel der Dublettenprüfung waren die einer früheren Version und wurden für 2 Adressen neu "
            "gebildet.");
  EXPECT_EQ(Rows(rows), fresh);
  EXPECT_EQ(host::RenewAddressKeys(*connection), "");
}

TEST_F(AddressIndex, KeysThatTookTheRegionsDigitsInTheirOrderAreBuiltAnewOnce) {
  Import(Importer(), {{"Bez1", "Anna Meyer"}, {"Strasse", "Ring 1"}, {"PLZ", "50667"}, {"Ort", "Köln"}});
  host::GroupedWrites::Of(*connection).Flush();
  const char* const rows = "SELECT * FROM Adressindex ORDER BY AdressId";
  const auto fresh = Rows(rows);
  connection->Execute("UPDATE Adressindex SET Doubletkey2 = 'alt'");
  Set("AlgorithmCode2", "5");
  EXPECT_THAT(host::RenewAddressKeys(*connection), HasSubstr("für 1 Adresse neu"));
  EXPECT_EQ(Rows(rows), fresh);
  EXPECT_THAT(Rows("SELECT Wert FROM Einstellungen WHERE Name = 'AlgorithmCode2'"), ElementsAre("7"));
  EXPECT_EQ(host::RenewAddressKeys(*connection), "");
}

TEST_F(AddressIndex, KeysThatAProgramOfAnEarlierVersionIsJustStoringAreBuiltAnewToo) {
  if (!OnPostgres()) GTEST_SKIP() << "on SQLite nobody else stores meanwhile";
  const ObjectPtr importer = Importer();
  Import(importer, {{"Bez1", "Anna Meyer"}, {"Strasse", "Ring 1"}, {"PLZ", "50667"}, {"Ort", "Köln"}});
  host::GroupedWrites::Of(*connection).Flush();
  const auto fresh = Rows("SELECT * FROM Adressindex");
  connection->Execute("DELETE FROM Adressindex");
  Set("AlgorithmCode1", "1");
  const ConnectionPtr earlier = OpenConnection(file);
  earlier->Begin();
  earlier->Execute("INSERT INTO Adressindex (AdressId, Adressart, Referenz) VALUES (65, 1, '1')");
  std::string told;
  std::atomic<bool> is_done = false;
  std::jthread renewing([&] {
    told = host::RenewAddressKeys(*OpenConnection(file));
    is_done = true;
  });
  // For the table, or for the lock of imports that another one has taken before.
  const std::string waits = "SELECT count(*) FROM pg_locks WHERE NOT granted";
  while (!is_done && Rows(waits).at(0) == "0") std::this_thread::yield();
  ASSERT_FALSE(is_done);
  // Meanwhile a third program has begun, and is then told that there is nothing left to do.
  std::string told_third;
  std::jthread third([&] { told_third = host::RenewAddressKeys(*OpenConnection(file)); });
  while (Rows(waits).at(0) != "2") std::this_thread::yield();
  earlier->Commit();
  renewing.join();
  third.join();
  EXPECT_THAT(told + told_third, HasSubstr("für 1 Adresse neu"));
  EXPECT_TRUE(told.empty() || told_third.empty());
  EXPECT_EQ(Rows("SELECT * FROM Adressindex"), fresh);
}

TEST_F(AddressIndex, AnImportBuildsTheKeysOfAnEarlierVersionAnewBeforeItsFirstRecord) {
  Set("AlgorithmCode1", "1");
  const ObjectPtr importer = Importer();
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(GetProperty(importer, "ErrorCode"), Value(0));
  EXPECT_THAT(Rows("SELECT Wert FROM Einstellungen WHERE Name = 'AlgorithmCode1'"), ElementsAre("4"));
}

TEST_F(AddressIndex, MoreAddressesThanAreReadAtOnceGetTheirKeys) {
  constexpr int kMany = 2500;
  const ObjectPtr importer = Importer();
  for (int i = 0; i < kMany; ++i) Import(importer, {{"Bez1", "Meyer"}, {"PLZ", "50667"}});
  host::GroupedWrites::Of(*connection).Flush();
  connection->Execute("UPDATE Adressindex SET Doubletkey1 = NULL");
  Set("AlgorithmCode1", "1");
  EXPECT_THAT(host::RenewAddressKeys(*connection), HasSubstr("2500 Adressen"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex WHERE Doubletkey1 IS NULL"), ElementsAre("0"));
}

// Says no when it is asked that often; looks as if each thousand of addresses took long.
class WatchOfRenewal final : public WaitWatch {
 public:
  explicit WatchOfRenewal(std::size_t most) : most_(most) {}
  bool KeepWaiting(std::string_view reason) override {
    reasons.emplace_back(reason);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    return reasons.size() < most_;
  }
  std::vector<std::string> reasons;

 private:
  std::size_t most_;
};

TEST_F(AddressIndex, BuildingManyKeysAnewIsToldOnceItLastsAndMayBeEnded) {
  const ObjectPtr importer = Importer();
  for (int i = 0; i < 1500; ++i) Import(importer, {{"Bez1", "Meyer"}, {"PLZ", "50667"}});
  host::GroupedWrites::Of(*connection).Flush();
  connection->Execute("UPDATE Adressindex SET Doubletkey1 = NULL");
  Set("AlgorithmCode1", "1");
  const char* const rows = "SELECT * FROM Adressindex ORDER BY AdressId";
  const auto before = Rows(rows);
  WatchOfRenewal ends(2);
  connection->WatchWaits(&ends);
  std::string reason;
  Trap([&] { host::RenewAddressKeys(*connection); },
       [&](const RuntimeError& error) { reason = error.Description(); });
  connection->WatchWaits(nullptr);
  EXPECT_THAT(reason, HasSubstr("wurde abgebrochen und wird das nächste Mal wieder versucht"));
  EXPECT_THAT(ends.reasons, ElementsAre("", HasSubstr("Schlüssel der Dublettenprüfung werden neu gebildet")));
  EXPECT_EQ(Rows(rows), before);
  EXPECT_THAT(Rows("SELECT Wert FROM Einstellungen WHERE Name = 'AlgorithmCode1'"), ElementsAre("1"));
  EXPECT_THAT(host::RenewAddressKeys(*connection), HasSubstr("1500 Adressen"));
}

}  // namespace kestrel
