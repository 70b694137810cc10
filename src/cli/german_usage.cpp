#include "cli/german_usage.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "cli/usage_error.h"
#include "platform/base/number.h"

namespace kestrel::cli {

namespace {

// How the check of values that are told begins its name.
constexpr std::string_view kPossibleValues = "one of";

// With points between groups of three digits.
std::string Grouped(std::int64_t number) {
  std::string digits = std::to_string(number);
  const std::size_t sign = number < 0 ? 1 : 0;
  for (std::size_t i = digits.size(); i > sign + 3;) digits.insert(i -= 3, 1, '.');
  return digits;
}

// Headings of groups of options have no label.
class Formatter final : public CLI::Formatter {
 public:
  std::string make_group(std::string group, bool is_positional,
                         std::vector<const CLI::Option*> options) const override {
    return CLI::Formatter::make_group(group == "Options" ? get_label(group) : group, is_positional,
                                      std::move(options));
  }
};

}  // namespace

void SpeakGerman(CLI::App& app) {
  app.formatter(std::make_shared<Formatter>());
  app.get_formatter()->label("OPTIONS", "OPTIONEN");
  app.get_formatter()->label("SUBCOMMAND", "BEFEHL");
  app.get_formatter()->label("Options", "Optionen");
  app.get_formatter()->label("Positionals", "Angaben");
  app.get_formatter()->label("Subcommands", "Befehle");
  app.get_formatter()->label("Usage", "Aufruf");
  app.get_formatter()->label("REQUIRED", "NÖTIG");
  app.get_formatter()->label("Excludes", "nicht mit");
  // Commands inherit it.
  app.group("Befehle");
  app.set_help_flag("-h,--help", "Diese Hilfe");
  app.failure_message([](const CLI::App* program, const CLI::Error& error) {
    return "kestrel-import: " + Explain(*program, error);
  });
}

CLI::Validator OneOf(const std::vector<std::string>& values) {
  const auto check = [values](const std::string& value) {
    std::string possible;
    for (const std::string& candidate : values) {
      if (value == candidate) return std::string();
      possible += (possible.empty() ? "" : ", ") + candidate;
    }
    return "'" + value + "' ist nicht möglich." + DidYouMean(value, values) + " Möglich sind: " + possible +
           ".";
  };
  CLI::Validator validator(check, "");
  std::string name(kPossibleValues);
  for (const std::string& candidate : values) name += " " + candidate;
  return validator.name(name);
}

std::vector<std::string> PossibleValues(CLI::Option& option) {
  try {
    for (int index = 0;; ++index) {
      const std::string& name = option.get_validator(index)->get_name();
      if (!name.starts_with(kPossibleValues)) continue;
      return CLI::detail::split_up(name.substr(kPossibleValues.size()));
    }
  } catch (const CLI::OptionNotFound&) {
    // Behind the last check.
    return {};
  }
}

CLI::Validator WholeNumber(std::int64_t least, std::int64_t most) {
  const auto check = [least, most](const std::string& value) {
    const auto number = ParseWholeNumber(value);
    return number && *number >= least && *number <= most
               ? std::string()
               : "'" + value + "' ist nicht möglich. Möglich sind ganze Zahlen von " + Grouped(least) +
                     " bis " + Grouped(most) + ".";
  };
  return {check, ""};
}

CLI::Validator NotEmpty() {
  const auto check = [](const std::string& value) {
    return value.empty() ? std::string("Der Wert ist leer. Geben Sie einen an, oder lassen Sie die Angabe weg.")
                         : std::string();
  };
  return {check, ""};
}

CLI::Validator WithoutSeparators() {
  const auto check = [](const std::string& value) {
    return value.find_first_of("/\\") == std::string::npos
               ? std::string()
               : "'" + value + "' enthält / oder \\; beides kommt in einer Personalnummer nicht vor.";
  };
  return {check, ""};
}

}  // namespace kestrel::cli
