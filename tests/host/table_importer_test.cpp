#include "host/host_fixture.h"
#include "kestrel/memory_recordset.h"
#include "support/eventually.h"

namespace kestrel {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using TableImporter = testing::HostFixture;

TEST_F(TableImporter, FieldsComeInOrderWithTheirProperties) {
  const RecordsetPtr fields = ToRecordset(CallMethod(Importer(), "GetFields"));
  ASSERT_EQ(fields->RecordCount(), 20);
  const auto text = [&](const char* column) {
    return std::string(fields->TextAt(fields->RequireColumn(column)));
  };
  EXPECT_EQ(text("FieldName"), "KundenNummer");
  EXPECT_EQ(text("FieldTyp"), "INT");
  EXPECT_EQ(text("Obligation"), "Falsch");
  fields->MoveNext();
  EXPECT_EQ(text("FieldName"), "Bez1");
  EXPECT_EQ(text("Obligation"), "Wahr");
  EXPECT_EQ(text("Size"), "50");
  EXPECT_EQ(text("FieldTyp"), "VARCHAR");
  while (text("FieldName") != "Kundengruppe") fields->MoveNext();
  EXPECT_EQ(text("RowSourceTyp"), "0");
  const RecordsetPtr groups = connection->OpenRecordset(text("RowSource"));
  EXPECT_TRUE(groups->FindColumn(OnPostgres() ? "description" : "Description").has_value());
  fields->MoveNext();
  EXPECT_EQ(text("FieldName"), "KundeSeit");
  EXPECT_EQ(text("DateField"), "Wahr");
}

TEST_F(TableImporter, CheckValueSaysWhatStoringTheValueWouldAndChangesNothing) {
  const ObjectPtr importer = Importer();
  const auto refusal = [&](const char* field, const std::string& text) {
    return CallMethod(importer, "CheckValue", field, text).ToText();
  };
  const std::vector<std::pair<const char*, std::string>> values = {
      {"Mitarbeiter", "12,5"}, {"KundeSeit", "31.02.2024"}, {"Umsatz", "viel"}, {"Bez2", std::string(51, 'x')}};
  for (const auto& [field, text] : values) {
    EXPECT_THAT(refusal(field, text), HasSubstr(field));
    EXPECT_EQ(Import(importer, {{"Bez1", "x"}, {field, text.c_str()}}), refusal(field, text));
  }
  EXPECT_EQ(refusal("KundeSeit", "01.02.2024"), "");
  EXPECT_EQ(refusal("KundeSeit", "20240201000000"), "");
  EXPECT_EQ(refusal("Mitarbeiter", ""), "");
  EXPECT_EQ(refusal("Gibtesnicht", "x"), "");
  EXPECT_EQ(GetProperty(importer, "ErrorCode").ToInteger(), 3421) << "that of the last record";
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("0"));
}

TEST_F(TableImporter, EachDestinationHasItsOwnNumberAndGroup) {
  const auto names = [&](const char* prog_id) {
    std::vector<std::string> list;
    for (const RecordsetPtr f = ToRecordset(CallMethod(Importer(prog_id), "GetFields")); !f->IsEof();
         f->MoveNext()) {
      list.emplace_back(f->TextAt(0));
    }
    return list;
  };
  EXPECT_THAT(names("ksbimport.importinteressenten"),
              ::testing::IsSupersetOf({"Interessentennummer", "Kundengruppe"}));
  EXPECT_THAT(names("ksbimport.importlieferanten"),
              ::testing::IsSupersetOf({"LieferantenNummer", "Lieferantengruppe"}));
}

TEST_F(TableImporter, HasNoSettingsDialog) {
  const ObjectPtr importer = Importer();
  LetProperty(importer, "PersonalNr", "4711");
  LetProperty(importer, "Application", 2);
  LetProperty(importer, "SpecificationFile", "/tmp/x");
  EXPECT_EQ(GetProperty(importer, "HasConfig"), Value(false));
  CallMethod(importer, "ShowConfig");
  EXPECT_EQ(GetProperty(importer, "ErrorCode"), Value(0));
}

