// A user interface for tests and unattended hosts: it keeps every box word for word and replays answers.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "kestrel/user_interface.h"

namespace kestrel {

class RecordingUserInterface final : public UserInterface {
 public:
  struct Box {
    std::string text;
    std::string title;
    Icon icon = Icon::kNone;
    Buttons buttons = Buttons::kOk;
    friend bool operator==(const Box&, const Box&) = default;
  };

  // What was asked and told, in order. Input boxes and choosers stand in `questions` as "title|prompt".
  std::vector<Box> boxes;
  std::vector<std::string> questions;
  int yields = 0;

  // Answers to come, taken from the front; without one a box answers kOk or kNo and a question is cancelled.
  std::deque<Answer> answers;
  std::deque<std::optional<std::string>> replies;
  // Runs inside every Yield, for tests that act during a run.
  std::function<void()> on_yield;

  Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) override;
  std::optional<std::string> InputBox(std::string_view prompt, std::string_view title) override;
  std::optional<std::string> ChooseFile(std::string_view title, std::string_view filter,
                                        const std::string& start) override;
  std::optional<std::string> ChooseFolder(std::string_view title, const std::string& start) override;
  void Yield() override;

 private:
  std::optional<std::string> NextReply();
};

}  // namespace kestrel
