#include "app/list_parts.h"

#include <QHeaderView>

#include "wizard/table_look.h"

namespace kestrel::host {

QTableView* MakeTable(QAbstractItemModel* model, const QString& title, QWidget* parent) {
  auto* table = new QTableView(parent);
  table->setObjectName("table");
  table->setAccessibleName(title);
  table->setModel(model);
  table->verticalHeader()->hide();
  GiveListLook(*table);
  return table;
}

}  // namespace kestrel::host
