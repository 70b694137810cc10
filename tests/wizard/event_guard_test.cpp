#include "wizard/event_guard.h"

#include <gmock/gmock.h>

#include <QAction>
#include <QCoreApplication>
#include <QDialog>
#include <QLineEdit>
#include <QPushButton>
#include <stdexcept>

#include "platform/dialogs/recording_user_interface.h"

namespace kestrel {
namespace {

class Window final : public QWidget {
 public:
  explicit Window(UserInterface& ui) : guard(this, ui) {}
  void Fails() { throw RuntimeError(ErrorNumber::kPermissionDenied); }
  void TakesText(const QString& text) { got = text; }
  void Deletes() {
    delete this;
    throw std::runtime_error("zu spät");
  }

  EventGuard guard;
  QString got;
};

TEST(EventGuardTest, AnErrorOfASlotIsToldAndGoesNoFurther) {
  RecordingUserInterface ui;
  Window window(ui);
  QPushButton button;
  window.guard.On(&button, &QPushButton::clicked, &Window::Fails);
  window.guard.On(&button, &QPushButton::clicked, [] { throw std::runtime_error("fremd"); });
  button.click();
  ASSERT_EQ(ui.boxes.size(), 2u);
  EXPECT_EQ(ui.boxes[0].text, "Fehler: Zugriff verweigert");
  EXPECT_EQ(ui.boxes[1].text, "Fehler: Automatisierungsfehler: fremd");
}

TEST(EventGuardTest, ASlotTakesAsManyArgumentsAsItWants) {
  RecordingUserInterface ui;
  Window window(ui);
  QLineEdit edit;
  int calls = 0;
  window.guard.On(&edit, &QLineEdit::textChanged, &Window::TakesText);
  window.guard.On(&edit, &QLineEdit::textChanged, [&] { ++calls; });
  edit.setText("x");
  EXPECT_EQ(window.got, "x");
  EXPECT_EQ(calls, 1);
}

TEST(EventGuardTest, NoButtonOrActionActsBehindAModalDialog) {
  RecordingUserInterface ui;
  Window window(ui);
  auto* behind = new QPushButton(&window);
  auto* action = new QAction(&window);
  QDialog dialog(&window);
  auto* above = new QPushButton(&dialog);
  QStringList acted;
  window.guard.On(behind, &QPushButton::clicked, [&] { acted << "behind"; });
  window.guard.On(action, &QAction::triggered, [&] { acted << "action"; });
  window.guard.On(above, &QPushButton::clicked, [&] { acted << "above"; });
  const auto press_all = [&] {
    behind->click();
    action->trigger();
    above->click();
  };
  dialog.setModal(true);
  dialog.show();
  press_all();
  EXPECT_EQ(acted, QStringList{"above"});
  acted.clear();
  dialog.hide();
  press_all();
  EXPECT_EQ(acted, (QStringList{"behind", "action", "above"}));
}

TEST(EventGuardTest, ASlotMayDeleteTheWindow) {
  RecordingUserInterface ui;
  auto* window = new Window(ui);
  QPushButton button;
  window->guard.On(&button, &QPushButton::clicked, &Window::Deletes);
  button.click();
  EXPECT_TRUE(ui.boxes.empty()) << "there is no window left to tell it in";
  button.click();
}

TEST(EventGuardTest, WhatFailsInTheMessageLoopIsToldAndNothingIsCalledForAWindowThatHasGone) {
  RecordingUserInterface ui;
  int calls = 0;
  {
    Window window(ui);
    window.guard.Later(0, &Window::Fails);
    QCoreApplication::processEvents();
    window.guard.Later(0, [&] { ++calls; });
  }
  QCoreApplication::processEvents();
  EXPECT_EQ(ui.boxes.size(), 1u);
  EXPECT_EQ(calls, 0);
}

TEST(EventGuardTest, AnEventThatFailedIsDoneWith) {
  RecordingUserInterface ui;
  Window window(ui);
  EXPECT_TRUE(window.guard.Handle([]() -> bool { throw RuntimeError(ErrorNumber::kOverflow); }));
  EXPECT_FALSE(window.guard.Handle([] { return false; }));
  EXPECT_EQ(ui.boxes.size(), 1u);
}

}  // namespace
}  // namespace kestrel
