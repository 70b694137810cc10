// The mutex of a connection, and what its holder has another thread do.
#include "kestrel/connection_mutex.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "support/gate.h"
#include "support/scripted_watch.h"

namespace kestrel {
namespace {

using testing::Gate;
using testing::ScriptedWatch;
using testing::WindowWatch;

class ConnectionMutexes : public ::testing::Test {
 protected:
  bool IsFreeForOthers() {
    return std::async(std::launch::async,
                      [this] {
                        if (!mutex.try_lock()) return false;
                        mutex.unlock();
                        return true;
                      })
        .get();
  }

  const std::shared_ptr<Waits> waits = std::make_shared<Waits>();
  ConnectionMutex mutex{waits};
};

TEST_F(ConnectionMutexes, AreFreeWithTheLastUnlock) {
  mutex.lock();
  EXPECT_TRUE(mutex.try_lock());
  mutex.unlock();
  EXPECT_FALSE(IsFreeForOthers());
  mutex.unlock();
  EXPECT_TRUE(IsFreeForOthers());
}

TEST_F(ConnectionMutexes, HaveWorkDoneHereWhereNoWindowWaits) {
  ScriptedWatch watch([](int) { return true; });
  std::thread::id worker;
  const auto work = [&] { worker = std::this_thread::get_id(); };
  mutex.Aside(work);
  EXPECT_EQ(worker, std::this_thread::get_id());
  waits->SetWatch(&watch);
  worker = {};
  mutex.Aside(work);
  EXPECT_EQ(worker, std::this_thread::get_id());
  EXPECT_EQ(watch.times, 0);
  EXPECT_TRUE(IsFreeForOthers());
}

TEST_F(ConnectionMutexes, AreLentToWhoWorksForAWindow) {
  Gate asked;
  WindowWatch watch([&](int times) {
    if (times == 3) asked.Open();
    return true;
  });
  waits->SetWatch(&watch);
  std::thread::id worker;
  const std::lock_guard held(mutex);
  {
    const std::lock_guard held_again(mutex);
    mutex.Aside([&] {
      const std::lock_guard lock(mutex);
      worker = std::this_thread::get_id();
      EXPECT_FALSE(IsFreeForOthers());
      // The window goes on meanwhile, else this would wait for ever.
      asked.Pass();
    });
  }
  EXPECT_NE(worker, std::this_thread::get_id());
  EXPECT_GE(watch.times, 3);
  EXPECT_FALSE(IsFreeForOthers());
}

TEST_F(ConnectionMutexes, AreFreeBehindWorkOfAnother) {
  WindowWatch watch([](int) { return true; });
  waits->SetWatch(&watch);
  mutex.Aside([] {});
  EXPECT_TRUE(IsFreeForOthers());
}

TEST_F(ConnectionMutexes, LetACallOutOfTheWatchWaitForTheWork) {
  Gate asked;
  bool is_done = false;
  bool was_done = false;
  WindowWatch watch([&](int times) {
    if (times > 1) {
      // Asked again by the call that waits.
      asked.Open();
      return true;
    }
    const std::lock_guard call(mutex);
    was_done = is_done;
    mutex.Aside([&] { EXPECT_FALSE(IsFreeForOthers()); });
    return true;
  });
  waits->SetWatch(&watch);
  mutex.Aside([&] {
    asked.Pass();
    is_done = true;
  });
  EXPECT_TRUE(was_done);
  EXPECT_TRUE(IsFreeForOthers());
}

TEST_F(ConnectionMutexes, PassOnWhatTheWorkRaises) {
  WindowWatch watch([](int) { return true; });
  waits->SetWatch(&watch);
  EXPECT_THROW(mutex.Aside([] { throw std::runtime_error("x"); }), std::runtime_error);
  EXPECT_TRUE(IsFreeForOthers());
}

TEST_F(ConnectionMutexes, EndWhatTheWorkWaitsForWhereTheWatchSaysNo) {
  bool goes_on = false;
  WindowWatch watch([&](int) { return goes_on; });
  waits->SetWatch(&watch);
  bool was_stopped = false;
  mutex.Aside([&] {
    const auto start = std::chrono::steady_clock::now();
    while (waits->GoOn(start, std::chrono::minutes(1), "gesperrt")) std::this_thread::yield();
    was_stopped = waits->WasStopped();
  });
  EXPECT_TRUE(was_stopped);
  goes_on = true;
  // The next one is none the worse for it.
  mutex.Aside(
      [&] { EXPECT_TRUE(waits->GoOn(std::chrono::steady_clock::now(), std::chrono::minutes(1), "gesperrt")); });
}

TEST_F(ConnectionMutexes, TellWhatTheWorkWaitsForOnceThatLasts) {
  std::string first = "nothing asked";
  WindowWatch watch([&](int times) {
    if (times == 1) first = watch.last_reason;
    return watch.last_reason.empty();
  });
  waits->SetWatch(&watch);
  mutex.Aside([&] {
    const auto start = std::chrono::steady_clock::now();
    while (waits->GoOn(start, std::chrono::minutes(1), "gesperrt")) std::this_thread::yield();
  });
  EXPECT_EQ(first, "");
  EXPECT_EQ(watch.last_reason, "gesperrt");
}

}  // namespace
}  // namespace kestrel
