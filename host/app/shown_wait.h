// What a person sees while a call of the database waits for somebody else.
#pragma once

#include <QPointer>
#include <QProgressDialog>

#include "kestrel/connection.h"

namespace kestrel::host {

// While it lives, a wait of the connection shows its reason in a dialog, which keeps every window but itself from
// being used; its button ends the wait. The connection to a server ends with it, which the dialog says.
class ShownWait final : private WaitWatch {
 public:
  // `connection` and `window` outlive this object.
  ShownWait(Connection& connection, QWidget* window) : connection_(connection), window_(window) {
    connection_.WatchWaits(this);
  }
  ~ShownWait() override;

 private:
  bool KeepWaiting(std::string_view reason) override;

  Connection& connection_;
  QWidget* window_;
  QPointer<QProgressDialog> dialog_;
};

}  // namespace kestrel::host
