// A table model over a record set: rows are read when a view looks at them, nothing is copied.
#pragma once

#include <QAbstractTableModel>
#include <QStringList>
#include <vector>

#include "kestrel/recordset.h"

namespace kestrel {

// The text as a cell shows it: of a very long one the beginning and "…".
std::string ShownText(std::string_view text);
QString ShownCell(std::string_view text);

class RecordsetModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  explicit RecordsetModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}

  // Shows the record set, which is kept alive. Its bookmarks must be the rows 0 to RecordCount()-1. `captions`
  // name the columns; further columns keep their own names.
  void SetRecordset(RecordsetPtr recordset, QStringList captions);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

 private:
  RecordsetPtr recordset_;
  QStringList captions_;
};

}  // namespace kestrel
