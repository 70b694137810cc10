// Step 3: the buttons, and the order of what Fertigstellen does.
#include <QComboBox>
#include <QLineEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>

#include "kestrel/import_job.h"
#include "platform/base/file.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::ClickOn;
using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FindIn;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::Spin;

class Step3FinishTest : public testing::WizardFixture {
 protected:
  void Open(const std::string& assignments, const std::string& name = "Test.IMP") {
    OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\n" + assignments), name);
  }
  // Answers the confirmation with OK; the run that follows needs no answer.
  void Confirm(const char* option = "") {
    modals.Then("frmQuestionDlg", [option](QWidget& dialog) {
      if (*option != '\0') ClickOn(FindIn<QWidget>(dialog, option));
      ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
    });
  }
  std::size_t Imported() const { return import_class->CountOf("ImportRecord"); }

  const Box mandatory = Information("Ein Pflichtfeld wurde noch nicht zugeordnet.", "KESTREL Import");
  const Box no_format =
      Information("Bei einem Datumsfeld wurde noch keine Formatierung bestimmt..", "KESTREL Import");
  const Box save = Question(
      "Möchten Sie die Einstellungen in einer Datei speichern, um diese künftig erneut verwenden zu können?",
      "Speichern?");
  const Box done = Information("Der Import wurde erfolgreich fertig gestellt.", "KESTREL Import");
};

// --- Refusals ---

TEST_F(Step3FinishTest, AMandatoryFieldWithKeineZuweisungBlocks) {
  Open("Name=NOTASSIGNED\n");
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, ElementsAre(mandatory));
  EXPECT_EQ(PageName(), "frmStep3");
}

TEST_F(Step3FinishTest, WithBothFaultsOnlyTheMandatoryFieldIsTold) {
  UseFields({{"Name", true}, {"Datum", false, true}});
  Open("Name=NOTASSIGNED\nDatum=FIELD:Datum\n");
  QTest::keyClick(&Find<QWidget>("TDBImpList"), Qt::Key_Down);
  QTest::keyClick(&Find<QWidget>("TDBImpList"), Qt::Key_Up);  // stores the date field without a format
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, ElementsAre(mandatory));
}

TEST_F(Step3FinishTest, AnUnsetMandatoryFieldPassesUntilItIsStored) {
  Open("");
  Confirm();
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, ElementsAre(done));
}

TEST_F(Step3FinishTest, ADateFieldStoredWithoutAFormatBlocks) {
  UseFields({{"Datum", false, true}, {"Ort"}});
  Open("Datum=FIELD:Datum\n");
  QTest::keyClick(&Find<QWidget>("TDBImpList"), Qt::Key_Down);
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, ElementsAre(no_format));
  EXPECT_EQ(PageName(), "frmStep3");
}

TEST_F(Step3FinishTest, ADateFieldLoadedWithoutAFormatAndNeverStoredPasses) {
  UseFields({{"Datum", false, true}, {"Ort"}});
  Open("Datum=FIELD:Datum\n");
  Confirm();
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, Not(Contains(no_format)));
  EXPECT_EQ(PageName(), "");
}

TEST_F(Step3FinishTest, AFormatChosenSinceTheLastStoreIsNotSeenByTheChecks) {
  UseFields({{"Datum", false, true}, {"Ort"}});
  Open("Datum=FIELD:Datum\n");
  Focus("cboImportFeld");
  Focus("cboDatumsFormat");  // stored without a format
  Choose("cboDatumsFormat", "tt.mm.jjjj");
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, ElementsAre(no_format));
}

// --- The question to save ---

TEST_F(Step3FinishTest, WithoutAChangeNothingIsAsked) {
  Open("Name=FIELD:Name\n");
  Confirm();
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, ElementsAre(done));
}

