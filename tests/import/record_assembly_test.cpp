// How one destination record is filled, as a run shows it.
#include "import/record_assembly.h"

#include <cstdio>
#include <filesystem>

#include "import/run_fixture.h"
#include "support/write_key.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string Mismatch(const std::string& field, const std::string& value) {
  return "Fehler: 10005 Eine Typen Unverträglichkeit wurde im Modul ImportStart festgestellt. Ein "
         "alphanumerischer Wert kann nicht in ein numerisches Feld geschrieben werden. (" +
         field + " / " + value + " (ImportRecord/ImportStart)";
}

class RecordAssemblyTest : public ImportRunFixture {
 protected:
  // The first record stored from a source of one column "Wert" that holds `value`.
  StoredRecord Import(const std::string& value) {
    UseSource("Wert;Rest\n" + value + ";r\n");
    Run();
    return stored.empty() ? StoredRecord() : stored.front();
  }
};

// --- What is assigned ---------------------------------------------------------------------------

TEST_F(RecordAssemblyTest, UnassignedFieldsStayAsDelivered) {
  Assign({.field = "Bez1", .option = kNotAssigned});
  Assign({.field = "Bez2", .option = static_cast<AssignmentOption>(4), .destination = "Wert"});
  session.AssignmentList->AddNew();  // a field without any entry
  session.AssignmentList->SetText(kSourceName, "Bez3");
  import_class->Method("GetNewRecord", [this](std::span<Argument>) {
    auto record = NewRecord();
    record->SetText(0, "Vorgabe");
    return Value(record);
  });
  EXPECT_EQ(Import("x"), (StoredRecord{{"Bez1", "Vorgabe"}}));
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(RecordAssemblyTest, AnImportFieldWithoutAColumnIsLeftAlone) {
  Assign({.field = "Bez1", .destination = ""});
  Assign({.field = "Bez2", .destination = "\"\""});
  EXPECT_EQ(Import("x"), StoredRecord());
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(RecordAssemblyTest, DoubleQuotesAreRemovedFromNamesAndConstants) {
  Assign({.field = "Bez1", .destination = "\"We\"rt"});
  Assign({.field = "Bez2", .option = kConstantValue, .destination = "19\" Rack"});
  EXPECT_EQ(Import("x"), (StoredRecord{{"Bez1", "x"}, {"Bez2", "19 Rack"}}));
}

TEST_F(RecordAssemblyTest, ColumnNamesAreComparedWithCase) {
  Assign({.field = "Bez1", .destination = "wert"});
  EXPECT_EQ(Import("x"), StoredRecord());
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 3265 Spalte nicht gefunden: wert (/ImportStart)"));
}

TEST_F(RecordAssemblyTest, AColumnThatTheSourceLacksIsAnErrorOfEveryRecordAndTheNextFieldFollows) {
  Assign({.field = "Bez1", .destination = "Fehlt"});
  Assign({.field = "Bez2", .destination = "Wert"});
  UseSource("Wert\na\nb\n");
  EXPECT_EQ(Run().errors, 2);
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Bez2", "a"}}, StoredRecord{{"Bez2", "b"}}));
}

TEST_F(RecordAssemblyTest, AColumnThatTheRecordLacksIsAnErrorAndTheNextFieldFollows) {
  Assign({.field = "Bez1", .destination = "Wert"});
  Assign({.field = "Bez2", .destination = "Wert"});
  import_class->Method("GetNewRecord", [](std::span<Argument>) {
    auto record = std::make_shared<MemoryRecordset>();
    record->AppendColumn("Bez2");
    record->AddNew();
    return Value(record);
  });
  EXPECT_EQ(Import("x"), (StoredRecord{{"Bez2", "x"}}));
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 3265 Spalte nicht gefunden: Bez1 (/ImportStart)"));
}

TEST_F(RecordAssemblyTest, RecordsMayChangeTheirColumnsFromOneToTheNext) {
  Assign({.field = "Bez1", .destination = "Wert"});
  Assign({.field = "Bez2", .destination = "Rest"});
  int calls = 0;
  import_class->Method("GetNewRecord", [&calls](std::span<Argument>) {
    const bool turned = ++calls % 2 == 0;
    auto record = std::make_shared<MemoryRecordset>();
    record->AppendColumn(turned ? "Bez2" : "Bez1");
    record->AppendColumn(turned ? "Bez1" : "Bez2");
    record->AddNew();
    return Value(record);
  });
  UseSource("Wert;Rest\na;b\nc;d\ne;f\n");
  Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Bez1", "a"}, {"Bez2", "b"}},
                                  StoredRecord{{"Bez1", "c"}, {"Bez2", "d"}},
                                  StoredRecord{{"Bez1", "e"}, {"Bez2", "f"}}));
}

