// A PostgreSQL database of another application, and the real program run on it.
#pragma once

#include <string>

#include "cli/target_fixture.h"
#include "support/postgres_server.h"

namespace kestrel::testing {

class TargetsOnPostgres : public TargetFixture {
 protected:
  TargetsOnPostgres()
      : TargetFixture(PostgresServer::WhyNot().empty()
                          ? PostgresServer::Shared().ConnectionString(PostgresServer::Shared().NewDatabase())
                          : "nirgends.db") {}
  void SetUp() override {
    if (const std::string reason = PostgresServer::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
  }

  // Makes the table a target of the name "ziel", and imports these lines; what the run says as JSON.
  std::string Import(const std::string& table, const std::string& lines, const std::string& assignments,
                     const std::string& settings = {}) {
    const ProgramResult added = Run({"target", "add", "ziel", "--table", table});
    EXPECT_EQ(added.status, 0) << added.err;
    WriteSource(lines);
    WriteSpec("ziel", assignments, settings);
    const ProgramResult tested = Run({"run", "ziel", "--test", "--format", "json"});
    EXPECT_THAT(tested.out, ::testing::HasSubstr("\"test\":true")) << tested.err;
    const ProgramResult run = Run({"run", "ziel", "--format", "json"});
    EXPECT_THAT(run.out, ::testing::HasSubstr("\"test\":false")) << run.err << Run({"log"}).out;
    return run.out;
  }
};

}  // namespace kestrel::testing
