#include "platform/base/change_notice.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::TempFolder;

class ChangeNoticeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!notice_.Await(file_))
      GTEST_SKIP() << "this system, or the scratch folder's file system, has no notices";
  }
  bool HasComeOnce() {
    const bool has_come = notice_.HasCome();
    EXPECT_TRUE(notice_.Await(file_));
    EXPECT_FALSE(notice_.HasCome()) << "before anything else happens";
    return has_come;
  }

  TempFolder folder_;
  std::string path_ = folder_.Write("a.imp", "[S]");
  FileDescriptor file_{::open(path_.c_str(), O_RDONLY | O_CLOEXEC)};
  ChangeNotice notice_;
};

TEST_F(ChangeNoticeTest, NothingComesOfAFileThatIsLeftAlone) {
  folder_.Write("b.imp", "[S]");
  EXPECT_FALSE(notice_.HasCome());
}

TEST_F(ChangeNoticeTest, ComesBeforeWhoeverTouchesTheFileGoesOn) {
  { const FileDescriptor reader(::open(path_.c_str(), O_RDONLY | O_CLOEXEC)); }
  EXPECT_TRUE(HasComeOnce()) << "opened";
  ASSERT_EQ(::chmod(path_.c_str(), 0600), 0);
  EXPECT_TRUE(HasComeOnce()) << "another mode";
  ASSERT_EQ(::truncate(path_.c_str(), 1), 0);
  EXPECT_TRUE(HasComeOnce()) << "cut";
  folder_.Write("a.imp", "[T]");
  EXPECT_TRUE(HasComeOnce()) << "written";
  ASSERT_EQ(::rename(path_.c_str(), folder_.File("c.imp").c_str()), 0);
  EXPECT_TRUE(HasComeOnce()) << "renamed";
  folder_.Write("b.imp", "[S]");
  ASSERT_EQ(::rename(folder_.File("b.imp").c_str(), folder_.File("c.imp").c_str()), 0);
  EXPECT_TRUE(HasComeOnce()) << "replaced";
}

TEST_F(ChangeNoticeTest, CannotBeHadWhileSomebodyMayWriteUnnoticed) {
  {
    const FileDescriptor writer(::open(path_.c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_FALSE(notice_.Await(file_));
    EXPECT_TRUE(notice_.HasCome());
  }
  EXPECT_TRUE(notice_.Await(file_));
  EXPECT_FALSE(notice_.HasCome());
}

TEST_F(ChangeNoticeTest, IsThereAsSoonAsAnotherThreadHasWritten) {
  constexpr int kRounds = 2000;
  std::atomic<int> wanted{0};
  std::atomic<int> done{0};
  std::thread other([&] {
    for (int round = 1; round <= kRounds; ++round) {
      while (wanted.load() < round) std::this_thread::yield();
      std::ofstream(path_) << "[S]";
      done.store(round);
    }
  });
  int missed = 0;
  for (int round = 1; round <= kRounds; ++round) {
    EXPECT_TRUE(notice_.Await(file_));
    wanted.store(round);
    while (done.load() < round) std::this_thread::yield();
    if (!notice_.HasCome()) ++missed;
  }
  other.join();
  EXPECT_EQ(missed, 0);
}

TEST_F(ChangeNoticeTest, ChangesToAnotherFile) {
  const std::string other = folder_.Write("b.imp", "[S]");
  const FileDescriptor file(::open(other.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(notice_.Await(file));
  ASSERT_EQ(::chmod(path_.c_str(), 0600), 0);
  EXPECT_FALSE(notice_.HasCome());
  ASSERT_EQ(::chmod(other.c_str(), 0600), 0);
  EXPECT_TRUE(notice_.HasCome());
}

TEST(ChangeNotice, HasComeWhereNoneIsAwaited) { EXPECT_TRUE(ChangeNotice().HasCome()); }

}  // namespace
}  // namespace kestrel
