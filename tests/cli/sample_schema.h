// The tables of a program that nobody here wrote, as scripts/sample_schema fetches them.
#pragma once

#include <string>
#include <string_view>

#include "platform/base/file.h"
#include "support/project_paths.h"

namespace kestrel::testing {

inline std::string SampleSchema(const std::string& database) {
  return InBuildTree("sample_schema/schema." + database);
}
inline bool IsSampleSchemaThere() {
  return FileExists(SampleSchema("Pg")) && FileExists(SampleSchema("SQLite"));
}
inline constexpr const char* kNoSampleSchema =
    "scripts/sample_schema has not fetched the sample schema into the build folder";

// The statement that makes a table, without its semicolon; empty where there is none.
inline std::string StatementOf(const std::string& database, std::string_view table) {
  const std::string schema = ReadWholeFile(SampleSchema(database));
  const std::size_t start = schema.find("CREATE TABLE " + std::string(table) + " (");
  return start == std::string::npos ? std::string() : schema.substr(start, schema.find(';', start) - start);
}

}  // namespace kestrel::testing
