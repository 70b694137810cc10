// One of the two logs of the imports.
#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QTableView>
#include <string>

#include "app/query_model.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

// What a log page shows.
struct LogList {
  const char* title;
  const char* list_name;  // of the logs, as the imports name them
  // The columns behind time, user and import; each is one of the log's own, in order. Null ends the list.
  const char* headings[3];
};

class LogPage final : public QWidget {
  Q_OBJECT
 public:
  // Reads through the component kestrelhost.LogReader. The registry outlives the page.
  LogPage(const LogList& list, ComponentRegistry& components, ConnectionPtr connection, QWidget* parent);

  void Refresh();

 private:
  // Long names that nobody reads to the end take little room; the tool tip shows them whole.
  void Narrow();

  LogList list_;
  ComponentRegistry& components_;
  ConnectionPtr connection_;
  EventGuard guard_;
  QueryModel* model_;
  QCheckBox* only_last_;
  QTableView* table_;
  QLabel* count_;
};

}  // namespace kestrel::host
