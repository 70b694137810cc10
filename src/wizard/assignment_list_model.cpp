#include "wizard/assignment_list_model.h"

#include <QFont>
#include <algorithm>
#include <iterator>

#include "mapping/field_names.h"
#include "wizard/qt_text.h"

namespace kestrel {

void AssignmentListModel::SetList(std::shared_ptr<MemoryRecordset> list, QStringList captions,
                                  std::vector<bool> mandatory, bool marks) {
  list_ = list;
  mandatory_ = std::move(mandatory);
  marks_ = marks;
  SetRecordset(std::move(list), std::move(captions));
}

void AssignmentListModel::RowChanged(int row) {
  emit dataChanged(index(row, 0), index(row, columnCount() - 1));
}

bool AssignmentListModel::IsMandatory(int row) const {
  const auto record_number = static_cast<std::size_t>(row) + 1;
  return record_number < mandatory_.size() && mandatory_[record_number];
}

QVariant AssignmentListModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || list_ == nullptr) return {};
  const bool is_name = index.column() == static_cast<int>(kSourceName);
  if (role == Qt::FontRole && is_name) {
    QFont font;
    font.setBold(IsMandatory(index.row()));
    return font;
  }
  const bool is_told = is_name && IsMandatory(index.row());
  if (role == Qt::AccessibleDescriptionRole && is_told) return QString("Pflichtfeld");
  if (role != Qt::DisplayRole && !(role == Qt::AccessibleTextRole && is_name)) return {};
  const bool at_row = !list_->IsEof();
  const std::int64_t current = at_row ? list_->Bookmark() : 0;
  const QVariant text = RecordsetModel::data(index, Qt::DisplayRole);
  if (at_row) list_->GoTo(current);
  return is_told && marks_ && role == Qt::DisplayRole ? text.toString() + " *" : text;
}

void ShownFieldsModel::Search(const QString& text) {
  searched_ = text;
  folded_ = FoldName(FromQt(text));
  invalidateRowsFilter();
}

bool ShownFieldsModel::filterAcceptsColumn(int column, const QModelIndex&) const {
  return !leaves_out_columns_ ||
         std::any_of(std::begin(kShownColumns), std::end(kShownColumns),
                     [&](AssignmentColumn shown) { return static_cast<int>(shown) == column; });
}

bool ShownFieldsModel::filterAcceptsRow(int row, const QModelIndex& parent) const {
  if (searched_.isEmpty()) return true;
  const QString name = sourceModel()->index(row, kSourceName, parent).data(Qt::AccessibleTextRole).toString();
  if (name.contains(searched_, Qt::CaseInsensitive)) return true;
  return !folded_.empty() && FoldName(FromQt(name)).find(folded_) != std::string::npos;
}

}  // namespace kestrel
