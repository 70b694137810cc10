// Questions whose yes loses something.
#pragma once

#include <string_view>

#include "kestrel/qt_user_interface.h"

namespace kestrel {

// Asks yes or no. On the screen Enter answers no; any other user interface asks as it asks everything.
inline Answer AskBeforeLoss(UserInterface& ui, std::string_view text, std::string_view title) {
  if (auto* screen = dynamic_cast<QtUserInterface*>(&ui)) return screen->AskBeforeLoss(text, title);
  return ui.MessageBox(text, title, Icon::kQuestion, Buttons::kYesNo);
}

}  // namespace kestrel
