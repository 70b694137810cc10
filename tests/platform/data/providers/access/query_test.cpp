// Saved queries of files made here, run with Access's own rules.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "kestrel/open_connection.h"
#include "support/jet_builder.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;
using testing::JetBuilder;
using testing::Le32;
using testing::Le64;
using testing::LeDouble;
using QueryRows = std::vector<JetBuilder::QueryRow>;
using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

// Rows of MSysQueries.
constexpr int kType = 1;
constexpr int kParameter = 2;
constexpr int kPredicates = 3;
constexpr int kSource = 5;
constexpr int kColumn = 6;
constexpr int kJoin = 7;
constexpr int kWhere = 8;
constexpr int kGroup = 9;
constexpr int kHaving = 10;
constexpr int kOrder = 11;
constexpr int kSelect = 1;
constexpr int kUnion = 9;

class AccessQuery : public ::testing::Test {
 protected:
  AccessQuery() {
    const auto text = [&](const char* value) { return JetBuilder::Cell(builder_.Text(value)); };
    const auto kunden = builder_.AddTable(
        "Kunden",
        {{"Nr", 4, 4}, {"Name"}, {"Ort"}, {"Seit", 8, 8}, {"Rabatt", 5, 8}, {"Aktiv", 1}, {"Notiz", 12}});
    builder_.AddRow(kunden, {Le32(1), text("Müller"), text("Köln"), LeDouble(38143.5), Le64(1000), "",
                             builder_.Inline(builder_.Text("gut"))});
    builder_.AddRow(kunden,
                    {Le32(2), text("MÜLLER"), text("Bonn"), LeDouble(38000), Le64(2000), std::nullopt, ""});
    builder_.AddRow(kunden,
                    {Le32(3), text("Ärmel"), std::nullopt, std::nullopt, std::nullopt, "", std::nullopt});
    builder_.AddRow(kunden, {Le32(4), text("Straße"), text(""), LeDouble(-1.25), Le64(1000), "", std::nullopt});
    const auto auftraege = builder_.AddTable("Aufträge", {{"Nr", 4, 4}, {"Kunde", 4, 4}, {"Betrag", 5, 8}});
    builder_.AddRow(auftraege, {Le32(10), Le32(1), Le64(100000)});
    builder_.AddRow(auftraege, {Le32(11), Le32(1), Le64(1000)});
    builder_.AddRow(auftraege, {Le32(12), Le32(2), Le64(2000)});
    builder_.AddRow(auftraege, {Le32(13), Le32(9), Le64(3000)});
  }

  void Add(std::string_view name, QueryRows rows, int type = kSelect, std::uint32_t kind = 0) {
    rows.push_back({kType, type});
    builder_.AddQuery(name, rows, kind);
  }
  // A query whose SQL stands in the file as a text, as the parts of a union do.
  void AddSql(std::string_view name, const std::string& sql) {
    Add(name, {{kSource, {}, sql, "", "X7YZ_____1"}}, kUnion, 128);
  }

  ConnectionPtr Open() {
    return OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" +
                          folder_.Write("q.mdb", builder_.Build()));
  }
  Rows Read(std::string_view query) {
    return RowsOf(*Open()->OpenRecordset("SELECT * From " + std::string(query)));
  }
  static Rows RowsOf(Recordset& rows) {
    Rows all;
    for (; !rows.IsEof(); rows.MoveNext()) {
      Row& row = all.emplace_back();
      for (std::size_t i = 0; i < rows.ColumnCount(); ++i) {
        row.push_back(rows.IsNull(i) ? "NULL" : std::string(rows.TextAt(i)));
      }
    }
    EXPECT_EQ(rows.RecordCount(), static_cast<std::int64_t>(all.size()));
    return all;
  }
  // The rows of a query that the file holds for this once.
  Rows Sql(const std::string& sql) {
    const JetBuilder saved = builder_;
    AddSql("Frage", sql);
    Rows rows = Read("Frage");
    builder_ = saved;
    return rows;
  }
  std::string ErrorOf(std::string_view query) {
    try {
      Read(query);
    } catch (const RuntimeError& error) {
      EXPECT_TRUE(error.Is(ErrorNumber::kDatabase));
      return error.Description();
    }
    return "no error";
  }
  std::string SqlErrorOf(const std::string& sql) {
    const JetBuilder saved = builder_;
    AddSql("Frage", sql);
    std::string error = ErrorOf("Frage");
    builder_ = saved;
    return error;
  }
  // The value of one expression.
  std::string Value(const std::string& expression) {
    const Rows rows = Sql("SELECT " + expression + " AS x FROM Kunden WHERE Nr = 1");
    return rows.size() == 1 ? rows[0][0] : "no single row";
  }

  JetBuilder builder_;
  testing::TempFolder folder_;
};