TEST_F(TableImporter, ValuesAreStoredInTheTypesOfTheirColumns) {
  EXPECT_EQ(Import(Importer(), {{"KundenNummer", "17"},
                                {"Bez1", "Müller € Söhne"},
                                {"KundeSeit", "20240229000000"},
                                {"Umsatz", "1234,5"},
                                {"Rabatt", "2.25"},
                                {"Mitarbeiter", " 12 "},
                                {"Bez2", ""}}),
            "");
  EXPECT_THAT(
      Rows("SELECT KundenNummer, Bez1, CAST(KundeSeit AS TEXT), Umsatz, Rabatt, Mitarbeiter, Bez2, Bez3 "
           "FROM Kunden"),
      ElementsAre("17|Müller € Söhne|2024-02-29|1234,5|2,25|12||NULL"));
  // One of the two keeps values of any type in any column.
  if (!OnPostgres()) {
    EXPECT_THAT(Rows("SELECT typeof(Umsatz), typeof(Mitarbeiter) FROM Kunden"), ElementsAre("real|integer"));
  }
}

TEST_F(TableImporter, ARecordWithoutNumberGetsTheNextFreeOne) {
  const ObjectPtr importer = Importer();
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "41"}, {"Bez1", "B"}}), "");
  EXPECT_EQ(Import(importer, {{"KundenNummer", ""}, {"Bez1", "C"}}), "");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "7"}, {"Bez1", "D"}}), "");
  EXPECT_EQ(Import(importer, {{"Bez1", "E"}}), "");
  CallMethod(importer, "AfterImport");
  connection->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (100, 'von anderer Hand')");
  EXPECT_EQ(Import(importer, {{"Bez1", "F"}}), "");
  // A sequence does not know what was stored past it.
  const char* const next = OnPostgres() ? "44|F" : "101|F";
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1 FROM Kunden WHERE KundenNummer <> 100 ORDER BY 1"),
              ElementsAre("1|A", "7|D", "41|B", "42|C", "43|E", next));
}

TEST_F(TableImporter, ANumberTakenMeanwhileInTheSameTransactionIsPassedOver) {
  const ObjectPtr importer = Importer();
  connection->Begin();
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  connection->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (2, 'von anderer Hand')");
  EXPECT_EQ(Import(importer, {{"Bez1", "C"}}), "");
  connection->Commit();
  EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden"), ElementsAre("1", "2", "3"));
}

TEST_F(TableImporter, AnExistingNumberIsUpdatedWhereTheRecordHasValues) {
  const ObjectPtr importer = OverwritingImporter();
  Import(importer,
         {{"KundenNummer", "5"}, {"Bez1", "Alt"}, {"Ort", "Köln"}, {"Telefon", "1"}, {"Mitarbeiter", "3"}});
  EXPECT_EQ(Import(importer, {{"KundenNummer", "5"}, {"Bez1", "Neu"}, {"Telefon", ""}, {"Mitarbeiter", ""}}),
            "");
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1, Ort, Telefon, Mitarbeiter FROM Kunden"),
              ElementsAre("5|Neu|Köln|1|3"));
}

TEST_F(TableImporter, ARecordTellsWhetherItIsNewOrUpdatedAnAddress) {
  const ObjectPtr importer = OverwritingImporter();
  const auto result = [&] { return GetProperty(importer, "ImportResult").ToText(); };
  // Where the database does not answer at once, only the number is known before the next record.
  const auto known_at_once = [&](const std::string& what, const char* number) {
    return (OnPostgres() ? "open" : what) + " " + number;
  };
  EXPECT_EQ(result(), "");
  Import(importer, {{"KundenNummer", "41"}, {"Bez1", "A"}});
  EXPECT_EQ(result(), known_at_once("new", "41"));
  Import(importer, {{"Bez1", "B"}});
  EXPECT_EQ(result(), known_at_once("new", "42"));
  Import(importer, {{"KundenNummer", "41"}, {"Bez1", "C"}});
  EXPECT_EQ(result(), known_at_once("updated", "41"));
  Import(importer, {{"KundenNummer", "43"}});
  EXPECT_EQ(result(), "") << "refused";
  while (CallMethod(importer, "NextLateError").ToBool()) {
  }
  EXPECT_EQ(CallMethod(importer, "NextLateUpdate").ToInteger(), OnPostgres() ? 3 : 0);
  EXPECT_EQ(CallMethod(importer, "NextLateUpdate").ToInteger(), 0);
}

