#include "platform/data/grouped_writes.h"

#include <time.h>

#include <algorithm>

namespace kestrel {

namespace {

// The time as the kernel's last clock tick left it, some milliseconds ago: asked for after every record.
std::chrono::steady_clock::time_point CoarseNow() {
  struct timespec now {};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  const auto since = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
  return std::chrono::steady_clock::time_point(since);
}

}  // namespace

KeptBackRows::~KeptBackRows() {
  if (keeper_ != nullptr) std::erase(keeper_->kept_back_, this);
}

GroupedWrites::GroupedWrites(Connection& connection)
    : connection_(connection),
      statements_are_atomic_(connection.ProviderName() == "sqlite" ||
                             connection.ProviderName() == "postgresql") {}

GroupedWrites::~GroupedWrites() {
  if (timer_.joinable()) {
    timer_.request_stop();
    timer_.join();
  }
  for (KeptBackRows* rows : kept_back_) rows->keeper_ = nullptr;
}

Statement& GroupedWrites::Prepared(std::unique_ptr<Statement>& statement, std::string_view sql) {
  if (statement == nullptr) statement = connection_.Prepare(sql);
  return *statement;
}

void GroupedWrites::OpenGroup() {
  if (connection_.InTransaction()) return;
  connection_.Begin();
  open_ = true;
  ++generation_;
  records_ = 0;
  using Span = std::chrono::steady_clock::duration;
  deadline_ =
      std::chrono::steady_clock::now() + std::clamp<Span>(kMostLost - last_commit_, kShortestSpan, kSpan);
  {
    const std::lock_guard lock(mutex_);
    alarm_ = deadline_;
    if (!timer_.joinable()) {
      timer_ = std::jthread([this](const std::stop_token& stop) { RunTimer(stop); });
    }
  }
  wake_.notify_one();
}

bool GroupedWrites::KeepBack(KeptBackRows& rows) {
  if (!open_ || !connection_.TellsQueries()) return false;
  if (rows.keeper_ == nullptr) {
    kept_back_.push_back(&rows);
    rows.keeper_ = this;
  }
  return true;
}

void GroupedWrites::StoreKeptBack() {
  for (KeptBackRows* rows : std::exchange(kept_back_, {})) {
    rows->keeper_ = nullptr;
    Trap([rows] { rows->StoreKeptBack(); },
         [this](const RuntimeError& error) {
           AddLoss("Die letzten Zeilen konnten nicht gespeichert werden. " + error.Description());
         });
  }
}

void GroupedWrites::CommitGroup() {
  StoreKeptBack();
  if (!open_) return;
  open_ = false;
  // The transaction may have been ended by a statement of somebody else's.
  if (!connection_.InTransaction()) return;
  const Time start = std::chrono::steady_clock::now();
  Trap([this] { connection_.Commit(); }, [this](const RuntimeError& error) { NoteLoss(error.Description()); });
  last_commit_ = std::chrono::steady_clock::now() - start;
}

void GroupedWrites::AbandonGroup() {
  // Only the end of the transaction counts here; the record's own error is on its way already.
  Trap([this] { connection_.Rollback(); }, [](const RuntimeError&) {});
}

void GroupedWrites::TakeOff(std::int64_t records) {
  records_ = std::max<std::int64_t>(0, records_ - records);
  if (connection_.InTransaction() || !open_) return;
  if (records_ != 0) NoteLoss("Die Datenbank hat die Transaktion beendet.");
  open_ = false;
}

void GroupedWrites::NoteLoss(const std::string& reason) {
  AddLoss("Die letzten " + std::to_string(records_) + " Datensätze konnten nicht gespeichert werden. " +
          reason);
}

void GroupedWrites::AddLoss(const std::string& description) {
  loss_ = loss_ ? *loss_ + " " + description : description;
}

void GroupedWrites::RaiseLoss() {
  if (!loss_) return;
  const std::string description = std::move(*loss_);
  loss_.reset();
  throw RuntimeError(ErrorNumber::kDatabase, description);
}

void GroupedWrites::Settle() {
  const std::lock_guard lock(connection_.CallMutex());
  CommitGroup();
  RaiseLoss();
}

void GroupedWrites::RunTimer(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  while (wake_.wait(lock, stop, [this] { return alarm_.has_value(); })) {
    const Time due = *alarm_;
    wake_.wait_until(lock, stop, due, [this, due] { return alarm_ != due; });
    if (stop.stop_requested()) return;
    if (alarm_ != due) continue;
    alarm_.reset();
    lock.unlock();
    {
      const std::lock_guard call(connection_.CallMutex());
      // A record may have ended that group and opened the next one meanwhile.
      if (open_ && deadline_ <= std::chrono::steady_clock::now()) CommitGroup();
    }
    lock.lock();
  }
}

GroupedWrites::Attempt::Attempt(GroupedWrites& group, Record record) : group_(group) {
  group_.RaiseLoss();
  group_.OpenGroup();
  if (record == Record::kOneStatement && group_.statements_are_atomic_) return;
  group_.Prepared(group_.savepoint_, "SAVEPOINT kestrel_record").Execute();
  savepoint_ = true;
}

void GroupedWrites::Attempt::Keep() {
  if (savepoint_) group_.Prepared(group_.release_, "RELEASE SAVEPOINT kestrel_record").Execute();
  kept_ = true;
  ++group_.records_;
  if (group_.open_ && !group_.storing_again_ && CoarseNow() >= group_.deadline_) {
    group_.CommitGroup();
    group_.RaiseLoss();
  }
}

GroupedWrites::Attempt::~Attempt() {
  if (kept_) return;
  const auto note = [this](const RuntimeError& error) { group_.NoteLoss(error.Description()); };
  if (!group_.connection_.InTransaction()) {
    // A full disk and the like end the whole transaction.
    if (group_.open_ && group_.records_ != 0) group_.NoteLoss("Die Datenbank hat die Transaktion beendet.");
    group_.open_ = false;
  } else if (savepoint_) {
    Trap(
        [this] {
          group_.Prepared(group_.undo_, "ROLLBACK TO SAVEPOINT kestrel_record").Execute();
          group_.Prepared(group_.release_, "RELEASE SAVEPOINT kestrel_record").Execute();
        },
        note);
  }
}

}  // namespace kestrel
