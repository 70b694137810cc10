#include "keys/duplicate_keys.h"

#include <gmock/gmock.h>

#include <random>

#include "keys/cologne_phonetics.h"
#include "keys/folded_text.h"
#include "keys/special_words.h"
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

// The rules letter by letter, without a table.
std::string CodeByRules(std::string_view word) {
  const auto is_in = [](char letter, std::string_view letters) { return letters.find(letter) != letters.npos; };
  std::string all;
  for (std::size_t i = 0; i < word.size(); ++i) {
    const char letter = word[i];
    const std::string_view before = word.substr(0, i).empty() ? "" : word.substr(i - 1, 1);
    const std::string_view after = word.substr(i + 1, 1);
    const auto follows = [&](std::string_view letters) { return !after.empty() && is_in(after[0], letters); };
    const auto is_behind = [&](std::string_view letters) {
      return !before.empty() && is_in(before[0], letters);
    };
    if (is_in(letter, "AEIJOUY")) all += '0';
    if (letter == 'B' || (letter == 'P' && !follows("H"))) all += '1';
    if (is_in(letter, "DT")) all += follows("CSZ") ? '8' : '2';
    if (is_in(letter, "FVW") || (letter == 'P' && follows("H"))) all += '3';
    if (is_in(letter, "GKQ")) all += '4';
    if (letter == 'X') all += is_behind("CKQ") ? "8" : "48";
    if (letter == 'C') {
      const bool is_hard = before.empty() ? follows("AHKLOQRUX") : !is_behind("SZ") && follows("AHKOQUX");
      all += is_hard ? '4' : '8';
    }
    if (letter == 'L') all += '5';
    if (is_in(letter, "MN")) all += '6';
    if (letter == 'R') all += '7';
    if (is_in(letter, "SZ")) all += '8';
  }
  std::string code;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if ((i == 0 || all[i] != all[i - 1]) && (i == 0 || all[i] != '0')) code += all[i];
  }
  return code;
}

TEST(ColognePhonetics, AnyWordHasTheCodeOfTheRulesAndItsBeginning) {
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    std::string word;
    for (auto left = random() % 12; left > 0; --left) word += "ABCDEFGHIJKLMNOPQRSTUVWXYZ4\xC3"[random() % 28];
    const std::string code = CodeByRules(word);
    ASSERT_EQ(Code(word), code) << word;
    for (std::size_t most = 0; most <= code.size() + 1; ++most) {
      std::string beginning = "12";
      AppendCologneCode(beginning, word, most);
      ASSERT_EQ(beginning, "12" + code.substr(0, most)) << word << " " << most;
    }
  }
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

// Each character by itself tells what becomes of it among others.
TEST(FoldedText, ATextIsFoldedAsItsCharactersAre) {
  const std::vector<std::string> characters = {
      "A", "b", "Z",  "7", " ",    "-",    "\t",       "Ü", "ß",    "ẞ",    "Œ",      "ÿ",     "–",
      "×", "И", "漢", "😀", "\xFF", "\x80", "\xC3\x28", "ŉ", "\xE2", "\x01", "\u00A0", "\u3000"};
  std::mt19937 random(11);
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    std::string expected;
    bool gap = false;
    for (auto left = random() % 14; left > 0; --left) {
      const std::string& character = characters[random() % characters.size()];
      text += character;
      // A blank keeps it from being taken for the beginning of the next.
      text += ' ';
      const std::string folded = Folded(character);
      if (!folded.empty()) expected += (expected.empty() ? "" : " ") + folded;
    }
    EXPECT_EQ(Folded(text), expected) << text;
    std::string joined;
    std::string plain;
    for (auto left = random() % 14; left > 0; --left) {
      const std::string& character = characters[random() % 17];
      joined += character;
      const std::string folded = Folded(character);
      if (folded.empty()) {
        gap = true;
        continue;
      }
      if (gap && !plain.empty()) plain += ' ';
      gap = false;
      plain += folded;
    }
    gap = false;
    std::string behind = "vorn ";
    AppendFolded(behind, joined);
    EXPECT_EQ(behind, "vorn " + plain) << joined;
  }
}

TEST(SpecialWords, OneLookFindsWhatAWalkThroughAllOfThemFinds) {
  const auto walk = [](std::string_view word) {
    std::uint16_t kinds = 0;
    for (const SpecialWord& entry : SpecialWords()) {
      if (entry.word == word) kinds |= entry.kinds;
    }
    return kinds;
  };
  std::mt19937 random(13);
  for (const SpecialWord& entry : SpecialWords()) {
    EXPECT_NE(KindsOfWord(entry.word), 0) << entry.word;
    for (int i = 0; i < 200; ++i) {
      std::string word(entry.word);
      if (i % 4 == 1) word[random() % word.size()] = static_cast<char>('A' + random() % 26);
      if (i % 4 == 2) word += static_cast<char>('A' + random() % 26);
      if (i % 4 == 3) word.erase(random() % word.size(), 1);
      EXPECT_EQ(KindsOfWord(word), walk(word)) << word;
    }
  }
  for (const char* word : {"", "7", "ÄG", "haus", "HAFTUNGSBESCHRAENKTHAFTUNGSBESCHRAENKT"}) {
    EXPECT_EQ(KindsOfWord(word), 0) << word;
  }
}

