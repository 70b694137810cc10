#include "cli/command_line.h"

#include <algorithm>
#include <utility>

#include "cli/german_usage.h"
#include "cli/usage_error.h"
#include "kestrel/version.h"

namespace kestrel::cli {

namespace {

constexpr const char* kExitStatusHelp =
    "Rückgabewerte: 0 fertig ohne Fehler; 1 fertig, Fehler gezählt; 2 falscher Aufruf; 3 vom Importziel "
    "abgebrochen; 4 Spezifikation, Datenquelle, Datenbank oder Komponente nicht nutzbar; 5 vom Benutzer "
    "abgebrochen.";

}  // namespace

CommandLine::CommandLine()
    : app_("Adressen aus Textdateien und Datenbanken mit einer Importspezifikation übernehmen.",
           "kestrel-import") {
  SpeakGerman(app_);
  app_.footer(kExitStatusHelp);
  app_.require_subcommand(1);
  app_.fallthrough();
  app_.set_version_flag("--version", std::string("kestrel-import ") + Version(), "Die Version");
  AddCommonOptions();
  AddLooks();
  AddNew();
  AddRun();
  AddHostCommands();
  AddServe();
  AddTargetCommands();
  AddHelp();
}

void CommandLine::Parse(std::vector<std::string> arguments) {
  RequireKnownWords(app_, arguments);
  std::reverse(arguments.begin(), arguments.end());
  app_.parse(std::move(arguments));
  if (common_.excel && common_.format != OutputFormat::kCsv) {
    throw WrongUse("--excel wirkt auf CSV. Geben Sie --format csv dazu an, oder lassen Sie --excel weg.");
  }
}

CLI::App* CommandLine::Add(const std::string& name, const std::string& description, Performed performed) {
  CLI::App* command = app_.add_subcommand(name, description);
  command->callback([this, performed = std::move(performed)] { perform_ = performed; });
  return command;
}

CLI::App* CommandLine::WithSpec(CLI::App* command) {
  command->add_option("SPEC", spec_, "Datei, Dateiname oder Beschreibung einer Spezifikation")
      ->required()
      ->type_name("");
  return command;
}

CLI::App* CommandLine::WithFile(CLI::App* command) {
  command
      ->add_option("--file", source_file_,
                   "diese Quelldatei statt der gespeicherten; - ist die Standardeingabe")
      ->check(NotEmpty())
      ->type_name("DATEI");
  return command;
}

CLI::App* CommandLine::WithProgress(CLI::App* command, Progress& progress) {
  OneOfOption(command, "--progress", progress,
              {{"auto", Progress::kAuto}, {"plain", Progress::kPlain}, {"none", Progress::kNone}},
              "Fortschritt: auto, plain oder none")
      ->type_name("ART");
  return command;
}

void CommandLine::AddCommonOptions() {
  app_.add_option("--host", common_.host, "Datenbank der Hauptanwendung (auch KESTREL_HOST)")
      ->check(NotEmpty())
      ->type_name("VERBINDUNG");
  app_.add_option("--folder", common_.folder,
                  "Ordner mit den Spezifikationen oder der Ordner über \"Import\" (auch KESTREL_HOME)")
      ->check(NotEmpty())
      ->type_name("ORDNER");
  OneOfOption(&app_, "--format", common_.format,
              {{"text", OutputFormat::kText}, {"json", OutputFormat::kJson}, {"csv", OutputFormat::kCsv}},
              "Ausgabe: text, json oder csv")
      ->type_name("FORMAT");
  app_.add_flag("--excel", common_.excel,
                "mit --format csv: Zellen, die mit =, +, - oder @ beginnen, rechnet keine Tabellenkalkulation");
}

void CommandLine::AddHelp() {
  CLI::App* help = app_.add_subcommand("help", "Die Hilfe zu einem Befehl");
  help->add_option("BEFEHL", help_on_, "Name des Befehls; ohne ihn alle Befehle")->type_name("");
  help->callback([this] {
    const CLI::App* command = &app_;
    std::string called_as = app_.get_name();
    for (const std::string& name : help_on_) {
      command = &RequireCommand(*command, name);
      called_as += " " + name;
    }
    // Asked for its help, the program would show that of this command.
    throw HelpOn(app_.get_formatter()->make_help(command, called_as, CLI::AppFormatMode::Normal));
  });
}

void CommandLine::AddLooks() {
  CLI::App* list = Add("list", "Importspezifikationen auflisten",
                       [this](Workspace& workspace) { return ListCommand(workspace, list_); });
  list->add_option_function<std::int16_t>(
          "--app-mode",
          [this](const std::int16_t& app_mode) {
            list_.app_mode = app_mode;
            list_.app_mode_given = true;
          },
          "nur die einer Anwendung")
      ->check(WholeNumber(INT16_MIN, INT16_MAX))
      ->type_name("N");
  list->add_flag("--templates", list_.templates, "Vorlagen statt gespeicherter Importe");

  WithSpec(Add("show", "Einstellungen und Feldzuordnungen zeigen",
               [this](Workspace& workspace) { return ShowCommand(workspace, spec_); }));
  CLI::App* check =
      WithFile(WithSpec(Add("check", "Eine Spezifikation auf Fehler prüfen", [this](Workspace& workspace) {
        return CheckCommand(workspace, {spec_, source_file_, check_data_});
      })));
  check->add_flag("--data", check_data_, "auch jeden Wert der Datenquelle prüfen");
  WithSpec(Add("tables", "Tabellen der Datenquelle auflisten",
               [this](Workspace& workspace) { return TablesCommand(workspace, spec_); }));
  WithFile(WithSpec(Add("columns", "Spalten der Datenquelle auflisten", [this](Workspace& workspace) {
    return ColumnsCommand(workspace, spec_, source_file_);
  })));
  CLI::App* preview =
      WithFile(WithSpec(Add("preview", "Die ersten Datensätze der Quelle zeigen", [this](Workspace& workspace) {
        return PreviewCommand(workspace, spec_, source_file_, records_);
      })));
  preview->add_option("-n", records_, "Anzahl der Datensätze")
      ->check(WholeNumber(0, INT32_MAX))
      ->type_name("N");
}

void CommandLine::AddNew() {
  CLI::App* command = Add("new", "Eine Spezifikation aus einer Quelldatei und einem Importziel anlegen",
                          [this](Workspace& workspace) {
                            new_.spec = spec_;
                            return NewCommand(workspace, new_);
                          });
  command->add_option("SPEC", spec_, "Name der neuen Spezifikation, oder ihr Pfad")->required()->type_name("");
  command->add_option("--from", new_.from, "die Quelldatei; ihre Einstellungen werden erkannt")
      ->required()
      ->check(NotEmpty())
      ->type_name("DATEI");
  command->add_option("--target", new_.target, "das Importziel, etwa ksbimport.importkunden")
      ->required()
      ->check(NotEmpty())
      ->type_name("ZIEL");
  command->add_option("--table", new_.table, "Tabelle oder Blatt der Quelle; ohne die Angabe das erste")
      ->check(NotEmpty())
      ->type_name("TABELLE");
  command->add_option("--app-mode", new_.app_mode, "Anwendung; ohne die Angabe die der Vorlage, sonst 2")
      ->check(WholeNumber(INT16_MIN, INT16_MAX))
      ->type_name("N");
}

void CommandLine::AddServe() {
  CLI::App* serve =
      Add("serve", "Für Programme: Befehle als JSON-RPC annehmen, wie docs/serve.md es beschreibt",
          [](Workspace& workspace) { return ServeCommand(workspace.options(), workspace.surroundings()); });
  serve->add_flag("--stdio", stdio_, "über Standardeingabe und Standardausgabe")->required();
}

void CommandLine::AddRun() {
  CLI::App* run = WithFile(WithSpec(Add("run", "Importieren", [this](Workspace& workspace) {
    run_.spec = spec_;
    run_.source_file = source_file_;
    return RunCommand(workspace, run_);
  })));
  run->add_flag("--test", run_.test, "nur lesen und prüfen, nichts speichern");
  run->add_option("--user", common_.user, "Personalnummer für die Protokolle")
      ->check(WithoutSeparators())
      ->type_name("PERSONALNR");
  WithProgress(run, run_.progress);
  run->add_flag("--quiet", run_.quiet, "nur melden, was nicht gelang");
  run->add_option("--json-log", run_.json_log,
                  "an diese Datei Ereignisse des Laufs anhängen, ein JSON-Objekt je Zeile")
      ->check(OutputFile())
      ->type_name("DATEI");
  run->add_option("--from", run_.settings.from, "mit diesem Datensatz der Quelle beginnen")
      ->check(WholeNumber(1, INT32_MAX))
      ->type_name("DATENSATZ");
  run->add_option("--max-errors", run_.settings.most_errors, "nach so vielen Fehlern anhalten")
      ->check(WholeNumber(1, INT32_MAX))
      ->type_name("N");
  run->add_option("--rejects", run_.settings.rejects_file,
                  "nicht gespeicherte Datensätze in diese Datei schreiben")
      ->check(OutputFile())
      ->type_name("DATEI");
}

void CommandLine::AddHostCommands() {
  CLI::App* log = Add("log", "Protokolle der Importe zeigen",
                      [this](Workspace& workspace) { return LogCommand(workspace, log_); });
  OneOfOption(log, "WELCHES", log_.duplicates, {{"errors", false}, {"duplicates", true}},
              "errors oder duplicates")
      ->type_name("");
  log->add_flag("--last", log_.last, "nur das letzte");

  CLI::App* runs = Add("runs", "Importläufe auflisten oder einen zeigen",
                       [this](Workspace& workspace) { return RunsCommand(workspace, runs_); });
  CLI::Option* shown_run =
      runs->add_option("LAUF", runs_.run, "Nummer eines Laufs: was aus seinen Datensätzen wurde")
          ->check(WholeNumber(1, INT32_MAX))
          ->type_name("");
  runs->add_flag("--last", runs_.last, "den letzten zeigen")->excludes(shown_run);

  CLI::App* undo = Add("undo", "Einen Importlauf zurücknehmen",
                       [this](Workspace& workspace) { return UndoCommand(workspace, undo_); });
  undo->add_option("LAUF", undo_.run, "Nummer des Laufs, wie 'runs' sie zeigt")
      ->required()
      ->check(WholeNumber(1, INT32_MAX))
      ->type_name("");
  undo->add_flag("--dry-run", undo_.dry_run, "nur zeigen, was stehen bliebe");
  undo->add_flag("--force", undo_.force, "auch zurücknehmen, was seit dem Import geändert wurde");
  WithProgress(undo, undo_.progress);

  CLI::App* init = Add("init", "Eine Beispielanwendung mit Datenbank und Vorlagen anlegen",
                       [this](Workspace& workspace) { return InitCommand(workspace, init_); });
  init->add_option("ORDNER", init_.folder, "neuer oder leerer Ordner")->required()->type_name("");
  init->add_flag("--force", init_.force, "auch in einem Ordner, der nicht leer ist; was dort liegt, bleibt");
}

}  // namespace kestrel::cli
