// The bytes of a cell as a value and as text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "formats/access/table_definition.h"

namespace kestrel::access {

// A cell's text by the rule of value_text.h; a GUID reads as Access shows it, in braces. `cell` is what
// RowCells::Cell gave (a null cell has no text; ask first). The result views `buffer` or the file. Raises 3000
// for a damaged cell.
std::string_view CellText(const JetFile& file, const Column& column, std::string_view cell,
                          std::string& buffer);

// The error for a column that is left out: 3000, naming table, column, reason and a way out.
FormatError UnreadableColumn(std::string_view table, const Column& column);

// A truth value that is stored beside the null marks cannot be null; what looks like it is false.
bool CanBeNull(const Column& column);
bool TruthValue(const std::optional<std::string_view>& cell);
// kByte, kInteger, kLong, kBigInteger.
bool IsWhole(ColumnKind kind);
std::int64_t WholeNumber(ColumnKind kind, std::string_view cell);
// kSingle, kDouble, kDate and kExtendedDate (days since 30.12.1899). A single precision number becomes the
// double of its shortest text, so that 0.1 stays 0.1.
double RealNumber(ColumnKind kind, std::string_view cell);
// kCurrency, kNumeric: digits with a sign and a point.
std::string DecimalDigits(const Column& column, std::string_view cell);

}  // namespace kestrel::access
