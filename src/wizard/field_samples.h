// For the field that is edited on step 3: a few values of its column, and what would be stored for each.
#pragma once

#include <QAbstractTableModel>
#include <QTableView>
#include <vector>

#include "import/record_preview.h"

namespace kestrel {

class FieldSamplesModel final : public QAbstractTableModel {
  Q_OBJECT
 public:
  using QAbstractTableModel::QAbstractTableModel;

  void Show(std::vector<PreviewedField> values);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  std::vector<PreviewedField> values_;
};

class FieldSamples final : public QTableView {
  Q_OBJECT
 public:
  static constexpr int kLines = 3;

  explicit FieldSamples(QWidget* parent);
  void Show(std::vector<PreviewedField> values) { model_.Show(std::move(values)); }

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return {0, sizeHint().height()}; }

 private:
  FieldSamplesModel model_;
};

}  // namespace kestrel
