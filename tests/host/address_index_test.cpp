#include "components/address_index.h"

#include <chrono>
#include <thread>

#include "components/duplicate_keys.h"
#include "host/host_fixture.h"
#include "support/forked_child.h"

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
              ElementsAre("1|17|" + Key("1", text) + "|" + Key("2", text) + "|" + Key("3", text)));
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
  const ObjectPtr importer = Importer();
  Import(importer, {{"KundenNummer", "5"}, {"Bez1", "Meyer"}, {"PLZ", "50667"}, {"Ort", "Köln"}});
  Import(importer, {{"KundenNummer", "5"}, {"Bez1", "Schulze"}});
  const char* text = "50667|Köln||Schulze|Schulze||||";
  EXPECT_THAT(Rows("SELECT Referenz, Doubletkey1, Doubletkey2 FROM Adressindex"),
              ElementsAre("5|" + Key("1", text) + "|" + Key("2", text)));
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
  const ObjectPtr importer = Importer();
  EXPECT_THAT(Import(importer, {{"Bez1", "A"}}), HasSubstr("'99'"));
  EXPECT_THAT(Rows("SELECT * FROM Kunden"), IsEmpty());
  Set("AlgorithmCode2", "2");
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
    return OnPostgres() ? HasSubstr("Index Scan on adressindex" + number)
                        : HasSubstr("USING INDEX Adressindex" + number + " (Doubletkey" + number + "=?)");
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
  const std::string key = Key("2", "50667|||Maier|Maier||||");
  EXPECT_FALSE(connection
                   ->OpenRecordset("SELECT * FROM Adressindex where  (Adressart = 1)  and ( Doubletkey2 = '" +
                                   key + "' )")
                   ->IsEof());
}

// From so many addresses on the indexes of the keys wait for the end of the import.
class LargeImport : public AddressIndex {
 protected:
  void SetUp() override {
    AddressIndex::SetUp();
    if (OnPostgres()) GTEST_SKIP() << "Nur in SQLite bleiben die Indizes im Speicher.";
  }
  // Addresses with the numbers from `first` on.
  void ImportMany(const ObjectPtr& importer, int first, int count) {
    for (int number = first; number < first + count; ++number) {
      const std::string text = std::to_string(number);
      const std::string name = "Firma " + text;
      const std::string error =
          Import(importer, {{importer == prospects ? "Interessentennummer" : "KundenNummer", text.c_str()},
                            {"Bez1", name.c_str()},
                            {"PLZ", "50667"}});
      ASSERT_EQ(error, "") << number;
    }
  }
  std::int64_t IndexesInTheFile() {
    return OpenConnection(file)
        ->OpenRecordset("SELECT name FROM sqlite_schema WHERE type = 'index' AND name LIKE 'Adressindex_'")
        ->RecordCount();
  }
  std::vector<std::string> Look(const std::string& name) {
    return Rows(
        "SELECT Adressart, Referenz FROM Adressindex where  (Adressart = 1 Or Adressart = 8)  and ( "
        "Doubletkey1 = '" +
        Key("1", ("50667|||" + name + "|" + name + "||||").c_str()) + "'  OR  Doubletkey2 = 'nie' )");
  }

  static constexpr int kMany = 16384;
  const ObjectPtr customers = Importer();
  const ObjectPtr prospects = Importer("ksbimport.importinteressenten");
};

TEST_F(LargeImport, KeepsTheIndexesInMemoryAndWritesThemAtItsEnd) {
  ImportMany(customers, 1, kMany - 1);
  EXPECT_EQ(IndexesInTheFile(), 3);
  ImportMany(customers, kMany, 2000);
  GroupedWrites::Of(*connection).Settle();
  EXPECT_EQ(IndexesInTheFile(), 0);
  for (const int number : {1, kMany - 1, kMany, kMany + 1, kMany + 1999}) {
    EXPECT_THAT(Look("Firma " + std::to_string(number)), ElementsAre("1|" + std::to_string(number)));
  }
  EXPECT_THAT(Look("Firma 99999"), IsEmpty());
  for (const char* types : {"(Adressart = 1)", "(Adressart = 1 Or Adressart = 8 Or Adressart = 32)"}) {
    std::string plan;
    for (const std::string& row :
         Rows("EXPLAIN QUERY PLAN SELECT * FROM Adressindex where  " + std::string(types) +
              "  and ( Doubletkey1 = 'k1'  OR  Doubletkey2 = 'k2'  OR  Doubletkey3 = 'k3' ) And Not (Adressart "
              "= 1 "
              "And Referenz = '5')")) {
      plan += row + "\n";
    }
    EXPECT_THAT(plan, ::testing::AllOf(HasSubstr("MULTI-INDEX OR"), HasSubstr("VIRTUAL TABLE INDEX"),
                                       // Which would read all of it.
                                       ::testing::Not(HasSubstr("VIRTUAL TABLE INDEX 0:"))));
  }
  CallMethod(customers, "AfterImport");
  EXPECT_EQ(GetProperty(customers, "ErrorCode"), Value(0));
  EXPECT_EQ(IndexesInTheFile(), 3);
  EXPECT_THAT(Look("Firma " + std::to_string(kMany + 1)), ElementsAre("1|" + std::to_string(kMany + 1)));
  EXPECT_THAT(Rows("SELECT * FROM pragma_integrity_check"), ElementsAre("ok"));
}

