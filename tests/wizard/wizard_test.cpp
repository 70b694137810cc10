// The wizard as its host sees it.
#include "kestrel/wizard.h"

#include <QDialog>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QWindow>

#include "kestrel/import_man.h"
#include "platform/base/file.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::ClickOn;
using ::testing::ElementsAre;
using testing::FindIn;
using testing::RecordingObject;
using testing::Spin;

class WizardTest : public testing::WizardFixture {
 protected:
  WizardTest() { ended = std::make_unique<QSignalSpy>(&wizard, &Wizard::Ended); }
  std::unique_ptr<QSignalSpy> ended;
};

TEST_F(WizardTest, ShowDialogReturnsAtOnceWithStep1ModelessOnTheScreen) {
  ImportMan man({ui, components, clock}, &wizard);
  man.SetApplication(2);
  man.ShowDialog();
  ASSERT_EQ(PageName(), "frmStep1");
  EXPECT_TRUE(Page().isVisible());
  EXPECT_FALSE(Page().isModal());
}

TEST_F(WizardTest, AFileNameOfTheHostDoesNotSkipStep1) {
  ImportMan man({ui, components, clock}, &wizard);
  man.SetImportFileName("/x/a.txt");
  man.ShowDialog();
  EXPECT_EQ(PageName(), "frmStep1");
}

TEST_F(WizardTest, ShowDialogBeforeAConnectionWasSetOpensTheWizard) {
  ImportMan man({ui, components, clock}, &wizard);
  man.SetApplication(2);
  WriteSpecification("Test.IMP", TextSpecification(""));
  man.ShowDialog();
  Find<QListWidget>("lstVorlage").setCurrentRow(0);
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep2");
  EXPECT_THAT(CallLines(), ::testing::Contains("Set Connection Nothing"));
}

