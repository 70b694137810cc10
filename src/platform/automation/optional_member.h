// Members that a component need not have.
#pragma once

#include <optional>

#include "kestrel/object.h"

namespace kestrel {

// None where the object lacks the member, or is none.
inline std::optional<BoundMember> FindOptional(const ObjectPtr& object, const char* name) {
  if (object == nullptr || !object->FindMember(name)) return std::nullopt;
  return BoundMember(object, name);
}

}  // namespace kestrel
