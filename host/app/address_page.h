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

#include "app/address_list.h"
#include "app/address_reader.h"
#include "app/query_model.h"
#include "kestrel/connection.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

class AddressPage final : public QWidget {
  Q_OBJECT
 public:
  // Where `another` opens further connections, the list is read in
  // another thread, and fills while it is.
  AddressPage(AddressList list, ConnectionPtr connection, AnotherConnection another, QWidget* parent);

  // Reads the list again, for the current search and order.
  void Refresh();
  const AddressList& list() const { return list_; }
  // Puts the cursor where the search is typed.
  void Search();

 signals:
  // `file` is the one that was dropped onto the list; empty for none.
  void ImportAsked(std::int16_t app_mode, const QString& file);

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void BuildControls();
  void ConnectEvents();
  void OrderBy(int column, Qt::SortOrder order);
  void Show(const AddressAnswer& answer);

  AddressList list_;
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
  AddressReader reader_;
};

}  // namespace kestrel::host
