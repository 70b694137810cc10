// A member of a write group that notes what becomes of its groups.
#pragma once

#include <string>
#include <vector>

#include "storage/grouped_writes.h"

namespace kestrel::testing {

class NotingMember final : public host::GroupMember {
 public:
  void GroupCommitted() override { ++stood; }
  bool GroupLost(const RuntimeError& reason) override {
    losses.push_back(reason.Description());
    return false;
  }

  int stood = 0;
  std::vector<std::string> losses;
};

}  // namespace kestrel::testing
