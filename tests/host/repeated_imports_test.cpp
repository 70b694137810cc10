// Many imports in one process, as a host that is open all day does them.
#include <malloc.h>

#include "component/import_class.h"
#include "host/host_fixture.h"
#include "import/import_run.h"
#include "kestrel/clock.h"
#include "kestrel/date.h"
#include "mapping/field_assignment.h"
#include "platform/dialogs/recording_user_interface.h"
#include "sources/source_page.h"
#include "sources/source_reader.h"
#include "spec/specification.h"
#include "spec/working_copy.h"

namespace kestrel {
namespace {

class UnseenView final : public RunView {
 public:
  void SetInfo(std::string_view) override {}
  void SetProgress(double) override {}
  void Yield() override {}
  void Tell(std::string_view) override {}
  void CloseWindow() override {}
};

class RepeatedImports : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (IsSkipped()) return;
    session.HostConnection = connection;
    session.PersonalNr = "4711";
    session.AppMode = 2;
    session.SpecFolder = folder.path();
    folder.Write("Quelle.txt", "Nr;Name;Art\r\n501;Möbelhaus;K\r\n502;Bäcker;viel\r\n503;Möbelhaus;K\r\n");
    folder.Write(
        "Kunden.IMP",
        "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\n"
        "Provider=Textdatei\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\nTextRecognition=\"\n"
        "[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nKundenUeberschreiben=1\n"
        "[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\nMitarbeiter=FIELD:Art\n"
        "[FieldTranslation]\nMitarbeiter=1\n[Translation_Mitarbeiter]\nK=5\n");
  }

  // Every third record has an error, which is logged.
  void ImportOnce() {
    // Each import has a working copy of another name.
    const int number = imports++;
    clock.Set(DateTime{CalendarDate{2024, 3, 7}, 14, number / 60, number % 60});
    session.SpecFile = folder.File("Kunden.IMP");
    ReadCommonSection(session);
    WorkingCopyLock lock;
    CreateWorkingCopy(session, lock);
    session.ImportFileName = folder.File("Quelle.txt");
    ApplyImportFileName(session);
    ActiveImport import(session);
    ASSERT_TRUE(CreateImportClass(session));
    session.SourceFieldNames = SourceColumnNames(session);
    BuildAssignmentList(session, import.logs());
    UnseenView view;
    ImportRun run(import, view);
    run.Activate();
    ASSERT_EQ(run.result().records, 3);
    ASSERT_GT(run.result().errors, 0);
    ui.boxes.clear();
    // Otherwise the database grows, and what is kept of its pages with it.
    connection->Execute("DELETE FROM Protokollzeilen");
    connection->Execute("DELETE FROM Protokoll");
    connection->Execute("DELETE FROM Importlaufzeilen");
    connection->Execute("DELETE FROM Importlauf");
  }
  // Bytes that are allocated; what the allocator keeps for later is not among them.
  static std::size_t Allocated() { return ::mallinfo2().uordblks; }

  RecordingUserInterface ui;
  int imports = 0;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  Session session{Platform{ui, components, clock}};
};

}  // namespace

TEST_F(RepeatedImports, KeepNoMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "needs the allocator of the C library";
#endif
  for (int i = 0; i < 20; ++i) ImportOnce();
  const std::size_t before = Allocated();
  constexpr std::size_t kImports = 100;
  for (std::size_t i = 0; i < kImports; ++i) ImportOnce();
  // The caches of the database still fill a little.
  EXPECT_LT(Allocated(), before + kImports * 1000);
}

}  // namespace kestrel
