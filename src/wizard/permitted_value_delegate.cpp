#include "wizard/permitted_value_delegate.h"

#include <QComboBox>
#include <QLineEdit>

#include "mapping/translation_edits.h"
#include "wizard/qt_text.h"

namespace kestrel {

PermittedValueDelegate::PermittedValueDelegate(std::vector<PermittedValue> values, QObject* parent)
    : QStyledItemDelegate(parent), values_(std::move(values)) {
  // Of equal values the first one counts.
  for (const PermittedValue& permitted : values_) {
    const QString value = ToQt(permitted.value);
    if (!displays_.contains(value)) displays_.insert(value, ToQt(permitted.display));
  }
}

QString PermittedValueDelegate::displayText(const QVariant& value, const QLocale&) const {
  return Display(value.toString());
}

QWidget* PermittedValueDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                              const QModelIndex& index) const {
  if (values_.empty()) {
    QWidget* editor = QStyledItemDelegate::createEditor(parent, option, index);
    if (auto* line = qobject_cast<QLineEdit*>(editor)) line->setMaxLength(kMaxTranslationLength);
    return editor;
  }
  auto* box = new QComboBox(parent);
  box->setAccessibleName("Übersetzung");
  box->addItem("", "");
  for (const PermittedValue& permitted : values_) box->addItem(ToQt(permitted.display), ToQt(permitted.value));
  return box;
}

void PermittedValueDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
  auto* box = qobject_cast<QComboBox*>(editor);
  if (box == nullptr) {
    QStyledItemDelegate::setEditorData(editor, index);
    return;
  }
  const QString value = index.data(Qt::EditRole).toString();
  // A value stored earlier that is permitted no longer stays until another is chosen.
  if (box->findData(value) < 0) box->addItem(value, value);
  box->setCurrentIndex(box->findData(value));
}

void PermittedValueDelegate::setModelData(QWidget* editor, QAbstractItemModel* model,
                                          const QModelIndex& index) const {
  if (const auto* box = qobject_cast<QComboBox*>(editor)) {
    model->setData(index, box->currentData(), Qt::EditRole);
  } else {
    QStyledItemDelegate::setModelData(editor, model, index);
  }
}

}  // namespace kestrel
