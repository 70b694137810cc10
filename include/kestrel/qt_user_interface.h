// The user interface on the screen: message boxes, input box, file and folder choice. For the thread of the
// QApplication; raises nothing.
#pragma once

#include "kestrel/export.h"
#include "kestrel/user_interface.h"

namespace kestrel {

class KESTREL_EXPORT QtUserInterface final : public UserInterface {
 public:
  // Boxes belong to the window that is active when they are shown, or would be if this program were, so that they
  // stay above it; it has the keyboard again when they have closed.
  QtUserInterface() = default;

  Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) override;
  std::optional<std::string> InputBox(std::string_view prompt, std::string_view title) override;
  // The same with a text to begin with.
  std::optional<std::string> InputBox(std::string_view prompt, std::string_view title, std::string_view start);
  std::optional<std::string> ChooseFile(std::string_view title, std::string_view filter,
                                        const std::string& start) override;
  std::optional<std::string> ChooseFolder(std::string_view title, const std::string& start) override;
  void Yield() override;

  // As MessageBox with Icon::kQuestion and Buttons::kYesNo, with Enter answering no.
  Answer AskBeforeLoss(std::string_view text, std::string_view title);
};

// Loads Qt's own German texts (Ja, Nein, the file dialog) into the application; once is enough. The wizard and
// every box do so when they are shown.
KESTREL_EXPORT void SpeakGerman();

}  // namespace kestrel
