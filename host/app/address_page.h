// One address list: search, order, and the button that opens the import for it.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QTimer>
#include <cstdint>
#include <vector>

#include "app/address_columns.h"
#include "app/query_model.h"
#include "kestrel/connection.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

// What a list shows.
struct AddressList {
  const char* table;         // in the host database; its first column is the number
  const char* title;         // "Kunden"
  const char* import_title;  // "Kunden importieren..."
  std::int16_t app_mode;     // the application mode of its imports
};

class AddressPage final : public QWidget {
  Q_OBJECT
 public:
  // Error 3000 where the database lacks the table.
  AddressPage(const AddressList& list, ConnectionPtr connection, QWidget* parent);

  // Reads the list again, for the current search and order.
  void Refresh();
  // Puts the cursor where the search is typed.
  void Search();

 signals:
  void ImportAsked(std::int16_t app_mode);

 private:
  void BuildControls();
  void ConnectEvents();
  void OrderBy(int column, Qt::SortOrder order);
  RecordsetPtr Select(const std::string& what, const std::string& behind);

  AddressList list_;
  ConnectionPtr connection_;
  std::vector<AddressColumn> columns_;
  EventGuard guard_;
  int order_column_ = 0;
  Qt::SortOrder order_ = Qt::AscendingOrder;
  QueryModel* model_;
  QLineEdit* search_;
  QComboBox* order_by_;
  QCheckBox* descending_;
  QTableView* table_;
  QLabel* count_;
  QTimer typing_;
};

}  // namespace kestrel::host
