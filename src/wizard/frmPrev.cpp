#include "wizard/frmPrev.h"

#include <QFontDatabase>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "component/session.h"
#include "kestrel/import_job.h"
#include "kestrel/user_interface.h"
#include "mapping/field_assignment.h"
#include "wizard/button_row.h"
#include "wizard/far_rows_model.h"
#include "wizard/german_number.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

constexpr int kTextLines = RowReader::kBlock;
constexpr int kWidestColumn = 50;  // characters

QStringList Captions(const std::vector<std::string>& columns) {
  QStringList captions;
  for (const std::string& name : OfferedSourceFields(columns)) captions << ToQt(name);
  return captions;
}

}  // namespace

OpenedRecords OpenRecords(const std::function<RecordsetPtr()>& open, const std::function<AskedColumns()>& ask) {
  OpenedRecords opened;
  Trap([&] { opened.rows = std::make_shared<RowReader>(open()); },
       [&](const RuntimeError& error) { opened.error = error; });
  if (opened.rows != nullptr) opened.error = opened.rows->first().error;
  opened.columns = ask();
  return opened;
}

frmPrev::frmPrev(ImportJob& job, QWidget* parent, const OpenedRecords* opened) : QDialog(parent), job_(job) {
  setObjectName("frmPrev");
  setWindowTitle("Datenquelle testen");
  TDBList1_ = new QTableView(this);
  TDBList1_->setObjectName("TDBList1");
  TDBList1_->setAccessibleName("Datensätze der Datenquelle");
  TDBList1_->setModel(&model_);
  GiveListLook(*TDBList1_);
  txtPrev_ = new QPlainTextEdit(this);
  txtPrev_->setObjectName("txtPrev");
  txtPrev_->setAccessibleName("Zeilen der Datenquelle");
  txtPrev_->setReadOnly(true);
  txtPrev_->setLineWrapMode(QPlainTextEdit::NoWrap);
  txtPrev_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  txtPrev_->hide();
  lblCount_ = new QLabel(this);
  lblCount_->setObjectName("lblCount");
  auto* buttons = new ButtonRow(this);
  buttons->AddNotice(lblCount_);
  QPushButton* close = buttons->AddDefault("cmdClose", "Schließen", "", 'S');

  auto* body = new QVBoxLayout;
  body->addWidget(TDBList1_);
  body->addWidget(txtPrev_);
  LayOutPage(this, nullptr, body, buttons);
  resize(860, 520);
  GiveIcon(this);
  RememberSize(this, "preview");
  connect(close, &QPushButton::clicked, this, &QDialog::accept);

  if (opened == nullptr) {
    ShowFromJob();
  } else {
    ShowOpened(*opened);
  }
}

void frmPrev::ShowFromJob() {
  std::int64_t records = 0;
  const RecordsetPtr source = job_.OpenPreview(records);
  if (source == nullptr) return;
  const bool is_text = source->ColumnCount() == 1;
  ShowCount(records, is_text);
  if (!is_text) {
    model_.SetRecordset(source, Captions(job_.SourceColumns()));
    ShowAsGrid(&model_);
    return;
  }
  QString lines;
  Trap(
      [&] {
        for (int line = 0; line < kTextLines && !source->IsEof(); ++line) {
          lines += ShownCell(source->TextAt(0)) + "\r\n";
          source->MoveNext();
        }
      },
      [&](const RuntimeError& error) { Tell(error); });
  ShowAsText(lines);
}

void frmPrev::ShowOpened(const OpenedRecords& opened) {
  if (opened.error) Tell(*opened.error);
  if (opened.rows == nullptr) return;
  const bool is_text = opened.rows->columns().size() == 1;
  ShowCount(opened.rows->count(), is_text);
  if (!is_text) {
    const std::vector<std::string> names = ToldColumnNames(job_.session(), opened.columns, nullptr);
    ShowAsGrid(new FarRowsModel(opened.rows, Captions(names), this));
    return;
  }
  QString lines;
  for (const std::vector<std::string>& row : opened.rows->first().rows) lines += ToQt(row[0]) + "\r\n";
  ShowAsText(lines);
}

void frmPrev::ShowCount(std::int64_t records, bool is_text) {
  const QString all = GermanCount(records, "Datensatz", "Datensätze");
  lblCount_->setText(is_text && records > kTextLines ? QString("%1 von %2n").arg(kTextLines).arg(all) : all);
}

void frmPrev::Tell(const RuntimeError& error) {
  job_.session().platform.ui.MessageBox("Fehler: " + error.Description(), "", Icon::kNone, Buttons::kOk);
}

void frmPrev::ShowAsGrid(QAbstractItemModel* model) {
  TDBList1_->setModel(model);
  FitColumns(*TDBList1_, kWidestColumn);
  if (model->rowCount() > 0) TDBList1_->selectRow(0);
  TDBList1_->setFocus();
}

void frmPrev::ShowAsText(const QString& lines) {
  txtPrev_->show();
  TDBList1_->hide();
  txtPrev_->setPlainText(lines);
  txtPrev_->setFocus();
}

}  // namespace kestrel
