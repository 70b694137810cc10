// Step 3: the search among its fields, the assignment by name, and what stands in the panel, with their comforts and
// without.
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>

#include "wizard/step3_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::Spin;

class Step3ToolsTest : public testing::Step3Fixture {
 protected:
  using Step3Fixture::Step3Fixture;

  void Open(const std::string& assignments = "") {
    OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\n" + assignments));
  }
  std::vector<std::string> Shown(AssignmentColumn column = kSourceName) const {
    std::vector<std::string> texts;
    for (int row = 0; row < List().model()->rowCount(); ++row) {
      texts.push_back(FromQt(List().model()->index(row, static_cast<int>(column)).data().toString()));
    }
    return texts;
  }
  std::string Row(int row) const {
    const AssignmentPanel panel = ReadAssignment(*session.AssignmentList, row);
    return std::to_string(panel.option) + "|" + panel.import_field + panel.constant + "|" + panel.date_format;
  }
  bool Has(const char* control) const { return Page().findChild<QWidget*>(control) != nullptr; }
};

TEST_F(Step3ToolsTest, WithoutComfortsThePageHasNoneOfIt) {
  Open();
  for (const char* control : {"txtSuche", "cmdNachNamen", "cmdRueckgaengig", "lstBeispiele", "tabStep3",
                              "lstErgebnis", "cmdFormatVorschlag"}) {
    EXPECT_FALSE(Has(control)) << control;
  }
  EXPECT_EQ(Find<QGroupBox>("Frame1").title(), "Zuordnung");
}

// --- Search -------------------------------------------------------------------------------------

class FieldSearch : public Step3ToolsTest {
 protected:
  FieldSearch() : Step3ToolsTest({.field_search = true}) {
    UseFields({{"Name", true}, {"Straße"}, {"Ort"}, {"Ortsteil"}});
  }
};

TEST_F(FieldSearch, FiltersTheListWhileOneTypesWithoutCaseAndHoweverUmlautsAreWritten) {
  Open();
  Type("txtSuche", "oRT");
  EXPECT_THAT(Shown(), ElementsAre("Ort", "Ortsteil"));
  Type("txtSuche", "strasse");
  EXPECT_THAT(Shown(), ElementsAre("Straße"));
  Type("txtSuche", "xyz");
  EXPECT_THAT(Shown(), IsEmpty());
  EXPECT_EQ(Status(), "Kein Feld enthält \"xyz\" im Namen.");
  Type("txtSuche", "");
  EXPECT_EQ(Shown().size(), 4u);
  EXPECT_EQ(Status(), "");
}

TEST_F(FieldSearch, EscapeEmptiesTheBoxAndLeavesThePageOnlyWhereItIsEmpty) {
  Open();
  Type("txtSuche", "ort");
  QTest::keyClick(&Find<QLineEdit>("txtSuche"), Qt::Key_Escape);
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_EQ(Shown().size(), 4u);
  session.SchemaChanged = false;
  QTest::keyClick(&Find<QLineEdit>("txtSuche"), Qt::Key_Escape);
  EXPECT_EQ(PageName(), "");
}

TEST_F(FieldSearch, TheFieldThatIsSelectedStaysWhereItIsVisible) {
  Open("Ort=CONST:Bonn\n");
  ClickLine(2);
  Type("txtSuche", "ort");
  EXPECT_EQ(List().currentIndex().row(), 0);
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtKonstanterWert").text()), "Bonn");
}

TEST_F(FieldSearch, TheFieldOfThePanelStaysThoughTheSearchHidesItAndNothingIsStored) {
  Open("Ort=CONST:Bonn\n");
  ClickLine(2);
  session.SchemaChanged = false;
  EXPECT_EQ(FromQt(Find<QGroupBox>("Frame1").title()), "Zuordnung von Ort");
  Type("txtSuche", "name");
  EXPECT_THAT(Shown(), ElementsAre("Name"));
  EXPECT_FALSE(List().currentIndex().isValid());
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtKonstanterWert").text()), "Bonn");
  EXPECT_FALSE(session.SchemaChanged);
  // What is changed now goes to the field that the panel names.
  Type("txtKonstanterWert", "Ulm");
  Focus("cmdSave");
  EXPECT_EQ(Row(2), "3|Ulm|");
  EXPECT_EQ(Row(0), "1||");
  Type("txtSuche", "");
  EXPECT_EQ(List().currentIndex().row(), 2);
}

