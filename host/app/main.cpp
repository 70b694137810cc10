// kestrel-host [FOLDER]: opens the sample host that `kestrel-import init FOLDER` made; without a folder, as a desktop
// starts it, that in the component's own folder. With --host it opens another database, which may be another
// application's that has destinations (`kestrel-import target add`).
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QIcon>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "app/host_database.h"
#include "app/host_window.h"
#include "kestrel/open_connection.h"
#include "kestrel/qt_user_interface.h"
#include "kestrel/version.h"
#include "platform/base/component_folder.h"
#include "platform/base/file.h"
#include "platform/base/terminal_text.h"
#include "wizard/qt_text.h"

namespace {

constexpr int kNotUsable = 4;

struct CommandLine {
  CommandLine() {
    parser.setApplicationDescription(
        "Adresslisten, in die importiert wird: die der Beispielanwendung oder eigene Tabellen.");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(
        "ordner", "Ordner, den 'kestrel-import init' angelegt hat; ohne ihn der eigene", "[ordner]");
    parser.addOption(host);
    parser.addOption(user);
  }

  QCommandLineParser parser;
  const QCommandLineOption host{"host", "Datenbank (statt der im Ordner)", "verbindung"};
  const QCommandLineOption user{"user", "Personalnummer", "personalnr", "4711"};
};

void NameApplication() {
  QCoreApplication::setApplicationName("kestrel-host");
  QCoreApplication::setApplicationVersion(kestrel::Version());
}

// What only prints needs no display: it ends the program.
void PrintWhereAskedFor(int count, char** arguments) {
  const auto asks = [](std::string_view argument) {
    return argument == "-h" || argument == "--help" || argument == "--help-all" || argument == "-v" ||
           argument == "--version";
  };
  if (std::none_of(arguments + 1, arguments + count, asks)) return;
  const QCoreApplication application(count, arguments);
  NameApplication();
  kestrel::SpeakGerman();
  CommandLine().parser.process(application);
}

int Run(int count, char** arguments) {
  // A server that has gone and a file that must not grow are errors, told like any other.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  PrintWhereAskedFor(count, arguments);
  QApplication application(count, arguments);
  NameApplication();
  QApplication::setDesktopFileName("kestrel-host");
  QApplication::setWindowIcon(QIcon::fromTheme("kestrel-host"));
  kestrel::SpeakGerman();

  CommandLine command_line;
  QCommandLineParser& parser = command_line.parser;
  parser.process(application);
  const QStringList named_folders = parser.positionalArguments();
  if (named_folders.size() > 1) parser.showHelp(2);
  const QString folder =
      QFileInfo(named_folders.isEmpty() ? kestrel::ToQt(kestrel::ComponentFolder()) : named_folders.first())
          .absoluteFilePath();
  // The component looks for its specifications here.
  qputenv("KESTREL_HOME", folder.toUtf8());

  kestrel::ComponentRegistry components;
  components.AddDefaultFolders();
  kestrel::QtUserInterface ui;
  std::unique_ptr<kestrel::host::HostWindow> window;
  const bool open = kestrel::Trap(
      [&] {
        const std::string home = kestrel::FromQt(folder);
        const std::string named = kestrel::FromQt(parser.value(command_line.host));
        kestrel::ConnectionPtr connection = kestrel::host::OpenHostDatabase(home, named);
        if (!kestrel::host::UpgradeWhereWanted(ui, components, connection)) return;
        const std::string templates = kestrel::JoinPath(home, "Import");
        // Whoever may not write there imports by what there is.
        kestrel::Trap([&] { kestrel::host::WriteTemplates(components, connection, templates); },
                      [](const kestrel::RuntimeError& error) {
                        if (error.Is(kestrel::ErrorNumber::kPathNotFound)) throw;
                        std::fprintf(stderr, "kestrel-host: %s\n", kestrel::TerminalText(error.what()).c_str());
                      });
        window = std::make_unique<kestrel::host::HostWindow>(
            ui, components, std::move(connection), kestrel::FromQt(parser.value(command_line.user)),
            [database = kestrel::host::HostDatabase(home, named)] {
              return kestrel::OpenConnection(database);
            });
      },
      [&](const kestrel::RuntimeError& error) {
        std::fprintf(stderr, "kestrel-host: %s\n", kestrel::TerminalText(error.what()).c_str());
        // Whoever started it from a desktop sees no terminal.
        ui.MessageBox(error.Description(), "KESTREL Adressen", kestrel::Icon::kStop, kestrel::Buttons::kOk);
      });
  if (!open || window == nullptr) return kNotUsable;
  // Relative source paths are meant from the specifications, as on the command line.
  QDir::setCurrent(QDir(folder).filePath("Import"));
  window->show();
  return QApplication::exec();
}

}  // namespace

int main(int count, char** arguments) {
  const int status = Run(count, arguments);
  std::fflush(nullptr);
  // A thread that a silent server keeps in its driver would meet the end of the libraries that it needs.
  std::_Exit(status);
}
