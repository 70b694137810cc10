#include "cli/help_formatter.h"

#include <sstream>
#include <string_view>
#include <utility>

#include "cli/display_width.h"
#include "cli/screen.h"
#include "platform/base/text.h"

namespace kestrel::cli {

namespace {

// Where no terminal tells its width.
constexpr std::size_t kUsualColumns = 110;
constexpr std::size_t kNameColumns = 30;
// Of descriptions that stand below their names, as there is no room beside them.
constexpr std::size_t kIndent = 6;
constexpr std::size_t kNarrowestDescription = 24;

std::size_t Columns() {
  const std::size_t columns = Screen::OutColumns();
  return columns > 0 ? columns : kUsualColumns;
}

std::string Paragraph(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  if (text.empty()) return {};
  std::ostringstream out;
  WriteHanging(out, "", text, Columns());
  return out.str();
}

std::string Entry(const std::string& name, const std::string& description) {
  const bool is_beside = Columns() >= kNameColumns + kNarrowestDescription;
  const std::size_t indent = is_beside ? kNameColumns : kIndent;
  std::ostringstream out;
  std::string line = "  " + name;
  if (!is_beside || DisplayWidth(line) + 2 > indent) {
    out << line << '\n';
    line.clear();
  }
  line.append(indent - DisplayWidth(line), ' ');
  WriteHanging(out, std::move(line), description, Columns());
  return out.str();
}

}  // namespace

HelpFormatter::HelpFormatter() {
  label("OPTIONS", "OPTIONEN");
  label("SUBCOMMAND", "BEFEHL");
  label("Options", "Optionen");
  label("Positionals", "Angaben");
  label("Subcommands", "Befehle");
  label("Usage", "Aufruf");
}

// Headings of groups of options have no label.
std::string HelpFormatter::make_group(std::string group, bool is_positional,
                                      std::vector<const CLI::Option*> options) const {
  return CLI::Formatter::make_group(group == "Options" ? get_label(group) : group, is_positional,
                                    std::move(options));
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool is_positional) const {
  return Entry(ReplaceAll(make_option_name(option, is_positional), ",", ", ") + make_option_opts(option),
               make_option_desc(option));
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  std::string text;
  if (option->get_type_size() == 0) return text;
  if (!option->get_type_name().empty()) text += " " + option->get_type_name();
  if (option->get_expected_max() == CLI::detail::expected_max_vector_size) text += " ...";
  return text;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
  std::string text = option->get_description();
  if (option->get_required()) text += " (nötig)";
  std::string others;
  for (const CLI::Option* other : option->get_excludes()) others += " " + other->get_name();
  if (!others.empty()) text += " (nicht mit" + others + ")";
  return text;
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
  return Entry(command->get_name(), command->get_description());
}

std::string HelpFormatter::make_description(const CLI::App* app) const {
  return Paragraph(app->get_description());
}

std::string HelpFormatter::make_usage(const CLI::App* app, std::string name) const {
  return Paragraph(CLI::Formatter::make_usage(app, std::move(name)));
}

std::string HelpFormatter::make_footer(const CLI::App* app) const { return Paragraph(app->get_footer()); }

}  // namespace kestrel::cli
