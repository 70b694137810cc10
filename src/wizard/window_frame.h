// The window around a page or dialog: its icon, its size and its place on the screen.
#pragma once

#include <QIcon>
#include <QString>
#include <QWidget>

#include "kestrel/export.h"

namespace kestrel {

// What windows of the wizard show in their frame and in a list of windows, whatever the host's application shows.
inline void GiveIcon(QWidget* window) { window->setWindowIcon(QIcon(":/kestrel/logo.svg")); }

// Restores the size the window had when it was last closed, and stores it at every close. `key` names it. Whenever
// it is shown, the window is within the work area of its screen, frame included.
KESTREL_INTERNAL void RememberSize(QWidget* window, const QString& key);

// Makes a plain widget one of the wizard's pages: title, icon, and a size that all of them share.
void MakePage(QWidget* page);

// Keeps the page above the host's window, which does not own it, and follows it to the front. Without effect where
// there is no host's window. Before the page is shown.
void StayAbove(QWidget* page, QWidget* host_window);

// Puts the page exactly where the other one stands, which is visible; maximized where that one is. Before StayAbove: of
// a window that exists already, a window manager takes the place for that of what is within its frame.
void TakePlaceOf(const QWidget& before, QWidget* page);

}  // namespace kestrel
