// Step 2: when it connects, what the lists show, and which flags an edit clears. The source is a folder of
// dBase tables, so every connection is a real one.
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QTableView>
#include <filesystem>

#include "support/dbf_writer.h"
#include "support/sqlite_source_kind.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::Spin;

class Step2ConnectTest : public testing::WizardFixture {
 protected:
  Step2ConnectTest() {
    WriteTable("KUNDEN.DBF");
    WriteTable("ORTE.DBF");
  }
  void WriteTable(const std::string& name) {
    testing::DbfWriter table({{"NAME"}, {"ORT"}});
    table.Add({"Müller", "Bonn"});
    folder.Write(name, table.Bytes());
  }
  std::string DBaseSpecification(const std::string& path, const std::string& table = "orte.dbf") const {
    return "[Common]\nDescription=T\nImportClass=test.import\nProvider=dBase-Datenbank\nDatabase=" + path +
           "\nTable=" + table + "\n";
  }
  std::vector<std::string> Entries(const char* list) const {
    std::vector<std::string> entries;
    const auto& box = Find<QComboBox>(list);
    for (int i = 0; i < box.count(); ++i) entries.push_back(FromQt(box.itemText(i)));
    return entries;
  }
  std::string Shown(const char* list) const { return FromQt(Find<QComboBox>(list).currentText()); }
  // Moves the focus to the list and says whether that opened another connection.
  bool FocusConnects(const char* list) {
    Focus("cboDatenquelleTyp");
    const ConnectionPtr before = session.SourceConnection;
    Focus(list);
    return session.SourceConnection != before;
  }
};

TEST_F(Step2ConnectTest, OpeningConnectsAndListsTheTables) {
  OpenStep2(DBaseSpecification(folder.path()));
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtdBaseFile").text()), folder.path());
  ASSERT_THAT(Entries("cbodBaseTable"), ElementsAre("KUNDEN", "ORTE"));
}

TEST_F(Step2ConnectTest, TheStoredTableIsSelectedWhateverItsCase) {
  OpenStep2(DBaseSpecification(folder.path(), "kunden"));
  EXPECT_EQ(Shown("cbodBaseTable"), "KUNDEN");
}

TEST_F(Step2ConnectTest, TheStoredTableIsSelectedWithItsExtensionToo) {
  OpenStep2(DBaseSpecification(folder.path(), "KUNDEN.DBF"));
  EXPECT_EQ(Shown("cbodBaseTable"), "KUNDEN");
}

// The table of the file, not the last one of its folder, is what the list shows and what is stored and read.
TEST_F(Step2ConnectTest, TheTableOfTheFileHandedInIsSelected) {
  session.ImportFileName = folder.path() + "/kunden.dbf";
  OpenStep2(DBaseSpecification("/anderswo"));
  EXPECT_EQ(session.Database, folder.path());
  EXPECT_EQ(Shown("cbodBaseTable"), "KUNDEN");
  Click("cmdNext");
  EXPECT_EQ(session.Table, "KUNDEN");
  EXPECT_EQ(session.SourceConnection->OpenRecordset("SELECT * From " + session.Table)->TextAt(1), "Bonn");
}

TEST_F(Step2ConnectTest, ATableThatNoLongerExistsShowsTheLastOne) {
  OpenStep2(DBaseSpecification(folder.path(), "FEHLT"));
  EXPECT_EQ(Shown("cbodBaseTable"), "ORTE");
}

TEST_F(Step2ConnectTest, AFailedConnectionIsSilentAndTheNextFocusTriesAgain) {
  OpenStep2(DBaseSpecification(folder.File("fehlt")));
  EXPECT_THAT(Entries("cbodBaseTable"), IsEmpty());
  EXPECT_THAT(ui.boxes, IsEmpty());
  std::filesystem::create_directory(folder.File("fehlt"));
  WriteTable("fehlt/NEU.DBF");
  EXPECT_TRUE(FocusConnects("cbodBaseTable"));
  EXPECT_THAT(Entries("cbodBaseTable"), ElementsAre("NEU"));
}

