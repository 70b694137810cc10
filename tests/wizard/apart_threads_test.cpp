// Threads of windows that have gone, at the end of the application.
#include "wizard/apart_threads.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <atomic>
#include <memory>

#include "support/eventually.h"
#include "support/gate.h"

namespace kestrel {
namespace {

TEST(ApartThreads, AreWaitedForWhereTheyEndSoon) {
  for (int i = 0; i < 50; ++i) {
    std::atomic<int> ended = 0;
    testing::Gate gate;
    std::jthread opener;
    {
      ApartThreads threads(nullptr);
      for (int thread = 0; thread < 4; ++thread) {
        threads.Run(std::packaged_task<void()>([&] {
          gate.Pass();
          ++ended;
        }));
      }
      opener = std::jthread([&] { gate.Open(); });
    }
    ASSERT_EQ(ended, 4);
  }
}

TEST(ApartThreads, AreLeftToThemselvesWhereADriverKeepsThem) {
  const auto gate = std::make_shared<testing::Gate>();
  const auto has_ended = std::make_shared<std::atomic<bool>>(false);
  {
    ApartThreads threads(nullptr);
    threads.Run(std::packaged_task<void()>([gate, has_ended] {
      gate->Pass();
      *has_ended = true;
    }));
  }
  EXPECT_FALSE(*has_ended);
  gate->Open();
  EXPECT_TRUE(testing::Eventually([&] { return has_ended->load(); }));
}

TEST(ApartThreads, AreTheApplicationsAndGoWithTheirEnd) {
  std::atomic<int> ended = 0;
  for (int i = 0; i < 20; ++i) ApartThreads::Start([&] { ++ended; });
  EXPECT_TRUE(testing::Eventually([&] { return ended == 20; }));
  EXPECT_EQ(QCoreApplication::instance()->findChildren<ApartThreads*>().size(), 1);
}

}  // namespace
}  // namespace kestrel
