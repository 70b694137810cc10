#include "wizard/assignment_list_model.h"

#include <QFont>

#include "mapping/field_assignment.h"

namespace kestrel {

void AssignmentListModel::SetList(std::shared_ptr<MemoryRecordset> list, QStringList captions,
                                  std::vector<bool> mandatory) {
  list_ = list;
  mandatory_ = std::move(mandatory);
  SetRecordset(std::move(list), std::move(captions));
}

void AssignmentListModel::RowChanged(int row) {
  emit dataChanged(index(row, 0), index(row, columnCount() - 1));
}

QVariant AssignmentListModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || list_ == nullptr) return {};
  if (role == Qt::FontRole && index.column() == static_cast<int>(kSourceName)) {
    const auto record_number = static_cast<std::size_t>(index.row()) + 1;
    QFont font;
    font.setBold(record_number < mandatory_.size() && mandatory_[record_number]);
    return font;
  }
  if (role != Qt::DisplayRole) return {};
  const bool at_row = !list_->IsEof();
  const std::int64_t current = at_row ? list_->Bookmark() : 0;
  QVariant shown = RecordsetModel::data(index, role);
  if (at_row) list_->GoTo(current);
  return shown;
}

}  // namespace kestrel
