// A user interface in front of another one that can be muted, for steps whose failures their caller tells itself.
#pragma once

#include "kestrel/user_interface.h"

namespace kestrel {

class MutedUserInterface final : public UserInterface {
 public:
  // `shown` outlives this object.
  explicit MutedUserInterface(UserInterface& shown) : shown_(shown) {}

  // While one lives, boxes are not shown and answered as if closed without an answer.
  class Mute {
   public:
    explicit Mute(MutedUserInterface& ui) : ui_(ui) { ++ui_.mutes_; }
    Mute(const Mute&) = delete;
    Mute& operator=(const Mute&) = delete;
    ~Mute() { --ui_.mutes_; }

   private:
    MutedUserInterface& ui_;
  };

  Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) override;
  std::optional<std::string> InputBox(std::string_view prompt, std::string_view title) override;
  std::optional<std::string> ChooseFile(std::string_view title, std::string_view filter,
                                        const std::string& start) override;
  std::optional<std::string> ChooseFolder(std::string_view title, const std::string& start) override;
  void Yield() override { shown_.Yield(); }

 private:
  UserInterface& shown_;
  int mutes_ = 0;
};

}  // namespace kestrel
