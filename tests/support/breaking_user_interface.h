// A user interface that cannot show what a run has to say, which ends the run half done.
#pragma once

#include <string>
#include <vector>

#include "kestrel/runtime_error.h"
#include "sources/apart_session.h"

namespace kestrel::testing {

class BreakingUserInterface final : public NobodyAsked {
 public:
  // What windows told of errors, which comes up even so.
  std::vector<std::string> told;
  bool is_broken = false;

  Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) override {
    if (is_broken && text != "Fehler: Kein Bildschirm.")
      throw RuntimeError(ErrorNumber::kAutomation, "Kein Bildschirm.");
    told.emplace_back(text);
    return NobodyAsked::MessageBox(text, title, icon, buttons);
  }
};

}  // namespace kestrel::testing
