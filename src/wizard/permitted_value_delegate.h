// Edits a cell that may hold one of a field's permitted values: shows their display texts, keeps the values.
#pragma once

#include <QHash>
#include <QStyledItemDelegate>
#include <vector>

#include "mapping/translation.h"

namespace kestrel {

// Without permitted values a cell is edited as text of at most 255 characters.
class PermittedValueDelegate final : public QStyledItemDelegate {
  Q_OBJECT
 public:
  PermittedValueDelegate(std::vector<PermittedValue> values, QObject* parent);

  // What a value is called: itself where it is none of the permitted ones.
  QString Display(const QString& value) const { return displays_.value(value, value); }

  QString displayText(const QVariant& value, const QLocale& locale) const override;
  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                        const QModelIndex& index) const override;
  void setEditorData(QWidget* editor, const QModelIndex& index) const override;
  void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;

 private:
  std::vector<PermittedValue> values_;
  QHash<QString, QString> displays_;  // of the values
};

}  // namespace kestrel
