// The commands of the program with their options, as CLI11 reads them, and what was given.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "cli/program.h"
#include "cli/target_command.h"

namespace kestrel::cli {

class CommandLine {
 public:
  CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  CLI::App& app() { return app_; }
  // Takes the arguments, without the program's name. Raises CLI::ParseError, also for help and version.
  void Parse(std::vector<std::string> arguments);
  // --- Behind Parse ---
  const CommonOptions& common() const { return common_; }
  // Runs the command that was given; its ExitStatus.
  int Perform(Workspace& workspace) { return perform_(workspace); }

 private:
  using Performed = std::function<int(Workspace&)>;
  // A command, and what it does when it is given.
  CLI::App* Add(const std::string& name, const std::string& description, Performed performed);
  CLI::App* WithSpec(CLI::App* command);
  CLI::App* WithFile(CLI::App* command);
  CLI::App* WithProgress(CLI::App* command, Progress& progress);
  void AddCommonOptions();
  void AddHelp();
  void AddLooks();
  void AddRun();
  void AddHostCommands();
  void AddNew();
  void AddServe();
  void AddTargetCommands();

  CLI::App app_;
  Performed perform_;
  CommonOptions common_;
  std::string spec_;
  std::string source_file_;
  std::int64_t records_ = 10;
  bool check_data_ = false;
  bool stdio_ = false;  // the only way there is; named, as others may come
  std::vector<std::string> help_on_;
  ListOptions list_;
  RunOptions run_;
  LogOptions log_;
  RunsOptions runs_;
  UndoOptions undo_;
  InitOptions init_;
  NewOptions new_;
  TargetOptions target_;
};

}  // namespace kestrel::cli