TEST_F(RecordAssemblyTest, OfTwoSourceColumnsOfOneNameTheFirstIsRead) {
  Assign({.field = "Bez1", .destination = "Wert"});
  UseSource("Wert;Wert\na;b\n");
  Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Bez1", "a"}}));
}

TEST_F(RecordAssemblyTest, OneSourceColumnMayFeedSeveralFields) {
  Assign({.field = "Bez1", .destination = "Wert"});
  Assign({.field = "Bez2", .destination = "Wert"});
  EXPECT_EQ(Import("x"), (StoredRecord{{"Bez1", "x"}, {"Bez2", "x"}}));
}

TEST_F(RecordAssemblyTest, WithoutAnAssignmentListTheRunReachesItsEnd) {
  session.AssignmentList = nullptr;
  UseSource("Wert\na\n");
  EXPECT_EQ(Run().errors, 1);
  EXPECT_EQ(stored.size(), 1u);
}

// --- Types and sizes ----------------------------------------------------------------------------

TEST_F(RecordAssemblyTest, ValuesAreShapedByTypeAndSize) {
  Assign({.field = "Kurz", .destination = "Wert", .typ = "VarChar", .size = 3});
  Assign({.field = "Lang", .destination = "Wert", .typ = "text", .size = 3});
  Assign({.field = "Roh", .destination = "Wert", .typ = "CHAR", .size = 3});
  EXPECT_EQ(Import("  abcdef "), (StoredRecord{{"Kurz", "a"}, {"Lang", "abcdef"}, {"Roh", "  abcdef "}}));
}

TEST_F(RecordAssemblyTest, AnIncompatibleConstantIsLoggedAndNotWritten) {
  Assign({.field = "Rabatt", .option = kConstantValue, .destination = "abc", .typ = "INT"});
  EXPECT_EQ(Import("x"), StoredRecord());
  EXPECT_THAT(LogLines(), ElementsAre(Mismatch("Rabatt", "abc")));
  EXPECT_EQ(run.result().errors, 1);
}

TEST_F(RecordAssemblyTest, AnIncompatibleValueIsLoggedAndNotWritten) {
  Assign({.field = "Rabatt", .destination = "Wert", .typ = "Float"});
  Assign({.field = "Bez1", .destination = "Wert"});
  EXPECT_EQ(Import("zehn"), (StoredRecord{{"Bez1", "zehn"}}));
  EXPECT_THAT(LogLines(), ElementsAre(Mismatch("Rabatt", "zehn")));
}

