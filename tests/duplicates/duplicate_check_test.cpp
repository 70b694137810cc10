#include <gmock/gmock.h>

#include <random>

#include "duplicates/duplicate_fixture.h"
#include "platform/base/text.h"
#include "support/expect_error.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

class DuplicateCheckTest : public testing::DuplicateFixture {
 protected:
  std::string KeyText(const MemoryRecordset& record, std::string_view group) const {
    std::string text = "was left from the record before";
    columns.Begin(record);
    BuildDuplicateKeyText(record, columns, group, text);
    return text;
  }
  mutable KeptColumns columns;
  // The key text that the key component was given last.
  std::string KeyTextGiven() const {
    std::string text;
    for (const testing::RecordedCall& call : *journal) {
      if (call.name == "BuildDoubletKey") text = call.arguments[1].ToText();
    }
    return text;
  }
};

// --- The specification ---

TEST_F(DuplicateCheckTest, SettingsThatCannotBeReadFromTheFirstRecordOnAreShownAndAnswerNo) {
  session.SpecFile = folder.path();
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({{"PLZ", "50667"}})));
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text,
              AllOf(StartsWith("Fehler in Funktion LoadDublettSettings: "), HasSubstr(folder.path())));
}

// --- The key text ---

TEST_F(DuplicateCheckTest, TheKeyTextHasTenPartsWithAnEmptyNinth) {
  const auto record = Record({{"PLZ", "50667"},
                              {"Ort", "Köln"},
                              {"Strasse", "Domstraße 1"},
                              {"Bez1", "Meier"},
                              {"Bez2", "Werkstatt"},
                              {"Bez3", "Einkauf"}});
  EXPECT_EQ(KeyText(*record, "G"), "50667|Köln|Domstraße 1|Meier|Meier|Werkstatt|Einkauf||G");
}

TEST_F(DuplicateCheckTest, ALongNameStandsTwiceCutAndWhole) {
  EXPECT_EQ(KeyText(*Record({{"Bez1", "Münchner Brauhäuser GmbH"}}), ""),
            "|||Münchner Brauhä|Münchner Brauhäuser GmbH||||");
}

TEST_F(DuplicateCheckTest, TheCutNameIsTrimmedTheWholeOneIsNot) {
  EXPECT_EQ(KeyText(*Record({{"Bez1", " Schmidt u. Co  KG "}}), ""),
            "|||Schmidt u. Co| Schmidt u. Co  KG ||||");
}

TEST_F(DuplicateCheckTest, ARecordWithOtherColumnsThanTheLastIsReadByItsOwn) {
  const auto shaped = [](std::initializer_list<const char*> names) {
    auto record = std::make_shared<MemoryRecordset>();
    for (const char* name : names) record->AppendColumn(name);
    record->AddNew();
    for (std::size_t i = 0; i < names.size(); ++i) record->SetText(i, std::to_string(i) + data(names)[i]);
    return record;
  };
  const auto first = shaped({"PLZ", "Ort", "Strasse", "Bez1", "Bez2", "Bez3", "Telefon"});
  EXPECT_EQ(KeyText(*first, ""), "0PLZ|1Ort|2Strasse|3Bez1|3Bez1|4Bez2|5Bez3||");
  EXPECT_EQ(KeyText(*shaped({"Bez1", "Bez2", "Bez3", "PLZ", "Ort", "Strasse"}), ""),
            "3PLZ|4Ort|5Strasse|0Bez1|0Bez1|1Bez2|2Bez3||");
  // The first column of a name counts, also where the others stand as before.
  EXPECT_EQ(KeyText(*first, ""), "0PLZ|1Ort|2Strasse|3Bez1|3Bez1|4Bez2|5Bez3||");
  EXPECT_EQ(KeyText(*shaped({"PLZ", "Bez3", "Strasse", "Bez1", "Bez2", "Bez3", "Ort"}), ""),
            "0PLZ|6Ort|2Strasse|3Bez1|3Bez1|4Bez2|1Bez3||");
  EXPECT_ERROR(KeyText(*shaped({"PLZ", "Ort"}), ""), ErrorNumber::kColumnNotFound);
}

