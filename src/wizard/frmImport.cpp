#include "wizard/frmImport.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

#include "component/session.h"
#include "import/run_texts.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/run_summary.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

// The bar counts in hundredths of a percent, as long runs move slowly.
constexpr int kBarSteps = 10000;
constexpr int kLineCharacters = 58;
constexpr int kRemarkLines = 8;
// A window manager may refuse to activate a window; the run starts then all the same.
constexpr int kStartWithoutActivationMs = 300;
constexpr int kRepaintMs = 100;

}  // namespace

frmImport::frmImport(ImportJob& job, QWidget* parent, WizardComforts comforts)
    : QDialog(parent), guard_(this, job.session().platform.ui), job_(job), comforts_(comforts) {
  setObjectName("frmImport");
  setWindowTitle("KESTREL Import");
  GiveIcon(this);
  lblInfo_ = new QLabel(this);
  lblInfo_->setObjectName("lblInfo");
  lblInfo_->setTextFormat(Qt::PlainText);
  lblInfo_->setWordWrap(true);
  // A label of fixed size asks for no new layout at every record. The longest result needs two lines.
  lblInfo_->setFixedSize(fontMetrics().averageCharWidth() * kLineCharacters, fontMetrics().lineSpacing() * 2);
  progress_bar_ = new QProgressBar(this);
  progress_bar_->setObjectName("ProgressBar");
  progress_bar_->setAccessibleName("Fortschritt");
  progress_bar_->setRange(0, kBarSteps);
  if (comforts_.run_pace) {
    lblPace_ = new QLabel(this);
    lblPace_->setObjectName("lblPace");
    lblPace_->setTextFormat(Qt::PlainText);
    // Words come and go without anything else moving.
    lblPace_->setFixedSize(lblInfo_->width(), fontMetrics().lineSpacing());
  }
  remarks_ = new QPlainTextEdit(this);
  remarks_->setObjectName("txtRemarks");
  remarks_->setAccessibleName("Hinweise zum Import");
  remarks_->setReadOnly(true);
  remarks_->setFixedHeight(fontMetrics().lineSpacing() * kRemarkLines);
  remarks_->hide();
  auto* page = new QVBoxLayout(this);
  page->setContentsMargins(18, 18, 18, 18);
  page->addWidget(lblInfo_);
  page->addWidget(progress_bar_);
  if (lblPace_ != nullptr) page->addWidget(lblPace_);
  page->addWidget(remarks_);
  page->setSizeConstraint(QLayout::SetFixedSize);
  if (comforts_.run_summary && !comforts_.result_page) AddSummary();
}

void frmImport::AddSummary() {
  lblSummary_ = new QLabel(this);
  lblSummary_->setObjectName("lblSummary");
  lblSummary_->setTextFormat(Qt::PlainText);
  lblSummary_->setWordWrap(true);
  lblSummary_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  buttons_ = new ButtonRow(this);
  cmdSaveRejects_ =
      buttons_->AddLeft("cmdSaveRejects", "Abgelehnte Datensätze speichern...",
                        "Schreibt, was nicht gespeichert wurde, mit dem Grund in eine Datei", 'A');
  cmdClose_ = buttons_->AddDefault("cmdClose", "Schließen", "Fenster schließen", 'S');
  guard_.On(cmdSaveRejects_, &QPushButton::clicked, [this] {
    const std::string told = SaveRejectsAs(job_, this);
    if (!told.empty()) Tell(told);
  });
  guard_.On(cmdClose_, &QPushButton::clicked, [this] { reject(); });
  layout()->addWidget(lblSummary_);
  layout()->addWidget(buttons_);
  lblSummary_->hide();
  buttons_->hide();
}

void frmImport::ShowSummary() {
  const RunResult& run = result();
  std::string text = FiguresText(run.figures, Grouping::kThousands);
  for (const std::string& sentence : RestTexts(run)) text += "\n" + sentence;
  lblSummary_->setText(ToQt(text));
  // Within a window of fixed size a wrapped text is not asked for its height.
  const int width = std::max(lblInfo_->width(), buttons_->sizeHint().width());
  lblSummary_->setFixedSize(width, lblSummary_->heightForWidth(width));
  lblSummary_->show();
  cmdSaveRejects_->setEnabled(run.rejects > 0);
  buttons_->show();
  cmdClose_->setFocus();
}

void frmImport::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  guard_.Later(kStartWithoutActivationMs, &frmImport::Activate);
}

bool frmImport::event(QEvent* event) {
  return guard_.Handle([&] {
    // From the message loop, so that the window is painted before the first record.
    if (event->type() == QEvent::WindowActivate) guard_.Later(0, &frmImport::Activate);
    return QDialog::event(event);
  });
}

void frmImport::Activate() {
  if (started_) return;
  started_ = true;
  RunSettings& settings = job_.settings();
  settings.keep_rejects = comforts_.run_summary || comforts_.result_page;
  settings.harmless_test = comforts_.harmless_test;
  settings.stays_open = comforts_.result_page;
  // While the run shows a box, nothing else brings its last words to the screen.
  QTimer repaint;
  guard_.On(&repaint, &QTimer::timeout, &frmImport::Repaint);
  repaint.start(kRepaintMs);
  // A run that broke off does not close its window itself.
  if (!guard_.Run([this] { job_.RunAssigned(*this); })) done(Rejected);
}

void frmImport::Yield() {
  if (!pace_.Due()) return;
  Repaint();
  QCoreApplication::processEvents();
}

// Not asked so often that the clock need be spared.
void frmImport::YieldInWait() {
  Repaint();
  QCoreApplication::processEvents();
}

void frmImport::Repaint() {
  lblInfo_->setText(ToQt(info_));
  constexpr int kStepsAPercent = kBarSteps / 100;
  progress_bar_->setValue(static_cast<int>(std::clamp(percent_, 0.0, 100.0) * kStepsAPercent));
  if (lblPace_ != nullptr) lblPace_->setText(ToQt(run_pace_.At(RunPace::Clock::now(), record_, percent_)));
}

void frmImport::Tell(std::string_view text) {
  remarks_->appendPlainText(ToQt(text));
  remarks_->show();
}

void frmImport::CloseWindow() {
  finished_ = true;
  Repaint();
  if (comforts_.run_summary && !comforts_.result_page && !result().cancelled) {
    ShowSummary();
  } else {
    reject();
  }
}

void frmImport::reject() {
  if (finished_) {
    done(result().errors == 0 ? Accepted : Rejected);
  } else {
    job_.RequestStop();
  }
}

}  // namespace kestrel
