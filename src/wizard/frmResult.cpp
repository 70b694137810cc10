#include "wizard/frmResult.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QVBoxLayout>
#include <string>

#include "component/session.h"
#include "import/run_texts.h"
#include "kestrel/import_job.h"
#include "kestrel/wizard.h"
#include "wizard/button_row.h"
#include "wizard/german_number.h"
#include "wizard/host_answer.h"
#include "wizard/qt_text.h"
#include "wizard/run_summary.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

// In a few words; the page tells the rest.
const char* TitleOf(const RunResult& run, bool is_test) {
  if (!run.stop_reason.empty()) return is_test ? "Test angehalten" : "Import angehalten";
  if (run.cancelled || run.aborted) return is_test ? "Test abgebrochen" : "Import abgebrochen";
  if (run.errors > 0) return is_test ? "Test mit Fehlern beendet" : "Import mit Fehlern beendet";
  return is_test ? "Test abgeschlossen" : "Import abgeschlossen";
}

QString MessageOf(const RunResult& run, bool is_test) {
  if (!run.stop_reason.empty()) return ToQt(StopText(run));
  if (run.cancelled || !is_test) return ToQt(run.message);
  QString text =
      run.errors > 0
          ? "Beim Prüfen der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!"
          : "Beim Prüfen der Daten ist kein Fehler aufgetreten.";
  return text + " Es wurde nichts gespeichert.";
}

}  // namespace

frmResult::frmResult(ImportJob& job, Wizard& wizard)
    : QWidget(nullptr, Qt::Window), job_(job), wizard_(wizard), guard_(this, job.session().platform.ui) {
  setObjectName("frmResult");
  header_ = new PageHeader("Ergebnis", "", "", this);
  lblMessage_ = new QLabel(this);
  lblMessage_->setObjectName("lblMessage");
  lblMessage_->setTextFormat(Qt::PlainText);
  lblMessage_->setWordWrap(true);
  lblMessage_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto* records = new QGroupBox("Datensätze", this);
  records->setObjectName("fraFigures");
  figures_ = new QFormLayout(records);
  figures_->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
  figures_->setHorizontalSpacing(24);
  txtRemarks_ = new QPlainTextEdit(this);
  txtRemarks_->setObjectName("txtRemarks");
  txtRemarks_->setAccessibleName("Hinweise zum Import");
  txtRemarks_->setReadOnly(true);
  txtRemarks_->setTabChangesFocus(true);
  QWidget* actions = BuildActions();
  auto* buttons = new ButtonRow(this);
  cmdImport_ = buttons->AddRight("cmdImport", "Jetzt importieren",
                                 "Die Daten mit denselben Einstellungen importieren", 'I');
  cmdClose_ = buttons->AddDefault("cmdClose", "Schließen", "Fenster schließen", 'S');

  auto* body = new QVBoxLayout;
  body->setSpacing(10);
  body->addWidget(lblMessage_);
  body->addWidget(records);
  body->addWidget(actions);
  body->addWidget(txtRemarks_, 1);
  body->addStretch();
  LayOutPage(this, header_, body, buttons);
  SetTabOrder({cmdLog_, cmdSaveRejects_, cmdUndo_, txtRemarks_, cmdImport_, cmdClose_});
  MakePage(this);

  guard_.On(cmdLog_, &QPushButton::clicked, &frmResult::cmdLog_Click);
  guard_.On(cmdSaveRejects_, &QPushButton::clicked, &frmResult::cmdSaveRejects_Click);
  guard_.On(cmdUndo_, &QPushButton::clicked, &frmResult::cmdUndo_Click);
  guard_.On(cmdImport_, &QPushButton::clicked, &frmResult::cmdImport_Click);
  guard_.On(cmdClose_, &QPushButton::clicked, &frmResult::cmdClose_Click);
  BindKeys(this, cmdClose_, cmdClose_);
}

QWidget* frmResult::BuildActions() {
  auto* actions = new QWidget(this);
  cmdLog_ = SetUpButton(new CaptionButton(actions), "cmdLog", "Protokoll öffnen",
                        "Zeigt die Fehler und die zurückgehaltenen Datensätze", 'P');
  cmdSaveRejects_ =
      SetUpButton(new CaptionButton(actions), "cmdSaveRejects", "Abgelehnte Datensätze speichern...",
                  "Schreibt, was nicht gespeichert wurde, mit dem Grund in eine Datei", 'A');
  cmdUndo_ = SetUpButton(new CaptionButton(actions), "cmdUndo", "Rückgängig machen...",
                         "Löscht die neuen Adressen dieses Imports und stellt die geänderten wieder her", 'R');
  auto* row = new QHBoxLayout(actions);
  row->setContentsMargins(0, 0, 0, 0);
  for (QPushButton* action : {cmdLog_, cmdSaveRejects_, cmdUndo_}) row->addWidget(action);
  row->addStretch();
  return actions;
}

