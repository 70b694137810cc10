#include "app/shown_wait.h"

#include <QApplication>
#include <utility>

#include "kestrel/runtime_error.h"
#include "wizard/qt_text.h"

namespace kestrel::host {

namespace {

// The wait is over where nobody has asked for so long.
constexpr int kNotAskedMs = 500;
// One that is over sooner is not shown: the dialog would only flicker, as where the records of a group are being stored.
constexpr std::chrono::milliseconds kShownAfter{500};

}  // namespace

ShownWait::ShownWait(Connection& connection, QWidget* window) : connection_(connection), window_(window) {
  is_over_.setSingleShot(true);
  is_over_.setInterval(kNotAskedMs);
  Watch();
}

ShownWait::~ShownWait() {
  connection_.WatchWaits(nullptr);
  delete dialog_;
}

bool ShownWait::KeepWaiting(std::string_view reason) {
  using Clock = std::chrono::steady_clock;
  const auto now = Clock::now();
  if (now - std::exchange(asked_last_, now) > std::chrono::milliseconds(kNotAskedMs)) waits_since_ = now;
  // Nor are events handled meanwhile, as no dialog keeps the windows from being used.
  if (!is_over_.isActive() && (reason.empty() || now - waits_since_ < kShownAfter)) return true;
  bool go_on = true;
  const auto show = [&] {
    if (dialog_ == nullptr) MakeDialog();
    if (!is_over_.isActive()) ShowDialog(reason);
    is_over_.start();
    QApplication::processEvents();
    go_on = dialog_ == nullptr || !dialog_->wasCanceled();
  };
  Trap(show, [](const RuntimeError&) {});
  return go_on;
}

void ShownWait::MakeDialog() {
  // Without an end that anybody knows.
  dialog_ = new QProgressDialog("", "Abbrechen", 0, 0, window_);
  dialog_->setObjectName("waitDialog");
  dialog_->setWindowTitle("Bitte warten");
  dialog_->setWindowModality(Qt::ApplicationModal);
  dialog_->setMinimumDuration(0);
  // It is not deleted then: the box that tells how the wait ended may be its child, and is on the stack.
  QObject::connect(&is_over_, &QTimer::timeout, dialog_, &QWidget::hide);
}

void ShownWait::ShowDialog(std::string_view reason) {
  QString text = ToQt(reason);
  if (connection_.capabilities().dialect != Dialect::kSqlite) {
    text += "\n\"Abbrechen\" trennt die Verbindung zum Server; der nächste Schritt baut sie wieder auf.";
  }
  dialog_->reset();
  dialog_->setLabelText(text);
  dialog_->show();
}

}  // namespace kestrel::host