TEST_F(AccessQuery, SelectionJoinGroupAndOrderComeFromTheirRows) {
  Add("Umsätze", {{kSource, {}, "", "Kunden"},
                  {kSource, {}, "", "Aufträge"},
                  {kColumn, 0, "Kunden.Name"},
                  {kColumn, 0, "Sum(Aufträge.Betrag)", "Summe"},
                  {kJoin, 1, "Kunden.Nr = Aufträge.Kunde", "Kunden", "Aufträge"},
                  {kWhere, {}, "(((Aufträge.Betrag)>0))"},
                  {kGroup, 0, "Kunden.Name"},
                  {kHaving, {}, "(((Count(*))>1))"},
                  {kOrder, {}, "Kunden.Name", "D"}});
  const ConnectionPtr connection = Open();
  EXPECT_THAT(connection->ColumnNames("Umsätze"), ::testing::ElementsAre("Name", "Summe"));
  const RecordsetPtr rows = connection->OpenRecordset("SELECT * From umsätze");
  // Both spellings of the name are one group.
  const Rows found = RowsOf(*rows);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0][1], "10,3");
}

TEST_F(AccessQuery, OuterJoinsKeepTheRowsOfOneSide) {
  const QueryRows rows{{kSource, {}, "", "Kunden"}, {kSource, {}, "", "Aufträge"}, {kColumn, 0, "Kunden.Nr"},
                       {kColumn, 0, "Aufträge.Nr"}, {kOrder, {}, "Kunden.Nr"},     {kOrder, {}, "Aufträge.Nr"}};
  QueryRows left = rows;
  left.push_back({kJoin, 2, "Kunden.Nr = Aufträge.Kunde", "Kunden", "Aufträge"});
  Add("Links", left);
  QueryRows right = rows;
  right.push_back({kJoin, 3, "Kunden.Nr = Aufträge.Kunde", "Kunden", "Aufträge"});
  Add("Rechts", right);
  const ConnectionPtr connection = Open();
  const RecordsetPtr from_left = connection->OpenRecordset("SELECT * From Links");
  EXPECT_EQ(from_left->ColumnName(0), "Kunden.Nr");
  EXPECT_EQ(from_left->ColumnName(1), "Aufträge.Nr");
  EXPECT_EQ(RowsOf(*from_left), (Rows{{"1", "10"}, {"1", "11"}, {"2", "12"}, {"3", "NULL"}, {"4", "NULL"}}));
  EXPECT_EQ(RowsOf(*connection->OpenRecordset("SELECT * From Rechts")),
            (Rows{{"NULL", "13"}, {"1", "10"}, {"1", "11"}, {"2", "12"}}));
}

TEST_F(AccessQuery, JoinsNestAndConditionsOfOnePairAreCombined) {
  Add("Drei", {{kSource, {}, "", "Kunden"},
               {kSource, {}, "", "Aufträge"},
               {kSource, {}, "", "Kunden", "K2"},
               {kColumn, 0, "Kunden.Nr"},
               {kColumn, 0, "K2.Nr"},
               {kJoin, 1, "Kunden.Nr = Aufträge.Kunde", "Kunden", "Aufträge"},
               {kJoin, 2, "Aufträge.Kunde = K2.Nr", "Aufträge", "K2"},
               {kJoin, 2, "Aufträge.Betrag < 5", "Aufträge", "K2"},
               {kOrder, {}, "Aufträge.Nr"}});
  EXPECT_EQ(Read("Drei"), (Rows{{"1", "NULL"}, {"1", "1"}, {"2", "2"}}));
}

