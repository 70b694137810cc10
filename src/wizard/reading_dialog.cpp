#include "wizard/reading_dialog.h"

#include <QApplication>

#include "wizard/window_frame.h"

namespace kestrel {

namespace {

constexpr std::chrono::milliseconds kShowAfter{150};
constexpr std::chrono::milliseconds kAliveEvery{40};

}  // namespace

bool ReadingDialog::GoOn() {
  const Clock::time_point now = Clock::now();
  if (now - begin_ < kShowAfter || now - last_ < kAliveEvery) return true;
  if (dialog_ == nullptr) {
    // Without an end that anybody knows.
    dialog_ = new QProgressDialog(text_, "Abbrechen", 0, 0, above_);
    dialog_->setObjectName("readingDialog");
    dialog_->setWindowTitle("Bitte warten");
    GiveIcon(dialog_);
    // No window else is used meanwhile.
    dialog_->setWindowModality(Qt::ApplicationModal);
    dialog_->setMinimumDuration(0);
    dialog_->show();
  }
  QApplication::processEvents();
  last_ = Clock::now();
  return dialog_ == nullptr || !dialog_->wasCanceled();
}

}  // namespace kestrel
