// The record set that GetFields delivers.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kestrel/import_class.h"
#include "support/expect_error.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> RowOf(const Recordset& list) {
  std::vector<std::string> texts;
  for (std::size_t column = 0; column < list.ColumnCount(); ++column) texts.emplace_back(list.TextAt(column));
  return texts;
}

TEST(FieldList, HasTheSevenColumnsOfTheContract) {
  const auto list = FieldListOf({});
  std::vector<std::string> names;
  std::vector<ColumnType> types;
  for (std::size_t column = 0; column < list->ColumnCount(); ++column) {
    names.push_back(list->ColumnAt(column).name);
    types.push_back(list->ColumnAt(column).type);
  }
  EXPECT_THAT(names, ElementsAre("FieldName", "Obligation", "RowSourceTyp", "RowSource", "Size", "FieldTyp",
                                 "DateField"));
  EXPECT_THAT(types, ElementsAre(ColumnType::kText, ColumnType::kBool, ColumnType::kInt16, ColumnType::kText,
                                 ColumnType::kInt16, ColumnType::kText, ColumnType::kBool));
  EXPECT_EQ(list->RecordCount(), 0);
}

TEST(FieldList, HasARowForEachFieldAndStandsAtTheFirst) {
  const auto list = FieldListOf(std::vector<FieldListRow>{
      {.name = "Anrede", .size = 20, .row_source_typ = 1, .row_source = "1*Herr#2*Frau"},
      {.name = "Geburt", .type = "TEXT", .obligation = true, .date = true}});
  ASSERT_EQ(list->RecordCount(), 2);
  EXPECT_THAT(RowOf(*list), ElementsAre("Anrede", "Falsch", "1", "1*Herr#2*Frau", "20", "VARCHAR", "Falsch"));
  list->MoveNext();
  EXPECT_THAT(RowOf(*list), ElementsAre("Geburt", "Wahr", "0", "", "0", "TEXT", "Wahr"));
}

TEST(FieldList, RefusesASizeBeyond16Bits) {
  EXPECT_ERROR(FieldListOf(std::vector<FieldListRow>({{.name = "Notiz", .size = 40000}})),
               ErrorNumber::kOverflow);
}

}  // namespace
}  // namespace kestrel
