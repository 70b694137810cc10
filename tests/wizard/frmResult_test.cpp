// The result page, where it is wanted.
#include "wizard/frmResult.h"

#include <QDir>
#include <QFileDialog>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>

#include "platform/base/file.h"
#include "support/breaking_user_interface.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using testing::ClickOn;
using ::testing::ElementsAre;
using testing::FindIn;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::Spin;

class ResultPageTest : public testing::WizardFixture {
 protected:
  explicit ResultPageTest(WizardComforts comforts = {.result_page = true, .harmless_test = true})
      : WizardFixture(comforts) {}

  // From step 1 to the end of the run.
  void Run(bool is_test, int records = 3, const std::string& common = "", const std::string& more = "") {
    OpenStep3(TextSpecification(WriteSource(records), common + "[FieldAssignments]\nName=FIELD:Name\n" + more));
    modals.Then("frmQuestionDlg", [is_test](QWidget& question) {
      if (!is_test) ClickOn(FindIn<QWidget>(question, "optImport"));
      ClickOn(FindIn<QWidget>(question, "cmdOK"));
    });
    ui.boxes.clear();
    Click("cmdOK");
    Spin();
  }
  // The same in another wizard or another session.
  void RunWith(Wizard& other, const std::shared_ptr<Session>& with, bool is_test) {
    WriteSpecification("Test.IMP", TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"));
    other.ShowStep1(with);
    Spin();
    FindIn<QListWidget>(*other.CurrentPage(), "lstVorlage").setCurrentRow(0);
    for (int step = 1; step <= 2; ++step) {
      ClickOn(FindIn<QWidget>(*other.CurrentPage(), "cmdNext"));
      Spin();
    }
    modals.Then("frmQuestionDlg", [is_test](QWidget& question) {
      if (!is_test) ClickOn(FindIn<QWidget>(question, "optImport"));
      ClickOn(FindIn<QWidget>(question, "cmdOK"));
    });
    ClickOn(FindIn<QWidget>(*other.CurrentPage(), "cmdOK"));
    Spin();
  }
  std::string Text(const char* label) const { return FromQt(Find<QLabel>(label).text()); }
  bool IsOffered(const char* button) const { return Find<QPushButton>(button).isVisible(); }
};

TEST_F(ResultPageTest, TakesThePlaceOfTheClosingMessageWithFiguresThatAddUp) {
  Run(false, 1200);
  ASSERT_EQ(PageName(), "frmResult");
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_EQ(Text("lblStepInfo"), "Import abgeschlossen");
  EXPECT_EQ(Text("lblMessage"), "Der Import wurde erfolgreich fertig gestellt.");
  EXPECT_EQ(Text("storedNew"), "1.200");
  EXPECT_EQ(Text("updated"), "0");
  EXPECT_EQ(Text("heldBack"), "0");
  EXPECT_EQ(Text("rejected"), "0");
  EXPECT_EQ(Text("read"), "1.200");
  EXPECT_EQ(Text("errors"), "0");
  EXPECT_FALSE(IsOffered("cmdImport"));
  EXPECT_FALSE(Find<QPushButton>("cmdSaveRejects").isEnabled());
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(ResultPageTest, LeavesTheHostUsableAndEndsWithTheWizardWhenItIsClosed) {
  QSignalSpy run_ended(&wizard, &Wizard::RunEnded);
  QSignalSpy ended(&wizard, &Wizard::Ended);
  Run(false);
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  EXPECT_FALSE(wizard.HasOpenImport());
  EXPECT_EQ(run_ended.count(), 1);
  EXPECT_EQ(ended.count(), 0);
  Click("cmdClose");
  EXPECT_EQ(PageName(), "");
  EXPECT_EQ(ended.count(), 1);
}

TEST_F(ResultPageTest, EscapeClosesIt) {
  Run(false);
  QTest::keyClick(&Page(), Qt::Key_Escape);
  Spin();
  EXPECT_EQ(PageName(), "");
}

TEST_F(ResultPageTest, BehindATestTheDataAreImportedWithTheSameSettingsThatNobodySaved) {
  OpenStep3(TextSpecification(WriteSource(),
                              "[FieldAssignments]\nName=FIELD:Name\n"
                              "[FieldTranslation]\nName=1\n[Translation_Name]\nMüller 1=Meier\n"));
  Find<QTableView>("TDBImpList").selectRow(1);
  Type("txtKonstanterWert", "Bonn");
  Focus("cmdOK");
  session.SchemaChanged = false;  // what asks whether to save
  std::vector<std::string> stored;
  import_class->Method("ImportRecord", [&](std::span<Argument> arguments) {
    const RecordsetPtr record = ToRecordset(arguments[0].Get());
    stored.emplace_back(std::string(record->TextAt(0)) + "|" + std::string(record->TextAt(1)));
    return Value();
  });
  modals.Then("frmQuestionDlg", [](QWidget& question) { ClickOn(FindIn<QWidget>(question, "cmdOK")); });
  Click("cmdOK");
  ASSERT_EQ(PageName(), "frmResult");
  EXPECT_EQ(Text("lblStepInfo"), "Test abgeschlossen");
  EXPECT_EQ(Text("lblMessage"),
            "Beim Prüfen der Daten ist kein Fehler aufgetreten. Es wurde nichts gespeichert.");
  EXPECT_EQ(Text("checked"), "3");
  EXPECT_THAT(stored, IsEmpty());
  EXPECT_TRUE(wizard.HasOpenImport());
  const std::size_t asked = import_class->CountOf("GetFields");
  Click("cmdImport");
  EXPECT_THAT(stored, ElementsAre("Meier|Bonn", "Müller 2|Bonn", "Müller 3|Bonn"));
  EXPECT_EQ(import_class->CountOf("GetFields"), asked + 1)
      << "the import has a class of its own, asked as every one";
  EXPECT_EQ(Text("lblStepInfo"), "Import abgeschlossen");
  EXPECT_EQ(Text("storedNew"), "3");
  EXPECT_FALSE(IsOffered("cmdImport"));
  EXPECT_FALSE(wizard.HasOpenImport());
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP")) << "no working copy is left";
  Click("cmdClose");
  EXPECT_EQ(PageName(), "");
}

TEST_F(ResultPageTest, LeavesNoAssignmentsBehindForTheNextSpecification) {
  Run(true);
  Click("cmdImport");
  ASSERT_EQ(Text("lblStepInfo"), "Import abgeschlossen");
  Click("cmdClose");
  EXPECT_EQ(session.AssignmentList, nullptr);
  OpenStep2(TextSpecification(WriteSource(), "[FieldAssignments]\nOrt=FIELD:Ort\n"));
  Click("cmdPrev");
  EXPECT_THAT(ReadWholeFile(session.SpecFolder + "/Test.IMP"),
              AllOf(HasSubstr("Ort=FIELD:Ort"), Not(HasSubstr("Name=FIELD:Name"))));
}

TEST_F(ResultPageTest, ClosingItBehindATestLeavesNoWorkingCopy) {
  Run(true);
  EXPECT_TRUE(FileExists(session.SpecFile));
  Click("cmdClose");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(ResultPageTest, AnotherShowingOfTheWizardBehindATestLeavesNoWorkingCopy) {
  Run(true);
  OpenStep1();
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(ResultPageTest, WhereTheImportClassCannotBeMadeAgainThePageStays) {
  Run(true);
  session.ImportClassProgID = "gibt.es.nicht";
  Click("cmdImport");
  EXPECT_EQ(ui.boxes.size(), 1u);
  EXPECT_EQ(PageName(), "frmResult");
  EXPECT_EQ(Text("lblStepInfo"), "Test abgeschlossen");
}

TEST_F(ResultPageTest, AnImportThatBreaksOffLeavesNothingThatCouldNotBeGoneOnWith) {
  testing::BreakingUserInterface screen;
  Session of_screen({screen, components, clock});
  of_screen.SpecFolder = session.SpecFolder;
  of_screen.AppMode = session.AppMode;
  RunWith(wizard, {std::shared_ptr<void>(), &of_screen}, true);
  screen.is_broken = true;
  import_class->Raises("ImportRecord", RuntimeError(3000, "weg"));
  Click("cmdImport");
  EXPECT_THAT(screen.told, ElementsAre("Fehler: Kein Bildschirm."));
  EXPECT_EQ(PageName(), "");
  EXPECT_FALSE(wizard.HasOpenImport());
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(ResultPageTest, ClosingItDeletesNothingOfAnImportThatHasTakenTheNameOfItsWorkingCopy) {
  Run(false);
  const std::string of_another = session.SpecFile;
  WriteFileAtomically(of_another, "[Common]\n");
  Click("cmdClose");
  EXPECT_TRUE(FileExists(of_another));
  Run(false);
  WriteFileAtomically(session.SpecFile, "[Common]\n");
  wizard.Abandon();
  EXPECT_TRUE(FileExists(session.SpecFile));
}

TEST_F(ResultPageTest, NumbersAreGroupedAlsoWhereTheyTellWhichValuesWereCut) {
  UseFields({{"Name", true, false, "VARCHAR", 3}, {"Ort"}});
  Run(true, 1234);
  EXPECT_EQ(Text("cut"), "1.234");
  bool is_told = false;
  for (const auto* label : Page().findChildren<QLabel*>()) is_told |= label->text() == "1.234 in Name";
  EXPECT_TRUE(is_told);
}

TEST_F(ResultPageTest, ATestThatTheImportClassCancelsLeavesNoWorkingCopy) {
  import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(true);
    return Value();
  });
  Run(true);
  EXPECT_EQ(Text("lblStepInfo"), "Test abgebrochen");
  EXPECT_FALSE(IsOffered("cmdImport"));
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(ResultPageTest, RecordsThatWereNotStoredAreSavedFromIt) {
  import_class->Raises("ImportRecord", RuntimeError(3000, "weg"));
  Run(false);
  EXPECT_EQ(Text("lblStepInfo"), "Import mit Fehlern beendet");
  EXPECT_EQ(Text("rejected"), "3");
  EXPECT_THAT(Text("lblMessage"), HasSubstr("\nNicht gespeichert: 3 Datensätze."));
  const std::string file = folder.File("rest.txt");
  modals.Then("QFileDialog", [&](QWidget& dialog) {
    static_cast<QFileDialog&>(dialog).selectFile(ToQt(file));
    static_cast<QDialog&>(dialog).accept();
  });
  Click("cmdSaveRejects");
  EXPECT_THAT(FromQt(Find<QPlainTextEdit>("txtRemarks").toPlainText()),
              HasSubstr("''" + file + "'' enthält 3 Datensätze"));
  EXPECT_THAT(ReadWholeFile(file), ::testing::EndsWith(";3000: weg;3\r\n"));
}

TEST_F(ResultPageTest, AStoppedImportSaysWithWhichRecordToGoOn) {
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    QApplication::activeModalWidget()->close();
    return Value();
  });
  Run(false);
  EXPECT_EQ(Text("lblStepInfo"), "Import abgebrochen");
  EXPECT_THAT(Text("lblMessage"), HasSubstr("mit Datensatz 2 fortzusetzen"));
}

TEST_F(ResultPageTest, AStopByTheImportClassIsToldHereAndInNoBox) {
  import_class->Raises("ImportRecord", RuntimeError(3000, "voll")).Get("StopReason", "Die Platte ist voll.");
  import_class->Get("ErrorCode", 3000);
  Run(false);
  for (const Box& box : ui.boxes) EXPECT_THAT(box.text, ::testing::Not(HasSubstr("Die Platte ist voll.")));
  EXPECT_EQ(Text("lblStepInfo"), "Import angehalten");
  EXPECT_THAT(Text("lblMessage"), HasSubstr("Der Import wurde angehalten. Die Platte ist voll."));
}

TEST_F(ResultPageTest, AnImportThatTheImportClassCancelledHasNoFigures) {
  import_class->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(Value(true));
    return Value();
  });
  Run(true);
  EXPECT_EQ(Text("lblMessage"), "Der Vorgang wurde vom Benutzer abgebrochen!");
  EXPECT_FALSE(Find<QWidget>("fraFigures").isVisible());
  EXPECT_FALSE(IsOffered("cmdImport"));
  EXPECT_FALSE(IsOffered("cmdSaveRejects"));
}

