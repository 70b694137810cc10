// Grouped commits: records are stored one by one, but share a transaction for a fifth of a second, or longer
// where commits are slow.
//
// One commit a record costs more than the record; one commit an import loses everything when the program
// dies. Here a commit takes a twentieth of the time, or up to a fifth where that would need groups longer than a
// second: what was stored in the last second and the time of one commit is lost at most, also when no further
// record comes; where a commit takes longer than a quarter of a second, what was stored in four times as long, and
// never more than in five seconds. The write lock is given up as soon as nothing is stored.
//
// Invariants
//  1. A group is a transaction that Store or OpenForLookUp opened. It ends nineteen times as long after its beginning
//     as the end of the last one took, what had to be stored for it and the commit, within kShortestSpan and kLongestSpan,
//     but not sooner than four times as long as the commit, within kLongestOfSlowCommits (SpanAfter), or with
//     EndSpan: at the end of the Store that finds the time over, before a look-up, else by the timer thread, or by
//     Flush. Between the look-up for a record and its Store the timer thread leaves it open for kLongestSpan more.
//  2. A record is stored as a whole or not at all; a record that fails leaves the others of its group alone.
//  3. Everything here happens under the connection's CallMutex. The timer thread takes it only to commit,
//     and never while it holds mutex_; mutex_ is the inner of the two.
//  4. Every member is told exactly once what became of a group in which it stored: it stands, or it is lost
//     with all that anybody stored in it. Nobody else is told, and no call raises for it.
//  5. Statements sent through a pipeline belong to the group in which they were sent: its commit waits for them.
//  6. Inside a transaction of the caller's no group is opened; records join that transaction, and count as
//     standing with the end of their Store.
//  7. Rows that are written behind (WriteBehind) are flushed before the group they came with is committed and,
//     while that group is open, before any query of the connection that could find them. So nobody can tell, but for
//     an error, which comes up later.
//  8. Before a group is committed, each of its members stores what belongs to the same commit (BeforeCommit). Where
//     one cannot, the group is lost.
//  9. A group that is lost in passing (a connection that broke, a deadlock) is done again by those of its members that
//     have its rows: with the next group, before anything else is stored there. That group is opened at once where
//     the loss comes with the commit.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kestrel/connection.h"
#include "platform/data/absent_values.h"
#include "platform/data/recovery.h"

namespace kestrel::host {

class GroupedWrites;

// Who stores through a group. Its members are called under the connection's CallMutex from whatever thread ends
// the group; GroupCommitted and GroupLost raise nothing, and none makes a call of the group.
class GroupMember {
 public:
  GroupMember() = default;
  GroupMember(const GroupMember&) = delete;
  GroupMember& operator=(const GroupMember&) = delete;
  virtual ~GroupMember();

  // What was stored is about to be committed: stores what belongs to it. Error 3000.
  virtual void BeforeCommit() {}
  // What was stored since the last call of either member is committed ...
  virtual void GroupCommitted() = 0;
  // ... or undone. Whether it has rows to retry, for which it is asked with the next group.
  virtual bool GroupLost(const RuntimeError& reason) = 0;
  // Stores the rows written behind. Error 3000, see GroupedWrites::TakeWriteBehindFailure.
  virtual void FlushRows() {}
  // A query is about to be opened that finds nothing but these rows: whether those written behind may stay so, the ones
  // it could find being stored. Raises nothing.
  virtual bool FlushSought(const SoughtRows&) { return false; }
  // The group in which its rows were to be stored cannot be opened. Raises nothing.
  virtual void GroupNotOpened(const RuntimeError&) {}

 private:
  friend class GroupedWrites;
  GroupedWrites* group_ = nullptr;  // that knows this member
};

class GroupedWrites final : public Attachment {
 public:
  static constexpr std::chrono::milliseconds kShortestSpan{200};
  static constexpr std::chrono::milliseconds kLongestSpan{1000};
  static constexpr std::chrono::milliseconds kLongestOfSlowCommits{5000};

  // How long a group lasts where the end of the last one took so long, and of that its commit.
  static std::chrono::steady_clock::duration SpanAfter(std::chrono::steady_clock::duration end,
                                                       std::chrono::steady_clock::duration commit);

  // What keeps a record whole when its step fails.
  enum class Record {
    kOneStatement,      // the step runs one changing statement, or undoes what it did itself
    kSeveralStatements  // a savepoint around the step
  };

  // The group of a connection; everybody who stores through it shares it.
  static GroupedWrites& Of(Connection& connection) {
    return connection.attachments().Of<GroupedWrites>(connection);
  }

  // Use Of. `connection` owns this object.
  explicit GroupedWrites(Connection& connection);
  ~GroupedWrites() override;

  // Runs `step`, which stores one record through the connection. What it raises passes on, its changes
  // undone. Error 3000 where no group could be opened. `member` is told what becomes of the record's group,
  // perhaps before this returns; it lives until then, or calls Leave.
  template <class Step>
  void Store(GroupMember& member, Record record, Step&& step) {
    const std::lock_guard lock(connection_.CallMutex());
    Attempt attempt(*this, member, record);
    try {
      std::forward<Step>(step)();
    } catch (const RuntimeError& error) {
      attempt.NoteReason(error);
      throw;
    }
    attempt.Keep();
  }

