// What a command says while its database keeps it waiting.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "cli/program.h"
#include "kestrel/connection.h"
#include "kestrel/waits.h"

namespace kestrel::cli {

// While it lives, what the host's connection waits for (another program's lock, long work of its own) is told on
// standard error, each reason once, and a signal that asks for a stop ends it.
class ToldWaits final : private WaitWatch {
 public:
  // `workspace`, whose session has a host's connection, outlives this object. `before` is called before it is told.
  explicit ToldWaits(
      Workspace& workspace, std::function<void()> before = [] {});
  ~ToldWaits() override;
  ToldWaits(const ToldWaits&) = delete;
  ToldWaits& operator=(const ToldWaits&) = delete;

 private:
  bool KeepWaiting(std::string_view reason) override;

  Workspace& workspace_;
  Connection& connection_;
  const std::function<void()> before_;
  std::set<std::string, std::less<>> told_;
};

}  // namespace kestrel::cli
