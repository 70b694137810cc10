// The first records of a source below its settings, read again with every change by a thread of its own.
//
//  1. There is one reading at a time; of those asked for meanwhile only the last is done, and only what that one has
//     read is shown.
//  2. A reading that lasts is left to itself where something else is asked for: it ends by its source's own time limit.
//  3. What is shown stays until the next is there, or until that takes long enough to be noticed.
#pragma once

#include <QElapsedTimer>
#include <QLabel>
#include <QStackedWidget>
#include <QTableView>
#include <QTimer>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "sources/source_excerpt.h"
#include "wizard/event_guard.h"
#include "wizard/recordset_model.h"

namespace kestrel {

class SourcePreview final : public QStackedWidget {
  Q_OBJECT
 public:
  static constexpr std::size_t kRecords = 20;

  SourcePreview(QWidget* parent, UserInterface& ui);
  // Waits for a reading that is about to end.
  ~SourcePreview() override;

  // Shows what it reads, or the reason why it cannot.
  void Read(ExcerptReading reading);
  // Shows a sentence in place of the table.
  void Say(const QString& text);
  // What the keyboard reaches.
  QWidget* table() const { return table_; }
  bool IsReading() const { return look_.isActive(); }

 private:
  // What window and thread share.
  struct Desk {
    std::mutex mutex;
    std::condition_variable idle;
    ExcerptReading next;
    std::int64_t number = 0;  // of the last reading asked for
    bool is_working = false;
    std::optional<SourceExcerpt> sample;  // of that reading
  };
  static void Work(const std::shared_ptr<Desk>& desk);

  void Ask(ExcerptReading reading);
  // Begins what waits behind a reading that lasts.
  void LeaveAlone();
  void Look();
  void Show(SourceExcerpt sample);

  EventGuard guard_;
  QTableView* table_;
  QLabel* reason_;
  SourceExcerpt shown_;  // what the model shows
  RecordsetModel model_;
  std::shared_ptr<Desk> desk_ = std::make_shared<Desk>();
  QTimer look_;  // while something is being read
  QElapsedTimer reading_since_;
  QElapsedTimer working_since_;
};

}  // namespace kestrel
