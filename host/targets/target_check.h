// Whether a destination still fits the table that it was made of.
#pragma once

#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "targets/target_store.h"

namespace kestrel::host {

// What keeps imports from it, or would make them fail, each with a way out; the rights that are missing, too. None where
// all is well. Stores nothing. Error 5 where there is no such destination.
std::vector<TargetRemark> CheckTarget(Connection& connection, std::string_view name);

}  // namespace kestrel::host
