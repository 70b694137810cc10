// Boxes on the screen, in German.
#include "kestrel/qt_user_interface.h"

#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>

#include "wizard/ask_before_loss.h"
#include "wizard/page_parts.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;

class QtUserInterfaceTest : public ::testing::Test {
 protected:
  QtUserInterface ui;
  testing::ModalDriver modals{[](const std::string& complaint) { ADD_FAILURE() << complaint; }};
  testing::TempFolder folder;
};

TEST_F(QtUserInterfaceTest, AQuestionIsAnsweredWithJaOrNein) {
  std::vector<std::string> captions;
  std::string text, title;
  QMessageBox::Icon icon{};
  modals.Then("messageBox", [&](QWidget& dialog) {
    auto& box = static_cast<QMessageBox&>(dialog);
    for (const QMessageBox::StandardButton button : {QMessageBox::Yes, QMessageBox::No}) {
      captions.push_back(FromQt(box.button(button)->text().remove('&')));
    }
    text = FromQt(box.text());
    title = FromQt(box.windowTitle());
    icon = box.icon();
    box.button(QMessageBox::Yes)->click();
  });
  EXPECT_EQ(ui.MessageBox("Möchten Sie?", "Speichern?", Icon::kQuestion, Buttons::kYesNo), Answer::kYes);
  EXPECT_THAT(captions, ElementsAre("Ja", "Nein"));
  EXPECT_EQ(text, "Möchten Sie?");
  EXPECT_EQ(title, "Speichern?");
  EXPECT_EQ(icon, QMessageBox::Question);
}

TEST_F(QtUserInterfaceTest, AQuestionClosedWithoutAnAnswerIsNo) {
  modals.Then("messageBox", [](QWidget& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
  EXPECT_EQ(ui.MessageBox("?", "", Icon::kQuestion, Buttons::kYesNo), Answer::kNo);
}

TEST_F(QtUserInterfaceTest, EnterAnswersAQuestionOfLossWithNo) {
  UserInterface& any = ui;
  for (const bool is_of_loss : {true, false}) {
    modals.Then("messageBox", [](QWidget& dialog) { QTest::keyClick(&dialog, Qt::Key_Return); });
    const Answer answer = is_of_loss ? AskBeforeLoss(any, "Weg damit?", "Löschen?")
                                     : any.MessageBox("?", "", Icon::kQuestion, Buttons::kYesNo);
    EXPECT_EQ(answer, is_of_loss ? Answer::kNo : Answer::kYes);
  }
}

TEST_F(QtUserInterfaceTest, AnotherUserInterfaceAsksOfLossAsItAsksEverything) {
  RecordingUserInterface recorded;
  recorded.answers = {Answer::kYes};
  EXPECT_EQ(AskBeforeLoss(recorded, "Weg damit?", "Löschen?"), Answer::kYes);
  using Box = RecordingUserInterface::Box;
  EXPECT_THAT(recorded.boxes, ElementsAre(Box{"Weg damit?", "Löschen?", Icon::kQuestion, Buttons::kYesNo}));
}

TEST_F(QtUserInterfaceTest, TheBoxForANameIsAsWideAsAName) {
  modals.Then("inputBox", [](QWidget& dialog) {
    EXPECT_GE(dialog.width(), dialog.fontMetrics().averageCharWidth() * 50);
    dialog.close();
  });
  ui.InputBox("Bitte geben Sie ein Schemaname ein:", "Schema speichern...");
}

TEST_F(QtUserInterfaceTest, ABoxWithoutATitleHasTheProgramsAndItsTextIsNoMarkup) {
  modals.Then("messageBox", [](QWidget& dialog) {
    auto& box = static_cast<QMessageBox&>(dialog);
    EXPECT_EQ(box.windowTitle(), "KESTREL Import");
    EXPECT_EQ(box.textFormat(), Qt::PlainText);
    EXPECT_EQ(box.text(), "<b>''x''</b>");
    box.button(QMessageBox::Ok)->click();
  });
  EXPECT_EQ(ui.MessageBox("<b>''x''</b>", "", Icon::kInformation, Buttons::kOk), Answer::kOk);
}

TEST_F(QtUserInterfaceTest, ABoxHasTheArrowWhileSomethingIsBeingOpened) {
  const WaitCursor wait;
  modals.Then("messageBox", [](QWidget& dialog) {
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::ArrowCursor);
    dialog.close();
  });
  ui.MessageBox("x", "", Icon::kNone, Buttons::kOk);
  EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
}

TEST_F(QtUserInterfaceTest, TheInputBoxGivesTheTextAsTypedOrNothing) {
  modals.Then("inputBox", [](QWidget& dialog) {
    auto& box = static_cast<QInputDialog&>(dialog);
    EXPECT_EQ(box.windowTitle(), "Schema speichern...");
    EXPECT_EQ(box.labelText(), "Bitte geben Sie ein Schemaname ein:");
    box.setTextValue(" Köln ");
    box.accept();
  });
  EXPECT_EQ(ui.InputBox("Bitte geben Sie ein Schemaname ein:", "Schema speichern..."), " Köln ");
  modals.Then("inputBox", [](QWidget& dialog) { static_cast<QInputDialog&>(dialog).reject(); });
  EXPECT_EQ(ui.InputBox("?", ""), std::nullopt);
}

TEST_F(QtUserInterfaceTest, TheFileDialogSpeaksGermanAndBeginsAtTheCurrentPath) {
  const std::string file = folder.Write("adressen.mdb", "x");
  modals.Then("QFileDialog", [&](QWidget& dialog) {
    auto& chooser = static_cast<QFileDialog&>(dialog);
    EXPECT_EQ(chooser.windowTitle(), "Dateiname");
    EXPECT_EQ(chooser.directory().path(), ToQt(folder.path()));
    EXPECT_EQ(chooser.labelText(QFileDialog::Reject).remove('&'), "Abbrechen");
    EXPECT_THAT(FromQt(chooser.nameFilters().join("|")), "*.MDB (*.MDB *.mdb)");
    chooser.selectFile(ToQt(file));
    static_cast<QDialog&>(chooser).accept();
  });
  EXPECT_EQ(ui.ChooseFile("Dateiname", "*.MDB", folder.File("fehlt/auch.mdb")), file);
}

TEST_F(QtUserInterfaceTest, ACancelledFileDialogGivesNothing) {
  modals.Then("QFileDialog", [](QWidget& dialog) { static_cast<QDialog&>(dialog).reject(); });
  EXPECT_EQ(ui.ChooseFile("Dateiname", "*.*", ""), std::nullopt);
}

TEST_F(QtUserInterfaceTest, TheFolderDialogBeginsAtTheCurrentFolder) {
  modals.Then("QFileDialog", [&](QWidget& dialog) {
    auto& chooser = static_cast<QFileDialog&>(dialog);
    EXPECT_EQ(chooser.windowTitle(), "Datenbankpfad");
    EXPECT_EQ(chooser.fileMode(), QFileDialog::Directory);
    EXPECT_EQ(chooser.directory().path(), ToQt(folder.path()));
    static_cast<QDialog&>(chooser).reject();
  });
  EXPECT_EQ(ui.ChooseFolder("Datenbankpfad", folder.path()), std::nullopt);
}

}  // namespace
}  // namespace kestrel
