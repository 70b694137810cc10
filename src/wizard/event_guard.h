// The one place where a window catches what its events raise. Qt calls slots and event handlers from code that
// no exception may pass: one that left them would end the host's program.
//
// So every signal that calls a window's own code is connected by On, every call from the message loop is made
// by Later, and a window with event handlers runs QWidget::event and its event filter within Handle.
//
// Nor does a button or menu act behind a modal dialog. Mouse and keyboard do not get there, but a screen reader's bus
// does, and the page that it left would go while the code that shows the dialog is still in it.
#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <cstddef>
#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

#include "kestrel/export.h"
#include "kestrel/runtime_error.h"
#include "kestrel/user_interface.h"

namespace kestrel {

// Whether the sender is a button or menu action, of `window`, that a modal dialog keeps people from.
KESTREL_INTERNAL bool IsBehindDialog(const QObject* sender, const QObject* window);

class EventGuard {
 public:
  using Teller = std::function<void(const RuntimeError&)>;

  // `window` is what the events belong to: a slot is called, and an error told, only while it lives.
  EventGuard(QObject* window, Teller tell)
      : window_(window), tell_(std::make_shared<const Teller>(std::move(tell))) {}
  // Tells errors in a box: "Fehler: " and the description.
  EventGuard(QObject* window, UserInterface& ui)
      : EventGuard(window, [&ui](const RuntimeError& error) {
          ui.MessageBox("Fehler: " + error.Description(), "", Icon::kNone, Buttons::kOk);
        }) {}

  // Runs the step; false where it failed, which has been told. The step may delete the window.
  template <class Step>
  bool Run(Step&& step) const {
    return Trap(std::forward<Step>(step),
                [tell = tell_, window = QPointer(window_)](const RuntimeError& error) {
                  if (window != nullptr) (*tell)(error);
                });
  }

  // The same for an event; one that failed is done with.
  template <class Step>
  bool Handle(Step&& step) const {
    bool handled = true;
    Run([&] { handled = step(); });
    return handled;
  }

  // Connects the signal to a member function of the window or to anything that can be called with the signal's
  // arguments or with the first of them.
  template <class Sender, class Signal, class Slot>
  void On(const Sender* sender, Signal signal, Slot slot) const {
    QObject::connect(sender, signal, window_,
                     [guard = *this, sender, call = AsCall(slot)](const auto&... arguments) mutable -> void {
                       if (IsBehindDialog(sender, guard.window_)) return;
                       guard.Run([&] { CallWithFirst(call, std::tie(arguments...)); });
                     });
  }

  // Calls the slot from the message loop after so many milliseconds.
  template <class Slot>
  void Later(int milliseconds, Slot slot) const {
    QTimer::singleShot(milliseconds, window_,
                       [guard = *this, call = AsCall(slot)]() mutable { guard.Run([&] { call(); }); });
  }

 private:
  template <class Window, class Result, class... Parameters>
  auto AsCall(Result (Window::*slot)(Parameters...)) const {
    return [window = static_cast<Window*>(window_), slot](Parameters... values) { (window->*slot)(values...); };
  }
  template <class Slot>
  Slot AsCall(Slot slot) const {
    return slot;
  }

  // Calls with as many of the arguments as the call takes.
  template <class Callable, class... Arguments>
  static void CallWithFirst(Callable& call, std::tuple<const Arguments&...> arguments) {
    if constexpr (std::is_invocable_v<Callable&, const Arguments&...>) {
      std::apply(call, arguments);
    } else {
      static_assert(sizeof...(Arguments) > 0, "the slot takes other arguments than the signal has");
      DropLast(call, arguments, std::make_index_sequence<sizeof...(Arguments) - 1>());
    }
  }
  template <class Callable, class Tuple, std::size_t... kKept>
  static void DropLast(Callable& call, Tuple& arguments, std::index_sequence<kKept...>) {
    CallWithFirst(call, std::tie(std::get<kKept>(arguments)...));
  }

  QObject* window_;
  std::shared_ptr<const Teller> tell_;
};

}  // namespace kestrel
