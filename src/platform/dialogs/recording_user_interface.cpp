#include "platform/dialogs/recording_user_interface.h"

#include <utility>

namespace kestrel {

Answer RecordingUserInterface::MessageBox(std::string_view text, std::string_view title, Icon icon,
                                          Buttons buttons) {
  boxes.push_back(Box{std::string(text), std::string(title), icon, buttons});
  if (answers.empty()) return buttons == Buttons::kOk ? Answer::kOk : Answer::kNo;
  const Answer answer = answers.front();
  answers.pop_front();
  return answer;
}

std::optional<std::string> RecordingUserInterface::InputBox(std::string_view prompt, std::string_view title) {
  questions.push_back(std::string(title) + "|" + std::string(prompt));
  return NextReply();
}

std::optional<std::string> RecordingUserInterface::ChooseFile(std::string_view title, std::string_view filter,
                                                              const std::string&) {
  questions.push_back(std::string(title) + "|" + std::string(filter));
  return NextReply();
}

std::optional<std::string> RecordingUserInterface::ChooseFolder(std::string_view title, const std::string&) {
  questions.push_back(std::string(title) + "|");
  return NextReply();
}

void RecordingUserInterface::Yield() {
  ++yields;
  if (on_yield) on_yield();
}

std::optional<std::string> RecordingUserInterface::NextReply() {
  if (replies.empty()) return std::nullopt;
  std::optional<std::string> reply = std::move(replies.front());
  replies.pop_front();
  return reply;
}

}  // namespace kestrel
