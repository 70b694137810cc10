#include "host/host_fixture.h"
#include "platform/base/file.h"
#include "support/eventually.h"
#include "support/project_paths.h"

namespace kestrel {

using ::testing::ElementsAre;

using LogComponent = testing::HostFixture;
using SettingsComponent = testing::HostFixture;
using DoubletFunctions = testing::HostFixture;
using HostPlugIn = testing::HostFixture;

TEST_F(LogComponent, WritesAHeadAndRows) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  const Value key = CallMethod(log, "CreateProtokoll", ByRef(host), "Datenimport", "Dr. Erika Schmitz",
                               "LST_Import", "07.03.2024", "Kunden", "/tmp/x", "Textdatei");
  EXPECT_EQ(key, Value("1"));
  CallMethod(log, "AddNewRecord");
  CallMethod(log, "SetField", 10, 0, "Fehler: 5");
  CallMethod(log, "UpdateRecord");
  CallMethod(log, "AddNewRecord");
  Value text("zweiter");
  CallMethod(log, "SetField", 10, 2, ByRef(text));
  CallMethod(log, "UpdateRecord");
  EXPECT_THAT(Rows("SELECT Titel, Benutzer, Liste, Datum, Beschreibung, Datei, Quelle, Klasse FROM Protokoll"),
              ElementsAre("Datenimport|Dr. Erika Schmitz|LST_Import|07.03.2024|Kunden|/tmp/x|Textdatei|"));
  EXPECT_THAT(Rows("SELECT ProtokollNr, Spalte0, Spalte1, Spalte2 FROM Protokollzeilen ORDER BY ZeilenNr"),
              ElementsAre("1|Fehler: 5|NULL|NULL", "1|NULL|NULL|zweiter"));
}

TEST_F(LogComponent, TakesTenArgumentsWithTheNinthLeftOut) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  const auto create = [&] {
    return CallMethod(log, "CreateProtokoll", ByRef(host), "a", "b", "c", "07.03.2024", "e", "f", "g", kMissing,
                      "clsProtokoll");
  };
  EXPECT_EQ(create(), Value("1"));
  EXPECT_EQ(create(), Value("2"));
  EXPECT_THAT(Rows("SELECT Datum, Klasse FROM Protokoll"),
              ElementsAre("07.03.2024|clsProtokoll", "07.03.2024|clsProtokoll"));
}

TEST_F(LogComponent, KeepsTheOrderOfManyRowsWheneverTheyAreReadAndInWhicheverLog) {
  ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  std::vector<std::string> expected;
  const auto add_rows = [&](int count) {
    const Value key =
        CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", "LST", "07.03.2024", "e", "f", "g");
    for (int i = 0; i < count; ++i) {
      CallMethod(log, "AddNewRecord");
      const std::string text = "Zeile " + std::to_string(i);
      CallMethod(log, "SetField", 10, 0, text);
      if (i % 3 == 0) CallMethod(log, "SetField", 10, 2, "drei");
      CallMethod(log, "UpdateRecord");
      expected.push_back(key.ToText() + "|" + text + "|NULL|" + (i % 3 == 0 ? "drei" : "NULL"));
    }
  };
  const auto stored = [this] {
    return Rows("SELECT ProtokollNr, Spalte0, Spalte1, Spalte2 FROM Protokollzeilen ORDER BY ZeilenNr");
  };
  for (const int count : {1, 3, 16, 22, 0, 7, 53}) {
    add_rows(count);
    EXPECT_THAT(stored(), ::testing::ElementsAreArray(expected)) << count;
  }
  // Two logs with no query between them, the second one's rows unread at its end.
  add_rows(5);
  add_rows(6);
  log.reset();
  EXPECT_THAT(stored(), ::testing::ElementsAreArray(expected));
}

TEST_F(LogComponent, RowsWrittenBehindReachTheFileByThemselves) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", "LST", "07.03.2024", "e", "f", "g");
  CallMethod(log, "AddNewRecord");
  CallMethod(log, "SetField", 10, 0, "erste");
  CallMethod(log, "UpdateRecord");
  // One that is only begun stays out, and is not disturbed by the commit.
  CallMethod(log, "AddNewRecord");
  CallMethod(log, "SetField", 10, 0, "zweite");
  const ConnectionPtr other = OpenConnection(file);
  const auto rows = [&] { return other->OpenRecordset("SELECT Spalte0 FROM Protokollzeilen")->RecordCount(); };
  EXPECT_TRUE(testing::Eventually([&] { return rows() != 0; }));
  EXPECT_EQ(rows(), 1);
  CallMethod(log, "UpdateRecord");
  EXPECT_THAT(Rows("SELECT Spalte0 FROM Protokollzeilen ORDER BY ZeilenNr"), ElementsAre("erste", "zweite"));
}

