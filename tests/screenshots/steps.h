// What a person does in the windows between two pictures.
#pragma once

#include <QMessageBox>
#include <QWidget>
#include <functional>
#include <string>

#include "app/host_window.h"
#include "qt/drive.h"
#include "screenshots/camera.h"

namespace kestrel::screenshots {

class Steps {
 public:
  // Both outlive it.
  Steps(host::HostWindow& window, const Camera& camera) : window_(window), camera_(camera) {}
  Steps(const Steps&) = delete;
  Steps& operator=(const Steps&) = delete;

  host::HostWindow& window() { return window_; }
  testing::ModalDriver& modals() { return modals_; }
  // The page of the wizard that is shown.
  static QWidget& Page();
  void Take(QWidget& window, const char* name);
  // Presses a button of the page, and waits until a page that reads a file has done so.
  static void Press(const char* button);
  // Presses the button that opens a dialog, takes its picture and leaves it by `closing`.
  void PressAndTake(const char* button, const char* dialog, const char* picture, const char* closing);
  // Takes the picture of the next message box and answers it.
  void TakeBox(const char* picture, QMessageBox::StandardButton answer);
  // While `act` works, takes the picture of a modal window of that name as soon as it is `ready`.
  void TakeMeanwhile(const char* window, const char* picture, const std::function<bool(QWidget&)>& ready,
                     const std::function<void()>& act);
  // From the host's button to step 1, with that specification chosen.
  void OpenFirstPage(const char* description);
  // The same, and on to step 2.
  void OpenWizard(const char* description);
  static void SelectField(const char* field);
  // The first records and the sample values are read apart from the page.
  static void WaitForPreview();
  static void WaitForSamples();

 private:
  static void Complain(const std::string& complaint);

  host::HostWindow& window_;
  const Camera& camera_;
  testing::ModalDriver modals_{Complain};
};

}  // namespace kestrel::screenshots
