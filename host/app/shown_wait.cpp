#include "app/shown_wait.h"

#include <QApplication>

#include "kestrel/runtime_error.h"
#include "wizard/qt_text.h"

namespace kestrel::host {

ShownWait::~ShownWait() {
  connection_.WatchWaits(nullptr);
  delete dialog_;
}

bool ShownWait::KeepWaiting(std::string_view reason) {
  bool go_on = true;
  const auto show = [&] {
    if (dialog_ == nullptr) {
      QString text = ToQt(reason);
      if (connection_.capabilities().dialect != Dialect::kSqlite) {
        text += "\n\"Abbrechen\" trennt die Verbindung zum Server; starten Sie das Programm danach neu.";
      }
      // Without an end that anybody knows.
      dialog_ = new QProgressDialog(text, "Abbrechen", 0, 0, window_);
      dialog_->setObjectName("waitDialog");
      dialog_->setWindowTitle("Bitte warten");
      dialog_->setWindowModality(Qt::ApplicationModal);
      dialog_->setMinimumDuration(0);
      dialog_->show();
    }
    QApplication::processEvents();
    go_on = dialog_ == nullptr || !dialog_->wasCanceled();
  };
  Trap(show, [](const RuntimeError&) {});
  return go_on;
}

}  // namespace kestrel::host
