#include "qt/drive.h"

#include <QApplication>
#include <QTest>

namespace kestrel::testing {

namespace {

constexpr int kLookMs = 2;
constexpr int kPatience = 3000;  // looks

}  // namespace

ModalDriver::ModalDriver(std::function<void(const std::string&)> complain) : complain_(std::move(complain)) {
  connect(&timer_, &QTimer::timeout, this, &ModalDriver::Look);
  timer_.start(kLookMs);
}

ModalDriver::~ModalDriver() {
  if (!steps_.empty()) complain_("the dialog " + steps_.front().object_name.toStdString() + " did not come");
}

void ModalDriver::Then(const char* object_name, std::function<void(QWidget&)> act) {
  steps_.push_back({object_name, std::move(act)});
}

void ModalDriver::Look() {
  QWidget* dialog = QApplication::activeModalWidget();
  if (dialog == nullptr || !dialog->isVisible()) {
    waited_ = 0;
    return;
  }
  if (!steps_.empty() && steps_.front().object_name == dialog->objectName()) {
    const Step step = std::move(steps_.front());
    steps_.pop_front();
    waited_ = 0;
    step.act(*dialog);
  } else if (++waited_ == kPatience) {
    complain_("nobody closed the dialog " + dialog->objectName().toStdString());
    dialog->hide();
  }
}

QWidget* ShownWizardPage() {
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    const QString name = widget->objectName();
    if ((name.startsWith("frmStep") || name == "frmResult") && widget->isVisible()) return widget;
  }
  return nullptr;
}

void ClickOn(QWidget& control) {
  QTest::mouseClick(&control, Qt::LeftButton, Qt::NoModifier, QPoint(8, control.height() / 2));
}

void Spin() {
  for (int round = 0; round < 5; ++round) {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
}

}  // namespace kestrel::testing
