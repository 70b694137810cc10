#include "platform/data/providers/access/table_recordset.h"

#include <utility>

#include "formats/access/cell_value.h"

namespace kestrel::access {
namespace {

std::vector<std::string> NamesOf(const TableReader& reader) {
  std::vector<std::string> names;
  for (const Column& column : reader.columns()) names.push_back(column.name);
  return names;
}

}  // namespace

TableRecordset::TableRecordset(TableReader reader, std::string_view table)
    : IndexedRecordset(NamesOf(reader), reader.RowCount()), reader_(std::move(reader)) {
  if (reader_.columns().empty() && !reader_.left_out().empty())
    throw UnreadableColumn(table, reader_.left_out().front());
  if (auto loss = reader_.Loss(table)) EndsEarly(*std::move(loss), reader_.PromisedRows());
}

void TableRecordset::Seek(std::size_t row) const {
  if (row == at_) return;
  at_ = static_cast<std::size_t>(-1);
  reader_.GoTo(row);
  at_ = row;
}

bool TableRecordset::IsNullAt(std::size_t row, std::size_t column) const {
  Seek(row);
  return CanBeNull(reader_.columns()[column]) && !reader_.Cell(column);
}

std::string_view TableRecordset::TextAt(std::size_t row, std::size_t column) const {
  Seek(row);
  return reader_.Text(column);
}

Value TableRecordset::ValueAt(std::size_t column) const {
  if (IsNull(column)) return kNull;
  const ColumnKind kind = reader_.columns()[column].kind;
  const auto cell = reader_.Cell(column);
  if (kind == ColumnKind::kBoolean) return Value(TruthValue(cell));
  if (IsWhole(kind)) return Value(WholeNumber(kind, *cell));
  if (kind == ColumnKind::kSingle || kind == ColumnKind::kDouble) return Value(RealNumber(kind, *cell));
  return Value(Recordset::ValueAt(column));
}

}  // namespace kestrel::access
