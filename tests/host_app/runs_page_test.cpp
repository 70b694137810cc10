// The page of the imports, and taking one back in the window.
#include <QProgressDialog>
#include <QPushButton>
#include <QStatusBar>
#include <QTimer>

#include "host_app/host_window_fixture.h"
#include "platform/base/file.h"
#include "qt/drive.h"
#include "support/eventually.h"
#include "support/forked_child.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class RunsPageTest : public HostWindowFixture {
 protected:
  static constexpr const char* kPage = "pageRuns";

  // Two runs: the second one changes an address of the first and adds one.
  void ImportTwice() {
    ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"Ort", "Köln"}}});
    ImportAll(
        {{{"KundenNummer", "7"}, {"Bez1", "Neu"}, {"Ort", "Köln"}}, {{"KundenNummer", "8"}, {"Bez1", "Acht"}}});
  }
  void Choose(int row) { Find<QTableView>(kPage, "table").selectRow(row); }
  std::string Text(const char* label) { return Find<QLabel>(kPage, label).text().toStdString(); }
  QPushButton& UndoButton() { return Find<QPushButton>(kPage, "cmdUndo"); }
  std::vector<std::string> Records(const QString& heading) {
    Find<QTableView>(kPage, "table").setObjectName("runs");
    Find<QTableView>(kPage, "records").setObjectName("table");
    std::vector<std::string> texts = Column(kPage, heading);
    Find<QTableView>(kPage, "table").setObjectName("records");
    Find<QTableView>(kPage, "runs").setObjectName("table");
    return texts;
  }
  std::vector<std::string> Customers() { return Rows("SELECT KundenNummer, Bez1 FROM Kunden ORDER BY 1"); }
};

TEST_F(RunsPageTest, ShowsTheLastImportFirst) {
  ImportTwice();
  Open();
  EXPECT_THAT(Column(kPage, "Lauf"), ElementsAre("2", "1"));
  EXPECT_THAT(Column(kPage, "Zustand"), ElementsAre("fertig", "fertig"));
  EXPECT_EQ(Text("count"), "2 Importläufe");
  EXPECT_FALSE(UndoButton().isEnabled()) << "no run is chosen";
}

TEST_F(RunsPageTest, ShowsTheNumbersOfALaterRunInFull) {
  ImportTwice();
  Open();
  connection->Execute("UPDATE Importlauf SET Neu = 987654321");
  window->findChild<QTabWidget*>("tabs")->setCurrentIndex(5);
  window->findChild<host::RunsPage*>()->Refresh();
  auto& table = Find<QTableView>(kPage, "table");
  const int column = 5;
  ASSERT_EQ(table.model()->index(0, column).data().toString().toStdString(), "987.654.321");
  EXPECT_GE(table.columnWidth(column), static_cast<QAbstractItemView&>(table).sizeHintForColumn(column));
}

TEST_F(RunsPageTest, GroupsTheSizeOfTheSourceAndTheCountsOfTheQuestion) {
  ImportTwice();
  connection->Execute("UPDATE Importlauf SET Quellgroesse = 35019, Neu = 1234 WHERE LaufNr = 2");
  Open();
  Choose(0);
  EXPECT_THAT(Text("origin"), HasSubstr("(35.019 Bytes, "));
  UndoButton().click();
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("Seine neuen Adressen (1.234)"));
}

TEST_F(RunsPageTest, ShowsBelowTheListWhatBecameOfTheRecordsOfTheChosenOne) {
  ImportTwice();
  Open();
  Choose(0);
  EXPECT_THAT(Text("origin"), AllOf(HasSubstr("Quelle: kunden.txt (42 Bytes, Stand 07.03.2024 14:05:09)"),
                                    HasSubstr("Spezifikation: Kunden.IMP"), HasSubstr("Prüfsumme: c0ffee")));
  EXPECT_THAT(Records("Ereignis"), ElementsAre("geändert", "neu"));
  EXPECT_THAT(Records("Vorher"), ElementsAre("Alt", ""));
  EXPECT_THAT(Records("Importiert"), ElementsAre("Neu", ""));
  Choose(1);
  EXPECT_THAT(Records("Ereignis"), ElementsAre("neu"));
}

TEST_F(RunsPageTest, TakesARunBackOnceThatIsConfirmedAndReadsTheListsAgain) {
  ImportTwice();
  Open();
  Choose(0);
  ui.answers = {Answer::kYes};
  UndoButton().click();
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(ui.boxes[0].text,
              AllOf(StartsWith("Soll der Importlauf 2 vom "), HasSubstr("zurückgenommen werden?")));
  EXPECT_THAT(Customers(), ElementsAre("7|Alt"));
  EXPECT_THAT(Column("pageKunden", "Name"), ElementsAre("Alt"));
  EXPECT_THAT(Column(kPage, "Zustand"), ElementsAre("zurückgenommen", "fertig"));
  EXPECT_EQ(Text("status"), "1 Adresse gelöscht, 1 Adresse wiederhergestellt.");
}

TEST_F(RunsPageTest, DoesNothingWithoutAYes) {
  ImportTwice();
  Open();
  Choose(0);
  UndoButton().click();
  EXPECT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(Customers(), ElementsAre("7|Neu", "8|Acht"));
  EXPECT_THAT(States(), ElementsAre("1|fertig", "2|fertig"));
}

