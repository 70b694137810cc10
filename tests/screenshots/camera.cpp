#include "screenshots/camera.h"

#include <QApplication>
#include <QPalette>
#include <QPixmap>
#include <stdexcept>

namespace kestrel::screenshots {

Camera::Camera(const QString& folder) : folder_(folder) { folder_.mkpath("."); }

void Camera::Take(QWidget& window, const QString& name) const {
  const QString path = folder_.filePath(name + ".png");
  if (!window.grab().save(path)) throw std::runtime_error("cannot write " + path.toStdString());
}

void UseDarkColours() {
  const QColor window(50, 50, 50), base(35, 35, 35), text(240, 240, 240), faint(140, 140, 140);
  QPalette dark(window);
  dark.setColor(QPalette::Window, window);
  dark.setColor(QPalette::WindowText, text);
  dark.setColor(QPalette::Base, base);
  dark.setColor(QPalette::AlternateBase, QColor(43, 43, 43));
  dark.setColor(QPalette::Text, text);
  dark.setColor(QPalette::PlaceholderText, faint);
  dark.setColor(QPalette::Button, window);
  dark.setColor(QPalette::ButtonText, text);
  dark.setColor(QPalette::BrightText, Qt::white);
  dark.setColor(QPalette::ToolTipBase, base);
  dark.setColor(QPalette::ToolTipText, text);
  dark.setColor(QPalette::Link, QColor(92, 170, 240));
  dark.setColor(QPalette::Highlight, QColor(38, 108, 172));
  dark.setColor(QPalette::HighlightedText, Qt::white);
  for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    dark.setColor(QPalette::Disabled, role, faint);
  }
  QApplication::setPalette(dark);
}

}  // namespace kestrel::screenshots
