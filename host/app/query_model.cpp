#include "app/query_model.h"

#include "wizard/page_parts.h"

namespace kestrel::host {

namespace {

QVariant AlignmentOf(const AddressColumn& column) {
  const bool is_number = column.kind == ColumnKind::kNumber || column.kind == ColumnKind::kCount;
  return QVariant::fromValue(Qt::AlignVCenter | (is_number ? Qt::AlignRight : Qt::AlignLeft));
}

}  // namespace

bool QueryModel::SetRows(Recordset& recordset, int limit) {
  std::vector<std::size_t> positions;
  for (const AddressColumn& column : columns_) positions.push_back(recordset.RequireColumn(column.name));
  std::vector<QStringList> rows;
  for (int row = 0; row < limit && !recordset.IsEof(); ++row, recordset.MoveNext()) {
    QStringList texts;
    for (std::size_t column = 0; column < columns_.size(); ++column) {
      texts << ShownText(columns_[column], recordset.TextAt(positions[column]));
    }
    rows.push_back(std::move(texts));
  }
  beginResetModel();
  rows_ = std::move(rows);
  endResetModel();
  return !recordset.IsEof();
}

QVariant QueryModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  if (role == Qt::TextAlignmentRole) return AlignmentOf(columns_[static_cast<std::size_t>(index.column())]);
  if (role != Qt::DisplayRole && role != Qt::ToolTipRole) return {};
  const QString& text = rows_[static_cast<std::size_t>(index.row())][index.column()];
  return role == Qt::ToolTipRole ? PlainToolTip(text) : text;
}

QVariant QueryModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= columnCount()) return {};
  const AddressColumn& column = columns_[static_cast<std::size_t>(section)];
  if (role == Qt::DisplayRole) return column.heading;
  if (role == Qt::TextAlignmentRole) return AlignmentOf(column);
  return {};
}

}  // namespace kestrel::host
