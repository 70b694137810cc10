#include "wizard/source_sampling.h"

#include <chrono>
#include <utility>

#include "wizard/apart_threads.h"

namespace kestrel {

namespace {

constexpr int kLookMs = 25;

}  // namespace

SourceSampling::SourceSampling(QObject* parent) : QObject(parent), guard_(this, [](const RuntimeError&) {}) {
  look_.setInterval(kLookMs);
  guard_.On(&look_, &QTimer::timeout, &SourceSampling::Look);
}

void SourceSampling::Start(const Session& session, std::size_t most) {
  std::packaged_task<SourceExcerpt()> task(BeginExcerpt(session, most));
  reading_ = task.get_future();
  ApartThreads::Start(std::move(task));
  look_.start();
}

void SourceSampling::Look() {
  if (reading_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return;
  look_.stop();
  sample_ = reading_.get();
  emit Ready();
}

}  // namespace kestrel
