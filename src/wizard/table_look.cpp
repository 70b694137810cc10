#include "wizard/table_look.h"

#include <QHeaderView>
#include <algorithm>

namespace kestrel {

namespace {

constexpr int kAir = 8;
// Rows looked at to find a column's width; looking at all would read the whole source.
constexpr int kRowsForWidth = 50;

}  // namespace

int RowHeight(const QFontMetrics& font) { return font.height() + kAir; }

void GiveTableLook(QTableView& table) {
  table.setAlternatingRowColors(true);
  table.setWordWrap(false);
  table.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  table.verticalHeader()->setDefaultSectionSize(RowHeight(table.fontMetrics()));
  table.verticalHeader()->setHighlightSections(false);
  table.horizontalHeader()->setHighlightSections(false);
  table.horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
}

void GiveListLook(QTableView& table) {
  GiveTableLook(table);
  table.setShowGrid(false);
  table.setTabKeyNavigation(false);
  table.setSelectionBehavior(QAbstractItemView::SelectRows);
  table.setEditTriggers(QAbstractItemView::NoEditTriggers);
}

void FitColumns(QTableView& table, int widest) {
  QHeaderView& header = *table.horizontalHeader();
  header.setResizeContentsPrecision(kRowsForWidth);
  const int limit = table.fontMetrics().averageCharWidth() * widest;
  for (int column = 0; column < table.model()->columnCount(); ++column) {
    // What takes the room that is left would lose it.
    if (header.sectionResizeMode(column) == QHeaderView::Stretch) continue;
    table.resizeColumnToContents(column);
    table.setColumnWidth(column, std::min(table.columnWidth(column), limit));
  }
}

}  // namespace kestrel
