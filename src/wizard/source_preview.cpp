#include "wizard/source_preview.h"

#include <QHeaderView>
#include <chrono>
#include <utility>

#include "wizard/apart_threads.h"
#include "wizard/qt_text.h"
#include "wizard/table_look.h"

namespace kestrel {

namespace {

constexpr int kLookMs = 10;
// From when on it is said that something is being read.
constexpr int kNoticedMs = 300;
// What has lasted so long does not keep others waiting.
constexpr int kLeftAloneMs = 1000;
constexpr std::chrono::milliseconds kEndsSoon{100};
constexpr int kFewestRows = 1;     // where a small screen leaves no room for more
constexpr int kWidestColumn = 40;  // characters

}  // namespace

SourcePreview::SourcePreview(QWidget* parent, UserInterface& ui) : QStackedWidget(parent), guard_(this, ui) {
  setObjectName("fraVorschau");
  table_ = new QTableView(this);
  table_->setObjectName("tblVorschau");
  table_->setAccessibleName("Vorschau der ersten Datensätze");
  table_->setModel(&model_);
  GiveListLook(*table_);
  const int row = RowHeight(fontMetrics());
  table_->setMinimumHeight(table_->horizontalHeader()->sizeHint().height() + kFewestRows * row);
  reason_ = new QLabel(this);
  reason_->setObjectName("lblVorschau");
  reason_->setTextFormat(Qt::PlainText);
  reason_->setWordWrap(true);
  reason_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  reason_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  // A path without blanks would otherwise ask for room for all of it.
  reason_->setMinimumWidth(1);
  addWidget(table_);
  addWidget(reason_);
  setCurrentWidget(reason_);
  guard_.On(&look_, &QTimer::timeout, &SourcePreview::Look);
}

SourcePreview::~SourcePreview() {
  std::unique_lock lock(desk_->mutex);
  desk_->next = nullptr;
  desk_->idle.wait_for(lock, kEndsSoon, [this] { return !desk_->is_working; });
}

void SourcePreview::Read(ExcerptReading reading) {
  Ask(std::move(reading));
  if (!look_.isActive()) reading_since_.start();
  look_.start(kLookMs);
}

void SourcePreview::Ask(ExcerptReading reading) {
  const std::lock_guard lock(desk_->mutex);
  desk_->next = std::move(reading);
  desk_->sample.reset();
  ++desk_->number;
  if (desk_->is_working) return;
  desk_->is_working = true;
  working_since_.start();
  ApartThreads::Start([desk = desk_] { Work(desk); });
}

void SourcePreview::LeaveAlone() {
  if (working_since_.elapsed() <= kLeftAloneMs) return;
  ExcerptReading next;
  {
    const std::lock_guard lock(desk_->mutex);
    next = std::exchange(desk_->next, nullptr);
  }
  if (!next) return;
  desk_ = std::make_shared<Desk>();
  Ask(std::move(next));
}

void SourcePreview::Say(const QString& text) {
  {
    const std::lock_guard lock(desk_->mutex);
    desk_->next = nullptr;
    desk_->sample.reset();
    ++desk_->number;
  }
  look_.stop();
  reason_->setText(text);
  setCurrentWidget(reason_);
}

void SourcePreview::Work(const std::shared_ptr<Desk>& desk) {
  std::unique_lock lock(desk->mutex);
  while (desk->next) {
    const ExcerptReading reading = std::exchange(desk->next, nullptr);
    const std::int64_t number = desk->number;
    lock.unlock();
    SourceExcerpt sample = reading();
    lock.lock();
    if (number == desk->number) desk->sample = std::move(sample);
  }
  desk->is_working = false;
  desk->idle.notify_all();
}

void SourcePreview::Look() {
  std::optional<SourceExcerpt> sample;
  {
    const std::lock_guard lock(desk_->mutex);
    sample = std::exchange(desk_->sample, std::nullopt);
  }
  if (sample) {
    look_.stop();
    Show(std::move(*sample));
    return;
  }
  LeaveAlone();
  if (reading_since_.elapsed() > kNoticedMs) {
    reason_->setText("Die ersten Datensätze werden gelesen ...");
    setCurrentWidget(reason_);
  }
}

void SourcePreview::Show(SourceExcerpt sample) {
  if (sample.records.empty()) {
    reason_->setText(sample.failure.empty() ? "Die Datenquelle enthält keine Datensätze."
                                            : ToQt(sample.failure));
    setCurrentWidget(reason_);
    return;
  }
  model_.SetRecordset(nullptr, {});
  shown_ = std::move(sample);
  model_.SetRecordset(RecordsOf(shown_), {});
  FitColumns(*table_, kWidestColumn);
  setCurrentWidget(table_);
}

}  // namespace kestrel
