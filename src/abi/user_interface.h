// The user interface of a program in C.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kestrel/kestrel.h"
#include "kestrel/user_interface.h"

namespace kestrel::abi {

class Library;

class CUserInterface final : public UserInterface {
 public:
  // The library outlives this object.
  explicit CUserInterface(Library& library) : library_(library) {}

  // Whom to ask from now on; without a function nobody.
  void Use(const kestrel_user_interface& functions) { functions_ = functions; }
  // What the question under way is answered with. Raises 5 where there is none.
  void AnswerWith(std::string text);

  Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) override;
  std::optional<std::string> InputBox(std::string_view prompt, std::string_view title) override;
  std::optional<std::string> ChooseFile(std::string_view title, std::string_view filter,
                                        const std::string& start) override;
  std::optional<std::string> ChooseFolder(std::string_view title, const std::string& start) override;
  void Yield() override {}

 private:
  // Returns the number that the program answers with; raises what it failed with.
  std::int32_t Ask(kestrel_question question);
  std::optional<std::string> AskForText(kestrel_question question);

  Library& library_;
  kestrel_user_interface functions_{};
  bool is_asking_ = false;
  std::optional<std::string> answer_;
};

}  // namespace kestrel::abi