TEST_F(FieldSearch, SelectingAFoundFieldStoresTheOneBeforeAndShowsIt) {
  Open("Ortsteil=CONST:Mitte\n");
  Find<QLineEdit>("txtKonstanterWert").setFocus();
  Type("txtKonstanterWert", "Meier");
  Type("txtSuche", "teil");
  ClickLine(0);
  EXPECT_EQ(Row(0), "3|Meier|");
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtKonstanterWert").text()), "Mitte");
  EXPECT_EQ(session.AssignmentList->Bookmark(), 3);
}

TEST_F(FieldSearch, EnterAndArrowDownGoIntoTheListAndStartNoImport) {
  Open();
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Down}) {
    Type("txtSuche", "ortsteil");
    QTest::keyClick(&Find<QLineEdit>("txtSuche"), key);
    EXPECT_EQ(Page().focusWidget(), &List());
    EXPECT_EQ(List().currentIndex().row(), 0);
  }
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(FieldSearch, ControlFGoesToTheBox) {
  Open();
  QTest::keyClick(&List(), Qt::Key_F, Qt::ControlModifier);
  EXPECT_EQ(Page().focusWidget(), &Find<QLineEdit>("txtSuche"));
}

TEST_F(FieldSearch, KeepsTheHiddenColumnsHidden) {
  Open();
  EXPECT_EQ(List().model()->columnCount(), 13);
  EXPECT_TRUE(List().isColumnHidden(kOption));
  EXPECT_FALSE(List().isColumnHidden(kDspDestinationName));
}

// --- Assignment by name -------------------------------------------------------------------------

class AssignmentByName : public Step3ToolsTest {
 protected:
  AssignmentByName() : Step3ToolsTest({.assignment_by_name = true}) {
    UseFields({{"Nachname", true}, {"Stadt"}, {"Datum", false, true}, {"Gruppe"}});
  }
};

TEST_F(AssignmentByName, AssignsWhatFitsSaysHowManyAndNeverOverwrites) {
  Open("Gruppe=CONST:A\n");
  Click("cmdNachNamen");
  EXPECT_THAT(Shown(kDspDestinationName), ElementsAre("«Name»", "«Ort»", "«Datum»", "\"A\""));
  EXPECT_EQ(Status(), "3 Felder nach Namen zugeordnet. \"Rückgängig\" nimmt das zurück.");
  EXPECT_TRUE(session.SchemaChanged);
  EXPECT_EQ(FromQt(Find<QComboBox>("cboImportFeld").currentText()), "Name") << "the panel shows it too";
  Click("cmdNachNamen");
  EXPECT_EQ(Status(), "Kein weiteres Feld passt mit seinem Namen zu einer Spalte der Quelle.");
}

TEST_F(AssignmentByName, WhatStandsInThePanelIsAnAssignmentToo) {
  Open();
  Type("txtKonstanterWert", "Meier");
  Click("cmdNachNamen");
  EXPECT_EQ(Shown(kDspDestinationName)[0], "\"Meier\"");
}

TEST_F(AssignmentByName, RueckgaengigTakesExactlyThatStepBack) {
  Open("Gruppe=CONST:A\n");
  EXPECT_FALSE(Find<QPushButton>("cmdRueckgaengig").isEnabled());
  Click("cmdNachNamen");
  ClickLine(1);
  Type("txtKonstanterWert", "Ulm");
  Click("cmdRueckgaengig");
  EXPECT_THAT(Shown(kDspDestinationName), ElementsAre("", "\"Ulm\"", "", "\"A\""));
  EXPECT_EQ(Status(), "Die Zuordnung nach Namen ist zurückgenommen (2 Felder).");
  EXPECT_FALSE(Find<QPushButton>("cmdRueckgaengig").isEnabled());
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtKonstanterWert").text()), "Ulm");
}

TEST_F(AssignmentByName, OfASourceWithoutUsableColumnsNothingIsAssigned) {
  OpenStep3(TextSpecification(folder.Write("quelle.txt", "Name\r\nMüller\r\n")));
  Click("cmdNachNamen");
  EXPECT_THAT(Shown(kDspDestinationName), ElementsAre("", "", "", ""));
}

