// What a person decides about a record that was held back.
#include <functional>

#include "host/held_back_log.h"
#include "kestrel/bound_object.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "kestrel/memory_recordset.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// An import class that stores one address, and does or tells something besides.
class ScriptedImporter final : public BoundObject<ScriptedImporter> {
 public:
  struct Script {
    std::function<void()> before_import = [] {};
    std::int64_t late_error = 0;
  };
  ScriptedImporter(ObjectPtr connection, Script script)
      : connection_(std::move(connection)), script_(std::move(script)) {}
  static void Bind(Members& members) {
    members.Set("Connection", &ScriptedImporter::Ignore);
    members.Let("PersonalNr", &ScriptedImporter::IgnoreText);
    members.Let("Application", &ScriptedImporter::IgnoreText);
    members.Let("SpecificationFile", &ScriptedImporter::IgnoreText);
    members.Method("BeforeImport", &ScriptedImporter::BeforeImport);
    members.Method("GetNewRecord", &ScriptedImporter::GetNewRecord);
    members.Method("ImportRecord", &ScriptedImporter::ImportRecord);
    members.Method("AfterImport", &ScriptedImporter::AfterImport);
    members.Method("NextLateError", &ScriptedImporter::NextLateError);
    members.Get("ErrorCode", &ScriptedImporter::ErrorCode);
    members.Get("ErrorDescription", &ScriptedImporter::ErrorDescription);
  }

 private:
  void Ignore(const ObjectPtr&) {}
  void IgnoreText(const std::string&) {}
  void BeforeImport(bool&) { script_.before_import(); }
  ObjectPtr GetNewRecord() {
    auto record = std::make_shared<MemoryRecordset>();
    record->AppendColumn("Bez1");
    record->AddNew();
    return record;
  }
  void ImportRecord(const Value&) {
    RequireConnection(connection_).Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (99, 'Doppelt')");
  }
  void AfterImport() {}
  bool NextLateError() {
    error_ = script_.late_error;
    return error_ != 0;
  }
  std::int64_t ErrorCode() const { return error_; }
  std::string ErrorDescription() const { return "zu spät"; }

  ObjectPtr connection_;
  Script script_;
  std::int64_t error_ = 0;
};

class HeldBackRecords : public HostFixture {
 protected:
  HeldBackRecords() {
    folder.Write("Messe.IMP", "[Common]\r\nApplication=2\r\n");
    Import(Importer(),
           {{"KundenNummer", "7"}, {"Bez1", "Meier"}, {"Ort", "Köln"}, {"Umsatz", "5"}, {"PLZ", "5"}});
    reader = components.CreateObject("kestrelhost.LogReader");
    SetProperty(reader, "Connection", connection);
    records = components.CreateObject("kestrelhost.HeldBackRecords");
    SetProperty(records, "Connection", connection);
  }

  void HoldBack(FieldTexts fields, const char* import_class = "ksbimport.importkunden") {
    WriteHeldBackLog(components, connection,
                     {{"Specification", folder.File("Messe.IMP").c_str()},
                      {"Source", "/d/messe.txt"},
                      {"ImportClass", import_class}},
                     {{fields, {{"Record", "3"}, {"AddressType", "1"}, {"Address", "7"}}}});
    record = Key(ReadHeldBack());
  }
  void HoldBackTheUsual() {
    HoldBack({{"KundenNummer", ""},
              {"Bez1", "MEIER"},
              {"Bez2", ""},
              {"Ort", "Köln"},
              {"KundeSeit", "20240229000000"},
              {"Umsatz", "5,0"}});
  }

  RecordsetPtr ReadHeldBack(bool only_open = true) {
    return ToRecordset(CallMethod(reader, "ReadHeldBack", true, only_open, 10));
  }
  static std::int64_t Key(const RecordsetPtr& row) {
    return row->ValueAt(row->RequireColumn("Zeile")).ToInteger();
  }

