#include "platform/base/file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>

#include "kestrel/runtime_error.h"
#include "support/expect_error.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::ReadBytes;
using testing::TempFolder;

int ErrorNumberOf(const std::function<void()>& action) {
  int number = 0;
  Trap(action, [&](const RuntimeError& error) { number = error.Number(); });
  return number;
}

TEST(Paths, BothSeparatorsAreUnderstoodWhenAPathIsTakenApart) {
  EXPECT_EQ(FileNameOfPath("C:\\Daten\\kunden.txt"), "kunden.txt");
  EXPECT_EQ(FileNameOfPath("/daten/kunden.txt"), "kunden.txt");
  EXPECT_EQ(FileNameOfPath("kunden.txt"), "kunden.txt");
  EXPECT_EQ(GetFolderOfPath("C:\\a\\b.dbf"), "C:\\a");
  EXPECT_EQ(GetFolderOfPath("b.dbf"), "b.dbf");
}

TEST(Paths, TheParentOfABareNameIsTheCurrentFolder) {
  EXPECT_EQ(ParentFolder("b.dbf"), ".");
  EXPECT_EQ(ParentFolder("Import/"), ".");
  EXPECT_EQ(ParentFolder("a/Import"), "a");
  EXPECT_EQ(ParentFolder("a/Import/"), "a");
  EXPECT_EQ(ParentFolder("/Import"), "/");
  EXPECT_EQ(ParentFolder("/"), "/");
  EXPECT_EQ(ParentFolder("C:\\a\\b.dbf"), "C:\\a");
}

TEST(Paths, JoiningPutsExactlyOneSeparatorBetween) {
  EXPECT_EQ(JoinPath("/a", "b"), "/a/b");
  EXPECT_EQ(JoinPath("/a/", "b"), "/a/b");
  EXPECT_EQ(JoinPath("C:\\a\\", "b"), "C:\\a\\b");
  EXPECT_EQ(JoinPath("", "b"), "b");
}

TEST(Files, AMissingFileIsError53WithItsPath) {
  const TempFolder folder;
  try {
    ReadWholeFile(folder.File("fehlt.txt"));
    FAIL();
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kFileNotFound));
    EXPECT_THAT(error.Description(), HasSubstr("fehlt.txt"));
  }
}

TEST(Files, AFolderIsNotAFile) {
  const TempFolder folder;
  EXPECT_FALSE(FileExists(folder.path()));
  EXPECT_TRUE(FolderExists(folder.path()));
  EXPECT_EQ(ErrorNumberOf([&] { ReadWholeFile(folder.path()); }), 75);
}

