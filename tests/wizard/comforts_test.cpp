// The comforts that change a page: each switched on, beside a test of the same without it.
#include <QAccessible>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTableView>

#include "kestrel/qt_user_interface.h"
#include "platform/base/file.h"
#include "support/temp_folder.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FindIn;
using ::testing::IsEmpty;
using testing::Spin;

constexpr const char* kLossQuestion =
    "Die Änderungen sind noch nicht gespeichert und gehen verloren. Möchten Sie den Import abbrechen?";

class WithoutComforts : public testing::WizardFixture {
 protected:
  using WizardFixture::WizardFixture;

  void OpenTextStep3(const std::string& assignments = "Name=FIELD:Name\n") {
    OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\n" + assignments));
  }
  std::string FieldShown(int row, int role = Qt::DisplayRole) const {
    const auto& list = Find<QTableView>("TDBImpList");
    return FromQt(list.model()->index(row, static_cast<int>(kSourceName)).data(role).toString());
  }
  std::string AssignmentShown(int row) const {
    const auto& list = Find<QTableView>("TDBImpList");
    return FromQt(list.model()->index(row, static_cast<int>(kDspDestinationName)).data().toString());
  }
  static std::string Workbook(const std::string& path, const std::string& table = "Adressen") {
    return "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\nProvider=Microsoft Excel\n"
           "Database=" +
           path + "\nTable=" + table + "\n[FieldAssignments]\nName=FIELD:Name\nOrt=CONST:Bonn\n";
  }
};

// --- Careful questions --------------------------------------------------------------------------

class CarefulQuestions : public WithoutComforts {
 protected:
  CarefulQuestions() : WithoutComforts({.careful_questions = true}) {}
};

TEST_F(WithoutComforts, EscapeOnStep3AsksOnlyWhereSomethingWasChanged) {
  OpenTextStep3();
  QTest::keyClick(&Page(), Qt::Key_Escape);
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(ui.boxes, IsEmpty());
  OpenTextStep3();
  Type("txtKonstanterWert", "Bonn");
  ui.answers = {Answer::kNo, Answer::kYes};
  QTest::keyClick(&Find<QLineEdit>("txtKonstanterWert"), Qt::Key_Escape);
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_TRUE(FileExists(session.SpecFile));
  EXPECT_EQ(Page().focusWidget(), &Find<QWidget>("txtKonstanterWert")) << "the person goes on where he was";
  QTest::keyClick(&Find<QLineEdit>("txtKonstanterWert"), Qt::Key_Escape);
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(ui.boxes,
              ElementsAre(Question(kLossQuestion, "Abbrechen?"), Question(kLossQuestion, "Abbrechen?")));
}

TEST_F(WithoutComforts, AbbrechenOnStep3NeverAsks) {
  OpenTextStep3();
  session.SchemaChanged = true;
  Click("cmdCancel");
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(CarefulQuestions, AbbrechenOnStep3AsksOnceWhereSomethingWasChanged) {
  OpenTextStep3();
  session.SchemaChanged = true;
  Click("cmdCancel");
  EXPECT_EQ(PageName(), "frmStep3");
  ui.answers = {Answer::kYes};
  QTest::keyClick(&Page(), Qt::Key_Escape);
  EXPECT_EQ(PageName(), "");
  EXPECT_EQ(ui.boxes.size(), 2u);
}

// What Enter answers on the screen, asked whether to delete a specification.
bool EnterDeletes(WizardComforts comforts, ComponentRegistry& components, Clock& clock,
                  testing::ModalDriver& modals) {
  QtUserInterface screen;
  auto session = std::make_shared<Session>(Platform{screen, components, clock});
  session->AppMode = 2;
  Wizard wizard(nullptr, comforts);
  wizard.ShowStep1(session);
  FindIn<QListWidget>(*wizard.CurrentPage(), "lstVorlage").setCurrentRow(0);
  modals.Then("messageBox", [](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), "Löschen?");
    QTest::keyClick(&dialog, Qt::Key_Return);
  });
  FindIn<QAction>(*wizard.CurrentPage(), "mnuDelete").trigger();
  return FindIn<QListWidget>(*wizard.CurrentPage(), "lstVorlage").count() == 0;
}

