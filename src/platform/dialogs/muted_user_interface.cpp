#include "platform/dialogs/muted_user_interface.h"

namespace kestrel {

Answer MutedUserInterface::MessageBox(std::string_view text, std::string_view title, Icon icon,
                                      Buttons buttons) {
  if (mutes_ > 0) return buttons == Buttons::kOk ? Answer::kOk : Answer::kNo;
  return shown_.MessageBox(text, title, icon, buttons);
}

std::optional<std::string> MutedUserInterface::InputBox(std::string_view prompt, std::string_view title) {
  return shown_.InputBox(prompt, title);
}

std::optional<std::string> MutedUserInterface::ChooseFile(std::string_view title, std::string_view filter,
                                                          const std::string& start) {
  return shown_.ChooseFile(title, filter, start);
}

std::optional<std::string> MutedUserInterface::ChooseFolder(std::string_view title, const std::string& start) {
  return shown_.ChooseFolder(title, start);
}

}  // namespace kestrel
