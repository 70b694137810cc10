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

// The host knows the address whose key is "K-" and the first name part of the key text.
class RunDuplicatesTest : public ImportRunFixture {
 protected:
  RunDuplicatesTest() {
    host->Execute(
        "CREATE TABLE Adressindex (Adressart INTEGER, Referenz TEXT, Doubletkey1 TEXT, Doubletkey2 TEXT, "
        "Doubletkey3 TEXT)");
    AddComponent("KSBSetting.KSSettings", "settings")
        ->Method("Init")
        .Method("GetSetting", [](std::span<Argument> arguments) {
          arguments[2].Set(Value("1"));
          return Value();
        });
    AddComponent("ksDoubLb.DoubletFunctions", "keys")
        ->Method("BuildDoubletKey",
                 [](std::span<Argument> arguments) { return Value("K" + arguments[1].Get().ToText()); });
    session.ImportClassProgID = "ksbimport.importkunden";
    UseSpecification(
        "[Common]\nImportClass=ksbimport.importkunden\n"
        "[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n"
        "[FieldAssignments]\nBez1=FIELD:Name\nBez2=NOTASSIGNED\n");
    for (const char* field : {"KundenNummer", "Bez2", "Bez3", "Strasse", "PLZ", "Ort", "Kundengruppe"}) {
      Assign({.field = field, .option = kNotAssigned});
    }
  }
  // Puts an address of this name, and nothing else, into the host's index.
  void HostKnows(const std::string& name) {
    host->Execute("INSERT INTO Adressindex VALUES (1, '1', 'K|||" + name + "|" + name + "||||', '', '')");
  }
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
