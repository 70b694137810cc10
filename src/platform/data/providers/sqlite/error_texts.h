// What SQLite's result codes mean to a person.
#pragma once

#include <string>

namespace kestrel::sqlite {

// A short German sentence for an extended result code, SQLite's own `message` behind it in parentheses; the message
// alone where the code does not tell more than that (a mistake in the SQL).
std::string DescribeResult(int result, const char* message);

// Why it is senseless to go on after that result, and what to do; "" where it is not.
std::string StopReasonOf(int result);

}  // namespace kestrel::sqlite