  // Before a look-up whose answer decides about the next record: opens a group where none is open, and where the
  // one that is should have ended, unless rows are just being flushed into it or stored in it again. `member` is told what becomes of it,
  // as of Store. False inside a transaction of the caller's, where nothing is opened. Error 3000.
  bool OpenForLookUp(GroupMember& member);
  // The open group has its whole span from now on: what it waited for so far was somebody else.
  void BeginSpan();

  // The time of the open group is over: for who can do something between groups that makes the next ones faster.
  void EndSpan();
  // Before a look-up whose answer decides about the next record, too: commits the open group where its time is over, as
  // OpenForLookUp would. Raises nothing.
  void CommitIfOver();

  // Inside PipelineSender::RetryPipeline: `work` stores records that were undone again, one by one with Store
  // and raising nothing. All of them stay in the transaction in which they were. Where that one is gone, the
  // other records of the group are lost. Where the calling thread keeps windows, another one does it.
  template <class Work>
  void Retry(Work&& work) {
    if (open_ && !connection_.InTransaction()) LoseGroup(TransactionIsGone(connection_.StopReason()));
    const bool before = std::exchange(retrying_, true);
    connection_.CallMutex().Aside(std::forward<Work>(work));
    retrying_ = before;
  }

  // Gives up the open group, as it cannot stand any more. Raises nothing.
  void Lose(const RuntimeError& reason) {
    if (open_) LoseGroup(reason);
  }

  // For a kOneStatement step that fails behind its first statement: runs `step`, which undoes that one.
  // Where not even that succeeds, the whole group is rolled back and told as lost. Raises nothing.
  template <class Step>
  void Undo(Step&& step) {
    // With a savepoint nothing is left to undo.
    if (capabilities_.atomic_statements) {
      Trap(std::forward<Step>(step), [this](const RuntimeError&) { AbandonGroup(); });
    }
  }

  // Inside a step of Store: whether rows may be written behind instead of being stored.
  bool MayWriteBehind() const { return open_ && capabilities_.announces_queries; }
  // Inside a step of Store: `member` is told as well what becomes of the group.
  void Join(GroupMember& member);
  // Has `member` asked for its rows (FlushRows), in time (invariant 7); without an open group, with the next one.
  void WriteBehind(GroupMember& member);
  // Before a member ends: it is told of nothing any more.
  static void Leave(Connection& connection, GroupMember& member);

  // Why rows that were written behind could not be stored, where nobody was told yet.
  std::optional<RuntimeError> TakeWriteBehindFailure() { return std::exchange(failure_, std::nullopt); }

  bool IsOpen() const { return open_; }
  // Counts the groups opened so far. What a caller has read of the database holds at least as long as this
  // number stays the same and nobody else writes through this connection.
  std::uint64_t Generation() const { return generation_; }
  // Counts the groups lost so far. What is stored again behind one may have other numbers.
  std::uint64_t Losses() const { return losses_; }

  // Commits the open group, if any, and the rows that wait after a loss. Raises nothing.
  void Flush() override;
  void BeforeQuery() override;

 private:
  friend class GroupMember;

  // One record on its way; undone unless kept.
  class Attempt {
   public:
    Attempt(GroupedWrites& group, GroupMember& member, Record record);
    ~Attempt();
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;
    void NoteReason(const RuntimeError& error) { reason_ = error.Description(); }
    void Keep();

   private:
    GroupedWrites& group_;
    GroupMember& member_;
    bool savepoint_ = false;
    bool kept_ = false;
    std::string reason_;  // of the failure
  };
  using Time = std::chrono::steady_clock::time_point;

  // Error 3000, also where what is to be stored first could not be.
  void OpenGroup();
  // After the commit: what is to be done again is done in a new group.
  void StoreAgain();
  void Forget(GroupMember& member);
  void FlushRows();
  void FlushRowsOf(const std::vector<GroupMember*>& members);
  // Where the calling thread keeps windows, by another one.
  void CommitGroup();
  void CommitOpenGroup();
  void CommitWhenDue();
  void EndGroup(const std::optional<RuntimeError>& failure);
  void LoseGroup(const RuntimeError& reason);
  void AbandonGroup();
  static RuntimeError TransactionIsGone(const std::string& reason = {});
  Statement& Prepared(std::unique_ptr<Statement>& statement, std::string_view sql);
  void RunTimer(const std::stop_token& stop);

  Connection& connection_;
  const Recovery* const recovery_;  // null where a lost transaction cannot be done again
  const AbsentValues& absent_;
  const Capabilities capabilities_;  // where statements are atomic, one needs no savepoint
  bool open_ = false;
  bool opening_ = false;
  bool retrying_ = false;
  bool flushing_ = false;   // rows, some of which are not in the open group yet
  bool looked_up_ = false;  // for a record that was not stored yet
  std::uint64_t generation_ = 0;
  std::uint64_t losses_ = 0;
  Time deadline_;  // of the open group
  std::chrono::steady_clock::duration last_end_{};
  std::chrono::steady_clock::duration last_commit_{};
  // Each knows this object as its group: who stored in the open group, and who has rows to flush.
  std::vector<GroupMember*> members_;
  std::vector<GroupMember*> buffered_;
  std::optional<RuntimeError> failure_;
  std::unique_ptr<Statement> savepoint_;
  std::unique_ptr<Statement> release_;
  std::unique_ptr<Statement> undo_;

  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::optional<Time> alarm_;  // guarded by mutex_
  std::jthread timer_;         // started with the first group
};

}  // namespace kestrel::host
