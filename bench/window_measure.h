// What measuring windows needs: a process of its own for each, the first painting, and limits that are told.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QEvent>
#include <QTemporaryDir>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

#include "prepared_session.h"
#include "result_line.h"
#include "wizard/frmPrev.h"

namespace kestrel::bench {

// Two figures of the work without a window and with it.
struct Pair {
  double without = 0;
  double with = 0;
};

// Sees the first painting of a window.
class PaintWatch final : public QObject {
 public:
  explicit PaintWatch(QWidget& window) { window.installEventFilter(this); }
  bool painted() const { return painted_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    painted_ = painted_ || event->type() == QEvent::Paint;
    return QObject::eventFilter(watched, event);
  }

 private:
  bool painted_ = false;
};

inline void ShowUntilPainted(QWidget& window) {
  PaintWatch watch(window);
  window.show();
  while (!watch.painted()) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  QApplication::processEvents();
}

inline void WarmUp() {
  QTemporaryDir folder;
  const std::string small = FromQt(folder.filePath("klein.txt"));
  WriteFileAtomically(small, "Name;Ort\r\nMüller;Köln\r\n");
  Prepared prepared(small);
  ImportJob job(prepared.session());
  frmPrev preview(job, nullptr);
  ShowUntilPainted(preview);
}

// Calls `measure` in a process of its own, in which the application runs.
inline Pair InProcess(const std::function<Pair()>& measure) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  // What is printed once must not be printed by both.
  std::fflush(stdout);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) {
    close(ends[0]);
    int status = 1;
    try {
      qputenv("QT_QPA_PLATFORM", "offscreen");
      const QTemporaryDir settings;
      qputenv("XDG_CONFIG_HOME", settings.path().toUtf8());
      int count = 1;
      char name[] = "wizard_bench";
      char* arguments[] = {name, nullptr};
      const QApplication application(count, arguments);
      QApplication::setQuitOnLastWindowClosed(false);
      WarmUp();
      const Pair pair = measure();
      status = write(ends[1], &pair, sizeof pair) == sizeof pair ? 0 : 1;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
    }
    _exit(status);
  }
  close(ends[1]);
  Pair pair;
  const bool complete = read(ends[0], &pair, sizeof pair) == sizeof pair;
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!complete || status != 0) throw std::runtime_error("a measurement broke off");
  return pair;
}

inline void Report(const char* what, const Pair& pair, double limit, double scale, const char* unit) {
  const double beyond = pair.with - pair.without;
  std::printf("%s\n    %.3f %s - %.3f %s = %.3f %s  (at most %.3f) %s\n", what, pair.with / scale, unit,
              pair.without / scale, unit, beyond / scale, unit, limit / scale,
              beyond <= limit ? "ok" : "TOO MUCH");
  const std::string behind = std::string(" ") + unit;
  kestrel::bench::Report({.what = std::string(what) + ", " + unit,
                          .ours = Fixed(pair.with / scale, 3, behind),
                          .naive = Fixed(pair.without / scale, 3, behind),
                          .ratio = beyond / scale,
                          .limit = limit / scale});
}

}  // namespace kestrel::bench
