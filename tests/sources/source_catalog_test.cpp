#include "sources/source_catalog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kestrel/open_connection.h"
#include "kestrel/runtime_error.h"
#include "sources/scripted_connection.h"
#include "sources/source_kind.h"
#include "support/expect_error.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::ScriptedConnection;
using Names = std::vector<std::string>;

TEST(FillTableList, ListsTablesInTheProvidersOrderAndThenViews) {
  ScriptedConnection connection;
  connection.tables = {{"V", "VIEW"}, {"B", "TABLE"}, {"sys", "SYSTEM TABLE"}, {"A", "TABLE"}, {"v2", "View"}};
  EXPECT_EQ(FillTableList(connection), (Names{"B", "A", "V"}));
}

TEST(FillTableList, ListsARealDatabase) {
  const testing::TempFolder folder;
  const ConnectionPtr connection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("a.sqlite"));
  connection->Execute("CREATE TABLE B (x TEXT)");
  connection->Execute("CREATE VIEW A AS SELECT x FROM B");
  EXPECT_EQ(FillTableList(*connection), (Names{"B", "A"}));
}

TEST(FillSheetList, ListsEverythingInCatalogOrder) {
  ScriptedConnection connection;
  connection.tables = {{"Kunden$", "SYSTEM TABLE"}, {"Bereich", "TABLE"}, {"V", "VIEW"}, {"x", ""}};
  EXPECT_EQ(FillSheetList(connection), (Names{"Kunden$", "Bereich", "V", "x"}));
}

TEST(FillSheetList, HandsOnWhatTheCatalogRaises) {
  ScriptedConnection connection;
  connection.failure = RuntimeError(ErrorNumber::kDatabase);
  EXPECT_ERROR(FillSheetList(connection), ErrorNumber::kDatabase);
  EXPECT_ERROR(FillTableList(connection), ErrorNumber::kDatabase);
}

class TestList final : public SelectableList {
 public:
  struct Entry {
    std::string text;
    std::int64_t item_data = 0;
  };
  explicit TestList(std::vector<Entry> entries) : entries_(std::move(entries)) {}

  int Count() const override { return static_cast<int>(entries_.size()); }
  void Select(int index) override {
    if (locked) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
    selected = index;
  }
  std::string SelectedText() const override { return entries_[static_cast<std::size_t>(selected)].text; }
  std::int64_t ItemData(int index) const override {
    return entries_[static_cast<std::size_t>(index)].item_data;
  }

  int selected = -1;
  bool locked = false;

 private:
  std::vector<Entry> entries_;
};

TEST(SelectListEntry, ComparesWithoutCase) {
  TestList list({{"ARTIKEL"}, {"KUNDEN"}, {"LAGER"}});
  SelectListEntry(list, "kunden", 0);
  EXPECT_EQ(list.selected, 1);
}

TEST(SelectListEntry, ComparesUmlautsWithoutCase) {
  TestList list({{"a"}, {"HÄNDLER"}, {"b"}});
  SelectListEntry(list, "Händler", 0);
  EXPECT_EQ(list.selected, 1);
}

TEST(SelectListEntry, LeavesTheLastEntrySelectedForATextThatIsNotThere) {
  TestList list({{"ARTIKEL"}, {"KUNDEN"}, {"LAGER"}});
  SelectListEntry(list, "fehlt", 0);
  EXPECT_EQ(list.selected, 2);
}

TEST(SelectListEntry, DoesNothingOnAnEmptyList) {
  TestList list({});
  SelectListEntry(list, "kunden", 0);
  SelectListEntry(list, "", -1);
  EXPECT_EQ(list.selected, -1);
}

TEST(SelectListEntry, LooksForItemDataWhereTheTextIsEmpty) {
  TestList list({{"a", 3}, {"b", -1}, {"c", -1}});
  SelectListEntry(list, "", -1);
  EXPECT_EQ(list.selected, 1);
  SelectListEntry(list, "", 99);
  EXPECT_EQ(list.selected, 1);
}

TEST(SelectListEntry, IgnoresErrorsOfTheList) {
  TestList list({{"a"}});
  list.locked = true;
  SelectListEntry(list, "a", 0);
  EXPECT_EQ(list.selected, -1);
}

TEST(ListedTableName, OnlyDBaseTablesLoseTheirExtension) {
  const SourceKinds kinds;
  const SourceKind& dbase = *kinds.Find("dBase-Datenbank");
  EXPECT_EQ(ListedTableName(dbase, "kunden.dbf"), "kunden");
  EXPECT_EQ(ListedTableName(dbase, "KUNDEN.DBF"), "KUNDEN");
  EXPECT_EQ(ListedTableName(dbase, "KUNDEN"), "KUNDEN");
  EXPECT_EQ(ListedTableName(dbase, ".dbf"), ".dbf");
  EXPECT_EQ(ListedTableName(*kinds.Find("Microsoft Access-Datenbanken"), "alt.dbf"), "alt.dbf");
}

}  // namespace
}  // namespace kestrel
