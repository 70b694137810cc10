// What all tables look like, those of the wizard and those of the sample host.
#pragma once

#include <QTableView>

#include "kestrel/export.h"

namespace kestrel {

// Calm rows of one height, the same for every font; headings at the left. A table of one million rows opens as
// quickly as one of ten, as no row is measured.
void GiveTableLook(QTableView& table);

// As above, for a table of whole rows that are read and not edited: no grid, Tab leaves the table.
KESTREL_INTERNAL void GiveListLook(QTableView& table);

// The height of a row whose text is in that font.
int RowHeight(const QFontMetrics& font);

// Makes each column as wide as what its first rows show, but not wider than `widest` average characters.
KESTREL_INTERNAL void FitColumns(QTableView& table, int widest);

}  // namespace kestrel