TEST_F(AccessQuery, PredicatesDistinctTopAndAllColumns) {
  Add("Eindeutig", {{kSource, {}, "", "Kunden"}, {kColumn, 0, "Name"}, {kPredicates, 2}, {kOrder, {}, "Name"}});
  Add("Oben", {{kSource, {}, "", "Kunden"},
               {kColumn, 0, "Nr"},
               {kPredicates, 16, "", "1"},
               {kOrder, {}, "Rabatt"},
               {kWhere, {}, "Rabatt Is Not Null"}});
  Add("Hälfte",
      {{kSource, {}, "", "Kunden"}, {kColumn, 0, "Nr"}, {kPredicates, 16 + 32, "", "50"}, {kOrder, {}, "Nr"}});
  Add("Alles", {{kSource, {}, "", "Aufträge"},
                {kPredicates, 1},
                {kColumn, 0, "Nr*2", "Doppelt"},
                {kWhere, {}, "Nr=10"}});
  const ConnectionPtr connection = Open();
  const auto read = [&](const char* name) {
    return RowsOf(*connection->OpenRecordset("SELECT * From " + std::string(name)));
  };
  EXPECT_EQ(read("Eindeutig").size(), 3U);
  // Ties with the last row belong to it.
  EXPECT_EQ(read("Oben"), (Rows{{"1"}, {"4"}}));
  EXPECT_EQ(read("Hälfte"), (Rows{{"1"}, {"2"}}));
  EXPECT_EQ(read("Alles"), (Rows{{"10", "1", "10", "20"}}));
}

TEST_F(AccessQuery, DistinctRowKeepsOneRowForEachRowShown) {
  Add("Mit", {{kSource, {}, "", "Kunden"},
              {kSource, {}, "", "Aufträge"},
              {kColumn, 0, "Kunden.Name"},
              {kPredicates, 8},
              {kJoin, 1, "Kunden.Nr = Aufträge.Kunde", "Kunden", "Aufträge"},
              {kOrder, {}, "Kunden.Nr"}});
  EXPECT_EQ(Read("Mit"), (Rows{{"Müller"}, {"MÜLLER"}}));
}

TEST_F(AccessQuery, UnionsWithAndWithoutAll) {
  Add("Alle",
      {{kPredicates, 1},
       {kSource, {}, "Select Nr From Kunden Where Nr < 3", "", "X7YZ_____1"},
       {kSource, {}, "Select Kunde From Aufträge Order By Nr Desc", "", "X7YZ_____2"}},
      kUnion, 128);
  Add("Verschiedene",
      {{kPredicates, 3},
       {kSource, {}, "Select Nr From Kunden Where Nr < 3", "", "X7YZ_____1"},
       {kSource, {}, "Select Kunde From Aufträge Order By 1 Desc", "", "X7YZ_____2"}},
      kUnion, 128);
  const ConnectionPtr connection = Open();
  EXPECT_EQ(RowsOf(*connection->OpenRecordset("SELECT * From Alle")),
            (Rows{{"9"}, {"2"}, {"2"}, {"1"}, {"1"}, {"1"}}));
  EXPECT_EQ(RowsOf(*connection->OpenRecordset("SELECT * From Verschiedene")), (Rows{{"9"}, {"2"}, {"1"}}));
}

TEST_F(AccessQuery, AUnionTakesTextsThatDifferOnlyInCaseAsOne) {
  EXPECT_EQ(Sql("Select Name From Kunden Where Nr=1 Union Select Name From Kunden Where Nr=2").size(), 1U);
}

