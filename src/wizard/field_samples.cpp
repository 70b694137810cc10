#include "wizard/field_samples.h"

#include <QHeaderView>
#include <array>

#include "wizard/page_parts.h"
#include "wizard/previewed_cell.h"
#include "wizard/qt_text.h"
#include "wizard/recordset_model.h"
#include "wizard/table_look.h"

namespace kestrel {

namespace {

enum Column { kRaw, kStored, kReason, kColumns };
constexpr int kColumnWidth = 26;  // characters
constexpr std::array<const char*, kColumns> kCaptions = {"Wert der Quelle", "Wird gespeichert als", "Hinweis"};

}  // namespace

void FieldSamplesModel::Show(std::vector<PreviewedField> values) {
  beginResetModel();
  values_ = std::move(values);
  endResetModel();
}

int FieldSamplesModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(values_.size());
}

int FieldSamplesModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : kColumns; }

QVariant FieldSamplesModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  const PreviewedField& value = values_[static_cast<std::size_t>(index.row())];
  if (index.column() == kStored) return PreviewedCell(value, role);
  const std::string& text = index.column() == kRaw ? value.raw : value.reason;
  if (role == Qt::DisplayRole) return ShownCell(text);
  // What does not fit into the column.
  if (role == Qt::ToolTipRole) return PlainToolTip(ShownCell(text));
  return {};
}

QVariant FieldSamplesModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole || orientation != Qt::Horizontal) return {};
  return QString::fromUtf8(kCaptions.at(static_cast<std::size_t>(section)));
}

FieldSamples::FieldSamples(QWidget* parent) : QTableView(parent) {
  setObjectName("lstBeispiele");
  setAccessibleName("Beispielwerte des Feldes");
  setModel(&model_);
  GiveListLook(*this);
  setSelectionMode(QAbstractItemView::SingleSelection);
  verticalHeader()->hide();
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  horizontalHeader()->setStretchLastSection(true);
  for (const int column : {kRaw, kStored})
    setColumnWidth(column, fontMetrics().averageCharWidth() * kColumnWidth);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize FieldSamples::sizeHint() const {
  const int lines = kLines * verticalHeader()->defaultSectionSize();
  return {QTableView::sizeHint().width(), horizontalHeader()->sizeHint().height() + lines + 2 * frameWidth()};
}

}  // namespace kestrel