TEST_F(Step2ConnectTest, AKindThatTheHostAddsIsOfferedAndConnectsInItsFrame) {
  const std::string path = folder.File("k.sqlite");
  OpenConnection("Provider=SQLite;Data Source=" + path)->Execute("CREATE TABLE Leute (Name TEXT)");
  SourceKinds kinds;
  kinds.Add(testing::SqliteSourceKind());
  session.platform.source_kinds = &kinds;
  OpenStep2(TextSpecification(""));
  EXPECT_THAT(Entries("cboDatenquelleTyp"), Contains("SQLite-Datenbank"));
  Choose("cboDatenquelleTyp", "SQLite-Datenbank");
  EXPECT_TRUE(Find<QWidget>("fraAccess").isVisible());
  Type("txtAccessDB", path.c_str());
  EXPECT_TRUE(FocusConnects("cboAccessTable"));
  EXPECT_THAT(Entries("cboAccessTable"), ElementsAre("Leute"));
  EXPECT_FALSE(FocusConnects("cboAccessTable"));
  // The list shows the tables of the other kind; so the one that is chosen now is asked for its own.
  Choose("cboDatenquelleTyp", "Microsoft Access-Datenbanken");
  EXPECT_TRUE(FocusConnects("cboAccessTable"));
  session.platform.source_kinds = nullptr;
}

TEST_F(Step2ConnectTest, AnEmptyRequiredInputConnectsNothing) {
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "dBase-Datenbank");
  EXPECT_FALSE(FocusConnects("cbodBaseTable"));
  Choose("cboDatenquelleTyp", "Microsoft SQL-Server");
  EXPECT_FALSE(FocusConnects("cboSQLTable"));
  EXPECT_EQ(session.SourceConnection, nullptr);
}

TEST_F(Step2ConnectTest, FocusOnTheListConnectsOnceUntilAnInputChanges) {
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "dBase-Datenbank");
  Type("txtdBaseFile", folder.path().c_str());
  EXPECT_TRUE(FocusConnects("cbodBaseTable"));
  EXPECT_THAT(Entries("cbodBaseTable"), ElementsAre("KUNDEN", "ORTE"));
  EXPECT_FALSE(FocusConnects("cbodBaseTable"));
  Type("txtdBaseFile", (folder.path() + "/").c_str());
  EXPECT_TRUE(FocusConnects("cbodBaseTable"));
}

TEST_F(Step2ConnectTest, FillingThePageConnectsOnceAlthoughItsBoxesChange) {
  OpenStep2(DBaseSpecification(folder.path()));
  ASSERT_NE(session.SourceConnection, nullptr);
  EXPECT_FALSE(FocusConnects("cbodBaseTable"));
}

TEST_F(Step2ConnectTest, TypingATableNameClearsTheFlagAndKeepsWhatWasTyped) {
  OpenStep2(DBaseSpecification(folder.path()));
  auto& edit = *Find<QComboBox>("cbodBaseTable").lineEdit();
  edit.selectAll();
  QTest::keyClicks(&edit, "ANDERE");
  EXPECT_TRUE(FocusConnects("cbodBaseTable"));
  EXPECT_EQ(Shown("cbodBaseTable"), "ANDERE");
}

TEST_F(Step2ConnectTest, PickingATableOfDBaseKeepsTheFlag) {
  OpenStep2(DBaseSpecification(folder.path()));
  Choose("cbodBaseTable", "KUNDEN");
  EXPECT_FALSE(FocusConnects("cbodBaseTable"));
  EXPECT_TRUE(session.SourceSettingsChanged);
}

TEST_F(Step2ConnectTest, TheFocusThatComesBackFromTheOpenListConnectsNothing) {
  OpenStep2(DBaseSpecification(folder.File("fehlt")));
  Focus("cboDatenquelleTyp");
  auto& list = Find<QComboBox>("cbodBaseTable");
  const ConnectionPtr before = session.SourceConnection;
  list.setFocus(Qt::PopupFocusReason);
  Spin();
  EXPECT_EQ(session.SourceConnection, before);
}

