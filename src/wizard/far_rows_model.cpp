#include "wizard/far_rows_model.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "wizard/qt_text.h"

namespace kestrel {

namespace {

constexpr int kLookMs = 20;
// What was looked at longer ago is read again.
constexpr std::size_t kKeptBlocks = 64;

}  // namespace

FarRowsModel::FarRowsModel(std::shared_ptr<RowReader> reader, QStringList captions, QObject* parent)
    : QAbstractTableModel(parent),
      guard_(this, [](const RuntimeError&) {}),
      reader_(std::move(reader)),
      captions_(std::move(captions)) {
  blocks_.emplace(0, reader_->first());
  guard_.On(&look_, &QTimer::timeout, &FarRowsModel::Look);
}

int FarRowsModel::rowCount(const QModelIndex& parent) const {
  if (parent.isValid()) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(reader_->count(), 0, std::numeric_limits<int>::max()));
}

int FarRowsModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(reader_->columns().size());
}

QVariant FarRowsModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || role != Qt::DisplayRole) return {};
  const auto block = blocks_.find(index.row() / RowReader::kBlock);
  if (block == blocks_.end()) {
    RowReader::Ask(reader_, index.row() / RowReader::kBlock);
    // One that is started anew with every look would never come to its end.
    if (!look_.isActive()) look_.start(kLookMs);
    return QString("…");
  }
  const auto row = static_cast<std::size_t>(index.row() % RowReader::kBlock);
  const auto& rows = block->second.rows;
  return row < rows.size() ? ToQt(rows[row][static_cast<std::size_t>(index.column())]) : QVariant();
}

QVariant FarRowsModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole || section < 0) return {};
  if (orientation == Qt::Vertical) return section + 1;
  if (section < captions_.size()) return captions_[section];
  return section < columnCount() ? ToQt(reader_->columns()[static_cast<std::size_t>(section)]) : QVariant();
}

void FarRowsModel::Look() {
  std::optional<RowReader::Block> block = reader_->Take();
  if (!block) return;
  if (!reader_->IsBusy()) look_.stop();
  if (blocks_.size() >= kKeptBlocks) blocks_.erase(std::next(blocks_.begin()), blocks_.end());
  blocks_.insert_or_assign(block->number, std::move(*block));
  // All rows: what was passed over for this block is asked for again where it is still to be seen.
  emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

}  // namespace kestrel
