#include "kestrel/qt_user_interface.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLibraryInfo>
#include <QLocale>
#include <QMessageBox>
#include <QPointer>
#include <QTranslator>
#include <QWindow>
#include <memory>

#include "wizard/qt_text.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

constexpr int kInputCharacters = 60;

QMessageBox::Icon QtIcon(Icon icon) {
  switch (icon) {
    case Icon::kNone: return QMessageBox::NoIcon;
    case Icon::kInformation: return QMessageBox::Information;
    case Icon::kQuestion: return QMessageBox::Question;
    case Icon::kStop: return QMessageBox::Critical;
  }
  return QMessageBox::NoIcon;
}

// What a dialog begins at: the path itself where it exists, else the nearest folder above it that does.
QString StartOf(const std::string& start) {
  QString path = QFileInfo(ToQt(start)).absoluteFilePath();
  while (!QFileInfo::exists(path)) {
    const QString above = QFileInfo(path).absolutePath();
    if (above == path) break;
    path = above;
  }
  return path;
}

QString StartFolder(const std::string& start) {
  const QString path = StartOf(start);
  return QFileInfo(path).isDir() ? path : QFileInfo(path).absolutePath();
}

// The filters of a dialog. File names of sources are in capitals or not, whatever the patterns say.
QString FiltersOf(const QString& filter) {
  if (filter == "*.*") return "*.* (*)";
  if (!filter.contains('(')) return filter + " (" + filter + " " + filter.toLower() + ")";
  QStringList filters;
  for (const QString& each : filter.split(";;")) {
    const QString patterns = each.section('(', 1).chopped(1);
    const QString capitals = patterns == "*" ? QString() : " " + patterns.toUpper();
    filters << each.section('(', 0, 0) + "(" + patterns + capitals + ")";
  }
  return filters.join(";;");
}

// A box is shown while something is being opened: the pointer belongs to the box then.
class ArrowCursor {
 public:
  ArrowCursor() { QApplication::setOverrideCursor(Qt::ArrowCursor); }
  ArrowCursor(const ArrowCursor&) = delete;
  ArrowCursor& operator=(const ArrowCursor&) = delete;
  ~ArrowCursor() { QApplication::restoreOverrideCursor(); }
};

// Whom a box belongs to: the active window; while another program has the keyboard, the dialog that is waited for,
// or what this program has opened last.
QWidget* OwnerOfBoxes() {
  if (QWidget* active = QApplication::activeWindow()) return active;
  if (QWidget* dialog = QApplication::activeModalWidget()) return dialog;
  QWidget* owner = nullptr;
  for (QWidget* window : QApplication::topLevelWidgets()) {
    const bool is_plain = window->windowType() == Qt::Window || window->windowType() == Qt::Dialog;
    if (!is_plain || !window->isVisible() || window->isMinimized()) continue;
    // One that stands above another window is what the person works in.
    const QWindow* handle = window->windowHandle();
    if (owner == nullptr || (handle != nullptr && handle->transientParent() != nullptr)) owner = window;
  }
  return owner;
}

// The window of a box while it is shown. It has the keyboard afterwards: some window managers choose another one.
class Owner {
 public:
  Owner() : window_(OwnerOfBoxes()) {}
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;
  ~Owner() {
    if (window_ != nullptr && window_->isVisible()) window_->activateWindow();
  }

  QWidget* window() const { return window_; }

 private:
  QPointer<QWidget> window_;
};

// The buttons of the pages have none either.
void RemoveButtonIcons(const QDialog& dialog) {
  for (auto* button : dialog.findChildren<QAbstractButton*>()) button->setIcon({});
}

std::optional<std::string> Chosen(const QString& path) {
  if (path.isEmpty()) return std::nullopt;
  return FromQt(path);
}

// `chosen` is the button that Enter presses.
Answer ShowBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons,
               QMessageBox::StandardButton chosen) {
  SpeakGerman();
  const ArrowCursor arrow;
  const Owner owner;
  QMessageBox box(owner.window());
  GiveIcon(&box);
  box.setObjectName("messageBox");
  box.setIcon(QtIcon(icon));
  box.setWindowTitle(title.empty() ? kDefaultTitle : ToQt(title));
  box.setTextFormat(Qt::PlainText);
  box.setText(ToQt(text));
  if (buttons == Buttons::kOk) {
    box.setStandardButtons(QMessageBox::Ok);
    RemoveButtonIcons(box);
    box.exec();
    return Answer::kOk;
  }
  box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
  box.setDefaultButton(chosen);
  box.setEscapeButton(QMessageBox::No);
  RemoveButtonIcons(box);
  return box.exec() == QMessageBox::Yes ? Answer::kYes : Answer::kNo;
}

}  // namespace

Answer QtUserInterface::MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) {
  return ShowBox(text, title, icon, buttons, QMessageBox::Yes);
}

Answer QtUserInterface::AskBeforeLoss(std::string_view text, std::string_view title) {
  return ShowBox(text, title, Icon::kQuestion, Buttons::kYesNo, QMessageBox::No);
}

std::optional<std::string> QtUserInterface::InputBox(std::string_view prompt, std::string_view title) {
  return InputBox(prompt, title, "");
}

std::optional<std::string> QtUserInterface::InputBox(std::string_view prompt, std::string_view title,
                                                     std::string_view start) {
  SpeakGerman();
  const ArrowCursor arrow;
  const Owner owner;
  QInputDialog dialog(owner.window());
  GiveIcon(&dialog);
  dialog.setObjectName("inputBox");
  dialog.setWindowTitle(ToQt(title));
  dialog.setLabelText(ToQt(prompt));
  dialog.setInputMode(QInputDialog::TextInput);
  dialog.setTextValue(ToQt(start));
  // What is asked for is a name, and is read while it is typed.
  const int width = dialog.fontMetrics().averageCharWidth() * kInputCharacters;
  dialog.resize(dialog.sizeHint().expandedTo({width, 0}));
  RemoveButtonIcons(dialog);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return FromQt(dialog.textValue());
}

std::optional<std::string> QtUserInterface::ChooseFile(std::string_view title, std::string_view filter,
                                                       const std::string& start) {
  SpeakGerman();
  const ArrowCursor arrow;
  const Owner owner;
  return Chosen(
      QFileDialog::getOpenFileName(owner.window(), ToQt(title), StartOf(start), FiltersOf(ToQt(filter))));
}

std::optional<std::string> QtUserInterface::ChooseFolder(std::string_view title, const std::string& start) {
  SpeakGerman();
  const ArrowCursor arrow;
  const Owner owner;
  return Chosen(QFileDialog::getExistingDirectory(owner.window(), ToQt(title), StartFolder(start)));
}

void QtUserInterface::Yield() { QApplication::processEvents(); }

void SpeakGerman() {
  constexpr const char* kMark = "kestrelSpeaksGerman";
  // Of a program that prints its help it is one without windows.
  QCoreApplication* const application = QCoreApplication::instance();
  if (application == nullptr || application->property(kMark).toBool()) return;
  auto translator = std::make_unique<QTranslator>(application);
  if (translator->load(QLocale(QLocale::German), "qtbase", "_",
                       QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    // The application owns it from here on, through the parent given above.
    QCoreApplication::installTranslator(translator.release());
    application->setProperty(kMark, true);
  }
}

}  // namespace kestrel
