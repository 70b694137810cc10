#include <QAction>
#include <QDropEvent>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QStatusBar>
#include <QTest>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>

#include "app/host_database.h"
#include "host_app/host_window_fixture.h"
#include "kestrel/bound_object.h"
#include "platform/base/file.h"
#include "qt/drive.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class HostWindowTest : public HostWindowFixture {
 protected:
  void AddErrorLog(const char* description, const char* message) {
    const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
    Value host(connection);
    CallMethod(log, "CreateProtokoll", ByRef(host), "Titel", "Dr. Erika Schmitz", "LST_Import", "07.03.2024",
               description, "Kunden.IMP", "Textdatei");
    CallMethod(log, "AddNewRecord");
    Value text(message);
    CallMethod(log, "SetField", 10, 0, ByRef(text));
    CallMethod(log, "UpdateRecord");
  }
};

TEST_F(HostWindowTest, RestoresKeyIndexesThatAreMissingAndSaysSo) {
  if (OnPostgres()) GTEST_SKIP() << "happened to SQLite files only";
  connection->Execute("DROP INDEX Adressindex2");
  Open();
  EXPECT_THAT(window->statusBar()->currentMessage().toStdString(), HasSubstr("neu angelegt"));
  EXPECT_THAT(Rows("SELECT count(*) FROM sqlite_schema WHERE name LIKE 'Adressindex_'"), ElementsAre("3"));
  Open();
  EXPECT_EQ(window->statusBar()->currentMessage().toStdString(), "");
}

// Stands for the restoring of a database that takes long.
class SlowSetup final : public BoundObject<SlowSetup> {
 public:
  explicit SlowSetup(bool& is_left) : is_left_(is_left) {}
  static void Bind(Members& members) { members.Method("RestoreDatabase", &SlowSetup::RestoreDatabase); }

 private:
  std::string RestoreDatabase(const ObjectPtr& connection) {
    const std::thread::id caller = std::this_thread::get_id();
    RequireConnection(connection).CallMutex().Aside([&] { is_left_ = std::this_thread::get_id() != caller; });
    return "wiederhergestellt";
  }

  bool& is_left_;
};

TEST_F(HostWindowTest, LeavesTheRestoringOfTheDatabaseToAnotherThread) {
  bool is_left = false;
  components.Register("kestrelhost.Setup", [&] { return std::make_shared<SlowSetup>(is_left); });
  Open();
  EXPECT_TRUE(is_left);
  EXPECT_EQ(window->statusBar()->currentMessage(), "wiederhergestellt");
  // Only that: all else of the window is done by its own thread.
  bool is_left_later = true;
  const std::thread::id self = std::this_thread::get_id();
  connection->CallMutex().Aside([&] { is_left_later = std::this_thread::get_id() != self; });
  EXPECT_FALSE(is_left_later);
}

TEST_F(HostWindowTest, OpensNoLargerThanTheScreen) {
  Open();
  const QSize screen = window->screen()->availableSize();
  EXPECT_EQ(window->size(), window->size().boundedTo(screen)) << "on a screen of " << screen.width();
}

TEST_F(HostWindowTest, NoMenuTakesTheAccessKeyOfAButton) {
  Open();
  QStringList menus;
  for (const QAction* menu : window->menuBar()->actions()) {
    menus << QKeySequence::mnemonic(menu->text()).toString();
  }
  EXPECT_FALSE(menus.isEmpty());
  for (const auto* button : window->findChildren<QAbstractButton*>()) {
    EXPECT_FALSE(menus.contains(button->shortcut().toString()) && !button->shortcut().isEmpty())
        << button->objectName().toStdString();
  }
}

TEST_F(HostWindowTest, ShowsTheThreeListsAndTheTwoLogs) {
  Open();
  auto* tabs = window->findChild<QTabWidget*>("tabs");
  QStringList titles;
  for (int i = 0; i < tabs->count(); ++i) titles << tabs->tabText(i);
  EXPECT_EQ(titles.join("|"),
            "Kunden|Interessenten|Lieferanten|Importprotokoll|Dublettenprotokoll|Importläufe");
}

