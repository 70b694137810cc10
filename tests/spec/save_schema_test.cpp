// Saving a schema: in place, under a new name, and into the working copy only.
#include "spec/save_schema.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include <memory>
#include <string>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "spec/profile_access.h"
#include "spec/specification.h"
#include "spec/working_copy.h"
#include "support/expect_error.h"
#include "support/session_fixture.h"
#include "support/source_kind_names.h"
#include "support/write_key.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
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
    CreateWorkingCopy(session, lock);
    session.SchemaChanged = true;
  }
  std::string InFolder(std::string_view name) const { return session.SpecFolder + "/" + std::string(name); }
  std::string Value(const std::string& path, std::string_view section, std::string_view key) {
    return GetIniString(path, section, key, "<none>");
  }
  // As it was before a save that failed.
  void ExpectUntouched(const std::string& specification) {
    EXPECT_EQ(ReadBytes(session.ChosenSpecFile), specification);
    EXPECT_FALSE(session.SchemaSaved);
    EXPECT_TRUE(session.SchemaChanged);
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

  WorkingCopyLock lock;
  ProfileStore profiles;
};

// --- What is written ----------------------------------------------------------------------------

TEST_F(SaveSchemaTest, ATextFilesKeysAreWrittenInTheirOrder) {
  UseSpecification("");
  ReadCommonSection(session);
  session.FileName = "/daten/Adressen.txt";
  session.SavePath = "/sicherung";
  session.SaveFile = true;
  SaveSchema(session, lock, false);
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
    SaveSchema(session, lock, false);
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
  SaveSchema(session, lock, false);
  EXPECT_EQ(Value(session.SpecFile, "Common", "ColumnHeadings"), "True");
  EXPECT_EQ(Value(session.SpecFile, "Common", "SaveFile"), "1");
  EXPECT_EQ(Value(session.SpecFile, "Common", "DeleteFile"), "0");
  session.ColumnHeadings = false;
  SaveSchema(session, lock, false);
  EXPECT_EQ(Value(session.SpecFile, "Common", "ColumnHeadings"), "False");
}

TEST_F(SaveSchemaTest, KeysOfAnotherSourceStayAsTheyStand) {
  UseSpecification(
      "; note\n[Common]\nProvider=Textdatei\nFileName=alt.txt\n[CfgSettings]\nDublettenPruefen=1\n");
  session.Provider = kExcelSource;
  session.Database = "mappe.xls";
  session.Table = "Tabelle1$";
  SaveSchema(session, lock, false);
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
  SaveSchema(session, lock, false);
  EXPECT_EQ(ReadBytes(session.SpecFile),
            "[Common]\r\nProvider=x\r\n[FieldAssignments]\r\nBez1=FIELD:Name1\r\nLand=CONST:D\r\n"
            "Ort=NOTASSIGNED\r\nPLZ=NOTASSIGNED\r\nTelefon=CONST:\r\n");
}

TEST_F(SaveSchemaTest, AConstantWithAColonIsWrittenWhole) {
  UseSpecification("");
  AddField("Zeit", 3, "10:30");
  SaveSchema(session, lock, false);
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
  SaveSchema(session, lock, false);
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
  SaveSchema(session, lock, false);
  EXPECT_EQ(session.AssignmentList->TextAt(0), "A");
}

TEST_F(SaveSchemaTest, WithoutCommitOnlyTheWorkingCopyIsWritten) {
  Choose("Kunden.imp", "[Common]\nDescription=Kunden\nFileName=alt.txt\n");
  const std::string copy = session.SpecFile;
  session.FileName = "neu.txt";
  SaveSchema(session, lock, false);
  EXPECT_EQ(session.SpecFile, copy);
  EXPECT_EQ(Value(copy, "Common", "FileName"), "neu.txt");
  EXPECT_EQ(ReadBytes(session.ChosenSpecFile), "[Common]\r\nDescription=Kunden\r\nFileName=alt.txt\r\n");
  EXPECT_THAT(ui.questions, IsEmpty());
}

TEST_F(SaveSchemaTest, TheFirstFlagIsSetAndTheSecondReset) {
  for (const bool commit : {false, true}) {
    Choose("Kunden.imp", "[Common]\nDescription=Kunden\n");
    session.SchemaSaved = false;
    SaveSchema(session, lock, commit);
    EXPECT_TRUE(session.SchemaSaved);
    EXPECT_FALSE(session.SchemaChanged);
  }
}

// --- Failure ------------------------------------------------------------------------------------

