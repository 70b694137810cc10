// Takes pictures of windows into a folder.
#pragma once

#include <QDir>
#include <QWidget>

namespace kestrel::screenshots {

class Camera {
 public:
  // `folder` is made if missing.
  explicit Camera(const QString& folder);

  // Writes NAME.png, without the frame that the desktop draws; std::runtime_error where it cannot be written.
  void Take(QWidget& window, const QString& name) const;

 private:
  QDir folder_;
};

// The colours of a dark desktop, for every window of the program. On a real desktop the platform gives them.
void UseDarkColours();

}  // namespace kestrel::screenshots
