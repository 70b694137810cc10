// Into which tables rows may be copied (Pipeline::Copy) so that they stand there as statements would have inserted them.
#pragma once

#include <string>

#include "kestrel/connection.h"

namespace kestrel::host {

// Of a server: not into views, into tables with rules, which copying passes over, or with row security, which refuses it.
// `table` as it stands in statements. Raises nothing: false where that cannot be told.
bool TakesCopies(Connection& connection, const std::string& table);

}  // namespace kestrel::host
