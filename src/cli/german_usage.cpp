#include "cli/german_usage.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "cli/help_formatter.h"
#include "cli/usage_error.h"
#include "platform/base/grouped_number.h"
#include "platform/base/number.h"

namespace kestrel::cli {

namespace {

// How the check of values that are told begins its name.
constexpr std::string_view kPossibleValues = "one of";

}  // namespace

void SpeakGerman(CLI::App& app) {
  app.formatter(std::make_shared<HelpFormatter>());
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
               : "'" + value + "' ist nicht möglich. Möglich sind ganze Zahlen von " + GroupedNumber(least) +
                     " bis " + GroupedNumber(most) + ".";
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

CLI::Validator OutputFile() {
  const auto check = [](const std::string& value) {
    if (value.empty())
      return std::string("Der Wert ist leer. Geben Sie eine Datei an, oder lassen Sie die Angabe weg.");
    return value == "-"
               ? std::string("Auf die Standardausgabe geht es hier nicht; eine Datei dieses Namens ist ./-.")
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