TEST_F(RecordAssemblyTest, NumbersAreWrittenAsTheyStandAndEmptyOnesNotAtAll) {
  Assign({.field = "Umsatz", .destination = "Wert", .typ = "FLOAT"});
  Assign({.field = "Rabatt", .destination = "Leer", .typ = "INT"});
  UseSource("Wert;Leer\n1.234,50;\n");
  Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Umsatz", "1.234,50"}}));
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(RecordAssemblyTest, ConstantsFollowTheWritingRule) {
  Assign(
      {.field = "Land", .option = kConstantValue, .destination = " Deutschland", .typ = "VARCHAR", .size = 4});
  Assign({.field = "Leer", .option = kConstantValue, .destination = "", .typ = "VARCHAR"});
  Assign({.field = "Zahl", .option = kConstantValue, .destination = "", .typ = "INT"});
  EXPECT_EQ(Import("x"), (StoredRecord{{"Land", "Deu"}, {"Leer", ""}}));
}

TEST_F(RecordAssemblyTest, WhatTheRecordRefusesIsCountedAndTheNextFieldFollows) {
  Assign({.field = "Zahl", .destination = "Wert", .typ = "INT"});
  Assign({.field = "Bez1", .destination = "Rest"});
  import_class->Method("GetNewRecord", [](std::span<Argument>) {
    auto record = std::make_shared<MemoryRecordset>();
    record->AppendColumn("Zahl", ColumnType::kInt16);
    record->AppendColumn("Bez1");
    record->AddNew();
    return Value(record);
  });
  EXPECT_EQ(Import("70000"), (StoredRecord{{"Bez1", "r"}}));
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 6 Überlauf (/ImportStart)"));
}

TEST_F(RecordAssemblyTest, ASizeThatIsNullIsAnErrorOfEveryRecordButCutsNothing) {
  Assign({.field = "Bez1", .destination = "Wert"});
  session.AssignmentList->SetValue(kSize, kNull);
  UseSource("Wert\nlanger Wert\nb\n");
  Run();
  EXPECT_THAT(LogLines(),
              ElementsAre("Fehler: 94 Unzulässige Verwendung von Null: Größe des Feldes Bez1 (/ImportStart)",
                          "Fehler: 94 Unzulässige Verwendung von Null: Größe des Feldes Bez1 (/ImportStart)"));
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Bez1", "langer Wert"}}, StoredRecord{{"Bez1", "b"}}));
}

TEST_F(RecordAssemblyTest, ASizeBeyond16BitsIsAnErrorOfEveryRecordButCutsNothing) {
  Assign({.field = "Bez1", .destination = "Wert", .size = 40000});
  UseSource("Wert\na\nb\n");
  EXPECT_EQ(Run().errors, 2);
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 6 Überlauf: Größe 40000 des Feldes Bez1 (/ImportStart)",
                                      "Fehler: 6 Überlauf: Größe 40000 des Feldes Bez1 (/ImportStart)"));
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Bez1", "a"}}, StoredRecord{{"Bez1", "b"}}));
}

// --- Translation --------------------------------------------------------------------------------

class TranslationTest : public RecordAssemblyTest {
 protected:
  TranslationTest() {
    UseSpecification(
        "[Common]\nImportClass=test.import\n"
        "[Translation_Gruppe]\nA=Altkunde\na=Anwalt\n<Empty>=ohne\nN=12345678\nleer=\nx=y=z\nd=31.01.2024\n"
        "[Translation_Nummer]\nA=7\nB=ABC\nleer=\n");
  }
};

TEST_F(TranslationTest, AnEntryReplacesTheValue) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  EXPECT_EQ(Import("A"), (StoredRecord{{"Gruppe", "Altkunde"}}));
}

TEST_F(TranslationTest, ValuesAreComparedExactly) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  UseSource("Wert\na\nA \nB\n");
  Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Gruppe", "Anwalt"}}, StoredRecord{{"Gruppe", "A"}},
                                  StoredRecord{{"Gruppe", "B"}}))
      << "an unmatched value goes on unchanged, through the writing rule";
}

TEST_F(TranslationTest, AnEmptySourceValueFindsNoEntry) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  EXPECT_EQ(Import(""), (StoredRecord{{"Gruppe", ""}}));
}

TEST_F(TranslationTest, ASourceValueWithAnEqualsSignNeverMatches) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  EXPECT_EQ(Import("x=y"), (StoredRecord{{"Gruppe", "x=y"}}));
}

TEST_F(TranslationTest, ATableIsIgnoredWhileTheSwitchIsOff) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = false});
  EXPECT_EQ(Import("A"), (StoredRecord{{"Gruppe", "A"}}));
}

TEST_F(TranslationTest, AnEmptySectionTranslatesNothing) {
  Assign({.field = "Ort", .destination = "Wert", .translate = true});
  EXPECT_EQ(Import("A"), (StoredRecord{{"Ort", "A"}}));
}

TEST_F(TranslationTest, ATranslationThatIsNoNumberIsAMismatchAndNotWritten) {
  Assign({.field = "Nummer", .destination = "Wert", .typ = "INT", .translate = true});
  EXPECT_EQ(Import("B"), StoredRecord());
  EXPECT_THAT(LogLines(), ElementsAre(Mismatch("Nummer", "ABC")));
}