TEST_F(WithoutComforts, EnterDeletesASpecificationThatIsAskedAbout) {
  WriteSpecification("Test.IMP", TextSpecification(""));
  EXPECT_TRUE(EnterDeletes({}, components, clock, modals));
}

TEST_F(CarefulQuestions, EnterKeepsASpecificationThatIsAskedAbout) {
  WriteSpecification("Test.IMP", TextSpecification(""));
  EXPECT_FALSE(EnterDeletes({.careful_questions = true}, components, clock, modals));
}

// --- What a page says -----------------------------------------------------------------------------

class TellsOfSaving : public WithoutComforts {
 protected:
  TellsOfSaving() : WithoutComforts({.tells_of_saving = true}) {}
  std::string Status() const {
    const auto& line = Find<QLabel>("lblStatus");
    return line.isVisible() ? FromQt(line.text()) : "";
  }
};

TEST_F(TellsOfSaving, OnBothPagesUntilSomethingElseIsDone) {
  OpenStep2(TextSpecification(WriteSource()));
  Click("cmdSave");
  EXPECT_EQ(Status(), "Die Einstellungen sind gespeichert.");
  Type("txtTexterkenner", "'");
  EXPECT_EQ(Status(), "");
  Click("cmdNext");
  Click("cmdSave");
  EXPECT_EQ(Status(), "Die Einstellungen sind gespeichert.");
  Find<QTableView>("TDBImpList").selectRow(1);
  EXPECT_EQ(Status(), "");
}

TEST_F(TellsOfSaving, NotWhereNoNameWasGiven) {
  OpenStep3(TextSpecification(WriteSource()), "Muster.IMT");
  Click("cmdSave");
  EXPECT_EQ(Status(), "");
}

TEST_F(WithoutComforts, AnErrorLineGoesAwayWithTheNextThingThatIsDone) {
  OpenTextStep3();
  import_class->Raises("ShowConfig", RuntimeError(4711, "kaputt"));
  Click("cmdOptions");
  ASSERT_TRUE(Find<QLabel>("lblStatus").isVisible());
  Find<QTableView>("TDBImpList").selectRow(1);
  EXPECT_FALSE(Find<QLabel>("lblStatus").isVisible());
}

// --- Mandatory fields -----------------------------------------------------------------------------

class MarkedMandatoryFields : public WithoutComforts {
 protected:
  MarkedMandatoryFields() : WithoutComforts({.marked_mandatory_fields = true}) {}
};

TEST_F(MarkedMandatoryFields, HaveAStarBehindTheirName) {
  OpenTextStep3();
  EXPECT_EQ(FieldShown(0), "Name *");
  EXPECT_EQ(FieldShown(1), "Ort");
  EXPECT_EQ(FieldShown(0, Qt::AccessibleTextRole), "Name");
}

TEST_F(WithoutComforts, AScreenReaderIsToldOfAMandatoryField) {
  OpenTextStep3();
  EXPECT_EQ(FieldShown(0), "Name");
  EXPECT_EQ(FieldShown(0, Qt::AccessibleDescriptionRole), "Pflichtfeld");
  EXPECT_EQ(FieldShown(1, Qt::AccessibleDescriptionRole), "");
}

class NoHiddenColumns : public WithoutComforts {
 protected:
  NoHiddenColumns() : WithoutComforts({.no_hidden_columns = true}) {}
};

