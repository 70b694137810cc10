// Saving a schema: in place, under a new name, and into the working copy only.
#include "spec/save_schema.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "platform/base/file.h"
#include "platform/base/runtime_error.h"
#include "spec/profile_access.h"
#include "spec/specification.h"
#include "support/expect_error.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::ReadBytes;
using testing::SessionFixture;
using Box = RecordingUserInterface::Box;

constexpr const char* kQuestion = "Schema speichern...|Bitte geben Sie ein Schemaname ein:";

class SaveSchemaTest : public SessionFixture {
 protected:
  // As step 1 does it.
  void Choose(std::string_view name, std::string_view content) {
    session.SpecFile = WriteSpecification(name, content);
    ReadCommonSection(session);
    CreateWorkingCopy(session);
    session.SchemaChanged = true;
  }
  std::string InFolder(std::string_view name) const { return session.SpecFolder + "/" + std::string(name); }
  std::string Value(const std::string& path, std::string_view section, std::string_view key) {
    return GetIniString(session.profiles, path, section, key, "<none>");
  }
  void AddField(const char* name, std::int64_t option, const char* assigned) {
    if (session.AssignmentList == nullptr) {
      auto list = std::make_shared<MemoryRecordset>();
      for (const char* column : {"SourceName", "DestinationName", "Format"}) list->AppendColumn(column);
      list->AppendColumn("Option", ColumnType::kInt64);
      list->AppendColumn("Translate", ColumnType::kInt16);
      session.AssignmentList = list;
    }
    session.AssignmentList->AddNew();
    Put("SourceName", name);
    if (option != 0) Put("Option", option);
    if (assigned != nullptr) Put("DestinationName", assigned);
  }
  void Put(std::string_view column, const kestrel::Value& value) {
    session.AssignmentList->SetValue(session.AssignmentList->RequireColumn(column), value);
  }
};

// --- What is written ----------------------------------------------------------------------------

TEST_F(SaveSchemaTest, ATextFilesKeysAreWrittenInTheirOrder) {
  UseSpecification("");
  ReadCommonSection(session);
  session.FileName = "/daten/Adressen.txt";
  session.SavePath = "/sicherung";
  session.SaveFile = true;
  SaveSchema(session, false);
  EXPECT_EQ(ReadBytes(session.SpecFile),
            "[Common]\r\nProvider=Textdatei\r\nFileName=/daten/Adressen.txt\r\nColumnHeadings=True\r\n"
            "FileFormat=ANSI\r\nDelimiter=TAB\r\nTextRecognition=\"\r\nSaveFile=1\r\nSavePath=/sicherung\r\n"
            "DeleteFile=0\r\n");
}

TEST_F(SaveSchemaTest, EachDatabaseSourceWritesItsKeysInItsOrder) {
  const auto saved = [&](const char* provider) {
    UseSpecification("");
    session.Provider = provider;
    session.Server = "s";
    session.User = "u";
    session.Password = "p";
    session.Database = "d";
    session.Table = "t";
    SaveSchema(session, false);
    return ReadBytes(session.SpecFile);
  };
  EXPECT_EQ(saved("Microsoft SQL-Server"),
            "[Common]\r\nProvider=Microsoft SQL-Server\r\nServer=s\r\nUser=u\r\nPassword=p\r\nDatabase=d\r\n"
            "Table=t\r\n");
  EXPECT_EQ(
      saved("Microsoft Access-Datenbanken"),
      "[Common]\r\nProvider=Microsoft Access-Datenbanken\r\nDatabase=d\r\nUser=u\r\nPassword=p\r\nTable=t\r\n");
  EXPECT_EQ(saved("Microsoft Excel"), "[Common]\r\nProvider=Microsoft Excel\r\nDatabase=d\r\nTable=t\r\n");
  EXPECT_EQ(saved("dBase-Datenbank"), "[Common]\r\nProvider=dBase-Datenbank\r\nDatabase=d\r\nTable=t\r\n");
  EXPECT_EQ(saved("Unbekannt"), "[Common]\r\nProvider=Unbekannt\r\n");
}

