#include "platform/data/providers/odbc/column_buffer.h"

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <array>
#include <charconv>
#include <cstring>

#include "kestrel/date.h"
#include "kestrel/runtime_error.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/base/value_text.h"
#include "platform/data/providers/odbc/utf16.h"

namespace kestrel::odbc {

namespace {

static_assert(sizeof(SQLLEN) == sizeof(std::int64_t));

// Types of SQL Server that ODBC's own list lacks.
constexpr SQLSMALLINT kServerTime = -154;
// Characters of a text that is still bound; nvarchar and varchar without MAX stay below.
constexpr std::size_t kLongestBoundText = 8000;
constexpr std::size_t kMostBytesACharacter = 4;
// A decimal of 38 digits with sign, point, leading zero and end.
constexpr std::size_t kDecimalCell = 48;
// Identifiers, times and other short things of fixed length.
constexpr std::size_t kTimeCell = 32;
constexpr std::size_t kFirstPiece = 4096;

}  // namespace

ColumnBuffer::ColumnBuffer(const ActiveStatement& statement, std::uint16_t number) : number_(number) {
  std::array<SQLWCHAR, 512> name{};
  SQLSMALLINT name_length = 0, type = 0, digits = 0, nullable = 0;
  SQLULEN size = 0;
  statement.Check(SQLDescribeColW(statement.handle(), number, name.data(),
                                  static_cast<SQLSMALLINT>(name.size()), &name_length, &type, &size, &digits,
                                  &nullable));
  AppendFromUtf16(name_, reinterpret_cast<const char16_t*>(name.data()));
  std::array<SQLCHAR, 128> type_name{};
  SQLSMALLINT type_length = 0;
  SQLColAttribute(statement.handle(), number, SQL_DESC_TYPE_NAME, type_name.data(),
                  static_cast<SQLSMALLINT>(type_name.size()), &type_length, nullptr);
  Classify(type, size, statement.link().target().narrow_utf8, reinterpret_cast<const char*>(type_name.data()));
}

void ColumnBuffer::Classify(std::int16_t sql_type, std::size_t size, bool narrow_utf8,
                            const std::string& type_name) {
  switch (sql_type) {
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT: kind_ = Kind::kInteger, cell_size_ = sizeof(std::int64_t); return;
    case SQL_REAL: kind_ = Kind::kFloat, cell_size_ = sizeof(float); return;
    case SQL_FLOAT:
    case SQL_DOUBLE: kind_ = Kind::kDouble, cell_size_ = sizeof(double); return;
    case SQL_DECIMAL:
    case SQL_NUMERIC: kind_ = Kind::kDecimal, cell_size_ = kDecimalCell; return;
    case SQL_BIT: kind_ = Kind::kTruth, cell_size_ = 1; return;
    case SQL_DATETIME:
    case SQL_TIMESTAMP:
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIMESTAMP: kind_ = Kind::kMoment, cell_size_ = sizeof(SQL_TIMESTAMP_STRUCT); return;
    case SQL_TYPE_TIME:
    case SQL_TIME:
    case kServerTime: kind_ = Kind::kTime, cell_size_ = kTimeCell; return;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
      kind_ = Kind::kBytes;
      cell_size_ = size;
      long_ = size == 0 || size > kLongestBoundText || sql_type == SQL_LONGVARBINARY;
      return;
    default: break;
  }
  // A driver may hand out truth values as texts "0" and "1".
  if (EqualsIgnoringCase(type_name, "bool")) {
    kind_ = Kind::kTruth;
    cell_size_ = 1;
    return;
  }
  kind_ = narrow_utf8 ? Kind::kText : Kind::kWideText;
  long_ = size == 0 || size > kLongestBoundText || sql_type == SQL_LONGVARCHAR || sql_type == SQL_WLONGVARCHAR;
  // Both encodings take at most four bytes a character.
  cell_size_ = size * kMostBytesACharacter + TerminatorSize();
}

std::int16_t ColumnBuffer::TransferType() const {
  switch (kind_) {
    case Kind::kWideText: return SQL_C_WCHAR;
    case Kind::kInteger: return SQL_C_SBIGINT;
    case Kind::kDouble: return SQL_C_DOUBLE;
    case Kind::kFloat: return SQL_C_FLOAT;
    case Kind::kTruth: return SQL_C_BIT;
    case Kind::kMoment: return SQL_C_TYPE_TIMESTAMP;
    case Kind::kBytes: return SQL_C_BINARY;
    default: return SQL_C_CHAR;
  }
}

std::size_t ColumnBuffer::TerminatorSize() const {
  switch (kind_) {
    case Kind::kWideText: return sizeof(SQLWCHAR);
    case Kind::kText:
    case Kind::kDecimal:
    case Kind::kTime: return 1;
    default: return 0;
  }
}

void ColumnBuffer::Bind(ActiveStatement& statement, std::size_t rows) {
  cells_.resize(rows * cell_size_);
  lengths_.assign(rows, SQL_NULL_DATA);
  statement.Check(SQLBindCol(statement.handle(), number_, TransferType(), cells_.data(),
                             static_cast<SQLLEN>(cell_size_), reinterpret_cast<SQLLEN*>(lengths_.data())));
}

void ColumnBuffer::Read(ActiveStatement& statement) {
  if (cells_.size() < kFirstPiece) cells_.resize(kFirstPiece);
  lengths_.assign(1, SQL_NULL_DATA);
  const std::size_t end = TerminatorSize();
  std::size_t filled = 0;
  while (true) {
    SQLLEN length = 0;
    const std::size_t room = cells_.size() - filled;
    const SQLRETURN result = SQLGetData(statement.handle(), number_, TransferType(), cells_.data() + filled,
                                        static_cast<SQLLEN>(room), &length);
    if (result == SQL_NO_DATA) break;
    statement.Check(result);
    if (length == SQL_NULL_DATA) return;
    if (length != SQL_NO_TOTAL && static_cast<std::size_t>(length) + end <= room) {
      filled += static_cast<std::size_t>(length);
      break;
    }
    filled += room - end;
    cells_.resize(cells_.size() * 2);
  }
  lengths_[0] = static_cast<std::int64_t>(filled);
}

void ColumnBuffer::ForgetLargeCell() {
  constexpr std::size_t kLarge = 65536;
  if (cells_.size() > kLarge) cells_ = std::vector<char>(kFirstPiece);
}

bool ColumnBuffer::WasCut(std::size_t rows) const {
  if (long_) return false;
  switch (kind_) {
    case Kind::kText:
    case Kind::kWideText:
    case Kind::kDecimal:
    case Kind::kBytes: break;
    default: return false;
  }
  const std::size_t room = cell_size_ - TerminatorSize();
  for (std::size_t row = 0; row < rows; ++row) {
    const std::int64_t length = lengths_[row];
    if (length == SQL_NO_TOTAL || (length > 0 && static_cast<std::size_t>(length) > room)) return true;
  }
  return false;
}

bool ColumnBuffer::IsNull(std::size_t row) const { return lengths_[row] == SQL_NULL_DATA; }

std::string_view ColumnBuffer::Bytes(std::size_t row) const {
  return {Cell(row), static_cast<std::size_t>(lengths_[row])};
}

template <class Plain>
Plain ColumnBuffer::Read(std::size_t row) const {
  Plain value;
  std::memcpy(&value, Cell(row), sizeof(value));
  return value;
}

std::string_view ColumnBuffer::TextAt(std::size_t row) const {
  if (IsNull(row)) return {};
  std::array<char, 32> digits{};
  switch (kind_) {
    case Kind::kText: return Bytes(row);
    case Kind::kWideText: {
      text_.clear();
      const std::string_view bytes = Bytes(row);
      AppendFromUtf16(text_,
                      {reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / sizeof(char16_t)});
      return text_;
    }
    case Kind::kInteger: {
      const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), Read<std::int64_t>(row));
      text_.assign(digits.data(), end.ptr);
      return text_;
    }
    case Kind::kDouble: text_ = FormatNumber(Read<double>(row)); return text_;
    case Kind::kFloat: {
      // The shortest text of the narrow number; read as a wide one it keeps exactly these digits.
      const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), Read<float>(row));
      double wide = 0;
      std::from_chars(digits.data(), end.ptr, wide);
      text_ = FormatNumber(wide);
      return text_;
    }
    case Kind::kDecimal: text_ = DecimalText(Bytes(row)); return text_;
    case Kind::kTruth: text_ = BoolText(*Cell(row) != 0); return text_;
    case Kind::kMoment: {
      const auto moment = Read<SQL_TIMESTAMP_STRUCT>(row);
      text_ =
          FormatDateTime({{moment.year, moment.month, moment.day}, moment.hour, moment.minute, moment.second});
      return text_;
    }
    // Without a fraction of a second.
    case Kind::kTime: return Bytes(row).substr(0, std::string_view("HH:MM:SS").size());
    case Kind::kBytes: text_ = BytesText(Bytes(row)); return text_;
  }
  return {};
}

Value ColumnBuffer::ValueAt(std::size_t row) const {
  if (IsNull(row)) return kNull;
  switch (kind_) {
    case Kind::kInteger: return Value(Read<std::int64_t>(row));
    case Kind::kDouble: return Value(Read<double>(row));
    case Kind::kTruth: return Value(*Cell(row) != 0);
    default: return Value(TextAt(row));
  }
}

}  // namespace kestrel::odbc