TEST_F(DuplicateCheckTest, FieldsWithoutValueAreEmptyParts) { EXPECT_EQ(KeyText(*Record({}), ""), "||||||||"); }

TEST_F(DuplicateCheckTest, EveryKindOfAddressTakesItsOwnGroup) {
  const auto record = Record({{"Kundengruppe", "KG"}, {"Lieferantengruppe", "LG"}});
  duplicates.CheckDoublett(*record);
  EXPECT_EQ(KeyTextGiven(), "||||||||KG");
  session.ImportClassProgID = "ksbimport.importlieferanten";
  duplicates.CheckDoublett(*record);
  EXPECT_EQ(KeyTextGiven(), "||||||||LG");
}

TEST_F(DuplicateCheckTest, ARecordThatIsTheSameObjectKeepsItsColumnsAndHasItsOwnValues) {
  const auto record = Record({{"PLZ", "50667"}});
  duplicates.CheckDoublett(*record);
  record->SetText(*record->FindColumn("PLZ"), "10115");
  duplicates.CheckDoublett(*record, nullptr, /*same_object=*/true);
  EXPECT_EQ(KeyTextGiven(), "10115||||||||");
  session.ImportClassProgID = "ksbimport.importlieferanten";
  record->SetText(*record->FindColumn("Lieferantengruppe"), "LG");
  duplicates.CheckDoublett(*record, nullptr, /*same_object=*/true);
  EXPECT_EQ(KeyTextGiven(), "10115||||||||LG") << "another kind has other fields";
}

TEST_F(DuplicateCheckTest, AProspectsKeyTextEndsWithTheCustomerGroup) {
  session.ImportClassProgID = "ksbimport.importinteressenten";
  duplicates.CheckDoublett(*Record({{"Kundengruppe", "KG"}, {"Lieferantengruppe", "LG"}}));
  EXPECT_EQ(KeyTextGiven(), "||||||||KG");
}

// --- The decision ---

TEST_F(DuplicateCheckTest, AnAddressWithAnIndexedKeyIsSuspected) {
  const auto record = Record({{"PLZ", "50667"}});
  EXPECT_FALSE(duplicates.CheckDoublett(*record));
  Index(1, "99", "", "A2/50667||||||||");
  EXPECT_TRUE(duplicates.CheckDoublett(*record));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(DuplicateCheckTest, ASuspectedDuplicateTellsWhichAddressItRepeatsAndByWhichKey) {
  const auto record = Record({{"PLZ", "50667"}});
  Index(8, "4711", "A1/another", "A2/50667||||||||", "A3/50667||||||||");
  UseSettings("DublettenPruefen=1\nAddresstypeCode=9\nDublettenKey1=1\nDublettenKey2=1\nDublettenKey3=1\n");
  DuplicateMatch match;
  EXPECT_TRUE(duplicates.CheckDoublett(*record, &match));
  EXPECT_EQ(match.address_type, 8);
  EXPECT_EQ(match.reference, "4711");
  EXPECT_EQ(match.key, 2);
}

TEST_F(DuplicateCheckTest, AKeyThatIsNotInUseIsNoReasonOfTheMatch) {
  Index(1, "4711", "A1/50667||||||||", "A2/50667||||||||");
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey2=1\n");
  DuplicateMatch match;
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({{"PLZ", "50667"}}), &match));
  EXPECT_EQ(match.key, 2);
}