TEST_F(Step3FinishTest, AChangeIsAskedAboutBeforeTheConfirmation) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  ui.answers = {Answer::kNo};
  std::vector<Box> at_confirmation;
  modals.Then("frmQuestionDlg", [&](QWidget& dialog) {
    at_confirmation = ui.boxes;
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  Click("cmdOK");
  EXPECT_THAT(at_confirmation, ElementsAre(save));
  EXPECT_THAT(ui.boxes, ElementsAre(save, done));
  session.SpecFile = folder.File("Import/Test.IMP");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "FIELD:Name");
}

TEST_F(Step3FinishTest, OnYesTheSpecificationIsSavedInPlace) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  ui.answers = {Answer::kYes};
  Confirm();
  Click("cmdOK");
  session.SpecFile = folder.File("Import/Test.IMP");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "CONST:Bonn");
  EXPECT_THAT(ui.questions, IsEmpty());
}

TEST_F(Step3FinishTest, AfterASaveNothingIsAsked) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  Click("cmdSave");
  EXPECT_FALSE(session.SchemaChanged);
  Confirm();
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, ElementsAre(done));
}

TEST_F(Step3FinishTest, AnEditOnStep2IsAskedAboutHere) {
  OpenStep2(TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"));
  Click("chkDateilöschen");
  Click("chkDateilöschen");
  Click("cmdNext");
  ui.answers = {Answer::kNo};
  Confirm();
  Click("cmdOK");
  EXPECT_THAT(ui.boxes, ElementsAre(save, done));
}

TEST_F(Step3FinishTest, AFailedSaveIsToldInTheStatusLineAndTheImportGoesOn) {
  Open("Name=FIELD:Name\n", "Muster.IMT");
  Type("txtKonstanterWert", "Bonn");
  ui.answers = {Answer::kYes};
  ui.replies = {"a/b"};
  std::string status;
  modals.Then("frmQuestionDlg", [&](QWidget& dialog) {
    status = FromQt(Find<QLabel>("lblStatus").text());
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  Click("cmdOK");
  EXPECT_THAT(status, ::testing::HasSubstr("a/b"));
  EXPECT_THAT(ui.boxes, ElementsAre(save, done));
}

TEST_F(Step3FinishTest, ALongFailureMakesThePageNoWiderAndTheNextSaveTakesItAway) {
  Open("Name=FIELD:Name\n", "Muster.IMT");
  auto& status = Find<QLabel>("lblStatus");
  const int width = status.window()->width();
  ui.replies = {std::string(3000, 'x'), "Kunden"};
  Click("cmdSave");
  QCoreApplication::processEvents();
  EXPECT_THAT(FromQt(status.text()), ::testing::HasSubstr("xxxx"));
  EXPECT_TRUE(status.isVisible());
  EXPECT_EQ(status.window()->width(), width);
  Click("cmdSave");
  EXPECT_FALSE(status.isVisible());
}

// --- Confirmation and run ---

TEST_F(Step3FinishTest, OkWithoutTouchingTheOptionsIsATestRun) {
  Open("Name=FIELD:Name\n");
  Confirm();
  Click("cmdOK");
  EXPECT_TRUE(session.TestMode);
  EXPECT_EQ(import_class->CountOf("GetNewRecord"), 3u);
  EXPECT_EQ(Imported(), 0u);
  EXPECT_EQ(PageName(), "");
}

TEST_F(Step3FinishTest, AJobThatRunsBesideThePageLeavesItsImportAlone) {
  Open("Name=FIELD:Name\n");
  const std::string working_copy = session.SpecFile;
  {
    ImportJob job(Platform{ui, components, clock});
    job.Open({.specification = session.ChosenSpecFile, .user = "4712"});
    EXPECT_EQ(job.Run().records, 3);
  }
  EXPECT_EQ(session.SpecFile, working_copy);
  EXPECT_TRUE(FileExists(working_copy));
  EXPECT_EQ(PageName(), "frmStep3");
  Confirm();
  Click("cmdOK");
  EXPECT_EQ(import_class->CountOf("GetNewRecord"), 6u);
  EXPECT_FALSE(FileExists(working_copy));
}

TEST_F(Step3FinishTest, DatenImportierenImports) {
  Open("Name=FIELD:Name\n");
  Confirm("optImport");
  Click("cmdOK");
  EXPECT_FALSE(session.TestMode);
  EXPECT_EQ(Imported(), 3u);
}

TEST_F(Step3FinishTest, AConfirmationClosedByItsFrameIsARealImport) {
  Open("Name=FIELD:Name\n");
  session.TestMode = true;
  modals.Then("frmQuestionDlg", [](QWidget& dialog) { dialog.close(); });
  Click("cmdOK");
  EXPECT_FALSE(session.TestMode);
  EXPECT_EQ(Imported(), 3u);
}

TEST_F(Step3FinishTest, ATestRunDeletesTheSourceWhereThatIsWantedAndNoErrorWasCounted) {
  OpenStep3(TextSpecification(WriteSource(), "DeleteFile=1\n[FieldAssignments]\nName=FIELD:Name\n"));
  Confirm();
  Click("cmdOK");
  EXPECT_TRUE(session.TestMode);
  EXPECT_FALSE(FileExists(folder.File("quelle.txt")));
}

TEST_F(Step3FinishTest, TheEndOfTheRunClosesThePageAndDeletesTheWorkingCopy) {
  Open("Name=FIELD:Name\n");
  // The end of the import may have taken it away by then.
  const QPointer<QWidget> page = &Page();
  const std::string copy = session.SpecFile;
  Confirm();
  Click("cmdOK");
  EXPECT_TRUE(page == nullptr || !page->isVisible());
  EXPECT_FALSE(FileExists(copy));
  EXPECT_EQ(session.AssignmentList, nullptr);
}

TEST_F(Step3FinishTest, ConfirmationAndRunAreModal) {
  Open("Name=FIELD:Name\n");
  bool question_modal = false;
  bool run_modal = false;
  modals.Then("frmQuestionDlg", [&](QWidget& dialog) {
    question_modal = dialog.isModal();
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  import_class->Method("BeforeImport", [&](std::span<Argument>) {
    const QWidget* run = QApplication::activeModalWidget();
    run_modal = run != nullptr && run->objectName() == "frmImport" && Page().isVisible();
    return Value();
  });
  Click("cmdOK");
  EXPECT_TRUE(question_modal);
  EXPECT_TRUE(run_modal);
}

// --- Buttons ---

TEST_F(Step3FinishTest, EinstellungenGivesTheWorkingCopyAndSetsTheChangedFlag) {
  Open("");
  import_class->Forget();
  Click("cmdOptions");
  EXPECT_THAT(CallLines(),
              ElementsAre("Let SpecificationFile \"" + session.SpecFile + "\"", "Call ShowConfig()"));
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(Step3FinishTest, AFailingSettingsDialogStillSetsTheChangedFlagAndShowsNoBox) {
  Open("");
  import_class->Raises("ShowConfig", RuntimeError(4711, "kaputt"));
  Click("cmdOptions");
  EXPECT_TRUE(session.SchemaChanged);
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_EQ(FromQt(Find<QLabel>("lblStatus").text()), "kaputt");
}

TEST_F(Step3FinishTest, SpeichernOfATemplateAsksForAName) {
  Open("Name=FIELD:Name\n", "Muster.IMT");
  ui.replies = {"Messe"};
  Click("cmdSave");
  EXPECT_THAT(ui.questions, ElementsAre("Schema speichern...|Bitte geben Sie ein Schemaname ein:"));
  session.SpecFile = folder.File("Import/Messe.IMP");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "FIELD:Name");
}

TEST_F(Step3FinishTest, SpeichernByItsShortcutSavesWhatIsBeingTyped) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  QTest::keyClick(&Find<QWidget>("txtKonstanterWert"), Qt::Key_S, Qt::AltModifier);
  // The button is seen to be pressed, and then it is.
  ASSERT_TRUE(QTest::qWaitFor([&] { return !Find<QAbstractButton>("cmdSave").isDown(); }));
  EXPECT_FALSE(session.SchemaChanged);
  session.SpecFile = folder.File("Import/Test.IMP");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "CONST:Bonn");
}

TEST_F(Step3FinishTest, EnterImportsWhatIsBeingTyped) {
  UseFields({{"Name"}});
  Open("");
  Type("txtKonstanterWert", "Bonn");
  ui.answers = {Answer::kNo};
  std::vector<std::string> imported;
  import_class->Method("ImportRecord", [&](std::span<Argument> arguments) {
    imported.emplace_back(ToRecordset(arguments[0].Get())->TextAt(0));
    return Value();
  });
  Confirm("optImport");
  QTest::keyClick(&Find<QWidget>("txtKonstanterWert"), Qt::Key_Return);
  Spin();
  EXPECT_THAT(imported, ElementsAre("Bonn", "Bonn", "Bonn"));
}

TEST_F(Step3FinishTest, ZurueckSavesIntoTheWorkingCopyOnlyAndShowsStep2) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  Click("cmdPrev");
  EXPECT_EQ(PageName(), "frmStep2");
  EXPECT_FALSE(session.SchemaChanged);
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "CONST:Bonn");
  session.SpecFile = folder.File("Import/Test.IMP");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "FIELD:Name");
}