TEST_F(LogComponent, RefusesRowsWithoutALog) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  EXPECT_ERROR(CallMethod(log, "AddNewRecord"), ErrorNumber::kObjectNotSet);
  Value host(connection);
  CallMethod(log, "CreateProtokoll", ByRef(host), "a", "b", "c", "07.03.2024", "e", "f", "g");
  EXPECT_ERROR(CallMethod(log, "SetField", 10, 0, "x"), ErrorNumber::kInvalidProcedureCall);
  EXPECT_ERROR(CallMethod(log, "UpdateRecord"), ErrorNumber::kInvalidProcedureCall);
  CallMethod(log, "AddNewRecord");
  EXPECT_ERROR(CallMethod(log, "SetField", 10, 3, "x"), ErrorNumber::kSubscriptOutOfRange);
  EXPECT_ERROR(CallMethod(log, "SetField", 11, 0, "x"), ErrorNumber::kInvalidProcedureCall);
}

TEST_F(LogComponent, TheReaderGivesAllLogsOfAListOrTheLast) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  for (const char* list : {"LST_Import", "LST_ImportDublett", "LST_Import"}) {
    CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", list, "07.03.2024", "e", "f", "g");
    CallMethod(log, "AddNewRecord");
    CallMethod(log, "SetField", 10, 0, list);
    CallMethod(log, "UpdateRecord");
  }
  const ObjectPtr reader = components.CreateObject("kestrelhost.LogReader");
  SetProperty(reader, "Connection", connection);
  const RecordsetPtr all = ToRecordset(CallMethod(reader, "ReadLog", "LST_Import", false));
  EXPECT_EQ(all->RecordCount(), 2);
  EXPECT_EQ(all->TextAt(all->RequireColumn("Datum")), "07.03.2024");
  EXPECT_EQ(all->TextAt(all->RequireColumn("Spalte0")), "LST_Import");
  const RecordsetPtr last = ToRecordset(CallMethod(reader, "ReadLog", "LST_Import", true));
  EXPECT_EQ(last->RecordCount(), 1);
  EXPECT_EQ(last->TextAt(last->RequireColumn("Protokoll")), "3");
}

TEST_F(SettingsComponent, ReadsSettingsOfTheConnection) {
  const ObjectPtr settings = components.CreateObject("KSBSetting.KSSettings");
  Value result;
  EXPECT_ERROR(CallMethod(settings, "GetSetting", "a", "b", ByRef(result), "Standard", "Standard", "0"),
               ErrorNumber::kObjectNotSet);
  Value host(connection);
  CallMethod(settings, "Init", 0, ByRef(host));
  CallMethod(settings, "GetSetting", "Adressindex", "Doubletindex", ByRef(result), "Standard", "Standard", "0");
  EXPECT_EQ(result, Value("1"));
  CallMethod(settings, "GetSetting", "Adressindex", "gibt es nicht", ByRef(result), "Standard", "Standard",
             "0");
  EXPECT_EQ(result, Value("0"));
}

TEST_F(SettingsComponent, SeesItsOwnChangesAtOnceAndThoseOfOthersSoon) {
  const auto read = [&] {
    const ObjectPtr settings = components.CreateObject("KSBSetting.KSSettings");
    Value host(connection);
    Value result;
    CallMethod(settings, "Init", 0, ByRef(host));
    CallMethod(settings, "GetSetting", "Adressindex", "Doubletindex", ByRef(result), "Standard", "Standard",
               "0");
    return result.ToText();
  };
  EXPECT_EQ(read(), "1");
  Set("Doubletindex", "0");
  EXPECT_EQ(read(), "0");
  OpenConnection(file)->Execute("UPDATE Einstellungen SET Wert = '1' WHERE Name = 'Doubletindex'");
  EXPECT_TRUE(testing::Eventually([&] { return read() == "1"; }));
}

// The thread that ends a write group asks for settings, too, and may read the table anew meanwhile.
TEST_F(SettingsComponent, AnAnswerStaysAsItIsWhateverIsAskedNext) {
  host::Settings& settings = host::Settings::Of(*connection);
  const std::string first(40, 'a');
  settings.Set("Probe", "Wert", first);
  const auto answer = settings.Get("Probe", "Wert", "");
  settings.Set("Probe", "Wert", std::string(40, 'b'));
  EXPECT_NE(settings.Get("Probe", "Wert", ""), first);
  EXPECT_EQ(answer, first);
}