TEST(DuplicateKeys, TheKeyTextHasTenParts) {
  Address address;
  address.name = "  Schmidt Maschinenbau GmbH";
  address.name2 = "Einkauf";
  EXPECT_EQ(Text(address), "50667|Köln|Hauptstraße 5|Schmidt Masch|  Schmidt Maschinenbau GmbH|Einkauf|||B");
}

TEST(DuplicateKeys, EveryKeyHasAPlace) {
  const Address here{"50667", "Köln", "Tulpenhof 5", "Anna Meyer"};
  const Address there{"80331", "München", "Tulpenhof 5", "Anna Meyer"};
  for (const char* code : {"4", "6", "7"}) EXPECT_NE(Key(code, here), Key(code, there)) << code;
}

TEST(DuplicateKeys, NamesMayStandInAnyOrderAndInTwoFields) {
  const Address address{"50667", "Köln", "Hauptstraße 5", "Meyer, Stefan"};
  for (const char* code : {"4", "7"}) {
    EXPECT_EQ(Key(code, address), Key(code, {"50667", "Köln", "Hauptstr. 5", "Herrn Dr. Stephan Maier"}))
        << code;
    EXPECT_EQ(Key(code, address), Key(code, {"50667", "Köln", "Hauptstr. 5", "Mayer", "Stefan"})) << code;
  }
}

TEST(DuplicateKeys, AnErrorInOneNameLeavesOneOfTheTwoNameKeys) {
  // MEYER sounds 67, STEFAN 8236: code 4 looks at the one that comes last, code 7 at the first.
  const Address address{"50667", "Köln", "Hauptstraße 5", "Stefan Meyer"};
  EXPECT_EQ(Key("4", address), Key("4", {"50667", "Köln", "Ring 9", "Stefan Kaiser"}));
  EXPECT_EQ(Key("7", address), Key("7", {"50667", "Köln", "Ring 5", "Sven Meyer"}));
}

TEST(DuplicateKeys, CodeSevenForgivesAWrongDigitBehindTheRegionAndAWrongStreet) {
  const Address address{"50667", "Köln", "Hauptstraße 5a", "Anna Meyer"};
  EXPECT_EQ(Key("7", address), Key("7", {"50676", "Köln", "Ringstr. 5 A", "Meyer Anna"}));
  EXPECT_NE(Key("7", address), Key("7", {"50667", "Köln", "Hauptstraße 6", "Anna Meyer"}));
  EXPECT_NE(Key("7", address), Key("7", {"51667", "Köln", "Hauptstraße 5", "Anna Meyer"}));
}

TEST(DuplicateKeys, CodeSevenForgivesExchangedDigitsOfTheRegion) {
  const Address address{"05667", "Köln", "Hauptstraße 5", "Anna Meyer"};
  EXPECT_EQ(Key("7", address), Key("7", {"50667", "Köln", "Hauptstraße 5", "Anna Meyer"}));
  EXPECT_NE(Key("7", address), Key("7", {"55667", "Köln", "Hauptstraße 5", "Anna Meyer"}));
}

TEST(DuplicateKeys, CodeSixLooksAtStreetAndTownOnly) {
  const Address address{"61348", "Bad Homburg v. d. Höhe", "Tulpenhofstraße 5", "Anna Meyer"};
  EXPECT_EQ(Key("6", address), Key("6", {"", "Homburg, OT Kirdorf", "Tulpenhofstr. 7", "Schulze GmbH"}));
  EXPECT_NE(Key("6", address), Key("6", {"61348", "Kassel", "Tulpenhofstraße 5", "Anna Meyer"}));
}

TEST(DuplicateKeys, AStreetThatEveryTownHasCountsWithItsNumber) {
  const Address address{"50667", "Köln", "Hauptstraße 5", "Anna Meyer"};
  EXPECT_EQ(Key("6", address), Key("6", {"50667", "Köln", "Haupt-Str. 5 b", "Otto Schulze"}));
  EXPECT_NE(Key("6", address), Key("6", {"50667", "Köln", "Hauptstraße 7", "Anna Meyer"}));
}