TEST_F(DuplicateCheckTest, AMatchThatTheIndexTellsOnlyInPartIsADuplicateAllTheSame) {
  connection->Execute("DROP TABLE Adressindex");
  connection->Execute("CREATE TABLE Adressindex (ADRESSART TEXT, Doubletkey1 TEXT)");
  connection->Execute("INSERT INTO Adressindex VALUES ('1', 'A1/50667||||||||')");
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n");
  DuplicateMatch match;
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({{"PLZ", "50667"}}), &match));
  EXPECT_EQ(match.address_type, 1) << "its column is found in any case";
  EXPECT_EQ(match.reference, "");
  EXPECT_EQ(match.key, 1);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(DuplicateCheckTest, OneRecordCallsTheHostInThisOrder) {
  duplicates.CheckDoublett(*Record({}));
  std::vector<std::string> members;
  for (const testing::RecordedCall& call : *journal) {
    members.push_back(call.object + "." + call.name +
                      (call.name == "GetSetting" ? " " + call.arguments[1].ToText() : ""));
  }
  EXPECT_THAT(members, ElementsAre("settings.Init", "settings.GetSetting Doubletindex", "settings.Init",
                                   "settings.GetSetting AlgorithmCode1", "settings.GetSetting AlgorithmCode2",
                                   "settings.GetSetting AlgorithmCode3", "keys.BuildDoubletKey",
                                   "keys.BuildDoubletKey", "keys.BuildDoubletKey"));
  EXPECT_THAT(settings_objects, SizeIs(2));
  EXPECT_THAT(key_objects, SizeIs(1));
  EXPECT_THAT(connection->statements, SizeIs(1));
  duplicates.CheckDoublett(*Record({}));
  EXPECT_THAT(settings_objects, SizeIs(4));
  EXPECT_THAT(key_objects, SizeIs(2));
}

TEST_F(DuplicateCheckTest, AnUnknownImportClassIsNeverChecked) {
  session.ImportClassProgID = "ksbimport.importartikel";
  build_key = [](const std::string&, const std::string&) { return "K"; };
  Index(1, "99", "K");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_THAT(*journal, IsEmpty());
  EXPECT_THAT(connection->statements, IsEmpty());
}

TEST_F(DuplicateCheckTest, AnUnknownImportClassNeedsNoneOfTheFields) {
  session.ImportClassProgID = "";
  MemoryRecordset record;
  record.AppendColumn("Artikel");
  record.AddNew();
  EXPECT_FALSE(duplicates.CheckDoublett(record));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(DuplicateCheckTest, WithoutTheHostsIndexNothingIsADuplicate) {
  host_settings["Doubletindex"] = "0";
  build_key = [](const std::string&, const std::string&) { return "K"; };
  Index(1, "99", "K");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_THAT(key_objects, IsEmpty());
  EXPECT_THAT(connection->statements, IsEmpty());
}

TEST_F(DuplicateCheckTest, WithoutTheSpecificationsWishTheHostIsNotAskedAndNothingIsADuplicate) {
  UseSettings("DublettenPruefen=0\nAddresstypeCode=1\nDublettenKey1=1\n");
  build_key = [](const std::string&, const std::string&) { return "K"; };
  Index(1, "99", "K");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_THAT(settings_objects, IsEmpty());
  EXPECT_THAT(key_objects, IsEmpty());
}

TEST_F(DuplicateCheckTest, TheSettingsAreReadForEveryRecord) {
  build_key = [](const std::string&, const std::string&) { return "K"; };
  Index(8, "99", "K");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  UseSettings("DublettenPruefen=1\nAddresstypeCode=9\nDublettenKey1=1\n");
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({})));
}

TEST_F(DuplicateCheckTest, OnlyTheKeysInUseAreLookedUp) {
  build_key = [](const std::string& code, const std::string&) { return code; };
  Index(1, "99", "x", "A2", "x");
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenKey3=1\n");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey2=1\n");
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({})));
}

TEST_F(DuplicateCheckTest, OnlyTheTypesOfTheMaskAreLookedUp) {
  build_key = [](const std::string&, const std::string&) { return "K"; };
  Index(32, "99", "K");
  for (const auto& [mask, suspected] : {std::pair{"1", false}, {"9", false}, {"32", true}, {"65535", true}}) {
    UseSettings(std::string("DublettenPruefen=1\nDublettenKey1=1\nAddresstypeCode=") + mask + "\n");
    EXPECT_EQ(duplicates.CheckDoublett(*Record({})), suspected) << mask;
  }
}

TEST_F(DuplicateCheckTest, AMaskOfZeroAsksNothingOfTheDatabase) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=0\nDublettenKey1=1\n");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_THAT(connection->statements, IsEmpty());
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_THAT(key_objects, SizeIs(1));
}