TEST_F(SaveSchemaTest, AWorkingFileThatHasVanishedIsAnErrorAsItHeldMoreThanIsWritten) {
  for (const bool commit : {false, true}) {
    Choose("Kunden.imp", "[Common]\nDescription=Kunden\nImportClass=a.b\n");
    ASSERT_EQ(::unlink(session.SpecFile.c_str()), 0);
    session.SchemaSaved = false;
    EXPECT_ERROR_TEXT(SaveSchema(session, lock, commit), ErrorNumber::kFileNotFound,
                      AllOf(HasSubstr(session.SpecFile), HasSubstr("Ihre Eingaben sind noch da")));
    ExpectUntouched("[Common]\r\nDescription=Kunden\r\nImportClass=a.b\r\n");
    EXPECT_THAT(ui.boxes, IsEmpty()) << "the page reports it";
    DeleteWorkingCopy(session);
  }
}

TEST_F(SaveSchemaTest, AWorkingFileThatCannotBeReadDoesNotTurnIntoDefaults) {
  Choose("Kunden.imp", "[Common]\nDescription=Kunden\n");
  ASSERT_EQ(::unlink(session.SpecFile.c_str()), 0);
  ASSERT_EQ(::mkdir(session.SpecFile.c_str(), 0700), 0);
  for (const bool commit : {false, true}) {
    session.SchemaSaved = false;
    session.SchemaChanged = true;
    EXPECT_ERROR(SaveSchema(session, lock, commit), ErrorNumber::kFileNotFound);
    ExpectUntouched("[Common]\r\nDescription=Kunden\r\n");
  }
}

TEST_F(SaveSchemaTest, WhereTheSpecificationCannotBeReplacedTheEditsStayInTheWorkingCopy) {
  Choose("Kunden.imp", "[Common]\nDescription=Kunden\n");
  testing::WriteKey(profiles, session.SpecFile, "Translation_Art", "Herr", "1");
  const std::string copy = session.SpecFile;
  const std::string copied = ReadBytes(copy);
  // A folder in its place can be replaced by nobody, not even by the superuser.
  const std::string path = session.ChosenSpecFile;
  ASSERT_EQ(::unlink(path.c_str()), 0);
  ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
  session.SchemaSaved = false;
  session.FileName = "neu.txt";
  EXPECT_ERROR_TEXT(SaveSchema(session, lock, true), ErrorNumber::kPathFileAccess, HasSubstr(path));
  EXPECT_FALSE(session.SchemaSaved);
  EXPECT_TRUE(session.SchemaChanged);
  EXPECT_EQ(session.SpecFile, copy);
  EXPECT_EQ(session.ChosenSpecFile, path);
  EXPECT_EQ(ReadBytes(copy), copied);

  // The same again, once nothing stands in its way.
  ASSERT_EQ(::rmdir(path.c_str()), 0);
  SaveSchema(session, lock, true);
  EXPECT_EQ(Value(path, "Common", "FileName"), "neu.txt");
  EXPECT_EQ(Value(path, "Translation_Art", "Herr"), "1");
}

TEST_F(SaveSchemaTest, AFullDiskLeavesTheSpecificationAsItWas) {
  const std::string text = "[Common]\nDescription=Kunden\n; " + std::string(4000, 'x') + "\n";
  Choose("Kunden.imp", text);
  const std::string copy = session.SpecFile;
  const std::string before = ReadBytes(session.ChosenSpecFile);
  session.SchemaSaved = false;
  for (const bool commit : {false, true}) {
    // A limit on file sizes stands in for a full disk.
    const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old_limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old_limit), 0);
    const rlimit limit{1000, old_limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    const ::testing::AssertionResult raised =
        testing::RaisesError([&] { SaveSchema(session, lock, commit); }, ErrorNumber::kDiskFull, ::testing::_);
    ::setrlimit(RLIMIT_FSIZE, &old_limit);
    std::signal(SIGXFSZ, old_handler);
    EXPECT_TRUE(raised);
    EXPECT_EQ(session.SpecFile, copy);
    EXPECT_EQ(ReadBytes(copy), before);
    ExpectUntouched(before);
    EXPECT_THAT(ListFiles(session.SpecFolder),
                ElementsAre(InFolder(".~0314070920244711.tmp.lock"), session.ChosenSpecFile, copy));
  }
}

TEST_F(SaveSchemaTest, AFreshWorkingCopyThatCannotBeMadeIsToldAfterTheSaveHasHappened) {
  Choose("Kunden.imp", "[Common]\nDescription=Kunden\n");
  session.FileName = "neu.txt";
  const std::string path = session.ChosenSpecFile;
  session.PersonalNr = std::string(300, '7');  // no file name is that long
  session.SchemaSaved = false;
  EXPECT_ERROR(SaveSchema(session, lock, true), ErrorNumber::kBadFileName);
  EXPECT_EQ(Value(path, "Common", "FileName"), "neu.txt");
  EXPECT_TRUE(session.SchemaSaved);
  EXPECT_FALSE(session.SchemaChanged);
  EXPECT_EQ(session.SpecFile, path) << "which is never deleted as a working copy";
}

