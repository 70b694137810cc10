// Keeps the windows alive while something long is being read, and lets the person end it.
#pragma once

#include <QPointer>
#include <QProgressDialog>
#include <QString>
#include <chrono>

namespace kestrel {

// While it lives, GoOn shows a dialog as soon as the reading lasts; until then nothing is seen of it.
class ReadingDialog {
 public:
  // `above` outlives this object; null for none.
  ReadingDialog(QString text, QWidget* above) : text_(std::move(text)), above_(above) {}
  ReadingDialog(const ReadingDialog&) = delete;
  ReadingDialog& operator=(const ReadingDialog&) = delete;
  ~ReadingDialog() { delete dialog_; }

  // To be called often. False once the person has ended the reading.
  bool GoOn();

 private:
  using Clock = std::chrono::steady_clock;

  QString text_;
  QWidget* above_;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point last_ = begin_;
  QPointer<QProgressDialog> dialog_;
};

}  // namespace kestrel
