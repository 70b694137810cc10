#include "platform/data/providers/dbase/dbase_recordset.h"

#include <utility>

namespace kestrel::dbase {

RecordsetPtr DbaseRecordset::Open(Table table) {
  const std::shared_ptr<DbaseRecordset> rows(new DbaseRecordset(std::move(table)));
  rows->MoveFirst();
  return rows;
}

DbaseRecordset::DbaseRecordset(Table table)
    : IndexedRecordset(table.ColumnNames(), table.RowCount()), table_(std::move(table)) {
  if (auto loss = table_.Loss()) EndsEarly(*std::move(loss), table_.PromisedRows());
}

void DbaseRecordset::MoveFirst() {
  IndexedRecordset::MoveFirst();
  Fetch();
}

void DbaseRecordset::MoveNext() {
  IndexedRecordset::MoveNext();
  Fetch();
}

void DbaseRecordset::GoTo(std::int64_t bookmark) {
  IndexedRecordset::GoTo(bookmark);
  Fetch();
}

void DbaseRecordset::Fetch() {
  if (IsEof()) return;
  Trap([this] { table_.GoTo(row()); }, [this](const RuntimeError& error) { EndHere(error); });
}

}  // namespace kestrel::dbase
