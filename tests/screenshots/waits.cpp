#include "screenshots/waits.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QProgressDialog>
#include <QTest>
#include <stdexcept>

#include "kestrel/open_connection.h"
#include "support/silent_server.h"
#include "wizard/qt_text.h"
#include "wizard/reading_dialog.h"

namespace kestrel::screenshots {

namespace {

using testing::FindIn;
using testing::Spin;

constexpr int kMidwayPercent = 40;
constexpr const char* kLongPath =
    "/srv/austausch/vertrieb/kundendaten/import/2026/november/woche-48/eingang-der-niederlassung-dresden/"
    "Kundenliste des Großhandels mit allen Ansprechpartnern und Telefonnummern (Stand vom 23. November).txt";

// Another clerk's program writes; then the person gives up waiting for it.
void TakeLockedUndo(Steps& steps, const std::string& database) {
  const ConnectionPtr other = OpenConnection(database);
  other->Execute("BEGIN IMMEDIATE");
  steps.TakeBox("messageBox-undo", QMessageBox::Yes);
  steps.modals().Then("waitDialog", [&steps](QWidget& shown) {
    steps.Take(shown, "wait-for-another-program");
    dynamic_cast<QProgressDialog&>(shown).cancel();
  });
  steps.TakeBox("messageBox-locked", QMessageBox::Ok);
  Steps::Press("cmdUndo");
  other->Execute("ROLLBACK");
}

void TakeMissingGuide(Steps& steps) {
  const QByteArray before = qgetenv("KESTREL_GUIDE");
  qputenv("KESTREL_GUIDE", "/usr/share/kestrel-import/bedienung-nicht-installiert");
  steps.TakeBox("messageBox-help", QMessageBox::Ok);
  Steps::Press("cmdHelp");
  if (before.isNull()) {
    qunsetenv("KESTREL_GUIDE");
  } else {
    qputenv("KESTREL_GUIDE", before);
  }
}

void TakeMissingFile(Steps& steps) {
  auto& name = FindIn<QLineEdit>(Steps::Page(), "txtFilename");
  const QString before = name.text();
  name.setText(QString::fromUtf8(kLongPath));
  steps.Take(Steps::Page(), "frmStep2-missing-file");
  steps.TakeBox("messageBox-missing-file", QMessageBox::Ok);
  Steps::Press("cmdNext");
  name.setText(before);
}

void TakeReading(Steps& steps) {
  ReadingDialog reading("Die Werte der Spalte werden gelesen.", &Steps::Page());
  steps.modals().Then("readingDialog", [&steps](QWidget& shown) {
    steps.Take(shown, "reading");
    dynamic_cast<QProgressDialog&>(shown).cancel();
  });
  while (reading.GoOn()) {
  }
}

// The page waits for the server, and is left meanwhile.
void TakeWaitingPage(Steps& steps) {
  const testing::SilentServer server;
  QWidget& page = Steps::Page();
  FindIn<QComboBox>(page, "cboDatenquelleTyp").setCurrentText("Microsoft SQL-Server");
  Spin();
  FindIn<QLineEdit>(page, "txtSQLServer").setText(ToQt(server.DataSource()));
  FindIn<QLineEdit>(page, "txtSQLUID").setText("import");
  FindIn<QLineEdit>(page, "txtSQLDB").setText("Adressen");
  FindIn<QAbstractButton>(page, "cmdNext").click();
  Spin();
  if (FindIn<QWidget>(page, "cmdNext").isEnabled()) throw std::runtime_error("the page does not wait");
  steps.Take(page, "frmStep2-waiting");
  FindIn<QAbstractButton>(page, "cmdCancel").click();
  Spin();
}

}  // namespace

void TakeUndo(Steps& steps, const std::string& database) {
  TakeLockedUndo(steps, database);
  steps.modals().Then("messageBox", [](QWidget& shown) {
    dynamic_cast<QMessageBox&>(shown).button(QMessageBox::Yes)->click();
  });
  steps.TakeMeanwhile(
      "undoDialog", "undo",
      [](QWidget& shown) {
        const auto& progress = dynamic_cast<QProgressDialog&>(shown);
        return progress.value() * 100 >= progress.maximum() * kMidwayPercent;
      },
      [] { Steps::Press("cmdUndo"); });
  steps.Take(Steps::Page(), "frmResult-undone");
}

void TakeWaitsAndRefusals(Steps& steps, const char* specification) {
  steps.OpenFirstPage(specification);
  TakeMissingGuide(steps);
  Steps::Press("cmdNext");
  Steps::WaitForPreview();
  TakeMissingFile(steps);
  TakeReading(steps);
  TakeWaitingPage(steps);
}

}  // namespace kestrel::screenshots