TEST_F(ResultPageTest, AHostThatOffersNeitherLogNorUndoHasNoButtonsForThem) {
  import_class->Get("RunNumber", "7").Method("RunStarts").Method("RunEnds");
  Run(false);
  EXPECT_FALSE(IsOffered("cmdLog"));
  EXPECT_FALSE(IsOffered("cmdUndo"));
}

TEST_F(ResultPageTest, ATestLeavesTheSourceAsItIsAndTheImportBacksItUpAndRemovesIt) {
  const std::string backup = folder.File("sicherung");
  QDir().mkpath(ToQt(backup));
  Run(true, 3, "SaveFile=True\nSavePath=" + backup + "\nDeleteFile=True\n");
  EXPECT_TRUE(FileExists(folder.File("quelle.txt")));
  EXPECT_FALSE(FileExists(backup + "/quelle.txt"));
  Click("cmdImport");
  EXPECT_FALSE(FileExists(folder.File("quelle.txt")));
  EXPECT_TRUE(FileExists(backup + "/quelle.txt"));
}

TEST_F(ResultPageTest, EveryControlHasANameForAScreenReader) {
  Run(true);
  for (const auto* button : Page().findChildren<QAbstractButton*>()) {
    EXPECT_FALSE(button->text().isEmpty() && button->accessibleName().isEmpty());
  }
  EXPECT_EQ(Find<QLabel>("read").accessibleName().toStdString(), "gelesen: 3");
}