TEST_F(TableImporter, AnExistingNumberIsRefusedUnlessTheSpecificationAllowsOverwriting) {
  struct Case {
    const char* prog_id;
    const char* number;
    const char* key;
  };
  for (const auto& [prog_id, number, key] :
       {Case{"ksbimport.importkunden", "KundenNummer", "KundenUeberschreiben"},
        Case{"ksbimport.importinteressenten", "Interessentennummer", "InteressentenUeberschreiben"},
        Case{"ksbimport.importlieferanten", "LieferantenNummer", "LieferantenUeberschreiben"}}) {
    const std::string table = std::string(key).substr(0, std::string(key).find("Ueber"));
    const auto names = [&] { return Rows("SELECT Bez1 FROM " + table); };
    // Each file is new, as an import's working copy is.
    const auto importer_with = [&](const std::string& file, const std::string& settings) {
      folder.Write(file, "[CfgSettings]\r\n" + settings);
      const ObjectPtr importer = Importer(prog_id);
      LetProperty(importer, "SpecificationFile", folder.File(file));
      Value cancel(false);
      CallMethod(importer, "BeforeImport", ByRef(cancel));
      return importer;
    };
    const auto import = [&](const ObjectPtr& importer, const char* name) {
      std::string error = Import(importer, {{number, "17"}, {"Bez1", name}});
      if (error.empty() && CallMethod(importer, "NextLateError").ToBool()) {
        error = GetProperty(importer, "ErrorDescription").ToText();
      }
      return error;
    };
    const ObjectPtr first = importer_with(table + "1.IMP", "");
    EXPECT_EQ(import(first, "erste"), "");
    EXPECT_THAT(import(first, "zweite"), ::testing::AllOf(HasSubstr("Nummer 17"), HasSubstr(key)));
    for (const char* value : {"=0", "=", "=ja", "=01"}) {
      EXPECT_THAT(import(importer_with(table + value + ".IMP", key + std::string(value)), "dritte"),
                  HasSubstr("Nummer 17"));
    }
    EXPECT_THAT(names(), ElementsAre("erste"));
    EXPECT_EQ(import(importer_with(table + "2.IMP", key + std::string("=1")), "letzte"), "");
    EXPECT_THAT(names(), ElementsAre("letzte"));
  }
}

TEST_F(TableImporter, ANumberThatIsTooLargeCostsNoOtherRecordItsNumber) {
  const ObjectPtr importer = Importer();
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  std::string refused = Import(importer, {{"KundenNummer", "9000000000000000000"}, {"Bez1", "B"}});
  EXPECT_THAT(refused, HasSubstr("9000000000000000000"));
  EXPECT_EQ(Import(importer, {{"Bez1", "C"}}), "");
  EXPECT_EQ(Import(importer, {{"Bez1", "D"}}), "");
  EXPECT_FALSE(CallMethod(importer, "NextLateError").ToBool());
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1 FROM Kunden ORDER BY 1"), ElementsAre("1|A", "2|C", "3|D"));
}

TEST_F(TableImporter, WhatCannotBeStoredIsToldWithTheField) {
  const ObjectPtr importer = Importer();
  EXPECT_THAT(Import(importer, {{"Ort", "Köln"}}), HasSubstr("Pflichtfeld 'Bez1'"));
  EXPECT_THAT(Import(importer, {{"Bez1", ""}}), HasSubstr("Pflichtfeld 'Bez1'"));
  EXPECT_THAT(Import(importer, {{"Bez1", "x"}, {"Mitarbeiter", "12,5"}}),
              HasSubstr("'Mitarbeiter' erwartet eine ganze Zahl"));
  EXPECT_THAT(Import(importer, {{"Bez1", "x"}, {"KundenNummer", "K-12"}}), HasSubstr("'KundenNummer'"));
  EXPECT_THAT(Import(importer, {{"Bez1", "x"}, {"Umsatz", "viel"}}), HasSubstr("'Umsatz' erwartet eine Zahl"));
  EXPECT_THAT(Import(importer, {{"Bez1", "x"}, {"KundeSeit", "20230229000000"}}),
              HasSubstr("'KundeSeit' erwartet ein Datum"));
  EXPECT_THAT(Import(importer, {{"Bez1", "x"}, {"Land", "Österreich"}}),
              HasSubstr("'Land' ist länger als 3 Zeichen"));
  std::string refused = Import(importer, {{"Bez1", "x"}, {"Mitarbeiter", "-1"}});
  // Only the database knows, which need not have answered yet.
  if (refused.empty() && CallMethod(importer, "NextLateError").ToBool()) {
    refused = GetProperty(importer, "ErrorDescription").ToText();
  }
  EXPECT_THAT(refused, AnyOf(HasSubstr("CHECK"), HasSubstr("check constraint")));
  EXPECT_EQ(Import(importer, {{"Bez1", "danach"}, {"Land", "ÖÄÜ"}}), "");
  EXPECT_THAT(Rows("SELECT Bez1 FROM Kunden"), ElementsAre("danach"));
}

