// How the duplicate procedures fail: the error is shown, the procedure gives its default answer.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "kestrel/runtime_error.h"
#include "kestrel/user_interface.h"

namespace kestrel {

// Runs `step`; an error is shown in a plain box as "Fehler in Funktion " + `function` + ": " + description.
// Whether the step succeeded.
template <class Step>
bool TrapInFunction(UserInterface& ui, std::string_view function, Step&& step) {
  return Trap(std::forward<Step>(step), [&](const RuntimeError& error) {
    std::string text = "Fehler in Funktion ";
    text.append(function).append(": ").append(error.Description());
    ui.MessageBox(text, "", Icon::kNone, Buttons::kOk);
  });
}

}  // namespace kestrel