TEST_F(AccessQuery, QueriesReadQueries) {
  AddSql("Unten", "Select Nr, Name, Rabatt From Kunden Where Aktiv");
  AddSql("Mitte", "Select Unten.*, Rabatt * 2 As Doppelt From Unten");
  AddSql("Oben", "Select Name, Doppelt From Mitte Where Doppelt Is Not Null Order By Name");
  EXPECT_EQ(Read("Oben"), (Rows{{"Müller", "0,2"}, {"Straße", "0,2"}}));
}

TEST_F(AccessQuery, AQueryThatReadsItselfIsRefused) {
  AddSql("A", "Select * From B");
  AddSql("B", "Select * From A");
  EXPECT_THAT(ErrorOf("A"), HasSubstr("sich selbst"));
}

TEST_F(AccessQuery, SelectsInBracketsInAndExists) {
  EXPECT_EQ(Sql("Select Nr From Kunden Where Nr In (Select Kunde From Aufträge) Order By Nr"),
            (Rows{{"1"}, {"2"}}));
  EXPECT_EQ(Sql("Select Nr From Kunden As K Where Not Exists (Select * From Aufträge Where Kunde = K.Nr) Order "
                "By Nr"),
            (Rows{{"3"}, {"4"}}));
}

TEST_F(AccessQuery, DerivedTablesAndScalarSelects) {
  EXPECT_EQ(Sql("Select K.Name, (Select Count(*) From Aufträge Where Kunde = K.Nr) As Anzahl "
                "From (Select Nr, Name From Kunden Where Nr < 3) As K Order By K.Nr"),
            (Rows{{"Müller", "2"}, {"MÜLLER", "1"}}));
}

TEST_F(AccessQuery, ASelectWithoutFromReadsTheTablesItsNamesSpeakOf) {
  EXPECT_EQ(Sql("Select Kunden.Nr Where Kunden.Nr = 2"), (Rows{{"2"}}));
}

TEST_F(AccessQuery, TextsAreComparedWithoutCase) {
  EXPECT_EQ(Sql("Select Nr From Kunden Where Name = 'müller' Order By Nr"), (Rows{{"1"}, {"2"}}));
}

TEST_F(AccessQuery, TextsAreOrderedAsInADictionary) {
  EXPECT_EQ(Sql("Select Name From Kunden Where Nr > 1 Order By Name"),
            (Rows{{"Ärmel"}, {"MÜLLER"}, {"Straße"}}));
}

TEST_F(AccessQuery, ComparisonsOfExpressions) {
  EXPECT_EQ(Value("'STRASSE' = 'Straße'"), "Wahr");
  EXPECT_EQ(Value("'a' & 'b' = 'AB'"), "Wahr");
  EXPECT_EQ(Value("2 Between 3 And 1"), "Wahr");
  EXPECT_EQ(Value("2 Not Between 1 And 3"), "Falsch");
  EXPECT_EQ(Value("'X' In ('x','y')"), "Wahr");
  EXPECT_EQ(Value("Null = Null"), "NULL");
  EXPECT_EQ(Value("Not (1 = 2 Or 2 = 3)"), "Wahr");
  EXPECT_EQ(Value("True Xor False"), "Wahr");
  EXPECT_EQ(Value("True Eqv False"), "Falsch");
  EXPECT_EQ(Value("False Imp False"), "Wahr");
}

TEST_F(AccessQuery, TruthValuesCountAsMinusOne) {
  EXPECT_EQ(Value("True + 0"), "-1");
  EXPECT_EQ(Value("Abs(Aktiv)"), "1");
  EXPECT_EQ(Value("(1 = 1) * 5"), "-5");
  EXPECT_EQ(Value("True"), "Wahr");
  EXPECT_EQ(Value("6 And 3"), "2");
  EXPECT_EQ(Value("Not 0"), "-1");
  AddSql("Summe", "Select Sum(Aktiv) As n From Kunden");
  EXPECT_EQ(Read("Summe"), (Rows{{"-3"}}));
}