TEST_F(AssignmentByName, WorksByTheKeyboard) {
  Open();
  QTest::keyClick(&Page(), Qt::Key_N, Qt::AltModifier);
  EXPECT_EQ(Shown(kDspDestinationName)[1], "«Ort»");
  QTest::keyClick(&Page(), Qt::Key_R, Qt::AltModifier);
  EXPECT_EQ(Shown(kDspDestinationName)[1], "");
}

// --- The panel ----------------------------------------------------------------------------------

class FormatFollowsLine : public Step3ToolsTest {
 protected:
  FormatFollowsLine() : Step3ToolsTest({.format_follows_line = true}) {}
};

TEST_F(FormatFollowsLine, TheFormatBoxIsThatOfTheSelectedLine) {
  Open();
  const auto enabled = [this] { return Find<QComboBox>("cboDatumsFormat").isEnabled(); };
  EXPECT_FALSE(enabled());
  ClickLine(2);
  EXPECT_TRUE(enabled());
  EXPECT_EQ(session.AssignmentList->Bookmark(), 2);
  ClickLine(1);
  EXPECT_FALSE(enabled());
}

TEST_F(Step3ToolsTest, WithoutTheComfortTheFormatBoxIsThatOfTheLineBefore) {
  Open();
  ClickLine(2);
  EXPECT_FALSE(Find<QComboBox>("cboDatumsFormat").isEnabled());
}

class StoredPanel : public Step3ToolsTest {
 protected:
  StoredPanel() : Step3ToolsTest({.format_follows_line = true, .stored_panel = true}) {}

  void ChooseAFormat() {
    Open("Name=FIELD:Name\nDatum=FIELD:Datum\n");
    ClickLine(2);
    ClickLine(1);
    ClickLine(2);
    EXPECT_EQ(Row(2), "2|Datum|");
    Choose("cboDatumsFormat", "tt.mm.jjjj");
  }
};

TEST_F(StoredPanel, TheChecksSeeAFormatThatWasChosenAtLast) {
  ChooseAFormat();
  ui.answers = {Answer::kNo};
  modals.Then("frmQuestionDlg", [this](QWidget& dialog) {
    EXPECT_EQ(Row(2), "2|Datum|tt.mm.jjjj");
    dialog.close();
  });
  Find<QPushButton>("cmdOK").click();
  Spin();
  EXPECT_THAT(ui.boxes, Not(IsEmpty()));
  EXPECT_THAT(ui.boxes.front().text, Not(HasSubstr("Formatierung")));
}

TEST_F(StoredPanel, SavingAndGoingBackTakeItAlong) {
  ChooseAFormat();
  // By the button itself, so that nothing but the press leaves the panel.
  Find<QPushButton>("cmdSave").click();
  EXPECT_EQ(Stored("FieldFormat", "Datum"), "tt.mm.jjjj");
  Choose("cboDatumsFormat", "tt.mm.jj");
  Find<QPushButton>("cmdPrev").click();
  EXPECT_EQ(Stored("FieldFormat", "Datum"), "tt.mm.jj");
}

TEST_F(StoredPanel, APanelThatSaysNothingNewChangesNothing) {
  Open();
  Find<QPushButton>("cmdSave").click();
  EXPECT_TRUE(session.AssignmentList->IsNull(kOption)) << "unset stays unset";
  EXPECT_FALSE(session.SchemaChanged);
}

class WithoutStoredPanel : public Step3ToolsTest {
 protected:
  WithoutStoredPanel() : Step3ToolsTest({.format_follows_line = true}) {}
};

TEST_F(WithoutStoredPanel, TheChecksDoNotSeeIt) {
  Open("Name=FIELD:Name\nDatum=FIELD:Datum\n");
  ClickLine(2);
  ClickLine(1);
  ClickLine(2);
  Choose("cboDatumsFormat", "tt.mm.jjjj");
  Find<QPushButton>("cmdOK").click();
  EXPECT_THAT(ui.boxes.front().text, HasSubstr("Formatierung"));
}

}  // namespace
}  // namespace kestrel
