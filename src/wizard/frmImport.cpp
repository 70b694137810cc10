#include "wizard/frmImport.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

#include "component/session.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"

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

frmImport::frmImport(ImportJob& job, QWidget* parent)
    : QDialog(parent), guard_(this, job.session().platform.ui), job_(job) {
  setObjectName("frmImport");
  setWindowTitle("KESTREL Import");
  lblInfo_ = new QLabel(this);
  lblInfo_->setObjectName("lblInfo");
  lblInfo_->setWordWrap(true);
  // A label of fixed size asks for no new layout at every record. The longest result needs two lines.
  lblInfo_->setFixedSize(fontMetrics().averageCharWidth() * kLineCharacters, fontMetrics().lineSpacing() * 2);
  progress_bar_ = new QProgressBar(this);
  progress_bar_->setObjectName("ProgressBar");
  progress_bar_->setAccessibleName("Fortschritt");
  progress_bar_->setRange(0, kBarSteps);
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
  page->addWidget(remarks_);
  page->setSizeConstraint(QLayout::SetFixedSize);
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

void frmImport::Repaint() {
  lblInfo_->setText(ToQt(info_));
  constexpr int kStepsAPercent = kBarSteps / 100;
  progress_bar_->setValue(static_cast<int>(std::clamp(percent_, 0.0, 100.0) * kStepsAPercent));
}

void frmImport::Tell(std::string_view text) {
  remarks_->appendPlainText(ToQt(text));
  remarks_->show();
}

void frmImport::CloseWindow() {
  finished_ = true;
  Repaint();
  reject();
}

void frmImport::reject() {
  if (finished_) {
    done(result().errors == 0 ? Accepted : Rejected);
  } else {
    job_.RequestStop();
  }
}

}  // namespace kestrel