TEST_F(DuplicateCheckTest, WithOverwritingAnAddressIsNotItsOwnDuplicate) {
  build_key = [](const std::string&, const std::string&) { return "K"; };
  Index(1, "4711", "K");
  const auto record = Record({{"KundenNummer", "4711"}});
  EXPECT_TRUE(duplicates.CheckDoublett(*record));
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nKundenUeberschreiben=1\n");
  EXPECT_FALSE(duplicates.CheckDoublett(*record));
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({{"KundenNummer", "4712"}})));
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({})));
}

TEST_F(DuplicateCheckTest, WithOverwritingAnotherTypeOfTheSameReferenceIsStillADuplicate) {
  build_key = [](const std::string&, const std::string&) { return "K"; };
  Index(8, "4711", "K");
  UseSettings("DublettenPruefen=1\nAddresstypeCode=9\nDublettenKey1=1\nKundenUeberschreiben=1\n");
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({{"KundenNummer", "4711"}})));
}

struct Kind {
  const char* import_class;
  const char* number_field;
  const char* overwrite_key;
  int type;
};

class OverwriteTest : public DuplicateCheckTest, public ::testing::WithParamInterface<Kind> {};

TEST_P(OverwriteTest, TheReferenceAndTheSwitchAreTheKindsOwn) {
  const Kind kind = GetParam();
  session.ImportClassProgID = kind.import_class;
  UseSettings(std::string("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n") + kind.overwrite_key +
              "=1\n");
  build_key = [](const std::string&, const std::string&) { return "K"; };
  duplicates.CheckDoublett(*Record({{kind.number_field, "77"}}));
  EXPECT_THAT(connection->statements,
              ElementsAre("SELECT * FROM Adressindex where  (Adressart = 1)  and ( Doubletkey1 = 'K' ) And Not "
                          "(Adressart = " +
                          std::to_string(kind.type) + " And Referenz = '77')"));
}

INSTANTIATE_TEST_SUITE_P(Kinds, OverwriteTest,
                         ::testing::Values(Kind{"ksbimport.importkunden", "KundenNummer",
                                                "KundenUeberschreiben", 1},
                                           Kind{"ksbimport.importinteressenten", "Interessentennummer",
                                                "InteressentenUeberschreiben", 8},
                                           Kind{"ksbimport.importlieferanten", "LieferantenNummer",
                                                "LieferantenUeberschreiben", 32}),
                         [](const auto& info) { return std::string(info.param.number_field); });

TEST_F(DuplicateCheckTest, OverwritingIsOnOnlyForOne) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nKundenUeberschreiben=True\n");
  duplicates.CheckDoublett(*Record({}));
  ASSERT_THAT(connection->statements, SizeIs(1));
  EXPECT_THAT(connection->statements[0], ::testing::Not(HasSubstr("And Not")));
}

