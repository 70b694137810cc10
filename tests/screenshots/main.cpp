// wizard_screenshots FOLDER PICTURES [--dark] [--large-fonts]
//
// Goes through the sample host of FOLDER and an import in it, as a person would, and takes a picture of every
// window. The imports of demo/ have been run in it before, so that its lists and logs are filled.
// scripts/screenshots calls it once for each size and colour.
#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
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
    Press("cmdSave");
    Press("cmdCancel");
    TakeDrift();
    OpenWizard("Kundenliste des Großhandels");
    Press("cmdNext");
    TakeRun();
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
    tabs.setCurrentIndex(0);
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
    // The first records are read apart from the page.
    const auto& preview = FindIn<QTableView>(Page(), "tblVorschau");
    if (!QTest::qWaitFor([&preview] { return preview.isVisible(); }, kWaitMs)) {
      throw std::runtime_error("no first records are shown");
    }
    Take(Page(), "frmStep2");
    PressAndTake("cmdVorschau", "frmPrev", "frmPrev", "cmdClose");
    // The wrong delimiter makes one column, which is shown as text.
    FindIn<QAbstractButton>(Page(), "optTab").click();
    PressAndTake("cmdVorschau", "frmPrev", "frmPrev-text", "cmdClose");
    FindIn<QAbstractButton>(Page(), "optSemikolon").click();
    auto& kind = FindIn<QComboBox>(Page(), "cboDatenquelleTyp");
    for (const auto& [entry, picture] :
         {std::pair(1, "frmStep2-server"), std::pair(2, "frmStep2-access"), std::pair(3, "frmStep2-dbase")}) {
      kind.setCurrentIndex(entry);
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
    // The source is read apart from the page.
    const auto& samples = FindIn<QTableView>(Page(), "lstBeispiele");
    if (!QTest::qWaitFor([&samples] { return samples.model()->rowCount() > 1; }, kWaitMs)) {
      throw std::runtime_error("no sample values are shown");
    }
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

  void TakeRun() {
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [this, &watch] {
      QWidget* run = QApplication::activeModalWidget();
      if (run == nullptr || run->objectName() != "frmImport") return;
      const auto& bar = FindIn<QProgressBar>(*run, "ProgressBar");
      if (bar.value() < kMidRun * bar.maximum()) return;
      watch.stop();
      camera_.Take(*run, "frmImport");
    });
    modals_.Then("frmQuestionDlg", [this, &watch](QWidget& shown) {
      Take(shown, "frmQuestionDlg");
      FindIn<QAbstractButton>(shown, "optImport").click();
      watch.start(0);
      FindIn<QAbstractButton>(shown, "cmdOK").click();
    });
    Press("cmdOK");
    if (watch.isActive()) throw std::runtime_error("the run was not seen midway");
    if (Page().objectName() != "frmResult") throw std::runtime_error("no result is shown");
    Take(Page(), "frmResult");
    Press("cmdClose");
  }

  host::HostWindow& window_;
  const Camera& camera_;
  testing::ModalDriver modals_{[](const std::string& complaint) {
    std::fprintf(stderr, "wizard_screenshots: %s\n", complaint.c_str());
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
