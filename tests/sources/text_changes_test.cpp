// Text files that are changed by others while they are read, and what is no ordinary file. The stamps of a file
// tell of a change where they are old, and may not where they are young; both must be read rightly.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/base/file_stamp.h"
#include "platform/base/text.h"
#include "sources/text_source.h"
#include "sources/text_window.h"
#include "support/expect_error.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::TempFolder;

constexpr std::size_t kWindow = TextWindow::kWindowSize;
const TextFormat kPlain{false, "ANSI", ";", "\""};

FileIdentity IdentityOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return FileIdentity(status);
}

class TextChanges : public ::testing::TestWithParam<bool> {
 protected:
  static constexpr std::size_t kLine = 20;  // bytes

  // A record of the number and the same once more.
  static std::string Line(std::size_t number) {
    std::string digits = std::to_string(number);
    digits.insert(0, 8 - digits.size(), '0');
    return digits + ";" + digits + " \r\n";
  }
  static std::string Lines(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += Line(i);
    return text;
  }

  void SetUp() override {
    path_ = folder_.Write("source.txt", Lines(kCount));
    at_opening_ = IdentityOf(path_);
    if (GetParam()) {
      // No stamp can be set to a time of long ago, so this lasts some ticks of the clock.
      while (!ShowsEveryChange(at_opening_, StampClock())) continue;
    }
    records_ = OpenTextSource(path_, kPlain);
  }

  // Goes on to the end; how many records came, each the right one.
  std::size_t ReadOn() {
    std::size_t count = 0;
    try {
      for (; !records_->IsEof(); records_->MoveNext()) {
        EXPECT_EQ(Line(count),
                  std::string(records_->TextAt(0)) + ";" + std::string(records_->TextAt(1)) + "\r\n");
        ++count;
      }
    } catch (const RuntimeError& error) {
      error_ = error;
    }
    return count;
  }

  void ExpectReadWhole() {
    EXPECT_EQ(ReadOn(), kCount);
    EXPECT_FALSE(error_) << error_->Description();
    EXPECT_TRUE(records_->IsEof());
    EXPECT_FALSE(records_->BrokenOff());
    EXPECT_EQ(records_->SourceFile(), at_opening_);
  }

  void ExpectBrokenOff(std::size_t least, std::size_t most) {
    const std::size_t count = ReadOn();
    EXPECT_GE(count, least);
    EXPECT_LE(count, most);
    ASSERT_TRUE(error_);
    EXPECT_EQ(error_->Number(), 75);
    EXPECT_EQ(error_->Description(),
              "Die Datei '" + path_ +
                  "' wurde geändert, während sie gelesen wurde. Bitte wiederholen Sie den Vorgang, wenn kein "
                  "anderes Programm mehr in sie schreibt.");
    EXPECT_TRUE(records_->IsEof());
    ASSERT_TRUE(records_->BrokenOff());
    EXPECT_EQ(records_->BrokenOff()->Description(), error_->Description());
    EXPECT_EQ(records_->RecordCount(), static_cast<std::int64_t>(kCount));
  }

  void Overwrite(std::size_t offset, const std::string& bytes) {
    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(offset));
    file << bytes;
  }

  static constexpr std::size_t kCount = 4 * kWindow / kLine;
  TempFolder folder_;
  std::string path_;
  RecordsetPtr records_;
  FileIdentity at_opening_;
  std::optional<RuntimeError> error_;
};

