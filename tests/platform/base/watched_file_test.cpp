#include "platform/base/watched_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::TempFolder;

constexpr std::size_t kPart = WatchedFile::kPart;

class WatchedFileTest : public ::testing::Test {
 protected:
  std::string Read(WatchedFile& file, std::size_t begin, std::size_t size) {
    std::string bytes(size, '?');
    bytes.resize(file.Read(begin, bytes.data(), size));
    return bytes;
  }

  TempFolder folder_;
  std::string path_ = folder_.Write("file.txt", std::string(3 * kPart + 100, 'a'));
};

TEST_F(WatchedFileTest, ReadsUpToTheEndThatItHadAtOpening) {
  WatchedFile file(path_);
  std::ofstream(path_, std::ios::app) << "more";
  EXPECT_EQ(file.size(), 3 * kPart + 100);
  EXPECT_EQ(Read(file, 0, 8 * kPart), std::string(3 * kPart + 100, 'a'));
  EXPECT_EQ(Read(file, 3 * kPart, kPart), std::string(100, 'a'));
  EXPECT_FALSE(file.IsUnchanged());
}

TEST_F(WatchedFileTest, StopsBeforeAPartThatIsNotWhatItWas) {
  WatchedFile file(path_);
  Read(file, 0, 4 * kPart);
  std::fstream(path_, std::ios::in | std::ios::out).seekp(2 * kPart + 1) << 'b';
  EXPECT_EQ(Read(file, 0, 4 * kPart), std::string(2 * kPart, 'a'));
  EXPECT_EQ(Read(file, 2 * kPart, kPart), "");
  EXPECT_EQ(Read(file, 3 * kPart, kPart), std::string(100, 'a'));
}

TEST_F(WatchedFileTest, StopsBeforeAPartThatWasCut) {
  WatchedFile file(path_);
  Read(file, 0, kPart);
  std::filesystem::resize_file(path_, 2 * kPart + 1);
  EXPECT_EQ(Read(file, kPart, 4 * kPart), std::string(kPart, 'a'));
}

TEST_F(WatchedFileTest, BegunAnewItIsTheFileOfThatTime) {
  WatchedFile file(path_);
  Read(file, 0, 4 * kPart);
  std::fstream(path_, std::ios::in | std::ios::out) << 'b';
  file.BeginAnew();
  EXPECT_EQ(Read(file, 0, 2), "ba");
}

TEST_F(WatchedFileTest, YoungStampsDoNotProveThatNothingChanged) {
  const std::string young = folder_.Write("young.txt", "a");
  std::filesystem::last_write_time(young,
                                   std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
  EXPECT_FALSE(WatchedFile(young).IsUnchanged());
}

}  // namespace
}  // namespace kestrel
