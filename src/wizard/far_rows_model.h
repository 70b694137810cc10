// A table model over rows that a thread reads (row_reader.h): what is not there yet is shown as "…".
#pragma once

#include <QAbstractTableModel>
#include <QStringList>
#include <QTimer>
#include <map>
#include <memory>

#include "wizard/event_guard.h"
#include "wizard/row_reader.h"

namespace kestrel {

class FarRowsModel final : public QAbstractTableModel {
  Q_OBJECT
 public:
  // `captions` name the columns; further columns keep their own names.
  FarRowsModel(std::shared_ptr<RowReader> reader, QStringList captions, QObject* parent);
  ~FarRowsModel() override { reader_->Drop(); }

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

 private:
  void Look();

  EventGuard guard_;
  std::shared_ptr<RowReader> reader_;
  QStringList captions_;
  std::map<std::int64_t, RowReader::Block> blocks_;
  mutable QTimer look_;  // while a block is awaited
};

}  // namespace kestrel
