// How the duplicate procedures fail: the error is shown, unless the import class tells of it, and the procedure gives its
// default answer.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "component/told_stop.h"
#include "kestrel/runtime_error.h"
#include "kestrel/user_interface.h"

namespace kestrel {

// Runs `step`; an error is shown in a plain box as "Fehler in Funktion " + `function` + ": " + description.
// Whether the step succeeded.
template <class Step>
bool TrapInFunction(const Session& session, std::string_view function, Step&& step) {
  return Trap(std::forward<Step>(step), [&](const RuntimeError& error) {
    if (IsToldAsStop(session)) return;
    std::string text = "Fehler in Funktion ";
    text.append(function).append(": ").append(error.Description());
    session.platform.ui.MessageBox(text, "", Icon::kNone, Buttons::kOk);
  });
}

}  // namespace kestrel