TEST_F(HostWindowTest, ShowsAddressesAsAPersonReadsThem) {
  AddCustomer("7", "Café Zürich", "Köln", "20240229");
  Open();
  EXPECT_THAT(Column("pageKunden", "Nummer"), ElementsAre("7"));
  EXPECT_THAT(Column("pageKunden", "Name"), ElementsAre("Café Zürich"));
  EXPECT_THAT(Column("pageKunden", "Kunde seit"), ElementsAre("29.02.2024"));
  EXPECT_EQ(Find<QLabel>("pageKunden", "count").text(), "1 Adresse");
  EXPECT_EQ(Find<QLabel>("pageLieferanten", "count").text(), "0 Adressen");
}

TEST_F(HostWindowTest, EveryColumnHasAHeadingAsPeopleWriteIt) {
  Open();
  const QAbstractItemModel& model = *Find<QTableView>("pageKunden", "table").model();
  std::vector<std::string> headings;
  for (int column = 0; column < model.columnCount(); ++column) {
    headings.push_back(model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString().toStdString());
  }
  EXPECT_THAT(headings,
              ElementsAre("Nummer", "Name", "Name 2", "Name 3", "Straße", "Land", "PLZ", "Ort", "Telefon",
                          "E-Mail", "Gruppe", "Kunde seit", "Umsatz", "Rabatt", "Mitarbeiter", "Bemerkung",
                          "Suchbegriff", "Sprache", "Währung", "Zahlungsziel"));
}

TEST_F(HostWindowTest, SearchFindsTextInEveryColumnWhateverItsCase) {
  AddCustomer("1", "Möbelhaus Überall", "Bonn");
  AddCustomer("2", "Müller", "ÜBERLINGEN");
  AddCustomer("3", "Schmidt", "Ulm");
  Open();
  Find<QLineEdit>("pageKunden", "search").setText("über");
  EXPECT_TRUE(Eventually([&] { return Find<QLabel>("pageKunden", "count").text() == "2 Adressen"; }));
  EXPECT_THAT(Column("pageKunden", "Nummer"), ElementsAre("1", "2"));
  Find<QLineEdit>("pageKunden", "search").clear();
  EXPECT_TRUE(Eventually([&] { return Find<QLabel>("pageKunden", "count").text() == "3 Adressen"; }));
}

TEST_F(HostWindowTest, SearchTakesQuotesAndPercentSignsAsTheyStand) {
  AddCustomer("1", "Rabatt 50%", "Bonn");
  AddCustomer("2", "O'Brien", "Bonn");
  Open();
  Find<QLineEdit>("pageKunden", "search").setText("0%");
  EXPECT_TRUE(Eventually([&] { return Find<QLabel>("pageKunden", "count").text() == "1 Adresse"; }));
  EXPECT_THAT(Column("pageKunden", "Nummer"), ElementsAre("1"));
  Find<QLineEdit>("pageKunden", "search").setText("o'b");
  EXPECT_TRUE(Eventually([&] { return Column("pageKunden", "Nummer") == std::vector<std::string>{"2"}; }));
}

TEST_F(HostWindowTest, NamesAreOrderedAsInADirectoryAndNumbersByTheirValue) {
  AddCustomer("10", "Zander", "");
  AddCustomer("9", "Äpfel", "");
  AddCustomer("2", "birnen", "");
  AddCustomer("1", "Apfel", "");
  Open();
  EXPECT_THAT(Column("pageKunden", "Nummer"), ElementsAre("1", "2", "9", "10"));
  Find<QComboBox>("pageKunden", "orderBy").setCurrentText("Name");
  EXPECT_THAT(Column("pageKunden", "Name"), ElementsAre("Apfel", "Äpfel", "birnen", "Zander"));
  Find<QCheckBox>("pageKunden", "descending").click();
  EXPECT_THAT(Column("pageKunden", "Name"), ElementsAre("Zander", "birnen", "Apfel", "Äpfel"));
}

TEST_F(HostWindowTest, TheOrderChosenInTheHeaderShowsAboveTheTable) {
  AddCustomer("1", "A", "");
  Open();
  Find<QTableView>("pageKunden", "table").sortByColumn(1, Qt::DescendingOrder);
  EXPECT_EQ(Find<QComboBox>("pageKunden", "orderBy").currentText(), "Name");
  EXPECT_TRUE(Find<QCheckBox>("pageKunden", "descending").isChecked());
}

