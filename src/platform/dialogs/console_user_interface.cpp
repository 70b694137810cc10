#include "kestrel/console_user_interface.h"

#include <ostream>

#include "platform/base/terminal_text.h"

namespace kestrel {

Answer ConsoleUserInterface::MessageBox(std::string_view text, std::string_view title, Icon icon,
                                        Buttons buttons) {
  if (!title.empty()) stream_ << TerminalText(title) << ": ";
  if (icon == Icon::kStop) stream_ << "[Fehler] ";
  stream_ << TerminalText(text) << std::endl;
  return buttons == Buttons::kOk ? Answer::kOk : Answer::kNo;
}

std::optional<std::string> ConsoleUserInterface::InputBox(std::string_view prompt, std::string_view title) {
  stream_ << TerminalText(title) << ": " << TerminalText(prompt) << " (keine Eingabe möglich)" << std::endl;
  return std::nullopt;
}

std::optional<std::string> ConsoleUserInterface::ChooseFile(std::string_view, std::string_view,
                                                            const std::string&) {
  return std::nullopt;
}

std::optional<std::string> ConsoleUserInterface::ChooseFolder(std::string_view, const std::string&) {
  return std::nullopt;
}

}  // namespace kestrel
