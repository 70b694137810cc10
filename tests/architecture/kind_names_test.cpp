// A kind of source is a row: only the rows know the kinds by their names, and nobody compares a Provider.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "support/project_paths.h"
#include "support/source_kind_names.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;

TEST(KindNames, StandInTheRowsOnly) {
  const fs::path root(testing::InSourceTree());
  const std::regex comparison(R"(\bProvider\s*[!=]=|[!=]=\s*(\w+(\.|->))?Provider\b)");
  std::size_t files = 0;
  std::size_t in_rows = 0;
  for (const char* folder : {"include", "src", "host", "examples"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
      const std::string extension = entry.path().extension().string();
      if (extension != ".h" && extension != ".cpp") continue;
      ++files;
      std::ifstream stream(entry.path());
      const std::string content{std::istreambuf_iterator<char>(stream), {}};
      const bool is_rows = entry.path().filename() == "source_kind.cpp";
      for (const char* name : {kTextSource, kSqlServerSource, kAccessSource, kExcelSource, kDBaseSource}) {
        const bool found = content.find('"' + std::string(name) + '"') != std::string::npos;
        if (is_rows) {
          in_rows += found ? 1 : 0;
        } else {
          EXPECT_FALSE(found) << entry.path() << " knows the kind " << name;
        }
      }
      EXPECT_FALSE(std::regex_search(content, comparison)) << entry.path() << " compares a Provider";
    }
  }
  EXPECT_EQ(in_rows, 5u);
  EXPECT_GT(files, 200u);
}

}  // namespace
}  // namespace kestrel
