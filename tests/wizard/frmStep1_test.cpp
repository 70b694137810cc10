// Step 1: the list of specifications, and what follows a choice.
#include <QAccessible>
#include <QContextMenuEvent>
#include <QListWidget>
#include <QMenu>
#include <QRadioButton>
#include <filesystem>

#include "platform/base/file.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::Spin;
using ::testing::UnorderedElementsAre;

class Step1Test : public testing::WizardFixture {
 protected:
  explicit Step1Test(WizardComforts comforts = {}) : WizardFixture(comforts) {}
  void Write(const std::string& name, const std::string& description, const std::string& more = "") {
    WriteSpecification(name, "[Common]\nDescription=" + description + "\nImportClass=test.import\n" + more);
  }
  std::vector<std::string> Entries() const {
    std::vector<std::string> entries;
    const auto& list = Find<QListWidget>("lstVorlage");
    for (int row = 0; row < list.count(); ++row) entries.push_back(FromQt(list.item(row)->text()));
    return entries;
  }
  void Select(int row) { Find<QListWidget>("lstVorlage").setCurrentRow(row); }
  std::string Text(const char* label) const { return FromQt(Find<QLabel>(label).text()); }
  std::string ListToolTip() const { return FromQt(Find<QListWidget>("lstVorlage").toolTip()); }
  void Delete() {
    Find<QMenu>("mnuPopup").actions().first()->trigger();
    Spin();
  }
};

class Step1WithTemplatesTest : public Step1Test {
 protected:
  Step1WithTemplatesTest() : Step1Test({.begins_with_templates = true}) {}
};

TEST_F(Step1Test, LoadingSetsTheFolderListsSpecificationsAndResetsTheChangedFlag) {
  Write("Kunden.IMP", "Kunden");
  Write("Muster.IMT", "Muster");
  session.SpecFolder = "elsewhere";
  session.SchemaChanged = true;
  OpenStep1();
  EXPECT_EQ(session.SpecFolder, folder.File("Import"));
  EXPECT_FALSE(session.SchemaChanged);
  EXPECT_TRUE(Find<QRadioButton>("optSchema").isChecked());
  EXPECT_THAT(Entries(), ElementsAre("Kunden"));
}

TEST_F(Step1Test, UntilAKindIsClickedTheTextsAreThoseOfTheForm) {
  OpenStep1();
  EXPECT_EQ(Text("lblStep"), "Schritt 1");
  EXPECT_EQ(Text("lblStepInfo"), "Vorlage auswählen ");
  EXPECT_EQ(ListToolTip(), "Auswahl aus Vorlage");
}

TEST_F(Step1Test, WithoutTheComfortAFreshDestinationShowsAnEmptyList) {
  Write("Muster.IMT", "Muster");
  OpenStep1();
  EXPECT_TRUE(Find<QRadioButton>("optSchema").isChecked());
  EXPECT_THAT(Entries(), IsEmpty());
}

TEST_F(Step1WithTemplatesTest, AFreshDestinationBeginsWithItsTemplates) {
  Write("Muster.IMT", "Muster");
  OpenStep1();
  EXPECT_TRUE(Find<QRadioButton>("optVorlage").isChecked());
  EXPECT_THAT(Entries(), ElementsAre("Muster"));
  EXPECT_EQ(Text("lblStepInfo"), "Vorlage auswählen");
}

TEST_F(Step1WithTemplatesTest, WhereThereIsASpecificationOrNothingAtAllItBeginsWithThose) {
  OpenStep1();
  EXPECT_TRUE(Find<QRadioButton>("optSchema").isChecked());
  Write("Kunden.IMP", "Kunden");
  Write("Muster.IMT", "Muster");
  OpenStep1();
  EXPECT_TRUE(Find<QRadioButton>("optSchema").isChecked());
  EXPECT_THAT(Entries(), ElementsAre("Kunden"));
}

TEST_F(Step1Test, AClickOnAKindFillsTheListAndSaysSo) {
  Write("Kunden.IMP", "Kunden");
  Write("Muster.IMT", "Muster");
  OpenStep1();
  Click("optVorlage");
  EXPECT_THAT(Entries(), ElementsAre("Muster"));
  EXPECT_EQ(Text("lblStepInfo"), "Vorlage auswählen");
  EXPECT_EQ(ListToolTip(), "Auswahl aus Vorlage");
  Click("optSchema");
  EXPECT_THAT(Entries(), ElementsAre("Kunden"));
  EXPECT_EQ(Text("lblStepInfo"), "Spezifikation laden");
  EXPECT_EQ(ListToolTip(), "Auswahl aus vorhandenen Importen");
}

