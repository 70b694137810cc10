// embed_qt FOLDER: the import wizard, opened from a Qt program. FOLDER is what `kestrel-import init FOLDER` made.
#include <QApplication>
#include <QTimer>
#include <cstdio>

#include <kestrel/open_connection.h>
#include <kestrel/qt_user_interface.h>
#include <kestrel/wizard.h>

namespace {

// For an unattended try: ends the program with 0 when step 1 has come up, else with 1.
void EndWhenShown(const kestrel::Wizard& wizard) {
  constexpr int kPatienceMs = 1000;
  QTimer::singleShot(kPatienceMs, qApp, [&wizard] {
    const QWidget* page = wizard.CurrentPage();
    const bool shown = page != nullptr && page->isVisible() && page->objectName() == "frmStep1";
    QApplication::exit(shown ? 0 : 1);
  });
}

}  // namespace

int main(int count, char** arguments) {
  QApplication application(count, arguments);
  const QStringList words = QApplication::arguments();
  if (words.size() < 2) {
    std::fprintf(stderr, "usage: embed_qt FOLDER [--smoke]\n");
    return 2;
  }
  const std::string folder = words[1].toStdString();
  qputenv("KESTREL_HOME", words[1].toUtf8());  // the specifications lie in FOLDER/Import

  kestrel::QtUserInterface ui;
  kestrel::SystemClock clock;
  kestrel::ComponentRegistry components;
  components.AddDefaultFolders();
  kestrel::Wizard wizard;
  kestrel::ImportMan import_man({ui, components, clock}, &wizard);
  const bool open = kestrel::Trap(
      [&] { import_man.SetConnection(kestrel::OpenConnection(folder + "/kestrel.db")); },
      [](const kestrel::RuntimeError& error) { std::fprintf(stderr, "embed_qt: %s\n", error.what()); });
  if (!open) return 1;
  import_man.SetApplication(2);
  import_man.SetPersonalNr("4711");
  import_man.ShowDialog();

  if (words.contains("--smoke")) EndWhenShown(wizard);
  return QApplication::exec();
}
