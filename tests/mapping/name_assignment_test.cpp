// Columns assigned to the fields that their names fit, and taken back.
#include "mapping/name_assignment.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class NameAssignmentTest : public ::testing::Test {
 protected:
  void Add(const char* field) {
    list->AddNew();
    list->SetText(kSourceName, field);
    list->SetText(kInfo, "");
  }
  void Add(const char* field, const AssignmentPanel& panel) {
    Add(field);
    StoreCurrentAssignment(*list, panel);
  }
  // Field, option, name, translation switch and format of each row; unset values as "-".
  std::vector<std::string> Rows() {
    std::vector<std::string> rows;
    const std::shared_ptr<MemoryRecordset> copy = CopyAssignments(*list);
    for (; !copy->IsEof(); copy->MoveNext()) {
      std::string row;
      for (const AssignmentColumn column : {kSourceName, kOption, kDestinationName, kTranslate, kFormat}) {
        row += (row.empty() ? "" : "|") + (copy->IsNull(column) ? "-" : std::string(copy->TextAt(column)));
      }
      rows.push_back(row);
    }
    return rows;
  }

  std::shared_ptr<MemoryRecordset> list = CreateAssignmentList();
};

TEST_F(NameAssignmentTest, GivesOpenFieldsTheColumnsOfTheirNames) {
  Add("Name");
  Add("Strasse", {.option = kNotAssigned});
  Add("Rabatt");
  list->MoveFirst();
  EXPECT_EQ(AssignByName(*list, {"Straße", "Name", "Umsatz"}).rows.size(), 2u);
  EXPECT_THAT(Rows(), ElementsAre("Name|2|Name|0|", "Strasse|2|Straße|0|", "Rabatt|-|-|-|-"));
  EXPECT_EQ(list->Bookmark(), 0);
}

TEST_F(NameAssignmentTest, NeverOverwritesAnAssignment) {
  Add("Name", {.option = kConstantValue, .constant = ""});
  Add("Ort", {.option = kImportField, .import_field = "Stadt"});
  EXPECT_THAT(AssignByName(*list, {"Name", "Ort", "Stadt"}).rows, IsEmpty());
  EXPECT_THAT(Rows(), ElementsAre("Name|3||-|-", "Ort|2|Stadt|0|"));
}

TEST_F(NameAssignmentTest, APersonsNamesOverwriteNoAssignment) {
  Add("Bez1", {.option = kConstantValue, .constant = "Familie"});
  Add("Bez2");
  EXPECT_THAT(AssignByName(*list, {"Vorname", "Nachname"}).rows, IsEmpty());
  EXPECT_THAT(Rows(), ElementsAre("Bez1|3|Familie|-|-", "Bez2|-|-|-|-"));
}

TEST_F(NameAssignmentTest, APersonsNamesGoNowhereElseWhereAFieldOfTheirsIsAssigned) {
  Add("Bez1");
  Add("Nachname", {.option = kConstantValue, .constant = "Familie"});
  EXPECT_THAT(AssignByName(*list, {"Nachname"}).rows, IsEmpty());
}

TEST_F(NameAssignmentTest, AColumnThatIsAssignedServesNoSynonym) {
  Add("Bez1", {.option = kImportField, .import_field = "Stadt"});
  Add("Ort");
  EXPECT_THAT(AssignByName(*list, {"Stadt"}).rows, IsEmpty());
}

TEST_F(NameAssignmentTest, KeepsTheTranslationAndTheFormatThatAFieldHad) {
  Add("Datum", {.option = kNotAssigned});
  list->SetValue(kTranslate, 1);
  list->SetText(kFormat, "ttmmjj");
  AssignByName(*list, {"Datum"});
  EXPECT_THAT(Rows(), ElementsAre("Datum|2|Datum|1|ttmmjj"));
  list->MoveFirst();
  EXPECT_EQ(list->TextAt(kInfo), kTranslatedRemark);
}

TEST_F(NameAssignmentTest, IsTakenBackToWhatTheRowsHeld) {
  Add("Name");
  Add("Ort", {.option = kNotAssigned});
  const std::vector<std::string> before = Rows();
  const NameAssignment step = AssignByName(*list, {"Name", "Ort"});
  EXPECT_NE(Rows(), before);
  EXPECT_THAT(TakeBack(*list, step), ElementsAre(0, 1));
  EXPECT_EQ(Rows(), before) << "unset stays unset";
  EXPECT_THAT(TakeBack(*list, step), IsEmpty());
}

TEST_F(NameAssignmentTest, ARowThatWasChangedSinceIsNotTakenBack) {
  Add("Name");
  Add("Datum");
  Add("Ort");
  const NameAssignment step = AssignByName(*list, {"Name", "Datum", "Ort"});
  list->GoTo(0);
  StoreCurrentAssignment(*list, {.option = kConstantValue, .constant = "x"});
  list->GoTo(1);
  StoreCurrentAssignment(*list, {.option = kImportField, .import_field = "Datum", .date_format = "ttmmjj"});
  EXPECT_THAT(TakeBack(*list, step), ElementsAre(2));
  EXPECT_THAT(Rows(), ElementsAre("Name|3|x|0|", "Datum|2|Datum|0|ttmmjj", "Ort|-|-|-|-"));
}

TEST_F(NameAssignmentTest, AColumnWhoseNameIsTooLongForTheListIsLeftOut) {
  const std::string name(255, 'x');
  Add(name.c_str());
  Add("Ort");
  EXPECT_EQ(AssignByName(*list, {name, "Ort"}).rows.size(), 1u);
}

TEST_F(NameAssignmentTest, ACopyHoldsAllRowsOrOneAndLeavesTheListWhereItStands) {
  Add("Name");
  Add("Ort", {.option = kConstantValue, .constant = "Bonn"});
  const auto one = CopyAssignments(*list, 1);
  EXPECT_EQ(one->RecordCount(), 1);
  EXPECT_EQ(one->TextAt(kDestinationName), "Bonn");
  EXPECT_TRUE(CopyAssignments(*list)->IsNull(kOption));
  EXPECT_EQ(list->Bookmark(), 1);
}

}  // namespace
}  // namespace kestrel
