#include "wizard/frmPrev.h"

#include <QFontDatabase>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

#include "component/session.h"
#include "kestrel/import_job.h"
#include "kestrel/user_interface.h"
#include "mapping/field_assignment.h"
#include "wizard/button_row.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

constexpr int kTextLines = 100;
constexpr int kWidestColumn = 50;  // characters

}  // namespace

OpenedRecords OpenRecords(Connection& connection, const std::string& sql, const std::string& table) {
  OpenedRecords opened;
  const auto keep = [&](const RuntimeError& error) {
    if (!opened.error) opened.error = error;
  };
  Trap([&] { opened.records = connection.OpenRecordset(sql); }, keep);
  if (opened.records != nullptr)
    Trap([&] { opened.count = opened.records->RecordCount(); }, [](const RuntimeError&) {});
  Trap([&] { opened.columns = connection.ColumnNames(table); }, keep);
  opened.columns.emplace_back();
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
  auto* count = new QLabel(this);
  count->setObjectName("lblCount");
  auto* buttons = new ButtonRow(this);
  buttons->AddNotice(count);
  QPushButton* close = buttons->AddDefault("cmdClose", "Schließen", "", 'S');

  auto* body = new QVBoxLayout;
  body->addWidget(TDBList1_);
  body->addWidget(txtPrev_);
  LayOutPage(this, nullptr, body, buttons);
  resize(860, 520);
  GiveIcon(this);
  RememberSize(this, "preview");
  connect(close, &QPushButton::clicked, this, &QDialog::accept);

  std::int64_t records = opened != nullptr ? opened->count : 0;
  const RecordsetPtr source = opened != nullptr ? opened->records : job_.OpenPreview(records);
  if (opened != nullptr && opened->error) Tell(*opened->error);
  if (source == nullptr) return;
  const QString all = QLocale(QLocale::German).toString(static_cast<qlonglong>(records)) +
                      (records == 1 ? " Datensatz" : " Datensätze");
  count->setText(all);
  if (source->ColumnCount() != 1) {
    ShowAsGrid(source, opened != nullptr ? opened->columns : job_.SourceColumns());
    return;
  }
  ShowAsText(source);
  if (records > kTextLines) count->setText(QString("%1 von %2n").arg(kTextLines).arg(all));
}

void frmPrev::Tell(const RuntimeError& error) {
  job_.session().platform.ui.MessageBox("Fehler: " + error.Description(), "", Icon::kNone, Buttons::kOk);
}

void frmPrev::ShowAsGrid(const RecordsetPtr& source, const std::vector<std::string>& columns) {
  QStringList captions;
  for (const std::string& name : OfferedSourceFields(columns)) captions << ToQt(name);
  model_.SetRecordset(source, captions);
  FitColumns(*TDBList1_, kWidestColumn);
  if (model_.rowCount() > 0) TDBList1_->selectRow(0);
  TDBList1_->setFocus();
}

void frmPrev::ShowAsText(const RecordsetPtr& source) {
  txtPrev_->show();
  TDBList1_->hide();
  std::string text;
  Trap(
      [&] {
        for (int line = 0; line < kTextLines && !source->IsEof(); ++line) {
          text += FromQt(ShownCell(source->TextAt(0))) + "\r\n";
          source->MoveNext();
        }
      },
      [&](const RuntimeError& error) { Tell(error); });
  txtPrev_->setPlainText(ToQt(text));
  txtPrev_->setFocus();
}

}  // namespace kestrel
