#include "component/told_stop.h"

#include <mutex>
#include <string>

#include "kestrel/connection.h"
#include "platform/automation/optional_member.h"
#include "platform/data/recovery.h"

namespace kestrel {

namespace {

// Of the last call of it.
std::string StopReasonOf(const Connection& connection) {
  const std::lock_guard lock(connection.CallMutex());
  return connection.StopReason();
}

}  // namespace

bool IsToldAsStop(const Session& session) {
  auto reason = FindOptional(session.ImportClass, "StopReason");
  if (!reason) return false;
  const auto* const recovery = dynamic_cast<const Recovery*>(session.HostConnection.get());
  if (recovery != nullptr && recovery->IsGivenUp()) return true;
  const auto* const connection = dynamic_cast<const Connection*>(session.HostConnection.get());
  if (connection == nullptr || StopReasonOf(*connection).empty()) return false;
  bool is_told = false;
  Trap([&] { is_told = !reason->Get().ToText().empty(); }, [](const RuntimeError&) {});
  return is_told;
}

}  // namespace kestrel
