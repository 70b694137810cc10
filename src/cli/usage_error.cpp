#include "cli/usage_error.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>

#include "platform/base/nearest_name.h"
#include "platform/base/number.h"

namespace kestrel::cli {

namespace {

using Commands = std::vector<const CLI::App*>;

Commands CommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  return names;
}

const CLI::Option* FindOption(const CLI::App& app, const std::string& name) {
  for (const CLI::Option* option : OptionsOf(app)) {
    const std::vector<std::string> names = NamesOf(*option);
    if (std::find(names.begin(), names.end(), name) != names.end()) return option;
  }
  return nullptr;
}

const CLI::App* FindCommand(const CLI::App& above, const std::string& name) {
  for (const CLI::App* command : CommandsOf(above)) {
    if (command->get_name() == name) return command;
  }
  return nullptr;
}

// As it is typed: "target add".
std::string CalledAs(const Commands& path) {
  std::string words;
  for (std::size_t i = 1; i < path.size(); ++i) words += (i > 1 ? " " : "") + path[i]->get_name();
  return words;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

std::vector<std::string> CommandNames(const CLI::App& above) {
  std::vector<std::string> names;
  for (const CLI::App* command : CommandsOf(above)) names.push_back(command->get_name());
  return names;
}

WrongUse UnknownOption(const Commands& path, const std::string& name) {
  std::vector<std::string> known;
  for (const CLI::App* app : path) {
    for (const CLI::Option* option : OptionsOf(*app)) {
      const std::vector<std::string> names = NamesOf(*option);
      known.insert(known.end(), names.begin(), names.end());
    }
  }
  const std::string here = path.size() > 1 ? " bei '" + CalledAs(path) + "'" : "";
  std::vector<std::string> owners;
  for (const CLI::App* command : CommandsOf(*path.front())) {
    if (FindOption(*command, name) != nullptr) owners.push_back("'" + command->get_name() + "'");
  }
  std::string text = "Die Option " + name + " gibt es" + here + " nicht.";
  if (owners.empty()) return WrongUse(text + DidYouMean(name, known), CalledAs(path));
  // In front of the command it is too early.
  if (path.size() == 1)
    return WrongUse(text + " Sie steht hinter dem Befehl, zu dem sie gehört: " + Joined(owners) + ".");
  return WrongUse(text + " Sie gehört zu " + Joined(owners) + ".", CalledAs(path));
}

std::size_t MostPositionals(const CLI::App& app) {
  std::size_t most = 0;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_positional()) most += static_cast<std::size_t>(option->get_items_expected_max());
  }
  return most;
}

WrongUse OneTooMany(const Commands& path, const std::string& word) {
  std::string text = "Die Angabe '" + word + "' ist bei '" + CalledAs(path) + "' zu viel.";
  for (const CLI::Option* option : OptionsOf(*path.back())) {
    if (!option->get_lnames().empty() && option->get_lnames()[0] == word) {
      return WrongUse(text + " Meinten Sie '--" + word + "'?", CalledAs(path));
    }
  }
  return WrongUse(text + " Was Leerzeichen enthält, gehört in Anführungszeichen.", CalledAs(path));
}

std::string Before(const std::string& text, std::string_view mark) { return text.substr(0, text.find(mark)); }

std::string Behind(const std::string& text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? text : text.substr(at + mark.size());
}

// By the kinds of errors that the program's options can have.
std::string Reason(const CLI::Error& error) {
  std::string text = error.what();
  switch (static_cast<CLI::ExitCodes>(error.get_exit_code())) {
    case CLI::ExitCodes::RequiredError: return "Es fehlt die Angabe " + Before(text, " is required") + ".";
    case CLI::ExitCodes::ExtrasError: return "Diese Angabe ist hier nicht bekannt: " + Behind(text, ": ");
    case CLI::ExitCodes::ArgumentMismatch:
      return "Die Zahl der Werte passt nicht zu " + Before(text, ":") + ".";
    case CLI::ExitCodes::ExcludesError:
      return Before(text, " excludes ") + " und " + Behind(text, " excludes ") +
             " sind zusammen nicht möglich.";
    case CLI::ExitCodes::ConversionError: return "Dieser Wert ist nicht möglich: " + Behind(text, ": ");
    default: break;
  }
  return text;
}

// Walks along the words as the reader will.
class Words {
 public:
  Words(const CLI::App& program, const std::vector<std::string>& words) : words_(words), path_{&program} {}

