// The commands of 'target' with their options.
#include "cli/command_line.h"
#include "cli/german_usage.h"

namespace kestrel::cli {

void CommandLine::AddTargetCommands() {
  CLI::App* target = app_.add_subcommand("target", "Eigene Tabellen zu Importzielen machen");
  target->require_subcommand(1);
  const auto add = [&](const std::string& name, const std::string& description, Performed performed) {
    CLI::App* command = target->add_subcommand(name, description);
    command->callback([this, performed = std::move(performed)] { perform_ = performed; });
    return command;
  };
  const auto with_name = [this](CLI::App* command) {
    command->add_option("NAME", target_.name, "Name des Importziels")
        ->required()
        ->check(NotEmpty())
        ->type_name("");
    return command;
  };
  const auto with_keys = [this](CLI::App* command) {
    CLI::Option* name =
        command
            ->add_option("--key-name", target_.key_names,
                         "Dublettenprüfung: Spalte des Namens, bis zu dreimal (Vorname, Nachname)")
            ->check(NotEmpty())
            ->allow_extra_args(false)
            ->expected(1, 3)
            ->type_name("SPALTE");
    CLI::Option* street = command->add_option("--key-street", target_.key_street, "Spalte der Straße")
                              ->check(NotEmpty())
                              ->type_name("SPALTE");
    CLI::Option* code =
        command->add_option("--key-postal-code", target_.key_postal_code, "Spalte der Postleitzahl")
            ->check(NotEmpty())
            ->type_name("SPALTE");
    CLI::Option* place = command->add_option("--key-place", target_.key_place, "Spalte des Ortes")
                             ->check(NotEmpty())
                             ->type_name("SPALTE");
    CLI::Option* none = command->add_flag("--no-keys", target_.no_keys, "ohne Dublettenprüfung");
    for (CLI::Option* key : {name, street, code, place}) none->excludes(key);
    return WithProgress(command, target_.progress);
  };
  const auto with_table = [this](CLI::App* command, const char* description) {
    return command->add_option("--table", target_.table, description)->check(NotEmpty())->type_name("TABELLE");
  };

  CLI::App* made = with_name(add("add", "Eine Tabelle zum Importziel machen", [this](Workspace& workspace) {
    return TargetAddCommand(workspace, target_);
  }));
  with_table(made, "Tabelle der Datenbank, auch als schema.tabelle")->required();
  with_keys(made);
  add("list", "Die Importziele auflisten", [](Workspace& workspace) { return TargetListCommand(workspace); });
  with_name(add("show", "Die Felder eines Importziels zeigen",
                [this](Workspace& workspace) { return TargetShowCommand(workspace, target_); }));
  CLI::App* edited =
      with_name(add("edit", "Die Tabelle neu lesen, Schlüssel ändern",
                    [this](Workspace& workspace) { return TargetEditCommand(workspace, target_); }));
  with_table(edited, "andere Tabelle der Datenbank");
  with_keys(edited);
  CLI::App* removed =
      with_name(add("remove", "Ein Importziel entfernen; die Tabelle bleibt",
                    [this](Workspace& workspace) { return TargetRemoveCommand(workspace, target_); }));
  removed->add_flag("--yes", target_.yes, "auch seine Protokolle und Importläufe löschen, ohne zu fragen");
  CLI::App* checked =
      with_name(add("check", "Prüfen, ob Tabelle und Dublettenprüfung noch stimmen",
                    [this](Workspace& workspace) { return TargetCheckCommand(workspace, target_); }));
  checked->add_flag("--rebuild", target_.rebuild, "die Schlüssel der Dublettenprüfung in Ordnung bringen");
  WithProgress(checked, target_.progress);
  add("upgrade", "Die Tabellen einer früheren Version sichern und umstellen", [this](Workspace& workspace) {
    return TargetUpgradeCommand(workspace, target_);
  })->add_flag("--backed-up", target_.backed_up, "ohne Sicherung; es gibt schon eine");
}

}  // namespace kestrel::cli
