// The statements that insert rows of one table, by the number of rows that they take at once: rows cost a statement
// each, so many share one.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/connection.h"

namespace kestrel::host {

class RowInserts {
 public:
  static constexpr std::size_t kMostRows = 64;
  // What becomes of a row whose key is there already.
  enum class Existing { kFails, kStays };

  // `table`: its name and columns, as "Zeilen (Nr, Kopf)", so many as `columns`. `connection` outlives this object.
  RowInserts(Connection& connection, std::string table, std::size_t columns, Existing existing);

  // The statement for so many rows, 1 to kMostRows; its parameters are those of the first row, then those of the
  // second, and so on. Made at its first use. Error 3000.
  Statement& Of(std::size_t rows);

  // Of so many rows that wait, how many the next statement takes: so there are few statements to make.
  static std::size_t AtOnce(std::size_t waiting);

 private:
  Connection& connection_;
  const std::string table_;
  const std::size_t columns_;
  const Existing existing_;
  std::vector<std::unique_ptr<Statement>> statements_;  // by their rows
};

}  // namespace kestrel::host