  std::vector<std::string> Compared() {
    std::vector<std::string> lines;
    const auto text = [](const Recordset& row, std::size_t column) {
      return row.IsNull(column) ? "NULL" : std::string(row.TextAt(column));
    };
    for (const RecordsetPtr row = ToRecordset(CallMethod(records, "Compare", record)); !row->IsEof();
         row->MoveNext()) {
      lines.push_back(text(*row, 0) + ": " + text(*row, 1) + " | " + text(*row, 2));
    }
    return lines;
  }

  void UseImporter(const ScriptedImporter::Script& script) {
    components.Register("ksbimport.importkunden",
                        [this, script] { return std::make_shared<ScriptedImporter>(connection, script); });
  }
  Value ImportAnyway() { return CallMethod(records, "ImportAnyway", record, "4711"); }

  std::vector<std::string> Customers() {
    return Rows("SELECT KundenNummer, Bez1, CAST(KundeSeit AS TEXT) FROM Kunden ORDER BY KundenNummer");
  }
  std::vector<std::string> Decisions() { return Rows("SELECT Entscheidung FROM Protokolldetails"); }

  ObjectPtr reader;
  ObjectPtr records;
  std::int64_t record = 0;
};

TEST_F(HeldBackRecords, AreReadWithOneRowEachInTheOrderOfTheSource) {
  WriteHeldBackLog(components, connection, {},
                   {{{{"Bez1", "A"}, {"Ort", "B"}}, {{"Record", "3"}, {"Address", "7"}}},
                    {{{"Bez1", "A"}, {"Ort", "B"}}, {{"Record", "9"}, {"Address", "8"}}}});
  std::vector<std::string> rows;
  const RecordsetPtr row = ReadHeldBack();
  for (; !row->IsEof(); row->MoveNext()) {
    rows.push_back(std::string(row->TextAt(row->RequireColumn("Datensatz"))) + "|" +
                   std::string(row->TextAt(row->RequireColumn("Adresse"))));
  }
  EXPECT_THAT(rows, ElementsAre("3|7", "9|8"));
}

TEST_F(HeldBackRecords, OfALogWithoutDetailsAreReadTooButNobodyCanDecide) {
  WriteHeldBackLog(components, connection, {}, {{{{"Bez1", "A"}, {"Ort", "B"}}, {}}, {{{"Bez1", "C"}}, {}}});
  const RecordsetPtr row = ReadHeldBack();
  record = Key(row);
  row->MoveNext();
  EXPECT_FALSE(row->IsEof());
  row->MoveNext();
  EXPECT_TRUE(row->IsEof());
  EXPECT_ERROR(CallMethod(records, "Discard", record), ErrorNumber::kNoCurrentRecord);
}

TEST_F(HeldBackRecords, OfADatabaseOfAnEarlierVersionTellNoReasonAndNewOnesDo) {
  WriteHeldBackLog(components, connection, {}, {{{{"Bez1", "A"}}, {{"Record", "1"}, {"Address", "7"}}}});
  connection->Execute("ALTER TABLE Protokolldetails DROP COLUMN Wertung");
  connection->Execute("ALTER TABLE Protokolldetails DROP COLUMN Grund");
  const auto reasons = [this] {
    std::vector<std::string> found;
    const RecordsetPtr row = ToRecordset(CallMethod(reader, "ReadHeldBack", false, true, 10));
    for (; !row->IsEof(); row->MoveNext()) {
      const std::size_t column = row->RequireColumn("Grund");
      found.emplace_back(row->IsNull(column) ? "NULL" : row->TextAt(column));
    }
    return found;
  };
  EXPECT_THAT(reasons(), ElementsAre("NULL"));
  WriteHeldBackLog(
      components, connection, {},
      {{{{"Bez1", "B"}}, {{"Record", "2"}, {"Address", "7"}, {"Score", "93"}, {"Reason", "gleicher Name"}}}});
  EXPECT_THAT(reasons(), ::testing::UnorderedElementsAre("NULL", "gleicher Name"));
}

