#include "log/import_log.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "kestrel/open_connection.h"
#include "support/noting_connection.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::NotingConnection;
using testing::RecordingObject;
using ::testing::SizeIs;

constexpr const char* kLog = "KSHProto.Protokoll";

class ImportLogTest : public testing::SessionFixture {
 protected:
  ImportLogTest() {
    const ConnectionPtr database = OpenConnection("Provider=SQLite;Data Source=" + folder.File("host.db"));
    database->Execute("CREATE TABLE Personalstamm (PersonalNr TEXT, Nachname TEXT, Vorname TEXT, Titel TEXT)");
    database->Execute(
        "INSERT INTO Personalstamm VALUES ('4711', 'Müller', 'Jutta', 'Dr.'), ('12', 'Krüger', NULL, 'Prof.'), "
        "('13', 'Klein', 'Ida', NULL)");
    connection = std::make_shared<NotingConnection>(database);
    session.HostConnection = connection;
    session.Description = "Kunden Nord";
    session.SpecFile = "/import/~1.tmp";
    session.Provider = "Textdatei";
  }

  // A log component whose CreateProtokoll answers "P1", "P2" and so on.
  std::shared_ptr<RecordingObject> AddLog() {
    auto log = AddComponent(kLog);
    log->Method("CreateProtokoll", [this](auto) { return Value("P" + std::to_string(++logs_created)); });
    log->Method("AddNewRecord").Method("SetField").Method("UpdateRecord");
    return log;
  }

  RecordingUserInterface::Box StopBox(const std::string& title, const std::string& text) const {
    return {text, title, Icon::kStop, Buttons::kOk};
  }

  std::shared_ptr<NotingConnection> connection;
  ImportLogs logs{session};
  int logs_created = 0;
};

// --- The error log ---

