// Help that a window of the wizard gives: its page of the user guide, and what its controls are for.
#pragma once

#include <QString>
#include <QWidget>

#include "kestrel/user_interface.h"

namespace kestrel {

// Gives the window a button "?" (in its header or its row of buttons, where it has either) and F1, which open its page
// of the user guide. A guide or a page that is missing is told by `ui`, which outlives the window.
void AddHelpPage(QWidget& window, UserInterface& ui);

// The file of the guide for the window of this object name; empty for one that has none.
QString HelpPageOf(const QString& object_name);

// Gives those controls of the window that are not plain by their caption, and have no tool tip, one that says what they
// are for.
void AddToolTips(QWidget& window);

}  // namespace kestrel