class HostWithLedger : public ResultPageTest {
 protected:
  HostWithLedger() {
    import_class->Get("RunNumber", "7").Method("RunStarts").Method("RunEnds");
    with_host = std::make_unique<Wizard>(
        nullptr, WizardComforts{.result_page = true},
        WizardHost{.show_log = [this](const RunResult& run) { shown_errors = run.errors; },
                   .undo =
                       [this](const std::string& run, QWidget* window) {
                         EXPECT_EQ(window, with_host->CurrentPage());
                         undone = run;
                         return UndoneRun{.told = told_of_undo, .state = undo_ends};
                       },
                   .last_runs = nullptr});
  }
  void RunThere(bool is_test) { RunWith(*with_host, SharedSession(), is_test); }
  template <class Control>
  Control& On(const char* name) {
    return FindIn<Control>(*with_host->CurrentPage(), name);
  }

  std::unique_ptr<Wizard> with_host;
  std::string undone;
  std::string told_of_undo = "3 Adressen gelöscht.";
  UndoneRun::State undo_ends = UndoneRun::State::kWholly;
  int shown_errors = -1;
};

TEST_F(HostWithLedger, TakesAnImportBackByItsNumberAndThePageSaysWhatWasDone) {
  RunThere(false);
  ASSERT_TRUE(On<QPushButton>("cmdUndo").isVisible());
  ClickOn(On<QWidget>("cmdUndo"));
  EXPECT_EQ(undone, "7");
  EXPECT_EQ(On<QPlainTextEdit>("txtRemarks").toPlainText().toStdString(), "3 Adressen gelöscht.");
}

