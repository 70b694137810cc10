#include "kestrel/attachments.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace kestrel {
namespace {

class Holder {
 public:
  std::recursive_mutex& CallMutex() const { return mutex_; }

 private:
  mutable std::recursive_mutex mutex_;
};

// Sees on its way out whether another thread could work with the connection.
class Leaving final : public Attachment {
 public:
  explicit Leaving(Holder& holder) : holder_(holder) {}
  void Flush() override {
    was_free = std::async(std::launch::async, [this] {
                 const std::unique_lock lock(holder_.CallMutex(), std::try_to_lock);
                 return lock.owns_lock();
               }).get();
  }
  static inline bool was_free = false;

 private:
  Holder& holder_;
};

class Still final : public Attachment {
 public:
  explicit Still(Holder&) {}
};

TEST(Attachments, TheyAreFlushedWithoutTheCallMutexWhenTheConnectionCloses) {
  Holder holder;
  Attachments attachments;
  attachments.Of<Leaving>(holder);
  Leaving::was_free = false;
  attachments.Drop(holder);
  EXPECT_TRUE(Leaving::was_free);
}

TEST(Attachments, AThreadThatAsksForOneWhileTheConnectionClosesGetsOneOfItsOwn) {
  Holder holder;
  Attachments attachments;
  constexpr int kRounds = 200000;
  std::atomic<bool> asked = false;
  std::jthread asking([&] {
    for (int i = 0; i < kRounds; ++i) attachments.Of<Still>(holder);
    asked = true;
  });
  while (!asked) attachments.Drop(holder);
}

}  // namespace
}  // namespace kestrel
