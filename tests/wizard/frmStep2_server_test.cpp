// Step 2 and a server: the page is alive while it waits, and the connection is used when it comes.
#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>

#include "kestrel/open_connection.h"
#include "support/silent_server.h"
#include "support/sql_server_stand_in.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::SilentServer;
using testing::Spin;
using testing::SqlServerStandIn;

class Step2ServerTest : public testing::WizardFixture {
 protected:
  explicit Step2ServerTest(WizardComforts comforts = {}) : WizardFixture(comforts) {}

  void SetUp() override {
    const std::string reason = SqlServerStandIn::WhyNot();
    if (!reason.empty()) GTEST_SKIP() << reason;
  }

  static std::string Specification(const std::string& server) {
    return "[Common]\nDescription=T\nApplication=2\nImportClass=test.import\nProvider=Microsoft "
           "SQL-Server\nServer=" +
           server + "\nUser=sa\nPassword=geheim\nDatabase=Adressen\nTable=orte\n";
  }
  bool IsWaiting() const { return !Find<QAbstractButton>("cmdNext").isEnabled(); }
  void AwaitAnswer() const {
    while (IsWaiting()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  std::vector<std::string> Tables() const {
    std::vector<std::string> names;
    const auto& list = Find<QComboBox>("cboSQLTable");
    for (int i = 0; i < list.count(); ++i) names.push_back(FromQt(list.itemText(i)));
    return names;
  }
  std::unique_ptr<SqlServerStandIn> StartServer() {
    const std::string file = folder.File("server.sqlite");
    const ConnectionPtr data = OpenConnection(file);
    data->Execute("CREATE TABLE IF NOT EXISTS Kunden (Name nvarchar(40), Ort nvarchar(40))");
    data->Execute("CREATE TABLE IF NOT EXISTS Orte (Ort nvarchar(40), PLZ nvarchar(10))");
    return std::make_unique<SqlServerStandIn>(file);
  }
};

TEST_F(Step2ServerTest, ThePageIsAliveWhileAServerIsSilentAndOnlyLetsItselfBeLeft) {
  SilentServer server;
  OpenStep2(Specification(server.DataSource()));
  ASSERT_EQ(PageName(), "frmStep2");
  ASSERT_TRUE(IsWaiting());
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtSQLUID").text()), "sa") << "filled before it connects";
  for (const char* name : {"cboDatenquelleTyp", "txtSQLServer", "cboSQLTable", "cmdVorschau", "cmdOptions",
                           "cmdSave", "cmdPrev", "cmdNext"}) {
    EXPECT_FALSE(Find<QWidget>(name).isEnabled()) << name;
  }
  EXPECT_TRUE(Find<QWidget>("cmdCancel").isEnabled());
  server.HangUp();
  AwaitAnswer();
  EXPECT_THAT(ui.boxes, IsEmpty()) << "a failed connection is silent";
  EXPECT_EQ(session.SourceConnection, nullptr);
  for (const char* name : {"cboDatenquelleTyp", "txtSQLServer", "cboSQLTable", "cmdVorschau", "cmdOptions"}) {
    EXPECT_TRUE(Find<QWidget>(name).isEnabled()) << name;
  }
  EXPECT_FALSE(session.SchemaChanged) << "filling and waiting are no edits";
}

class Step2ServerSaveAs : public Step2ServerTest {
 protected:
  Step2ServerSaveAs() : Step2ServerTest({.save_as = true}) {}
};

TEST_F(Step2ServerSaveAs, IsNotOfferedWhileThePageWaits) {
  SilentServer server;
  OpenStep2(Specification(server.DataSource()));
  ASSERT_TRUE(IsWaiting());
  EXPECT_FALSE(Find<QWidget>("cmdSaveMenu").isEnabled());
  server.HangUp();
  AwaitAnswer();
  EXPECT_TRUE(Find<QWidget>("cmdSaveMenu").isEnabled());
}

TEST_F(Step2ServerTest, AbbrechenWhileItWaitsClosesThePageForGood) {
  SilentServer server;
  OpenStep2(Specification(server.DataSource()));
  ASSERT_TRUE(IsWaiting());
  Click("cmdCancel");
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP")) << "no working copy is left";
  // A new import goes its own way, whatever becomes of the old connection.
  OpenStep2(TextSpecification(WriteSource()));
  server.HangUp();
  Spin();
  EXPECT_EQ(PageName(), "frmStep2");
  EXPECT_FALSE(IsWaiting());
}

TEST_F(Step2ServerTest, TheHostMayEndTheWizardWhileItWaits) {
  SilentServer server;
  {
    Wizard own;
    WriteSpecification("Test.IMP", Specification(server.DataSource()));
    session.SpecFile = session.SpecFolder + "/Test.IMP";
    own.ShowStep1(SharedSession());
    own.ShowStep2();
    Spin();
  }
  server.HangUp();
  Spin();
  EXPECT_EQ(session.SourceConnection, nullptr);
}

TEST_F(Step2ServerTest, TheTablesAreThereWhenTheServerHasAnsweredAndTheStoredOneIsSelected) {
  const auto server = StartServer();
  OpenStep2(Specification(server->DataSource()));
  AwaitAnswer();
  EXPECT_THAT(Tables(), ElementsAre("Kunden", "Orte"));
  EXPECT_EQ(FromQt(Find<QComboBox>("cboSQLTable").currentText()), "Orte");
  ASSERT_NE(session.SourceConnection, nullptr);
  // Once until an input changes.
  const ConnectionPtr before = session.SourceConnection;
  Focus("cboSQLTable");
  AwaitAnswer();
  EXPECT_EQ(session.SourceConnection, before);
  Type("txtSQLKennwort", "verkehrt");
  server->Pause();
  Focus("cboSQLTable");
  EXPECT_TRUE(IsWaiting());
  EXPECT_EQ(session.SourceConnection, nullptr) << "dropped before the new one is opened";
  server->Resume();
  AwaitAnswer();
  EXPECT_EQ(session.SourceConnection, nullptr);
  EXPECT_THAT(Tables(), ElementsAre("Kunden", "Orte")) << "a list that cannot be filled stays";
  EXPECT_TRUE(Find<QComboBox>("cboSQLTable").hasFocus());
  EXPECT_FALSE(IsWaiting()) << "the focus that comes back tries nothing";
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step2ServerTest, WeiterGoesOnWhenTheServerHasAnswered) {
  const auto server = StartServer();
  OpenStep2(Specification(server->DataSource()));
  AwaitAnswer();
  Type("txtSQLKennwort", "geheim");
  server->Pause();
  Click("cmdNext");
  EXPECT_TRUE(IsWaiting());
  server->Resume();
  while (PageName() == "frmStep2") QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(session.SourceFieldNames, ElementsAre("Ort", "PLZ", ""));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step2ServerTest, WeiterGoesOnToStep3WithoutAServerToo) {
  SilentServer server;
  server.HangUp();
  OpenStep2(Specification(server.DataSource()));
  AwaitAnswer();
  Type("txtSQLKennwort", "x");
  Click("cmdNext");
  while (PageName() == "frmStep2") QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  EXPECT_EQ(PageName(), "frmStep3");
}

// --- A server that falls silent once it is connected ---

class Step2FallingSilentTest : public Step2ServerTest {
 protected:
  // Lists its two tables, and falls silent in the middle of the columns and the rows of Breit.
  std::unique_ptr<SqlServerStandIn> StartSilencer() {
    const std::string file = folder.File("server.sqlite");
    const ConnectionPtr data = OpenConnection(file);
    data->Execute("CREATE TABLE Kunden (Name nvarchar(40))");
    data->Execute(
        "CREATE TABLE Breit (A nvarchar(9), B nvarchar(9), C nvarchar(9), D nvarchar(9), E nvarchar(9))");
    for (int row = 0; row < 5; ++row) data->Execute("INSERT INTO Breit (A) VALUES ('x')");
    SqlServerStandIn::Options options;
    options.silent_after_rows = 3;
    return std::make_unique<SqlServerStandIn>(file, options);
  }
  void OpenOver(const SqlServerStandIn& server) {
    std::string specification = Specification(server.DataSource());
    OpenStep2(specification.replace(specification.find("orte"), 4, "Breit"));
    AwaitAnswer();
    ASSERT_NE(session.SourceConnection, nullptr);
    ASSERT_EQ(FromQt(Find<QComboBox>("cboSQLTable").currentText()), "Breit");
  }
  void ExpectAliveUntilAbbrechen() {
    ASSERT_EQ(PageName(), "frmStep2");
    ASSERT_TRUE(IsWaiting());
    Click("cmdCancel");
    EXPECT_EQ(PageName(), "");
    EXPECT_THAT(ui.boxes, IsEmpty());
    EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP")) << "no working copy is left";
  }
};

TEST_F(Step2FallingSilentTest, WeiterLeavesThePageAlive) {
  const auto server = StartSilencer();
  OpenOver(*server);
  Click("cmdNext");
  ExpectAliveUntilAbbrechen();
}

TEST_F(Step2FallingSilentTest, ThePreviewLeavesThePageAlive) {
  const auto server = StartSilencer();
  OpenOver(*server);
  Click("cmdVorschau");
  ExpectAliveUntilAbbrechen();
}

TEST_F(Step2ServerTest, ThePreviewShowsRecordsAndColumnsOfTheServer) {
  const auto server = StartServer();
  const ConnectionPtr data = OpenConnection(folder.File("server.sqlite"));
  data->Execute("INSERT INTO Orte VALUES ('Ulm', '89073')");
  OpenStep2(Specification(server->DataSource()));
  AwaitAnswer();
  std::vector<std::string> shown;
  modals.Then("frmPrev", [&](QWidget& preview) {
    const auto& model = *testing::FindIn<QTableView>(preview, "TDBList1").model();
    shown = {FromQt(model.headerData(1, Qt::Horizontal).toString()),
             FromQt(model.index(0, 0).data().toString()),
             FromQt(testing::FindIn<QLabel>(preview, "lblCount").text())};
    preview.close();
  });
  Click("cmdVorschau");
  while (shown.empty()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  EXPECT_THAT(shown, ElementsAre("PLZ", "Ulm", "1 Datensatz"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step2ServerTest, ThePreviewComesWhenTheServerHasAnswered) {
  const auto server = StartServer();
  OpenStep2(Specification(server->DataSource()));
  AwaitAnswer();
  Type("txtSQLKennwort", "geheim");
  bool shown = false;
  modals.Then("frmPrev", [&](QWidget& preview) {
    shown = true;
    preview.close();
  });
  Click("cmdVorschau");
  while (!shown) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  EXPECT_EQ(FromQt(Find<QComboBox>("cboSQLTable").currentText()), "Orte");
}

}  // namespace
}  // namespace kestrel
