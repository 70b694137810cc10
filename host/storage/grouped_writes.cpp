#include "storage/grouped_writes.h"

#include <algorithm>

#include "platform/base/coarse_time.h"

namespace kestrel::host {

namespace {

// So the ends of groups take a twentieth of the time ...
constexpr int kTimesAnEnd = 19;
// ... or commits a fifth.
constexpr int kTimesASlowCommit = 4;

// How often a group is done again that is lost in passing.
constexpr int kMostAttempts = 6;

// Sets a flag until the end of the scope.
class Restored {
 public:
  Restored(bool& flag, bool value) : flag_(flag), before_(std::exchange(flag, value)) {}
  Restored(const Restored&) = delete;
  Restored& operator=(const Restored&) = delete;
  ~Restored() { flag_ = before_; }

 private:
  bool& flag_;
  bool before_;
};

bool Holds(const std::vector<GroupMember*>& members, const GroupMember& member) {
  return std::find(members.begin(), members.end(), &member) != members.end();
}

}  // namespace

GroupMember::~GroupMember() {
  if (group_ != nullptr) group_->Forget(*this);
}

GroupedWrites::GroupedWrites(Connection& connection)
    : connection_(connection),
      recovery_(dynamic_cast<Recovery*>(&connection)),
      absent_(connection.attachments().Of<AbsentValues>(connection)),
      capabilities_(connection.capabilities()) {}

GroupedWrites::~GroupedWrites() {
  if (timer_.joinable()) {
    timer_.request_stop();
    timer_.join();
  }
  for (GroupMember* member : members_) member->group_ = nullptr;
  for (GroupMember* member : buffered_) member->group_ = nullptr;
}

std::chrono::steady_clock::duration GroupedWrites::SpanAfter(std::chrono::steady_clock::duration end,
                                                             std::chrono::steady_clock::duration commit) {
  using Span = std::chrono::steady_clock::duration;
  const Span longest = std::clamp<Span>(kTimesASlowCommit * commit, kLongestSpan, kLongestOfSlowCommits);
  return std::clamp<Span>(kTimesAnEnd * end, kShortestSpan, longest);
}

Statement& GroupedWrites::Prepared(std::unique_ptr<Statement>& statement, std::string_view sql) {
  if (statement == nullptr) statement = connection_.Prepare(sql);
  return *statement;
}

void GroupedWrites::BeginSpan() {
  deadline_ = std::chrono::steady_clock::now() + SpanAfter(last_end_, last_commit_);
  {
    const std::lock_guard lock(mutex_);
    alarm_ = deadline_;
    if (!timer_.joinable()) {
      timer_ = std::jthread([this](const std::stop_token& stop) { RunTimer(stop); });
    }
  }
  wake_.notify_one();
}

void GroupedWrites::OpenGroup() {
  if (connection_.InTransaction()) return;
  if (open_) LoseGroup(TransactionIsGone());
  const auto begin = [this] {
    // Begin flushes attachments, this one among them.
    const Restored restored(opening_, true);
    connection_.Begin();
  };
  Trap(begin, [this](const RuntimeError& error) {
    for (GroupMember* member : buffered_) member->GroupNotOpened(error);
    throw;
  });
  open_ = true;
  ++generation_;
  BeginSpan();
  if (buffered_.empty()) return;
  FlushRows();
  if (!open_) throw TransactionIsGone(connection_.StopReason());
}

void GroupedWrites::EndSpan() {
  // The timer goes by its alarm, and finds the group ended by then.
  if (open_) deadline_ = CoarseNow();
}

void GroupedWrites::CommitIfOver() {
  // A commit in the middle of rows would count those as standing that are still to be stored.
  if (open_ && !flushing_ && !retrying_ && CoarseNow() >= deadline_) CommitGroup();
}

bool GroupedWrites::OpenForLookUp(GroupMember& member) {
  CommitIfOver();
  OpenGroup();
  looked_up_ = open_;
  Join(member);
  return open_;
}

void GroupedWrites::Join(GroupMember& member) {
  if (!open_ || Holds(members_, member)) return;
  members_.push_back(&member);
  member.group_ = this;
}

void GroupedWrites::WriteBehind(GroupMember& member) {
  if (Holds(buffered_, member)) return;
  buffered_.push_back(&member);
  member.group_ = this;
}

void GroupedWrites::Forget(GroupMember& member) {
  std::erase(members_, &member);
  std::erase(buffered_, &member);
  member.group_ = nullptr;
}

void GroupedWrites::Leave(Connection& connection, GroupMember& member) {
  const std::lock_guard lock(connection.CallMutex());
  if (member.group_ != nullptr) member.group_->Forget(member);
}

void GroupedWrites::BeforeQuery() {
  if (!open_ || buffered_.empty() || !connection_.InTransaction()) return;
  const SoughtRows* const sought = absent_.Sought();
  if (sought == nullptr) return FlushRows();
  const Restored restored(flushing_, true);
  std::vector<GroupMember*> concerned;
  for (GroupMember* member : buffered_) {
    if (!member->FlushSought(*sought)) concerned.push_back(member);
  }
  for (GroupMember* member : concerned) std::erase(buffered_, member);
  FlushRowsOf(concerned);
}

void GroupedWrites::FlushRows() { FlushRowsOf(std::exchange(buffered_, {})); }

void GroupedWrites::FlushRowsOf(const std::vector<GroupMember*>& members) {
  const Restored restored(flushing_, true);
  for (GroupMember* member : members) {
    if (!connection_.InTransaction()) {
      WriteBehind(*member);
      continue;
    }
    // What it stores is the open group's, though it may have come with another one.
    Join(*member);
    Trap([&] { member->FlushRows(); },
         [this](const RuntimeError& error) {
           // Lost in passing, its rows are asked for again with the next group.
           if (recovery_ != nullptr && recovery_->LastLoss() != Recovery::Loss::kLasting) {
             Lose(error);
           } else {
             failure_ = error;
           }
         });
  }
}

RuntimeError GroupedWrites::TransactionIsGone(const std::string& reason) {
  return {ErrorNumber::kDatabase,
          "Die Datenbank hat die Transaktion beendet." + (reason.empty() ? "" : " " + reason)};
}

void GroupedWrites::CommitGroup() {
  if (open_) connection_.CallMutex().Aside([this] { CommitOpenGroup(); });
}

void GroupedWrites::CommitOpenGroup() {
  const Time end = std::chrono::steady_clock::now();
  if (connection_.InTransaction()) {
    FlushRows();
    // Records that are stored again meanwhile may lose this group and open the next one.
    const std::vector<GroupMember*> members = members_;
    std::optional<RuntimeError> refusal;
    for (GroupMember* member : members) {
      if (refusal) break;
      Trap([&] { member->BeforeCommit(); }, [&](const RuntimeError& error) { refusal = error; });
    }
    if (!open_) return;
    if (refusal) {
      LoseGroup(*refusal);
      return;
    }
  }
  // A statement of somebody else's, or one of these, may have ended it.
  if (!connection_.InTransaction()) {
    LoseGroup(TransactionIsGone());
    return;
  }
  const Time start = std::chrono::steady_clock::now();
  std::optional<RuntimeError> failure;
  Trap([this] { connection_.Commit(); }, [&](const RuntimeError& error) { failure = error; });
  const Time committed = std::chrono::steady_clock::now();
  last_end_ = committed - end;
  last_commit_ = committed - start;
  if (open_) EndGroup(failure);
  if (failure) StoreAgain();
}

void GroupedWrites::StoreAgain() {
  // Each member knows how often it tries; rows of logs wait for the next record.
  const auto goes_on = [this] {
    return !open_ && recovery_ != nullptr && !buffered_.empty() &&
           recovery_->LastLoss() != Recovery::Loss::kLasting;
  };
  for (int attempt = 0; attempt < kMostAttempts && goes_on(); ++attempt) {
    Trap([this] { OpenGroup(); }, [](const RuntimeError&) {});
  }
}

void GroupedWrites::EndGroup(const std::optional<RuntimeError>& failure) {
  open_ = looked_up_ = false;
  if (failure) ++losses_;
  for (GroupMember* member : std::exchange(members_, {})) {
    if (!Holds(buffered_, *member)) member->group_ = nullptr;
    if (!failure) {
      member->GroupCommitted();
    } else if (member->GroupLost(*failure)) {
      WriteBehind(*member);
    }
  }
}

void GroupedWrites::LoseGroup(const RuntimeError& reason) {
  AbandonGroup();
  EndGroup(reason);
}

void GroupedWrites::AbandonGroup() {
  // Only the end of the transaction counts here; the reason is on its way already.
  if (connection_.InTransaction()) Trap([this] { connection_.Rollback(); }, [](const RuntimeError&) {});
}

void GroupedWrites::Flush() {
  const std::lock_guard lock(connection_.CallMutex());
  if (opening_) return;
  CommitGroup();
  // What was lost in passing stands in a new group by now.
  for (int attempt = 0; attempt < kMostAttempts && open_ && recovery_ != nullptr; ++attempt) CommitGroup();
  if (buffered_.empty() || connection_.InTransaction()) return;
  Trap([this] { OpenGroup(); }, [this](const RuntimeError& error) { failure_ = error; });
  CommitGroup();
  if (!buffered_.empty() && !failure_) failure_ = TransactionIsGone();
}

void GroupedWrites::CommitWhenDue() {
  const Time now = std::chrono::steady_clock::now();
  // A record may have ended that group and opened the next one meanwhile.
  if (!open_ || now < deadline_) return;
  if (!looked_up_ || now >= deadline_ + kLongestSpan) return CommitGroup();
  const std::lock_guard lock(mutex_);
  alarm_ = now + kShortestSpan;
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
      CommitWhenDue();
    }
    lock.lock();
  }
}

