#include "wizard/frmPrev.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

#include "mapping/field_assignment.h"
#include "sources/source_reader.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

constexpr int kTextLines = 100;
// Rows looked at to find a column's width; looking at all would read the whole source.
constexpr int kRowsForWidth = 50;
constexpr int kWidestColumn = 320;

}  // namespace

frmPrev::frmPrev(Session& session, QWidget* parent) : QDialog(parent), session_(session) {
  setObjectName("frmPrev");
  setWindowTitle("Datenquelle testen");
  TDBList1_ = new QTableView(this);
  TDBList1_->setObjectName("TDBList1");
  TDBList1_->setAccessibleName("Datensätze der Datenquelle");
  TDBList1_->setModel(&model_);
  TDBList1_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  TDBList1_->setSelectionBehavior(QAbstractItemView::SelectRows);
  TDBList1_->setAlternatingRowColors(true);
  // Every row has the same height, so that a long source opens at once.
  TDBList1_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  TDBList1_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 8);
  txtPrev_ = new QPlainTextEdit(this);
  txtPrev_->setObjectName("txtPrev");
  txtPrev_->setAccessibleName("Zeilen der Datenquelle");
  txtPrev_->setReadOnly(true);
  txtPrev_->setLineWrapMode(QPlainTextEdit::NoWrap);
  txtPrev_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  txtPrev_->hide();
  auto* count = new QLabel(this);
  count->setObjectName("lblCount");
  auto* close = SetUpButton(new QPushButton(this), "cmdClose", "Schließen", "", 'S');
  close->setDefault(true);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(count, 1);
  buttons->addWidget(close);
  auto* page = new QVBoxLayout(this);
  page->setContentsMargins(12, 12, 12, 12);
  page->addWidget(TDBList1_, 1);
  page->addWidget(txtPrev_, 1);
  page->addLayout(buttons);
  resize(860, 520);
  RememberSize(this, "preview");
  connect(close, &QPushButton::clicked, this, &QDialog::accept);

  OpenSourceRecordset(session_);
  const RecordsetPtr source = SourceMoveFirst(session_);
  const std::int64_t records = SourceRecordCount(session_);
  CloseSource(session_);
  if (source == nullptr) return;
  count->setText(QLocale(QLocale::German).toString(static_cast<qlonglong>(records)) + " Datensätze");
  if (source->ColumnCount() == 1) {
    ShowAsText(source);
  } else {
    ShowAsGrid(source);
  }
}

void frmPrev::ShowAsGrid(const RecordsetPtr& source) {
  QStringList captions;
  for (const std::string& name : OfferedSourceFields(SourceColumnNames(session_))) captions << ToQt(name);
  model_.SetRecordset(source, captions);
  TDBList1_->horizontalHeader()->setResizeContentsPrecision(kRowsForWidth);
  TDBList1_->resizeColumnsToContents();
  for (int column = 0; column < model_.columnCount(); ++column) {
    if (TDBList1_->columnWidth(column) > kWidestColumn) TDBList1_->setColumnWidth(column, kWidestColumn);
  }
  TDBList1_->setFocus();
}

void frmPrev::ShowAsText(const RecordsetPtr& source) {
  txtPrev_->show();
  TDBList1_->hide();
  std::string text;
  Trap(
      [&] {
        for (int line = 0; line < kTextLines && !source->IsEof(); ++line) {
          text.append(source->TextAt(0)).append("\r\n");
          source->MoveNext();
        }
      },
      [&](const RuntimeError& error) {
        session_.platform.ui.MessageBox("Fehler: " + error.Description(), "", Icon::kNone, Buttons::kOk);
      });
  txtPrev_->setPlainText(ToQt(text));
  txtPrev_->setFocus();
}

}  // namespace kestrel
