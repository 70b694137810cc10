// Step 3: loading, the panel against the list, and what leaving a control stores.
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QRadioButton>
#include <QTableView>

#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::Spin;

class Step3Test : public testing::WizardFixture {
 protected:
  void Open(const std::string& assignments) {
    OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\n" + assignments));
  }
  QTableView& List() const { return Find<QTableView>("TDBImpList"); }
  // A line as the list shows it: field, assignment, remark.
  std::string Line(int row) const {
    const auto text = [&](AssignmentColumn column) {
      return FromQt(List().model()->index(row, static_cast<int>(column)).data().toString());
    };
    return text(kSourceName) + "|" + text(kDspDestinationName) + "|" + text(kInfo);
  }
  // Selects a line with the mouse.
  void ClickLine(int row) {
    const QRect cell = List().visualRect(List().model()->index(row, 0));
    QTest::mouseClick(List().viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
    Spin();
  }
  // The stored row, unset values as "-": option, name, translation switch, format.
  std::string Row(int row) const {
    MemoryRecordset& list = *session.AssignmentList;
    const std::int64_t current = list.Bookmark();
    list.GoTo(row);
    std::string text;
    for (const AssignmentColumn column : {kOption, kDestinationName, kTranslate, kFormat}) {
      text += (text.empty() ? "" : "|") + (list.IsNull(column) ? "-" : std::string(list.TextAt(column)));
    }
    list.GoTo(current);
    return text;
  }
  std::int64_t CurrentRow() const { return session.AssignmentList->Bookmark(); }
  std::string Option() const {
    for (const char* option : {"optKeineZuweisung", "optImportFeld", "optKonstanterWert"}) {
      if (Find<QRadioButton>(option).isChecked()) return option;
    }
    return "";
  }
  QComboBox& Combo(const char* name) const { return Find<QComboBox>(name); }
  std::string Constant() const { return FromQt(Find<QLineEdit>("txtKonstanterWert").text()); }
  bool Enabled(const char* control) const { return Find<QWidget>(control).isEnabled(); }
  std::vector<std::string> Entries(const char* box) const {
    std::vector<std::string> entries;
    for (int i = 0; i < Combo(box).count(); ++i) entries.push_back(FromQt(Combo(box).itemText(i)));
    return entries;
  }
};

// --- Loading ---

TEST_F(Step3Test, TheListShowsFieldAssignmentAndRemarkAndHidesTheRest) {
  Open("Name=FIELD:Name\nOrt=CONST:Bonn\nDatum=NOTASSIGNED\n");
  EXPECT_EQ(Line(0), "Name|«Name»|");
  EXPECT_EQ(Line(1), "Ort|\"Bonn\"|");
  EXPECT_EQ(Line(2), "Datum||");
  std::vector<std::string> headings;
  for (int column = 0; column < List().model()->columnCount(); ++column) {
    if (List().isColumnHidden(column)) continue;
    headings.push_back(FromQt(List().model()->headerData(column, Qt::Horizontal).toString()));
  }
  EXPECT_THAT(headings, ElementsAre("Feld", "Zugewiesen zu", ""));
  EXPECT_EQ(List().model()->columnCount(), 13);
}

TEST_F(Step3Test, TheColumnsHaveTheirWidthsAndTheAssignmentTakesWhatIsLeft) {
  Open("");
  EXPECT_EQ(List().columnWidth(kSourceName), 2264 / 15);
  EXPECT_EQ(List().columnWidth(kInfo), 1544 / 15);
  EXPECT_GE(List().columnWidth(kDspDestinationName), 2564 / 15);
}

TEST_F(Step3Test, OnlyTheNameOfAMandatoryFieldIsBold) {
  Open("");
  const auto bold = [&](int row, AssignmentColumn column) {
    const QVariant font = List().model()->index(row, static_cast<int>(column)).data(Qt::FontRole);
    return font.isValid() && font.value<QFont>().bold();
  };
  EXPECT_TRUE(bold(0, kSourceName));
  EXPECT_FALSE(bold(0, kDspDestinationName));
  EXPECT_FALSE(bold(0, kInfo));
  EXPECT_FALSE(bold(1, kSourceName));
}

TEST_F(Step3Test, TheDateFormatsAreOfferedBehindAnEmptyEntry) {
  Open("");
  EXPECT_THAT(Entries("cboDatumsFormat"), ElementsAre("", "tt.mm.jjjj", "tt.mm.jj", "ttmmjjjj", "ttmmjj",
                                                      "jjjj.mm.tt", "jj.mm.tt", "jjjjmmtt", "jjmmtt"));
  EXPECT_FALSE(Combo("cboDatumsFormat").isEditable());
}

TEST_F(Step3Test, TheSourceColumnsAreOfferedBehindAnEmptyEntry) {
  Open("");
  EXPECT_THAT(Entries("cboImportFeld"), ElementsAre("", "Name", "Ort", "Datum", "Gruppe"));
  EXPECT_TRUE(Combo("cboImportFeld").isEditable());
}

TEST_F(Step3Test, AColumnWithoutANameInThirdPositionIsOfferedAsFeld03) {
  const std::string source = folder.Write("quelle.txt", "Name;Ort;;Gruppe\r\na;b;c;d\r\n");
  OpenStep3(TextSpecification(source));
  EXPECT_THAT(Entries("cboImportFeld"), ElementsAre("", "Name", "Ort", "Feld03", "Gruppe"));
}

const char kNoFieldInformation[] =
    "Die Feldinformation konnten nicht ermittelt werden. Möglicherweise wird diese Datenquelle nicht "
    "unterstützt "
    "bzw. sind die Einstellungen falsch ausgewählt worden!";

TEST_F(Step3Test, ASourceWithOneColumnShowsTheMessageAndOffersNoColumn) {
  const std::string source = folder.Write("quelle.txt", "Name\r\nMüller\r\n");
  OpenStep3(TextSpecification(source));
  EXPECT_THAT(ui.boxes, ElementsAre(Information(kNoFieldInformation)));
  EXPECT_THAT(Entries("cboImportFeld"), IsEmpty());
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_EQ(Line(0), "Name||");
}

TEST_F(Step3Test, WithoutASettingsDialogEinstellungenIsDisabled) {
  import_class->Get("HasConfig", false);
  Open("");
  EXPECT_FALSE(Enabled("cmdOptions"));
}

TEST_F(Step3Test, LoadingAsksTheImportClassInOrder) {
  OpenStep2(TextSpecification(WriteSource()));
  import_class->Forget();
  Click("cmdNext");
  EXPECT_THAT(CallLines(), ElementsAre("Get HasConfig", "Call GetFields()", "Get ErrorCode"));
}

TEST_F(Step3Test, AFailingGetFieldsOpensThePageAndSaysWhyInTheStatusLine) {
  import_class->Raises("GetFields", RuntimeError(4711, "Tabelle fehlt"));
  Open("");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_EQ(List().model()->rowCount(), 0);
  EXPECT_TRUE(Find<QLabel>("lblStatus").isVisible());
  EXPECT_EQ(FromQt(Find<QLabel>("lblStatus").text()), "Tabelle fehlt");
  EXPECT_THAT(ui.boxes, IsEmpty());
  // Nothing can be stored, and nothing crashes.
  Focus("cboImportFeld");
  Focus("txtKonstanterWert");
  modals.Then("frmTransTbl", [](QWidget& dialog) { dialog.close(); });
  Click("cmdKonstanterWert");
}

TEST_F(Step3Test, TheFirstLineIsShown) {
  Open("Name=FIELD:Name\n");
  EXPECT_EQ(List().currentIndex().row(), 0);
  EXPECT_EQ(CurrentRow(), 0);
  EXPECT_EQ(Option(), "optImportFeld");
  EXPECT_EQ(FromQt(Combo("cboImportFeld").currentText()), "Name");
  EXPECT_FALSE(session.SchemaChanged);
}

// --- Showing ---

TEST_F(Step3Test, AnImportFieldIsShownWithSwitchAndFormat) {
  UseFields({{"Name"}, {"Datum", false, true}});
  Open(
      "Datum=FIELD:Datum\n[FieldTranslation]\nDatum=1\n[Translation_Datum]\nx=y\n[FieldFormat]\nDatum="
      "ttmmjj\n");
  EXPECT_EQ(Line(1), "Datum|«Datum»|-wird übersetzt-");
  ClickLine(1);
  EXPECT_EQ(Option(), "optImportFeld");
  EXPECT_EQ(FromQt(Combo("cboImportFeld").currentText()), "Datum");
  EXPECT_TRUE(Find<QCheckBox>("chkUebersetzen").isChecked());
  EXPECT_TRUE(Enabled("cmdUebersetzen"));
  EXPECT_EQ(FromQt(Combo("cboDatumsFormat").currentText()), "ttmmjj");
  EXPECT_EQ(Constant(), "");
}

TEST_F(Step3Test, AConstantIsShownAndTheRestIsReset) {
  Open("Name=FIELD:Name\nOrt=CONST:Bonn\n");
  ClickLine(1);
  EXPECT_EQ(Option(), "optKonstanterWert");
  EXPECT_EQ(Constant(), "Bonn");
  EXPECT_EQ(FromQt(Combo("cboImportFeld").currentText()), "");
  EXPECT_EQ(Combo("cboImportFeld").currentIndex(), 0);
  EXPECT_FALSE(Find<QCheckBox>("chkUebersetzen").isChecked());
  EXPECT_FALSE(Enabled("cmdUebersetzen"));
  EXPECT_EQ(Combo("cboDatumsFormat").currentIndex(), -1);
}

TEST_F(Step3Test, AnUnsetAssignmentIsShownAsNone) {
  Open("Name=FIELD:Name\n");
  ClickLine(1);
  EXPECT_EQ(Option(), "optKeineZuweisung");
}

// --- Selecting a line ---

TEST_F(Step3Test, SelectingALineStoresIntoTheCurrentRowThenShowsThenMovesTheCurrentRow) {
  Open("Name=FIELD:Name\nOrt=CONST:Bonn\n");
  Combo("cboImportFeld").setEditText("Gruppe");
  ClickLine(1);
  EXPECT_EQ(Row(0), "2|Gruppe|0|");
  EXPECT_EQ(Line(0), "Name|«Gruppe»|");
  EXPECT_EQ(Constant(), "Bonn");
  EXPECT_EQ(CurrentRow(), 1);
  EXPECT_EQ(Row(1), "3|Bonn|-|-");
}

TEST_F(Step3Test, OneClickSelectsOnceSoTheLineShownIsNotStoredYet) {
  Open("Name=FIELD:Name\n");
  ClickLine(1);
  EXPECT_EQ(Row(1), "-|-|-|-");
  ClickLine(2);
  EXPECT_EQ(Row(1), "1||-|-");
  EXPECT_EQ(Row(2), "-|-|-|-");
}

TEST_F(Step3Test, TheDateFormatBoxFollowsTheRowThatWasCurrentBefore) {
  Open("");
  EXPECT_FALSE(Enabled("cboDatumsFormat"));
  ClickLine(2);  // the date field, from a field that is none
  EXPECT_FALSE(Enabled("cboDatumsFormat"));
  ClickLine(1);  // back, from the date field
  EXPECT_TRUE(Enabled("cboDatumsFormat"));
}

TEST_F(Step3Test, ChoosingTheSelectedLineOnceMoreEnablesTheFormatOfADateField) {
  Open("");
  ClickLine(2);
  ClickLine(2);
  EXPECT_TRUE(Enabled("cboDatumsFormat"));
}

TEST_F(Step3Test, TheSpaceBarChoosesTheSelectedLineOnceMore) {
  Open("");
  QTest::keyClick(&List(), Qt::Key_Down);
  QTest::keyClick(&List(), Qt::Key_Down);
  EXPECT_EQ(CurrentRow(), 2);
  EXPECT_FALSE(Enabled("cboDatumsFormat"));
  QTest::keyClick(&List(), Qt::Key_Space);
  EXPECT_TRUE(Enabled("cboDatumsFormat"));
}

TEST_F(Step3Test, SelectingALineSetsNoChangedFlag) {
  Open("");
  QTest::keyClick(&List(), Qt::Key_Down);
  EXPECT_FALSE(session.SchemaChanged);
}

TEST_F(Step3Test, ALineThatOnlyScrollsIntoViewMovesNoCurrentRow) {
  Open("");
  for (int row = 0; row < 3; ++row) EXPECT_NE(Line(row), "");
  EXPECT_EQ(CurrentRow(), 0);
}

// --- Clicking into and leaving controls ---

TEST_F(Step3Test, AClickIntoTheImportFieldChoosesIt) {
  Open("Name=NOTASSIGNED\n");
  QTest::mouseClick(Combo("cboImportFeld").lineEdit(), Qt::LeftButton);
  EXPECT_EQ(Option(), "optImportFeld");
}

TEST_F(Step3Test, AClickIntoTheConstantChoosesIt) {
  Open("Name=NOTASSIGNED\n");
  Click("txtKonstanterWert");
  EXPECT_EQ(Option(), "optKonstanterWert");
}

TEST_F(Step3Test, TheTranslationButtonFollowsItsCheckBox) {
  Open("Name=FIELD:Name\n");
  EXPECT_FALSE(Enabled("cmdUebersetzen"));
  Click("chkUebersetzen");
  EXPECT_TRUE(Enabled("cmdUebersetzen"));
  Click("chkUebersetzen");
  EXPECT_FALSE(Enabled("cmdUebersetzen"));
}

TEST_F(Step3Test, LeavingTheImportFieldStoresAndSetsTheChangedFlag) {
  Open("Name=FIELD:Name\n");
  Focus("cboImportFeld");
  Choose("cboImportFeld", "Ort");
  EXPECT_EQ(Row(0), "2|Name|0|-");
  EXPECT_FALSE(session.SchemaChanged);
  Focus("cmdPrev");
  EXPECT_EQ(Row(0), "2|Ort|0|");
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(Step3Test, LeavingKeineZuweisungStoresNoAssignment) {
  Open("Name=FIELD:Name\n");
  Click("optKeineZuweisung");
  Focus("cmdPrev");
  EXPECT_EQ(Row(0), "1||0|-");
  EXPECT_EQ(Line(0), "Name||");
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(Step3Test, LeavingTheConstantStoresIt) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  Focus("cmdPrev");
  EXPECT_EQ(Row(0), "3|Bonn|0|-");
  EXPECT_EQ(Line(0), "Name|\"Bonn\"|");
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(Step3Test, LeavingTheOtherControlsOnlySetsTheChangedFlag) {
  UseFields({{"Datum", false, true}, {"Name"}});
  Open("Datum=FIELD:Datum\n");
  for (const char* control : {"optImportFeld", "optKonstanterWert", "chkUebersetzen", "cboDatumsFormat"}) {
    session.SchemaChanged = false;
    Focus(control);
    ASSERT_FALSE(session.SchemaChanged) << control;
    Focus("TDBImpList");
    EXPECT_TRUE(session.SchemaChanged) << control;
    EXPECT_EQ(Row(0), "2|Datum|0|-") << control;
  }
}

TEST_F(Step3Test, LeavingMakesTheSelectedLineCurrentAndItsDatesCanBeGivenAFormat) {
  Open("");
  ClickLine(2);
  Focus("cboImportFeld");
  Choose("cboImportFeld", "Datum");
  Focus("chkUebersetzen");
  EXPECT_EQ(CurrentRow(), 2);
  EXPECT_EQ(Row(2), "2|Datum|0|");
  EXPECT_TRUE(Enabled("cboDatumsFormat"));
}

TEST_F(Step3Test, TheFocusThatGoesToTheOpenListOrAnotherWindowHasNotLeft) {
  Open("Name=FIELD:Name\n");
  Focus("cboImportFeld");
  for (const Qt::FocusReason reason : {Qt::PopupFocusReason, Qt::ActiveWindowFocusReason}) {
    QFocusEvent out(QEvent::FocusOut, reason);
    QApplication::sendEvent(&Combo("cboImportFeld"), &out);
  }
  EXPECT_FALSE(session.SchemaChanged);
}

TEST_F(Step3Test, ANameTypedByHandIsStoredAndDroppedOnlyByTheNextLoad) {
  Open("Name=FIELD:Name\n");
  QTest::mouseClick(Combo("cboImportFeld").lineEdit(), Qt::LeftButton);
  Combo("cboImportFeld").lineEdit()->selectAll();
  QTest::keyClicks(Combo("cboImportFeld").lineEdit(), "Nirgends");
  Focus("cmdPrev");
  EXPECT_EQ(Row(0), "2|Nirgends|0|");
  Click("cmdPrev");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "FIELD:Nirgends");
  Click("cmdNext");
  EXPECT_EQ(Row(0), "1||0|-");
}

TEST_F(Step3Test, TheFormatOfAFieldThatIsNoDateStaysAsItWas) {
  Open("Name=FIELD:Name\n[FieldFormat]\nName=ttmmjj\n");
  EXPECT_FALSE(Enabled("cboDatumsFormat"));
  Focus("cboImportFeld");
  Focus("cmdPrev");
  EXPECT_EQ(Row(0), "2|Name|0|ttmmjj");
}

TEST_F(Step3Test, ANewPageShowsWhatTheLastOneStored) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  Click("cmdPrev");
  EXPECT_EQ(PageName(), "frmStep2");
  Click("cmdNext");
  EXPECT_EQ(Option(), "optKonstanterWert");
  EXPECT_EQ(Constant(), "Bonn");
}

}  // namespace
}  // namespace kestrel
