// wizard_screenshots FOLDER PICTURES [--dark] [--large-fonts]
//
// Pictures whose names begin with "import-" are of one import, in the order of its steps.
//
// Goes through the sample host of FOLDER and an import in it, as a person would, and takes a picture of every
// window. The imports of demo/ have been run in it before, so that its lists and logs are filled.
// scripts/screenshots calls it once for each size and colour.
#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <cstdio>
#include <cstring>
#include <memory>

#include "app/host_database.h"
#include "app/host_window.h"
#include "kestrel/qt_user_interface.h"
#include "platform/base/file.h"
#include "qt/drive.h"
#include "screenshots/camera.h"
#include "screenshots/steps.h"
#include "screenshots/waits.h"
#include "support/project_paths.h"
#include "wizard/qt_text.h"

namespace kestrel::screenshots {

constexpr double kLargeFonts = 1.25;

namespace {

using testing::FindIn;
using testing::Spin;

constexpr int kWaitMs = 5000;
constexpr double kMidRun = 0.4;  // of the progress bar

class Tour : private Steps {
 public:
  Tour(host::HostWindow& window, const Camera& camera, std::string database)
      : Steps(window, camera), database_(std::move(database)) {}

  void Run() {
    TakeHost();
    OpenWizard("Kontakte der Messe");
    TakeSourcePage();
    TakeAssignmentPage();
    TakeQuestions();
    TakeDrift();
    TakeImport();
    TakeWaitsAndRefusals(*this, "Kontakte der Messe");
  }

 private:
  void TakeHost() {
    auto& tabs = FindIn<QTabWidget>(window(), "tabs");
    Take(window(), "host-customers");
    tabs.setCurrentIndex(3);
    FindIn<QCheckBox>(*tabs.widget(3), "onlyLast").setChecked(false);
    FindIn<QTableView>(*tabs.widget(3), "table").selectRow(0);
    Take(window(), "host-errors");
    tabs.setCurrentIndex(4);
    FindIn<QTableView>(*tabs.widget(4), "table").selectRow(0);
    Take(window(), "host-duplicates");
    tabs.setCurrentIndex(5);
    FindIn<QTableView>(*tabs.widget(5), "table").selectRow(0);
    Take(window(), "host-runs");
    tabs.setCurrentIndex(2);
    Take(window(), "host-empty");
    tabs.setCurrentIndex(0);
    auto& search = FindIn<QLineEdit>(*tabs.widget(0), "search");
    auto& list = FindIn<QTableView>(*tabs.widget(0), "table");
    const int all = list.model()->rowCount();
    search.setText("müller");
    // Addresses are looked for beside the window.
    if (!QTest::qWaitFor([&] { return list.model()->rowCount() < all; }, kWaitMs)) {
      throw std::runtime_error("the search finds no fewer addresses");
    }
    Take(window(), "host-search");
    search.clear();
  }

  void TakeSourcePage() {
    WaitForPreview();
    Take(Page(), "frmStep2");
    PressAndTake("cmdVorschau", "frmPrev", "frmPrev", "cmdClose");
    // The wrong delimiter makes one column, which is shown as text.
    FindIn<QAbstractButton>(Page(), "optTab").click();
    PressAndTake("cmdVorschau", "frmPrev", "frmPrev-text", "cmdClose");
    FindIn<QAbstractButton>(Page(), "optSemikolon").click();
    auto& kind = FindIn<QComboBox>(Page(), "cboDatenquelleTyp");
    for (const auto& [entry, picture] :
         {std::pair("Microsoft SQL-Server", "frmStep2-server"),
          std::pair("Microsoft Access-Datenbanken", "frmStep2-access"),
          std::pair("Microsoft Excel", "frmStep2-excel"), std::pair("dBase-Datenbank", "frmStep2-dbase")}) {
      const int index = kind.findText(QString::fromUtf8(entry));
      if (index < 0) throw std::runtime_error(std::string("no kind ") + entry);
      kind.setCurrentIndex(index);
      Take(Page(), picture);
    }
    kind.setCurrentIndex(0);
    Press("cmdNext");
  }

  void TakeAssignmentPage() {
    SelectField("Kundengruppe");
    WaitForSamples();
    Take(Page(), "frmStep3");
    PressAndTake("cmdUebersetzen", "frmTransTbl", "frmTransTbl", "cmdOK");
    PressAndTake("cmdKonstanterWert", "frmTransTbl", "frmTransTbl-constants", "cmdCancel");
    FindIn<QAbstractButton>(Page(), "optImportFeld").click();
    SelectField("KundeSeit");
    // Chosen once more, it is the current row too, and its format can be chosen.
    QTest::keyClick(&FindIn<QTableView>(Page(), "TDBImpList"), Qt::Key_Space);
    Take(Page(), "frmStep3-date");
    TakeComforts();
  }

