// The help texts: in German, their columns aligned by what is seen, and no wider than the screen.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kestrel::cli {

class HelpFormatter final : public CLI::Formatter {
 public:
  HelpFormatter();

  std::string make_group(std::string group, bool is_positional,
                         std::vector<const CLI::Option*> options) const override;
  std::string make_option(const CLI::Option* option, bool is_positional) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* command) const override;
  std::string make_description(const CLI::App* app) const override;
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_footer(const CLI::App* app) const override;
};

}  // namespace kestrel::cli
