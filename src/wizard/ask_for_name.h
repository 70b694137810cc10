// Asking for a name that may be like one there is.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kestrel/qt_user_interface.h"

namespace kestrel {

// Asks for a line of text; on the screen `start` stands in the box. None when cancelled.
inline std::optional<std::string> AskForName(UserInterface& ui, std::string_view prompt, std::string_view title,
                                             std::string_view start) {
  if (auto* screen = dynamic_cast<QtUserInterface*>(&ui)) return screen->InputBox(prompt, title, start);
  return ui.InputBox(prompt, title);
}

}  // namespace kestrel