TEST_F(DoubletFunctions, BuildsKeysByCode) {
  const ObjectPtr functions = components.CreateObject("ksDoubLb.DoubletFunctions");
  Value code("4");
  Value one("50667|Köln||Meyer|Meyer||||");
  Value other("50667|Bonn||Maier|Maier||||");
  const Value key = CallMethod(functions, "BuildDoubletKey", ByRef(code), ByRef(one));
  EXPECT_EQ(key, CallMethod(functions, "BuildDoubletKey", ByRef(code), ByRef(other)));
  EXPECT_NE(key, Value(""));
  code = Value("?");
  EXPECT_ERROR(CallMethod(functions, "BuildDoubletKey", ByRef(code), ByRef(one)),
               ErrorNumber::kInvalidProcedureCall);
}

TEST_F(DoubletFunctions, ConfirmsAStoredAddressWithScoreAndReason) {
  Import(Importer(), {{"KundenNummer", "7"},
                      {"Bez1", "Ruckweiler"},
                      {"Bez2", "Anna"},
                      {"Strasse", "Tulpenhof 5"},
                      {"PLZ", "50667"},
                      {"Ort", "Köln"}});
  const ObjectPtr functions = components.CreateObject("ksDoubLb.DoubletFunctions");
  Value reason("");
  const auto score = [&](const char* key_text, const char* reference) {
    return CallMethod(functions, "Confirm", connection, key_text, 1, reference, ByRef(reason)).ToDouble();
  };
  EXPECT_GT(score("50667|Köln|Tulpenhof 5||Anna Ruckwieler||||", "7"), 99);
  EXPECT_THAT(reason.ToText(), ::testing::StartsWith("Name ähnlich 0,9"));
  EXPECT_LT(score("50667|Köln|Tulpenhof 5||Peter Ruckweiler||||", "7"), 1);
  // An address that is not there any more repeats nothing, and neither does one of another kind.
  EXPECT_EQ(score("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||", "8"), 0);
  EXPECT_EQ(score("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||", "x"), 0);
  EXPECT_EQ(CallMethod(functions, "Confirm", connection, "", 2, "7", ByRef(reason)), Value(0.0));
}

TEST_F(DoubletFunctions, ComparesARecordWithHowOneHeldBackWasWritten) {
  const ObjectPtr functions = components.CreateObject("ksDoubLb.DoubletFunctions");
  Value reason("");
  const auto score = [&](const char* key_text, const char* spelling) {
    return CallMethod(functions, "ConfirmSpelling", key_text, spelling, ByRef(reason)).ToDouble();
  };
  EXPECT_GT(score("50667|Köln|Tulpenhof 5||Anna Ruckwieler||||", "50667|Köln|Tulpenhof||Anna Ruckweiler||||"),
            99);
  EXPECT_THAT(reason.ToText(), ::testing::StartsWith("Name ähnlich 0,9"));
  EXPECT_LT(
      score("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||", "50667|Köln|Tulpenhof 5||Peter Ruckweiler||||"), 1);
  EXPECT_EQ(score("50667|Köln|Tulpenhof 5||Anna Ruckweiler||||", "50667|Köln|Tulpenhof 5||Uwe Bellmann||||"),
            0);
}

TEST_F(HostPlugIn, IsLoadedThroughItsAnnouncement) {
  ComponentRegistry registry;
  registry.AddFolder(testing::InBuildTree("lib/kestrel/components"));
  for (const std::string& prog_id : registry.ProgIds())
    EXPECT_NE(registry.CreateObject(prog_id), nullptr) << prog_id;
  const ObjectPtr importer = registry.CreateObject("ksbimport.importkunden");
  SetProperty(importer, "Connection", connection);
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  EXPECT_THAT(Rows("SELECT Bez1 FROM Kunden"), ElementsAre("A"));
}