TEST(DuplicateKeys, ACompanyIsItsOwnNameWhoeverIsInChargeThere) {
  const Address address{"50667", "Köln", "Ringstr. 1", "Schmidt Maschinenbau GmbH & Co. KG", "z. Hd. Anna Alt"};
  for (const char* code : {"4", "6", "7"}) {
    EXPECT_EQ(Key(code, address),
              Key(code, {"50667", "Köln", "Ringstrasse 1", "Fa. Schmidt-Maschinenbau", "Einkauf"}))
        << code;
  }
}

TEST(DuplicateKeys, WhatIsMissingIsPassedOverOrLeavesNoKey) {
  EXPECT_EQ(Key("4", {"", "Köln", "Ring 1", "Meyer"}), Key("4", {"", "Köln", "", "Meyer"}));
  EXPECT_EQ(Key("7", {"50667", "Köln", "Ring", "Meyer"}), Key("7", {"50667", "", "", "Meyer"}));
  EXPECT_NE(Key("7", {"50667", "Köln", "Ring", "Meyer"}), Key("7", {"50668", "Köln", "Ring", "Meyer"}));
  EXPECT_EQ(Key("4", {"50667", "Köln", "Ring 1", "GmbH"}), "");
  EXPECT_EQ(Key("7", {"", "", "Ring 1", "Meyer"}), "");
  EXPECT_EQ(Key("6", {"50667", "Köln", "", "Meyer"}), "");
  EXPECT_EQ(Key("6", {"", "", "Ring 1", "Meyer"}), "");
  for (const char* code : {"4", "6", "7"}) EXPECT_EQ(BuildDoubletKey(code, ""), "");
}

TEST(DuplicateKeys, WithoutAPlaceCodeFourFindsExactRepeats) {
  const std::string key = Key("4", {"", "", "Ring 1", "Anna Meyer"});
  EXPECT_NE(key, "");
  EXPECT_EQ(key, Key("4", {"", "", "RING 1", "Meyer, Anna"}));
  EXPECT_NE(key, Key("4", {"", "", "Ring 2", "Anna Meyer"}));
  EXPECT_NE(key, Key("4", {"", "", "Ring 1", "Anna Maier"}));
  EXPECT_NE(key, Key("4", {"50667", "", "Ring 1", "Anna Meyer"}));
  EXPECT_EQ(Key("4", {"", "", "Ring 1", ""}), "");
}

TEST(DuplicateKeys, AStreetOfALargeTownCountsWithItsNumber) {
  EXPECT_NE(Key("6", {"10115", "Berlin", "Ruckenweg 5", "Meyer"}),
            Key("6", {"10115", "Berlin", "Ruckenweg 7", "Meyer"}));
  EXPECT_EQ(Key("6", {"10115", "Berlin", "Ruckenweg 5", "Meyer"}),
            Key("6", {"10178", "Berlin-Mitte", "Rukenweg 5", "Berg"}));
  EXPECT_EQ(Key("6", {"01601", "Steinburg", "Ruckenweg 5", "Meyer"}),
            Key("6", {"01601", "Steinburg", "Ruckenweg 7", "Meyer"}));
  EXPECT_NE(Key("6", {"01601", "Steinburg", "Ruckenweg 5", "Meyer"}),
            Key("6", {"01601", "Steinfeld", "Ruckenweg 5", "Meyer"}));
}

TEST(DuplicateKeys, TheCodesOfEarlierVersionsAreRefusedWithAWayOut) {
  for (const char* code : {"1", "2", "3", "5"}) {
    EXPECT_ERROR_TEXT(Key(code, {}), ErrorNumber::kInvalidProcedureCall,
                      ::testing::HasSubstr("früheren Version"));
  }
}

TEST(DuplicateKeys, KeysAreShortAndHoldNoApostrophe) {
  for (const char* code : {"4", "6", "7"}) {
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
  EXPECT_NE(Key("4", address), Key("6", address));
  EXPECT_NE(Key("7", address), Key("6", address));
}

TEST(DuplicateKeys, TheMemoryGivesWhatWouldBeBuilt) {
  KeyMemory memory;
  const std::string texts[] = {Text({}), Text({"1010", "Wien"})};
  for (int round = 0; round < 3; ++round) {
    for (const std::string& text : texts) {
      for (const char* code : {"4", "6", "7"}) EXPECT_EQ(memory.Build(code, text), BuildDoubletKey(code, text));
    }
  }
  EXPECT_ERROR(memory.Build("9", texts[0]), ErrorNumber::kInvalidProcedureCall);
  EXPECT_EQ(memory.Build("4", texts[0]), BuildDoubletKey("4", texts[0]));
}

TEST(DuplicateKeys, AnUnknownCodeIsNamed) {
  EXPECT_ERROR_TEXT(Key("9", {}), ErrorNumber::kInvalidProcedureCall, ::testing::HasSubstr("'9'"));
}

}  // namespace kestrel::host