TEST_F(HostWindowTest, TheLogShowsTheLastImportOrAll) {
  AddErrorLog("Alte Kunden", "erster Fehler");
  AddErrorLog("Neue Kunden", "zweiter Fehler");
  Open();
  EXPECT_THAT(Column("logLST_Import", "Meldung"), ElementsAre("zweiter Fehler"));
  EXPECT_THAT(Column("logLST_Import", "Datum"), ElementsAre("07.03.2024"));
  Find<QCheckBox>("logLST_Import", "onlyLast").click();
  EXPECT_THAT(Column("logLST_Import", "Import"), ElementsAre("Alte Kunden", "Neue Kunden"));
  EXPECT_EQ(Find<QLabel>("logLST_ImportDublett", "count").text(), "Keine Einträge");
}

TEST_F(HostWindowTest, ADetailsPaneTellsAllOfTheErrorThatIsChosen) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  CallMethod(log, "CreateProtokoll", ByRef(host), "t", "Dr. Erika Schmitz", "LST_Import", "07.03.2024",
             "Kunden", "/i/~1.tmp", "Textdatei");
  CallMethod(log, "SetLogDetail", "Specification", "/i/Kunden.IMP");
  CallMethod(log, "SetLogDetail", "Source", "/d/kunden.txt");
  const auto add_row = [&](const char* text, FieldTexts details) {
    CallMethod(log, "AddNewRecord");
    CallMethod(log, "SetField", 10, 0, text);
    for (const auto& [name, value] : details) CallMethod(log, "SetRowDetail", name, value);
    CallMethod(log, "UpdateRecord");
  };
  add_row("Fehler: 13 kein Datum (ImportRecord/ImportStart)",
          {{"Record", "27"}, {"Field", "KundeSeit"}, {"SourceColumn", "seit"}, {"RawValue", "31.02.2019"}});
  add_row("Fehler: 3000 verloren", {{"Record", "30"}, {"LastRecord", "44"}});
  Open();
  EXPECT_THAT(Column("logLST_Import", "Datensatz"), ElementsAre("27", "30"));
  auto& details = Find<QPlainTextEdit>("logLST_Import", "details");
  EXPECT_EQ(details.toPlainText(), "");
  auto& table = Find<QTableView>("logLST_Import", "table");
  table.selectRow(0);
  EXPECT_EQ(details.toPlainText().toStdString(),
            "Datensatz: 27\nFeld: KundeSeit\nQuellspalte: seit\nRohwert: 31.02.2019\nFehlernummer: 13\n"
            "Meldung: Fehler: 13 kein Datum (ImportRecord/ImportStart)\nQuelle: /d/kunden.txt\n"
            "Spezifikation: /i/Kunden.IMP");
  table.selectRow(1);
  EXPECT_THAT(details.toPlainText().toStdString(),
              ::testing::StartsWith("Datensatz: 30 bis 44\nFehlernummer: 3000"));
}

TEST_F(HostWindowTest, TheRowThatIsChosenStaysSoWhenTheLogIsReadAgain) {
  AddErrorLog("Kunden", "Fehler: 13 erster");
  Open();
  Find<QTableView>("logLST_Import", "table").selectRow(0);
  AddErrorLog("Lieferanten", "Fehler: 14 zweiter");
  const auto shown = [this] {
    return Find<QPlainTextEdit>("logLST_Import", "details").toPlainText().toStdString();
  };
  Find<QCheckBox>("logLST_Import", "onlyLast").click();
  EXPECT_THAT(shown(), HasSubstr("erster"));
  Find<QCheckBox>("logLST_Import", "onlyLast").click();
  EXPECT_EQ(shown(), "");
}

TEST_F(HostWindowTest, TheWorkingCopyOfAnImportIsNeverShown) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  for (const char* list : {"LST_Import", "LST_ImportDublett"}) {
    CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", list, "07.03.2024", "Kunden", "/i/~1.tmp",
               "Textdatei");
    CallMethod(log, "AddNewRecord");
    for (int column = 0; column < 3; ++column) CallMethod(log, "SetField", 10, column, "x");
    CallMethod(log, "UpdateRecord");
  }
  Open();
  for (const QTableView* table : window->findChildren<QTableView*>("table")) {
    const QAbstractItemModel& model = *table->model();
    for (int column = 0; model.rowCount() > 0 && column < model.columnCount(); ++column) {
      EXPECT_FALSE(model.index(0, column).data().toString().contains("~1.tmp"));
    }
  }
  Find<QTableView>("logLST_Import", "table").selectRow(0);
  EXPECT_EQ(Find<QPlainTextEdit>("logLST_Import", "details").toPlainText().toStdString(),
            "Meldung: x\nQuelle: Textdatei");
}