TEST_F(HostWithLedger, TheHeadlineOfAnImportThatWasTakenBackSaysSoAndNoUndoIsOffered) {
  int calls = 0;
  import_class->Method("ImportRecord", [&calls](std::span<Argument>) {
    if (++calls == 2) throw RuntimeError(3000, "weg");
    return Value();
  });
  RunThere(false);
  ASSERT_EQ(On<QLabel>("lblStepInfo").text().toStdString(), "Import mit Fehlern beendet");
  ClickOn(On<QWidget>("cmdUndo"));
  EXPECT_EQ(On<QLabel>("lblStepInfo").text().toStdString(), "Import zurückgenommen");
  EXPECT_EQ(On<QLabel>("lblMessage").text().toStdString(),
            "Was dieser Import gespeichert hat, ist zurückgenommen. Die Zahlen zeigen, was er getan hatte.");
  EXPECT_FALSE(On<QPushButton>("cmdUndo").isEnabled());
  EXPECT_TRUE(On<QPushButton>("cmdClose").hasFocus());
}

TEST_F(HostWithLedger, WhatWasTakenBackInPartCanBeTakenBackFurther) {
  RunThere(false);
  undo_ends = UndoneRun::State::kPartly;
  ClickOn(On<QWidget>("cmdUndo"));
  EXPECT_EQ(On<QLabel>("lblStepInfo").text().toStdString(), "Import teilweise zurückgenommen");
  EXPECT_THAT(On<QLabel>("lblMessage").text().toStdString(), HasSubstr("zum Teil zurückgenommen"));
  EXPECT_TRUE(On<QPushButton>("cmdUndo").isEnabled());
  undo_ends = UndoneRun::State::kWholly;
  ClickOn(On<QWidget>("cmdUndo"));
  EXPECT_EQ(On<QLabel>("lblStepInfo").text().toStdString(), "Import zurückgenommen");
  EXPECT_FALSE(On<QPushButton>("cmdUndo").isEnabled());
}

