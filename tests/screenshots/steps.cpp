#include "screenshots/steps.h"

#include <QAbstractButton>
#include <QApplication>
#include <QListWidget>
#include <QTableView>
#include <QTest>
#include <cstdio>
#include <stdexcept>

namespace kestrel::screenshots {

namespace {

using testing::FindIn;
using testing::ShownWizardPage;
using testing::Spin;

constexpr int kWaitMs = 5000;

void Await(const std::function<bool()>& condition, const std::string& otherwise) {
  if (!QTest::qWaitFor(condition, kWaitMs)) throw std::runtime_error(otherwise);
}

bool IsReading() {
  QWidget* page = ShownWizardPage();
  return page != nullptr && page->objectName() == "frmStep2" && !FindIn<QWidget>(*page, "cmdNext").isEnabled();
}

}  // namespace

void Steps::Complain(const std::string& complaint) {
  std::fprintf(stderr, "wizard_screenshots: %s\n", complaint.c_str());
  const auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
  if (box != nullptr) std::fprintf(stderr, "%s\n", qPrintable(box->text()));
}

QWidget& Steps::Page() {
  Await([] { return ShownWizardPage() != nullptr; }, "no page of the wizard is open");
  return *ShownWizardPage();
}

void Steps::Take(QWidget& window, const char* name) {
  Spin();
  // A blinking cursor would make every picture another.
  QApplication::setCursorFlashTime(0);
  camera_.Take(window, name);
}

void Steps::Press(const char* button) {
  auto& pressed = FindIn<QAbstractButton>(Page(), button);
  pressed.setFocus();
  pressed.click();
  Spin();
  Await([] { return !IsReading(); }, std::string("the page still reads behind ") + button);
}

void Steps::PressAndTake(const char* button, const char* dialog, const char* picture, const char* closing) {
  modals_.Then(dialog, [this, picture, closing](QWidget& shown) {
    Take(shown, picture);
    FindIn<QAbstractButton>(shown, closing).click();
  });
  Press(button);
}

void Steps::TakeBox(const char* picture, QMessageBox::StandardButton answer) {
  modals_.Then("messageBox", [this, picture, answer](QWidget& shown) {
    Take(shown, picture);
    dynamic_cast<QMessageBox&>(shown).button(answer)->click();
  });
}

void Steps::TakeMeanwhile(const char* window, const char* picture, const std::function<bool(QWidget&)>& ready,
                          const std::function<void()>& act) {
  QTimer watch;
  QObject::connect(&watch, &QTimer::timeout, [&] {
    QWidget* shown = QApplication::activeModalWidget();
    if (shown == nullptr || shown->objectName() != window || !ready(*shown)) return;
    watch.stop();
    camera_.Take(*shown, picture);
  });
  watch.start(0);
  act();
  if (watch.isActive()) throw std::runtime_error(std::string("not seen midway: ") + window);
}

void Steps::OpenFirstPage(const char* description) {
  FindIn<QAbstractButton>(FindIn<QWidget>(window_, "pageKunden"), "cmdImport").click();
  auto& list = FindIn<QListWidget>(Page(), "lstVorlage");
  // Behind the name stands its last run.
  const auto found = list.findItems(QString::fromUtf8(description), Qt::MatchStartsWith);
  if (found.isEmpty()) throw std::runtime_error(std::string("no specification ") + description);
  list.setCurrentItem(found.first());
  list.setFocus();
}

void Steps::OpenWizard(const char* description) {
  OpenFirstPage(description);
  Take(Page(), "frmStep1");
  Press("cmdNext");
}

void Steps::SelectField(const char* field) {
  auto& list = FindIn<QTableView>(Page(), "TDBImpList");
  const auto found =
      list.model()->match(list.model()->index(0, 0), Qt::DisplayRole, QString(field), 1, Qt::MatchExactly);
  if (found.isEmpty()) throw std::runtime_error(std::string("no field ") + field);
  list.setFocus();
  list.selectRow(found.first().row());
  Spin();
}

void Steps::WaitForPreview() {
  const auto& preview = FindIn<QTableView>(Page(), "tblVorschau");
  Await([&preview] { return preview.isVisible(); }, "no first records are shown");
}

void Steps::WaitForSamples() {
  const auto& samples = FindIn<QTableView>(Page(), "lstBeispiele");
  Await([&samples] { return samples.model()->rowCount() > 1; }, "no sample values are shown");
}

}  // namespace kestrel::screenshots
