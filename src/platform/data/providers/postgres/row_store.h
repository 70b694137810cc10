// Rows set aside: in memory up to a limit, then in a scratch file without a name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::postgres {

class RowStore {
 public:
  // A null, or the bytes of a value.
  using Cell = std::optional<std::string_view>;
  using Row = std::vector<Cell>;

  // Error 61 and others where the scratch file cannot be written.
  void Append(const Row& row);
  std::int64_t size() const { return rows_; }

  // Before the first row.
  void Rewind();
  // The next of the rows; its cells live until the next call. Error 57 where the scratch file cannot be read.
  const Row& Next();
  bool HasNext() const { return next_ < rows_; }

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::string memory_;                          // the first rows
  std::unique_ptr<std::FILE, CloseFile> file_;  // the others, each behind its length
  std::int64_t rows_ = 0;
  std::int64_t next_ = 0;
  std::size_t memory_at_ = 0;
  std::string bytes_;  // the row at hand, on its way to or from the file
  Row row_;
};

}  // namespace kestrel::postgres
