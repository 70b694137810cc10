// What errors of the server and of libpq mean, in German and with a way out.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::postgres {

// Of a connection that cannot be opened or broke off, by libpq's message, which stands behind it in brackets; the message
// alone where it is none of the common ones.
std::string ExplainConnectionError(const std::string& message);

// The same of a statement, by the error's SQLSTATE.
std::string ExplainStatementError(std::string_view state, const std::string& message);

// Why further statements are bound to fail after that error, with a way out; empty where they are not.
std::string_view StopReasonOf(std::string_view state);

}  // namespace kestrel::postgres
