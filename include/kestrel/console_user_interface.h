// A user interface for programs without a screen. Messages go to a stream; questions are answered with the
// safe default (kOk, kNo, cancelled), as nobody is there to answer. Raises only what
// the stream raises; used by the thread of the import.
#pragma once

#include <iosfwd>

#include "kestrel/export.h"
#include "kestrel/user_interface.h"

namespace kestrel {

class KESTREL_EXPORT ConsoleUserInterface : public UserInterface {
 public:
  // `stream` outlives this object.
  explicit ConsoleUserInterface(std::ostream& stream) : stream_(stream) {}

  Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) override;
  std::optional<std::string> InputBox(std::string_view prompt, std::string_view title) override;
  std::optional<std::string> ChooseFile(std::string_view title, std::string_view filter,
                                        const std::string& start) override;
  std::optional<std::string> ChooseFolder(std::string_view title, const std::string& start) override;
  void Yield() override {}

 private:
  std::ostream& stream_;
};

}  // namespace kestrel
