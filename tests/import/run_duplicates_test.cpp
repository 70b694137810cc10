// Where the run meets the duplicate check: suspected records are counted, logged and held back.
#include "import/run_fixture.h"

namespace kestrel::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kTwoHeldBack =
    "\r\nEs wurden 2 Adressen wegen Dublettenverdacht nicht importiert. Bitte prüfen Sie das "
    "Dublettenprotokoll!";

class RunDuplicatesTest : public ImportRunFixture {
 protected:
  RunDuplicatesTest() { UseDuplicateHost(); }
};

TEST_F(RunDuplicatesTest, ASuspectedDuplicateIsCountedAndNotImported) {
  UseNames({"Alt", "Neu", "Alt"});
  HostKnows("Alt");
  const RunResult& result = Run();
  EXPECT_EQ(result.duplicates, 2);
  EXPECT_EQ(result.errors, 0);
  EXPECT_EQ(result.records, 3);
  EXPECT_THAT(stored, ElementsAre(Contains(::testing::Pair("Bez1", "Neu"))));
  EXPECT_EQ(view.infos.back(), "Der Import wurde erfolgreich fertig gestellt.");
  EXPECT_EQ(result.message, std::string("Der Import wurde erfolgreich fertig gestellt.") + kTwoHeldBack);
  EXPECT_EQ(import_class->CountOf("ErrorCode"), 3u + 1u) << "a record held back is not asked for its storing";
}

TEST_F(RunDuplicatesTest, TheFilledRecordIsWrittenToTheDuplicateLog) {
  UseNames({"Alt"});
  HostKnows("Alt");
  Run();
  EXPECT_THAT(CallsOf("log"), Contains(HasSubstr("\"Datenimport Dublettenverdacht\"")));
  EXPECT_THAT(LogLines(), Contains("Alt"));
}

TEST_F(RunDuplicatesTest, TestModeHoldsDuplicatesBackToo) {
  UseNames({"Alt", "Neu"});
  HostKnows("Alt");
  session.TestMode = true;
  EXPECT_EQ(Run().duplicates, 1);
  EXPECT_THAT(stored, IsEmpty());
}

TEST_F(RunDuplicatesTest, ErrorsAndDuplicatesStandInOneMessage) {
  UseNames({"Alt", "Alt"});
  HostKnows("Alt");
  import_class->Raises("AfterImport", RuntimeError(ErrorNumber::kDeviceIo));
  EXPECT_EQ(Run().message,
            std::string("Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die "
                        "Protokolle!") +
                kTwoHeldBack);
}

TEST_F(RunDuplicatesTest, AnAbortedRunTellsItsDuplicates) {
  UseNames({"Alt", "Alt", "Alt", "Alt"});
  HostKnows("Alt");
  view.on_yield = [this] {
    if (view.yields == 5) run.RequestAbort();
  };
  EXPECT_EQ(Run().message,
            std::string("Der Import hat 2 von 4Datensätzen erfolgreich importiert.") + kTwoHeldBack);
  EXPECT_EQ(view.infos.back(), "Der Import hat 2 von 4 Datensätzen erfolgreich importiert.");
}

TEST_F(RunDuplicatesTest, ACheckThatFailsIsToldAndTheRecordImported) {
  UseNames({"Alt"});
  host->Execute("DROP TABLE Adressindex");
  EXPECT_EQ(Run().errors, 0);
  EXPECT_THAT(stored, SizeIs(1));
  ASSERT_EQ(ui.boxes.size(), 2u);
  EXPECT_THAT(ui.boxes.front().text, HasSubstr("Fehler in Funktion isDoublet: "));
}

}  // namespace
}  // namespace kestrel::testing
