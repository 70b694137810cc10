// Writes archives for tests, their parts packed as other programs pack them.
#pragma once

#include <cstdint>
#include <string>

namespace kestrel::testing {

class ZipWriter {
 public:
  void Add(const std::string& name, const std::string& content);
  // As Add, with the content as it is.
  void AddStored(const std::string& name, const std::string& content);

  std::string Bytes() const;

 private:
  void AddPart(const std::string& name, const std::string& content, const std::string& packed,
               std::uint64_t method);

  std::string bytes_, directory_;
  std::uint64_t count_ = 0;
};

}  // namespace kestrel::testing