TEST_F(ImportLogTest, AnErrorCreatesTheLogAndWritesOneRow) {
  AddLog();
  logs.WriteErrorProtocol(3000, "Feld fehlt", "ImportStart", "ImportRecord");
  EXPECT_THAT(
      CallLines(),
      ElementsAre(R"(Call CreateProtokoll(ByRef Object, ByRef "Datenimport", ByRef "Dr. Jutta Müller", )"
                  R"(ByRef "LST_Import", ByRef "07.03.2024", ByRef "Kunden Nord", )"
                  R"(ByRef "/import/~1.tmp", ByRef "Textdatei"))",
                  "Call AddNewRecord()",
                  R"x(Call SetField(10, 0, ByRef "Fehler: 3000 Feld fehlt (ImportRecord/ImportStart)"))x",
                  "Call UpdateRecord()"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ImportLogTest, TheErrorLineNamesTheMemberBeforeTheContext) {
  const auto log = AddLog();
  logs.WriteErrorProtocol(10005, "Eine Typen Unverträglichkeit", "GetData", "GetFields");
  ASSERT_THAT(log->calls(), SizeIs(4));
  EXPECT_EQ(log->calls()[2].arguments[2],
            Value("Fehler: 10005 Eine Typen Unverträglichkeit (GetFields/GetData)"));
}

TEST_F(ImportLogTest, TheSecondErrorGoesIntoTheLogOfTheFirst) {
  const auto log = AddLog();
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  logs.WriteErrorProtocol(2, "b", "ImportStart", "GetNewRecord");
  EXPECT_EQ(log->CountOf("CreateProtokoll"), 1U);
  EXPECT_EQ(log->CountOf("AddNewRecord"), 2U);
  EXPECT_EQ(log->CountOf("UpdateRecord"), 2U);
}

TEST_F(ImportLogTest, ModeTwoPassesEightArguments) {
  const auto log = AddLog();
  session.AppMode = 2;
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_THAT(log->calls()[0].arguments, SizeIs(8));
}

TEST_F(ImportLogTest, AnyOtherModePassesTenWithTheNinthLeftOut) {
  for (const std::int16_t mode : {std::int16_t{0}, std::int16_t{1}, std::int16_t{3}, std::int16_t{-1}}) {
    const auto log = AddLog();
    log->Forget();
    logs.Close();
    session.AppMode = mode;
    logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
    ASSERT_THAT(log->calls()[0].arguments, SizeIs(10)) << mode;
    EXPECT_TRUE(log->calls()[0].arguments[8].IsMissing());
    EXPECT_FALSE(log->calls()[0].by_reference[8]);
    EXPECT_EQ(log->calls()[0].arguments[9], Value("clsProtokoll"));
    EXPECT_TRUE(log->calls()[0].by_reference[9]);
  }
}

TEST_F(ImportLogTest, TheConnectionTheLogLeavesBecomesTheSessions) {
  const auto log = AddLog();
  const ObjectPtr replaced = std::make_shared<RecordingObject>();
  log->Method("CreateProtokoll", [&](std::span<Argument> arguments) {
    arguments[0].Set(Value(replaced));
    return Value("P1");
  });
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_EQ(session.HostConnection, replaced);
}

TEST_F(ImportLogTest, TextsChangedByTheLogLeaveTheSessionAlone) {
  const auto log = AddLog();
  log->Method("CreateProtokoll", [](std::span<Argument> arguments) {
    for (std::size_t i = 1; i < arguments.size(); ++i) arguments[i].Set(Value("überschrieben"));
    return Value("P1");
  });
  log->Method("SetField", [](std::span<Argument> arguments) {
    arguments[2].Set(Value("überschrieben"));
    return Value();
  });
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_EQ(session.Description, "Kunden Nord");
  EXPECT_EQ(session.SpecFile, "/import/~1.tmp");
  EXPECT_EQ(session.Provider, "Textdatei");
}

TEST_F(ImportLogTest, ALogWithAKeyIsNotCreatedAgain) {
  const auto log = AddLog();
  logs.CreateProtocol(kErrorLogTitle, kErrorLogList, "07.03.2024", "d", "f", "s");
  log->Forget();
  logs.CreateProtocol(kErrorLogTitle, kErrorLogList, "07.03.2024", "d", "f", "s");
  EXPECT_THAT(log->calls(), IsEmpty());
}

TEST_F(ImportLogTest, ClosedLogsAreReleasedAndTheNextErrorCreatesANewOne) {
  const auto log = AddLog();
  const long unused = log.use_count();
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_GT(log.use_count(), unused);
  logs.Close();
  EXPECT_EQ(log.use_count(), unused);
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_EQ(log->CountOf("CreateProtokoll"), 2U);
}

// --- The duplicate log ---

TEST_F(ImportLogTest, ADuplicateRowHoldsMarkFieldAndValue) {
  AddLog();
  logs.CreateDoubletProtocol(kDuplicateLogTitle, kDuplicateLogList, "07.03.2024", "Kunden Nord", "~1.tmp",
                             "Textdatei");
  logs.AddDoubletProtocolColumns("{M}", "Ort", "Köln");
  EXPECT_THAT(CallLines(),
              ElementsAre(R"(Call CreateProtokoll(ByRef Object, ByRef "Datenimport Dublettenverdacht", )"
                          R"(ByRef "Dr. Jutta Müller", ByRef "LST_ImportDublett", ByRef "07.03.2024", )"
                          R"(ByRef "Kunden Nord", ByRef "~1.tmp", ByRef "Textdatei"))",
                          "Call AddNewRecord()", R"(Call SetField(10, 0, ByRef "{M}"))",
                          R"(Call SetField(10, 1, ByRef "Ort"))", R"(Call SetField(10, 2, ByRef "Köln"))",
                          "Call UpdateRecord()"));
}

TEST_F(ImportLogTest, TheTwoLogsHaveTheirOwnKeysAndObjects) {
  std::vector<std::shared_ptr<RecordingObject>> made;
  components.Register(kLog, [&] {
    auto log = std::make_shared<RecordingObject>();
    log->Returns("CreateProtokoll", "P" + std::to_string(made.size() + 1));
    log->Method("AddNewRecord").Method("SetField").Method("UpdateRecord");
    made.push_back(log);
    return log;
  });
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  logs.CreateDoubletProtocol(kDuplicateLogTitle, kDuplicateLogList, "d", "d", "f", "s");
  logs.AddDoubletProtocolColumns("m", "f", "v");
  logs.WriteErrorProtocol(2, "b", "ImportStart", "GetNewRecord");
  ASSERT_THAT(made, SizeIs(2));
  EXPECT_EQ(made[0]->CountOf("AddNewRecord"), 2U);
  EXPECT_EQ(made[1]->CountOf("AddNewRecord"), 1U);
}

// --- Failures ---

TEST_F(ImportLogTest, WithoutALogComponentCreatingAndWritingBothTellAndTheNextRowTriesAgain) {
  components.Register(kLog, []() -> ObjectPtr {
    throw RuntimeError(ErrorNumber::kCannotCreateObject, "Kein Protokoll installiert");
  });
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_THAT(ui.boxes,
              ElementsAre(StopBox("CreateProtocol",
                                  "Protokoll konnte nicht erzeugt werden. Kein Protokoll installiert"),
                          StopBox("AddProtocolColumn",
                                  "Fehler beim Erzeugen der Protokollzeile. Objektvariable nicht festgelegt")));

  const auto log = AddLog();
  ui.boxes.clear();
  logs.WriteErrorProtocol(2, "b", "ImportStart", "GetNewRecord");
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_EQ(log->CountOf("UpdateRecord"), 1U);
}

TEST_F(ImportLogTest, AFailingCreateProtokollLeavesNoKeyAndNoRow) {
  const auto log = AddLog();
  log->Raises("CreateProtokoll", RuntimeError(4711, "Platte voll"));
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_THAT(ui.boxes,
              ElementsAre(StopBox("CreateProtocol", "Protokoll konnte nicht erzeugt werden. Platte voll"),
                          StopBox("AddProtocolColumn",
                                  "Fehler beim Erzeugen der Protokollzeile. Objektvariable nicht festgelegt")));
  EXPECT_EQ(log->CountOf("AddNewRecord"), 0U);
}

TEST_F(ImportLogTest, AHostWithoutPersonnelTableFailsTheCreation) {
  const auto log = AddLog();
  connection->Execute("DROP TABLE Personalstamm");
  logs.CreateProtocol(kErrorLogTitle, kErrorLogList, "d", "d", "f", "s");
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_EQ(ui.boxes[0].title, "CreateProtocol");
  EXPECT_THAT(
      ui.boxes[0].text,
      ::testing::AllOf(::testing::StartsWith("Protokoll konnte nicht erzeugt werden. "),
                       ::testing::HasSubstr("no such table: Personalstamm"),
                       ::testing::EndsWith("in der Tabelle 'Personalstamm' (PersonalNr, Nachname, Vorname, "
                                           "Titel) gesucht; es muss sie geben, sie darf leer sein.")));
  EXPECT_EQ(log->CountOf("CreateProtokoll"), 0U);
}

TEST_F(ImportLogTest, AnUnsetConnectionFailsTheCreation) {
  AddLog();
  session.HostConnection = nullptr;
  logs.CreateProtocol(kErrorLogTitle, kErrorLogList, "d", "d", "f", "s");
  EXPECT_THAT(ui.boxes, ElementsAre(StopBox("CreateProtocol",
                                            "Protokoll konnte nicht erzeugt werden. "
                                            "Objektvariable nicht festgelegt")));
}

class FailingRowTest : public ImportLogTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(FailingRowTest, TellsAndGoesOn) {
  const auto log = AddLog();
  log->Raises(GetParam(), RuntimeError(4711, "Platte voll"));
  const auto box = StopBox("AddProtocolColumn", "Fehler beim Erzeugen der Protokollzeile. Platte voll");
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_THAT(ui.boxes, ElementsAre(box));

  logs.CreateDoubletProtocol(kDuplicateLogTitle, kDuplicateLogList, "d", "d", "f", "s");
  logs.AddDoubletProtocolColumns("m", "f", "v");
  EXPECT_THAT(ui.boxes, ElementsAre(box, box));
  EXPECT_EQ(log->CountOf("CreateProtokoll"), 2U);
}

INSTANTIATE_TEST_SUITE_P(AtEachMember, FailingRowTest,
                         ::testing::Values("AddNewRecord", "SetField", "UpdateRecord"),
                         [](const auto& info) { return std::string(info.param); });

TEST_F(ImportLogTest, ALogThatLacksAMemberTellsWhich) {
  AddComponent(kLog)->Returns("CreateProtokoll", "P1").Method("AddNewRecord").Method("UpdateRecord");
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text, ::testing::HasSubstr("SetField"));
}

// --- The user's name ---

TEST_F(ImportLogTest, TheUserNameIsTitleFirstAndLastName) {
  EXPECT_EQ(GetUserName(session.HostConnection, "4711"), "Dr. Jutta Müller");
  EXPECT_THAT(
      connection->statements,
      ElementsAre("SELECT PersonalNr, Nachname, Vorname, Titel From Personalstamm Where PersonalNr ='4711'"));
}

TEST_F(ImportLogTest, AMissingFirstNameLeavesTheInnerDoubleBlank) {
  EXPECT_EQ(GetUserName(session.HostConnection, "12"), "Prof.  Krüger");
}

TEST_F(ImportLogTest, OuterBlanksOfTheUserNameAreCut) {
  EXPECT_EQ(GetUserName(session.HostConnection, "13"), "Ida Klein");
}

TEST_F(ImportLogTest, AnUnknownPersonnelNumberGivesAnEmptyNameAndTheLogIsCreated) {
  const auto log = AddLog();
  session.PersonalNr = "0";
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_EQ(log->calls()[0].arguments[2], Value(""));
}

TEST_F(ImportLogTest, AQuoteInThePersonnelNumberStandsInTheQueryAsItIs) {
  EXPECT_THROW(GetUserName(session.HostConnection, "O'Neil"), RuntimeError);
  EXPECT_THAT(
      connection->statements,
      ElementsAre("SELECT PersonalNr, Nachname, Vorname, Titel From Personalstamm Where PersonalNr ='O'Neil'"));
}

// --- What stands beside a row -------------------------------------------------------------------

TEST_F(ImportLogTest, AComponentThatTakesDetailsGetsThemBeforeTheRowIsStored) {
  const auto log = AddLog();
  log->Method("SetRowDetail");
  logs.WriteErrorProtocol(13, "kein Datum", "ImportStart", "ImportRecord",
                          {{"Record", "4"}, {"Field", "KundeSeit"}, {"RawValue", "31.02.2019"}});
  EXPECT_THAT(log->Lines(), ::testing::IsSupersetOf({R"(Call SetRowDetail("Record", "4"))",
                                                     R"(Call SetRowDetail("Field", "KundeSeit"))",
                                                     R"(Call SetRowDetail("RawValue", "31.02.2019"))"}));
  EXPECT_EQ(log->Lines().back(), "Call UpdateRecord()");
}

TEST_F(ImportLogTest, AComponentThatTakesLogDetailsIsToldTheOwnPathsOfSpecificationAndSource) {
  const auto log = AddLog();
  log->Method("SetLogDetail");
  session.ChosenSpecFile = "/import/Kunden.IMP";
  session.FileName = "/daten/kunden.txt";
  session.ImportClassProgID = "ksbimport.importkunden";
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  logs.WriteErrorProtocol(2, "b", "ImportStart", "GetNewRecord");
  EXPECT_EQ(log->CountOf("SetLogDetail"), 3u) << "once a log";
  EXPECT_THAT(log->Lines(),
              ::testing::IsSupersetOf({R"(Call SetLogDetail("Specification", "/import/Kunden.IMP"))",
                                       R"(Call SetLogDetail("Source", "/daten/kunden.txt"))",
                                       R"(Call SetLogDetail("ImportClass", "ksbimport.importkunden"))"}));
}

TEST_F(ImportLogTest, TheOwnPathsAreToldInFullSoThatAnotherProgramFindsThem) {
  const auto log = AddLog();
  log->Method("SetLogDetail");
  session.ChosenSpecFile = "Import/Kunden.IMP";
  session.FileName = "Import/kunden.txt";
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  const std::string here = std::filesystem::current_path().string();
  EXPECT_THAT(log->Lines(), ::testing::IsSupersetOf(
                                {R"(Call SetLogDetail("Specification", ")" + here + R"(/Import/Kunden.IMP"))",
                                 R"(Call SetLogDetail("Source", ")" + here + R"(/Import/kunden.txt"))"}));
}

TEST_F(ImportLogTest, AComponentThatTakesWholeRowsGetsThoseWithoutDetailsByOneCall) {
  const auto log = AddLog();
  log->Method("StoreRow").Method("SetRowDetail");
  logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord");
  EXPECT_EQ(log->Lines().back(), R"x(Call StoreRow(ByRef "Fehler: 1 a (GetNewRecord/ImportStart)"))x");
  EXPECT_EQ(log->CountOf("AddNewRecord"), 0U);
  log->Forget();
  logs.WriteErrorProtocol(2, "b", "ImportStart", "GetNewRecord", {{"Record", "4"}});
  EXPECT_THAT(log->Lines(),
              ElementsAre("Call AddNewRecord()",
                          R"x(Call SetField(10, 0, ByRef "Fehler: 2 b (GetNewRecord/ImportStart)"))x",
                          R"x(Call SetRowDetail("Record", "4"))x", "Call UpdateRecord()"));
  logs.CreateDoubletProtocol(kDuplicateLogTitle, kDuplicateLogList, "07.03.2024", "", "", "");
  log->Forget();
  EXPECT_TRUE(logs.AddDoubletProtocolColumns("{A}", "Ort", "Köln"));
  EXPECT_THAT(log->Lines(), ElementsAre(R"x(Call StoreRow(ByRef "{A}", ByRef "Ort", ByRef "Köln"))x"));
}

TEST_F(ImportLogTest, AWholeRowThatIsNotStoredIsToldAsAnyOther) {
  const auto log = AddLog();
  log->Raises("StoreRow", RuntimeError(3000, "voll"));
  EXPECT_FALSE(logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord"));
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_EQ(ui.boxes[0].text, "Fehler beim Erzeugen der Protokollzeile. voll");
}

TEST_F(ImportLogTest, DetailsThatAreRefusedCostNoRow) {
  const auto log = AddLog();
  log->Raises("SetRowDetail", RuntimeError(3000, "weg"));
  log->Raises("SetLogDetail", RuntimeError(3000, "weg"));
  EXPECT_TRUE(logs.WriteErrorProtocol(1, "a", "ImportStart", "GetNewRecord", {{"Record", "4"}}));
  EXPECT_EQ(log->CountOf("UpdateRecord"), 1u);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

}  // namespace
}  // namespace kestrel
