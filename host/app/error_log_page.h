// The error log, and below it all that is known of the error that is chosen.
#pragma once

#include <QPlainTextEdit>
#include <QWidget>

#include "app/log_list.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

class ErrorLogPage final : public QWidget {
  Q_OBJECT
 public:
  // Reads through the component kestrelhost.LogReader. The registry outlives the page.
  ErrorLogPage(ComponentRegistry& components, ConnectionPtr connection, QWidget* parent);

  void Refresh() { list_->Refresh(); }

 private:
  void ShowDetails();

  LogList* list_;
  QPlainTextEdit* details_;
  EventGuard guard_;
};

}  // namespace kestrel::host