  // Questions of step 3, and the settings of the import class.
  void TakeQuestions() {
    PressAndTake("cmdOptions", "importSettings", "importSettings", "cmdCancel");
    modals().Then("inputBox", [this](QWidget& shown) {
      Take(shown, "inputBox");
      dynamic_cast<QDialog&>(shown).reject();
    });
    TakeBox("messageBox-notice", QMessageBox::Ok);
    for (QAction* action : Page().actions()) {
      if (action->objectName() == "mnuSaveAs") action->trigger();
    }
    TakeBox("messageBox-question", QMessageBox::No);
    Press("cmdCancel");
    Press("cmdSave");
    Press("cmdCancel");
  }

  void TakeComforts() {
    auto& search = FindIn<QLineEdit>(Page(), "txtSuche");
    search.setText("kunden");
    Take(Page(), "frmStep3-search");
    search.clear();
    // Without its format the date is proposed one.
    auto& format = FindIn<QComboBox>(Page(), "cboDatumsFormat");
    const int chosen = format.currentIndex();
    format.setCurrentIndex(0);
    Take(Page(), "frmStep3-proposal");
    format.setCurrentIndex(chosen);
    auto& tabs = FindIn<QTabWidget>(Page(), "tabStep3");
    tabs.setCurrentIndex(1);
    Take(Page(), "frmStep3-result");
    tabs.setCurrentIndex(0);
  }

  // The source of a specification that has been saved has other columns than then.
  void TakeDrift() {
    std::string source = ReadWholeFile("messe.txt");
    for (const auto& [before, now] :
         {std::pair("Kunde seit", "Kundeseit"), std::pair("\"Telefon\"", "\"Tel.\"")}) {
      source.replace(source.find(before), std::strlen(before), now);
    }
    WriteFileAtomically("messe.txt", source);
    OpenWizard("Kontakte der Messe");
    PressAndTake("cmdNext", "frmDrift", "frmDrift", "cmdPrev");
    Press("cmdCancel");
  }

  // One import from the beginning to its end.
  void TakeImport() {
    OpenWizard("Kundenliste des Großhandels");
    WaitForPreview();
    Take(Page(), "import-1-source");
    Press("cmdNext");
    SelectField("Land");
    WaitForSamples();
    Take(Page(), "import-2-fields");
    FindIn<QTabWidget>(Page(), "tabStep3").setCurrentIndex(1);
    Take(Page(), "import-3-preview");
    TakeRun("import-4-question", "import-5-run", "optImport");
    Take(Page(), "import-6-result");
    TakeUndo(*this, database_);
    Press("cmdClose");
  }

  void TakeRun(const char* question, const char* picture, const char* choice) {
    modals().Then("frmQuestionDlg", [this, question, choice](QWidget& shown) {
      FindIn<QAbstractButton>(shown, choice).click();
      const auto& records = FindIn<QLabel>(shown, "lblRecords");
      // They are counted beside the window.
      if (!QTest::qWaitFor([&records] { return !records.text().contains("gezählt"); }, kWaitMs)) {
        throw std::runtime_error("the records are not counted");
      }
      Take(shown, question);
      FindIn<QAbstractButton>(shown, "cmdOK").click();
    });
    TakeMeanwhile(
        "frmImport", picture,
        [](QWidget& run) {
          const auto& bar = FindIn<QProgressBar>(run, "ProgressBar");
          return bar.value() >= kMidRun * bar.maximum();
        },
        [] { Press("cmdOK"); });
    if (Page().objectName() != "frmResult") throw std::runtime_error("no result is shown");
  }

  std::string database_;
};

void TakeAll(const QString& folder, const QString& pictures) {
  ComponentRegistry components;
  components.AddFolder(testing::InBuildTree("lib/kestrel/components"));
  QtUserInterface ui;
  host::HostWindow window(ui, components, host::OpenHostDatabase(FromQt(folder), ""), "4711");
  QDir::setCurrent(QDir(folder).filePath("Import"));
  window.show();
  const Camera camera(pictures);
  Tour(window, camera, host::HostDatabase(FromQt(folder), "")).Run();
}

}  // namespace
}  // namespace kestrel::screenshots

int main(int count, char** arguments) {
  QApplication application(count, arguments);
  const QStringList given = QApplication::arguments();
  if (given.size() < 3) {
    std::fprintf(stderr, "wizard_screenshots FOLDER PICTURES [--dark] [--large-fonts]\n");
    return 2;
  }
  const QString folder = QDir(given[1]).absolutePath();
  const QString pictures = QDir(given[2]).absolutePath();
  qputenv("KESTREL_HOME", folder.toUtf8());
  QApplication::setQuitOnLastWindowClosed(false);
  if (given.contains("--dark")) kestrel::screenshots::UseDarkColours();
  if (given.contains("--large-fonts")) {
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * kestrel::screenshots::kLargeFonts);
    QApplication::setFont(font);
  }
  try {
    kestrel::screenshots::TakeAll(folder, pictures);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "wizard_screenshots: %s\n", error.what());
    return 1;
  }
}