TEST_F(AccessQuery, LikeKnowsAccesssSigns) {
  EXPECT_EQ(Value("'Müller' Like 'm?LL*'"), "Wahr");
  EXPECT_EQ(Value("'A7' Like 'A#'"), "Wahr");
  EXPECT_EQ(Value("'Ab' Like '[a-c][!x]'"), "Wahr");
  EXPECT_EQ(Value("'a*b' Like 'a[*]b'"), "Wahr");
  EXPECT_EQ(Value("'axb' Like 'a[*]b'"), "Falsch");
  EXPECT_EQ(Value("'abc' Not Like '*d*'"), "Wahr");
  EXPECT_EQ(Value("'50%' Like '50%'"), "Wahr");
  EXPECT_EQ(Value("'abc' ALike 'a%'"), "Wahr");
  EXPECT_EQ(Value("'' Like '*'"), "Wahr");
}

TEST_F(AccessQuery, AndPutsTextsTogetherPastNull) {
  EXPECT_EQ(Value("'a' & Null & 1 & ',' & 2.5"), "a1,2,5");
  EXPECT_EQ(Value("Null & Null"), "NULL");
  EXPECT_EQ(Value("'a' + Null"), "NULL");
  EXPECT_EQ(Value("'a' + 'b'"), "ab");
  EXPECT_EQ(Value("'Seit ' & Seit"), "Seit 05.06.2004 12:00:00");
  EXPECT_EQ(Value("'1' + 2"), "3");
}

TEST_F(AccessQuery, Arithmetic) {
  EXPECT_EQ(Value("7 / 2"), "3,5");
  EXPECT_EQ(Value("7 \\ 2"), "3");
  EXPECT_EQ(Value("-7 Mod 3"), "-1");
  EXPECT_EQ(Value("2 ^ 3 ^ 2"), "64");
  EXPECT_EQ(Value("-2 ^ 2"), "-4");
  EXPECT_EQ(Value("2 + 3 * 4"), "14");
  EXPECT_EQ(Value("Rabatt * 3"), "0,3");
  EXPECT_EQ(Value("Rabatt / 3"), "0,03333333333333333");
  EXPECT_THAT(SqlErrorOf("Select 1 / (Nr - Nr) From Kunden"), HasSubstr("Division durch"));
}

TEST_F(AccessQuery, SumsOfMoneyAreExact) {
  AddSql("Summe", "Select Sum(Betrag) As s, Avg(Betrag) As a, Max(Betrag) As m From Aufträge Where Kunde < 9");
  EXPECT_EQ(Read("Summe"), (Rows{{"10,3", "3,4333", "10"}}));
}

TEST_F(AccessQuery, Aggregates) {
  AddSql(
      "A",
      "Select Count(*) As a, Count(Ort) As b, First(Name) As c, Last(Name) As d, StDev(Nr) As e, Var(Nr) As f, "
      "StDevP(Nr) As g, Min(Name) As h, Min(Seit) As i From Kunden");
  EXPECT_EQ(Read("A"), (Rows{{"4", "3", "Müller", "Straße", "1,2909944487358056", "1,6666666666666667",
                              "1,118033988749895", "Ärmel", "29.12.1899 06:00:00"}}));
}

TEST_F(AccessQuery, DatesAndTheirLiterals) {
  EXPECT_EQ(Value("#6/5/2004#"), "05.06.2004");
  EXPECT_EQ(Value("#2004-06-05 1:30:00 PM#"), "05.06.2004 13:30:00");
  EXPECT_EQ(Value("#12:15:00#"), "12:15:00");
  EXPECT_EQ(Value("Seit > #6/4/2004#"), "Wahr");
  EXPECT_EQ(Value("Seit + 1"), "06.06.2004 12:00:00");
  EXPECT_EQ(Value("#6/5/2004# - #6/1/2004#"), "4");
  EXPECT_EQ(Value("DateSerial(2004, 14, 0)"), "31.01.2005");
  EXPECT_EQ(Value("DateAdd('m', 1, #1/31/2004#)"), "29.02.2004");
  EXPECT_EQ(Value("DateAdd('h', 30, #1/31/2004#)"), "01.02.2004 06:00:00");
  EXPECT_EQ(Value("DateDiff('yyyy', #12/31/2003#, #1/1/2004#)"), "1");
  EXPECT_EQ(Value("DateDiff('ww', #6/5/2004#, #6/6/2004#)"), "1");
  EXPECT_EQ(Value("DatePart('q', Seit)"), "2");
  EXPECT_EQ(Value("DatePart('ww', #1/1/2005#, 2, 2)"), "53");
  EXPECT_EQ(Value("Weekday(#6/5/2004#)"), "7");
  EXPECT_EQ(Value("Year(Seit) & Month(Seit) & Day(Seit) & Hour(Seit)"), "20046512");
  EXPECT_EQ(Value("CDate('24.12.2004')"), "24.12.2004");
  EXPECT_EQ(Value("Now() >= Date()"), "Wahr");
}

