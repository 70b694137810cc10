// What the host does for the result page of an import.
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <filesystem>

#include "host_app/host_window_fixture.h"
#include "qt/drive.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class HostResultPage : public HostWindowFixture {
 protected:
  // From the host's window to the result of a test or an import of two customers, the second of which is `second`.
  void Run(bool is_test, const char* second = "2;Schmidt;Bonn", const std::string& more = "") {
    const std::string file =
        folder.Write("neu.txt", std::string("Nr;Name;Ort\r\n1;Müller;Köln\r\n") + second + "\r\n");
    std::filesystem::create_directory(folder.File("Import"));
    folder.Write("Import/Kunden.IMP",
                 "[Common]\r\nDescription=Kunden\r\nApplication=2\r\nImportClass=ksbimport.importkunden\r\n"
                 "Provider=Textdatei\r\nDelimiter=;\r\nColumnHeadings=True\r\nFileName=" +
                     file +
                     "\r\n[FieldAssignments]\r\nKundenNummer=FIELD:Nr\r\nBez1=FIELD:Name\r\nOrt=FIELD:Ort\r\n" +
                     more);
    Open();
    Find<QPushButton>("pageKunden", "cmdImport").click();
    FindIn<QListWidget>(Page(), "lstVorlage").setCurrentRow(0);
    for (const char* next : {"cmdNext", "cmdNext"}) Press(next);
    modals.Then("frmQuestionDlg", [is_test](QWidget& question) {
      if (!is_test) ClickOn(FindIn<QWidget>(question, "optImport"));
      ClickOn(FindIn<QWidget>(question, "cmdOK"));
    });
    Press("cmdOK");
    ASSERT_EQ(Page().objectName(), "frmResult");
  }
  static QWidget& Page() {
    QWidget* page = ShownWizardPage();
    if (page == nullptr) throw std::runtime_error("no page is shown");
    return *page;
  }
  void Press(const char* button) {
    FindIn<QPushButton>(Page(), button).click();
    Spin();
  }
  // From now on the ledger's rows of that event cannot be worked off.
  void RefuseToTakeBack(const std::string& event) {
    const std::string when = "WHEN (old.Ereignis = '" + event + "')";
    if (OnPostgres()) {
      connection->Execute(
          "CREATE FUNCTION f() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE 'nicht diese'; END $$");
      connection->Execute("CREATE TRIGGER t BEFORE UPDATE ON Importlaufzeilen FOR EACH ROW " + when +
                          " EXECUTE PROCEDURE f()");
    } else {
      connection->Execute("CREATE TRIGGER t BEFORE UPDATE ON Importlaufzeilen " + when +
                          " BEGIN SELECT RAISE(ABORT, 'nicht diese'); END");
    }
  }
  void AllowIt() {
    connection->Execute(OnPostgres() ? "DROP TRIGGER t ON Importlaufzeilen" : "DROP TRIGGER t");
  }
  bool HasCustomers(const std::vector<std::string>& numbers) {
    return Eventually([&] { return Column("pageKunden", "Nummer") == numbers; });
  }

  ModalDriver modals{[](const std::string& complaint) { ADD_FAILURE() << complaint; }};
};

TEST_F(HostResultPage, AnImportBehindATestIsTakenBackFromIt) {
  Run(true);
  EXPECT_THAT(Column("pageKunden", "Nummer"), IsEmpty());
  Press("cmdImport");
  EXPECT_EQ(FindIn<QLabel>(Page(), "storedNew").text(), "2");
  EXPECT_TRUE(HasCustomers({"1", "2"})) << "the lists are read while the page stands";
  ui.boxes.clear();
  ui.answers = {Answer::kYes};
  Press("cmdUndo");
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("Soll der Importlauf 1"));
  EXPECT_THAT(FindIn<QPlainTextEdit>(Page(), "txtRemarks").toPlainText().toStdString(),
              HasSubstr("2 Adressen gelöscht, 0 Adressen wiederhergestellt."));
  EXPECT_TRUE(HasCustomers({}));
  EXPECT_EQ(FindIn<QLabel>(Page(), "lblStepInfo").text(), "Import zurückgenommen");
  EXPECT_FALSE(FindIn<QPushButton>(Page(), "cmdUndo").isEnabled());
}

TEST_F(HostResultPage, WhatWasChangedSinceIsTakenBackFromItOnASecondWish) {
  Run(false);
  connection->Execute("UPDATE Kunden SET Bez1 = 'von Hand' WHERE KundenNummer = 2");
  ui.answers = {Answer::kYes, Answer::kYes};
  Press("cmdUndo");
  EXPECT_EQ(FindIn<QLabel>(Page(), "lblStepInfo").text(), "Import teilweise zurückgenommen");
  Press("cmdUndo");
  EXPECT_EQ(FindIn<QLabel>(Page(), "lblStepInfo").text(), "Import zurückgenommen");
  EXPECT_FALSE(FindIn<QPushButton>(Page(), "cmdUndo").isEnabled());
  EXPECT_TRUE(HasCustomers({}));
}