TEST_F(HeldBackRecords, StandBesideTheAddressTheyRepeatBothAsStored) {
  HoldBackTheUsual();
  EXPECT_THAT(Compared(), ElementsAre("KundenNummer:  | 7", "Bez1: MEIER | Meier", "Ort: Köln | Köln",
                                      "KundeSeit: 2024-02-29 | ", "Umsatz: 5 | 5", "PLZ: NULL | 5"));
}

TEST_F(HeldBackRecords, ShowAValueThatCannotBeStoredAsItStands) {
  HoldBack({{"Bez1", "Meier"}, {"KundeSeit", "irgendwann"}});
  EXPECT_THAT(Compared(), ::testing::Contains("KundeSeit: irgendwann | "));
}

TEST_F(HeldBackRecords, StandAloneWhereTheAddressIsGone) {
  HoldBackTheUsual();
  connection->Execute("DELETE FROM Kunden");
  EXPECT_THAT(Compared(), ElementsAre("Bez1: MEIER | NULL", "Ort: Köln | NULL", "KundeSeit: 2024-02-29 | NULL",
                                      "Umsatz: 5 | NULL"));
}

TEST_F(HeldBackRecords, OfAnotherListStandBesideTheAddressByTheFieldsThatBothHave) {
  HoldBack({{"LieferantenNummer", "4"}, {"Bez1", "Meier"}}, "ksbimport.importlieferanten");
  EXPECT_THAT(Compared(),
              ElementsAre("LieferantenNummer: 4 | ", "Bez1: Meier | Meier", "KundenNummer: NULL | 7",
                          "PLZ: NULL | 5", "Ort: NULL | Köln", "Umsatz: NULL | 5"));
}

