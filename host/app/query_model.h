// The rows of one query, as texts, for a table view.
#pragma once

#include <QAbstractTableModel>
#include <QStringList>
#include <vector>

#include "app/address_columns.h"
#include "kestrel/recordset.h"

namespace kestrel::host {

class QueryModel final : public QAbstractTableModel {
  Q_OBJECT
 public:
  explicit QueryModel(std::vector<AddressColumn> columns, QObject* parent)
      : QAbstractTableModel(parent), columns_(std::move(columns)) {}

  // Takes the rows of the record set from its current row on, at most `limit`. The record set has the model's
  // columns, found by their names; 3265 where one is missing. Whether rows were left over.
  bool SetRows(Recordset& recordset, int limit);

  int rowCount(const QModelIndex& parent = {}) const override {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
  }
  int columnCount(const QModelIndex& parent = {}) const override {
    return parent.isValid() ? 0 : static_cast<int>(columns_.size());
  }
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
  // The view's header asks for the order; the page makes a new query of it.
  void sort(int column, Qt::SortOrder order) override { emit SortAsked(column, order); }

 signals:
  void SortAsked(int column, Qt::SortOrder order);

 private:
  std::vector<AddressColumn> columns_;
  std::vector<QStringList> rows_;
};

}  // namespace kestrel::host
