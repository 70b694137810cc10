// Reading settings for every record of a loop.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "platform/profile/profile.h"
#include "support/temp_folder.h"

namespace kestrel::testing {
namespace {

class OncePerTickTest : public ::testing::Test {
 protected:
  std::string Value() { return std::string(store.Read(path)->Find("S", "k").value_or("missing")); }

  TempFolder folder;
  std::string path = folder.Write("a.ini", "[S]\r\nk=1\r\n");
  ProfileStore store;
};

TEST_F(OncePerTickTest, AForeignChangeIsSeenAfterATick) {
  const ProfileStore::OncePerTick once_per_tick(store);
  EXPECT_EQ(Value(), "1");
  folder.Write("a.ini", "[S]\r\nk=2\r\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(25));
  EXPECT_EQ(Value(), "2");
}

TEST_F(OncePerTickTest, AnOwnChangeIsSeenAtOnce) {
  const ProfileStore::OncePerTick once_per_tick(store);
  for (int i = 0; i < 50; ++i) {
    ASSERT_TRUE(store.Write(path, "S", "k", std::to_string(i)));
    ASSERT_EQ(Value(), std::to_string(i));
  }
}

TEST_F(OncePerTickTest, ARemovedFileReadsEmptyAfterATick) {
  const ProfileStore::OncePerTick once_per_tick(store);
  EXPECT_EQ(Value(), "1");
  std::remove(path.c_str());
  std::this_thread::sleep_for(std::chrono::milliseconds(25));
  EXPECT_EQ(Value(), "missing");
}

TEST_F(OncePerTickTest, BehindItEveryChangeIsSeenAtOnceAgain) {
  {
    const ProfileStore::OncePerTick once_per_tick(store);
    EXPECT_EQ(Value(), "1");
  }
  for (int i = 0; i < 50; ++i) {
    folder.Write("a.ini", "[S]\r\nk=" + std::to_string(i % 10) + "\r\n");
    ASSERT_EQ(Value(), std::to_string(i % 10));
  }
}

}  // namespace
}  // namespace kestrel::testing
