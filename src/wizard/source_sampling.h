// The first records of the source, read in a thread of its own while the page is used.
#pragma once

#include <QObject>
#include <QTimer>
#include <future>
#include <optional>

#include "sources/source_excerpt.h"
#include "wizard/event_guard.h"

namespace kestrel {

class SourceSampling final : public QObject {
  Q_OBJECT
 public:
  explicit SourceSampling(QObject* parent);

  // Reads as the session's settings are now. Once. Nobody waits for the thread of a page that has gone; what it
  // delivers then is dropped.
  void Start(const Session& session, std::size_t most);
  // Null until it is read.
  const SourceExcerpt* sample() const { return sample_ ? &*sample_ : nullptr; }

 signals:
  void Ready();

 private:
  void Look();

  EventGuard guard_;
  QTimer look_;
  std::future<SourceExcerpt> reading_;
  std::optional<SourceExcerpt> sample_;
};

}  // namespace kestrel