void frmResult::ShowRun(const QString& remarks) {
  const RunResult& run = job_.result();
  was_test_ = job_.session().TestMode;
  header_->lblStepInfo->setText(TitleOf(run, was_test_));
  QString message = MessageOf(run, was_test_);
  if (run.stop_reason.empty() && !was_test_) {
    for (const std::string& sentence : RestTexts(run)) message += '\n' + ToQt(sentence);
  }
  lblMessage_->setText(message);
  ShowFigures(run);
  told_of_undo_.clear();
  txtRemarks_->setPlainText(remarks);
  txtRemarks_->setVisible(!remarks.isEmpty());
  const bool is_over = !run.cancelled;
  cmdLog_->setVisible(is_over && wizard_.host().show_log != nullptr);
  cmdLog_->setEnabled(run.errors > 0 || run.duplicates > 0);
  cmdSaveRejects_->setVisible(is_over);
  cmdSaveRejects_->setEnabled(run.rejects > 0);
  cmdUndo_->setVisible(!was_test_ && !run.run_number.empty() && wizard_.host().undo != nullptr);
  cmdUndo_->setEnabled(run.stored > 0);
  cmdImport_->setVisible(CanImport());
  cmdClose_->setFocus();
}

bool frmResult::CanImport() const { return job_.IsTestedOpen(); }

void frmResult::ShowFigures(const RunResult& run) {
  while (figures_->rowCount() > 0) figures_->removeRow(0);
  figures_->parentWidget()->setVisible(!run.cancelled);
  const auto add = [this](const char* caption, std::int32_t count, const char* name, bool is_sum = false) {
    auto* number = new QLabel(GermanNumber(count));
    number->setObjectName(name);
    number->setAlignment(Qt::AlignRight);
    number->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // Numbers stand below each other by their last digit.
    number->setMinimumWidth(fontMetrics().averageCharWidth() * 12);
    auto* label = new QLabel(QString::fromUtf8(caption));
    number->setAccessibleName(label->text() + ": " + number->text());
    if (is_sum) {
      QFont bold = font();
      bold.setBold(true);
      label->setFont(bold);
      number->setFont(bold);
    }
    figures_->addRow(label, number);
  };
  const RunFigures& figures = run.figures;
  if (was_test_) {
    add("geprüft", figures.checked(), "checked");
  } else {
    add("neu gespeichert", figures.stored_new(), "storedNew");
    add("geändert", figures.updated(), "updated");
  }
  add("wegen Dublettenverdacht zurückgehalten", figures.held_back(), "heldBack");
  add("abgewiesen", figures.rejected(), "rejected");
  add("gelesen", figures.read(), "read", true);
  add("Fehler", figures.errors(), "errors");
  if (figures.cut_values() == 0) return;
  add("gekürzte Werte", figures.cut_values(), "cut");
  figures_->addRow("gekürzt in", new QLabel(ToQt(CutFieldsText(figures, Grouping::kThousands))));
}

void frmResult::ShowUndone(UndoneRun::State state) {
  if (state == UndoneRun::State::kUnchanged) return;
  const bool is_whole = state == UndoneRun::State::kWholly;
  header_->lblStepInfo->setText(is_whole ? "Import zurückgenommen" : "Import teilweise zurückgenommen");
  // Instead of what the run said, also of the record to go on with: those before it are not stored any more.
  lblMessage_->setText(
      QString("Was dieser Import gespeichert hat, ist %1zurückgenommen. Die Zahlen zeigen, was er getan hatte.")
          .arg(is_whole ? "" : "zum Teil "));
  // Before the button that has the keyboard loses it to any other.
  if (is_whole) cmdClose_->setFocus();
  cmdUndo_->setEnabled(!is_whole);
}

void frmResult::Tell(std::string_view text) {
  txtRemarks_->appendPlainText(ToQt(text));
  txtRemarks_->show();
}

bool frmResult::event(QEvent* event) {
  return guard_.Handle([&] { return QWidget::event(event); });
}

void frmResult::cmdLog_Click() { wizard_.host().show_log(job_.result()); }

void frmResult::cmdSaveRejects_Click() {
  const std::string told = SaveRejectsAs(job_, this);
  if (!told.empty()) Tell(told);
}

void frmResult::cmdUndo_Click() {
  const UndoneRun undone = wizard_.host().undo(job_.result().run_number, this);
  ShowUndone(undone.state);
  const QString told = ToQt(undone.told);
  if (told.isEmpty()) return;
  // What the one before has left is no longer true.
  QString remarks = txtRemarks_->toPlainText();
  if (!told_of_undo_.isEmpty()) remarks.remove('\n' + told_of_undo_).remove(told_of_undo_);
  txtRemarks_->setPlainText(remarks);
  Tell(FromQt(told));
  told_of_undo_ = told;
}

void frmResult::cmdImport_Click() {
  if (wizard_.comforts().failed_connections && !HostAnswers(job_.session())) return;
  if (!job_.OpenTestedAgain()) return;
  job_.session().TestMode = false;
  wizard_.RunImport(*this);
}

void frmResult::cmdClose_Click() { close(); }

}  // namespace kestrel
