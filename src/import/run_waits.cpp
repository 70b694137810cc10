#include "import/run_waits.h"

namespace kestrel {

namespace {

// Questions further apart belong to two waits.
constexpr std::chrono::seconds kSameWait{1};
// A wait this long is told where progress texts are not seen.
constexpr std::chrono::seconds kLongWait{2};

}  // namespace

RunWaits::~RunWaits() {
  for (const ConnectionPtr& connection : connections_) connection->WatchWaits(nullptr);
}

void RunWaits::Watch(const ObjectPtr& connection) {
  auto watched = std::dynamic_pointer_cast<Connection>(connection);
  if (watched == nullptr) return;
  watched->WatchWaits(this);
  connections_.push_back(std::move(watched));
}

void RunWaits::Show(std::string_view reason) {
  const auto now = Clock::now();
  if (now - asked_last_ > kSameWait) {
    waiting_since_ = now;
    told_ = false;
  }
  asked_last_ = now;
  view_.SetInfo(reason);
  view_.YieldInWait();
  if (told_ || now - waiting_since_ < kLongWait) return;
  told_ = true;
  view_.Tell(reason);
}

bool RunWaits::KeepWaiting(std::string_view reason) {
  const auto show = [&] {
    if (reason.empty()) {
      view_.YieldInWait();
    } else {
      Show(reason);
    }
  };
  Trap(show, [](const RuntimeError&) {});
  return !abort_requested_;
}

}  // namespace kestrel