TEST_F(HostWindowTest, AMissingLogReaderIsToldWhereTheLogWouldStand) {
  ComponentRegistry nothing;
  window = std::make_unique<host::HostWindow>(ui, nothing, connection, "4711");
  EXPECT_THAT(Find<QLabel>("logLST_Import", "count").text().toStdString(), HasSubstr("kestrelhost.LogReader"));
}

TEST_F(HostWindowTest, ImportOpensTheWizardAndReturnsAtOnce) {
  Open();
  Find<QPushButton>("pageKunden", "cmdImport").click();
  QWidget* page = ShownWizardPage();
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(page->objectName(), "frmStep1");
  EXPECT_FALSE(page->isModal());
}

TEST_F(HostWindowTest, AFileThatIsChosenIsOfferedAsTheSourceOfTheListThatIsShown) {
  const std::string file = folder.Write("neu.txt", "Name;Ort\r\n");
  std::filesystem::create_directory(folder.File("Import"));
  folder.Write(
      "Import/Lieferanten.IMP",
      "[Common]\r\nDescription=Lieferanten\r\nApplication=4\r\nImportClass=ksbimport.importlieferanten\r\n"
      "Provider=Textdatei\r\nFileName=/alt.txt\r\n");
  Open();
  window->findChild<QTabWidget*>("tabs")->setCurrentIndex(2);
  const auto offered = [&] {
    FindIn<QListWidget>(*ShownWizardPage(), "lstVorlage").setCurrentRow(0);
    FindIn<QPushButton>(*ShownWizardPage(), "cmdNext").click();
    Spin();
    const std::string path = FindIn<QLineEdit>(*ShownWizardPage(), "txtFilename").text().toStdString();
    ShownWizardPage()->close();
    Spin();
    return path;
  };
  ui.replies = {file};
  for (QAction* menu : window->menuBar()->actions()) {
    for (QAction* action : menu->menu()->actions()) {
      if (action->text().remove('&') == "Datei importieren...") action->trigger();
    }
  }
  EXPECT_EQ(offered(), file);
  Find<QPushButton>("pageLieferanten", "cmdImport").click();
  EXPECT_EQ(offered(), "/alt.txt") << "the file was offered for one import";
}

TEST_F(HostWindowTest, AFileDroppedOntoAListIsImportedIntoIt) {
  const std::string file = folder.Write("neu.txt", "Name;Ort\r\n");
  Open();
  QMimeData data;
  data.setUrls({QUrl::fromLocalFile(QString::fromStdString(file))});
  auto* page = window->findChild<QWidget*>("pageInteressenten");
  QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(page, &enter);
  EXPECT_TRUE(enter.isAccepted());
  QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(page, &drop);
  EXPECT_TRUE(drop.isAccepted());
  EXPECT_TRUE(Eventually([] { return ShownWizardPage() != nullptr; }));
}

TEST_F(HostWindowTest, ASecondImportDoesNotThrowTheFirstAway) {
  Open();
  Find<QPushButton>("pageKunden", "cmdImport").click();
  QWidget* page = ShownWizardPage();
  Find<QPushButton>("pageLieferanten", "cmdImport").click();
  EXPECT_EQ(ShownWizardPage(), page);
}

TEST_F(HostWindowTest, TheListsAreReadAgainWhenTheWizardEnds) {
  Open();
  Find<QPushButton>("pageKunden", "cmdImport").click();
  AddCustomer("5", "Neu", "Bonn");
  EXPECT_THAT(Column("pageKunden", "Nummer"), IsEmpty());
  ShownWizardPage()->findChild<QPushButton*>("cmdCancel")->click();
  EXPECT_TRUE(Eventually([&] { return Column("pageKunden", "Nummer") == std::vector<std::string>{"5"}; }));
}

TEST_F(HostWindowTest, ClosingAsksAboutAnImportThatIsStillOpen) {
  Open();
  Find<QPushButton>("pageKunden", "cmdImport").click();
  ui.answers = {Answer::kNo, Answer::kYes};
  EXPECT_FALSE(window->close());
  EXPECT_NE(ShownWizardPage(), nullptr);
  EXPECT_TRUE(window->close());
  EXPECT_EQ(ShownWizardPage(), nullptr);
  ASSERT_EQ(ui.boxes.size(), 2u);
  EXPECT_EQ(ui.boxes[0].text, "Ein Import ist noch geöffnet. Möchten Sie ihn abbrechen?");
}