TEST_F(Step2ConnectTest, EditsOfAnotherKindKeepTheFlag) {
  OpenStep2(DBaseSpecification(folder.path()));
  Type("txtSQLServer", "x");
  Type("txtAccessDB", "x");
  Type("txtFilename", "x");
  EXPECT_FALSE(FocusConnects("cbodBaseTable"));
}

TEST_F(Step2ConnectTest, WeiterConnectsAgainOnlyAfterAnEdit) {
  OpenStep2(DBaseSpecification(folder.path(), "kunden"));
  const ConnectionPtr before = session.SourceConnection;
  Click("cmdNext");
  EXPECT_EQ(session.SourceConnection, before);
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_THAT(session.SourceFieldNames, ElementsAre("NAME", "ORT", ""));
}

TEST_F(Step2ConnectTest, WeiterAfterAnEditConnectsToTheNewSource) {
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "dBase-Datenbank");
  Type("txtdBaseFile", folder.path().c_str());
  auto& edit = *Find<QComboBox>("cbodBaseTable").lineEdit();
  edit.setText("KUNDEN");
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_THAT(session.SourceFieldNames, ElementsAre("NAME", "ORT", ""));
}

TEST_F(Step2ConnectTest, WeiterDoesNotCheckWhetherADBaseFolderExists) {
  OpenStep2(DBaseSpecification(folder.File("fehlt")));
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
}

TEST_F(Step2ConnectTest, ThePreviewConnectsAfterAnEditAndSelectsTheStoredTable) {
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "dBase-Datenbank");
  Type("txtdBaseFile", folder.path().c_str());
  Find<QComboBox>("cbodBaseTable").lineEdit()->setText("kunden");
  int rows = 0;
  modals.Then("frmPrev", [&](QWidget& preview) {
    rows = testing::FindIn<QTableView>(preview, "TDBList1").model()->rowCount();
    preview.close();
  });
  Click("cmdVorschau");
  EXPECT_EQ(rows, 1);
  EXPECT_EQ(Shown("cbodBaseTable"), "KUNDEN");
}

// --- Access ---

TEST_F(Step2ConnectTest, TheAccessPathIsStoredAsUserTooAndBenutzerComesBackAfterSaving) {
  const std::string database = folder.Write("a.mdb", "no database");
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "Microsoft Access-Datenbanken");
  Type("txtAccessDB", database.c_str());
  Type("txtAccessBenutzer", "Erika");
  Type("txtAccessKennwort", "geheim");
  Click("cmdPrev");
  EXPECT_EQ(session.User, database);
  EXPECT_EQ(session.Database, database);
  EXPECT_EQ(session.Password, "Erika");

  session.User = session.Database = session.Password = "";
  ASSERT_EQ(PageName(), "frmStep1");
  Find<QListWidget>("lstVorlage").setCurrentRow(0);
  Click("cmdNext");
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtAccessDB").text()), database);
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtAccessBenutzer").text()), "Erika");
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtAccessKennwort").text()), "");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step2ConnectTest, WeiterWithAMissingAccessDatabaseTellsSoAndStays) {
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "Microsoft Access-Datenbanken");
  Type("txtAccessDB", "/fehlt.mdb");
  Click("cmdNext");
  EXPECT_THAT(ui.boxes, ElementsAre(Information("Die Datei ''/fehlt.mdb'' existiert nicht.")));
  EXPECT_EQ(PageName(), "frmStep2");
}

TEST_F(Step2ConnectTest, AnSqlServersSettingsFillTheControlsEvenWhereItCannotBeReached) {
  OpenStep2(
      "[Common]\nDescription=T\nImportClass=test.import\nProvider=Microsoft SQL-Server\nServer=\n"
      "User=sa\nPassword=geheim\nDatabase=adressen\nTable=Kunden\n");
  EXPECT_EQ(Shown("cboDatenquelleTyp"), "Microsoft SQL-Server");
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtSQLUID").text()), "sa");
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtSQLKennwort").text()), "geheim");
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtSQLDB").text()), "adressen");
  EXPECT_EQ(Find<QLineEdit>("txtSQLKennwort").echoMode(), QLineEdit::Password);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

}  // namespace
}  // namespace kestrel
