#include "app/list_parts.h"

#include <QHeaderView>
#include <QSplitter>
#include <QVBoxLayout>

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

void StackListAndDetails(QWidget* page, QWidget* list, QWidget* details, int share_of_list) {
  auto* parts = new QSplitter(Qt::Vertical, page);
  parts->addWidget(list);
  parts->addWidget(details);
  parts->setStretchFactor(0, share_of_list);
  parts->setStretchFactor(1, 100 - share_of_list);
  parts->setChildrenCollapsible(false);
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(parts);
}

}  // namespace kestrel::host