TEST_F(SaveSchemaTest, ColumnHeadingsIsSavedAsAWordAndTheOtherTruthValuesAsNumbers) {
  UseSpecification("[Common]\nColumnHeadings=1\nSaveFile=True\nDeleteFile=False\n");
  ReadCommonSection(session);
  SaveSchema(session, false);
  EXPECT_EQ(Value(session.SpecFile, "Common", "ColumnHeadings"), "True");
  EXPECT_EQ(Value(session.SpecFile, "Common", "SaveFile"), "1");
  EXPECT_EQ(Value(session.SpecFile, "Common", "DeleteFile"), "0");
  session.ColumnHeadings = false;
  SaveSchema(session, false);
  EXPECT_EQ(Value(session.SpecFile, "Common", "ColumnHeadings"), "False");
}

TEST_F(SaveSchemaTest, KeysOfAnotherSourceStayAsTheyStand) {
  UseSpecification(
      "; note\n[Common]\nProvider=Textdatei\nFileName=alt.txt\n[CfgSettings]\nDublettenPruefen=1\n");
  session.Provider = kExcelSource;
  session.Database = "mappe.xls";
  session.Table = "Tabelle1$";
  SaveSchema(session, false);
  EXPECT_EQ(ReadBytes(session.SpecFile),
            "; note\r\n[Common]\r\nProvider=Microsoft Excel\r\nFileName=alt.txt\r\nDatabase=mappe.xls\r\n"
            "Table=Tabelle1$\r\n[CfgSettings]\r\nDublettenPruefen=1\r\n");
}

TEST_F(SaveSchemaTest, EachAssignmentIsWrittenByItsOption) {
  UseSpecification("");
  session.Provider = "x";
  AddField("Bez1", 2, "Name1");
  AddField("Land", 3, "D");
  AddField("Ort", 1, "");
  AddField("PLZ", 0, nullptr);
  AddField("Telefon", 3, "");
  SaveSchema(session, false);
  EXPECT_EQ(ReadBytes(session.SpecFile),
            "[Common]\r\nProvider=x\r\n[FieldAssignments]\r\nBez1=FIELD:Name1\r\nLand=CONST:D\r\n"
            "Ort=NOTASSIGNED\r\nPLZ=NOTASSIGNED\r\nTelefon=CONST:\r\n");
}

TEST_F(SaveSchemaTest, AConstantWithAColonIsWrittenWhole) {
  UseSpecification("");
  AddField("Zeit", 3, "10:30");
  SaveSchema(session, false);
  EXPECT_EQ(Value(session.SpecFile, "FieldAssignments", "Zeit"), "CONST:10:30");
}

TEST_F(SaveSchemaTest, TranslationAndFormatAreWrittenOnlyWhereTheyAreSet) {
  UseSpecification("[FieldTranslation]\nOrt=1\n");
  session.Provider = "x";
  AddField("Art", 2, "A");
  Put("Translate", 1);
  Put("Format", "tt.mm.jjjj");
  AddField("Ort", 2, "O");
  Put("Translate", 0);
  Put("Format", "");
  SaveSchema(session, false);
  EXPECT_EQ(
      ReadBytes(session.SpecFile),
      "[FieldTranslation]\r\nOrt=1\r\nArt=1\r\n[Common]\r\nProvider=x\r\n[FieldAssignments]\r\nArt=FIELD:A\r\n"
      "Ort=FIELD:O\r\n[FieldFormat]\r\nArt=tt.mm.jjjj\r\n")
      << "a switch that stood there stays";
}

TEST_F(SaveSchemaTest, TheAssignmentListStaysAtItsRow) {
  UseSpecification("");
  AddField("A", 1, "");
  AddField("B", 1, "");
  session.AssignmentList->MoveFirst();
  SaveSchema(session, false);
  EXPECT_EQ(session.AssignmentList->TextAt(0), "A");
}

TEST_F(SaveSchemaTest, WithoutCommitOnlyTheWorkingCopyIsWritten) {
  Choose("Kunden.imp", "[Common]\nDescription=Kunden\nFileName=alt.txt\n");
  const std::string copy = session.SpecFile;
  session.FileName = "neu.txt";
  SaveSchema(session, false);
  EXPECT_EQ(session.SpecFile, copy);
  EXPECT_EQ(Value(copy, "Common", "FileName"), "neu.txt");
  EXPECT_EQ(ReadBytes(session.ChosenSpecFile), "[Common]\r\nDescription=Kunden\r\nFileName=alt.txt\r\n");
  EXPECT_THAT(ui.questions, IsEmpty());
}

