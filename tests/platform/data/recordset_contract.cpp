// What the record set of every source promises, whether it comes from a connection or not.
#include <gmock/gmock.h>

#include "platform/data/connection_contract.h"
#include "support/expect_error.h"

namespace kestrel::testing {

using ::testing::ElementsAre;

// Opens the parameter's table, or skips the test. `opener` opens it again.
#define OPEN_OR_SKIP(variable, table)                                            \
  const std::function<RecordsetPtr()> opener = GetParam().Opener(folder, table); \
  if (opener == nullptr) GTEST_SKIP() << GetParam().name << ": not possible";    \
  const RecordsetPtr variable = opener()

namespace {

const ContractTable kTowns{
    "Orte", {"PLZ", "Ort", "Land"}, {{"50667", "Köln", "D"}, {"1010", "Wien", "A"}, {"80331", "München", "D"}}};

}  // namespace

TEST_P(RecordsetContract, ColumnsComeInTheOrderOfTheTable) {
  OPEN_OR_SKIP(rows, kTowns);
  ASSERT_EQ(rows->ColumnCount(), 3U);
  EXPECT_EQ(rows->ColumnName(0), GetParam().told_name("PLZ"));
  EXPECT_EQ(rows->ColumnName(1), GetParam().told_name("Ort"));
  EXPECT_EQ(rows->ColumnName(2), GetParam().told_name("Land"));
  EXPECT_EQ(rows->FindColumn(GetParam().told_name("Ort")), 1U);
  EXPECT_EQ(rows->FindColumn("oRT"), std::nullopt);
  EXPECT_EQ(rows->RequireColumn(GetParam().told_name("Land")), 2U);
  EXPECT_ERROR(rows->RequireColumn("Telefon"), ErrorNumber::kColumnNotFound);
  EXPECT_ERROR(rows->ColumnName(3), ErrorNumber::kSubscriptOutOfRange);
}

TEST_P(RecordsetContract, RowsAreWalkedOnceToTheEnd) {
  OPEN_OR_SKIP(rows, kTowns);
  EXPECT_FALSE(rows->IsBof());
  std::vector<std::string> towns;
  for (; !rows->IsEof(); rows->MoveNext()) towns.emplace_back(rows->TextAt(1));
  EXPECT_THAT(towns, ElementsAre("Köln", "Wien", "München"));
  EXPECT_FALSE(rows->IsBof());
  EXPECT_ERROR(rows->MoveNext(), ErrorNumber::kNoCurrentRecord);
}

TEST_P(RecordsetContract, TheCountIsExactWhereverTheSetStands) {
  OPEN_OR_SKIP(rows, kTowns);
  EXPECT_EQ(rows->RecordCount(), 3);
  EXPECT_EQ(rows->TextAt(1), "Köln");
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(1), "Wien");
  EXPECT_EQ(rows->RecordCount(), 3);
}

TEST_P(RecordsetContract, MoveFirstGoesBackFromAnywhere) {
  OPEN_OR_SKIP(rows, kTowns);
  rows->MoveFirst();
  EXPECT_EQ(rows->TextAt(1), "Köln");
  while (!rows->IsEof()) rows->MoveNext();
  rows->MoveFirst();
  EXPECT_EQ(rows->TextAt(1), "Köln");
  EXPECT_FALSE(rows->IsEof());
  EXPECT_EQ(rows->RecordCount(), 3);
}

TEST_P(RecordsetContract, BookmarksLeadBack) {
  OPEN_OR_SKIP(rows, kTowns);
  rows->MoveNext();
  const std::int64_t second = rows->Bookmark();
  rows->MoveNext();
  rows->GoTo(second);
  EXPECT_EQ(rows->TextAt(1), "Wien");
  rows->GoTo(second + 1);
  EXPECT_EQ(rows->TextAt(1), "München");
  EXPECT_ERROR(rows->GoTo(second + 2), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows->GoTo(-1), ErrorNumber::kNoCurrentRecord);
  while (!rows->IsEof()) rows->MoveNext();
  EXPECT_ERROR(rows->Bookmark(), ErrorNumber::kNoCurrentRecord);
}

