#include <gmock/gmock.h>

#include "duplicates/duplicate_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class DuplicateSettingsTest : public testing::DuplicateFixture {};

// --- Settings of the specification ---

TEST_F(DuplicateSettingsTest, FlagsAreOnOnlyForOne) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=9\nDublettenKey1=1\nDublettenKey2=True\nDublettenKey3=01\n");
  duplicates.LoadDublettSettings();
  EXPECT_TRUE(duplicates.settings().check_duplicates);
  EXPECT_EQ(duplicates.settings().address_type_mask, 9);
  EXPECT_TRUE(duplicates.settings().use_key[0]);
  EXPECT_FALSE(duplicates.settings().use_key[1]);
  EXPECT_FALSE(duplicates.settings().use_key[2]);
}

TEST_F(DuplicateSettingsTest, AMissingSectionTurnsEverythingOff) {
  duplicates.LoadDublettSettings();
  UseSpecification("[Common]\n");
  duplicates.LoadDublettSettings();
  EXPECT_FALSE(duplicates.settings().check_duplicates);
  EXPECT_EQ(duplicates.settings().address_type_mask, 0);
  EXPECT_FALSE(duplicates.settings().use_key[0] || duplicates.settings().use_key[1] ||
               duplicates.settings().use_key[2]);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(DuplicateSettingsTest, AMaskThatIsNoNumberIsToldEveryTimeAndTurnsEverythingOff) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=neun\nDublettenKey1=1\n");
  duplicates.LoadDublettSettings();
  EXPECT_FALSE(duplicates.settings().check_duplicates);
  EXPECT_FALSE(duplicates.settings().use_key[0]);
  duplicates.LoadDublettSettings();
  const auto box = PlainBox("Fehler in Funktion LoadDublettSettings: Typen unverträglich");
  EXPECT_THAT(ui.boxes, ElementsAre(box, box));
}

TEST_F(DuplicateSettingsTest, AChangeOfTheFileIsSeenAtOnce) {
  duplicates.LoadDublettSettings();
  EXPECT_EQ(duplicates.settings().address_type_mask, 1);
  UseSettings("AddresstypeCode=8\n");
  duplicates.LoadDublettSettings();
  EXPECT_EQ(duplicates.settings().address_type_mask, 8);
  EXPECT_FALSE(duplicates.settings().check_duplicates);
}

TEST_F(DuplicateSettingsTest, TheSettingsAreTheSameWhereTheirReadingIsForgotten) {
  duplicates.LoadDublettSettings();
  duplicates.Forget();
  duplicates.LoadDublettSettings();
  EXPECT_TRUE(duplicates.settings().check_duplicates);
}

// --- The kind of address ---

TEST_F(DuplicateSettingsTest, TheAddressTypeFollowsTheExactImportClass) {
  const auto type_of = [&](const char* import_class) {
    session.ImportClassProgID = import_class;
    return GetAddressType(session);
  };
  EXPECT_EQ(type_of("ksbimport.importkunden"), 1);
  EXPECT_EQ(type_of("ksbimport.importinteressenten"), 8);
  EXPECT_EQ(type_of("ksbimport.importlieferanten"), 32);
  EXPECT_EQ(type_of("ksbimport.ImportKunden"), 0);
  EXPECT_EQ(type_of("ksbimport.importkunden "), 0);
  EXPECT_EQ(type_of(""), 0);
}

// --- Settings of the host ---

TEST_F(DuplicateSettingsTest, TheIndexSettingIsReadFromANewPrimedComponent) {
  EXPECT_TRUE(duplicates.isDoublettIndex());
  EXPECT_THAT(CallLines(),
              ElementsAre("Call settings.Init(0, ByRef Object)",
                          R"(Call settings.GetSetting("Adressindex", "Doubletindex", ByRef "", "Standard", )"
                          R"("Standard", "0"))"));
  EXPECT_EQ(journal->front().arguments[1].ToObject(), session.HostConnection);
  EXPECT_TRUE(duplicates.isDoublettIndex());
  EXPECT_THAT(settings_objects, SizeIs(2));
}

TEST_F(DuplicateSettingsTest, OnlyOneMeansThatTheHostKeepsTheIndex) {
  for (const char* value : {"0", "", "True", "11", " 1"}) {
    host_settings["Doubletindex"] = value;
    EXPECT_FALSE(duplicates.isDoublettIndex()) << value;
  }
  host_settings.clear();
  EXPECT_FALSE(duplicates.isDoublettIndex());
}

TEST_F(DuplicateSettingsTest, AlgorithmCodesAreReadInOrderFromOneComponent) {
  std::string code1, code2, code3;
  duplicates.GetDoubletAlgorithmCode(code1, code2, code3);
  EXPECT_EQ(code1 + code2 + code3, "A1A2A3");
  EXPECT_THAT(
      CallLines(),
      ElementsAre(
          "Call settings.Init(0, ByRef Object)",
          R"(Call settings.GetSetting("Adressindex", "AlgorithmCode1", ByRef "", "Standard", "Standard", "0"))",
          R"(Call settings.GetSetting("Adressindex", "AlgorithmCode2", ByRef "", "Standard", "Standard", "0"))",
          R"(Call settings.GetSetting("Adressindex", "AlgorithmCode3", ByRef "", "Standard", "Standard", "0"))"));
  EXPECT_THAT(settings_objects, SizeIs(1));
}

TEST_F(DuplicateSettingsTest, AnUnsetConnectionReachesTheComponentUnset) {
  session.HostConnection = nullptr;
  EXPECT_TRUE(duplicates.isDoublettIndex());
  EXPECT_EQ(CallLines().front(), "Call settings.Init(0, ByRef Nothing)");
}

