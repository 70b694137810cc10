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
#include "support/project_paths.h"
#include "wizard/qt_text.h"

namespace kestrel::screenshots {

constexpr double kLargeFonts = 1.25;

namespace {

using testing::FindIn;
using testing::ShownWizardPage;
using testing::Spin;

constexpr int kWaitMs = 5000;
constexpr double kMidRun = 0.4;  // of the progress bar

class Tour {
 public:
  Tour(host::HostWindow& window, const Camera& camera) : window_(window), camera_(camera) {}

  void Run() {
    TakeHost();
    OpenWizard("Kontakte der Messe");
    TakeSourcePage();
    TakeAssignmentPage();
    TakeQuestions();
    TakeDrift();
    TakeImport();
  }

 private:
  QWidget& Page() {
    if (!QTest::qWaitFor([] { return ShownWizardPage() != nullptr; }, kWaitMs)) {
      throw std::runtime_error("no page of the wizard is open");
    }
    return *ShownWizardPage();
  }

  void Take(QWidget& window, const char* name) {
    Spin();
    // A blinking cursor would make every picture another.
    QApplication::setCursorFlashTime(0);
    camera_.Take(window, name);
  }

  void Press(const char* button) {
    auto& pressed = FindIn<QAbstractButton>(Page(), button);
    pressed.setFocus();
    pressed.click();
    Spin();
  }

  // Presses the button that opens a dialog, takes its picture and leaves it by `closing`.
  void PressAndTake(const char* button, const char* dialog, const char* picture, const char* closing) {
    modals_.Then(dialog, [this, picture, closing](QWidget& shown) {
      Take(shown, picture);
      FindIn<QAbstractButton>(shown, closing).click();
    });
    Press(button);
  }

  void TakeHost() {
    auto& tabs = FindIn<QTabWidget>(window_, "tabs");
    Take(window_, "host-customers");
    tabs.setCurrentIndex(3);
    FindIn<QCheckBox>(*tabs.widget(3), "onlyLast").setChecked(false);
    FindIn<QTableView>(*tabs.widget(3), "table").selectRow(0);
    Take(window_, "host-errors");
    tabs.setCurrentIndex(4);
    FindIn<QTableView>(*tabs.widget(4), "table").selectRow(0);
    Take(window_, "host-duplicates");
    tabs.setCurrentIndex(5);
    FindIn<QTableView>(*tabs.widget(5), "table").selectRow(0);
    Take(window_, "host-runs");
    tabs.setCurrentIndex(2);
    Take(window_, "host-empty");
    tabs.setCurrentIndex(0);
    auto& search = FindIn<QLineEdit>(*tabs.widget(0), "search");
    auto& list = FindIn<QTableView>(*tabs.widget(0), "table");
    const int all = list.model()->rowCount();
    search.setText("müller");
    // Addresses are looked for beside the window.
    if (!QTest::qWaitFor([&] { return list.model()->rowCount() < all; }, kWaitMs)) {
      throw std::runtime_error("the search finds no fewer addresses");
    }
    Take(window_, "host-search");
    search.clear();
  }