TEST_P(RecordsetContract, AnEmptyTableIsAtBothEnds) {
  OPEN_OR_SKIP(rows, (ContractTable{"Leer", {"Name", "Ort"}, {}}));
  EXPECT_TRUE(rows->IsBof());
  EXPECT_TRUE(rows->IsEof());
  EXPECT_EQ(rows->RecordCount(), 0);
  EXPECT_EQ(rows->ColumnCount(), 2U);
  rows->MoveFirst();
  EXPECT_TRUE(rows->IsBof());
  EXPECT_TRUE(rows->IsEof());
  EXPECT_ERROR(rows->TextAt(0), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows->IsNull(0), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows->MoveNext(), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows->Bookmark(), ErrorNumber::kNoCurrentRecord);
}

TEST_P(RecordsetContract, OneColumnAndOneRow) {
  OPEN_OR_SKIP(rows, (ContractTable{"Eins", {"Name"}, {{"Meier"}}}));
  EXPECT_EQ(rows->ColumnCount(), 1U);
  EXPECT_EQ(rows->RecordCount(), 1);
  EXPECT_EQ(rows->TextAt(0), "Meier");
  EXPECT_ERROR(rows->TextAt(1), ErrorNumber::kSubscriptOutOfRange);
}

TEST_P(RecordsetContract, MoreThanTwoHundredColumns) {
  ContractTable table{"Breit", {}, {{}}};
  for (int i = 1; i <= 240; ++i) {
    table.columns.push_back("Spalte" + std::to_string(i));
    table.rows[0].emplace_back("Wert" + std::to_string(i));
  }
  OPEN_OR_SKIP(rows, table);
  ASSERT_EQ(rows->ColumnCount(), 240U);
  EXPECT_EQ(rows->ColumnName(239), GetParam().told_name("Spalte240"));
  EXPECT_EQ(rows->TextAt(0), "Wert1");
  EXPECT_EQ(rows->TextAt(199), "Wert200");
  EXPECT_EQ(rows->TextAt(239), GetParam().fills_all_columns ? "Wert240" : "");
}

TEST_P(RecordsetContract, NullIsNotTheEmptyText) {
  OPEN_OR_SKIP(rows, (ContractTable{"Nulls", {"Name", "Ort"}, {{std::nullopt, ""}}}));
  EXPECT_EQ(rows->IsNull(0), GetParam().keeps_nulls);
  EXPECT_EQ(rows->TextAt(0), "");
  EXPECT_EQ(rows->ValueAt(0).IsNull(), GetParam().keeps_nulls);
  EXPECT_FALSE(rows->IsNull(1));
  EXPECT_EQ(rows->TextAt(1), "");
  EXPECT_EQ(rows->ValueAt(1), Value(""));
}

TEST_P(RecordsetContract, UmlautsAndTheEuroSignArrive) {
  OPEN_OR_SKIP(rows, (ContractTable{"Zeichen", {"Text"}, {{"ÄÖÜäöüß € é „Zitat“"}}}));
  EXPECT_EQ(rows->TextAt(0), "ÄÖÜäöüß € é „Zitat“");
}

TEST_P(RecordsetContract, ViewsOfOneRowStayUntilTheNextMove) {
  OPEN_OR_SKIP(rows, kTowns);
  const std::string_view code = rows->TextAt(0);
  const std::string_view town = rows->TextAt(1);
  EXPECT_EQ(rows->TextAt(2), "D");
  EXPECT_EQ(rows->TextAt(0), code);
  EXPECT_EQ(code, "50667");
  EXPECT_EQ(town, "Köln");
}

TEST_P(RecordsetContract, TheSameTableOpenTwiceIsWalkedIndependently) {
  OPEN_OR_SKIP(first, kTowns);
  const RecordsetPtr second = opener();
  first->MoveNext();
  EXPECT_EQ(first->TextAt(1), "Wien");
  EXPECT_EQ(second->TextAt(1), "Köln");
}

TEST_P(RecordsetContract, ATableIsOpenedAnewAfterItWasClosed) {
  OPEN_OR_SKIP(rows, kTowns);
  rows->MoveNext();
  for (int i = 0; i < 3; ++i) {
    RecordsetPtr again = opener();
    EXPECT_EQ(again->TextAt(1), "Köln");
    again.reset();
  }
  EXPECT_EQ(rows->TextAt(1), "Wien");
}

}  // namespace kestrel::testing
