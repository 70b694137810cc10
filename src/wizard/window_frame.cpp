#include "wizard/window_frame.h"

#include <QEvent>
#include <QScreen>
#include <QSettings>
#include <QStyle>
#include <QTimer>
#include <QWindow>
#include <algorithm>

#include "wizard/event_guard.h"

namespace kestrel {

namespace {

constexpr QSize kPageSize(720, 660);

// The frame that the window manager puts around; before it has done so, what a frame usually takes.
QMargins FrameOf(const QWidget& window) {
  const QRect inner = window.geometry();
  const QRect outer = window.frameGeometry();
  const QMargins told(inner.left() - outer.left(), inner.top() - outer.top(), outer.right() - inner.right(),
                      outer.bottom() - inner.bottom());
  if (!told.isNull()) return told;
  const int border = window.style()->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth, nullptr, &window);
  return {border, window.style()->pixelMetric(QStyle::PM_TitleBarHeight, nullptr, &window), border, border};
}

void FitIntoWorkArea(QWidget& window) {
  if (window.isMaximized() || window.isFullScreen()) return;
  const QRect room = window.screen()->availableGeometry().marginsRemoved(FrameOf(window));
  const QSize size = window.size().boundedTo(room.size());
  if (size != window.size()) window.resize(size);
  // A place is the window manager's to choose until it has done so.
  if (!window.isVisible()) return;
  const QRect now = window.geometry();
  const QPoint place(std::max(room.left(), std::min(now.left(), room.right() + 1 - now.width())),
                     std::max(room.top(), std::min(now.top(), room.bottom() + 1 - now.height())));
  if (place != now.topLeft()) window.move(window.pos() + place - now.topLeft());
}

class SizeKeeper final : public QObject {
 public:
  SizeKeeper(QWidget* window, const QString& key) : QObject(window), window_(window), key_("window/" + key) {
    window->installEventFilter(this);
    const QSize kept = settings_.value(key_).toSize();
    if (kept.isValid()) window->resize(kept);
    FitIntoWorkArea(*window);
    // Window managers tell the frame and the place some time after the window has come up.
    settled_.setSingleShot(true);
    settled_.setInterval(kSettledMs);
    // Nothing in it raises.
    EventGuard(this, [](const RuntimeError&) {}).On(&settled_, &QTimer::timeout, [this] {
      if (window_->isVisible()) FitIntoWorkArea(*window_);
    });
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched == window_ && event->type() == QEvent::Show && !event->spontaneous()) settled_.start();
    const bool is_normal = !window_->isMaximized() && !window_->isFullScreen();
    if (watched == window_ && event->type() == QEvent::Hide && is_normal) {
      settings_.setValue(key_, window_->size());
    }
    return QObject::eventFilter(watched, event);
  }

 private:
  static constexpr int kSettledMs = 100;

  QSettings settings_{"KESTREL", "Import"};
  QWidget* window_;
  QString key_;
  QTimer settled_;
};

}  // namespace

void RememberSize(QWidget* window, const QString& key) { new SizeKeeper(window, key); }

void MakePage(QWidget* page) {
  page->setWindowTitle("KESTREL Import");
  GiveIcon(page);
  page->resize(page->sizeHint().expandedTo(kPageSize));
  RememberSize(page, "page");
}

void StayAbove(QWidget* page, QWidget* host_window) {
  if (host_window == nullptr) return;
  // Window managers are told of the window below only by windows of this type.
  page->setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                       Qt::WindowMinMaxButtonsHint | Qt::WindowCloseButtonHint);
  page->winId();
  page->windowHandle()->setTransientParent(host_window->window()->windowHandle());
}

void TakePlaceOf(const QWidget& before, QWidget* page) {
  page->resize(before.isMaximized() ? page->size() : before.size());
  page->move(before.pos());
  if (before.isMaximized()) page->setWindowState(page->windowState() | Qt::WindowMaximized);
}

}  // namespace kestrel
