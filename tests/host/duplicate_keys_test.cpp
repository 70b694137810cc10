#include "keys/duplicate_keys.h"

#include <gmock/gmock.h>

#include "keys/cologne_phonetics.h"
#include "keys/folded_text.h"
#include "storage/address_index.h"
#include "support/expect_error.h"

namespace kestrel::host {

namespace {

std::string Code(std::string_view word) {
  std::string code;
  AppendCologneCode(code, word);
  return code;
}

std::string Folded(std::string_view text) {
  std::string folded;
  AppendFolded(folded, text);
  return folded;
}

struct Address {
  std::string postcode = "50667";
  std::string town = "Köln";
  std::string street = "Hauptstraße 5";
  std::string name = "Meyer";
  std::string name2 = "";
  std::string group = "B";
};

std::string Text(const Address& address) {
  std::string text;
  AppendKeyText(
      text, {address.postcode, address.town, address.street, {address.name, address.name2, ""}, address.group});
  return text;
}

std::string Key(std::string_view code, const Address& address) { return BuildDoubletKey(code, Text(address)); }

}  // namespace

TEST(ColognePhonetics, CodesOfThePublishedRules) {
  EXPECT_EQ(Code("MUELLER"), "657");
  EXPECT_EQ(Code("MEYER"), Code("MAIER"));
  EXPECT_EQ(Code("SCHMIDT"), "862");
  EXPECT_EQ(Code("SCHMITT"), "862");
  EXPECT_EQ(Code("BRESCHNEW"), "17863");
  EXPECT_EQ(Code("WIKIPEDIA"), "3412");
  EXPECT_EQ(Code("MUELLERLUEDENSCHEIDT"), "65752682");
  EXPECT_EQ(Code("PHILIPP"), "351");
  EXPECT_EQ(Code("CHRISTA"), "4782");
  EXPECT_EQ(Code("CELLE"), "85");
  EXPECT_EQ(Code("MAX"), "648");
  EXPECT_EQ(Code("ACXA"), "048");
  EXPECT_EQ(Code("AACHEN"), "046");
  EXPECT_EQ(Code("TSCHECH"), "84");
  EXPECT_EQ(Code(""), "");
  EXPECT_EQ(Code("H"), "");
}

TEST(FoldedText, WaysOfWritingNoLongerDiffer) {
  EXPECT_EQ(Folded("Müller-Lüdenscheidt & Söhne"), "MUELLER LUEDENSCHEIDT SOEHNE");
  EXPECT_EQ(Folded("  Straße „Zur Post“ – 5a. "), "STRASSE ZUR POST 5A");
  EXPECT_EQ(Folded("Café Renée Łódź"), "CAFE RENEE LODZ");
  EXPECT_EQ(Folded("O'Neil"), "O NEIL");
  EXPECT_EQ(Folded(""), "");
  EXPECT_EQ(Folded("!?"), "");
  EXPECT_EQ(Folded("Иванов"), "Иванов");
}

TEST(DuplicateKeys, TheKeyTextHasTenParts) {
  Address address;
  address.name = "  Schmidt Maschinenbau GmbH";
  address.name2 = "Einkauf";
  EXPECT_EQ(Text(address), "50667|Köln|Hauptstraße 5|Schmidt Masch|  Schmidt Maschinenbau GmbH|Einkauf|||B");
}

TEST(DuplicateKeys, CodeOneSeesThroughWaysOfWriting) {
  const Address address{"50667", "Köln", "Haupt-Straße 5 a", "Möbel-Haus Groß", "Einkauf"};
  EXPECT_EQ(Key("1", address),
            Key("1", {"50667", "KOELN", "Hauptstr. 5A", "moebelhaus gross", "EINKAUF", "C"}));
  EXPECT_EQ(Key("1", address), Key("1", {"D-50667", "Köln", "Haupt Str 5a", "Möbelhaus Groß", "Einkauf"}));
  EXPECT_NE(Key("1", address), Key("1", {"50667", "Köln", "Haupt-Straße 5 b", "Möbel-Haus Groß", "Einkauf"}));
  EXPECT_NE(Key("1", address), Key("1", {"50668", "Köln", "Haupt-Straße 5 a", "Möbel-Haus Groß", "Einkauf"}));
  EXPECT_NE(Key("1", address), Key("1", {"50667", "Köln", "Haupt-Straße 5 a", "Möbel-Haus Groß", ""}));
}

TEST(DuplicateKeys, CodeTwoHearsNamesInAnyOrder) {
  const Address address{"50667", "Köln", "Hauptstraße 5", "Meyer, Stefan"};
  EXPECT_EQ(Key("2", address), Key("2", {"50667", "Bonn", "Ring 1", "Herrn Dr. Stephan Maier"}));
  EXPECT_EQ(Key("2", address), Key("2", {"50667", "", "", "Mayer", "Stefan"}));
  EXPECT_NE(Key("2", address), Key("2", {"50668", "Köln", "Hauptstraße 5", "Meyer, Stefan"}));
  EXPECT_NE(Key("2", address), Key("2", {"50667", "Köln", "Hauptstraße 5", "Schulze, Stefan"}));
}

TEST(DuplicateKeys, CodeThreeLeavesTheLegalFormOut) {
  const Address address{"50667", "Köln", "Ringstr. 1", "Schmidt Maschinenbau GmbH & Co. KG"};
  EXPECT_EQ(Key("3", address), Key("3", {"1010", "Wien", "Ringstrasse 1", "Schmidt-Maschinenbau", "Einkauf"}));
  EXPECT_EQ(Key("3", {"", "", "Ring 1", "Turnverein Süd e. V."}),
            Key("3", {"", "", "Ring 1", "Turnverein Süd"}));
  EXPECT_NE(Key("3", address), Key("3", {"50667", "Köln", "Ringstr. 2", "Schmidt Maschinenbau GmbH & Co. KG"}));
}

TEST(DuplicateKeys, WhatACodeLooksAtMustBeThere) {
  EXPECT_EQ(Key("1", {"", "", "", "", "", "B"}), "");
  EXPECT_EQ(Key("2", {"", "Köln", "Ring 1", "Meyer"}), "");
  EXPECT_EQ(Key("2", {"50667", "Köln", "Ring 1", ""}), "");
  EXPECT_EQ(Key("3", {"50667", "Köln", "", "Meyer"}), "");
  EXPECT_EQ(Key("3", {"50667", "Köln", "Ring 1", "GmbH"}), "");
  EXPECT_EQ(BuildDoubletKey("1", ""), "");
}

TEST(DuplicateKeys, KeysAreShortAndHoldNoApostrophe) {
  for (const char* code : {"1", "2", "3"}) {
    for (int i = 0; i < 500; ++i) {
      const std::string key =
          Key(code, {"50667", "K'öln", "Ring " + std::to_string(i), "O'Neil " + std::to_string(i)});
      ASSERT_EQ(key.size(), 9U);
      ASSERT_EQ(key.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
                std::string::npos);
    }
  }
}

TEST(DuplicateKeys, TheCodesDoNotShareKeys) {
  const Address address;
  EXPECT_NE(Key("1", address), Key("3", address));
  EXPECT_NE(Key("2", address), Key("3", address));
}

TEST(DuplicateKeys, TheMemoryGivesWhatWouldBeBuilt) {
  KeyMemory memory;
  const std::string texts[] = {Text({}), Text({"1010", "Wien"})};
  for (int round = 0; round < 3; ++round) {
    for (const std::string& text : texts) {
      for (const char* code : {"1", "2", "3"}) EXPECT_EQ(memory.Build(code, text), BuildDoubletKey(code, text));
    }
  }
  EXPECT_ERROR(memory.Build("9", texts[0]), ErrorNumber::kInvalidProcedureCall);
  EXPECT_EQ(memory.Build("1", texts[0]), BuildDoubletKey("1", texts[0]));
}

TEST(DuplicateKeys, AnUnknownCodeIsNamed) {
  EXPECT_ERROR_TEXT(Key("9", {}), ErrorNumber::kInvalidProcedureCall, ::testing::HasSubstr("'9'"));
}

}  // namespace kestrel::host
