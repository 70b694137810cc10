// What errors of the server and of libpq mean, in German and with a way out.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::postgres {

// Of a connection that cannot be opened or broke off, by libpq's message as it is. Behind what that means it stands in
// brackets, where it names more, without libpq's advice; alone and in one line where it is none of the common ones.
std::string ExplainConnectionError(const std::string& message);

// The same of a statement, by the error's SQLSTATE.
std::string ExplainStatementError(std::string_view state, const std::string& message);

// Why further statements are bound to fail after that error, with a way out; empty where they are not.
std::string_view StopReasonOf(std::string_view state);

}  // namespace kestrel::postgres
