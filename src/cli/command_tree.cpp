#include "cli/command_tree.h"

#include <ostream>
#include <string>
#include <vector>

#include "cli/german_usage.h"
#include "cli/output.h"

namespace kestrel::cli {

namespace {

// Writes what `write` does for each element, as an array.
template <typename Elements, typename Write>
void WriteArray(std::ostream& out, const Elements& elements, const Write& write) {
  out << '[';
  bool first = true;
  for (const auto& element : elements) {
    if (!first) out << ',';
    first = false;
    write(element);
  }
  out << ']';
}

void WriteTexts(std::ostream& out, const std::vector<std::string>& texts) {
  WriteArray(out, texts, [&](const std::string& text) { WriteJsonText(out, text); });
}

std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

void WriteOption(std::ostream& out, CLI::Option& option) {
  JsonObject object(out);
  WriteTexts(object.Member("names"), NamesOf(option));
  object.Text("positional", option.get_name(true))
      .Text("value", option.get_items_expected_max() > 0 ? option.get_type_name() : "")
      .Truth("takesValue", option.get_items_expected_max() > 0)
      .Truth("required", option.get_required())
      .Truth("repeated", option.get_items_expected_max() > 1)
      .Text("description", option.get_description());
  WriteTexts(object.Member("values"), PossibleValues(option));
  std::vector<std::string> excluded;
  for (const CLI::Option* other : option.get_excludes()) excluded.push_back(other->get_name());
  WriteTexts(object.Member("excludes"), excluded);
  object.Close();
}

}  // namespace

void WriteCommandTree(CLI::App& app, std::ostream& out) {
  JsonObject object(out);
  object.Text("name", app.get_name())
      .Text("description", app.get_description())
      .Text("footer", app.get_footer());
  WriteArray(object.Member("options"), app.get_options([](CLI::Option* o) { return !o->get_group().empty(); }),
             [&](CLI::Option* option) { WriteOption(out, *option); });
  WriteArray(object.Member("commands"),
             app.get_subcommands([](CLI::App* command) { return !command->get_group().empty(); }),
             [&](CLI::App* command) { WriteCommandTree(*command, out); });
  object.Close();
}

}  // namespace kestrel::cli
