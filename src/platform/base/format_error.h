// What is wrong with the content of a foreign file, and where.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "kestrel/runtime_error.h"

namespace kestrel {

// A place in a file, as far as its reader knows it. Everything counts from 0.
struct FilePlace {
  std::string file = {};                     // its path; empty where it was read from memory
  std::optional<std::uint64_t> offset = {};  // of a byte of the file
  std::optional<std::uint64_t> page = {};
  std::optional<std::uint64_t> record = {};  // as stored, deleted ones counted too; in a sheet its row
  std::optional<std::size_t> column = {};    // as the reader numbers its columns; in a sheet its own number
};

// Error 3000 by a reader of foreign files. The description is for a person and holds the place in words; a
// caller that wants to go there finds it in place().
class FormatError : public RuntimeError {
 public:
  explicit FormatError(std::string description, FilePlace place = {})
      : RuntimeError(ErrorNumber::kDatabase, std::move(description)), place_(std::move(place)) {}

  const FilePlace& place() const noexcept { return place_; }

 private:
  FilePlace place_;
};

}  // namespace kestrel
