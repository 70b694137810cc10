// Grouped commits: records are stored one by one, but share a transaction for up to a fifth of a second.
//
// One commit a record costs more than the record; one commit an import loses everything when the program
// dies. Here at most the last 250 ms are lost, also when no further record comes, and the write lock is
// given up as soon as nothing is stored.
//
// Invariants
//  1. A group is a transaction that Store opened. It ends kSpan after its first record, or earlier where
//     the last commit took long, so that span and commit stay within the 250 ms: at the end of the Store that
//     finds the time over, else by the timer thread, or by Settle.
//  2. A record is stored as a whole or not at all; a record that fails leaves the others of its group alone.
//  3. Everything here happens under the connection's CallMutex. The timer thread takes it only to commit,
//     and never while it holds mutex_; mutex_ is the inner of the two.
//  4. A group that could not be committed is told exactly once: by the next Store or Settle.
//  5. Statements sent with ExecuteLater belong to the group in which they were sent: its commit waits for them.
//  6. Inside a transaction of the caller's no group is opened; records join that transaction.
//  7. Rows that are kept back (KeepBack) are stored before the group they came with is committed and before any
//     query of the connection. So nobody can tell, but for an error, which comes up later.
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

#include "platform/data/connection.h"

namespace kestrel {

class GroupedWrites;

// Who keeps rows back in order to store several of them with one statement.
class KeptBackRows {
 public:
  KeptBackRows() = default;
  KeptBackRows(const KeptBackRows&) = delete;
  KeptBackRows& operator=(const KeptBackRows&) = delete;
  // Rows that were not stored by then are lost.
  virtual ~KeptBackRows();
  // Stores all of them; those that cannot be stored are given up. Called under the connection's CallMutex.
  virtual void StoreKeptBack() = 0;

 private:
  friend class GroupedWrites;
  GroupedWrites* keeper_ = nullptr;
};

class GroupedWrites final : public Companion {
 public:
  static constexpr std::chrono::milliseconds kSpan{200};
  static constexpr std::chrono::milliseconds kShortestSpan{100};
  static constexpr std::chrono::milliseconds kMostLost{250};

  // What keeps a record whole when its step fails.
  enum class Record {
    kOneStatement,      // the step runs one changing statement, or undoes what it did itself
    kSeveralStatements  // a savepoint around the step
  };

  // The group of a connection; everybody who stores through it shares it.
  static GroupedWrites& Of(Connection& connection) { return connection.CompanionOf<GroupedWrites>(); }

  // Use Of. `connection` owns this object.
  explicit GroupedWrites(Connection& connection);
  ~GroupedWrites() override;

  // Runs `step`, which stores one record through the connection. What it raises passes on, its changes
  // undone. Raises 3000 where an earlier or the own group could not be committed, telling how many records
  // are lost; `step` has not run in the first case.
  template <class Step>
  void Store(Record record, Step&& step) {
    const std::lock_guard lock(connection_.CallMutex());
    Attempt attempt(*this, record);
    std::forward<Step>(step)();
    attempt.Keep();
  }

  // Inside LateWork::DoLateWorkAgain: the last `records` stored ones are undone, and `work` stores them again,
  // one by one with Store and raising nothing. All of them stay in the transaction in which they were. Where
  // that one is gone, the other records of the group are lost, as the next Store tells.
  template <class Work>
  void StoreAgain(std::int64_t records, Work&& work) {
    TakeOff(records);
    storing_again_ = true;
    std::forward<Work>(work)();
    storing_again_ = false;
  }

  // For a kOneStatement step that fails behind its first statement: runs `undo`, which takes that one back.
  // Where not even that succeeds, the whole group is rolled back and told as lost. Raises nothing.
  template <class Undo>
  void TakeBack(Undo&& undo) {
    // With a savepoint nothing is left to take back.
    if (statements_are_atomic_) {
      Trap(std::forward<Undo>(undo), [this](const RuntimeError&) { AbandonGroup(); });
    }
  }

  // Inside a step of Store: whether `rows` may keep back what the step is to store; it is then asked for them
  // in time (invariant 7). What it raises then is told as the loss of a group is.
  bool KeepBack(KeptBackRows& rows);

  // Counts the groups opened so far. What a caller has read of the database holds at least as long as this
  // number stays the same and nobody else writes through this connection.
  std::uint64_t Generation() const { return generation_; }

  // Commits the open group, if any.
  void Settle() override;
  void BeforeQuery() override { StoreKeptBack(); }

 private:
  friend class KeptBackRows;

  // One record on its way; undone unless kept.
  class Attempt {
   public:
    Attempt(GroupedWrites& group, Record record);
    ~Attempt();
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;
    void Keep();

   private:
    GroupedWrites& group_;
    bool savepoint_ = false;
    bool kept_ = false;
  };
  using Time = std::chrono::steady_clock::time_point;

  void OpenGroup();
  void StoreKeptBack();
  void TakeOff(std::int64_t records);
  // Commits; a failure is noted in loss_.
  void CommitGroup();
  void AbandonGroup();
  void NoteLoss(const std::string& reason);
  // Beside an earlier loss that is not told yet.
  void AddLoss(const std::string& description);
  void RaiseLoss();
  Statement& Prepared(std::unique_ptr<Statement>& statement, std::string_view sql);
  void RunTimer(const std::stop_token& stop);

  Connection& connection_;
  // Whether a failed statement takes back its own changes and no others, so that one needs no savepoint.
  const bool statements_are_atomic_;
  bool open_ = false;
  bool storing_again_ = false;
  std::uint64_t generation_ = 0;
  std::int64_t records_ = 0;  // of the open group
  Time deadline_;             // of the open group
  std::chrono::steady_clock::duration last_commit_{};
  std::optional<std::string> loss_;
  std::vector<KeptBackRows*> kept_back_;  // each knows this object as its keeper
  std::unique_ptr<Statement> savepoint_;
  std::unique_ptr<Statement> release_;
  std::unique_ptr<Statement> undo_;

  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::optional<Time> alarm_;  // guarded by mutex_
  std::jthread timer_;         // started with the first group
};

}  // namespace kestrel
