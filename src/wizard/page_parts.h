// What every page and dialog is made of: header band, buttons, labelled inputs.
//
// Captions stay exactly as they are told, so a keyboard shortcut is set apart from the caption, never by "&".
#pragma once

#include <QAbstractButton>
#include <QGuiApplication>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QRadioButton>
#include <QString>
#include <QTextDocument>
#include <QUrl>
#include <QWidget>
#include <functional>
#include <initializer_list>

#include "kestrel/export.h"

namespace kestrel {

class ButtonRow;

// The band at the top of a page: logo, step number, what to do, and a line of explanation.
class PageHeader final : public QWidget {
  Q_OBJECT
 public:
  // The labels are named lblStep, lblStepInfo and lblInfo, the band Picture1. An empty `info` hides lblInfo.
  PageHeader(const QString& step, const QString& step_info, const QString& info, QWidget* parent);

  QLabel* lblStep;
  QLabel* lblStepInfo;
  QLabel* lblInfo;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;
};

// Puts the parts of a page below each other, with the margins that all pages and dialogs share. Only dialogs
// have no header.
void LayOutPage(QWidget* page, PageHeader* header, QLayout* body, ButtonRow* buttons);

// Gives the button the shortcut Alt+`key`. It moves the focus to the button before it presses it, so that the
// control that had the focus is left as it is by a click.
KESTREL_INTERNAL void SetAltShortcut(QAbstractButton* button, char key);

// Names a control, gives it caption, tool tip and the shortcut Alt+`key` (0 for none). Returns the control.
template <class Button>
Button* SetUpButton(Button* button, const char* object_name, const QString& caption, const QString& tool_tip,
                    char key) {
  button->setObjectName(QString::fromUtf8(object_name));
  button->setText(caption);
  button->setToolTip(tool_tip);
  if (key != 0) SetAltShortcut(button, key);
  return button;
}

// A label in front of `control`: its buddy, and the control's name for a screen reader unless it is a button,
// which is read by its own caption.
KESTREL_INTERNAL QLabel* MakeLabel(const QString& caption, QWidget* control, const char* object_name = "");

// The line of a page that tells what has failed. What it says wraps, and never makes the page wider.
KESTREL_INTERNAL QLabel* MakeStatusLine(QWidget* page);

// For a tool tip that shows the text as it stands, also where it looks like markup.
inline QString PlainToolTip(const QString& text) {
  return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text, Qt::WhiteSpaceNormal) : text;
}

// A line edit for paths: elides in the middle while it has no focus, shows the whole path as tool tip, and
// takes files dropped on it.
class PathEdit final : public QLineEdit {
  Q_OBJECT
 public:
  explicit PathEdit(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
};

// The path of the first local file of what is being dragged, or an empty text.
inline QString DroppedFile(const QMimeData* data) {
  if (data == nullptr) return {};
  for (const QUrl& url : data->urls()) {
    if (url.isLocalFile()) return url.toLocalFile();
  }
  return {};
}

// Hands a file that is dropped onto the page to `take`, which says whether it takes it, and raises nothing.
void TakeDroppedFiles(QWidget* page, std::function<bool(const QString& path)> take);

// Enter presses `accept` from anywhere on the page (but from a button that has the focus, which it presses),
// Escape presses `reject`. As with a click, the focus moves to the button first.
void BindKeys(QWidget* page, QAbstractButton* accept, QAbstractButton* reject);
// The same, with Escape calling `escape`, which raises nothing.
void BindKeys(QWidget* page, QAbstractButton* accept, std::function<void()> escape);

// Underlines in each button's caption the letter that presses it with Alt.
void ShowAccessKeys(QWidget& window);

// Of a group of option buttons Tab reaches the chosen one, from the first time on; the arrow keys reach the rest.
void TabReachesChosen(std::initializer_list<QRadioButton*> group);

// The order in which Tab walks through the controls; a null is passed over.
inline void SetTabOrder(std::initializer_list<QWidget*> controls) {
  QWidget* before = nullptr;
  for (QWidget* control : controls) {
    if (control == nullptr) continue;
    if (before != nullptr) QWidget::setTabOrder(before, control);
    before = control;
  }
}

// Connecting and opening can take a while; while one lives, the pointer says so.
class WaitCursor {
 public:
  WaitCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
  WaitCursor(const WaitCursor&) = delete;
  WaitCursor& operator=(const WaitCursor&) = delete;
  ~WaitCursor() { QGuiApplication::restoreOverrideCursor(); }
};

}  // namespace kestrel
