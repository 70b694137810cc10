// Lets the groups of several clerks that look for duplicates follow each other, as if one clerk had stored them all.
//
// Invariants
//  1. While addresses are stored through the connection (Storing), the first look-up of a group takes the lock, and
//     the end of the group gives it up. On SQLite the write transaction is the lock; elsewhere it is the row of
//     table Importsperre, which the transaction updates. Nothing of it belongs to a session.
//  2. Who holds it sees what every group that had it before has committed.
//  3. A record is stored in the group in which it was looked for, or in a later one where nobody else has committed
//     in between; else it is refused. Nor is it stored where the lock could not be had.
//  4. Inside a transaction of the caller's there is no lock. A test run takes none, as it stores nothing.
//  5. Where the lock is lost in passing with its group, it is taken again in the next group, in which the records of
//     the lost one are stored again first.
//  6. Elsewhere than on SQLite a group that stores rows of the index without any look-up takes no lock and waits for
//     none. It counts itself with its commit, in a row of Importsperre of its own, which whoever takes the lock reads.
//  7. Used under the connection's CallMutex.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "kestrel/connection.h"
#include "storage/grouped_writes.h"

namespace kestrel::host {

// In the open transaction, before addresses are changed otherwise than by an import: waits for the group of an import that
// looks for duplicates, and counts as one. What such imports know of the index they then ask for again. Error 3000.
void TakeGroupLock(Connection& connection);

class GroupLock final : public Attachment, private GroupMember {
 public:
  static GroupLock& Of(Connection& connection) { return connection.attachments().Of<GroupLock>(connection); }

  // Use Of. `connection` owns this object.
  explicit GroupLock(Connection& connection);

  // While one lives, addresses are stored that look-ups must find. Error 3000 where the table of the lock is missing
  // and cannot be made. May outlive its connection.
  class Storing {
   public:
    explicit Storing(const Connection& connection, GroupLock& lock);
    ~Storing();
    Storing(const Storing&) = delete;
    Storing& operator=(const Storing&) = delete;

   private:
    const Connection& connection_;
    GroupLock& lock_;
  };

  // Before a look-up whose answer decides whether a record is stored: takes the lock where it is not held. It may wait
  // for others (Connection::WatchWaits). False where it cannot be had: the look-up need not be run, as the record is
  // refused with the reason by RequireLookUp. Raises nothing.
  bool BeforeLookUp();
  // A look-up has failed for a reason that lasts: the record is refused with it by RequireLookUp. False where no record is
  // stored. Raises nothing.
  bool Refuse(const RuntimeError& reason);
  // Before a record is stored: makes sure that what its look-up found still holds. Error 3000 where it may not.
  void RequireLookUp();
  // Before what was lost with a group is stored again: takes the lock where that group had it. False where others may
  // have committed since, so that what it had looked up holds no more. Error 3000.
  bool HoldAgain();
  // The group counted as lost, but its commit had happened.
  void NoteStands() {
    if (lost_at_) ++next_stand_;
  }

  // Whether the open group has the lock: nobody else who looks for duplicates commits before it ends.
  bool IsHeld() const { return group_.IsOpen() && held_in_ == group_.Generation(); }
  // Changes with a taking of the lock that finds that others may have committed since the one before. Answers of the
  // database about Adressindex hold, but for what was stored through this connection, while the lock is held, and as
  // long as this number is the same with the next holding.
  std::uint64_t CommitsOfOthers() const { return commits_of_others_; }

  // The same of the groups without a look-up, as they were counted when the lock was taken; none where nobody counts them.
  // One that commits while the lock is held or waited for is told with the next taking.
  std::optional<std::int64_t> CommitsUnlocked() const { return commits_unlocked_; }
  // A row of the index is about to be stored in the open group.
  void WillStore();

 private:
  bool Hold();
  // The same without another attempt.
  bool HoldOnce();
  void TakeInGroup();
  std::int64_t Take();
  void BeforeCommit() override;
  void GroupCommitted() override;
  bool GroupLost(const RuntimeError&) override;

  Connection& connection_;
  GroupedWrites& group_;
  Recovery* const recovery_;  // null where a lost group cannot be done again
  int storing_ = 0;
  bool looked_up_ = false;  // for a record that was not stored yet
  std::optional<RuntimeError> refusal_;
  std::optional<std::uint64_t> held_in_;
  std::uint64_t commits_of_others_ = 0;
  std::optional<std::uint64_t> lost_at_;  // what that was when a group was lost that had the lock
  std::int64_t next_stand_ = -1;          // what Take gives where nobody else has committed
  std::unique_ptr<Statement> take_;
  std::optional<std::int64_t> commits_unlocked_;
  std::optional<std::uint64_t> stores_in_;  // the group that may have to count itself
  std::unique_ptr<Statement> count_;
};

}  // namespace kestrel::host
