#include "kestrel/qt_user_interface.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLibraryInfo>
#include <QLocale>
#include <QMessageBox>
#include <QTranslator>
#include <memory>

#include "wizard/qt_text.h"

namespace kestrel {

namespace {

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

// A box is shown while something is being opened: the pointer belongs to the box then.
class ArrowCursor {
 public:
  ArrowCursor() { QApplication::setOverrideCursor(Qt::ArrowCursor); }
  ArrowCursor(const ArrowCursor&) = delete;
  ArrowCursor& operator=(const ArrowCursor&) = delete;
  ~ArrowCursor() { QApplication::restoreOverrideCursor(); }
};

// The buttons of the pages have none either.
void RemoveButtonIcons(const QMessageBox& box) {
  for (QAbstractButton* button : box.buttons()) button->setIcon({});
}

std::optional<std::string> Chosen(const QString& path) {
  if (path.isEmpty()) return std::nullopt;
  return FromQt(path);
}

}  // namespace

Answer QtUserInterface::MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) {
  SpeakGerman();
  const ArrowCursor arrow;
  QMessageBox box(QApplication::activeWindow());
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
  box.setDefaultButton(QMessageBox::Yes);
  box.setEscapeButton(QMessageBox::No);
  RemoveButtonIcons(box);
  return box.exec() == QMessageBox::Yes ? Answer::kYes : Answer::kNo;
}

std::optional<std::string> QtUserInterface::InputBox(std::string_view prompt, std::string_view title) {
  SpeakGerman();
  const ArrowCursor arrow;
  QInputDialog dialog(QApplication::activeWindow());
  dialog.setObjectName("inputBox");
  dialog.setWindowTitle(ToQt(title));
  dialog.setLabelText(ToQt(prompt));
  dialog.setInputMode(QInputDialog::TextInput);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return FromQt(dialog.textValue());
}

std::optional<std::string> QtUserInterface::ChooseFile(std::string_view title, std::string_view filter,
                                                       const std::string& start) {
  SpeakGerman();
  const ArrowCursor arrow;
  // File names of such sources are in capitals or not, whatever the pattern says.
  const QString pattern = ToQt(filter);
  const QString patterns = pattern == "*.*" ? QString("*") : pattern + " " + pattern.toLower();
  return Chosen(QFileDialog::getOpenFileName(QApplication::activeWindow(), ToQt(title), StartOf(start),
                                             pattern + " (" + patterns + ")"));
}

std::optional<std::string> QtUserInterface::ChooseFolder(std::string_view title, const std::string& start) {
  SpeakGerman();
  const ArrowCursor arrow;
  return Chosen(
      QFileDialog::getExistingDirectory(QApplication::activeWindow(), ToQt(title), StartFolder(start)));
}

void QtUserInterface::Yield() { QApplication::processEvents(); }

void SpeakGerman() {
  constexpr const char* kMark = "kestrelSpeaksGerman";
  if (qApp == nullptr || qApp->property(kMark).toBool()) return;
  auto translator = std::make_unique<QTranslator>(qApp);
  if (translator->load(QLocale(QLocale::German), "qtbase", "_",
                       QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    // The application owns it from here on, through the parent given above.
    QApplication::installTranslator(translator.release());
    qApp->setProperty(kMark, true);
  }
}

}  // namespace kestrel
