#include "cli/german_usage.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/base/number.h"

namespace kestrel::cli {

namespace {

// How the check of values that are told begins its name.
constexpr std::string_view kPossibleValues = "one of";

std::string Before(const std::string& text, std::string_view mark) { return text.substr(0, text.find(mark)); }

std::string Behind(const std::string& text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? text : text.substr(at + mark.size());
}

// What is wrong, by the kinds of errors that the program's options can have.
std::string Explain(const CLI::Error& error) {
  std::string text = error.what();
  switch (static_cast<CLI::ExitCodes>(error.get_exit_code())) {
    case CLI::ExitCodes::RequiredError:
      if (text.starts_with("A subcommand")) return "Es fehlt ein Befehl, oder er ist falsch geschrieben.";
      return "Es fehlt die Angabe " + Before(text, " is required") + ".";
    case CLI::ExitCodes::ExtrasError: return "Diese Angabe ist hier nicht bekannt: " + Behind(text, ": ");
    case CLI::ExitCodes::ArgumentMismatch: return "Zu " + Before(text, ":") + " fehlt ein Wert.";
    case CLI::ExitCodes::ExcludesError:
      return Before(text, " excludes ") + " und " + Behind(text, " excludes ") +
             " sind zusammen nicht möglich.";
    case CLI::ExitCodes::ConversionError: return "Dieser Wert ist nicht möglich: " + Behind(text, ": ");
    default: break;
  }
  return text;
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
  app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return "kestrel-import: " + Explain(error) + "\nAlle Befehle und Angaben zeigt 'kestrel-import --help'.\n";
  });
}

CLI::Validator OneOf(const std::vector<std::string>& values) {
  const auto check = [values](const std::string& value) {
    std::string possible;
    for (const std::string& candidate : values) {
      if (value == candidate) return std::string();
      possible += (possible.empty() ? "" : ", ") + candidate;
    }
    return "'" + value + "' ist nicht möglich. Möglich sind: " + possible + ".";
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

CLI::Validator Count() {
  const auto check = [](const std::string& value) {
    const auto number = ParseWholeNumber(value);
    return number && *number >= 0 ? std::string() : "'" + value + "' ist keine Anzahl.";
  };
  return {check, ""};
}

CLI::Validator PositiveCount() {
  const auto check = [](const std::string& value) {
    const auto number = ParseWholeNumber(value);
    return number && *number >= 1 && *number <= INT32_MAX
               ? std::string()
               : "'" + value + "' ist nicht möglich. Möglich sind Zahlen ab 1.";
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
