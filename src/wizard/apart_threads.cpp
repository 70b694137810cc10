#include "wizard/apart_threads.h"

#include <QCoreApplication>
#include <memory>

namespace kestrel {

ApartThreads& ApartThreads::OfApplication() {
  QCoreApplication* const application = QCoreApplication::instance();
  auto* threads = application->findChild<ApartThreads*>(QString(), Qt::FindDirectChildrenOnly);
  // The application owns it.
  if (threads == nullptr) threads = std::make_unique<ApartThreads>(application).release();
  return *threads;
}

void ApartThreads::Run(std::packaged_task<void()> work) {
  std::erase_if(kept_, [](Kept& kept) {
    if (kept.end.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return false;
    kept.thread.join();
    return true;
  });
  std::future<void> end = work.get_future();
  kept_.push_back({std::thread(std::move(work)), std::move(end)});
}

ApartThreads::~ApartThreads() {
  const auto deadline = std::chrono::steady_clock::now() + kLongestEnd;
  for (Kept& kept : kept_) {
    if (kept.end.wait_until(deadline) == std::future_status::ready) {
      kept.thread.join();
    } else {
      kept.thread.detach();
    }
  }
}

}  // namespace kestrel
