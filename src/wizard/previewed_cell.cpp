#include "wizard/previewed_cell.h"

#include <QApplication>
#include <QIcon>
#include <QStyle>

#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/recordset_model.h"

namespace kestrel {

namespace {

using State = PreviewedField::State;

QString Spoken(const PreviewedField& field) {
  QString stored = field.text.empty() ? QString("leer") : ShownCell(field.shown);
  if (field.state == State::kFine) return stored;
  return (field.state == State::kRefused ? "Fehler: " : "Hinweis: ") + ToQt(field.reason) + " " + stored;
}

}  // namespace

QString ExplainedCell(const PreviewedField& field) {
  if (field.state == State::kFine) return {};
  QString text = ToQt(field.reason);
  if (!field.raw.empty()) text += " Wert der Quelle: " + ShownCell(field.raw);
  return text;
}

QVariant PreviewedCell(const PreviewedField& field, int role) {
  const bool is_fine = field.state == State::kFine;
  switch (role) {
    case Qt::DisplayRole: return ShownCell(field.shown);
    case Qt::AccessibleTextRole: return Spoken(field);
    case Qt::ToolTipRole: return is_fine ? QVariant() : PlainToolTip(ExplainedCell(field));
    case Qt::DecorationRole:
      if (is_fine) return {};
      return QApplication::style()->standardIcon(field.state == State::kRefused ? QStyle::SP_MessageBoxCritical
                                                                                : QStyle::SP_MessageBoxWarning);
    default: return {};
  }
}

}  // namespace kestrel