TEST_F(HostPlugIn, SetsUpASampleHostWithoutTouchingWhatIsThere) {
  const ObjectPtr setup = components.CreateObject("kestrelhost.Setup");
  const std::string sample = folder.File("neu/hier");
  const std::string database = CallMethod(setup, "CreateSampleHost", sample).ToText();
  EXPECT_EQ(database, sample + "/kestrel.db");
  for (const char* name :
       {"Kunden.IMP", "Kunden.IMT", "Interessenten.IMT", "Lieferanten.IMT", "Beispieladressen.txt"}) {
    EXPECT_TRUE(FileExists(sample + "/Import/" + name)) << name;
  }
  const ConnectionPtr host = OpenConnection(database);
  host->Execute("DELETE FROM Importfelder WHERE FieldName = 'Rabatt'");
  host->Execute("UPDATE Einstellungen SET Wert = '0' WHERE Name = 'Doubletindex'");
  WriteFileAtomically(sample + "/Import/Kunden.IMP", "x");
  CallMethod(setup, "CreateSampleHost", sample);
  EXPECT_EQ(ReadWholeFile(sample + "/Import/Kunden.IMP"), "x");
  EXPECT_EQ(host->OpenRecordset("SELECT * FROM Importfelder WHERE FieldName = 'Rabatt'")->RecordCount(), 0);
  EXPECT_EQ(host->OpenRecordset("SELECT * FROM Einstellungen WHERE Wert = '0'")->RecordCount(), 1);
}

TEST_F(LogComponent, KeepsWhatStandsBesideALogAndItsRows) {
  // As an earlier version left it.
  connection->Execute("DROP TABLE Protokolldetails");
  connection->Execute("DROP TABLE Protokollherkunft");
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", "LST_Import", "07.03.2024", "e", "/i/~1.tmp",
             "Textdatei");
  CallMethod(log, "SetLogDetail", "Specification", "/i/Kunden.IMP");
  CallMethod(log, "SetLogDetail", "Source", "/d/kunden.txt");
  CallMethod(log, "SetLogDetail", "Unbekannt", "x");
  const auto add_row = [&](const char* text,
                           std::initializer_list<std::pair<const char*, const char*>> details) {
    CallMethod(log, "AddNewRecord");
    CallMethod(log, "SetField", 10, 0, text);
    for (const auto& [name, value] : details) CallMethod(log, "SetRowDetail", name, value);
    CallMethod(log, "UpdateRecord");
  };
  add_row("Fehler", {{"Record", "4"}, {"Field", "Ort"}, {"SourceColumn", "Stadt"}, {"RawValue", "Köln"}});
  add_row("Fehler", {});
  add_row("Fehler", {{"Record", "5"}, {"LastRecord", "9"}, {"Unbekannt", "x"}});

  const ObjectPtr reader = components.CreateObject("kestrelhost.LogReader");
  SetProperty(reader, "Connection", connection);
  std::vector<std::string> rows;
  for (const RecordsetPtr row = ToRecordset(CallMethod(reader, "ReadLog", "LST_Import", true)); !row->IsEof();
       row->MoveNext()) {
    std::string line;
    for (const char* column :
         {"Datei", "Quelldatei", "Datensatz", "DatensatzBis", "Feld", "Quellspalte", "Rohwert"}) {
      line += std::string(row->TextAt(row->RequireColumn(column))) + ";";
    }
    rows.push_back(std::move(line));
  }
  EXPECT_THAT(rows, ElementsAre("/i/Kunden.IMP;/d/kunden.txt;4;;Ort;Stadt;Köln;",
                                "/i/Kunden.IMP;/d/kunden.txt;;;;;;", "/i/Kunden.IMP;/d/kunden.txt;5;9;;;;"));
}

TEST_F(LogComponent, TheMatchStandsInEveryRowOfARecordHeldBackAndInNoOther) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", "LST_ImportDublett", "07.03.2024", "e", "/i/~1.tmp",
             "g");
  for (const char* mark : {"{A}", "{B}", "{C}"}) {
    for (const char* field : {"Bez1", "Ort"}) {
      CallMethod(log, "AddNewRecord");
      int column = 0;
      for (const char* text : {mark, field, "x"}) CallMethod(log, "SetField", 10, column++, text);
      if (std::string_view(field) == "Bez1" && std::string_view(mark) != "{B}") {
        CallMethod(log, "SetRowDetail", "AddressType", "32");
        CallMethod(log, "SetRowDetail", "Address", mark);
      }
      CallMethod(log, "UpdateRecord");
    }
  }
  const ObjectPtr reader = components.CreateObject("kestrelhost.LogReader");
  SetProperty(reader, "Connection", connection);
  std::vector<std::string> rows;
  for (const RecordsetPtr row = ToRecordset(CallMethod(reader, "ReadLog", "LST_ImportDublett", false));
       !row->IsEof(); row->MoveNext()) {
    const auto text = [&](const char* column) { return std::string(row->TextAt(row->RequireColumn(column))); };
    rows.push_back(text("Spalte0") + text("Adressart") + text("Adresse"));
  }
  EXPECT_THAT(rows, ElementsAre("{A}Lieferanten{A}", "{A}Lieferanten{A}", "{B}", "{B}", "{C}Lieferanten{C}",
                                "{C}Lieferanten{C}"));
}

