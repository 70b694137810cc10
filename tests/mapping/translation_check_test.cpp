// Which rows of the editor are refused, and why.
#include <gmock/gmock.h>

#include "mapping/translation.h"
#include "platform/base/text.h"
#include "support/expect_error.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class TranslationCheckTest : public testing::SessionFixture {
 protected:
  // The text of the refusal, or "" where all rows can be written; these are then read back.
  std::string Refusal(const std::vector<TranslationRow>& rows) {
    const std::string before = testing::ReadBytes(session.SpecFile);
    const auto refused = FindRefusedRow(session, "Land", rows);
    EXPECT_EQ(testing::ReadBytes(session.SpecFile), before) << "a check writes nothing";
    if (refused) return refused->text;
    WriteTranslationRows(session, "Land", rows);
    for (const TranslationRow& row : rows) {
      if (row.translate_name.empty()) continue;
      EXPECT_THAT(ReadTranslationRows(session, "Land", {row.field_name}), ElementsAre(row));
    }
    return {};
  }
};

TEST_F(TranslationCheckTest, WhatComesBackAsItWasTypedIsAccepted) {
  UseSpecification("[Translation_Land]\nD=Deutschland\n");
  EXPECT_EQ(Refusal({{"D", "Rabatt=5%"},
                     {"F;1", "[Frankreich]"},
                     {"a b", "; kein Kommentar"},
                     {"\"x\"", "\""},
                     {"<Empty>", "unbekannt"},
                     {"]", std::string(255, 'x')},
                     {"Ö", "Österreich €"}}),
            "");
}

TEST_F(TranslationCheckTest, ASourceValueThatNoFileCanHoldIsRefusedWithItsRow) {
  UseSpecification("");
  for (const auto& [value, reason] :
       std::vector<std::pair<std::string, std::string>>{{"[alt]", "beginnt mit \"[\""},
                                                        {";z", "beginnt mit \";\""},
                                                        {" vorn", "Leerzeichen"},
                                                        {"hinten\t", "Leerzeichen oder Tabulator"},
                                                        {"a=b", "Gleichheitszeichen"},
                                                        {"a\nb", "Zeilenumbruch"}}) {
    EXPECT_THAT(Refusal({{"D", "Deutschland"}, {value, "x"}}),
                AllOf(HasSubstr("Zeile 2 (\"" + value + "\")"), HasSubstr(reason)))
        << value;
    EXPECT_EQ(Refusal({{value, ""}}), "") << "without a translation nothing is to be stored";
    UseSpecification("");
  }
}

TEST_F(TranslationCheckTest, ATranslationThatWouldChangeIsRefused) {
  UseSpecification("");
  for (const auto& [translation, reason] :
       std::vector<std::pair<std::string, std::string>>{{" vorn", "Leerzeichen"},
                                                        {"hinten ", "Leerzeichen"},
                                                        {"\"Zitat\"", "Anführungszeichen"},
                                                        {"a\r\nb", "Zeilenumbruch"},
                                                        {std::string(256, 'x'), "255"},
                                                        {"Łódź", "Zeichensatz"}}) {
    EXPECT_THAT(Refusal({{"D", translation}}), AllOf(HasSubstr("Zeile 1 (\"D\")"), HasSubstr(reason)))
        << translation;
  }
  UseSpecification("[Translation_Land]\nÄ=\xC3\x84\n");
  EXPECT_EQ(Refusal({{"D", "Łódź"}}), "") << "a UTF-8 file holds every character";
}

TEST_F(TranslationCheckTest, SourceValuesThatTheFileTakesForOneAreRefused) {
  UseSpecification("");
  EXPECT_THAT(Refusal({{"Herr", "1"}, {"HERR", "2"}}),
              AllOf(HasSubstr("Zeile 1 (\"Herr\")"), HasSubstr("nur in der Groß- und Kleinschreibung")));
  EXPECT_THAT(Refusal({{"Herr", "1"}, {"Herr", "2"}}), HasSubstr("mehrfach"));
  EXPECT_EQ(Refusal({{"Herr", "1"}, {"HERR", ""}}), "");
}

TEST_F(TranslationCheckTest, WhatStoodThereBeforeNeedsOnlyToStayAsItWas) {
  UseSpecification("[Translation_Land]\nHerr=1\nLand=\"D\"\n");
  // As the editor reads them: the run finds no entry for HERR, and did not before.
  EXPECT_EQ(Refusal({{"Herr", "1"}, {"HERR", "1"}, {"Land", "D"}}), "");
  EXPECT_THAT(Refusal({{"Herr", "2"}, {"HERR", "1"}}), HasSubstr("Zeile 1 (\"Herr\")"));
}

TEST_F(TranslationCheckTest, ATableThatTheRunWouldReadCutIsRefused) {
  UseSpecification("");
  std::vector<TranslationRow> rows;
  for (int i = 0; i < 20; ++i) rows.push_back({"Wert" + std::to_string(i), std::string(200, 'x')});
  EXPECT_THAT(Refusal(rows), HasSubstr("länger als 4094 Zeichen"));
  rows.resize(10);
  EXPECT_EQ(Refusal(rows), "");
}

TEST_F(TranslationCheckTest, ASpecificationThatCannotBeReadIsAnError) {
  session.SpecFile = folder.path();
  EXPECT_ERROR(FindRefusedRow(session, "Land", {{"D", "x"}}), ErrorNumber::kPathFileAccess);
  EXPECT_ERROR(WriteTranslationRows(session, "Land", {{"D", "x"}}), ErrorNumber::kPathFileAccess);
  EXPECT_ERROR(ReadTranslationRows(session, "Land", {"D"}), ErrorNumber::kPathFileAccess);
}

}  // namespace
}  // namespace kestrel
