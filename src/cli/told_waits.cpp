#include "cli/told_waits.h"

#include <ostream>
#include <utility>

namespace kestrel::cli {

ToldWaits::ToldWaits(Workspace& workspace, std::function<void()> before)
    : workspace_(workspace),
      connection_(RequireConnection(workspace.session().HostConnection)),
      before_(std::move(before)) {
  connection_.WatchWaits(this);
}

ToldWaits::~ToldWaits() { connection_.WatchWaits(nullptr); }

bool ToldWaits::KeepWaiting(std::string_view reason) {
  if (!reason.empty() && told_.emplace(reason).second) {
    before_();
    workspace_.err() << reason << std::endl;
  }
  return !workspace_.signals().StopRequested();
}

}  // namespace kestrel::cli
