// A scratch folder that is removed with everything in it at the end of a test.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::testing {

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string File(std::string_view name) const { return path_ + "/" + std::string(name); }
  // Writes the bytes as they stand; returns the full path.
  std::string Write(std::string_view name, std::string_view bytes) const;

 private:
  std::string path_;
};

// The bytes of a file; a test failure and "" where it cannot be read.
std::string ReadBytes(const std::string& path);

// The folder of public test files, or "" where it is absent: such tests skip, saying so. Taken from
// KESTREL_TESTDATA, else looked for beside the checkout as shared/testdata.
std::string TestDataFolder();

}  // namespace kestrel::testing