  // From the host's button to step 2 of that specification.
  void OpenWizard(const char* description) {
    FindIn<QAbstractButton>(FindIn<QWidget>(window_, "pageKunden"), "cmdImport").click();
    auto& list = FindIn<QListWidget>(Page(), "lstVorlage");
    // Behind the name stands its last run.
    const auto found = list.findItems(QString::fromUtf8(description), Qt::MatchStartsWith);
    if (found.isEmpty()) throw std::runtime_error(std::string("no specification ") + description);
    list.setCurrentItem(found.first());
    list.setFocus();
    Take(Page(), "frmStep1");
    Press("cmdNext");
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

  void SelectField(const char* field) {
    auto& list = FindIn<QTableView>(Page(), "TDBImpList");
    const auto found =
        list.model()->match(list.model()->index(0, 0), Qt::DisplayRole, QString(field), 1, Qt::MatchExactly);
    if (found.isEmpty()) throw std::runtime_error(std::string("no field ") + field);
    list.setFocus();
    list.selectRow(found.first().row());
    Spin();
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
    modals_.Then("inputBox", [this](QWidget& shown) {
      Take(shown, "inputBox");
      dynamic_cast<QDialog&>(shown).reject();
    });
    modals_.Then("messageBox", [this](QWidget& shown) {
      Take(shown, "messageBox-notice");
      dynamic_cast<QMessageBox&>(shown).button(QMessageBox::Ok)->click();
    });
    for (QAction* action : Page().actions()) {
      if (action->objectName() == "mnuSaveAs") action->trigger();
    }
    modals_.Then("messageBox", [this](QWidget& shown) {
      Take(shown, "messageBox-question");
      dynamic_cast<QMessageBox&>(shown).button(QMessageBox::No)->click();
    });
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
    modals_.Then("messageBox", [this](QWidget& shown) {
      Take(shown, "messageBox-undo");
      dynamic_cast<QMessageBox&>(shown).button(QMessageBox::No)->click();
    });
    Press("cmdUndo");
    Press("cmdClose");
  }

  void TakeRun(const char* question, const char* picture, const char* choice) {
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [this, &watch, picture] {
      QWidget* run = QApplication::activeModalWidget();
      if (run == nullptr || run->objectName() != "frmImport") return;
      const auto& bar = FindIn<QProgressBar>(*run, "ProgressBar");
      if (bar.value() < kMidRun * bar.maximum()) return;
      watch.stop();
      camera_.Take(*run, picture);
    });
    modals_.Then("frmQuestionDlg", [this, &watch, question, choice](QWidget& shown) {
      FindIn<QAbstractButton>(shown, choice).click();
      const auto& records = FindIn<QLabel>(shown, "lblRecords");
      // They are counted beside the window.
      if (!QTest::qWaitFor([&records] { return !records.text().contains("gezählt"); }, kWaitMs)) {
        throw std::runtime_error("the records are not counted");
      }
      Take(shown, question);
      watch.start(0);
      FindIn<QAbstractButton>(shown, "cmdOK").click();
    });
    Press("cmdOK");
    if (watch.isActive()) throw std::runtime_error("the run was not seen midway");
    if (Page().objectName() != "frmResult") throw std::runtime_error("no result is shown");
  }

  // The first records are read apart from the page.
  void WaitForPreview() {
    const auto& preview = FindIn<QTableView>(Page(), "tblVorschau");
    if (!QTest::qWaitFor([&preview] { return preview.isVisible(); }, kWaitMs)) {
      throw std::runtime_error("no first records are shown");
    }
  }

  // The source is read apart from the page.
  void WaitForSamples() {
    const auto& samples = FindIn<QTableView>(Page(), "lstBeispiele");
    if (!QTest::qWaitFor([&samples] { return samples.model()->rowCount() > 1; }, kWaitMs)) {
      throw std::runtime_error("no sample values are shown");
    }
  }

  host::HostWindow& window_;
  const Camera& camera_;
  testing::ModalDriver modals_{[](const std::string& complaint) {
    std::fprintf(stderr, "wizard_screenshots: %s\n", complaint.c_str());
    const auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box != nullptr) std::fprintf(stderr, "%s\n", qPrintable(box->text()));
  }};
};

void TakeAll(const QString& folder, const QString& pictures) {
  ComponentRegistry components;
  components.AddFolder(testing::InBuildTree("lib/kestrel/components"));
  QtUserInterface ui;
  host::HostWindow window(ui, components, host::OpenHostDatabase(FromQt(folder), ""), "4711");
  QDir::setCurrent(QDir(folder).filePath("Import"));
  window.show();
  Tour(window, Camera(pictures)).Run();
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