TEST_F(NoHiddenColumns, AScreenReaderReadsWhatIsSeenAndTheListWorksAsEver) {
  OpenTextStep3("Name=FIELD:Name\nOrt=CONST:Bonn\n");
  auto& list = Find<QTableView>("TDBImpList");
  ASSERT_EQ(list.model()->columnCount(), 3);
  std::vector<std::string> headings, line;
  for (int column = 0; column < 3; ++column) {
    EXPECT_FALSE(list.isColumnHidden(column));
    headings.push_back(FromQt(list.model()->headerData(column, Qt::Horizontal).toString()));
    line.push_back(FromQt(list.model()->index(1, column).data().toString()));
  }
  EXPECT_THAT(headings, ElementsAre("Feld", "Zugewiesen zu", ""));
  EXPECT_THAT(line, ElementsAre("Ort", "\"Bonn\"", ""));
  list.selectRow(1);
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtKonstanterWert").text()), "Bonn");
  Type("txtKonstanterWert", "Ulm");
  Focus("cmdSave");
  EXPECT_EQ(FromQt(list.model()->index(1, 1).data().toString()), "\"Ulm\"");
}

// --- Access keys ----------------------------------------------------------------------------------

class VisibleAccessKeys : public WithoutComforts {
 protected:
  VisibleAccessKeys() : WithoutComforts({.visible_access_keys = true}) {}
};

TEST_F(VisibleAccessKeys, StandInTheCaptionsAndPressTheSameButtonAsBefore) {
  OpenTextStep3();
  auto& next = Find<QPushButton>("cmdOK");
  EXPECT_EQ(next.text(), "&Fertigstellen");
  EXPECT_EQ(next.shortcut(), QKeySequence("Alt+F"));
  for (const auto* button : Page().findChildren<QAbstractButton*>()) {
    EXPECT_EQ(button->shortcut().isEmpty(), !button->text().contains('&')) << FromQt(button->objectName());
  }
  EXPECT_EQ(QAccessible::queryAccessibleInterface(&next)->text(QAccessible::Name), "Fertigstellen");
  modals.Then("frmTransTbl", [](QWidget& dialog) {
    EXPECT_EQ(FindIn<QPushButton>(dialog, "cmdOK").text(), "&OK");
    FindIn<QPushButton>(dialog, "cmdCancel").click();
  });
  Click("cmdKonstanterWert");
}

TEST_F(WithoutComforts, CaptionsAreToldToTheLetter) {
  OpenTextStep3();
  EXPECT_EQ(Find<QPushButton>("cmdOK").text(), "Fertigstellen");
}

// --- Kinds that the list lacks --------------------------------------------------------------------

class UnlistedKinds : public WithoutComforts {
 protected:
  UnlistedKinds() : WithoutComforts({.unlisted_kinds = true, .kept_assignments = true}) {}
};

TEST_F(UnlistedKinds, AWorkbookStaysAWorkbookOnTheWayToStep3AndBackToStep1) {
  const std::string missing = folder.File("fehlt.xls");
  OpenStep2(Workbook(missing));
  EXPECT_EQ(Find<QComboBox>("cboDatenquelleTyp").currentText(), "Microsoft Excel");
  EXPECT_EQ(Find<QComboBox>("cboDatenquelleTyp").count(), 5);
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtExcelFile").text()), missing);
  EXPECT_EQ(Find<QComboBox>("cboExcelSheet").currentText(), "Adressen");
  const std::string before = ReadWholeFile(session.ChosenSpecFile);
  Click("cmdPrev");
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_EQ(ReadWholeFile(session.ChosenSpecFile), before) << "nothing was changed";
}

TEST_F(UnlistedKinds, AnotherSpecificationIsOfferedTheFourKinds) {
  OpenStep2(TextSpecification(WriteSource()));
  EXPECT_EQ(Find<QComboBox>("cboDatenquelleTyp").count(), 4);
}

// --- Why a source could not be opened -------------------------------------------------------------

class FailedConnections : public WithoutComforts {
 protected:
  FailedConnections() : WithoutComforts({.failed_connections = true}) {}
  static std::string Tables(const std::string& folder_of_tables) {
    return "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\nProvider=dBase-Datenbank\n"
           "Database=" +
           folder_of_tables + "\n";
  }
};

