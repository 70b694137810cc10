// A pipe or a device where the wizard expects a file never keeps its message loop waiting: it is refused. Every
// test here would hang otherwise, as nobody ever writes into the pipes.
#include <sys/stat.h>

#include <QListWidget>

#include "sources/source_connection.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class SpecialFiles : public testing::WizardFixture {
 protected:
  std::string Pipe(const std::string& name) const {
    const std::string path = folder.File(name);
    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
    return path;
  }
  static std::string DatabaseSpecification(const std::string& provider, const std::string& database) {
    return "[Common]\nDescription=T\nApplication=2\nImportClass=test.import\nProvider=" + provider +
           "\nDatabase=" + database + "\nTable=T\n";
  }
  // Looks at the preview and goes on to step 3.
  void UseTheSource() {
    modals.Then("frmPrev", [](QWidget& preview) { preview.close(); });
    Click("cmdVorschau");
    Click("cmdNext");
    EXPECT_EQ(PageName(), "frmStep3");
  }
  void ExpectTold(const std::string& what) {
    EXPECT_THAT(ui.boxes, Contains(Field(&Box::text, HasSubstr(what))));
  }
};

TEST_F(SpecialFiles, AsATextFileAreTold) {
  OpenStep2(TextSpecification(Pipe("quelle.txt")));
  UseTheSource();
  ExpectTold("quelle.txt' ist eine Pipe");
}

TEST_F(SpecialFiles, WithoutAnEndAreTold) {
  OpenStep2(TextSpecification("/dev/zero"));
  UseTheSource();
  ExpectTold("'/dev/zero' ist ein Gerät");
}

TEST_F(SpecialFiles, AsADatabaseConnectNothing) {
  OpenStep2(DatabaseSpecification("Microsoft Access-Datenbanken", Pipe("a.mdb")));
  Focus("cboAccessTable");
  EXPECT_EQ(session.SourceConnection, nullptr);
  EXPECT_THAT(ui.boxes, IsEmpty()) << "a failed connection is silent";
  UseTheSource();
}

TEST_F(SpecialFiles, AsAWorkbookConnectNothing) {
  OpenStep2(TextSpecification(""));
  session.Provider = "Microsoft Excel";
  session.Database = Pipe("a.xls");
  EXPECT_FALSE(ConnectFromSession(session).connected);
}

TEST_F(SpecialFiles, AmongDBaseTablesAreTold) {
  Pipe("T.DBF");
  OpenStep2(DatabaseSpecification("dBase-Datenbank", folder.path()));
  UseTheSource();
  ExpectTold("T.DBF' ist eine Pipe");
}

TEST_F(SpecialFiles, AmongTheSpecificationsDoNotStopStep1) {
  WriteSpecification("Test.IMP", TextSpecification(WriteSource()));
  ASSERT_EQ(::mkfifo((session.SpecFolder + "/Pipe.IMP").c_str(), 0600), 0);
  OpenStep1();
  EXPECT_EQ(Find<QListWidget>("lstVorlage").count(), 1);
}

}  // namespace
}  // namespace kestrel