TEST_F(TableImporter, ARecordOfAnotherMakeIsStoredByItsColumnNames) {
  const ObjectPtr importer = Importer();
  const auto record = std::make_shared<MemoryRecordset>();
  record->AppendColumn("ort");
  record->AppendColumn("Bez1");
  record->AddNew();
  record->SetText(0, "Bonn");
  record->SetText(1, "Meyer");
  CallMethod(importer, "ImportRecord", record);
  EXPECT_EQ(GetProperty(importer, "ErrorDescription"), Value(""));
  EXPECT_THAT(Rows("SELECT Bez1, Ort FROM Kunden"), ElementsAre("Meyer|Bonn"));
  CallMethod(importer, "ImportRecord", 5);
  EXPECT_NE(GetProperty(importer, "ErrorCode"), Value(0));
}

TEST_F(TableImporter, NewRecordsAreEmpty) {
  const ObjectPtr importer = Importer();
  const RecordsetPtr first = ToRecordset(CallMethod(importer, "GetNewRecord"));
  first->SetText(1, "Meyer");
  const RecordsetPtr second = ToRecordset(CallMethod(importer, "GetNewRecord"));
  EXPECT_EQ(second->ColumnCount(), 20U);
  for (std::size_t i = 0; i < second->ColumnCount(); ++i) EXPECT_TRUE(second->IsNull(i));
}

TEST_F(TableImporter, ADestinationOfOnesOwnNeedsOnlyRows) {
  connection->Execute("CREATE TABLE Vertreter (Nr INTEGER PRIMARY KEY, Nachname TEXT, Gebiet TEXT)");
  connection->Execute(
      "INSERT INTO Importziele VALUES ('ksbimport.importvertreter', 'Vertreter', 'Nummer', NULL, 0)");
  connection->Execute(
      "INSERT INTO Importfelder VALUES ('ksbimport.importvertreter', 1, 'Nummer', FALSE, 0, '', 9, 'INT', "
      "FALSE, 'Nr'), "
      "('ksbimport.importvertreter', 2, 'Name', TRUE, 0, '', 20, 'VARCHAR', FALSE, 'Nachname')");
  folder.Write("own.component", "[Components]\r\nksbimport.importvertreter=libkestrelhost.so\r\n");
  ComponentRegistry registry;
  registry.AddFolder(folder.path());
  host::RegisterComponents(registry);
  const ObjectPtr importer = registry.CreateObject("ksbimport.importvertreter");
  SetProperty(importer, "Connection", connection);
  EXPECT_EQ(Import(importer, {{"Name", "Lohmann"}}), "");
  EXPECT_THAT(Rows("SELECT * FROM Vertreter"), ElementsAre("1|Lohmann|NULL"));
  EXPECT_THAT(Rows("SELECT * FROM Adressindex"), IsEmpty());
}

TEST_F(TableImporter, NamesThatCouldChangeAStatementAreRefused) {
  connection->Execute("UPDATE Importfelder SET Spalte = 'Ort) VALUES (1); --' WHERE FieldName = 'Ort'");
  const ObjectPtr importer = Importer();
  const RecordsetPtr fields = ToRecordset(CallMethod(importer, "GetFields"));
  EXPECT_EQ(fields->RecordCount(), 0);
  EXPECT_EQ(fields->ColumnCount(), 7U);
  EXPECT_THAT(GetProperty(importer, "ErrorDescription").ToText(), HasSubstr("unzulässigen Namen"));
}