TEST_F(LogComponent, RowsStoredByOneCallAreThoseOfTheSingleCalls) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  EXPECT_ERROR(CallMethod(log, "StoreRow", "x"), ErrorNumber::kObjectNotSet);
  Value host(connection);
  for (const bool whole : {false, true}) {
    CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", "LST", "07.03.2024", "e", "f", "g");
    CallMethod(log, "SetLogDetail", "Source", "/d/kunden.txt");
    for (int i = 0; i < 70; ++i) {
      const std::vector<std::string> texts = {"{A}", i % 5 == 0 ? "" : "Feld" + std::to_string(i), "größer"};
      if (whole) {
        CallMethod(log, "StoreRow", texts[0], texts[1], texts[2]);
        continue;
      }
      CallMethod(log, "AddNewRecord");
      for (std::size_t column = 0; column < texts.size(); ++column) {
        CallMethod(log, "SetField", 10, column, texts[column]);
      }
      CallMethod(log, "UpdateRecord");
    }
  }
  const auto rows_of = [this](const char* number) {
    return Rows("SELECT Spalte0, Spalte1, Spalte2 FROM Protokollzeilen WHERE ProtokollNr = " +
                std::string(number) + " ORDER BY ZeilenNr");
  };
  EXPECT_EQ(rows_of("1").size(), 70U);
  EXPECT_EQ(rows_of("2"), rows_of("1"));
  EXPECT_THAT(Rows("SELECT ProtokollNr, Quelle FROM Protokollherkunft ORDER BY ProtokollNr"),
              ElementsAre("1|/d/kunden.txt", "2|/d/kunden.txt"));
}

TEST_F(LogComponent, RowsOfRecordsHeldBackAreAppendedBehindErrorsWhicheverLogBegan) {
  // As an earlier version left it.
  connection->Execute("INSERT INTO Protokoll (ProtokollNr, Titel, Liste) VALUES (1, 't', 'LST_ImportDublett')");
  connection->Execute(
      "INSERT INTO Protokollzeilen VALUES (4294967297, 1, '{alt}', 'Ort', 'x'), (4294967298, 1, '{alt}', "
      "'PLZ', '')");
  Value host(connection);
  const auto begin = [&](const char* list) {
    const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
    CallMethod(log, "CreateProtokoll", ByRef(host), "t", "u", list, "07.03.2024", "e", "f", "g");
    return log;
  };
  const ObjectPtr held_back = begin("LST_ImportDublett");
  const ObjectPtr errors = begin("LST_Import");
  for (const char* number : {"1", "2", "3"}) {
    CallMethod(errors, "StoreRow", std::string("Fehler ") + number);
    CallMethod(held_back, "StoreRow", "{neu}", "Ort", number);
  }
  EXPECT_THAT(Rows("SELECT Spalte0, Spalte2 FROM Protokollzeilen ORDER BY ZeilenNr"),
              ElementsAre("{alt}|x", "{alt}|", "Fehler 1|NULL", "Fehler 2|NULL", "Fehler 3|NULL", "{neu}|1",
                          "{neu}|2", "{neu}|3"));
  const ObjectPtr reader = components.CreateObject("kestrelhost.LogReader");
  SetProperty(reader, "Connection", connection);
  const auto read = [&](const char* list, bool only_last) {
    std::string texts;
    for (const RecordsetPtr row = ToRecordset(CallMethod(reader, "ReadLog", list, only_last)); !row->IsEof();
         row->MoveNext()) {
      texts += std::string(row->TextAt(row->RequireColumn("Spalte0"))) +
               std::string(row->TextAt(row->RequireColumn("Spalte2"))) + ";";
    }
    return texts;
  };
  EXPECT_EQ(read("LST_Import", true), "Fehler 1;Fehler 2;Fehler 3;");
  EXPECT_EQ(read("LST_ImportDublett", true), "{neu}1;{neu}2;{neu}3;");
  EXPECT_EQ(read("LST_ImportDublett", false), "{alt}x;{alt};{neu}1;{neu}2;{neu}3;");
}

}  // namespace kestrel
