// No exception may leave a slot: where a window connects a signal to its own code, it does so by its EventGuard
// (wizard/event_guard.h). A plain connect may only name a slot of Qt's own.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "support/project_paths.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;

std::string Content(const fs::path& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool IsWindow(const fs::path& path) {
  // The common parts of pages call nothing but Qt.
  return path.extension() == ".cpp" && path.stem() != "page_parts";
}

TEST(GuardedEvents, WindowsConnectTheirOwnCodeByTheGuard) {
  const std::regex unguarded(
      "(\\bconnect\\((?![^;]*(&Q\\w+::\\w+|qOverload<>\\(&Q\\w+::\\w+\\))\\);)[^;]*;)"
      "|(addAction\\([^;]*(\\[|, this, &(?!Q))[^;]*;)"
      "|(singleShot\\([^;]*;)");
  int windows = 0;
  for (const char* folder : {"src/wizard", "host/app"}) {
    for (const auto& entry : fs::directory_iterator(fs::path(testing::InSourceTree()) / folder)) {
      if (!IsWindow(entry.path())) continue;
      ++windows;
      const std::string content = Content(entry.path());
      for (std::sregex_iterator found(content.begin(), content.end(), unguarded), end; found != end; ++found) {
        // A menu's action may be made and connected in one line, by the guard.
        const std::size_t line = content.rfind('\n', static_cast<std::size_t>(found->position())) + 1;
        const std::string before = content.substr(line, static_cast<std::size_t>(found->position()) - line);
        if (before.find("guard_.On(") != std::string::npos) continue;
        ADD_FAILURE() << entry.path().filename() << ": " << found->str();
      }
    }
  }
  EXPECT_GT(windows, 20);
}

}  // namespace
}  // namespace kestrel