TEST_F(TableImporter, AHostWithoutTablesIsToldAndNothingIsRaised) {
  const ConnectionPtr empty = OpenConnection(folder.File("leer.db"));
  const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
  SetProperty(importer, "Connection", empty);
  for (const char* member : {"GetFields", "GetNewRecord"}) {
    CallMethod(importer, member);
    EXPECT_THAT(GetProperty(importer, "ErrorDescription").ToText(), HasSubstr("Importziele")) << member;
  }
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(cancel, Value(false));
  EXPECT_NE(GetProperty(importer, "ErrorCode"), Value(0));
}

TEST_F(TableImporter, TheConnectionMustBeOne) {
  const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
  EXPECT_ERROR(SetProperty(importer, "Connection", nullptr), ErrorNumber::kObjectNotSet);
  EXPECT_ERROR(SetProperty(importer, "Connection", importer), ErrorNumber::kMemberNotFound);
}

TEST_F(TableImporter, RecordsAreSeenByOthersAfterTheImport) {
  const ObjectPtr importer = Importer();
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_EQ(cancel, Value(false));
  Import(importer, {{"Bez1", "A"}});
  CallMethod(importer, "AfterImport");
  EXPECT_EQ(OpenConnection(file)->OpenRecordset("SELECT * FROM Kunden")->RecordCount(), 1);
}

TEST_F(TableImporter, AnAbortedImportLeavesNothingLocked) {
  const ObjectPtr importer = Importer();
  Import(importer, {{"Bez1", "A"}});
  const ConnectionPtr other = OpenConnection(file);
  EXPECT_TRUE(
      testing::Eventually([&] { return other->OpenRecordset("SELECT * FROM Kunden")->RecordCount() == 1; }));
  other->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (2, 'B')");
  EXPECT_EQ(Import(importer, {{"Bez1", "C"}}), "");
  EXPECT_THAT(Rows("SELECT Bez1 FROM Kunden ORDER BY KundenNummer"), ElementsAre("A", "B", "C"));
}

TEST_F(TableImporter, DescribesAddressesOfEveryTypeByNameAndPlace) {
  Import(Importer(), {{"KundenNummer", "7"}, {"Bez1", "Köster"}, {"PLZ", "50667"}, {"Ort", "Köln"}});
  Import(Importer("ksbimport.importlieferanten"),
         {{"LieferantenNummer", "7"}, {"Bez1", "Groß"}, {"Ort", "Bonn"}});
  const ObjectPtr importer = Importer();
  const auto describe = [&](int type, const char* number) {
    Value name;
    Value place;
    CallMethod(importer, "DescribeAddress", type, number, ByRef(name), ByRef(place));
    return name.ToText() + "|" + place.ToText();
  };
  EXPECT_EQ(describe(1, "7"), "Köster|50667 Köln");
  EXPECT_EQ(describe(32, "7"), "Groß|Bonn");
  EXPECT_EQ(describe(32, "8"), "|");
  EXPECT_EQ(describe(2, "7"), "|") << "a type that nothing imports";
  EXPECT_EQ(describe(1, "A7"), "|");
}

TEST_F(TableImporter, TellsTheFieldThatAnErrorIsAbout) {
  const ObjectPtr importer = Importer();
  const auto field_of = [&](testing::FieldTexts fields) {
    if (Import(importer, fields).empty()) CallMethod(importer, "NextLateError");
    return GetProperty(importer, "ErrorField").ToText();
  };
  EXPECT_EQ(field_of({{"Bez1", "A"}, {"KundeSeit", "gestern"}}), "KundeSeit");
  EXPECT_EQ(field_of({{"Bez1", std::string(51, 'x').c_str()}}), "Bez1");
  EXPECT_EQ(field_of({{"Bez2", "ohne Namen"}}), "Bez1");
  EXPECT_EQ(field_of({{"KundenNummer", "1"}, {"Bez1", "A"}}), "");
  EXPECT_EQ(field_of({{"KundenNummer", "1"}, {"Bez1", "A"}}), "KundenNummer");
}

}  // namespace kestrel