TEST_F(HostWithLedger, AnUndoThatIsNotWantedAfterAllLeavesThePageAsItIs) {
  RunThere(false);
  told_of_undo = "";
  undo_ends = UndoneRun::State::kUnchanged;
  ClickOn(On<QWidget>("cmdUndo"));
  EXPECT_EQ(On<QLabel>("lblStepInfo").text().toStdString(), "Import abgeschlossen");
  EXPECT_TRUE(On<QPushButton>("cmdUndo").isEnabled());
}

TEST_F(HostWithLedger, WhatAnUndoHasLeftIsNotToldAnyMoreBehindTheNextOne) {
  RunThere(false);
  undo_ends = UndoneRun::State::kPartly;
  ClickOn(On<QWidget>("cmdUndo"));
  told_of_undo = "Nichts mehr da.";
  ClickOn(On<QWidget>("cmdUndo"));
  EXPECT_EQ(On<QPlainTextEdit>("txtRemarks").toPlainText().toStdString(), "Nichts mehr da.");
}

TEST_F(HostWithLedger, HasNothingToTakeBackBehindATest) {
  RunThere(true);
  EXPECT_FALSE(On<QPushButton>("cmdUndo").isVisible());
}

TEST_F(HostWithLedger, ShowsItsLogWhereThereIsSomethingInIt) {
  RunThere(false);
  EXPECT_FALSE(On<QPushButton>("cmdLog").isEnabled());
  import_class->Raises("ImportRecord", RuntimeError(3000, "weg"));
  RunThere(false);
  ClickOn(On<QWidget>("cmdLog"));
  EXPECT_EQ(shown_errors, 3);
}

// --- Without the comforts -------------------------------------------------------------------------

class WithoutResultPage : public ResultPageTest {
 protected:
  WithoutResultPage() : ResultPageTest(WizardComforts{}) {}
};

TEST_F(WithoutResultPage, TheRunEndsWithItsMessageAndTheWizardCloses) {
  Run(false);
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(ui.boxes,
              ElementsAre(Information("Der Import wurde erfolgreich fertig gestellt.", "KESTREL Import")));
}

TEST_F(WithoutResultPage, ATestRemovesTheSourceWhereTheSpecificationAsksForIt) {
  Run(true, 3, "DeleteFile=True\n");
  EXPECT_FALSE(FileExists(folder.File("quelle.txt")));
}

}  // namespace
}  // namespace kestrel
