#include "wizard/result_tab.h"

#include <QHeaderView>
#include <QVBoxLayout>
#include <algorithm>

#include "mapping/field_assignment.h"
#include "platform/base/counted.h"
#include "wizard/event_guard.h"
#include "wizard/previewed_cell.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"

namespace kestrel {

namespace {

constexpr int kWidestColumn = 30;  // characters

using State = PreviewedField::State;

// The rows of the list that are worth a column.
std::vector<std::size_t> ShownRows(MemoryRecordset& list) {
  std::vector<std::size_t> rows;
  std::size_t row = 0;
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext(), ++row) {
    const std::int64_t option = list.IsNull(kOption) ? kNotAssigned : list.ValueAt(kOption).ToInteger();
    const bool is_mandatory = !list.IsNull(kObligation) && list.ValueAt(kObligation).ToBool();
    if (is_mandatory || option == kImportField || option == kConstantValue) rows.push_back(row);
  }
  return rows;
}

std::int64_t CountOf(const std::vector<PreviewedRecord>& records, State state) {
  std::int64_t count = 0;
  for (const PreviewedRecord& record : records) {
    count += std::count_if(record.begin(), record.end(),
                           [state](const PreviewedField& field) { return field.state == state; });
  }
  return count;
}

QString Summary(const std::vector<PreviewedRecord>& records) {
  if (records.empty()) return "Die Quelle hat keine Datensätze.";
  const std::int64_t refused = CountOf(records, State::kRefused);
  const std::int64_t changed = CountOf(records, State::kChanged);
  std::string text = "So würden die ersten Datensätze gespeichert (" +
                     Counted(static_cast<std::int64_t>(records.size()), "Datensatz", "Datensätze") + "): ";
  if (refused == 0 && changed == 0) return ToQt(text + "keine Auffälligkeiten.");
  if (refused > 0) text += Counted(refused, "Wert", "Werte") + " mit Fehler";
  if (refused > 0 && changed > 0) text += ", ";
  if (changed > 0) text += Counted(changed, "Wert", "Werte") + " gekürzt";
  return ToQt(text + ".");
}

}  // namespace

// --- ResultModel --------------------------------------------------------------------------------

void ResultModel::Show(QStringList fields, std::vector<PreviewedRecord> records) {
  beginResetModel();
  fields_ = std::move(fields);
  records_ = std::move(records);
  endResetModel();
}

const PreviewedField& ResultModel::At(const QModelIndex& index) const {
  return records_[static_cast<std::size_t>(index.row())][static_cast<std::size_t>(index.column())];
}

QModelIndex ResultModel::FirstMarked() const {
  for (int row = 0; row < rowCount(); ++row) {
    for (int column = 0; column < columnCount(); ++column) {
      if (At(index(row, column)).state != State::kFine) return index(row, column);
    }
  }
  return {};
}

int ResultModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(records_.size());
}

int ResultModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(fields_.size());
}

QVariant ResultModel::data(const QModelIndex& index, int role) const {
  return index.isValid() ? PreviewedCell(At(index), role) : QVariant();
}

QVariant ResultModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  return orientation == Qt::Vertical ? QVariant(section + 1) : QVariant(fields_.value(section));
}

// --- ResultTab ----------------------------------------------------------------------------------

ResultTab::ResultTab(QWidget* parent) : QWidget(parent) {
  lblErgebnis_ = new QLabel(this);
  lblErgebnis_->setObjectName("lblErgebnis");
  lblErgebnis_->setTextFormat(Qt::PlainText);
  lblErgebnis_->setWordWrap(true);
  lstErgebnis_ = new QTableView(this);
  lstErgebnis_->setObjectName("lstErgebnis");
  lstErgebnis_->setAccessibleName("Datensätze, wie sie gespeichert würden");
  lstErgebnis_->setModel(&model_);
  GiveTableLook(*lstErgebnis_);
  lstErgebnis_->setTabKeyNavigation(false);
  lstErgebnis_->setSelectionMode(QAbstractItemView::SingleSelection);
  lstErgebnis_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  lblGrund_ = new QLabel(this);
  lblGrund_->setObjectName("lblGrund");
  lblGrund_->setTextFormat(Qt::PlainText);
  lblGrund_->setWordWrap(true);
  // Keeps its line, so that the table stands still while one cell after the other is looked at.
  lblGrund_->setMinimumSize(1, lblGrund_->fontMetrics().height());
  auto* below_each_other = new QVBoxLayout(this);
  below_each_other->addWidget(lblErgebnis_);
  below_each_other->addWidget(lstErgebnis_, 1);
  below_each_other->addWidget(lblGrund_);
  // Nothing in it raises.
  EventGuard(this, [](const RuntimeError&) {
  }).On(lstErgebnis_->selectionModel(), &QItemSelectionModel::currentChanged, &ResultTab::TellCurrent);
}

void ResultTab::Show(const Session& session, const std::shared_ptr<MemoryRecordset>& list,
                     const SourceExcerpt& sample) {
  const QModelIndex before = lstErgebnis_->currentIndex();
  const bool is_first = !before.isValid();
  const int row = before.row();
  const int column = before.column();
  std::vector<PreviewedRecord> records = PreviewRecords(session, list, sample);
  const std::vector<std::size_t> shown = ShownRows(*list);
  QStringList fields;
  for (const std::size_t field : shown) {
    list->GoTo(static_cast<std::int64_t>(field));
    fields << ToQt(list->TextAt(kSourceName));
  }
  for (PreviewedRecord& record : records) {
    PreviewedRecord kept;
    for (const std::size_t field : shown) kept.push_back(std::move(record[field]));
    record = std::move(kept);
  }
  lblErgebnis_->setText(Summary(records) +
                        (sample.failure.empty() ? QString() : " Danach: " + ToQt(sample.failure)));
  model_.Show(std::move(fields), std::move(records));
  FitColumns(*lstErgebnis_, kWidestColumn);
  // The person goes on where he was, and begins where something is wrong.
  const QModelIndex current = is_first ? model_.FirstMarked() : model_.index(row, column);
  lstErgebnis_->setCurrentIndex(current.isValid() ? current : model_.index(0, 0));
  TellCurrent();
}

void ResultTab::ShowText(const QString& text) {
  model_.Show({}, {});
  lblErgebnis_->setText(text);
  lblGrund_->clear();
}

void ResultTab::TellCurrent() {
  const QModelIndex current = lstErgebnis_->currentIndex();
  lblGrund_->setText(current.isValid() ? ExplainedCell(model_.At(current)) : QString());
}

}  // namespace kestrel
