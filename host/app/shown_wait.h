// What a person sees while a call of the database waits for somebody else.
#pragma once

#include <QPointer>
#include <QProgressDialog>
#include <QTimer>
#include <chrono>

#include "kestrel/connection.h"

namespace kestrel::host {

// While it lives, a wait of the connection that lasts shows its reason in a dialog, which keeps every window but itself from
// being used; its button ends the wait. The connection to a server ends with it, which the dialog says. The dialog
// goes when the wait is over.
class ShownWait final : private WaitWatch {
 public:
  // `connection` and `window` outlive this object.
  ShownWait(Connection& connection, QWidget* window);
  ~ShownWait() override;

  // Takes up the watch again, which a run or another one of these had meanwhile.
  void Watch() { connection_.WatchWaits(this); }

 private:
  bool KeepWaiting(std::string_view reason) override;
  void MakeDialog();
  void ShowDialog(std::string_view reason);

  Connection& connection_;
  QWidget* window_;
  QPointer<QProgressDialog> dialog_;
  QTimer is_over_;
  std::chrono::steady_clock::time_point waits_since_{};
  std::chrono::steady_clock::time_point asked_last_{};
};

}  // namespace kestrel::host