  void RequireKnown() {
    for (at_ = 0; at_ < words_.size(); ++at_) {
      if (words_[at_] == "--") {
        // No command comes any more, and no option.
        if (path_.back()->get_require_subcommand_min() > 0) break;
        while (++at_ < words_.size()) PassWord(words_[at_]);
      } else if (IsOption(words_[at_])) {
        PassOption(words_[at_]);
      } else if (const CLI::App* command = FindCommand(*path_.back(), words_[at_])) {
        path_.push_back(command);
        // What follows are names.
        if (command->get_name() == "help") return;
      } else {
        PassWord(words_[at_]);
      }
    }
    const CLI::App& last = *path_.back();
    if (last.get_require_subcommand_min() > 0 && !is_help_) {
      throw WrongUse(
          (path_.size() == 1 ? "Es fehlt ein Befehl." : "Zu '" + CalledAs(path_) + "' fehlt, was zu tun ist.") +
          " Möglich sind: " + Joined(CommandNames(last)) + ".");
    }
  }

 private:
  static bool IsOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && !IsNumeric(word);
  }

  void PassOption(const std::string& word) {
    const bool is_long = word.starts_with("--");
    const std::string name = is_long ? Before(word, "=") : word.substr(0, 2);
    const CLI::Option* option = Find(name);
    if (option == nullptr) throw UnknownOption(path_, name);
    is_help_ |=
        option->get_items_expected_max() == 0 && (name == "--help" || name == "-h" || name == "--version");
    if (option->get_items_expected_max() == 0) return;
    if (option->get_items_expected_max() == 1 && !given_.insert(option).second)
      throw WrongUse(name + " ist mehr als einmal angegeben.", CalledAs(path_));
    const bool is_joined = word.size() > name.size();
    if (is_joined ? word == name + "=" : at_ + 1 == words_.size() || Find(words_[at_ + 1]) != nullptr)
      throw WrongUse("Zu " + name + " fehlt ein Wert.", CalledAs(path_));
    if (!is_joined) ++at_;
  }

  void PassWord(const std::string& word) {
    if (MostPositionals(*path_.back()) == 0 && !CommandsOf(*path_.back()).empty()) {
      RequireCommand(*path_.back(), word);
    }
    if (++positionals_ > MostPositionals(*path_.back())) throw OneTooMany(path_, word);
  }

  // Options of the commands above hold here, too.
  const CLI::Option* Find(const std::string& name) const {
    for (const CLI::App* app : path_) {
      if (const CLI::Option* option = FindOption(*app, name)) return option;
    }
    return nullptr;
  }

  const std::vector<std::string>& words_;
  Commands path_;
  std::size_t at_ = 0;
  std::size_t positionals_ = 0;
  std::set<const CLI::Option*> given_;
  bool is_help_ = false;
};

}  // namespace

void RequireKnownWords(const CLI::App& program, const std::vector<std::string>& arguments) {
  Words(program, arguments).RequireKnown();
}

const CLI::App& RequireCommand(const CLI::App& above, const std::string& name) {
  if (const CLI::App* command = FindCommand(above, name)) return *command;
  const std::vector<std::string> names = CommandNames(above);
  const bool is_option = FindOption(above, "--" + name) != nullptr;
  const std::string meant = is_option ? " Meinten Sie '--" + name + "'?" : DidYouMean(name, names);
  throw WrongUse("Den Befehl '" + name + "' gibt es nicht." +
                 (!meant.empty()  ? meant
                  : names.empty() ? " '" + above.get_name() + "' hat keine weiteren."
                                  : " Möglich sind: " + Joined(names) + "."));
}

std::string Explain(const CLI::App& program, const CLI::Error& error) {
  const auto* wrong_use = dynamic_cast<const WrongUse*>(&error);
  std::string command = wrong_use != nullptr ? wrong_use->command() : std::string();
  if (wrong_use == nullptr) {
    for (const CLI::App* app = &program; !app->get_subcommands().empty();) {
      app = app->get_subcommands().front();
      command += (command.empty() ? "" : " ") + app->get_name();
    }
  }
  return Reason(error) + (command.empty() ? "\nAlle Befehle und Angaben zeigt 'kestrel-import --help'.\n"
                                          : "\nAlle Angaben zeigt 'kestrel-import help " + command + "'.\n");
}

std::string DidYouMean(const std::string& name, const std::vector<std::string>& candidates) {
  const std::optional<std::string> nearest = NearestName(name, candidates);
  return nearest ? " Meinten Sie '" + *nearest + "'?" : std::string();
}

}  // namespace kestrel::cli