INSTANTIATE_TEST_SUITE_P(Stamps, TextChanges, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Old" : "Young"; });

TEST_P(TextChanges, UnchangedItIsReadWhole) { ExpectReadWhole(); }

TEST_P(TextChanges, TouchedItIsReadWhole) {
  std::filesystem::last_write_time(path_, std::filesystem::file_time_type::clock::now());
  ExpectReadWhole();
}

TEST_P(TextChanges, WrittenAnewWithTheSameBytesItIsReadWhole) {
  Overwrite(0, Lines(kCount));
  ExpectReadWhole();
}

TEST_P(TextChanges, GrownItIsReadAsItWasAtOpening) {
  std::ofstream(path_, std::ios::app | std::ios::binary) << "new;line\r\nand half a li";
  ExpectReadWhole();
}

TEST_P(TextChanges, RenamedItIsReadWhole) {
  std::filesystem::rename(path_, path_ + ".old");
  ExpectReadWhole();
}

TEST_P(TextChanges, VanishedItIsReadWhole) {
  std::filesystem::remove(path_);
  ExpectReadWhole();
}

TEST_P(TextChanges, ReplacedByAnotherFileItIsReadWhole) {
  std::filesystem::rename(folder_.Write("other.txt", "something;else\r\n"), path_);
  ExpectReadWhole();
}

TEST_P(TextChanges, UnreadableSinceItWasOpenedItIsReadWhole) {
  chmod(path_.c_str(), 0);
  ExpectReadWhole();
}

TEST_P(TextChanges, OneByteRewrittenEndsItThere) {
  Overwrite(3 * kWindow + 5, "x");
  ExpectBrokenOff((3 * kWindow - WatchedFile::kPart) / kLine, (3 * kWindow + 5) / kLine);
}

TEST_P(TextChanges, TwoLinesThatChangePlacesEndItThere) {
  const std::size_t first = 3 * kWindow / kLine;
  Overwrite(first * kLine, Line(first + 1) + Line(first));
  ExpectBrokenOff(first - 1 - WatchedFile::kPart / kLine, first);
}

TEST_P(TextChanges, ChangesOfBytesAlreadyReadAreNoneOfItsConcern) {
  records_->GoTo(static_cast<std::int64_t>(kCount - 1));
  Overwrite(0, "x");
  EXPECT_EQ(records_->TextAt(0), Line(kCount - 1).substr(0, 8));
  records_->MoveNext();
  EXPECT_TRUE(records_->IsEof());
  EXPECT_FALSE(records_->BrokenOff());
}

TEST_P(TextChanges, CutShorterItEndsBeforeTheCut) {
  std::filesystem::resize_file(path_, 3 * kWindow + 5);
  ExpectBrokenOff((3 * kWindow - WatchedFile::kPart) / kLine, 3 * kWindow / kLine);
}

TEST_P(TextChanges, EmptiedItEndsWithTheFirstWindowAtTheLatest) {
  std::filesystem::resize_file(path_, 0);
  ExpectBrokenOff(0, kWindow / kLine);
}

TEST_P(TextChanges, BrokenOffItCanBeReadAgainFromWhereItIsWhole) {
  Overwrite(3 * kWindow, "x");
  ReadOn();
  ASSERT_TRUE(records_->BrokenOff());
  error_.reset();
  records_->MoveFirst();
  EXPECT_FALSE(records_->BrokenOff());
  EXPECT_EQ(records_->TextAt(0), "00000000");
  Overwrite(3 * kWindow, Lines(kCount).substr(3 * kWindow, 1));
  ExpectReadWhole();
}

TEST(TextFileOfNoTwoTimes, ASmallFileHasTheIdentityOfItsContent) {
  const TempFolder folder;
  const std::string path = folder.Write("small.txt", "a;b\r\nc;d\r\n");
  const RecordsetPtr records = OpenTextSource(path, kPlain);
  const FileIdentity at_reading = IdentityOf(path);
  folder.Write("small.txt", "other;content\r\n");
  EXPECT_EQ(records->SourceFile(), at_reading);
  records->MoveNext();
  EXPECT_EQ(records->TextAt(0), "c");
}

TEST(TextFileOfNoTwoTimes, ALargeFileThatMustBeDecodedAsAWholeHasItToo) {
  const TempFolder folder;
  std::string bytes = "\xFF\xFE";
  while (bytes.size() < 3 * kWindow) bytes += std::string("a\0;\0b\0\r\0\n\0", 10);
  const std::string path = folder.Write("utf16.txt", bytes);
  const RecordsetPtr records = OpenTextSource(path, kPlain);
  EXPECT_EQ(records->SourceFile(), IdentityOf(path));
  std::filesystem::resize_file(path, 2);
  std::size_t count = 0;
  for (; !records->IsEof(); records->MoveNext()) ++count;
  EXPECT_EQ(count, (bytes.size() - 2) / 10);
}

// --- What is no ordinary file -------------------------------------------------------------------

void ExpectRefused(const std::string& path, const std::string& kind) {
  const std::string description = "'" + path + "' ist " + kind +
                                  " und kann nicht als Datei gelesen werden. Bitte den Inhalt zuerst in einer "
                                  "Datei speichern und diese angeben.";
  EXPECT_ERROR_TEXT(OpenTextSource(path, kPlain), ErrorNumber::kPathFileAccess, description);
  EXPECT_ERROR_TEXT(ReadTextFieldNames(path, kPlain), ErrorNumber::kPathFileAccess, description);
}

TEST(NoOrdinaryFile, APipeThatNobodyWritesIntoIsRefusedAtOnce) {
  const TempFolder folder;
  const std::string path = folder.File("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  ExpectRefused(path, "eine Pipe");
}

TEST(NoOrdinaryFile, ADeviceIsRefused) {
  ExpectRefused("/dev/zero", "ein Gerät");
  ExpectRefused("/dev/null", "ein Gerät");
}

TEST(NoOrdinaryFile, ASocketIsRefused) {
  const TempFolder folder;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = folder.File("socket");
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::copy(path.begin(), path.end(), address.sun_path);
  const int socket_descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(socket_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ExpectRefused(path, "ein Socket");
  close(socket_descriptor);
}

}  // namespace
}  // namespace kestrel