TEST_F(WizardTest, OnePageIsShownAtATimeFromTemplateToImport) {
  OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"), "Muster.IMT");
  modals.Then("frmQuestionDlg", [](QWidget& dialog) {
    ClickOn(FindIn<QWidget>(dialog, "optImport"));
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  Click("cmdOK");
  EXPECT_EQ(import_class->CountOf("ImportRecord"), 3u);
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Muster.IMT"));
}

TEST_F(WizardTest, EndedIsToldOnceWhenTheLastPageHasClosedInWhateverWay) {
  OpenStep1();
  Click("cmdCancel");
  EXPECT_EQ(ended->count(), 1);
  OpenStep1();
  Page().close();
  Spin();
  EXPECT_EQ(ended->count(), 2);
  OpenStep2(TextSpecification(""));
  EXPECT_EQ(ended->count(), 2);
  Click("cmdPrev");
  EXPECT_EQ(ended->count(), 2);
  Click("cmdCancel");
  EXPECT_EQ(ended->count(), 3);
}

TEST_F(WizardTest, AHostMayOpenTheWizardAgainFromEnded) {
  int again = 0;
  QObject::connect(&wizard, &Wizard::Ended, [&] {
    if (++again == 1) wizard.ShowStep1(SharedSession());
  });
  OpenStep1();
  Click("cmdCancel");
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_EQ(again, 1);
}

TEST_F(WizardTest, ASecondShowDialogBeginsAnewAtStep1) {
  OpenStep2(TextSpecification(""));
  wizard.ShowStep1(SharedSession());
  Spin();
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_EQ(ended->count(), 0);
}

TEST_F(WizardTest, ASecondShowDialogTakesTheWorkingCopyOfTheFirstAway) {
  OpenStep2(TextSpecification(""));
  ASSERT_EQ(FilesOfSpecFolder().size(), 2u);
  wizard.ShowStep1(SharedSession());
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(WizardTest, TheCloseBoxOfPage2EndsTheImportAsCancellingDoes) {
  OpenStep2(TextSpecification(""));
  Page().close();
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(WizardTest, Page3LeavesItsWorkingCopyToTheNextImport) {
  OpenStep3(TextSpecification(WriteSource()));
  Page().close();
  EXPECT_EQ(FilesOfSpecFolder().size(), 2u);
  Spin();
  OpenStep1();
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP")) << "nobody holds it any more";
  Page().close();
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(WizardTest, TheNextImportHasTheOnlyWorkingCopy) {
  OpenStep3(TextSpecification(WriteSource()));
  Page().close();
  const std::string left_behind = session.SpecFile;
  clock.Set({CalendarDate{2024, 3, 7}, 14, 5, 10});
  OpenStep2(TextSpecification(WriteSource()));
  EXPECT_NE(session.SpecFile, left_behind);
  EXPECT_FALSE(FileExists(left_behind));
  EXPECT_TRUE(FileExists(session.SpecFile));
}

TEST_F(WizardTest, GoingOnAndBackKeepsTheWorkingCopy) {
  OpenStep3(TextSpecification(WriteSource()));
  EXPECT_TRUE(FileExists(session.SpecFile));
  Click("cmdPrev");
  EXPECT_TRUE(FileExists(session.SpecFile));
}

TEST_F(WizardTest, NothingEndsWhileADialogWaitsForItsAnswer) {
  OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"));
  import_class->Method("ImportRecord", [this](std::span<Argument>) {
    EXPECT_FALSE(wizard.Abandon());
    return Value();
  });
  modals.Then("frmQuestionDlg", [&](QWidget& dialog) {
    EXPECT_FALSE(wizard.Abandon());
    {
      // Of the host's, above that one.
      QWidget host;
      QDialog above(&host);
      above.setWindowModality(Qt::ApplicationModal);
      above.show();
      EXPECT_FALSE(wizard.Abandon());
    }
    EXPECT_EQ(PageName(), "frmStep3");
    EXPECT_TRUE(dialog.isVisible());
    ClickOn(FindIn<QWidget>(dialog, "optImport"));
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  Click("cmdOK");
  EXPECT_EQ(import_class->CountOf("ImportRecord"), 3u);
  OpenStep2(TextSpecification(""));
  EXPECT_TRUE(wizard.Abandon());
  EXPECT_EQ(PageName(), "");
}

TEST_F(WizardTest, ASecondShowDialogLeavesAnOpenDialogToItsAnswer) {
  OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"));
  modals.Then("frmQuestionDlg", [&](QWidget& dialog) {
    wizard.ShowStep1(SharedSession());
    EXPECT_EQ(PageName(), "frmStep3");
    EXPECT_TRUE(dialog.isVisible());
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  Click("cmdOK");
  EXPECT_EQ(import_class->CountOf("GetNewRecord"), 3u);
}

TEST_F(WizardTest, AHostMayReleaseTheImportManRightAfterShowDialog) {
  WriteSpecification("Test.IMP", TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"));
  auto host_connection = std::make_shared<RecordingObject>();
  std::weak_ptr<Object> released = host_connection;
  {
    ImportMan man({ui, components, clock}, &wizard);
    man.SetConnection(std::move(host_connection));
    man.SetApplication(2);
    man.ShowDialog();
  }
  ASSERT_EQ(PageName(), "frmStep1");
  Find<QListWidget>("lstVorlage").setCurrentRow(0);
  Click("cmdNext");
  Click("cmdNext");
  ASSERT_EQ(PageName(), "frmStep3");
  EXPECT_FALSE(released.expired()) << "the session lives as long as a page is open";
  modals.Then("frmQuestionDlg", [](QWidget& dialog) {
    ClickOn(FindIn<QWidget>(dialog, "optImport"));
    ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
  });
  Click("cmdOK");
  EXPECT_EQ(import_class->CountOf("ImportRecord"), 3u);
  Spin();
  EXPECT_EQ(PageName(), "");
  EXPECT_EQ(ended->count(), 1);
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(WizardTest, TheEndOfTheWizardEndsAnOpenImportAsCancellingDoes) {
  WriteSpecification("Test.IMP", TextSpecification(WriteSource()));
  {
    Wizard other;
    other.ShowStep1(SharedSession());
    FindIn<QListWidget>(*other.CurrentPage(), "lstVorlage").setCurrentRow(0);
    ClickOn(FindIn<QWidget>(*other.CurrentPage(), "cmdNext"));
    ASSERT_TRUE(FileExists(session.SpecFile));
    ASSERT_NE(session.SpecFile, session.ChosenSpecFile);
  }
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
}

TEST_F(WizardTest, TheListEndsWithThePageHoweverItCloses) {
  OpenStep3(TextSpecification(WriteSource()));
  ASSERT_NE(session.AssignmentList, nullptr);
  Page().close();
  EXPECT_EQ(session.AssignmentList, nullptr);
  OpenStep3(TextSpecification(WriteSource()));
  wizard.ShowStep1(SharedSession());
  EXPECT_EQ(session.AssignmentList, nullptr);
}

TEST_F(WizardTest, GoingBackFromStep3AndForwardAgainBuildsTheListAnew) {
  OpenStep3(TextSpecification(WriteSource()));
  Click("cmdPrev");
  EXPECT_EQ(session.AssignmentList, nullptr);
  Click("cmdNext");
  ASSERT_NE(session.AssignmentList, nullptr);
  EXPECT_EQ(session.AssignmentList->RecordCount(), 3);
}

TEST_F(WizardTest, WhileAPreviewIsOpenNobodyLeavesThePageBehindIt) {
  OpenStep2(TextSpecification(WriteSource()));
  std::vector<std::string> pages;
  modals.Then("frmPrev", [&](QWidget& preview) {
    const QPointer<QWidget> open(&preview);
    // As a screen reader's bus does: forward, and back to a new step 2.
    for (const char* button : {"cmdNext", "cmdPrev"}) {
      FindIn<QPushButton>(Page(), button).click();
      Spin();
      pages.push_back(PageName());
    }
    ASSERT_NE(open, nullptr);
    preview.close();
  });
  Click("cmdVorschau");
  EXPECT_THAT(pages, ElementsAre("frmStep2", "frmStep2"));
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
}

TEST_F(WizardTest, PagesStayAboveTheWindowOfTheHost) {
  QWidget host;
  host.show();
  Wizard over_host(&host);
  over_host.ShowStep1(SharedSession());
  EXPECT_EQ(over_host.CurrentPage()->windowHandle()->transientParent(), host.windowHandle());
}

}  // namespace
}  // namespace kestrel