TEST_F(FailedConnections, AreToldBelowTheBoxesUntilSomethingIsChanged) {
  OpenStep2(Tables(folder.File("weg")));
  EXPECT_THAT(FromQt(Find<QLabel>("lblStatus").text()), ::testing::HasSubstr("weg"));
  EXPECT_THAT(ui.boxes, IsEmpty());
  Type("txtdBaseFile", folder.path().c_str());
  EXPECT_EQ(FromQt(Find<QLabel>("lblStatus").text()), "");
  Focus("cbodBaseTable");
  EXPECT_EQ(FromQt(Find<QLabel>("lblStatus").text()), "");
}

TEST_F(FailedConnections, TestingAFileThatHasGoneSaysSo) {
  const std::string file = WriteSource();
  OpenStep2(TextSpecification(file));
  ASSERT_EQ(std::remove(file.c_str()), 0);
  Click("cmdVorschau");
  EXPECT_EQ(FromQt(Find<QLabel>("lblStatus").text()), "Die Datei ''" + file + "'' existiert nicht.");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(WithoutComforts, TestingAFileThatHasGoneIsSilent) {
  const std::string file = WriteSource();
  OpenStep2(TextSpecification(file));
  ASSERT_EQ(std::remove(file.c_str()), 0);
  Click("cmdVorschau");
  EXPECT_EQ(FromQt(Find<QLabel>("lblStatus").text()), "");
}

TEST_F(FailedConnections, AWrongPasswordOfAnAccessDatabaseSaysSo) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the public test files are not there";
  const std::string database = testing::TestDataFolder() + "/accdb/db2013-enc.accdb";
  OpenStep2(
      "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\n"
      "Provider=Microsoft Access-Datenbanken\nDatabase=" +
      database + "\nUser=" + database + "\n");
  EXPECT_THAT(FromQt(Find<QLabel>("lblStatus").text()), ::testing::HasSubstr("Kennwort"));
}

TEST_F(WithoutComforts, AFailedConnectionIsSilent) {
  OpenStep2(
      "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\n"
      "Provider=dBase-Datenbank\nDatabase=" +
      folder.File("weg") + "\n");
  EXPECT_EQ(FromQt(Find<QLabel>("lblStatus").text()), "");
}

// --- Sources that cannot be reached ---------------------------------------------------------------

class KeptAssignments : public WithoutComforts {
 protected:
  KeptAssignments() : WithoutComforts({.kept_assignments = true}) {}
  static std::string Unreachable(const std::string& folder_of_tables) {
    return "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\nProvider=dBase-Datenbank\n"
           "Database=" +
           folder_of_tables + "\nTable=KUNDEN\n[FieldAssignments]\nName=FIELD:NAME1\nOrt=CONST:Bonn\n";
  }
};

TEST_F(KeptAssignments, OfASourceThatCannotBeReadAndItsTableToo) {
  OpenStep2(Unreachable(folder.File("weg")));
  EXPECT_EQ(Find<QComboBox>("cbodBaseTable").currentText(), "KUNDEN");
  Click("cmdNext");
  ASSERT_EQ(PageName(), "frmStep3");
  EXPECT_EQ(AssignmentShown(0), "«NAME1»");
  EXPECT_EQ(AssignmentShown(1), "\"Bonn\"");
  Click("cmdSave");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "FIELD:NAME1");
  EXPECT_EQ(Stored("Common", "Table"), "KUNDEN");
  EXPECT_EQ(Stored("SourceColumns", "Count"), "(fehlt)") << "nobody has seen its columns";
}

TEST_F(KeptAssignments, AColumnThatASourceLacksIsDroppedAllTheSame) {
  OpenTextStep3("Name=FIELD:Weg\nOrt=FIELD:Ort\n");
  EXPECT_EQ(AssignmentShown(0), "");
  EXPECT_EQ(AssignmentShown(1), "«Ort»");
}

TEST_F(WithoutComforts, TheAssignmentsOfASourceThatCannotBeReadAreDropped) {
  OpenStep3(TextSpecification(folder.Write("quelle.txt", "Name\r\n"), "[FieldAssignments]\nName=FIELD:Nr\n"));
  EXPECT_EQ(AssignmentShown(0), "");
}

}  // namespace
}  // namespace kestrel
