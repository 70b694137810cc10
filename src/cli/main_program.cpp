#include <algorithm>
#include <cerrno>
#include <ostream>
#include <utility>

#include "cli/command_tree.h"
#include "cli/german_usage.h"
#include "cli/program.h"

namespace kestrel::cli {

namespace {

constexpr const char* kExitStatusHelp =
    "Rückgabewerte: 0 fertig ohne Fehler; 1 fertig, Fehler gezählt; 2 falscher Aufruf; 3 vom Importziel\n"
    "abgebrochen; 4 Spezifikation, Datenquelle, Datenbank oder Komponente nicht nutzbar; 5 vom Benutzer "
    "abgebrochen.";

// Reads the arguments and runs the command that they name; its status.
int Perform(std::vector<std::string> arguments, std::ostream& out, std::ostream& err, std::ostream& terminal) {
  StopSignals signals;
  CLI::App app("Adressen aus Textdateien und Datenbanken mit einer Importspezifikation übernehmen.",
               "kestrel-import");
  SpeakGerman(app);
  app.footer(kExitStatusHelp);
  app.require_subcommand(1);
  app.fallthrough();

  CommonOptions common;
  app.add_option("--host", common.host, "Datenbank der Hauptanwendung (auch KESTREL_HOST)")
      ->check(NotEmpty())
      ->type_name("VERBINDUNG");
  app.add_option("--folder", common.folder,
                 "Ordner mit den Spezifikationen oder der Ordner über \"Import\" (auch KESTREL_HOME)")
      ->check(NotEmpty())
      ->type_name("ORDNER");
  std::string format = "text";
  app.add_option("--format", format, "Ausgabe: text, json oder csv")
      ->check(OneOf({"text", "json", "csv"}))
      ->type_name("FORMAT");

  ListOptions list_options;
  auto* list = app.add_subcommand("list", "Importspezifikationen auflisten");
  auto* app_mode =
      list->add_option("--app-mode", list_options.app_mode, "nur die einer Anwendung")->type_name("N");
  list->add_flag("--templates", list_options.templates, "Vorlagen statt gespeicherter Importe");

  std::string spec;
  std::string source_file;
  const auto with_spec = [&](CLI::App* command, bool with_file) {
    command->add_option("SPEC", spec, "Datei, Dateiname oder Beschreibung einer Spezifikation")
        ->required()
        ->type_name("");
    if (with_file) {
      command
          ->add_option("--file", source_file,
                       "diese Quelldatei statt der gespeicherten; - ist die Standardeingabe")
          ->check(NotEmpty())
          ->type_name("DATEI");
    }
    return command;
  };
  auto* show = with_spec(app.add_subcommand("show", "Einstellungen und Feldzuordnungen zeigen"), false);
  auto* check = with_spec(app.add_subcommand("check", "Eine Spezifikation auf Fehler prüfen"), true);
  bool check_data = false;
  check->add_flag("--data", check_data, "auch jeden Wert der Datenquelle prüfen");
  auto* tables = with_spec(app.add_subcommand("tables", "Tabellen der Datenquelle auflisten"), false);
  auto* columns = with_spec(app.add_subcommand("columns", "Spalten der Datenquelle auflisten"), true);
  auto* preview = with_spec(app.add_subcommand("preview", "Die ersten Datensätze der Quelle zeigen"), true);
  std::int64_t records = 10;
  preview->add_option("-n", records, "Anzahl der Datensätze")->check(Count())->type_name("N");

  RunOptions run_options;
  auto* run = with_spec(app.add_subcommand("run", "Importieren"), true);
  run->add_flag("--test", run_options.test, "nur lesen und prüfen, nichts speichern");
  run->add_option("--user", common.user, "Personalnummer für die Protokolle")
      ->check(WithoutSeparators())
      ->type_name("PERSONALNR");
  std::string progress = "auto";
  const auto with_progress = [&](CLI::App* command) {
    command->add_option("--progress", progress, "Fortschritt: auto, plain oder none")
        ->check(OneOf({"auto", "plain", "none"}))
        ->type_name("ART");
  };
  with_progress(run);

  run->add_option("--from", run_options.settings.from, "mit diesem Datensatz der Quelle beginnen")
      ->check(PositiveCount())
      ->type_name("DATENSATZ");
  run->add_option("--max-errors", run_options.settings.most_errors, "nach so vielen Fehlern anhalten")
      ->check(PositiveCount())
      ->type_name("N");
  run->add_option("--rejects", run_options.settings.rejects_file,
                  "nicht gespeicherte Datensätze in diese Datei schreiben")
      ->check(NotEmpty())
      ->type_name("DATEI");

  LogOptions log_options;
  std::string which = "errors";
  auto* log = app.add_subcommand("log", "Protokolle der Importe zeigen");
  log->add_option("WELCHES", which, "errors oder duplicates")
      ->check(OneOf({"errors", "duplicates"}))
      ->type_name("");
  log->add_flag("--last", log_options.last, "nur das letzte");

  RunsOptions runs_options;
  auto* runs = app.add_subcommand("runs", "Importläufe auflisten oder einen zeigen");
  auto* shown_run =
      runs->add_option("LAUF", runs_options.run, "Nummer eines Laufs: was aus seinen Datensätzen wurde")
          ->check(PositiveCount())
          ->type_name("");
  runs->add_flag("--last", runs_options.last, "den letzten zeigen")->excludes(shown_run);

  UndoOptions undo_options;
  auto* undo = app.add_subcommand("undo", "Einen Importlauf zurücknehmen");
  undo->add_option("LAUF", undo_options.run, "Nummer des Laufs, wie 'runs' sie zeigt")
      ->required()
      ->check(PositiveCount())
      ->type_name("");
  undo->add_flag("--dry-run", undo_options.dry_run, "nur zeigen, was stehen bliebe");
  undo->add_flag("--force", undo_options.force, "auch zurücknehmen, was seit dem Import geändert wurde");
  with_progress(undo);

  InitOptions init_options;
  auto* init = app.add_subcommand("init", "Eine Beispielanwendung mit Datenbank und Vorlagen anlegen");
  init->add_option("ORDNER", init_options.folder, "neuer oder leerer Ordner")->required()->type_name("");
  init->add_flag("--force", init_options.force,
                 "auch in einem Ordner, der nicht leer ist; was dort liegt, bleibt");

  if (arguments == std::vector<std::string>{kDescribeCommands}) {
    WriteCommandTree(app, out);
    return kDone;
  }
  try {
    std::reverse(arguments.begin(), arguments.end());
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    return app.exit(error, out, err) == 0 ? kDone : kWrongUse;
  }
  common.format = format == "json"  ? OutputFormat::kJson
                  : format == "csv" ? OutputFormat::kCsv
                                    : OutputFormat::kText;
  list_options.app_mode_given = app_mode->count() > 0;
  run_options.spec = spec;
  run_options.source_file = source_file;
  run_options.progress = undo_options.progress = progress == "none"    ? Progress::kNone
                                                 : progress == "plain" ? Progress::kPlain
                                                                       : Progress::kAuto;
  log_options.duplicates = which == "duplicates";

  // A terminal gets text only; the other formats are exact.
  TerminalStream text_out(out);
  std::ostream& format_out = common.format == OutputFormat::kText ? static_cast<std::ostream&>(text_out) : out;
  try {
    Workspace workspace(common, {format_out, err, terminal, signals});
    if (*list) return ListCommand(workspace, list_options);
    if (*show) return ShowCommand(workspace, spec);
    if (*check) return CheckCommand(workspace, {spec, source_file, check_data});
    if (*tables) return TablesCommand(workspace, spec);
    if (*columns) return ColumnsCommand(workspace, spec, source_file);
    if (*preview) return PreviewCommand(workspace, spec, source_file, records);
    if (*run) return RunCommand(workspace, run_options);
    if (*log) return LogCommand(workspace, log_options);
    if (*runs) return RunsCommand(workspace, runs_options);
    if (*undo) return UndoCommand(workspace, undo_options);
    if (*init) return InitCommand(workspace, init_options);
    return kWrongUse;
  } catch (const NotUsable& error) {
    err << "kestrel-import: " << error.what() << std::endl;
  } catch (const ImportRefused& refused) {
    err << "kestrel-import: " << refused.what() << std::endl;
  } catch (const OutputFailed&) {
    // Told at the end, as for a command that has not seen it.
  } catch (const RuntimeError& error) {
    err << "kestrel-import: " << error.Description() << " (" << error.Number() << ")" << std::endl;
  }
  return kNotUsable;
}

}  // namespace

int Main(std::vector<std::string> arguments, DescriptorOutput& out, std::ostream& err) {
  TerminalStream shown_err(err);
  const int status = Perform(std::move(arguments), out, shown_err, err);
  out.flush();
  if (out.error() == 0) return status;
  // A reader that has seen enough, as "head" does, needs no message.
  if (out.error() != EPIPE) {
    shown_err << "kestrel-import: " << OutputFailed().what() << ". "
              << ErrorFromErrno(out.error(), "Standardausgabe").Description() << std::endl;
  }
  return kNotUsable;
}

}  // namespace kestrel::cli