TEST_F(TranslationTest, ANumberIsCheckedAfterItsTranslation) {
  Assign({.field = "Nummer", .destination = "Wert", .typ = "INT", .translate = true});
  EXPECT_EQ(Import("A"), (StoredRecord{{"Nummer", "7"}}));
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(TranslationTest, AnUnmatchedValueThatIsNoNumberIsAMismatch) {
  Assign({.field = "Nummer", .destination = "Wert", .typ = "INT", .translate = true});
  EXPECT_EQ(Import("C"), StoredRecord());
  EXPECT_THAT(LogLines(), ElementsAre(Mismatch("Nummer", "C")));
}

TEST_F(TranslationTest, OnlyLowerCaseVarcharCutsATranslation) {
  Assign({.field = "Gruppe", .destination = "Wert", .typ = "varchar", .size = 4, .translate = true});
  EXPECT_EQ(Import("N"), (StoredRecord{{"Gruppe", "1234"}}));
}

TEST_F(TranslationTest, UpperCaseVarcharLeavesATranslationWhole) {
  Assign({.field = "Gruppe", .destination = "Wert", .typ = "VARCHAR", .size = 4, .translate = true});
  EXPECT_EQ(Import("N"), (StoredRecord{{"Gruppe", "12345678"}}));
}

TEST_F(TranslationTest, AnEmptyTranslationEmptiesATextField) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  EXPECT_EQ(Import("leer"), (StoredRecord{{"Gruppe", ""}}));
}

TEST_F(TranslationTest, AnEmptyTranslationWritesNothingIntoANumericField) {
  Assign({.field = "Nummer", .destination = "Wert", .typ = "INT", .translate = true});
  EXPECT_EQ(Import("leer"), StoredRecord());
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(TranslationTest, ConstantsAreNotTranslated) {
  Assign({.field = "Gruppe", .option = kConstantValue, .destination = "A", .translate = true});
  EXPECT_EQ(Import("x"), (StoredRecord{{"Gruppe", "A"}}));
}

TEST_F(TranslationTest, ATranslationIsFormattedAsADate) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true, .format = "tt.mm.jjjj"});
  EXPECT_EQ(Import("d"), (StoredRecord{{"Gruppe", "20240131000000"}}));
}

TEST_F(TranslationTest, AnUnmatchedValueIsFormattedAsADate) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true, .format = "tt.mm.jjjj"});
  EXPECT_EQ(Import("01.02.2023"), (StoredRecord{{"Gruppe", "20230201000000"}}));
}

TEST_F(TranslationTest, AChangeMadeThroughTheSessionIsSeenByTheNextRecord) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  import_class->Method("ImportRecord", [this](std::span<Argument> arguments) {
    stored.push_back({{"Gruppe", std::string(ToRecordset(arguments[0].Get())->TextAt(0))}});
    WriteKey(import.profiles(), session.SpecFile, "Translation_Gruppe", "A", "Neu");
    return Value();
  });
  UseSource("Wert\nA\nA\n");
  Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Gruppe", "Altkunde"}}, StoredRecord{{"Gruppe", "Neu"}}));
}

TEST_F(TranslationTest, AChangeThatTheImportClassMakesToTheWorkingCopyIsSeenWithTheNextRecord) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  import_class->Method("ImportRecord", [this](std::span<Argument> arguments) {
    stored.push_back({{"Gruppe", std::string(ToRecordset(arguments[0].Get())->TextAt(0))}});
    UseSpecification("[Translation_Gruppe]\nA=Neu" + std::to_string(stored.size()) + "\n");
    return Value();
  });
  UseSource("Wert\nA\nA\nA\n");
  Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Gruppe", "Altkunde"}}, StoredRecord{{"Gruppe", "Neu1"}},
                                  StoredRecord{{"Gruppe", "Neu2"}}));
}

TEST_F(TranslationTest, ATranslationIsTheTextBehindTheFirstEqualsSign) {
  UseSpecification("[Translation_Gruppe]\nA=Rabatt=5%\n");
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  EXPECT_EQ(Import("A"), (StoredRecord{{"Gruppe", "Rabatt=5%"}}));
}

