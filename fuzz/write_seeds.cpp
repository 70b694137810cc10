// write_seeds FIXTURES FOLDER: what fuzzers begin with and no file of the tests holds: Access files in
// FOLDER/mdb, and in FOLDER/dbf a table and its memo file of the tests' folder FIXTURES as fuzz_dbf takes them,
// in one.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

#include "platform/base/file.h"
#include "support/access_sample.h"

namespace {

void Write(const std::string& path, const std::string& bytes) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace

int main(int argument_count, char** arguments) {
  using kestrel::testing::JetBuilder;
  using kestrel::testing::OfficeScheme;
  if (argument_count != 3) {
    std::fprintf(stderr, "write_seeds FIXTURES FOLDER\n");
    return 2;
  }
  const std::string fixtures = arguments[1];
  const std::string folder = arguments[2];
  try {
    Write(folder + "/mdb/jet3", kestrel::testing::AccessSample(JetBuilder::Format::kJet3));
    Write(folder + "/mdb/jet4", kestrel::testing::AccessSample(JetBuilder::Format::kJet4));
    Write(folder + "/mdb/agile", kestrel::testing::EncryptedAccessSample(OfficeScheme::kAgile));
    Write(folder + "/mdb/standard", kestrel::testing::EncryptedAccessSample(OfficeScheme::kStandard));
    Write(folder + "/mdb/rc4", kestrel::testing::EncryptedAccessSample(OfficeScheme::kRc4));
    Write(folder + "/dbf/memo", kestrel::ReadWholeFile(fixtures + "/foxpro.dbf") + "MEMO" +
                                    kestrel::ReadWholeFile(fixtures + "/foxpro.fpt"));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
