#include "support/temp_folder.h"
#include "support/project_paths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace kestrel::testing {

namespace fs = std::filesystem;

TempFolder::TempFolder() {
  std::string pattern = (fs::temp_directory_path() / "kestrel-test-XXXXXX").string();
  const char* made = mkdtemp(pattern.data());
  if (made == nullptr) throw std::runtime_error("no scratch folder at " + pattern);
  path_ = made;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TempFolder::Write(std::string_view name, std::string_view bytes) const {
  const std::string path = File(name);
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(stream.good()) << path;
  return path;
}

std::string ReadBytes(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  EXPECT_TRUE(stream.good()) << path;
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string TestDataFolder() {
  if (const char* named = std::getenv("KESTREL_TESTDATA")) return named;
  const fs::path beside = fs::path(InSourceTree()).parent_path() / "shared" / "testdata";
  return fs::is_directory(beside) ? beside.string() : std::string();
}

}  // namespace kestrel::testing
