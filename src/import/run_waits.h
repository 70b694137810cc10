// What a run shows and does while one of its connections waits for somebody else.
#pragma once

#include <chrono>
#include <vector>

#include "import/import_run.h"
#include "kestrel/clock.h"
#include "kestrel/connection.h"

namespace kestrel {

// While it lives, waits show their reason as the progress text and let the message loop run; a noted abort ends
// them.
class RunWaits final : private WaitWatch {
 public:
  // `view` and `abort_requested` outlive this object.
  RunWaits(RunView& view, const bool& abort_requested) : view_(view), abort_requested_(abort_requested) {}
  ~RunWaits() override;

  // Watches a connection; other objects and null are passed over.
  void Watch(const ObjectPtr& connection);

 private:
  using Clock = std::chrono::steady_clock;

  bool KeepWaiting(std::string_view reason) override;
  bool KeepsWindows() const override { return view_.IsWindow(); }
  void Show(std::string_view reason);

  RunView& view_;
  const bool& abort_requested_;
  std::vector<ConnectionPtr> connections_;
  Clock::time_point asked_last_{};
  Clock::time_point waiting_since_{};
  bool told_ = false;  // of this wait
};

}  // namespace kestrel