TEST_F(HostWindowTest, ClosingWithoutAnImportAsksNothing) {
  Open();
  EXPECT_TRUE(window->close());
  EXPECT_THAT(ui.boxes, IsEmpty());
}

// A screen reader names a control by its own text or its accessible name.
TEST_F(HostWindowTest, EveryControlHasANameForAScreenReader) {
  Open();
  int controls = 0;
  for (const QWidget* widget : window->findChildren<QWidget*>()) {
    if (widget->focusPolicy() == Qt::NoFocus) continue;
    const auto* button = qobject_cast<const QAbstractButton*>(widget);
    const bool own_control = qobject_cast<const QLineEdit*>(widget) != nullptr ||
                             qobject_cast<const QTableView*>(widget) != nullptr ||
                             qobject_cast<const QComboBox*>(widget) != nullptr || button != nullptr;
    if (!own_control) continue;
    ++controls;
    EXPECT_FALSE(widget->accessibleName().isEmpty() && (button == nullptr || button->text().isEmpty()))
        << widget->metaObject()->className() << " " << widget->objectName().toStdString();
  }
  EXPECT_GE(controls, 17);
}

TEST(HostDatabase, AFolderWithoutADatabaseGetsNone) {
  const TempFolder folder;
  EXPECT_ERROR_TEXT(host::OpenHostDatabase(folder.path(), ""), ErrorNumber::kFileNotFound,
                    HasSubstr("kestrel-import init"));
  EXPECT_FALSE(FileExists(folder.File("kestrel.db")));
}

TEST(HostDatabase, ANamedFileThatIsNotThereIsNotMade) {
  const TempFolder folder;
  EXPECT_ERROR_TEXT(host::OpenHostDatabase(folder.path(), folder.File("fehlt.db")), ErrorNumber::kFileNotFound,
                    HasSubstr("fehlt.db"));
  EXPECT_FALSE(FileExists(folder.File("fehlt.db")));
}

TEST(HostDatabase, ADatabaseOfSomethingElseIsRefused) {
  const TempFolder folder;
  // It may well have customers.
  OpenConnection(folder.File("kestrel.db"))->Execute("CREATE TABLE Kunden (Nr INTEGER)");
  EXPECT_ERROR_TEXT(host::OpenHostDatabase(folder.path(), ""), ErrorNumber::kDatabase,
                    HasSubstr("Adresslisten"));
}

// Whatever is clicked or typed after the database has gone is told where it was asked; nothing reaches the
// message loop. The controls are found, not listed, so that a new one is asked too.
TEST_F(HostWindowTest, NothingThatFailsLeavesTheWindow) {
  Open();
  connection->Close();
  int asked = 0;
  const auto try_to = [&](const QObject* object, const std::function<void()>& step) {
    ++asked;
    try {
      step();
      Spin();
    } catch (const std::exception& error) {
      ADD_FAILURE() << object->objectName().toStdString() << " let out: " << error.what();
    }
  };
  for (QAbstractButton* button : window->findChildren<QAbstractButton*>()) {
    // Qt's own ones open menus, and an import has tests of its own.
    const bool own = !button->objectName().isEmpty() && !button->objectName().startsWith("qt_");
    if (own && button->objectName() != "cmdImport") try_to(button, [&] { button->click(); });
  }
  for (QLineEdit* edit : window->findChildren<QLineEdit*>()) try_to(edit, [&] { edit->setText("x"); });
  for (QTableView* table : window->findChildren<QTableView*>()) {
    try_to(table, [&] { table->sortByColumn(1, Qt::DescendingOrder); });
  }
  for (QAction* action : window->findChildren<QAction*>()) {
    if (action->text().contains("Aktualisieren") || action->text().contains("Suchen")) {
      try_to(action, [&] { action->trigger(); });
    }
  }
  EXPECT_GT(asked, 15);
  EXPECT_THAT(Find<QLabel>("pageKunden", "count").text().toStdString(),
              HasSubstr("Der Vorgang ist bei geschlossenem Objekt nicht zulässig"));
  EXPECT_THAT(Find<QLabel>("logLST_Import", "count").text().toStdString(),
              HasSubstr("Der Vorgang ist bei geschlossenem Objekt nicht zulässig"));
}

}  // namespace
}  // namespace kestrel::testing
