// Assertions about run-time errors.
#pragma once

#include <gmock/gmock.h>

#include <string>

#include "kestrel/runtime_error.h"

namespace kestrel::testing {

// Runs `step` and tells whether it raised that number, with a description that fits.
template <class Step>
::testing::AssertionResult RaisesError(Step&& step, ErrorNumber number,
                                       const ::testing::Matcher<std::string>& description) {
  try {
    step();
  } catch (const RuntimeError& error) {
    if (!error.Is(number)) {
      return ::testing::AssertionFailure() << "error " << error.Number() << ": " << error.Description();
    }
    if (!description.Matches(error.Description())) {
      return ::testing::AssertionFailure() << "description: " << error.Description();
    }
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "no error was raised";
}

}  // namespace kestrel::testing

#define EXPECT_ERROR_TEXT(statement, number, description) \
  EXPECT_TRUE(::kestrel::testing::RaisesError([&] { static_cast<void>(statement); }, number, description))
#define EXPECT_ERROR(statement, number) EXPECT_ERROR_TEXT(statement, number, ::testing::_)