TEST_F(HeldBackRecords, AreImportedAnywayThroughTheirImportClassSoThatTheIndexFollows) {
  HoldBackTheUsual();
  EXPECT_EQ(ImportAnyway(), Value("trotzdem importiert"));
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_THAT(Customers(), ElementsAre("7|Meier|NULL", "8|MEIER|2024-02-29"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("2"));
  EXPECT_THAT(Decisions(), ElementsAre("trotzdem importiert"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Protokollzeilen"), ElementsAre("6"));
}

TEST_F(HeldBackRecords, AreARunOfTheirOwnInTheLedger) {
  HoldBackTheUsual();
  ImportAnyway();
  EXPECT_THAT(Rows("SELECT Zustand, Gelesen, Neu, Abgewiesen, Fehler, Benutzer, Quelle FROM Importlauf"),
              ElementsAre("fertig|1|1|0|0|4711|/d/messe.txt, zurückgehaltener Datensatz"));
  EXPECT_THAT(Rows("SELECT Ereignis, Datensatz, BisDatensatz, Tabelle, Nummer FROM Importlaufzeilen"),
              ElementsAre("neu|3|3|Kunden|8"));
}

TEST_F(HeldBackRecords, CanBeTakenBackAsAnyOtherRunAndTheDecisionStays) {
  HoldBackTheUsual();
  ImportAnyway();
  const ObjectPtr ledger = components.CreateObject("kestrelhost.RunLedger");
  SetProperty(ledger, "Connection", connection);
  CallMethod(ledger, "StartUndo", 1, false, false);
  while (CallMethod(ledger, "NextUndo").ToBool()) {
  }
  EXPECT_EQ(GetProperty(ledger, "Removed"), Value(std::int64_t{1}));
  EXPECT_THAT(Customers(), ElementsAre("7|Meier|NULL"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("1"));
  EXPECT_THAT(Decisions(), ElementsAre("trotzdem importiert"));
}

TEST_F(HeldBackRecords, ThatAreRefusedAreARunThatStoredNothing) {
  HoldBack({{"Bez1", "Meier"}, {"Mitarbeiter", "-5"}});
  EXPECT_ERROR(ImportAnyway(), ErrorNumber::kDatabase);
  EXPECT_THAT(Rows("SELECT Zustand, Gelesen, Neu, Abgewiesen, Fehler FROM Importlauf"),
              ElementsAre("fertig|1|0|1|1"));
  EXPECT_THAT(Rows("SELECT Ereignis, Datensatz FROM Importlaufzeilen"), ElementsAre("abgewiesen|3"));
}

TEST_F(HeldBackRecords, AreNotImportedTwice) {
  HoldBackTheUsual();
  ImportAnyway();
  EXPECT_ERROR_TEXT(ImportAnyway(), ErrorNumber::kInvalidProcedureCall, HasSubstr("schon entschieden"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("2"));
}

TEST_F(HeldBackRecords, LeaveTheListOnceDecidedAndStayInTheLog) {
  HoldBackTheUsual();
  EXPECT_EQ(CallMethod(records, "Discard", record), Value("nicht importiert"));
  EXPECT_TRUE(ReadHeldBack()->IsEof());
  const RecordsetPtr row = ReadHeldBack(false);
  EXPECT_EQ(row->TextAt(row->RequireColumn("Entscheidung")), "nicht importiert");
  EXPECT_ERROR(ImportAnyway(), ErrorNumber::kInvalidProcedureCall);
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("1"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Protokollzeilen"), ElementsAre("6"));
}

TEST_F(HeldBackRecords, StayUndecidedWhereTheImportClassRefusesThem) {
  HoldBack({{"Bez1", "Meier"}, {"KundeSeit", "irgendwann"}});
  EXPECT_ERROR_TEXT(ImportAnyway(), ErrorNumber::kTypeMismatch, HasSubstr("KundeSeit"));
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_THAT(Customers(), ElementsAre("7|Meier|NULL"));
  EXPECT_THAT(Decisions(), ElementsAre("NULL"));
}

// On PostgreSQL records are sent without waiting for the answer.
TEST_F(HeldBackRecords, StayUndecidedWhereOnlyTheDatabaseRefusesThem) {
  HoldBack({{"Bez1", "Meier"}, {"Mitarbeiter", "-5"}});
  EXPECT_ERROR(ImportAnyway(), ErrorNumber::kDatabase);
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_THAT(Customers(), ElementsAre("7|Meier|NULL"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("1"));
  EXPECT_THAT(Decisions(), ElementsAre("NULL"));
}

TEST_F(HeldBackRecords, ANumberThatIsTakenIsRefusedUnlessTheSpecificationOverwrites) {
  HoldBack({{"KundenNummer", "7"}, {"Bez1", "MEIER"}});
  EXPECT_ERROR(ImportAnyway(), ErrorNumber::kNumberExists);
  folder.Write("Messe.IMP", "[CfgSettings]\r\nKundenUeberschreiben=1\r\n");
  EXPECT_EQ(ImportAnyway(), Value("trotzdem importiert"));
  EXPECT_THAT(Customers(), ElementsAre("7|MEIER|NULL"));
}

TEST_F(HeldBackRecords, AreStoredOnceWhereTwoPeopleDecideAtTheSameTime) {
  HoldBack({{"Bez1", "Meier"}});
  UseImporter({.before_import = [this] {
    connection->Execute("UPDATE Protokolldetails SET Entscheidung = 'nicht importiert'");
  }});
  EXPECT_ERROR_TEXT(ImportAnyway(), ErrorNumber::kInvalidProcedureCall, HasSubstr("nicht importiert"));
  EXPECT_THAT(Customers(), ElementsAre("7|Meier|NULL"));
}

TEST_F(HeldBackRecords, StayUndecidedWhereTheImportClassTellsItsErrorLate) {
  HoldBack({{"Bez1", "Meier"}});
  UseImporter({.late_error = 3000});
  EXPECT_ERROR_TEXT(ImportAnyway(), ErrorNumber::kDatabase, "zu spät");
  EXPECT_THAT(Customers(), ElementsAre("7|Meier|NULL"));
  EXPECT_THAT(Decisions(), ElementsAre("NULL"));
}

TEST_F(HeldBackRecords, AreImportedByAClassOfTheContractAlone) {
  HoldBack({{"Bez1", "Meier"}});
  UseImporter({});
  EXPECT_EQ(ImportAnyway(), Value("trotzdem importiert"));
  EXPECT_THAT(Customers(), ElementsAre("7|Meier|NULL", "99|Doppelt|NULL"));
}

TEST_F(HeldBackRecords, OfALogThatNamesNoImportClassAreToldWithAWayOut) {
  HoldBack({{"Bez1", "Meier"}}, "");
  EXPECT_ERROR_TEXT(ImportAnyway(), ErrorNumber::kInvalidProcedureCall,
                    HasSubstr("importieren Sie die Quelle erneut"));
}

TEST_F(HeldBackRecords, AFieldThatTheImportClassNoLongerHasIsToldAndNothingStored) {
  HoldBack({{"Bez1", "Meier"}, {"Faxnummer", "1"}});
  EXPECT_ERROR_TEXT(ImportAnyway(), ErrorNumber::kColumnNotFound, HasSubstr("Faxnummer"));
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_THAT(Decisions(), ElementsAre("NULL"));
}

TEST_F(HeldBackRecords, AnUnknownOneIsAnError) {
  HoldBackTheUsual();
  record += 1;
  EXPECT_ERROR(CallMethod(records, "Compare", record), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(CallMethod(records, "Discard", record), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(ImportAnyway(), ErrorNumber::kNoCurrentRecord);
}

// The whole way: what a run holds back and a person lets in stands there as without the check for duplicates.
TEST_F(HeldBackRecords, OfARunAreStoredAsTheRunWouldHaveStoredThem) {
  connection->Execute("DELETE FROM Kunden");
  connection->Execute("DELETE FROM Adressindex");
  folder.Write("Quelle.txt",
               "Nr;Name;PLZ;seit;Umsatz\r\n11;Meier;50667;1.3.2024;1.234,5\r\n12;Huber;20095;;\r\n"
               "13;MEIER;50667;29.2.2024;-7\r\n14;Huber ;20095;;0,125\r\n");
  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  const auto import = [&](const char* check) {
    folder.Write("Kunden.IMP",
                 "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\n"
                 "Provider=Textdatei\nFileName=Quelle.txt\nColumnHeadings=True\nDelimiter=;\n"
                 "[CfgSettings]\nAddresstypeCode=1\nDublettenKey1=1\nDublettenPruefen=" +
                     std::string(check) +
                     "\n[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\nPLZ=FIELD:PLZ\n"
                     "KundeSeit=FIELD:seit\nUmsatz=FIELD:Umsatz\n[FieldFormat]\nKundeSeit=tt.mm.jjjj\n");
    ImportJob job({ui, components, clock});
    job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = connection, .user = "4711"});
    return job.Run().duplicates;
  };
  const auto stored = [this] {
    return Rows(
        "SELECT KundenNummer, Bez1, PLZ, CAST(KundeSeit AS TEXT), Umsatz FROM Kunden ORDER BY KundenNummer");
  };
  ASSERT_EQ(import("0"), 0);
  const std::vector<std::string> expected = stored();
  ASSERT_EQ(expected.size(), 4U);
  connection->Execute("DELETE FROM Kunden");
  connection->Execute("DELETE FROM Adressindex");

  ASSERT_EQ(import("1"), 2);
  std::vector<std::string> keys;
  for (const RecordsetPtr row = ReadHeldBack(); !row->IsEof(); row->MoveNext()) {
    keys.push_back(std::to_string(Key(row)));
  }
  for (const std::string& key : keys) CallMethod(records, "ImportAnyway", Value(key).ToInteger(), "4711");
  EXPECT_EQ(stored(), expected);
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("4"));
  EXPECT_TRUE(ReadHeldBack()->IsEof());
}

}  // namespace
}  // namespace kestrel::testing
