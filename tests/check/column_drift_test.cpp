#include "check/column_drift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "spec/source_columns.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Names = std::vector<std::string>;

// A specification that remembers the columns; they end with an empty element.
std::string Remembering(const Names& columns, const std::string& specification) {
  std::vector<ProfileEdit> edits;
  AddSourceColumns(columns, edits);
  return EditedProfile(specification, edits);
}

Findings FindDrift(const std::string& specification, const Names& now) {
  Findings findings;
  CheckColumnDrift(ProfileImage(specification), now, findings);
  return findings;
}

// What is told of columns that were `before` and are `now`; each ends with an empty element.
Names Drift(const Names& before, const Names& now, const std::string& specification = "") {
  Names lines;
  for (const Finding& finding : FindDrift(Remembering(before, specification), now)) {
    const char* severity = finding.severity == Severity::kError     ? "Fehler "
                           : finding.severity == Severity::kWarning ? "Warnung "
                                                                    : "Hinweis ";
    lines.push_back(severity + finding.place.key + ": " + finding.Message());
  }
  return lines;
}

TEST(ColumnDrift, TheSameColumnsHaveNone) {
  EXPECT_THAT(Drift({"Name", "Ort", ""}, {"Name", "Ort", ""}), IsEmpty());
  EXPECT_THAT(Drift({"Имя", "Ort", ""}, {"Имя", "Ort", ""}), IsEmpty()) << "the file cannot hold it";
  EXPECT_THAT(Drift({"Name", "Name", ""}, {"Name", "Name", ""}), IsEmpty()) << "two of one name";
}

TEST(ColumnDrift, WithoutAMemoryOrASourceThereIsNone) {
  EXPECT_THAT(Drift({""}, {"Name", "Ort", ""}), IsEmpty());
  EXPECT_THAT(Drift({"Name", ""}, {""}), IsEmpty()) << "that is told otherwise";
  EXPECT_THAT(Drift({"Name", ""}, {}), IsEmpty());
}

TEST(ColumnDrift, ARenamedColumnIsAskedForByTheNearestNewName) {
  EXPECT_THAT(Drift({"Name", "Strasse", "Ort", ""}, {"Name", "Straße", "Ort", ""}),
              ElementsAre("Warnung 2: Die Spalte 'Strasse' heißt jetzt 'Straße'?"));
}

TEST(ColumnDrift, ANameThatWasThereBeforeIsNoNewName) {
  EXPECT_THAT(Drift({"Name1", "Name2", ""}, {"Name1", ""}),
              ElementsAre("Warnung 2: Die Spalte 'Name2' fehlt jetzt."));
}

TEST(ColumnDrift, ANewNameStandsForOneMissingColumnOnly) {
  EXPECT_THAT(Drift({"Name1", "Name2", ""}, {"Name3", ""}),
              ElementsAre("Warnung 1: Die Spalte 'Name1' heißt jetzt 'Name3'?",
                          "Warnung 2: Die Spalte 'Name2' fehlt jetzt."));
}

TEST(ColumnDrift, ANewNameStandsForTheMissingColumnThatItIsNearestTo) {
  EXPECT_THAT(Drift({"Name0", "Name1", ""}, {"Name1a", ""}),
              ElementsAre("Warnung 1: Die Spalte 'Name0' fehlt jetzt.",
                          "Warnung 2: Die Spalte 'Name1' heißt jetzt 'Name1a'?"));
}

TEST(ColumnDrift, AnAssignedColumnThatIsMissingIsAnErrorWithItsFields) {
  EXPECT_THAT(
      Drift({"Name", "Strasse", ""}, {"Name", "Straße", ""},
            "[FieldAssignments]\r\nBez1=FIELD:Name\r\nStrasse=FIELD:Strasse\r\nBez2=FIELD:Strasse\r\n"),
      ElementsAre("Fehler 2: Die Spalte 'Strasse' heißt jetzt 'Straße'? Sie ist zugeordnet: Strasse, Bez2. "
                  "Ordnen Sie neu zu."));
}