TEST_F(DuplicateCheckTest, RandomAddressesAreJudgedLikeAWalkThroughTheIndex) {
  struct Indexed {
    int type;
    std::string reference;
    std::string keys[3];
  };
  std::mt19937 random(20240307);
  const auto pick = [&](int count) { return std::to_string(random() % static_cast<unsigned>(count)); };
  // One key a part: postcode, town, street.
  build_key = [](const std::string& code, const std::string& text) {
    const std::vector<std::string_view> parts = Split(text, '|');
    return code + std::string(parts[code == "A1" ? 0 : code == "A2" ? 1 : 2]);
  };
  const Kind kinds[] = {{"ksbimport.importkunden", "KundenNummer", "KundenUeberschreiben", 1},
                        {"ksbimport.importlieferanten", "LieferantenNummer", "LieferantenUeberschreiben", 32}};
  std::vector<Indexed> index;
  int suspected_count = 0;
  for (int round = 0; round < 8; ++round) {
    const Kind& kind = kinds[round % 2];
    session.ImportClassProgID = kind.import_class;
    const int mask = round < 4 ? 33 : kind.type;
    const int flags = 1 + round % 7;
    const bool overwrite = round % 3 == 0;
    std::string settings = "DublettenPruefen=1\nAddresstypeCode=" + std::to_string(mask) + "\n";
    for (int i = 0; i < 3; ++i) {
      settings += "DublettenKey" + std::to_string(i + 1) + "=" + std::to_string(flags >> i & 1) + "\n";
    }
    UseSettings(settings + kind.overwrite_key + "=" + (overwrite ? "1" : "0") + "\n");
    for (int i = 0; i < 100; ++i) {
      const Indexed address{kind.type, pick(50), {"A1" + pick(500), "A2" + pick(500), "A3" + pick(500)}};
      const auto record = Record({{kind.number_field, address.reference},
                                  {"PLZ", address.keys[0].substr(2)},
                                  {"Ort", address.keys[1].substr(2)},
                                  {"Strasse", address.keys[2].substr(2)}});
      bool expected = false;
      for (const Indexed& other : index) {
        bool same = false;
        for (int k = 0; k < 3; ++k) same = same || ((flags >> k & 1) != 0 && other.keys[k] == address.keys[k]);
        const bool own = overwrite && other.type == address.type && other.reference == address.reference;
        expected = expected || (same && (mask & other.type) != 0 && !own);
      }
      ASSERT_EQ(duplicates.CheckDoublett(*record), expected) << "round " << round << ", record " << i;
      if (expected) {
        ++suspected_count;
        continue;
      }
      index.push_back(address);
      Index(address.type, address.reference, address.keys[0], address.keys[1], address.keys[2]);
    }
  }
  EXPECT_GT(suspected_count, 50);
  EXPECT_GT(index.size(), 300U);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

// --- Failures ---

TEST_F(DuplicateCheckTest, WithoutAKeyInUseEveryRecordTellsAndIsImported) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\n");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  ASSERT_THAT(ui.boxes, SizeIs(2));
  EXPECT_THAT(ui.boxes[0].text, StartsWith("Fehler in Funktion isDoublet: "));
  EXPECT_EQ(ui.boxes[0], PlainBox(ui.boxes[0].text));
}

TEST_F(DuplicateCheckTest, AKeyWithAQuoteFailsTheQueryAndTheRecordIsImported) {
  build_key = [](const std::string&, const std::string&) { return "O'Neil"; };
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text, StartsWith("Fehler in Funktion isDoublet: "));
  EXPECT_THAT(connection->statements, ElementsAre(HasSubstr("Doubletkey1 = 'O'Neil' ")));
}

TEST_F(DuplicateCheckTest, AnUnreachableIndexIsToldAndTheRecordIsImported) {
  connection->database().Execute("DROP TABLE Adressindex");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text, StartsWith("Fehler in Funktion isDoublet: "));
}

TEST_F(DuplicateCheckTest, AnUnsetConnectionIsToldAndTheRecordIsImported) {
  session.HostConnection = nullptr;
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion isDoublet: Objektvariable nicht festgelegt")));
}

TEST_F(DuplicateCheckTest, ARecordThatLacksAFieldNamesItAndIsImported) {
  MemoryRecordset record;
  record.AppendColumn("KundenNummer");
  record.AppendColumn("Kundengruppe");
  record.AddNew();
  EXPECT_FALSE(duplicates.CheckDoublett(record));
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text, StartsWith("Fehler in Funktion CheckDoublett: "));
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("PLZ"));
}

TEST_F(DuplicateCheckTest, AFailingInitTellsOnceAndTheRecordIsImported) {
  LetFail(kSettingsComponent, "Init", RuntimeError(4711, "kaputt"));
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion isDoublettIndex: kaputt")));
}

TEST_F(DuplicateCheckTest, AFailingKeyComponentTellsAndTheLookUpGoesOnWithEmptyKeys) {
  LetFail(kKeyComponent, "BuildDoubletKey", RuntimeError(4711, "kaputt"));
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion GenDoubKey: kaputt")));
  EXPECT_THAT(connection->statements, ElementsAre(HasSubstr("( Doubletkey1 = ''  OR  Doubletkey2 = '' ")));
}

TEST_F(DuplicateCheckTest, ASpecificationWithABadMaskTellsAndTheRecordIsImported) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=x\nDublettenKey1=1\n");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({})));
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion LoadDublettSettings: Typen unverträglich")));
}

}  // namespace
}  // namespace kestrel
