// What reading a source needs beside its settings, so that another thread can read it in its own time.
#pragma once

#include "component/session.h"
#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/user_interface.h"
#include "sources/source_kind.h"

namespace kestrel {

// Answers nobody and shows nothing: whoever reads apart tells of errors by what he returns.
class NobodyAsked : public UserInterface {
 public:
  Answer MessageBox(std::string_view, std::string_view, Icon, Buttons buttons) override {
    return buttons == Buttons::kOk ? Answer::kOk : Answer::kNo;
  }
  std::optional<std::string> InputBox(std::string_view, std::string_view) override { return {}; }
  std::optional<std::string> ChooseFile(std::string_view, std::string_view, const std::string&) override {
    return {};
  }
  std::optional<std::string> ChooseFolder(std::string_view, const std::string&) override { return {}; }
  void Yield() override {}
};

// The settings of a session's source, as they are when it is made. It owns whatever it refers to, so it may outlive
// that session, its windows and the host's kinds of sources.
class ApartSession {
 public:
  explicit ApartSession(const Session& of);
  ApartSession(const ApartSession&) = delete;
  ApartSession& operator=(const ApartSession&) = delete;

  Session& session() { return session_; }

 private:
  NobodyAsked ui_;
  ComponentRegistry components_;
  SystemClock clock_;
  SourceKinds kinds_;
  Session session_{Platform{ui_, components_, clock_, &kinds_}};
};

}  // namespace kestrel