TEST_F(AccessQuery, TextFunctions) {
  EXPECT_EQ(Value("Left('Köln', 2)"), "Kö");
  EXPECT_EQ(Value("Right('Köln', 3)"), "öln");
  EXPECT_EQ(Value("Mid('Köln', 2, 2)"), "öl");
  EXPECT_EQ(Value("Mid('Köln', 3)"), "ln");
  EXPECT_EQ(Value("Len('Köln')"), "4");
  EXPECT_EQ(Value("'<' & Trim('  a b ') & LTrim('  c ') & RTrim(' d  ') & '>'"), "<a bc  d>");
  EXPECT_EQ(Value("UCase('äöü') & LCase('ÄÖÜ')"), "ÄÖÜäöü");
  EXPECT_EQ(Value("InStr('Köln', 'L') & InStr(4, 'abcabc', 'b') & InStr('a', 'z')"), "350");
  EXPECT_EQ(Value("InStrRev('a/b/c', '/')"), "4");
  EXPECT_EQ(Value("Replace('a-b-c', '-', '')"), "abc");
  EXPECT_EQ(Value("Space(2) & String(3, 'x') & Chr(228) & Asc('A')"), "  xxxä65");
  EXPECT_EQ(Value("StrConv('anna mÜLLER', 3)"), "Anna Müller");
  EXPECT_EQ(Value("StrReverse('abä')"), "äba");
  EXPECT_EQ(Value("Left(Null, 2)"), "NULL");
}

TEST_F(AccessQuery, NumberFunctions) {
  EXPECT_EQ(Value("Int(-2.5) & Fix(-2.5) & Sgn(-2)"), "-3-2-1");
  EXPECT_EQ(Value("Round(2.5) & Round(3.14159, 2)"), "23,14");
  EXPECT_EQ(Value("CInt(2.5) & CLng('3') & CDbl('1,5')"), "231,5");
  EXPECT_EQ(Value("CCur(1.23456)"), "1,2346");
  EXPECT_EQ(Value("Val('12.5 km')"), "12,5");
  EXPECT_EQ(Value("CBool(5)"), "Wahr");
  EXPECT_EQ(Value("IsNumeric('1,5') And Not IsNumeric('x')"), "Wahr");
  EXPECT_EQ(Value("Sqr(16)"), "4");
}

TEST_F(AccessQuery, ChoosingFunctions) {
  EXPECT_EQ(Value("IIf(Nr = 1, 'eins', 'mehr')"), "eins");
  EXPECT_EQ(Value("IIf(Null, 1, 2)"), "2");
  EXPECT_EQ(Value("IIf(Aktiv, Seit, Null)"), "05.06.2004 12:00:00");
  EXPECT_EQ(Value("Nz(Null, 'leer') & Nz(Ort)"), "leerKöln");
  EXPECT_EQ(Value("Switch(Nr = 2, 'b', Nr = 1, 'a')"), "a");
  EXPECT_EQ(Value("Choose(2, 'x', 'y')"), "y");
  EXPECT_EQ(Value("IsNull(Ort)"), "Falsch");
}

