// Loading the Common section, and the names of schemas.
#include "spec/specification.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <string>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "support/expect_error.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using testing::SessionFixture;

class Specification : public SessionFixture {};

// --- Common -------------------------------------------------------------------------------------

TEST_F(Specification, AnEmptyFileReadsAsATextFileWithTheUsualSettings) {
  UseSpecification("");
  session.FileName = "left over";
  session.SaveFile = session.DeleteFile = true;
  ReadCommonSection(session);
  EXPECT_EQ(session.ImportClassProgID, "");
  EXPECT_EQ(session.Provider, "Textdatei");
  EXPECT_EQ(session.Description, "");
  EXPECT_EQ(session.FileName, "");
  EXPECT_TRUE(session.ColumnHeadings);
  EXPECT_EQ(session.FileFormat, "ANSI");
  EXPECT_EQ(session.Delimiter, "TAB");
  EXPECT_EQ(session.TextRecognition, "\"");
  EXPECT_FALSE(session.SaveFile);
  EXPECT_EQ(session.SavePath, "");
  EXPECT_FALSE(session.DeleteFile);
}

TEST_F(Specification, AMissingFileReadsLikeAnEmptyOne) {
  session.SpecFile = folder.File("missing.tmp");
  ReadCommonSection(session);
  EXPECT_EQ(session.Provider, "Textdatei");
}

TEST_F(Specification, ATextFileLoadsItsEightKeys) {
  UseSpecification(
      "[Common]\nDescription=Kunden\nImportClass=ksbimport.importkunden\nProvider=Textdatei\n"
      "FileName=C:\\Daten\\Kunden.txt\nColumnHeadings=False\nFileFormat=ASCII\nDelimiter=;\nTextRecognition='\n"
      "SaveFile=1\nSavePath=/sicherung\nDeleteFile=1\n");
  ReadCommonSection(session);
  EXPECT_EQ(session.ImportClassProgID, "ksbimport.importkunden");
  EXPECT_EQ(session.Description, "Kunden");
  EXPECT_EQ(session.FileName, "C:\\Daten\\Kunden.txt");
  EXPECT_FALSE(session.ColumnHeadings);
  EXPECT_EQ(session.FileFormat, "ASCII");
  EXPECT_EQ(session.Delimiter, ";");
  EXPECT_EQ(session.TextRecognition, "'");
  EXPECT_TRUE(session.SaveFile);
  EXPECT_EQ(session.SavePath, "/sicherung");
  EXPECT_TRUE(session.DeleteFile);
}

TEST_F(Specification, ADatabaseServerLoadsItsFiveKeys) {
  UseSpecification(
      "[Common]\nProvider=Microsoft "
      "SQL-Server\nServer=s\nUser=u\nPassword=p\nDatabase=d\nTable=t\nFileName=f\n");
  ReadCommonSection(session);
  EXPECT_EQ(session.Server + session.User + session.Password + session.Database + session.Table, "supdt");
  EXPECT_EQ(session.FileName, "");
}

TEST_F(Specification, AnAccessDatabaseLoadsItsFourKeys) {
  UseSpecification(
      "[Common]\nProvider=Microsoft Access-Datenbanken\nServer=s\nUser=u\nPassword=p\nDatabase=d\nTable=t\n");
  ReadCommonSection(session);
  EXPECT_EQ(session.User + session.Password + session.Database + session.Table, "updt");
  EXPECT_EQ(session.Server, "");
}

TEST_F(Specification, AnExcelSheetLoadsOnlyDatabaseAndTableThoughAFileNameIsLeftOver) {
  UseSpecification(
      "[Common]\nProvider=Microsoft Excel\nFileName=alt.txt\nUser=u\nDatabase=mappe.xls\nTable=Tabelle1$\n");
  ReadCommonSection(session);
  EXPECT_EQ(session.Database, "mappe.xls");
  EXPECT_EQ(session.Table, "Tabelle1$");
  EXPECT_EQ(session.FileName, "");
  EXPECT_EQ(session.User, "");
}

