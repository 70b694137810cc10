// Destinations made of tables of another application.
#pragma once

#include <string>
#include <vector>

#include "cli/program.h"

namespace kestrel::cli {

struct TargetOptions {
  std::string name;
  std::string table;
  std::vector<std::string> key_names;
  std::string key_street;
  std::string key_postal_code;
  std::string key_place;
  bool no_keys = false;
  bool rebuild = false;
  bool yes = false;
  bool backed_up = false;
  Progress progress = Progress::kAuto;
};

// Each returns an ExitStatus and raises NotUsable or RuntimeError.
int TargetAddCommand(Workspace& workspace, const TargetOptions& options);
int TargetEditCommand(Workspace& workspace, const TargetOptions& options);
int TargetListCommand(Workspace& workspace);
int TargetShowCommand(Workspace& workspace, const TargetOptions& options);
int TargetCheckCommand(Workspace& workspace, const TargetOptions& options);
int TargetRemoveCommand(Workspace& workspace, const TargetOptions& options);
int TargetUpgradeCommand(Workspace& workspace, const TargetOptions& options);

}  // namespace kestrel::cli