TEST(Files, APipeOrADeviceIsNeverReplaced) {
  const TempFolder folder;
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string link = folder.File("link");
  std::filesystem::create_symlink(pipe, link);
  for (const std::string& path : {pipe, link}) {
    EXPECT_ERROR_TEXT(WriteFileAtomically(path, "neu"), ErrorNumber::kPathFileAccess,
                      HasSubstr(path + " ist keine gewöhnliche Datei"));
  }
  EXPECT_TRUE(std::filesystem::is_fifo(pipe));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST(Files, WritingReplacesContentAndKeepsTheMode) {
  const TempFolder folder;
  const std::string path = folder.Write("a.imp", "alt");
  ::chmod(path.c_str(), 0640);
  WriteFileAtomically(path, "neu");
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_EQ(ReadBytes(path), "neu");
  EXPECT_THAT(ListFiles(folder.path()), ElementsAre(path));
}

TEST(Files, ANewFileHasTheUsualModeOrTheOneGiven) {
  const TempFolder folder;
  const mode_t mask = ::umask(027);
  WriteFileAtomically(folder.File("usual"), "x");
  WriteFileAtomically(folder.File("private"), "x", 0600);
  ::umask(mask);
  struct stat status {};
  ASSERT_EQ(::stat(folder.File("usual").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  ASSERT_EQ(::stat(folder.File("private").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST(Files, WritingDoesNotTouchTheMaskOfTheProcess) {
  const TempFolder folder;
  const mode_t mask = ::umask(027);
  std::atomic<bool> done = false;
  int others = 0;
  // What a second thread makes meanwhile has the mask's mode at every moment.
  std::thread other([&] {
    for (int i = 0; !done; ++i) {
      const std::string path = folder.File("other" + std::to_string(i));
      ::close(::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
      struct stat status {};
      if (::stat(path.c_str(), &status) == 0 && (status.st_mode & 0777) != 0640) ++others;
      ::unlink(path.c_str());
    }
  });
  for (int i = 0; i < 300; ++i) WriteFileAtomically(folder.File("new" + std::to_string(i)), "x");
  done = true;
  other.join();
  ::umask(mask);
  EXPECT_EQ(others, 0);
}

TEST(Files, WritingThroughALinkReplacesTheFileItNames) {
  const TempFolder folder;
  const std::string path = folder.Write("a.imp", "alt");
  const std::string link = folder.File("b.imp");
  std::filesystem::create_symlink(path, link);
  WriteFileAtomically(link, "neu");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(ReadBytes(path), "neu");
}

TEST(Files, AFailedWriteLeavesTheOldFileWholeAndNoSibling) {
  const TempFolder folder;
  const std::string path = folder.Write("a.imp", "alt");
  // A limit on file sizes stands in for a full disk: the write fails half way.
  rlimit old_limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old_limit), 0);
  const auto old_handler = ::signal(SIGXFSZ, SIG_IGN);
  rlimit limit = old_limit;
  limit.rlim_cur = 1000;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  const int number = ErrorNumberOf([&] { WriteFileAtomically(path, std::string(5000, 'x')); });
  ::setrlimit(RLIMIT_FSIZE, &old_limit);
  ::signal(SIGXFSZ, old_handler);
  EXPECT_NE(number, 0);
  EXPECT_EQ(ReadBytes(path), "alt");
  EXPECT_THAT(ListFiles(folder.path()), ElementsAre(path));
}

TEST(Files, CopyingOverwritesAndAppearsWhole) {
  const TempFolder folder;
  const std::string source = folder.Write("a.txt", std::string(3000000, 'a'));
  const std::string destination = folder.Write("b.txt", "alt");
  CopyFile(source, destination);
  EXPECT_EQ(ReadBytes(destination), ReadBytes(source));
  CopyFile(source, source);
  EXPECT_EQ(ReadBytes(source).size(), 3000000u);
  EXPECT_EQ(ErrorNumberOf([&] { CopyFile(folder.File("fehlt"), destination); }), 53);
  EXPECT_EQ(ErrorNumberOf([&] { CopyFile(source, folder.File("fehlt/c.txt")); }), 53);
  EXPECT_EQ(ReadBytes(destination).size(), 3000000u);
}

TEST(Files, ReadOnlyFilesBecomeWritable) {
  const TempFolder folder;
  const std::string path = folder.Write("a.imt", "x");
  ::chmod(path.c_str(), 0444);
  MakeWritable(path);
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0600, 0600u);
}

TEST(Files, ListingNamesFilesOnlyInOrder) {
  const TempFolder folder;
  folder.Write("b", "");
  folder.Write("a", "");
  CreateFolders(folder.File("c/d"));
  EXPECT_THAT(ListFiles(folder.path()), ElementsAre(folder.File("a"), folder.File("b")));
  EXPECT_EQ(ErrorNumberOf([&] { ListFiles(folder.File("fehlt")); }), 76);
}

TEST(RuntimeErrors, TrapReportsAndGoesOn) {
  int reported = 0;
  EXPECT_TRUE(Trap([] {}, [&](const RuntimeError&) { ++reported; }));
  EXPECT_FALSE(Trap([] { throw RuntimeError(ErrorNumber::kDivisionByZero); },
                    [&](const RuntimeError& error) { reported = error.Number(); }));
  EXPECT_EQ(reported, 11);
  EXPECT_FALSE(Trap([] { throw std::out_of_range("fremd"); },
                    [&](const RuntimeError& error) { reported = error.Number(); }));
  EXPECT_EQ(reported, 440);
}

}  // namespace
}  // namespace kestrel