TEST_F(Specification, ADBaseTableLoadsDatabaseAndTable) {
  UseSpecification("[Common]\nProvider=dBase-Datenbank\nDatabase=/daten\nTable=KUNDEN\nPassword=p\n");
  ReadCommonSection(session);
  EXPECT_EQ(session.Database, "/daten");
  EXPECT_EQ(session.Table, "KUNDEN");
  EXPECT_EQ(session.Password, "");
}

TEST_F(Specification, AnUnknownProviderLoadsNoFurtherKey) {
  UseSpecification("[Common]\nDescription=x\nProvider=textdatei\nFileName=f\nDatabase=d\n");
  session.FileName = "before";
  ReadCommonSection(session);
  EXPECT_EQ(session.Provider, "textdatei") << "compared with case";
  EXPECT_EQ(session.Description, "x");
  EXPECT_EQ(session.FileName, "before");
  EXPECT_EQ(session.Database, "");
}

TEST_F(Specification, ColumnHeadingsUnderstandsWordsAndNumbers) {
  for (const char* on : {"1", "True", "true", "-1", "Wahr", "2"}) {
    UseSpecification("[Common]\nColumnHeadings=" + std::string(on) + "\n");
    ReadCommonSection(session);
    EXPECT_TRUE(session.ColumnHeadings) << on;
  }
  for (const char* off : {"0", "False", "FALSE", "Falsch"}) {
    UseSpecification("[Common]\nColumnHeadings=" + std::string(off) + "\n");
    ReadCommonSection(session);
    EXPECT_FALSE(session.ColumnHeadings) << off;
  }
}

TEST_F(Specification, SaveFileTrueIsReadAsTrue) {
  UseSpecification("[Common]\nSaveFile=True\nDeleteFile=True\n");
  ReadCommonSection(session);
  EXPECT_TRUE(session.SaveFile);
  EXPECT_TRUE(session.DeleteFile);
}

TEST_F(Specification, ATextThatIsNoTruthValueReadsAsFalse) {
  UseSpecification("[Common]\nColumnHeadings=ja\nSaveFile=\n");
  ReadCommonSection(session);
  EXPECT_FALSE(session.ColumnHeadings);
  EXPECT_FALSE(session.SaveFile);
  EXPECT_FALSE(ReadBoolText("99999999999999999999x"));
}

TEST_F(Specification, AFileThatCannotBeReadIsAnErrorAndChangesNothing) {
  session.SpecFile = folder.path();
  session.Provider = "before";
  session.FileName = "before";
  EXPECT_ERROR_TEXT(ReadCommonSection(session), ErrorNumber::kPathFileAccess,
                    ::testing::HasSubstr(folder.path()));
  EXPECT_EQ(session.Provider, "before");
  EXPECT_EQ(session.FileName, "before");
}

// --- Names --------------------------------------------------------------------------------------

TEST_F(Specification, SchemaNameExistsComparesWithCase) {
  session.ExistingSchemaNames = "Kunden;Lieferanten Süd;";
  EXPECT_TRUE(SchemaNameExists(session, "Kunden"));
  EXPECT_TRUE(SchemaNameExists(session, "Lieferanten Süd"));
  EXPECT_FALSE(SchemaNameExists(session, "kunden"));
  EXPECT_FALSE(SchemaNameExists(session, "Kunden "));
  EXPECT_FALSE(SchemaNameExists(session, "Kunden;Lieferanten Süd"));
}

TEST_F(Specification, AnEmptySchemaNameEqualsTheEmptyLastPiece) {
  session.ExistingSchemaNames = "Kunden;";
  EXPECT_TRUE(SchemaNameExists(session, ""));
  session.ExistingSchemaNames = "";
  EXPECT_TRUE(SchemaNameExists(session, ""));
}

TEST_F(Specification, ATemplateIsToldByItsExtension) {
  session.ChosenSpecFile = "/x/Vorlage.imt";
  EXPECT_TRUE(IsTemplate(session));
  session.ChosenSpecFile = "/x/Vorlage.imp";
  EXPECT_FALSE(IsTemplate(session));
}

}  // namespace
}  // namespace kestrel