TEST_F(AccessQuery, Formats) {
  EXPECT_EQ(Value("Format(1234.567, '#,##0.00')"), "1.234,57");
  EXPECT_EQ(Value("Format(7, '000')"), "007");
  EXPECT_EQ(Value("Format(0.256, '0%')"), "26%");
  EXPECT_EQ(Value("Format(Seit, 'dd.mm.yy hh:nn')"), "05.06.04 12:00");
  EXPECT_EQ(Value("Format(Seit, 'dddd, d. mmmm yyyy')"), "Samstag, 5. Juni 2004");
  EXPECT_EQ(Value("Format('abc', '>')"), "ABC");
}

TEST_F(AccessQuery, NamesGivenToColumnsMayBeUsed) {
  EXPECT_EQ(Sql("Select Nr * 2 As D, D + 1 As E From Kunden Where Nr = 1"), (Rows{{"2", "3"}}));
  EXPECT_THAT(SqlErrorOf("Select A + 1 As B, B + 1 As A From Kunden"), HasSubstr("sich selbst"));
}

TEST_F(AccessQuery, ColumnsWithoutANameAreNumbered) {
  AddSql("F", "Select Nr, Nr + 1, 'x' From Kunden");
  EXPECT_THAT(Open()->ColumnNames("F"), ::testing::ElementsAre("Nr", "Expr1001", "Expr1002"));
}

TEST_F(AccessQuery, ParametersAreRefusedByName) {
  Add("P", {{kSource, {}, "", "Kunden"},
            {kColumn, 0, "Name"},
            {kParameter, 10, "", "Welcher Ort?"},
            {kWhere, {}, "Ort = [Welcher Ort?] And Nr > [Ab Nummer]"}});
  EXPECT_THAT(ErrorOf("P"), HasSubstr("('Welcher Ort?', 'Ab Nummer')"));
}

TEST_F(AccessQuery, FormFieldsAreRefused) {
  EXPECT_THAT(SqlErrorOf("Select * From Kunden Where Nr = [Forms]![Suche]![Nr]"),
              ::testing::AllOf(HasSubstr("'Forms!Suche!Nr'"), HasSubstr("nur in Access gibt. Bitte")));
}

// Why a query cannot be read.
std::string ReadErrorOf(Connection& connection, const std::string& query) {
  std::string description;
  Trap([&] { connection.OpenRecordset("SELECT * From " + query); },
       [&](const RuntimeError& error) { description = error.Description(); });
  return description;
}

TEST_F(AccessQuery, QueriesWithoutRowsAreRefusedWithTheReason) {
  Add("Kreuz", {{kSource, {}, "", "Kunden"}}, 6, 16);
  Add("Ändern", {{kSource, {}, "", "Kunden"}}, 4, 48);
  Add("Server", {}, 8, 112);
  const ConnectionPtr connection = Open();
  const auto error = [&](const std::string& name) { return ReadErrorOf(*connection, name); };
  EXPECT_THAT(error("Kreuz"), ::testing::AllOf(HasSubstr("'Kreuz'"), HasSubstr("Kreuztabelle"),
                                               HasSubstr("Tabellenerstellungsabfrage")));
  EXPECT_THAT(error("Ändern"), HasSubstr("ändert Daten"));
  EXPECT_THAT(error("Server"), HasSubstr("Datenbankserver"));
}

