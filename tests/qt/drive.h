// Driving windows as a person does: finding controls by their names, clicking, answering dialogs.
#pragma once

#include <QTimer>
#include <QWidget>
#include <deque>
#include <functional>
#include <stdexcept>
#include <string>

namespace kestrel::testing {

// Acts on modal dialogs, one after another, while the code that shows them waits.
class ModalDriver final : public QObject {
 public:
  // `complain` hears of a dialog that did not come, and of one that nobody closed.
  explicit ModalDriver(std::function<void(const std::string&)> complain);
  ~ModalDriver() override;

  // When a dialog of that name is open, runs `act`, which has to close it in the end.
  void Then(const char* object_name, std::function<void(QWidget&)> act);
  bool Done() const { return steps_.empty(); }

 private:
  void Look();

  struct Step {
    QString object_name;
    std::function<void(QWidget&)> act;
  };
  std::function<void(const std::string&)> complain_;
  std::deque<Step> steps_;
  QTimer timer_;
  int waited_ = 0;
};

// The control of that name on the page; std::runtime_error where there is none.
template <class Control>
Control& FindIn(QWidget& page, const char* object_name) {
  auto* control = page.findChild<Control*>(QString::fromUtf8(object_name));
  if (control == nullptr) throw std::runtime_error(std::string("no control ") + object_name);
  return *control;
}

// The page of the wizard that is shown, or null.
QWidget* ShownWizardPage();
// Presses and releases the left mouse button on the control, where its caption begins.
void ClickOn(QWidget& control);
// Lets the message loop handle what is waiting.
void Spin();

}  // namespace kestrel::testing
