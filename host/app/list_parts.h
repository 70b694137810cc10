// What the lists of the host look like.
#pragma once

#include <QAbstractItemModel>
#include <QTableView>

namespace kestrel::host {

// A table of whole rows to read, named `title` for a screen reader.
QTableView* MakeTable(QAbstractItemModel* model, const QString& title, QWidget* parent);

// Makes each column as wide as what it shows, within reason.
void FitColumns(QTableView& table);

}  // namespace kestrel::host