TEST_F(LargeImport, MayUpdateItsAddressesAndShareTheConnectionWithAnother) {
  ImportMany(customers, 1, kMany + 10);
  ImportMany(prospects, 5, 20);
  EXPECT_THAT(Look("Firma 7"), ElementsAre("1|7", "8|7"));
  EXPECT_EQ(Import(customers, {{"KundenNummer", "7"}, {"Bez1", "Meyer"}}), "");
  EXPECT_THAT(Look("Firma 7"), ElementsAre("8|7"));
  EXPECT_THAT(Look("Meyer"), ElementsAre("1|7"));
  for (const ObjectPtr& importer : {prospects, customers}) {
    CallMethod(importer, "AfterImport");
    EXPECT_EQ(GetProperty(importer, "ErrorCode"), Value(0));
  }
  EXPECT_EQ(IndexesInTheFile(), 3);
  EXPECT_THAT(Look("Firma 7"), ElementsAre("8|7"));
  EXPECT_THAT(Look("Meyer"), ElementsAre("1|7"));
}

TEST_F(LargeImport, LeavesTheIndexesOfAFarLargerTableAlone) {
  connection->Execute(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 40000) "
      "INSERT INTO Adressindex SELECT -i, 32, i, 'k' || i, NULL, NULL FROM n");
  ImportMany(customers, 1, kMany + 10);
  EXPECT_EQ(IndexesInTheFile(), 3);
}

TEST_F(LargeImport, TellsOnceThatItsIndexesCouldNotBeWritten) {
  ImportMany(customers, 1, kMany + 1000);
  GroupedWrites::Of(*connection).Settle();
  // As a full disk would.
  connection->Execute("PRAGMA max_page_count = 1");
  EXPECT_EQ(CallMethod(customers, "NextLateError"), Value(true));
  EXPECT_THAT(GetProperty(customers, "ErrorDescription").ToText(),
              ::testing::AllOf(HasSubstr("Die Indizes der Tabelle 'Adressindex'"),
                               HasSubstr("Der nächste Import holt es nach.")));
  EXPECT_EQ(CallMethod(customers, "NextLateError"), Value(false));
  CallMethod(customers, "AfterImport");
  EXPECT_EQ(GetProperty(customers, "ErrorCode"), Value(0));
  EXPECT_THAT(Look("Firma 77"), ElementsAre("1|77"));
  connection->Execute("PRAGMA max_page_count = 100000");
  Value cancel(false);
  CallMethod(customers, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(IndexesInTheFile(), 3);
}

TEST_F(LargeImport, ThatIsKilledLeavesAnIndexedAddressForEachStoredOne) {
  connection->Close();
  testing::ForkedChild child([this] {
    ComponentRegistry own_components;
    host::RegisterComponents(own_components);
    const ObjectPtr importer = own_components.CreateObject("ksbimport.importkunden");
    SetProperty(importer, "Connection", OpenConnection(file));
    for (int number = 1;; ++number) {
      Import(importer, {{"KundenNummer", std::to_string(number).c_str()}, {"Bez1", "Firma"}, {"PLZ", "50667"}});
    }
  });
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (IndexesInTheFile() != 0 && std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  child.Kill();

  const ConnectionPtr after = OpenConnection(file);
  const auto value = [&](const std::string& sql) { return std::string(after->OpenRecordset(sql)->TextAt(0)); };
  EXPECT_EQ(IndexesInTheFile(), 0);
  EXPECT_EQ(value("PRAGMA integrity_check"), "ok");
  EXPECT_GT(std::stoi(value("SELECT count(*) FROM Kunden")), kMany);
  EXPECT_EQ(value("SELECT count(*) FROM Kunden"), value("SELECT count(*) FROM Adressindex"));
  SetProperty(customers, "Connection", after);
  Value cancel(false);
  CallMethod(customers, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(IndexesInTheFile(), 3);
}

TEST_F(LargeImport, ThatBrokeOffIsMadeUpForByTheNextOne) {
  for (const char* index : {"Adressindex1", "Adressindex3"})
    connection->Execute(std::string("DROP INDEX ") + index);
  EXPECT_EQ(IndexesInTheFile(), 1);
  Value cancel(false);
  CallMethod(customers, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(GetProperty(customers, "ErrorCode"), Value(0));
  EXPECT_EQ(IndexesInTheFile(), 3);
}

}  // namespace kestrel
