#include "app/list_parts.h"

#include <QHeaderView>

namespace kestrel::host {

namespace {

constexpr int kWidestColumnInCharacters = 50;

}  // namespace

QTableView* MakeTable(QAbstractItemModel* model, const QString& title, QWidget* parent) {
  auto* table = new QTableView(parent);
  table->setObjectName("table");
  table->setAccessibleName(title);
  table->setModel(model);
  table->setAlternatingRowColors(true);
  table->setShowGrid(false);
  table->setWordWrap(false);
  table->setTabKeyNavigation(false);
  table->setSelectionBehavior(QAbstractItemView::SelectRows);
  table->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table->verticalHeader()->hide();
  table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 8);
  table->horizontalHeader()->setHighlightSections(false);
  return table;
}

void FitColumns(QTableView& table) {
  table.resizeColumnsToContents();
  const int widest = table.fontMetrics().averageCharWidth() * kWidestColumnInCharacters;
  for (int column = 0; column < table.model()->columnCount(); ++column) {
    if (table.columnWidth(column) > widest) table.setColumnWidth(column, widest);
  }
}

}  // namespace kestrel::host
