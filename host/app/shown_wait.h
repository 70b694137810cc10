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

  // While one lives, what takes the database long is left to another thread (ConnectionMutex::Aside), and shown as a wait,
  // so that the windows stay alive.
  class LeavingWork {
   public:
    explicit LeavingWork(ShownWait& wait) : wait_(wait) { wait_.leaves_work_ = true; }
    ~LeavingWork() { wait_.leaves_work_ = false; }
    LeavingWork(const LeavingWork&) = delete;
    LeavingWork& operator=(const LeavingWork&) = delete;

   private:
    ShownWait& wait_;
  };

  // Takes up the watch again, which a run or another one of these had meanwhile.
  void Watch() { connection_.WatchWaits(this); }

 private:
  bool KeepWaiting(std::string_view reason) override;
  bool KeepsWindows() const override { return leaves_work_; }
  void MakeDialog();
  void ShowDialog(std::string_view reason);

  Connection& connection_;
  QWidget* window_;
  bool leaves_work_ = false;
  QPointer<QProgressDialog> dialog_;
  QTimer is_over_;
  std::chrono::steady_clock::time_point waits_since_{};
  std::chrono::steady_clock::time_point asked_last_{};
};

}  // namespace kestrel::host
