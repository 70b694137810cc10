#include "component/told_stop.h"

#include "platform/automation/optional_member.h"
#include "platform/data/recovery.h"

namespace kestrel {

bool IsToldAsStop(const Session& session) {
  const auto* const connection = dynamic_cast<const Recovery*>(session.HostConnection.get());
  return connection != nullptr && connection->IsGivenUp() && FindOptional(session.ImportClass, "StopReason");
}

}  // namespace kestrel