TEST_F(SaveSchemaTest, TheFirstFlagIsSetAndTheSecondReset) {
  for (const bool commit : {false, true}) {
    Choose("Kunden.imp", "[Common]\nDescription=Kunden\n");
    session.SchemaSaved = false;
    SaveSchema(session, commit);
    EXPECT_TRUE(session.SchemaSaved);
    EXPECT_FALSE(session.SchemaChanged);
  }
}

TEST_F(SaveSchemaTest, AWriteThatFailsIsNotReported) {
  session.SpecFile = folder.File("missing/x.imp");
  SaveSchema(session, false);
  EXPECT_TRUE(session.SchemaSaved);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

// --- A specification ----------------------------------------------------------------------------

TEST_F(SaveSchemaTest, AnOpenedSpecificationIsSavedInThatVeryFileWithoutAQuestion) {
  Choose("Kunden.imp",
         "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\nFileName=alt.txt\n");
  session.FileName = "neu.txt";
  session.Description = "not written";
  session.ImportClassProgID = "not.written";
  session.profiles.Write(session.SpecFile, "Translation_Art", "Herr", "1");  // as the value editor does
  SaveSchema(session, true);

  const std::string path = InFolder("Kunden.imp");
  EXPECT_EQ(Value(path, "Common", "FileName"), "neu.txt");
  EXPECT_EQ(Value(path, "Translation_Art", "Herr"), "1");
  EXPECT_EQ(Value(path, "Common", "Description"), "Kunden");
  EXPECT_EQ(Value(path, "Common", "Application"), "2");
  EXPECT_EQ(Value(path, "Common", "ImportClass"), "ksbimport.importkunden");
  EXPECT_THAT(ui.questions, IsEmpty());
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_EQ(session.ChosenSpecFile, path);
  EXPECT_EQ(session.SpecFile, WorkingCopyName(session)) << "a fresh working copy";
  EXPECT_EQ(ReadBytes(session.SpecFile), ReadBytes(path));
}

// --- A template ---------------------------------------------------------------------------------

TEST_F(SaveSchemaTest, ATemplateBecomesANewSpecificationUnderTheNameTyped) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\nApplication=2\nImportClass=ksbimport.importkunden\n");
  const std::string old_copy = session.SpecFile;
  const std::string template_bytes = ReadBytes(session.ChosenSpecFile);
  clock.Set(DateTime{{2024, 3, 7}, 15, 0, 0});
  session.FileName = "neu.txt";
  ui.replies = {"Kunden Süd"};
  SaveSchema(session, true);

  EXPECT_THAT(ui.questions, ElementsAre(kQuestion));
  EXPECT_THAT(ui.boxes, IsEmpty());
  const std::string path = InFolder("Kunden Süd.IMP");
  EXPECT_EQ(Value(path, "Common", "Description"), "Kunden Süd");
  EXPECT_EQ(Value(path, "Common", "FileName"), "neu.txt");
  EXPECT_EQ(Value(path, "Common", "ImportClass"), "ksbimport.importkunden") << "the template's";
  EXPECT_EQ(Value(path, "Common", "Application"), "2") << "the template's";
  EXPECT_FALSE(FileExists(old_copy));
  EXPECT_EQ(ReadBytes(InFolder("Vorlage.imt")), template_bytes);
}

TEST_F(SaveSchemaTest, AfterATemplateWasSavedTheWorkingCopyIsAgainACopyOfTheTemplate) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  ui.replies = {"Kunden"};
  SaveSchema(session, true);
  EXPECT_EQ(session.ChosenSpecFile, InFolder("Vorlage.imt"));
  EXPECT_EQ(session.SpecFile, WorkingCopyName(session));
  EXPECT_EQ(ReadBytes(session.SpecFile), "[Common]\r\nDescription=Vorlage\r\n");
}