TEST_F(TranslationTest, ASpecificationThatCannotBeReadIsAnErrorOfEachRecordAndNoneIsStoredByDefaults) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  import_class->Method("ImportRecord", [this](std::span<Argument> arguments) {
    stored.push_back({{"Gruppe", std::string(ToRecordset(arguments[0].Get())->TextAt(0))}});
    std::remove(session.SpecFile.c_str());
    std::filesystem::create_directory(session.SpecFile);
    return Value();
  });
  UseSource("Wert\nA\nA\nA\n");
  const RunResult result = Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Gruppe", "Altkunde"}}));
  EXPECT_EQ(result.records, 3);
  EXPECT_EQ(result.errors, 2);
  EXPECT_EQ(result.stored, 1);
  EXPECT_EQ(result.rejected, 2);
  ASSERT_THAT(LogLines(), SizeIs(2));
  EXPECT_THAT(LogLines()[0], AllOf(HasSubstr(session.SpecFile), HasSubstr("keine gewöhnliche Datei")));
}

TEST_F(TranslationTest, ASpecificationThatVanishesIsAnErrorOfEachRecordAndNoneIsStoredUntranslated) {
  Assign({.field = "Gruppe", .destination = "Wert", .translate = true});
  import_class->Method("ImportRecord", [this](std::span<Argument> arguments) {
    stored.push_back({{"Gruppe", std::string(ToRecordset(arguments[0].Get())->TextAt(0))}});
    std::remove(session.SpecFile.c_str());
    return Value();
  });
  UseSource("Wert\nA\nA\nA\n");
  const RunResult result = Run();
  EXPECT_THAT(stored, ElementsAre(StoredRecord{{"Gruppe", "Altkunde"}}));
  EXPECT_EQ(result.errors, 2);
  EXPECT_EQ(result.stored, 1);
  EXPECT_EQ(result.rejected, 2);
  ASSERT_THAT(LogLines(), SizeIs(2));
  EXPECT_THAT(LogLines()[0], AllOf(HasSubstr("Fehler: 53 "), HasSubstr(session.SpecFile)));
}

// --- Dates --------------------------------------------------------------------------------------

TEST_F(RecordAssemblyTest, ADateIsWrittenInItsStoredForm) {
  Assign({.field = "Seit", .destination = "Wert", .typ = "DATETIME", .format = "tt.mm.jj"});
  EXPECT_EQ(Import("01.02.49"), (StoredRecord{{"Seit", "20490201000000"}}));
}

TEST_F(RecordAssemblyTest, AStoredDateIsNotCutToTheFieldsSize) {
  Assign({.field = "Seit", .destination = "Wert", .typ = "VARCHAR", .size = 10, .format = "tt.mm.jjjj"});
  EXPECT_EQ(Import("31.01.2024"), (StoredRecord{{"Seit", "20240131000000"}}));
}

TEST_F(RecordAssemblyTest, ADateThatIsNoneIsWrittenUnchangedAndIsNoError) {
  Assign({.field = "Seit", .destination = "Wert", .typ = "DATETIME", .format = "jjmmtt"});
  EXPECT_EQ(Import("9912310"), (StoredRecord{{"Seit", "9912310"}}));
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(RecordAssemblyTest, ADateTextInANumericFieldIsAMismatchThoughItsStoredFormFits) {
  Assign({.field = "Seit", .destination = "Wert", .typ = "INT", .format = "tt.mm.jjjj"});
  EXPECT_EQ(Import("31.01.2024"), (StoredRecord{{"Seit", "20240131000000"}}));
  EXPECT_THAT(LogLines(), ElementsAre(Mismatch("Seit", "31.01.2024")));
}

TEST_F(RecordAssemblyTest, AConstantIsNoDateEvenWithAFormat) {
  Assign({.field = "Seit",
          .option = kConstantValue,
          .destination = "31.01.2024",
          .typ = "DATETIME",
          .format = "tt.mm.jjjj"});
  EXPECT_EQ(Import("x"), (StoredRecord{{"Seit", "31.01.2024"}}));
}

}  // namespace
}  // namespace kestrel::testing
