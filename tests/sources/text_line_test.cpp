// One line: its values, its column names, the repair of DOS umlauts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sources/text_source.h"

namespace kestrel {
namespace {

using Names = std::vector<std::string>;

// The slots up to the last one that is not empty, but at least `count` of them.
Names SplitLine(std::string_view line, std::string_view delimiter = ";", std::string_view qualifier = "\"",
                std::size_t count = 0) {
  ValueSlots slots;
  slots.fill("left from the line before");
  SplitTextLine(line, delimiter, qualifier, slots);
  Names values(slots.begin(), slots.end());
  while (values.size() > count && values.back().empty()) values.pop_back();
  return values;
}

TEST(SplitTextLine, CutsAtDelimitersAndKeepsBlanks) {
  EXPECT_EQ(SplitLine("a; b ;c"), (Names{"a", " b ", "c"}));
  EXPECT_EQ(SplitLine("  "), Names{"  "});
}

TEST(SplitTextLine, ADelimiterWithinQualifiersIsPartOfTheValue) {
  EXPECT_EQ(SplitLine("\"a;b\";c"), (Names{"a;b", "c"}));
}

TEST(SplitTextLine, EmptyQualifiedValueIsEmpty) { EXPECT_EQ(SplitLine("x;\"\";y"), (Names{"x", "", "y"})); }

TEST(SplitTextLine, ADoubledQualifierDisappears) {
  EXPECT_EQ(SplitLine("\"Kurt \"\"Kutte\"\" Schmidt\";x"), (Names{"Kurt Kutte Schmidt", "x"}));
}

TEST(SplitTextLine, QualifiersAreRemovedWhereverTheyStand) {
  EXPECT_EQ(SplitLine("ab\"c;d\"e;f"), (Names{"abc;de", "f"}));
}

TEST(SplitTextLine, AValueWhoseQualifierStaysOpenIsLost) {
  EXPECT_EQ(SplitLine("x;\"abc"), Names{"x"});
  EXPECT_EQ(SplitLine("x;\"abc;"), Names{"x"});
  EXPECT_EQ(SplitLine("x;\"abc;def;y"), Names{"x"});
}

TEST(SplitTextLine, ADelimiterAtTheEndAddsNoValue) {
  EXPECT_EQ(SplitLine("a;b;", ";", "\"", 3), (Names{"a", "b", ""}));
  EXPECT_EQ(SplitLine("a;;", ";", "\"", 3), (Names{"a", "", ""}));
}

TEST(SplitTextLine, ValuesBeyondThe200thAreDropped) {
  std::string line;
  for (int i = 1; i <= 250; ++i) line += std::to_string(i) + ";";
  const Names values = SplitLine(line);
  ASSERT_EQ(values.size(), 200U);
  EXPECT_EQ(values.front(), "1");
  EXPECT_EQ(values.back(), "200");
}

TEST(SplitTextLine, ADelimiterOfSeveralCharactersNeverMatches) {
  EXPECT_EQ(SplitLine("a;;b", ";;"), Names{});
  EXPECT_EQ(SplitLine("a;b", ""), Names{});
}

TEST(SplitTextLine, TakesAnyCharacterAsDelimiterAndQualifier) {
  EXPECT_EQ(SplitLine("a§„b§c„§d", "§", "„"), (Names{"a", "b§c", "d"}));
  EXPECT_EQ(SplitLine("'a\tb'\tc", "\t", "'"), (Names{"a\tb", "c"}));
}

TEST(SplitTextLine, OneCharacterAsDelimiterAndQualifierTogglesBeforeItCuts) {
  EXPECT_EQ(SplitLine("a\"b\"c", "\"", "\""), (Names{"ab"}));
}

TEST(SplitTextLine, AnEmptyLineHasEmptySlots) { EXPECT_EQ(SplitLine(""), Names{}); }

TEST(TextFieldNames, WithoutHeadingsAreNumbered) {
  EXPECT_EQ(TextFieldNames("a;b;c", {false, "ANSI", ";", "\""}), (Names{"Feld01", "Feld02", "Feld03", ""}));
}

TEST(TextFieldNames, NumberOfTheHundredthColumnHasThreeDigits) {
  const Names names = TextFieldNames(std::string(99, ';') + "x", {false, "ANSI", ";", "\""});
  ASSERT_EQ(names.size(), 101U);
  EXPECT_EQ(names[8], "Feld09");
  EXPECT_EQ(names[99], "Feld100");
  EXPECT_EQ(names[100], "");
}

TEST(TextFieldNames, WithoutHeadingsQualifiersAreNotHonoured) {
  EXPECT_EQ(TextFieldNames("\"a;b\";c", {false, "ANSI", ";", "\""}).size(), 4U);
}

TEST(TextFieldNames, OfAHeaderAreTrimmedAndTheLastDelimiterAddsNone) {
  EXPECT_EQ(TextFieldNames("Name ; Ort;", {true, "ANSI", ";", "\""}), (Names{"Name", "Ort", ""}));
}

TEST(TextFieldNames, AnEmptyHeaderNameIsNumberedByItsPosition) {
  EXPECT_EQ(TextFieldNames("Name;;  ;Ort", {true, "ANSI", ";", ""}),
            (Names{"Name", "Feld02", "Feld03", "Ort", ""}));
}

TEST(TextFieldNames, ADelimiterInAQuotedHeaderNameSplitsIt) {
  EXPECT_EQ(TextFieldNames("\"Name;Vorname\";Ort", {true, "ANSI", ";", "\""}),
            (Names{"Name", "Vorname", "Ort", ""}));
}

TEST(TextFieldNames, EqualNamesBothStay) {
  EXPECT_EQ(TextFieldNames("Ort;Ort", {true, "ANSI", ";", "\""}), (Names{"Ort", "Ort", ""}));
}

TEST(TextFieldNames, TabIsSpelledOut) {
  EXPECT_EQ(TextFieldNames("a\tb", {true, "ANSI", "TAB", "\""}), (Names{"a", "b", ""}));
  EXPECT_EQ(TextFieldNames("aTabb", {true, "ANSI", "Tab", "\""}), (Names{"a", "b", ""}));
}

TEST(TextFieldNames, OfADosFileAreRepairedOnlyForTheExactFormat) {
  EXPECT_EQ(TextFieldNames("Stra\u00E1e;Gr\u201D\u00E1e", {true, "ASCII", ";", "\""}),
            (Names{"Straße", "Größe", ""}));
  EXPECT_EQ(TextFieldNames("Stra\u00E1e", {true, "ascii", ";", "\""}), (Names{"Stra\u00E1e", ""}));
}

TEST(TextFieldNames, WithoutDelimiterThereIsNoColumn) {
  EXPECT_EQ(TextFieldNames("a;b", {true, "ANSI", "", "\""}), Names{""});
  EXPECT_EQ(TextFieldNames("a;b", {false, "ANSI", "", "\""}), Names{""});
}

TEST(RepairAsciiUmlauts, TurnsSevenCharactersAndNoOther) {
  EXPECT_EQ(RepairAsciiUmlauts("\u201E\u201D\u0081\u017D\u2122\u0161\u00E1"), "äöüÄÖÜß");
  EXPECT_EQ(RepairAsciiUmlauts("abc äöü é \u201C €"), "abc äöü é \u201C €");
  EXPECT_EQ(RepairAsciiUmlauts(""), "");
}

}  // namespace
}  // namespace kestrel
