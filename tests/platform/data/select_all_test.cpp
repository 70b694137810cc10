#include "platform/data/select_all.h"

#include <gmock/gmock.h>

#include "support/expect_error.h"

namespace kestrel {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(SelectAll, ATableNameGoesToTheEndInItsParts) {
  EXPECT_THAT(ParseSelectAll("SELECT * From KUNDEN"), ElementsAre("KUNDEN"));
  EXPECT_THAT(ParseSelectAll("SELECT * From KUNDEN.DBF"), ElementsAre("KUNDEN", "DBF"));
  EXPECT_EQ(JoinTableName(ParseSelectAll("SELECT * From KUNDEN.DBF")), "KUNDEN.DBF");
}

TEST(SelectAll, WordsHaveNoCaseAndBlanksDoNotCount) {
  EXPECT_THAT(ParseSelectAll("  select\t*\r\nFROM  Kunden  "), ElementsAre("Kunden"));
  EXPECT_THAT(ParseSelectAll("SELECT*FROM[Kunden];"), ElementsAre("Kunden"));
}

TEST(SelectAll, QuotedPartsHoldEverything) {
  EXPECT_THAT(ParseSelectAll(R"(SELECT * FROM `C:\Daten\k. 1.xls`.`'Mit Blank$'`)"),
              ElementsAre(R"(C:\Daten\k. 1.xls)", "'Mit Blank$'"));
  EXPECT_THAT(ParseSelectAll("SELECT * FROM [A.B; C]"), ElementsAre("A.B; C"));
  EXPECT_THAT(ParseSelectAll("SELECT * FROM \"say \"\"x\"\"\""), ElementsAre("say \"x\""));
  EXPECT_THAT(ParseSelectAll("SELECT * FROM [a]]b]"), ElementsAre("a]b"));
}

TEST(SelectAll, AClosingCharacterWithinANameNeedNotBeDoubled) {
  EXPECT_THAT(ParseSelectAll("SELECT * FROM `/a`b/k.xls`.`O''Neill`s $`"),
              ElementsAre("/a`b/k.xls", "O''Neill`s $"));
  EXPECT_THAT(ParseSelectAll("SELECT * FROM `a``b` ;"), ElementsAre("a`b"));
}

TEST(SelectAll, ABareNameMayHoldBlanks) {
  EXPECT_THAT(ParseSelectAll("SELECT * From Alte Kunden"), ElementsAre("Alte Kunden"));
}

TEST(SelectAll, AnyOtherStatementIsRefusedAndQuoted) {
  for (const char* sql :
       {"", "SELECT", "SELECT * FROM", "SELECT * FROM ;", "SELECT Name FROM Kunden", "DELETE FROM Kunden",
        "SELECT * FROM a; DELETE FROM a", "SELECT * FROM `a", "SELECT * FROM a.", "SELECT * FROM `a` x",
        "SELECTX * FROM a", "SELECT * FROMa", "SELECT * FROM ``"}) {
    EXPECT_ERROR_TEXT(ParseSelectAll(sql), ErrorNumber::kDatabase, HasSubstr("nur ganze Tabellen")) << sql;
  }
  EXPECT_ERROR_TEXT(ParseSelectAll("DELETE FROM Kunden"), ErrorNumber::kDatabase,
                    HasSubstr("DELETE FROM Kunden"));
}

}  // namespace kestrel