// As a screen reader does.
TEST_F(Step1Test, AKindSelectedWithoutAClickFillsTheListToo) {
  Write("Kunden.IMP", "Kunden");
  Write("Muster.IMT", "Muster");
  OpenStep1();
  Find<QRadioButton>("optVorlage").toggle();
  EXPECT_THAT(Entries(), ElementsAre("Muster"));
  EXPECT_EQ(ListToolTip(), "Auswahl aus Vorlage");
}

TEST_F(Step1Test, AScreenReaderTakesThePageForAWindow) {
  OpenStep1();
  const QAccessibleInterface* page = QAccessible::queryAccessibleInterface(&Page());
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(page->role(), QAccessible::Window);
  EXPECT_EQ(FromQt(page->text(QAccessible::Name)), "KESTREL Import");
}

TEST_F(Step1Test, EveryFillAppendsTheNamesOfTheSpecificationsOnceMore) {
  Write("A.IMP", "Alpha");
  Write("B.IMP", "Beta");
  OpenStep1();
  EXPECT_EQ(session.ExistingSchemaNames, "Alpha;Beta;");
  Click("optVorlage");
  EXPECT_EQ(session.ExistingSchemaNames, "Alpha;Beta;Alpha;Beta;");
}

TEST_F(Step1Test, ASpecificationWithoutApplicationIsListedOnlyForMode2) {
  Write("Kunden.IMP", "Kunden");
  OpenStep1();
  EXPECT_THAT(Entries(), ElementsAre("Kunden"));
  session.AppMode = 1;
  Click("optSchema");
  EXPECT_THAT(Entries(), IsEmpty());
}

TEST_F(Step1Test, ASpecificationWithAnEmptyDescriptionIsNeverListed) {
  Write("Leer.IMP", "");
  OpenStep1();
  EXPECT_THAT(Entries(), IsEmpty());
}