TEST_F(AccessQuery, WhatCannotBeRunIsToldInSentencesWithAWayOut) {
  Add("Kreuz",
      {{kSource, {}, "", "Kunden"}, {kColumn, 2, "Kunden.Nr"}, {kColumn, 1, "Kunden.Name In ('a','b')"}}, 6,
      16);
  Add("Anlegen", {}, 7, 96);
  Add("Ändern", {{kSource, {}, "", "Kunden"}}, 4, 48);
  Add("Server", {}, 8, 112);
  AddSql("Text", "Transform Sum(Nr) Select Name From Kunden Group By Name Pivot Ort In ('a','b')");
  AddSql("Funktion", "Select MeineFunktion(Nr) From Kunden");
  AddSql("Frage", "Select Nr From Kunden Where Nr > [Ab welcher Nummer?]");
  AddSql("Halb", "Select Nr From Kunden Where (Nr = 1");
  const ConnectionPtr connection = Open();
  for (const std::string name : {"Kreuz", "Anlegen", "Ändern", "Server", "Text", "Funktion", "Frage", "Halb"}) {
    const std::string error = ReadErrorOf(*connection, name);
    EXPECT_THAT(error, ::testing::StartsWith("Die Abfrage '" + name + "' kann nicht gelesen werden: "));
    EXPECT_THAT(error, ::testing::AnyOf(HasSubstr(". Bitte "), HasSubstr(". Nötig ist "))) << name;
    EXPECT_THAT(error, ::testing::EndsWith("."));
    EXPECT_THAT(error, ::testing::Not(HasSubstr(".."))) << name;
  }
}

TEST_F(AccessQuery, MistakesAreToldInWords) {
  builder_.AddLink("Fern", 6, "C:\\b.mdb", "T");
  AddSql("A", "Select MeineFunktion(Nr) From Kunden");
  AddSql("B", "Select * From Fern");
  AddSql("C", "Select Nr From Kunden, Aufträge");
  AddSql("D", "Select Nr From Kunden Where Name > 5");
  AddSql("E", "Select Nr From Kunden Where (Nr = 1");
  AddSql("F", "Select * From Fehlt");
  AddSql("G", "Select Sum(Name) From Kunden");
  AddSql("H", "Select Nr From Kunden In 'C:\\x.mdb'");
  AddSql("I", "Select CInt(Name) From Kunden");
  const ConnectionPtr connection = Open();
  const auto error = [&](const std::string& name) { return ReadErrorOf(*connection, name); };
  EXPECT_THAT(error("A"), ::testing::AllOf(HasSubstr("'A'"), HasSubstr("'meinefunktion'")));
  EXPECT_THAT(error("B"), HasSubstr("nur verknüpft"));
  EXPECT_THAT(error("C"), HasSubstr("mehr als einer Tabelle"));
  EXPECT_THAT(error("D"), HasSubstr("vergleicht einen Text"));
  EXPECT_THAT(error("E"), HasSubstr("endet zu früh"));
  EXPECT_THAT(error("F"), HasSubstr("'Fehlt'"));
  EXPECT_THAT(error("G"), HasSubstr("verlangt Zahlen"));
  EXPECT_THAT(error("H"), HasSubstr("anderen Datei"));
  EXPECT_THAT(error("I"), HasSubstr("Typen"));
}

TEST_F(AccessQuery, ExpressionsThatGrowWithoutEndAreRefused) {
  std::string deep = "Nr";
  for (int i = 0; i < 60; ++i) deep = "(" + deep + " Between 1 And 2)";
  EXPECT_THAT(SqlErrorOf("Select " + deep + " From Kunden"), HasSubstr("zu lang"));
  EXPECT_THAT(SqlErrorOf("Select " + std::string(400, '(') + "1" + std::string(400, ')') + " From Kunden"),
              HasSubstr("verschachtelt"));
  std::string chain = "Nr";
  for (int i = 0; i < 3000; ++i) chain += "+1";
  EXPECT_THAT(SqlErrorOf("Select " + chain + " From Kunden"), HasSubstr("zu lang"));
}

TEST_F(AccessQuery, LongDecimalsPassThroughUnchanged) {
  const auto table = builder_.AddTable("Zahlen", {{"n", 16, 17, 3}});
  builder_.AddRow(table, {std::string(1, '\0') + Le32(0) + Le32(0) + Le32(0x12345678) + Le32(0x9ABCDEF0)});
  builder_.AddRow(table, {std::string(1, '\0') + Le32(0) + Le32(0) + Le32(0) + Le32(1500)});
  EXPECT_EQ(Sql("Select n From Zahlen"), (Rows{{"1311768467463790,32"}, {"1,5"}}));
}

}  // namespace
}  // namespace kestrel
