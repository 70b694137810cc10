// The field assignment list as step 3's grid shows it: all columns in their order, mandatory fields in bold.
#pragma once

#include <QSortFilterProxyModel>
#include <QStringList>
#include <string>
#include <vector>

#include "kestrel/memory_recordset.h"
#include "mapping/field_assignment.h"
#include "wizard/recordset_model.h"

namespace kestrel {

// The list's current row means something to the page, so looking at other rows never moves it.
class AssignmentListModel final : public RecordsetModel {
  Q_OBJECT
 public:
  explicit AssignmentListModel(QObject* parent) : RecordsetModel(parent) {}

  // `mandatory` holds one flag per record number counted from 1; with `marks` "*" follows the names of those fields.
  // A screen reader tells them in any case, and the names as they stand.
  void SetList(std::shared_ptr<MemoryRecordset> list, QStringList captions, std::vector<bool> mandatory,
               bool marks);
  // A row was stored.
  void RowChanged(int row);

  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

 private:
  bool IsMandatory(int row) const;

  std::shared_ptr<MemoryRecordset> list_;
  std::vector<bool> mandatory_;
  bool marks_ = false;
};

// The columns that step 3's list shows, in their order.
inline constexpr AssignmentColumn kShownColumns[] = {kSourceName, kDspDestinationName, kInfo};

// The list without columns that nobody sees, where they are left out, and without rows that do not fit a search.
class ShownFieldsModel final : public QSortFilterProxyModel {
  Q_OBJECT
 public:
  ShownFieldsModel(bool leaves_out_columns, QObject* parent)
      : QSortFilterProxyModel(parent), leaves_out_columns_(leaves_out_columns) {}

  // Only fields that hold the text in their name, without regard to case and to how umlauts are written. An empty
  // text shows all.
  void Search(const QString& text);

 protected:
  bool filterAcceptsColumn(int column, const QModelIndex& parent) const override;
  bool filterAcceptsRow(int row, const QModelIndex& parent) const override;

 private:
  bool leaves_out_columns_;
  QString searched_;
  std::string folded_;
};

}  // namespace kestrel