TEST_F(Step1Test, ASpecificationWhoseApplicationIsNoNumberIsSkippedAndTheRestIsListed) {
  Write("A.IMP", "Wort", "Application=zwei\n");
  Write("B.IMP", "Zahl", "Application=2\n");
  OpenStep1();
  EXPECT_THAT(Entries(), ElementsAre("Zahl"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step1Test, SpecificationsStandInTheOrderOfTheirTitles) {
  int file = 0;
  for (const char* title : {"Zulieferer", "Kunden 10", "ärzte", "Bauämter", "Kunden 9", "Apotheken"}) {
    WriteSpecification(std::to_string(++file) + ".IMP",
                       std::string("[Common]\nApplication=2\nDescription=") + title + "\n");
  }
  OpenStep1();
  const auto& list = Find<QListWidget>("lstVorlage");
  std::vector<std::string> titles;
  for (int row = 0; row < list.count(); ++row) titles.push_back(FromQt(list.item(row)->text()));
  EXPECT_THAT(titles, ElementsAre("Apotheken", "ärzte", "Bauämter", "Kunden 9", "Kunden 10", "Zulieferer"));
}

TEST_F(Step1Test, TwoFilesWithOneDescriptionBothAppearAndKeepTheirPaths) {
  Write("A.IMP", "Kunden");
  Write("B.IMP", "Kunden");
  OpenStep1();
  EXPECT_THAT(Entries(), ElementsAre("Kunden", "Kunden"));
  Select(1);
  Click("cmdNext");
  EXPECT_EQ(session.ChosenSpecFile, folder.File("Import/B.IMP"));
}

TEST_F(Step1Test, WeiterWithNothingSelectedDoesNothingAndShowsNothing) {
  Write("Kunden.IMP", "Kunden");
  OpenStep1();
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_EQ(session.SpecFile, "");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step1Test, WeiterLoadsTheChoiceMakesTheWorkingCopyAndShowsStep2) {
  Write("Kunden.IMP", "Kunden", "FileName=C:\\kunden.txt\n");
  OpenStep1();
  QWidget& step1 = Page();
  Select(0);
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep2");
  EXPECT_FALSE(step1.isVisible());
  EXPECT_FALSE(Page().isModal());
  EXPECT_EQ(session.FileName, "C:\\kunden.txt");
  EXPECT_EQ(session.ChosenSpecFile, folder.File("Import/Kunden.IMP"));
  EXPECT_THAT(FilesOfSpecFolder(), UnorderedElementsAre("Kunden.IMP",
                                                        "~03140709"
                                                        "20244711.tmp"));
  EXPECT_EQ(session.SpecFile, folder.File("Import/~03140709"
                                          "20244711.tmp"));
}

TEST_F(Step1Test, ADoubleClickOnAnEntryGoesOnAsWeiterDoes) {
  Write("Kunden.IMP", "Kunden");
  OpenStep1();
  auto& list = Find<QListWidget>("lstVorlage");
  const QPoint entry = list.visualItemRect(list.item(0)).center();
  QTest::mouseClick(list.viewport(), Qt::LeftButton, Qt::NoModifier, entry);
  QTest::mouseDClick(list.viewport(), Qt::LeftButton, Qt::NoModifier, entry);
  Spin();
  EXPECT_EQ(PageName(), "frmStep2");
}

TEST_F(Step1Test, AWorkingCopyThatCannotBeMadeIsToldAndThePageStays) {
  Write("Kunden.IMP", "Kunden");
  session.PersonalNr = "47/11";
  OpenStep1();
  Select(0);
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep1");
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(ui.boxes[0].text, ::testing::StartsWith("Fehler: "));
}

TEST_F(Step1Test, ZurueckHasNoAction) {
  Write("Kunden.IMP", "Kunden");
  OpenStep1();
  Select(0);
  Click("cmdPrev");
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_THAT(Entries(), ElementsAre("Kunden"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step1Test, AbbrechenRemovesAWorkingCopyAndEndsTheWizard) {
  WriteSpecification("~1.tmp", "");
  OpenStep1();
  session.SpecFile = folder.File("Import/~1.tmp");
  Click("cmdCancel");
  EXPECT_FALSE(FileExists(folder.File("Import/~1.tmp")));
  EXPECT_EQ(PageName(), "");
}

TEST_F(Step1Test, AbbrechenNeverRemovesASpecificationOfTheUser) {
  Write("Kunden.IMP", "Kunden");
  OpenStep1();
  session.SpecFile = folder.File("Import/Kunden.IMP");
  Click("cmdCancel");
  EXPECT_TRUE(FileExists(folder.File("Import/Kunden.IMP")));
}

// --- Deleting ---

const RecordingUserInterface::Box kDeleteQuestion{"Möchten Sie das ausgewählte Schema löschen?", "Löschen?",
                                                  Icon::kQuestion, Buttons::kYesNo};

TEST_F(Step1Test, TheRightMouseButtonOpensTheMenuWhereItWasPressed) {
  Write("Kunden.IMP", "Kunden");
  OpenStep1();
  auto& list = Find<QListWidget>("lstVorlage");
  auto& menu = Find<QMenu>("mnuPopup");
  const QPoint position(20, 30);
  QContextMenuEvent press(QContextMenuEvent::Mouse, position, list.viewport()->mapToGlobal(position));
  QApplication::sendEvent(list.viewport(), &press);
  EXPECT_TRUE(menu.isVisible());
  EXPECT_EQ(menu.pos(), list.viewport()->mapToGlobal(position));
  menu.close();
}

TEST_F(Step1Test, TheMenuKeyOpensTheMenuToo) {
  Write("Kunden.IMP", "Kunden");
  OpenStep1();
  auto& list = Find<QListWidget>("lstVorlage");
  QContextMenuEvent press(QContextMenuEvent::Keyboard, QPoint(5, 5), list.mapToGlobal(QPoint(5, 5)));
  QApplication::sendEvent(&list, &press);
  EXPECT_TRUE(Find<QMenu>("mnuPopup").isVisible());
  Find<QMenu>("mnuPopup").close();
}

TEST_F(Step1Test, TemplatesHaveNoMenu) {
  Write("Muster.IMT", "Muster");
  OpenStep1();
  Click("optVorlage");
  auto& list = Find<QListWidget>("lstVorlage");
  QContextMenuEvent press(QContextMenuEvent::Mouse, QPoint(5, 5), list.viewport()->mapToGlobal(QPoint(5, 5)));
  QApplication::sendEvent(list.viewport(), &press);
  EXPECT_FALSE(Find<QMenu>("mnuPopup").isVisible());
}

TEST_F(Step1Test, LoeschenAnsweredWithYesDeletesTheFileAndFillsTheList) {
  Write("A.IMP", "Alpha");
  Write("B.IMP", "Beta");
  OpenStep1();
  Select(0);
  ui.answers = {Answer::kYes};
  Delete();
  EXPECT_THAT(ui.boxes, ElementsAre(kDeleteQuestion));
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("B.IMP"));
  EXPECT_THAT(Entries(), ElementsAre("Beta"));
}

TEST_F(Step1Test, LoeschenAnsweredWithNoKeepsTheFile) {
  Write("A.IMP", "Alpha");
  OpenStep1();
  Select(0);
  ui.answers = {Answer::kNo};
  Delete();
  EXPECT_THAT(ui.boxes, ElementsAre(kDeleteQuestion));
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("A.IMP"));
}

TEST_F(Step1Test, LoeschenWithNothingSelectedAsksAndDeletesNothing) {
  Write("A.IMP", "Alpha");
  OpenStep1();
  ui.answers = {Answer::kYes};
  Delete();
  EXPECT_THAT(ui.boxes, ElementsAre(kDeleteQuestion));
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("A.IMP"));
}

TEST_F(Step1Test, AFileThatCannotBeDeletedIsTold) {
  Write("A.IMP", "Alpha");
  OpenStep1();
  Select(0);
  DeleteFile(folder.File("Import/A.IMP"));
  ui.answers = {Answer::kYes};
  Delete();
  ASSERT_EQ(ui.boxes.size(), 2u);
  EXPECT_THAT(ui.boxes[1].text, ::testing::StartsWith("Fehler: "));
  EXPECT_THAT(Entries(), IsEmpty());
}

// --- What the list leaves out ---

class UnreadableSpecificationTest : public Step1Test {
 protected:
  explicit UnreadableSpecificationTest(WizardComforts comforts = {.unreadable_specifications = true})
      : Step1Test(comforts) {
    Write("A.IMP", "Alpha");
    Write("Riese.IMP", "Riese");
    std::filesystem::resize_file(folder.File("Import/Riese.IMP"), (64 << 20) + 1);
  }
};

class UntoldUnreadableSpecificationTest : public UnreadableSpecificationTest {
 protected:
  UntoldUnreadableSpecificationTest() : UnreadableSpecificationTest(WizardComforts{}) {}
};

TEST_F(UntoldUnreadableSpecificationTest, IsLeftOutWithoutAWord) {
  OpenStep1();
  EXPECT_THAT(Entries(), ElementsAre("Alpha"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(UnreadableSpecificationTest, IsToldOnce) {
  OpenStep1();
  EXPECT_THAT(Entries(), ElementsAre("Alpha"));
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(ui.boxes[0].text, ::testing::AllOf(::testing::HasSubstr("Nicht angezeigt werden:\n"),
                                                 ::testing::HasSubstr("Riese.IMP ist größer als")));
  Click("optSchema");
  EXPECT_EQ(ui.boxes.size(), 1u);
}

TEST_F(Step1Test, OfMoreThan100EntriesTheFirst100StayUsableAndThePersonIsToldOnce) {
  for (int i = 100; i < 205; ++i) Write("S" + std::to_string(i) + ".IMP", "Nr" + std::to_string(i));
  OpenStep1();
  ASSERT_EQ(Entries().size(), 100u);
  EXPECT_EQ(Entries().front(), "Nr100");
  EXPECT_EQ(Entries().back(), "Nr199");
  EXPECT_THAT(ui.boxes, ElementsAre(Information("Es sind mehr als 100 Spezifikationen vorhanden. Angezeigt "
                                                "werden die ersten 100.")));
  Click("optSchema");
  EXPECT_EQ(ui.boxes.size(), 1u);
  Select(99);
  Click("cmdNext");
  EXPECT_EQ(session.ChosenSpecFile, folder.File("Import/S199.IMP"));
}

// --- Keys ---

TEST_F(Step1Test, TheFirstArrowKeySelectsTheFirstEntry) {
  Write("A.IMP", "Alpha");
  Write("B.IMP", "Beta");
  OpenStep1();
  auto& list = Find<QListWidget>("lstVorlage");
  QTest::keyClick(&list, Qt::Key_Down);
  ASSERT_EQ(list.selectedItems().size(), 1);
  EXPECT_EQ(list.currentRow(), 0);
  QTest::keyClick(&list, Qt::Key_Down);
  EXPECT_EQ(list.currentRow(), 1);
}

TEST_F(Step1Test, KeysThatFollowAnAccessKeyAtOnceComeBehindIt) {
  WriteSpecification("Vorlage.IMT", TextSpecification(WriteSource()));
  OpenStep1();
  auto& list = Find<QListWidget>("lstVorlage");
  QTest::keyClick(&Page(), Qt::Key_N, Qt::AltModifier);
  QTest::keyClick(&list, Qt::Key_Down);
  QTest::keyClick(&list, Qt::Key_Return);
  EXPECT_EQ(PageName(), "frmStep2");
}

TEST_F(Step1Test, EnterInTheListGoesOnAndEscapeCancels) {
  Write("A.IMP", "Alpha");
  OpenStep1();
  auto& list = Find<QListWidget>("lstVorlage");
  QTest::keyClick(&list, Qt::Key_Down);
  QTest::keyClick(&list, Qt::Key_Return);
  Spin();
  EXPECT_EQ(PageName(), "frmStep2");
  QTest::keyClick(&Page(), Qt::Key_Escape);
  Spin();
  EXPECT_EQ(PageName(), "");
}

}  // namespace
}  // namespace kestrel
