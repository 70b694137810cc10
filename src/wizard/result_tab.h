// Step 3's tab "Ergebnis": the first records as a run would store them, and where something is wrong with a value.
#pragma once

#include <QAbstractTableModel>
#include <QLabel>
#include <QStringList>
#include <QTableView>
#include <QWidget>
#include <vector>

#include "import/record_preview.h"
#include "kestrel/memory_recordset.h"

namespace kestrel {

class ResultModel final : public QAbstractTableModel {
  Q_OBJECT
 public:
  using QAbstractTableModel::QAbstractTableModel;

  // `fields`: the names of those shown, one for each field of a record.
  void Show(QStringList fields, std::vector<PreviewedRecord> records);
  const PreviewedField& At(const QModelIndex& index) const;
  // The first field that is not fine; not valid where all are.
  QModelIndex FirstMarked() const;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  QStringList fields_;
  std::vector<PreviewedRecord> records_;
};

class ResultTab final : public QWidget {
  Q_OBJECT
 public:
  explicit ResultTab(QWidget* parent);

  // The records that `list` makes of the sample: its fields that are assigned, and those that have to be. The list
  // belongs to the call. Raises nothing but 7.
  void Show(const Session& session, const std::shared_ptr<MemoryRecordset>& list, const SourceExcerpt& sample);
  // Instead of records.
  void ShowText(const QString& text);

 private:
  void TellCurrent();

  ResultModel model_;
  QTableView* lstErgebnis_;
  QLabel* lblErgebnis_;
  QLabel* lblGrund_;
};

}  // namespace kestrel
