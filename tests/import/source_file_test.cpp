#include "import/source_file.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/base/file.h"
#include "sources/source_reader.h"
#include "support/session_fixture.h"
#include "support/source_kind_names.h"

namespace kestrel::testing {
namespace {

using Box = RecordingUserInterface::Box;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class SourceFileTest : public SessionFixture {
 protected:
  SourceFileTest() {
    session.Provider = kTextSource;
    session.FileName = folder.Write("adressen.txt", "neu");
    session.SavePath = folder.File("Sicherung");
    CreateFolders(session.SavePath);
    session.SaveFile = true;
    session.DeleteFile = true;
  }
  std::string Backup() const { return session.SavePath + "/adressen.txt"; }
  // Reads the source to its end; the result of a run that worked through all of its records.
  RunResult ReadAll() {
    reader.OpenSourceRecordset();
    RunResult run;
    run.total = static_cast<std::int32_t>(reader.SourceRecordCount());
    for (reader.SourceMoveFirst(); !reader.SourceEOF(); reader.SourceMoveNext()) ++run.records;
    run.source_end = reader.end();
    return run;
  }

  SourceReader reader{session};
};

TEST_F(SourceFileTest, BackupKeepsTheFileName) {
  BackUpSourceFile(session);
  EXPECT_EQ(ReadBytes(Backup()), "neu");
  EXPECT_TRUE(FileExists(session.FileName));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(SourceFileTest, BackupReplacesTheOneBefore) {
  folder.Write("Sicherung/adressen.txt", "alt und länger");
  BackUpSourceFile(session);
  EXPECT_EQ(ReadBytes(Backup()), "neu");
}

TEST_F(SourceFileTest, HalfACopyOfAKilledProgramIsSweptAndNothingElse) {
  folder.Write("Sicherung/.kestrel-abcdefghij01", "hal");
  folder.Write("Sicherung/.kestrel-notes", "mine");
  BackUpSourceFile(session);
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(session.SavePath)) {
    names.push_back(entry.path().filename());
  }
  EXPECT_THAT(names, UnorderedElementsAre("adressen.txt", ".kestrel-notes"));
}

TEST_F(SourceFileTest, BackupFolderMayEndInASeparator) {
  session.SavePath += "/";
  BackUpSourceFile(session);
  EXPECT_EQ(ReadBytes(folder.File("Sicherung/adressen.txt")), "neu");
}

TEST_F(SourceFileTest, NoBackupWithoutTheFlag) {
  session.SaveFile = false;
  BackUpSourceFile(session);
  EXPECT_FALSE(FileExists(Backup()));
}

TEST_F(SourceFileTest, SaveFileWithAnEmptyPathMakesNoBackupAndNoMessage) {
  session.SavePath.clear();
  BackUpSourceFile(session);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(SourceFileTest, AMissingBackupFolderIsTold) {
  session.SavePath = folder.File("Nirgends");
  BackUpSourceFile(session);
  EXPECT_THAT(ui.boxes, ElementsAre(Box{"Der Sicherungspfad ''" + session.SavePath +
                                            "'' existiert nicht. Die Datei kann nicht gesichert werden.",
                                        "", Icon::kInformation, Buttons::kOk}));
  EXPECT_FALSE(FolderExists(session.SavePath));
}

TEST_F(SourceFileTest, ABackupFolderThatCannotBeLookedAtIsAnErrorAndNotMissing) {
  session.SavePath = folder.File("Kreis");
  std::filesystem::create_symlink(session.SavePath, session.SavePath);
  EXPECT_THROW(BackUpSourceFile(session), RuntimeError);
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(SourceFileTest, OtherSourcesAreNeitherBackedUpNorRemoved) {
  const RunResult run = ReadAll();
  session.Provider = kDBaseSource;
  BackUpSourceFile(session);
  EXPECT_EQ(RemoveSourceFile(session, run), "");
  EXPECT_FALSE(FileExists(Backup()));
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, TheKindOfSourceIsComparedExactly) {
  const RunResult run = ReadAll();
  session.Provider = "textdatei";
  BackUpSourceFile(session);
  EXPECT_EQ(RemoveSourceFile(session, run), "");
  EXPECT_FALSE(FileExists(Backup()));
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, ACopyThatFailsRaises) {
  session.FileName = folder.File("fehlt.txt");
  try {
    BackUpSourceFile(session);
    FAIL() << "no error";
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kFileNotFound)) << error.what();
  }
}

TEST_F(SourceFileTest, ABackupOntoTheSourceItselfIsRefused) {
  session.SavePath = folder.path();
  try {
    BackUpSourceFile(session);
    FAIL() << "no error";
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kPermissionDenied));
    EXPECT_THAT(error.Description(), HasSubstr(session.FileName));
  }
  EXPECT_EQ(ReadBytes(session.FileName), "neu");
}

TEST_F(SourceFileTest, RemovalAfterARunWithoutErrors) {
  EXPECT_EQ(RemoveSourceFile(session, ReadAll()), "");
  EXPECT_FALSE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, NoRemovalAfterErrorsOrACancellation) {
  RunResult run = ReadAll();
  for (const std::int32_t errors : {1, -1}) {
    run.errors = errors;
    EXPECT_EQ(RemoveSourceFile(session, run),
              "Die Quelldatei '" + session.FileName + "' wurde nicht gelöscht: Es wurden Fehler gezählt.");
  }
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, NoRemovalWithoutTheFlag) {
  session.DeleteFile = false;
  EXPECT_EQ(RemoveSourceFile(session, ReadAll()), "");
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, NoRemovalBeforeTheEndOfTheSource) {
  folder.Write("adressen.txt", "a\r\nb\r\n");
  RunResult run = ReadAll();
  reader.SourceMoveFirst();
  run.source_end = reader.end();
  EXPECT_THAT(RemoveSourceFile(session, run), HasSubstr("nicht bis zu ihrem Ende gelesen"));
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, NoRemovalWhereRecordsAreMissing) {
  folder.Write("adressen.txt", "a\r\nb\r\n");
  RunResult run = ReadAll();
  run.records = 1;
  EXPECT_THAT(RemoveSourceFile(session, run), HasSubstr("Von 2 Datensätzen wurde 1 verarbeitet"));
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, ARemovalThatFailsRaises) {
  const RunResult run = ReadAll();
  DeleteFile(session.FileName);
  EXPECT_THROW(RemoveSourceFile(session, run), RuntimeError);
}

}  // namespace
}  // namespace kestrel::testing