TEST_F(RunsPageTest, ListsWhatWasChangedSinceAndTakesThatBackOnASecondWish) {
  ImportTwice();
  connection->Execute("UPDATE Kunden SET Bez1 = 'von Hand'");
  Open();
  Choose(0);
  ui.answers = {Answer::kYes, Answer::kYes};
  UndoButton().click();
  EXPECT_THAT(Records("Jetzt"), ElementsAre("von Hand", "von Hand"));
  EXPECT_THAT(Records("Importiert"), ElementsAre("Neu", "Acht"));
  EXPECT_THAT(Text("status"), HasSubstr("2 Änderungen seit dem Import stehen gelassen"));
  UndoButton().click();
  ASSERT_EQ(ui.boxes.size(), 2u);
  EXPECT_THAT(ui.boxes[1].text,
              HasSubstr("Soll auch zurückgenommen werden, was seit dem Import geändert wurde"));
  EXPECT_THAT(Customers(), ElementsAre("7|Alt"));
}

TEST_F(RunsPageTest, TellsTheWizardsResultPageWhereTheListIs) {
  ImportTwice();
  connection->Execute("UPDATE Kunden SET Bez1 = 'von Hand'");
  Open();
  ui.answers = {Answer::kYes};
  auto& page = *window->findChild<host::RunsPage*>();
  const UndoneRun undone = page.Undo(2, *window);
  EXPECT_EQ(undone.state, UndoneRun::State::kPartly);
  EXPECT_THAT(undone.told, HasSubstr("stehen gelassen; die Seite \"Importläufe\" zeigt sie."));
  EXPECT_THAT(Text("status"), HasSubstr("stehen gelassen; die Liste zeigt sie."));
}

TEST_F(RunsPageTest, StopsWhereThatIsWishedAndGoesOnLater) {
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 3000);
  End(importer, 3000);
  Open();
  Choose(0);
  ui.answers = {Answer::kYes, Answer::kYes};
  // The first look at the dialog presses its button.
  QTimer press;
  QObject::connect(&press, &QTimer::timeout, [&] {
    auto* dialog = window->findChild<QProgressDialog*>("undoDialog");
    if (dialog != nullptr) dialog->cancel();
  });
  press.start(0);
  UndoButton().click();
  press.stop();
  EXPECT_THAT(Text("status"), StartsWith("Angehalten: "));
  EXPECT_THAT(Column(kPage, "Zustand"), ElementsAre("in Rücknahme"));
  UndoButton().click();
  EXPECT_THAT(ui.boxes[1].text, StartsWith("Soll die Rücknahme des Importlaufs 1 vom "));
  EXPECT_THAT(Customers(), IsEmpty());
  EXPECT_THAT(Column(kPage, "Zustand"), ElementsAre("zurückgenommen"));
}

TEST_F(RunsPageTest, DoesNotFreezeWhileSomebodyElseHoldsTheDatabase) {
  if (OnPostgres()) GTEST_SKIP() << "a server locks rows, not the database";
  ImportTwice();
  const ConnectionPtr other = OpenConnection(file);
  Open();
  Choose(0);
  ui.answers = {Answer::kYes};
  other->Execute("BEGIN IMMEDIATE");
  // Only a window whose events go on ever gives it free.
  QTimer::singleShot(0, window.get(),
                     [&] { QTimer::singleShot(0, window.get(), [&] { other->Execute("ROLLBACK"); }); });
  UndoButton().click();
  EXPECT_THAT(Customers(), ElementsAre("7|Alt"));
}

TEST_F(RunsPageTest, RefusesARunThatIsStillRunningElsewhere) {
  const ObjectPtr importer = Importer();
  Start(importer);
  Open();
  Choose(0);
  EXPECT_THAT(Column(kPage, "Zustand"), ElementsAre("läuft"));
  EXPECT_FALSE(UndoButton().isEnabled());
}

TEST_F(RunsPageTest, TellsWhyARunCannotBeTakenBack) {
  ImportTwice();
  Open();
  Choose(0);
  connection->Execute("DELETE FROM Importfelder WHERE FieldName = 'Bemerkung'");
  ui.answers = {Answer::kYes};
  UndoButton().click();
  ASSERT_EQ(ui.boxes.size(), 2u);
  EXPECT_THAT(ui.boxes[1].text, AllOf(StartsWith("Fehler: "), HasSubstr("Importfelder")));
  EXPECT_THAT(Customers(), ElementsAre("7|Neu", "8|Acht"));
}

TEST_F(RunsPageTest, TakesNothingBackWhileAnImportIsOpen) {
  ImportTwice();
  Open();
  Choose(0);
  Find<QPushButton>("pageKunden", "cmdImport").click();
  UndoButton().click();
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_THAT(window->statusBar()->currentMessage().toStdString(), HasSubstr("Beenden Sie erst den Import"));
  EXPECT_THAT(Customers(), ElementsAre("7|Neu", "8|Acht"));
}

TEST_F(RunsPageTest, TellsOfARunWhoseProgramWasKilled) {
  connection->Close();
  {
    ForkedChild child([&] {
      const ConnectionPtr own = OpenConnection(file);
      const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
      SetProperty(importer, "Connection", own);
      Start(importer);
      folder.Write("ready", "");
      pause();
    });
    ASSERT_TRUE(testing::Eventually([&] { return FileExists(folder.File("ready")); }));
  }
  window = std::make_unique<host::HostWindow>(ui, components, OpenConnection(file), "4711");
  EXPECT_THAT(window->statusBar()->currentMessage().toStdString(), StartsWith("Der Importlauf 1 vom "));
  EXPECT_EQ(window->statusBar()->toolTip(), window->statusBar()->currentMessage())
      << "it may be cut at the edge";
  EXPECT_THAT(Column(kPage, "Zustand"), ElementsAre("abgebrochen"));
}

TEST_F(RunsPageTest, ADatabaseOfAnEarlierVersionGetsItsLedgerFirst) {
  connection->Execute("DROP TABLE Importlauf");
  connection->Execute("DROP TABLE Importlaufzeilen");
  Open();
  EXPECT_EQ(Text("count"), "Keine Importläufe");
}

}  // namespace
}  // namespace kestrel::testing