TEST_F(Step3FinishTest, AbbrechenDeletesTheWorkingCopyAndEndsTheWizard) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  Click("cmdCancel");
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step3FinishTest, TheCloseBoxSavesNothingAndDeletesNothing) {
  Open("Name=FIELD:Name\n");
  Type("txtKonstanterWert", "Bonn");
  const std::string copy = session.SpecFile;
  Page().close();
  Spin();
  EXPECT_EQ(PageName(), "");
  EXPECT_TRUE(FileExists(copy));
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "FIELD:Name");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

// --- Constants and translations ---

TEST_F(Step3FinishTest, AConstantIsChosenFromThePermittedValuesOfTheField) {
  UseFields({{.name = "Gruppe", .row_source = "1*Kunde#2*Lieferant"}});
  Open("Gruppe=NOTASSIGNED\n");
  modals.Then("frmTransTbl", [](QWidget& dialog) {
    FindIn<QTableView>(dialog, "tdbGridTransl").selectRow(1);
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  Click("cmdKonstanterWert");
  EXPECT_TRUE(Find<QRadioButton>("optKonstanterWert").isChecked());
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtKonstanterWert").text()), "2");
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(Step3FinishTest, AConstantThatWasNotChosenKeepsTheOneThereIs) {
  UseFields({{.name = "Gruppe", .row_source = "1*Kunde#2*Lieferant"}});
  Open("Gruppe=CONST:7\n");
  modals.Then("frmTransTbl", [](QWidget& dialog) { dialog.close(); });
  Click("cmdKonstanterWert");
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtKonstanterWert").text()), "7");
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(Step3FinishTest, TheTranslationTableIsThatOfTheFieldOverTheChosenColumn) {
  UseFields({{.name = "Art", .row_source = "1*Kunde#2*Lieferant"}});
  Open("Art=FIELD:Gruppe\n[FieldTranslation]\nArt=1\n[Translation_Art]\nB=2\n");
  std::vector<std::string> cells;
  modals.Then("frmTransTbl", [&](QWidget& dialog) {
    const auto* model = FindIn<QTableView>(dialog, "tdbGridTransl").model();
    for (int row = 0; row < model->rowCount(); ++row) {
      cells.push_back(
          FromQt(model->index(row, 0).data().toString() + "=" + model->index(row, 1).data().toString()));
    }
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  session.SchemaChanged = false;
  Click("cmdUebersetzen");
  EXPECT_THAT(cells, ElementsAre("A=", "B=2"));
  EXPECT_TRUE(session.SchemaChanged);
}

}  // namespace
}  // namespace kestrel