GroupedWrites::Attempt::Attempt(GroupedWrites& group, GroupMember& member, Record record)
    : group_(group), member_(member) {
  group_.OpenGroup();
  group_.Join(member);
  if (record == Record::kOneStatement && group_.capabilities_.atomic_statements) return;
  // A query inside the step would have them stored within the savepoint, and undone with it.
  if (group_.open_) group_.FlushRows();
  group_.Prepared(group_.savepoint_, "SAVEPOINT kestrel_record").Execute();
  savepoint_ = true;
}

void GroupedWrites::Attempt::Keep() {
  if (savepoint_) group_.Prepared(group_.release_, "RELEASE SAVEPOINT kestrel_record").Execute();
  kept_ = true;
  group_.looked_up_ = false;
  if (!group_.open_) {
    member_.BeforeCommit();
    member_.GroupCommitted();
  } else if (!group_.retrying_ && CoarseNow() >= group_.deadline_) {
    group_.CommitGroup();
  }
}

GroupedWrites::Attempt::~Attempt() {
  if (kept_) return;
  group_.looked_up_ = false;
  if (!group_.connection_.InTransaction()) {
    // A full disk and the like end the whole transaction.
    if (group_.open_) group_.LoseGroup(TransactionIsGone(reason_));
  } else if (savepoint_) {
    Trap(
        [this] {
          group_.Prepared(group_.undo_, "ROLLBACK TO SAVEPOINT kestrel_record").Execute();
          group_.Prepared(group_.release_, "RELEASE SAVEPOINT kestrel_record").Execute();
        },
        [this](const RuntimeError& error) {
          if (group_.open_) group_.LoseGroup(error);
        });
  }
}

}  // namespace kestrel::host
