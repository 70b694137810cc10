// The cells of one column for a block of rows, as ODBC writes them, and their texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/value.h"
#include "platform/data/providers/odbc/link.h"

namespace kestrel::odbc {

class ColumnBuffer {
 public:
  // Asks the statement what column `number` (from 1) is. Error 3000.
  ColumnBuffer(const ActiveStatement& statement, std::uint16_t number);

  const std::string& Name() const { return name_; }
  // Whether the value's greatest length is unknown or too great for a block: read cell by cell.
  bool IsLong() const { return long_; }
  // From now on read cell by cell, as a value turned out to be longer than the driver had said.
  void MakeLong() { long_ = true; }
  // Bytes a bound cell takes.
  std::size_t CellSize() const { return cell_size_; }

  // Makes room for `rows` cells and binds them.
  void Bind(ActiveStatement& statement, std::size_t rows);
  // Reads the cell of the current row (a long column's).
  void Read(ActiveStatement& statement);
  // Bytes that are taken; gives those of a large cell back.
  std::size_t Room() const { return cells_.size(); }
  void ForgetLargeCell();

  // Whether one of the first `rows` cells did not fit.
  bool WasCut(std::size_t rows) const;
  bool IsNull(std::size_t row) const;
  // The view lives until the next call for this column or the next fetch.
  std::string_view TextAt(std::size_t row) const;
  Value ValueAt(std::size_t row) const;

 private:
  enum class Kind { kText, kWideText, kInteger, kDouble, kFloat, kDecimal, kTruth, kMoment, kTime, kBytes };

  void Classify(std::int16_t sql_type, std::size_t size, bool narrow_utf8, const std::string& type_name);
  std::int16_t TransferType() const;
  // Bytes that end a cell beyond its value.
  std::size_t TerminatorSize() const;
  const char* Cell(std::size_t row) const { return cells_.data() + row * cell_size_; }
  std::string_view Bytes(std::size_t row) const;
  template <class Plain>
  Plain Read(std::size_t row) const;

  std::uint16_t number_;
  std::string name_;
  Kind kind_ = Kind::kText;
  bool long_ = false;
  std::size_t cell_size_ = 0;
  std::vector<char> cells_;
  // Lengths in bytes, or the mark of a null; SQLLEN is a 64-bit number.
  std::vector<std::int64_t> lengths_;
  mutable std::string text_;
};

}  // namespace kestrel::odbc
