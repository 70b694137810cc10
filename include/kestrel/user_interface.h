// Everything that asks or tells a person. The component calls it, from the thread of the import; a screen, a console
// or a test answers. Texts and paths are UTF-8. What it raises ends the import and passes on to whoever runs it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kestrel/export.h"

namespace kestrel {

// The picture of a box.
enum class Icon { kNone, kInformation, kQuestion, kStop };
// What a box can be answered with.
enum class Buttons { kOk, kYesNo };
// The button that was pressed: kOk of Buttons::kOk, else one of the others.
enum class Answer { kOk, kYes, kNo };

// The title of a box that has none of its own.
inline constexpr const char* kDefaultTitle = "KESTREL Import";

// Boxes and questions. A host implements it, or takes QtUserInterface or ConsoleUserInterface.
class KESTREL_EXPORT UserInterface {
 public:
  virtual ~UserInterface() = default;

  // Shows a box and waits for the answer. An empty title shows kDefaultTitle. A box closed without an
  // answer counts as kOk or kNo.
  virtual Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) = 0;
  // Asks for one line of text; none when cancelled.
  virtual std::optional<std::string> InputBox(std::string_view prompt, std::string_view title) = 0;
  // Asks for an existing file. `filter` is a pattern like "*.MDB", or names with patterns to choose from, the first
  // to begin with: "Texte (*.txt *.csv);;Alle Dateien (*)". `start`: a path to begin at, may be empty.
  virtual std::optional<std::string> ChooseFile(std::string_view title, std::string_view filter,
                                                const std::string& start) = 0;
  // Asks for an existing folder, beginning at `start`, which may be empty; none when cancelled, as above.
  virtual std::optional<std::string> ChooseFolder(std::string_view title, const std::string& start) = 0;
  // Lets the message loop handle what is waiting (repaints, a close request).
  virtual void Yield() = 0;
};

}  // namespace kestrel
