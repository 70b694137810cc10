#include "wizard/event_guard.h"

#include <QAction>
#include <QApplication>
#include <QPushButton>

namespace kestrel {

bool IsBehindDialog(const QObject* sender, const QObject* window) {
  const QWidget* const modal = QApplication::activeModalWidget();
  if (modal == nullptr) return false;
  const QObject* pressed = qobject_cast<const QPushButton*>(sender);
  if (qobject_cast<const QAction*>(sender) != nullptr) pressed = window;
  const auto* widget = qobject_cast<const QWidget*>(pressed);
  if (widget == nullptr) return false;
  while (widget != nullptr && widget != modal) widget = widget->parentWidget();
  return widget == nullptr;
}

}  // namespace kestrel
