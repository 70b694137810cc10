// A user interface that cannot show what a run has to say, which ends the run half done.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kestrel/runtime_error.h"
#include "kestrel/user_interface.h"

namespace kestrel::testing {

class BreakingUserInterface final : public UserInterface {
 public:
  // What windows told of errors, which comes up even so.
  std::vector<std::string> told;
  bool is_broken = false;

  Answer MessageBox(std::string_view text, std::string_view, Icon, Buttons buttons) override {
    if (is_broken && text != "Fehler: Kein Bildschirm.") throw RuntimeError(ErrorNumber::kAutomation, "Kein Bildschirm.");
    told.emplace_back(text);
    return buttons == Buttons::kOk ? Answer::kOk : Answer::kNo;
  }
  std::optional<std::string> InputBox(std::string_view, std::string_view) override { return {}; }
  std::optional<std::string> ChooseFile(std::string_view, std::string_view, const std::string&) override {
    return {};
  }
  std::optional<std::string> ChooseFolder(std::string_view, const std::string&) override { return {}; }
  void Yield() override {}
};

}  // namespace kestrel::testing
