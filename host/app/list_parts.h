// What the lists of the host look like.
#pragma once

#include <QAbstractItemModel>
#include <QTableView>

namespace kestrel::host {

// Columns are made no wider than so many characters at first.
inline constexpr int kWidestColumn = 50;

// A table of whole rows to read, named `title` for a screen reader.
QTableView* MakeTable(QAbstractItemModel* model, const QString& title, QWidget* parent);

// Fills the page with a list and, below it, what is known of the row that is chosen; the line between can be moved.
// The list gets the greater part of the height, or `share_of_list` per cent of it.
void StackListAndDetails(QWidget* page, QWidget* list, QWidget* details, int share_of_list = 60);

}  // namespace kestrel::host
