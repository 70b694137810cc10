#include "import/source_file.h"

#include <gmock/gmock.h>

#include "platform/base/file.h"
#include "spec/specification.h"
#include "support/session_fixture.h"

namespace kestrel::testing {
namespace {

using Box = RecordingUserInterface::Box;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

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

TEST_F(SourceFileTest, OtherSourcesAreNeitherBackedUpNorRemoved) {
  session.Provider = kDBaseSource;
  BackUpSourceFile(session);
  RemoveSourceFile(session, 0);
  EXPECT_FALSE(FileExists(Backup()));
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, TheKindOfSourceIsComparedExactly) {
  session.Provider = "textdatei";
  BackUpSourceFile(session);
  RemoveSourceFile(session, 0);
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
  RemoveSourceFile(session, 0);
  EXPECT_FALSE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, NoRemovalAfterErrorsOrACancellation) {
  RemoveSourceFile(session, 1);
  RemoveSourceFile(session, -1);
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, NoRemovalWithoutTheFlag) {
  session.DeleteFile = false;
  RemoveSourceFile(session, 0);
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(SourceFileTest, ARemovalThatFailsRaises) {
  session.FileName = folder.File("fehlt.txt");
  EXPECT_THROW(RemoveSourceFile(session, 0), RuntimeError);
}

}  // namespace
}  // namespace kestrel::testing