TEST_F(DuplicateSettingsTest, TheConnectionTheComponentLeavesBecomesTheSessions) {
  const ObjectPtr replaced = std::make_shared<testing::RecordingObject>();
  components.Register(kSettingsComponent, [&] {
    auto settings = std::make_shared<testing::RecordingObject>();
    settings->Method("GetSetting").Method("Init", [&](std::span<Argument> arguments) {
      arguments[1].Set(Value(replaced));
      return Value();
    });
    return settings;
  });
  duplicates.isDoublettIndex();
  EXPECT_EQ(session.HostConnection, replaced);
}

// --- Failures of the host's settings ---

class FailingSettingsTest : public DuplicateSettingsTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(FailingSettingsTest, TheIndexCountsAsNotKept) {
  LetFail(kSettingsComponent, GetParam(), RuntimeError(4711, "kaputt"));
  EXPECT_FALSE(duplicates.isDoublettIndex());
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion isDoublettIndex: kaputt")));
}

TEST_P(FailingSettingsTest, TheCodesAreEmpty) {
  LetFail(kSettingsComponent, GetParam(), RuntimeError(4711, "kaputt"));
  std::string code1 = "x", code2 = "x", code3 = "x";
  duplicates.GetDoubletAlgorithmCode(code1, code2, code3);
  EXPECT_EQ(code1 + code2 + code3, "");
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion GetDoubletAlgorithmCode: kaputt")));
}

INSTANTIATE_TEST_SUITE_P(AtEachMember, FailingSettingsTest, ::testing::Values("Init", "GetSetting"),
                         [](const auto& info) { return std::string(info.param); });

TEST_F(DuplicateSettingsTest, AMissingSettingsComponentIsTold) {
  components.Register(kSettingsComponent,
                      []() -> ObjectPtr { throw RuntimeError(ErrorNumber::kCannotCreateObject); });
  EXPECT_FALSE(duplicates.isDoublettIndex());
  EXPECT_THAT(ui.boxes,
              ElementsAre(PlainBox("Fehler in Funktion isDoublettIndex: Objekt kann nicht erstellt werden")));
}

TEST_F(DuplicateSettingsTest, ASettingLeftNullIsTold) {
  components.Register(kSettingsComponent, [&] {
    auto settings = std::make_shared<testing::RecordingObject>();
    settings->Method("Init").Method("GetSetting", [](std::span<Argument> arguments) {
      arguments[2].Set(Value(kNull));
      return Value();
    });
    return settings;
  });
  EXPECT_FALSE(duplicates.isDoublettIndex());
  EXPECT_THAT(ui.boxes,
              ElementsAre(PlainBox("Fehler in Funktion isDoublettIndex: Unzulässige Verwendung von Null")));
}

// --- Keys ---

TEST_F(DuplicateSettingsTest, ThreeKeysAreBuiltInOrderWithTheHostsCodes) {
  std::string key1, key2, key3;
  duplicates.GenDoubKey("Text", key1, key2, key3);
  EXPECT_EQ(key1, "A1/Text");
  EXPECT_EQ(key2, "A2/Text");
  EXPECT_EQ(key3, "A3/Text");
  std::vector<std::string> key_calls;
  for (const std::string& line : CallLines()) {
    if (line.starts_with("Call keys.")) key_calls.push_back(line);
  }
  EXPECT_THAT(key_calls, ElementsAre(R"(Call keys.BuildDoubletKey(ByRef "A1", ByRef "Text"))",
                                     R"(Call keys.BuildDoubletKey(ByRef "A2", ByRef "Text"))",
                                     R"(Call keys.BuildDoubletKey(ByRef "A3", ByRef "Text"))"));
}

TEST_F(DuplicateSettingsTest, EveryKeyGenerationMakesNewComponents) {
  std::string key1, key2, key3;
  duplicates.GenDoubKey("a", key1, key2, key3);
  duplicates.GenDoubKey("b", key1, key2, key3);
  EXPECT_THAT(key_objects, SizeIs(2));
  EXPECT_THAT(settings_objects, SizeIs(2));
  EXPECT_EQ(key1, "A1/b");
}

TEST_F(DuplicateSettingsTest, TheKeyComponentIsMadeBeforeTheCodesAreRead) {
  components.Register(kKeyComponent,
                      []() -> ObjectPtr { throw RuntimeError(ErrorNumber::kCannotCreateObject); });
  std::string key1, key2, key3;
  duplicates.GenDoubKey("a", key1, key2, key3);
  EXPECT_THAT(settings_objects, IsEmpty());
  EXPECT_THAT(ui.boxes,
              ElementsAre(PlainBox("Fehler in Funktion GenDoubKey: Objekt kann nicht erstellt werden")));
}

TEST_F(DuplicateSettingsTest, WithoutCodesTheKeysAreBuiltFromEmptyOnes) {
  LetFail(kSettingsComponent, "GetSetting", RuntimeError(4711, "kaputt"));
  std::string key1, key2, key3;
  duplicates.GenDoubKey("a", key1, key2, key3);
  EXPECT_EQ(key1, "/a");
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion GetDoubletAlgorithmCode: kaputt")));
}

TEST_F(DuplicateSettingsTest, AFailureInTheMiddleEmptiesAllKeys) {
  build_key = [](const std::string& code, const std::string&) -> std::string {
    if (code == "A2") throw RuntimeError(4711, "kaputt");
    return code;
  };
  std::string key1 = "x", key2 = "x", key3 = "x";
  duplicates.GenDoubKey("a", key1, key2, key3);
  EXPECT_EQ(key1 + key2 + key3, "");
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion GenDoubKey: kaputt")));
}

}  // namespace
}  // namespace kestrel