TEST_F(HostResultPage, AnUndoThatFailsBeforeAnythingWasTakenBackLeavesThePage) {
  Run(false);
  connection->Execute("DELETE FROM Importfelder WHERE FieldName = 'Bemerkung'");
  ui.answers = {Answer::kYes};
  Press("cmdUndo");
  EXPECT_EQ(FindIn<QLabel>(Page(), "lblStepInfo").text(), "Import abgeschlossen");
  EXPECT_TRUE(FindIn<QPushButton>(Page(), "cmdUndo").isEnabled());
}

TEST_F(HostResultPage, AnUndoThatFailsHalfwayIsToldLeavesNothingHalfDoneAndGoesOnLater) {
  AddCustomer("1", "Meier", "Bonn");
  Run(false, "2;Schmidt;Bonn", "[CfgSettings]\r\nKundenUeberschreiben=1\r\n");
  const auto customers = [this] {
    return Rows(
        "SELECT KundenNummer, Bez1, Ort, (SELECT count(*) FROM Adressindex WHERE AdressId = KundenNummer * 64 "
        "+ 1) "
        "FROM Kunden ORDER BY 1");
  };
  ASSERT_THAT(customers(), ElementsAre("1|Müller|Köln|1", "2|Schmidt|Bonn|1"));
  // The ledger is gone through backwards: the new address goes, and then the change stays.
  RefuseToTakeBack("geändert");
  ui.boxes.clear();
  ui.answers = {Answer::kYes};
  Press("cmdUndo");
  ASSERT_EQ(ui.boxes.size(), 2u);
  EXPECT_THAT(ui.boxes[1].text, HasSubstr("nicht diese"));
  EXPECT_EQ(FindIn<QLabel>(Page(), "lblStepInfo").text(), "Import teilweise zurückgenommen");
  EXPECT_THAT(FindIn<QPlainTextEdit>(Page(), "txtRemarks").toPlainText().toStdString(),
              AllOf(HasSubstr("nicht diese"), HasSubstr("setzt die Rücknahme fort")));
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_THAT(customers(), ElementsAre("1|Müller|Köln|1"));
  EXPECT_THAT(Rows("SELECT Zustand FROM Importlauf"), ElementsAre("in Rücknahme"));
  AllowIt();
  ui.answers = {Answer::kYes};
  Press("cmdUndo");
  EXPECT_EQ(FindIn<QLabel>(Page(), "lblStepInfo").text(), "Import zurückgenommen");
  EXPECT_THAT(FindIn<QPlainTextEdit>(Page(), "txtRemarks").toPlainText().toStdString(),
              Not(HasSubstr("nicht diese")));
  EXPECT_THAT(customers(), ElementsAre("1|Meier|Bonn|1"));
}

TEST_F(HostResultPage, AnUndoThatFailsAtItsFirstStepHasTakenNothingBack) {
  Run(false);
  RefuseToTakeBack("neu");
  ui.answers = {Answer::kYes};
  Press("cmdUndo");
  EXPECT_EQ(FindIn<QLabel>(Page(), "lblStepInfo").text(), "Import abgeschlossen");
  EXPECT_TRUE(FindIn<QPushButton>(Page(), "cmdUndo").isEnabled());
  EXPECT_TRUE(HasCustomers({"1", "2"}));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("2"));
}

TEST_F(HostResultPage, ANoTakesNothingBack) {
  Run(false);
  ui.answers = {Answer::kNo};
  Press("cmdUndo");
  EXPECT_EQ(FindIn<QPlainTextEdit>(Page(), "txtRemarks").toPlainText(), "");
  EXPECT_TRUE(HasCustomers({"1", "2"}));
}

TEST_F(HostResultPage, TheLogOpensInTheHostsWindow) {
  Run(false, "zwei;Schmidt;Bonn");
  EXPECT_EQ(FindIn<QLabel>(Page(), "errors").text(), "1");
  Press("cmdLog");
  auto* tabs = window->findChild<QTabWidget*>("tabs");
  EXPECT_EQ(tabs->tabText(tabs->currentIndex()), "Importprotokoll");
}

TEST_F(HostResultPage, KeepsNobodyFromTheNextImport) {
  Run(false);
  Find<QPushButton>("pageKunden", "cmdImport").click();
  EXPECT_EQ(Page().objectName(), "frmStep1");
}

TEST_F(HostResultPage, BehindATestTheImportIsStillOpen) {
  Run(true);
  Find<QPushButton>("pageKunden", "cmdImport").click();
  EXPECT_EQ(Page().objectName(), "frmResult");
}

TEST_F(HostResultPage, ClosesWithTheHostAndWithoutAQuestion) {
  Run(false);
  ui.boxes.clear();
  EXPECT_TRUE(window->close());
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_EQ(ShownWizardPage(), nullptr);
}

}  // namespace
}  // namespace kestrel::testing
