#include "wizard/recordset_model.h"

#include <algorithm>
#include <limits>

#include "platform/base/text.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

// More than any cell has room for; laying out what is longer would keep the window from answering.
constexpr std::size_t kShownCharacters = 1000;

}  // namespace

std::string ShownText(std::string_view text) {
  const std::string_view shown = Left(text, kShownCharacters);
  return shown.size() == text.size() ? std::string(text) : std::string(shown) + "…";
}

QString ShownCell(std::string_view text) { return ToQt(ShownText(text)); }

void RecordsetModel::SetRecordset(RecordsetPtr recordset, QStringList captions) {
  beginResetModel();
  recordset_ = std::move(recordset);
  captions_ = std::move(captions);
  endResetModel();
}

int RecordsetModel::rowCount(const QModelIndex& parent) const {
  if (recordset_ == nullptr || parent.isValid()) return 0;
  const std::int64_t rows = std::max<std::int64_t>(0, recordset_->RecordCount());
  return static_cast<int>(std::min<std::int64_t>(rows, std::numeric_limits<int>::max()));
}

int RecordsetModel::columnCount(const QModelIndex& parent) const {
  return recordset_ == nullptr || parent.isValid() ? 0 : static_cast<int>(recordset_->ColumnCount());
}

QVariant RecordsetModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || role != Qt::DisplayRole) return {};
  QVariant shown;
  // A view must not fail while it paints: a row that can no longer be read shows nothing.
  Trap(
      [&] {
        recordset_->GoTo(index.row());
        shown = ShownCell(recordset_->TextAt(static_cast<std::size_t>(index.column())));
      },
      [](const RuntimeError&) {});
  return shown;
}

QVariant RecordsetModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole || recordset_ == nullptr || section < 0) return {};
  if (orientation == Qt::Vertical) return section + 1;
  if (section < captions_.size()) return captions_[section];
  if (section < columnCount()) return ToQt(recordset_->ColumnName(static_cast<std::size_t>(section)));
  return {};
}

}  // namespace kestrel
