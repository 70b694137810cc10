// What kind of source a file is by its content, and what becomes of the session's settings.
#include "sources/source_detection.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;

class SourceDetection : public testing::SessionFixture {
 protected:
  std::string KindNameOf(const std::string& path) const {
    const DetectedSource found = DetectSource(KindsOf(session), path);
    return found.kind == nullptr ? found.refusal : found.kind->name;
  }
  void Use(const std::string& path) { UseDetectedSource(DetectSource(KindsOf(session), path), path, session); }
};

TEST_F(SourceDetection, TheContentTellsTheKindWhateverTheFileIsCalled) {
  EXPECT_EQ(KindNameOf(folder.Write("zip.txt", "PK\x03\x04 und mehr")), "Microsoft Excel");
  EXPECT_EQ(KindNameOf(folder.Write("alt.csv", "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 und mehr")),
            "Microsoft Excel");
  EXPECT_EQ(KindNameOf(folder.Write("a.dat", std::string("\0\x01\0\0Standard ACE DB", 19))),
            "Microsoft Access-Datenbanken");
  EXPECT_EQ(KindNameOf(folder.Write("tab.xls", "Name\tOrt\r\nBeck\tUlm\r\n")), "Textdatei");
  EXPECT_EQ(KindNameOf(folder.Write("leer.txt", "")), "Textdatei");
  EXPECT_EQ(KindNameOf(folder.path()), "dBase-Datenbank");
}

TEST_F(SourceDetection, TextsThatBeginWithDigitsAreNoTables) {
  EXPECT_EQ(KindNameOf(folder.Write("zahlen.dbf", "0\t\n\t1;2;3;4;5;6;7;8;9;10;11;12;13;14;15;16;17")),
            "Textdatei");
  EXPECT_EQ(KindNameOf(folder.Write("c.txt", "Chemnitz;09111\r\n" + std::string(60, 'x'))), "Textdatei");
}

TEST_F(SourceDetection, PublicFilesAreRecognised) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the public test files are not there";
  const std::vector<std::pair<const char*, const char*>> kinds = {{"dbf", "dBase-Datenbank"},
                                                                  {"mdb", "Microsoft Access-Datenbanken"},
                                                                  {"accdb", "Microsoft Access-Datenbanken"},
                                                                  {"xls", "Microsoft Excel"},
                                                                  {"xlsx", "Microsoft Excel"}};
  for (const auto& [name, kind] : kinds) {
    for (const auto& entry : std::filesystem::directory_iterator(testing::TestDataFolder() + "/" + name)) {
      const std::string extension = UpperCase(entry.path().extension().string());
      if (extension == ".DBT" || extension == ".FPT") continue;
      EXPECT_EQ(KindNameOf(entry.path().string()), kind) << entry.path();
    }
  }
}

TEST_F(SourceDetection, ATableThatIsCalledOtherwiseSaysWhatToDo) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the public test files are not there";
  const std::string path = folder.File("kunden.txt");
  std::filesystem::copy_file(testing::TestDataFolder() + "/dbf/KUNDEN_c1252.dbf", path);
  EXPECT_EQ(KindNameOf(path), "Die Datei ''" + path +
                                  "'' ist von der Art \"dBase-Datenbank\". Geben Sie ihrem Namen die Endung "
                                  "\".DBF\".");
}

TEST_F(SourceDetection, AFileThatNobodyCanReadSaysSo) {
  EXPECT_THAT(KindNameOf(folder.Write("bild.txt", std::string("\x89PNG\0\0\0", 7))),
              HasSubstr("enthält keinen Text"));
  EXPECT_THROW(KindNameOf(folder.File("fehlt.txt")), RuntimeError);
}

TEST_F(SourceDetection, TheSessionGetsTheFileAndHowItIsRead) {
  session.SaveFile = true;
  session.SavePath = "/sicherung";
  const std::string text = folder.Write("k.txt", "Name,Ort\r\n'Beck','Ulm'\r\n'Meier','Bonn'\r\n");
  Use(text);
  EXPECT_EQ(session.Provider, "Textdatei");
  EXPECT_EQ(session.FileName, text);
  EXPECT_EQ(session.Delimiter, ",");
  EXPECT_EQ(session.TextRecognition, "'");
  EXPECT_TRUE(session.ColumnHeadings);
  EXPECT_EQ(session.FileFormat, "ANSI");
  EXPECT_TRUE(session.SaveFile);
  EXPECT_EQ(session.SavePath, "/sicherung");
  // A separator that the lines do not show stays.
  Use(folder.Write("eine.txt", "Name\r\nBeck\r\n"));
  EXPECT_EQ(session.Delimiter, ",");
  EXPECT_EQ(session.TextRecognition, "\"");
}

TEST_F(SourceDetection, TablesOfAnEarlierSourceAreForgotten) {
  session.Table = "Alt";
  const std::string workbook = folder.Write("k.bin", "PK\x03\x04");
  Use(workbook);
  EXPECT_EQ(session.Provider, "Microsoft Excel");
  EXPECT_EQ(session.Database, workbook);
  EXPECT_EQ(session.Table, "");
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the public test files are not there";
  Use(testing::TestDataFolder() + "/dbf/KUNDEN_c1252.dbf");
  EXPECT_EQ(session.Provider, "dBase-Datenbank");
  EXPECT_EQ(session.Database, testing::TestDataFolder() + "/dbf");
  EXPECT_EQ(session.Table, "KUNDEN_c1252.dbf");
}

TEST_F(SourceDetection, ADialogOffersAllKindsTogetherThenEachOfThem) {
  EXPECT_EQ(FileFilterOf(KindsOf(session)),
            "Alle Quellen (*.txt *.csv *.tsv *.asc *.dat *.mdb *.accdb *.xls *.xlsx *.xlsm *.dbf);;"
            "Textdatei (*.txt *.csv *.tsv *.asc *.dat);;Microsoft Access-Datenbanken (*.mdb *.accdb);;"
            "Microsoft Excel (*.xls *.xlsx *.xlsm);;dBase-Datenbank (*.dbf);;Alle Dateien (*)");
}

}  // namespace
}  // namespace kestrel
