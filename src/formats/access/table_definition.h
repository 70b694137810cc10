// A table's columns and the rows it holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/access/jet_file.h"

namespace kestrel::access {

// The type codes of the format.
enum class ColumnKind : std::uint8_t {
  kBoolean = 1,
  kByte = 2,
  kInteger = 3,
  kLong = 4,
  kCurrency = 5,
  kSingle = 6,
  kDouble = 7,
  kDate = 8,
  kBinary = 9,
  kText = 10,
  kOle = 11,
  kMemo = 12,
  kGuid = 15,
  kNumeric = 16,
  kComplex = 18,       // attachments and fields of several values: a number that leads to another table
  kBigInteger = 19,    // Access 2016
  kExtendedDate = 20,  // Access 2019
};

struct Column {
  std::string name;
  ColumnKind kind = ColumnKind::kText;
  std::uint16_t number = 0;        // its bit in the null mask
  std::uint16_t var_index = 0;     // its place among the columns of variable length
  std::uint16_t fixed_offset = 0;  // its place among the columns of fixed length
  std::uint16_t length = 0;        // bytes; 0 for long values
  bool fixed = false;
  bool calculated = false;  // its values are wrapped, and of the kind that the expression gave
  std::uint8_t scale = 0;   // kNumeric: digits behind the point
};

// Why a column cannot be read, as the end of a sentence; none for one that can be.
std::optional<std::string> WhyUnreadable(const Column& column);

struct TableDefinition {
  std::vector<Column> columns;   // as Access shows them; deleted columns are gone
  std::vector<Column> left_out;  // those that cannot be read
  std::uint16_t variable_columns = 0;
  std::uint32_t usage_map = 0;  // RowPointer of the map of the pages the table owns
  std::uint32_t row_count = 0;  // how many rows there are, as the file tells
};

// Where a table's parts are found.
struct TablePlace {
  std::uint32_t page = 0;  // the first of its definition
  std::string properties;  // the head of the long value that tells more of its columns; empty for none
};

// Raises 3000 where the definition contradicts itself.
TableDefinition ReadTableDefinition(const JetFile& file, const TablePlace& place);

struct StoredRows {
  std::vector<RowPointer> pointers;
  std::optional<std::uint64_t> missing_page;  // the last of the table's pages that the file does not have
};
// The rows that are not deleted, in the order they are stored in. Raises 3000 for a damaged map. Where the map
// itself was cut off, all pages of the file are asked whose they are.
StoredRows ListRows(const JetFile& file, const TableDefinition& table, std::uint32_t definition);

// One stored row, its columns found.
class RowCells {
 public:
  RowCells() = default;
  // Raises 3000 for a row that contradicts itself. `bytes` must outlive this.
  RowCells(const JetFile& file, const TableDefinition& table, std::string_view bytes);

  // The cell's bytes, or none where it is null. For kBoolean the bytes are empty and mean true, none means
  // false; a calculated one has a byte. A long value gives its head, which LongValue follows. Raises 3000 for a
  // damaged cell.
  std::optional<std::string_view> Cell(const Column& column) const;

 private:
  std::size_t VariableStart(std::size_t index) const;

  RawBytes bytes_;
  std::size_t columns_ = 0;    // how many columns the table had when the row was written
  std::size_t null_mask_ = 0;  // offsets within the row
  std::size_t variable_columns_ = 0;
  std::size_t variable_table_ = 0;  // of the first entry; the others stand before it
  std::size_t jumps_ = 0;           // Jet 3: entries of the jump table, which ends before null_mask_ - 1
  bool jet3_ = false;
};

// The content of a memo or OLE cell; `content` is used where it lies on several pages. Raises 3000 where
// it is not whole.
std::string_view LongValue(const JetFile& file, std::string_view head, std::string& content);
// The value within what a calculated column stores.
std::string_view UnwrapCalculated(std::string_view wrapped);

}  // namespace kestrel::access