TEST_F(SaveSchemaTest, AnEmptyOrBlankNameOrACancelledQuestionSavesNothing) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  const std::string copy = session.SpecFile;
  session.ExistingSchemaNames = ";";
  session.FileName = "neu.txt";
  const std::vector<std::optional<std::string>> names = {"", "   ", std::nullopt};
  for (const auto& name : names) {
    ui.boxes.clear();
    ui.replies = {name};
    SaveSchema(session, true);
    EXPECT_THAT(ui.boxes, ElementsAre(Box{
                              "Das Schema konnte nicht gespeichert werden. Bitte geben Sie einen Namen ein...",
                              "Speichern...", Icon::kInformation, Buttons::kOk}));
  }
  EXPECT_EQ(session.SpecFile, copy);
  EXPECT_EQ(ReadBytes(copy), "[Common]\r\nDescription=Vorlage\r\n");
  EXPECT_FALSE(session.SchemaSaved);
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(SaveSchemaTest, ATakenNameIsRefused) {
  WriteSpecification("x.imp", "[Common]\nDescription=Kunden\n");
  FillSpecificationList(session, SpecificationKind::kTemplate);
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  const std::string copy = session.SpecFile;
  ui.replies = {"Kunden"};
  SaveSchema(session, true);
  EXPECT_THAT(
      ui.boxes,
      ElementsAre(Box{"Das Schema konnte nicht gespeichert werden, da dieser Schemaname bereits vorhanden ist.",
                      "Speichern...", Icon::kInformation, Buttons::kOk}));
  EXPECT_FALSE(FileExists(InFolder("Kunden.IMP")));
  EXPECT_EQ(session.SpecFile, copy);
  EXPECT_TRUE(FileExists(copy));
}

TEST_F(SaveSchemaTest, ANameThatDiffersOnlyInCaseIsAccepted) {
  session.ExistingSchemaNames = "Kunden;";
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  ui.replies = {"kunden"};
  SaveSchema(session, true);
  EXPECT_TRUE(FileExists(InFolder("kunden.IMP")));
}

TEST_F(SaveSchemaTest, TheNameIsUsedAsTypedWithoutTrimming) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  ui.replies = {" Kunden "};
  SaveSchema(session, true);
  EXPECT_TRUE(FileExists(InFolder(" Kunden .IMP")));
}

TEST_F(SaveSchemaTest, AFileThatExistsIsPassedOverByNumber) {
  WriteSpecification("Kunden.IMP", "1");
  WriteSpecification("Kunden(1).IMP", "2");
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  ui.replies = {"Kunden"};
  SaveSchema(session, true);
  EXPECT_EQ(Value(InFolder("Kunden(2).IMP"), "Common", "Description"), "Kunden");
  EXPECT_EQ(ReadBytes(InFolder("Kunden.IMP")), "1");
  EXPECT_EQ(ReadBytes(InFolder("Kunden(1).IMP")), "2");
}

TEST_F(SaveSchemaTest, WhereAllNineNumbersAreTakenTheNinthIsOverwritten) {
  WriteSpecification("Kunden.IMP", "old");
  for (int i = 1; i <= 9; ++i) WriteSpecification("Kunden(" + std::to_string(i) + ").IMP", "old");
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  ui.replies = {"Kunden"};
  SaveSchema(session, true);
  EXPECT_EQ(ReadBytes(InFolder("Kunden(8).IMP")), "old");
  EXPECT_EQ(Value(InFolder("Kunden(9).IMP"), "Common", "Description"), "Kunden");
  EXPECT_FALSE(FileExists(InFolder("Kunden(10).IMP")));
}

TEST_F(SaveSchemaTest, ANameThatHoldsASeparatorRaises52AndChangesNothing) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  const std::string copy = session.SpecFile;
  for (const char* name : {"../Kunden", "Kunden\\Süd"}) {
    ui.replies = {name};
    EXPECT_ERROR_TEXT(SaveSchema(session, true), ErrorNumber::kBadFileName, ::testing::HasSubstr(name));
    EXPECT_EQ(session.SpecFile, copy);
    EXPECT_TRUE(FileExists(copy));
  }
}

TEST_F(SaveSchemaTest, ANameTooLongForAFileReachesTheCallerAndKeepsTheWorkingCopy) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  const std::string copy = session.SpecFile;
  ui.replies = {std::string(300, 'x')};
  EXPECT_THROW(SaveSchema(session, true), RuntimeError);
  EXPECT_EQ(session.SpecFile, copy);
  EXPECT_TRUE(FileExists(copy));
}

}  // namespace
}  // namespace kestrel