TEST(ColumnDrift, TheSecondOfTwoColumnsOfOneNameIsReadByNoField) {
  EXPECT_THAT(Drift({"Name", "Name", ""}, {"Name", "Name2", ""}, "[FieldAssignments]\r\nBez1=FIELD:Name\r\n"),
              ElementsAre("Warnung 2: Die Spalte 'Name' heißt jetzt 'Name2'?"));
}

TEST(ColumnDrift, TheNewNameTakesThePlaceOfTheMissingOneWhereItIsWanted) {
  const std::string before =
      Remembering({"Name", "Strasse", "Ort", ""},
                  "[FieldAssignments]\r\nBez1=FIELD:Name\r\nStrasse=FIELD:Strasse\r\nBez2=FIELD:Strasse:x\r\n"
                  "Bez3=CONST:Strasse\r\n");
  const Names now = {"Name", "Straße", "Ort", ""};
  const Findings drift = FindDrift(before, now);
  ASSERT_EQ(drift.size(), 1u);
  EXPECT_EQ(drift[0].replacement, "Straße");
  const std::string after = EditedProfile(before, ReplacementEdits(ProfileImage(before), drift));
  const ProfileImage image(after);
  EXPECT_EQ(image.Find("FieldAssignments", "Bez1"), "FIELD:Name");
  EXPECT_EQ(image.Find("FieldAssignments", "Strasse"), "FIELD:Straße");
  EXPECT_EQ(image.Find("FieldAssignments", "Bez2"), "FIELD:Straße");
  EXPECT_EQ(image.Find("FieldAssignments", "Bez3"), "CONST:Strasse");
  EXPECT_EQ(RememberedSourceColumns(image), (Names{"Name", "Straße", "Ort"}));
  EXPECT_TRUE(FindDrift(after, now).empty());
}

TEST(ColumnDrift, NothingIsReplacedWhereNoFieldReadsTheColumnOrNoFileCouldHoldTheNewName) {
  const std::string assigned = "[FieldAssignments]\r\nBez1=FIELD:Strasse\r\n";
  for (const char* name : {"Strasse:", "Strasse ", "Strass\xD0\xB5"}) {
    const Findings drift = FindDrift(Remembering({"Strasse", ""}, assigned), {name, ""});
    ASSERT_EQ(drift.errors(), 1u) << name;
    EXPECT_EQ(drift[0].replacement, "") << name;
    EXPECT_THAT(ReplacementEdits(ProfileImage(assigned), drift), IsEmpty());
  }
  EXPECT_EQ(FindDrift(Remembering({"Strasse", ""}, ""), {"Straße", ""})[0].replacement, "");
}

TEST(ColumnDrift, AnotherOrderIsNoted) {
  EXPECT_THAT(
      Drift({"A", "B", "C", ""}, {"C", "A", "B", ""}),
      ElementsAre("Hinweis : Die Spalten der Datenquelle stehen in anderer Reihenfolge. Zugeordnet wird nach "
                  "Namen; der Import bleibt, wie er war."));
}

TEST(ColumnDrift, NewColumnsAmongTheOldOnesAreNoOtherOrder) {
  EXPECT_THAT(Drift({"A", "B", "C", ""}, {"X", "A", "Y", "B", "C", "Z", ""}), IsEmpty());
}

TEST(ColumnDrift, WithoutNamesAnotherNumberOfColumnsIsTold) {
  EXPECT_THAT(
      Drift({"Feld01", "Feld02", ""}, {"Feld01", "Feld02", "Feld03", ""}),
      ElementsAre("Warnung : Die Datenquelle hat jetzt 3 statt 2 Spalten; ohne Kopfzeile kann jede an einer "
                  "anderen Stelle stehen. Prüfen Sie die Zuordnungen."));
}

}  // namespace
}  // namespace kestrel
