// The confirmation that tells what is imported, where it is wanted.
#include "wizard/frmQuestionDlg.h"

#include <QDir>

#include "platform/base/file.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::ClickOn;
using testing::FindIn;
using ::testing::HasSubstr;

class TellingConfirmation : public testing::WizardFixture {
 protected:
  TellingConfirmation() : WizardFixture({.telling_confirmation = true, .harmless_test = true}) {}

  void OpenAssigned(int records = 3, const std::string& common = "") {
    OpenStep3(TextSpecification(WriteSource(records), common + "[FieldAssignments]\nName=FIELD:Name\n"));
  }
  // Looks at the confirmation; what is seen is without the places where a path may be broken.
  void Look(std::function<void(QWidget&)> look) {
    modals.Then("frmQuestionDlg", [look = std::move(look)](QWidget& question) {
      look(question);
      if (question.isVisible()) question.close();
    });
    Click("cmdOK");
  }
  static std::string Text(QWidget& question, const char* label) {
    return FromQt(FindIn<QLabel>(question, label).text().remove(QChar(0x200b)));
  }
  static std::string Counted(QWidget& question) {
    while (Text(question, "lblRecords") == "Die Datensätze werden gezählt ...") {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return Text(question, "lblRecords");
  }
  std::size_t Runs() const { return import_class->CountOf("BeforeImport"); }
};

TEST_F(TellingConfirmation, NamesFileRecordsAndWhatWillHappenToTheFile) {
  OpenAssigned(1200);
  Look([&](QWidget& question) {
    EXPECT_EQ(Text(question, "lblSource"), "Textdatei ''" + folder.File("quelle.txt") + "''");
    EXPECT_EQ(Counted(question), "1.200 Datensätze");
    EXPECT_EQ(Text(question, "lblFate"), "Die Datei bleibt, wie sie ist.");
  });
}

TEST_F(TellingConfirmation, SaysWithEachChoiceWhetherTheFileIsBackedUpAndRemoved) {
  const std::string backup = folder.File("sicherung");
  QDir().mkpath(ToQt(backup));
  OpenAssigned(3, "SaveFile=True\nSavePath=" + backup + "\nDeleteFile=True\n");
  Look([&](QWidget& question) {
    EXPECT_EQ(Text(question, "lblFate"), "Die Datei bleibt, wie sie ist.") << "a test is chosen beforehand";
    const QSize size = question.size();
    ClickOn(FindIn<QWidget>(question, "optImport"));
    EXPECT_EQ(Text(question, "lblFate"),
              "Die Datei wird vorher nach ''" + backup +
                  "'' kopiert. Danach wird sie gelöscht, sofern kein Fehler auftritt.");
    EXPECT_EQ(question.size(), size);
  });
}

TEST_F(TellingConfirmation, ARemovalWithoutACopyIsSaidPlainly) {
  OpenAssigned(3, "DeleteFile=True\n");
  Look([&](QWidget& question) {
    ClickOn(FindIn<QWidget>(question, "optImport"));
    EXPECT_EQ(Text(question, "lblFate"),
              "Die Datei wird ohne Sicherungskopie gelöscht, sofern kein Fehler auftritt.");
  });
}

TEST_F(TellingConfirmation, AMissingBackupFolderIsToldBeforehand) {
  const std::string backup = folder.File("sicherung");
  QDir().mkpath(ToQt(backup));
  OpenAssigned(3, "SaveFile=True\nSavePath=" + backup + "\n");
  QDir().rmdir(ToQt(backup));
  Look([&](QWidget& question) {
    ClickOn(FindIn<QWidget>(question, "optImport"));
    EXPECT_THAT(Text(question, "lblFate"), HasSubstr("da der Ordner ''" + backup + "'' fehlt."));
  });
}

TEST_F(TellingConfirmation, ASourceThatHasGoneIsNotCounted) {
  OpenAssigned();
  DeleteFile(folder.File("quelle.txt"));
  Look([&](QWidget& question) {
    EXPECT_EQ(Counted(question), "Wie viele Datensätze es sind, ist nicht bekannt.");
  });
}

TEST_F(TellingConfirmation, ItsFrameAndEscapeGoBackToStep3) {
  OpenAssigned();
  Look([](QWidget& question) { question.close(); });
  EXPECT_EQ(PageName(), "frmStep3");
  Look([](QWidget& question) { QTest::keyClick(&question, Qt::Key_Escape); });
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_EQ(Runs(), 0u);
  Look([](QWidget& question) { ClickOn(FindIn<QWidget>(question, "cmdOK")); });
  EXPECT_EQ(Runs(), 1u);
  EXPECT_TRUE(session.TestMode);
}

TEST_F(TellingConfirmation, WithoutItNothingIsTold) {
  frmQuestionDlg question(nullptr);
  EXPECT_EQ(question.findChild<QLabel*>("lblFate"), nullptr);
}

}  // namespace
}  // namespace kestrel
