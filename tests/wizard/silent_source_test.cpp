// Sources, and the host's database, that do not answer: the person is told once, the page stays, and goes on when what was
// missing is back.
#include <QComboBox>
#include <QLabel>
#include <filesystem>

#include "kestrel/open_connection.h"
#include "support/dbf_writer.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SilentSource : public testing::WizardFixture {
 protected:
  SilentSource() : WizardFixture({.failed_connections = true, .kept_assignments = true}) {}
  // Step 2 over a folder that is not there.
  void OpenSilent() {
    OpenStep2(
        "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\nProvider=dBase-"
        "Datenbank\nDatabase=" +
        folder.File("tabellen") + "\nTable=KUNDEN\n[FieldAssignments]\nName=FIELD:NAME1\nOrt=CONST:Bonn\n");
    ui.boxes.clear();
  }
  std::string Status() const { return FromQt(Find<QLabel>("lblStatus").text()); }
};

TEST_F(SilentSource, WeiterAsksOnceAndStaysOnNo) {
  OpenSilent();
  ui.answers = {Answer::kNo};
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep2");
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("trotzdem zu Schritt 3"));
  EXPECT_THAT(ui.boxes[0].text, HasSubstr(folder.File("tabellen")));
}

TEST_F(SilentSource, OnYesTheAssignmentsOfTheSpecificationAreThere) {
  OpenSilent();
  ui.answers = {Answer::kYes};
  Click("cmdNext");
  ASSERT_EQ(PageName(), "frmStep3");
  Click("cmdSave");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "FIELD:NAME1");
}

TEST_F(SilentSource, OfAnEmptyFileStep3SaysThatItIsEmpty) {
  const std::string source = folder.Write("quelle.txt", "");
  OpenStep3(TextSpecification(source, "[FieldAssignments]\nName=FIELD:Name\n"));
  EXPECT_EQ(PageName(), "frmStep3");
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_EQ(ui.boxes[0].text,
            "Die Datei ''" + source +
                "'' ist leer. Prüfen Sie, ob sie vollständig geschrieben und übertragen wurde.");
}

TEST_F(SilentSource, OfAFileWithOneColumnStep3DoesNotSayThatItIsEmpty) {
  OpenStep3(TextSpecification(folder.Write("quelle.txt", "Name\r\nBeck\r\n")));
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("Die Feldinformation konnten nicht ermittelt werden."));
}

TEST_F(SilentSource, DatenquelleTestenTellsWhyAndOpensNothing) {
  OpenSilent();
  Find<QLabel>("lblStatus").clear();
  Click("cmdVorschau");
  EXPECT_THAT(Status(), HasSubstr(folder.File("tabellen")));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(SilentSource, OneThatIsBackIsConnectedByTheNextWeiter) {
  OpenSilent();
  std::filesystem::create_directory(folder.File("tabellen"));
  testing::DbfWriter table({{"NAME1"}, {"ORT"}});
  table.Add({"Beck", "Ulm"});
  folder.Write("tabellen/KUNDEN.DBF", table.Bytes());
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(SilentSource, WithoutTheHostsDatabaseNeitherStep3NorARunIsBegun) {
  const ConnectionPtr host = OpenConnection(folder.File("host.sqlite"));
  session.HostConnection = host;
  OpenStep2(TextSpecification(WriteSource()) + "[FieldAssignments]\nName=FIELD:Name\n");
  host->Close();
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep2");
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("Die Datenbank der Anwendung ist nicht zu erreichen."));

  session.HostConnection = OpenConnection(folder.File("host.sqlite"));
  Click("cmdNext");
  ASSERT_EQ(PageName(), "frmStep3");
  std::static_pointer_cast<Connection>(session.HostConnection)->Close();
  modals.Then("frmQuestionDlg",
              [](QWidget& question) { testing::ClickOn(testing::FindIn<QWidget>(question, "cmdOK")); });
  Click("cmdOK");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(ui.boxes, SizeIs(2));
}

}  // namespace
}  // namespace kestrel