TEST_F(SaveSchemaTest, ANewSpecificationThatHoldsAPasswordIsItsOwnersAlone) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\nProvider=Microsoft SQL-Server\n");
  ASSERT_EQ(::chmod(session.ChosenSpecFile.c_str(), 0444), 0);
  const auto mode_of = [&](const std::string& name) {
    struct stat status {};
    EXPECT_EQ(::stat(InFolder(name).c_str(), &status), 0) << name;
    return status.st_mode & 0777;
  };
  session.Password = "geheim";
  ui.replies = {"Mit"};
  SaveSchema(session, lock, true);
  EXPECT_EQ(mode_of("Mit.IMP"), 0600u);
  session.Password = "";
  ui.replies = {"Ohne"};
  SaveSchema(session, lock, true);
  EXPECT_EQ(mode_of("Ohne.IMP"), 0644u) << "as the template, and writable";

  Choose("Alt.imt", "[Common]\nDescription=Alt\nProvider=Textdatei\nPassword=von früher\n");
  ui.replies = {"Rest"};
  SaveSchema(session, lock, true);
  EXPECT_EQ(mode_of("Rest.IMP"), 0600u) << "a password of another kind of source is one, too";
}

// --- A specification ----------------------------------------------------------------------------

TEST_F(SaveSchemaTest, AnOpenedSpecificationIsSavedInThatVeryFileWithoutAQuestion) {
  Choose("Kunden.imp",
         "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\nFileName=alt.txt\n");
  session.FileName = "neu.txt";
  session.Description = "not written";
  session.ImportClassProgID = "not.written";
  testing::WriteKey(profiles, session.SpecFile, "Translation_Art", "Herr",
                    "1");  // as the value editor does
  SaveSchema(session, lock, true);

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
  SaveSchema(session, lock, true);

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
  SaveSchema(session, lock, true);
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
    SaveSchema(session, lock, true);
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
  SaveSchema(session, lock, true);
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
  SaveSchema(session, lock, true);
  EXPECT_TRUE(FileExists(InFolder("kunden.IMP")));
}

TEST_F(SaveSchemaTest, TheNameIsUsedAsTypedWithoutTrimming) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  ui.replies = {" Kunden "};
  SaveSchema(session, lock, true);
  EXPECT_TRUE(FileExists(InFolder(" Kunden .IMP")));
}

TEST_F(SaveSchemaTest, AFileThatExistsIsPassedOverByNumber) {
  WriteSpecification("Kunden.IMP", "1");
  WriteSpecification("Kunden(1).IMP", "2");
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  ui.replies = {"Kunden"};
  SaveSchema(session, lock, true);
  EXPECT_EQ(Value(InFolder("Kunden(2).IMP"), "Common", "Description"), "Kunden");
  EXPECT_EQ(ReadBytes(InFolder("Kunden.IMP")), "1");
  EXPECT_EQ(ReadBytes(InFolder("Kunden(1).IMP")), "2");
}

TEST_F(SaveSchemaTest, WhereAllNineNumbersAreTakenTheNinthIsOverwritten) {
  WriteSpecification("Kunden.IMP", "old");
  for (int i = 1; i <= 9; ++i) WriteSpecification("Kunden(" + std::to_string(i) + ").IMP", "old");
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  ui.replies = {"Kunden"};
  SaveSchema(session, lock, true);
  EXPECT_EQ(ReadBytes(InFolder("Kunden(8).IMP")), "old");
  EXPECT_EQ(Value(InFolder("Kunden(9).IMP"), "Common", "Description"), "Kunden");
  EXPECT_FALSE(FileExists(InFolder("Kunden(10).IMP")));
}

TEST_F(SaveSchemaTest, ANameThatHoldsASeparatorOrALineBreakRaises52AndChangesNothing) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  const std::string copy = session.SpecFile;
  for (const char* name : {"../Kunden", "Kunden\\Süd", "Kunden\nSüd", "Kunden\tSüd"}) {
    ui.replies = {name};
    EXPECT_ERROR_TEXT(SaveSchema(session, lock, true), ErrorNumber::kBadFileName, ::testing::HasSubstr(name));
    EXPECT_EQ(session.SpecFile, copy);
    EXPECT_TRUE(FileExists(copy));
  }
}

TEST_F(SaveSchemaTest, ANameTooLongForAFileReachesTheCallerAndKeepsTheWorkingCopy) {
  Choose("Vorlage.imt", "[Common]\nDescription=Vorlage\n");
  const std::string copy = session.SpecFile;
  ui.replies = {std::string(300, 'x')};
  EXPECT_THROW(SaveSchema(session, lock, true), RuntimeError);
  EXPECT_EQ(session.SpecFile, copy);
  EXPECT_TRUE(FileExists(copy));
}

}  // namespace
}  // namespace kestrel
