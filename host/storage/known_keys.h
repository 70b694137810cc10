// Which duplicate keys the address index holds, for look-ups that need not be run because it lacks them all. As it is
// asked before every look-up, it has the lock taken (storage/group_lock.h), on every database.
//
// On SQLite, where nobody else stores while a group is open, a filter of the three key columns is learned from the table
// by and by, two rows for each one that is stored, so that learning costs little whatever the index holds; an empty index
// is known at once. Each look-up that has to be run has some more rows learned, so that a file of addresses that are there
// is not looked up to its end; not so where the index has more rows than find room, as all of it would be for nothing. Until all is learned, every query is run; then rows are read by their numbers instead
// (storage/row_look_up.h).
//
// On a server an index that is empty under the lock is known from then on, as long as nobody else commits rows of it. Of
// any other one the keys of many records are asked for at once (storage/keys_ahead.h). So they are where much is found
// that must be read, which otherwise would cost a round trip for each record.
//
// Invariants
//  1. Once everything is learned, the filter has every key that a query of this connection could find. It may
//     have others.
//  2. Keys that are stored through Store or StoreAnnounced are added before, from the moment when learning begins,
//     whatever becomes of their transaction. A row stored through the connection by anybody else empties the filter.
//  3. Rows are learned outside of transactions: none of them is hidden by a change that is undone later.
//  4. The filter is emptied where another connection has committed or the tables were changed, which is looked at
//     with the first question of each group, and with every question outside of groups. On a server it is so where
//     others have committed rows of the index, with or without the lock, or the lock is not held.
//  5. Addresses that are stored are remembered (storage/known_addresses.h) under keys that are announced; of those that
//     are learned only which rows have the keys, and of a row whose number tells type and reference, as the host writes
//     it, nothing is read until it is told of as changed (Change) or any row is removed through the connection.
//  6. It is used between the first Begin and the last Release only, under the CallMutex. No question raises anything:
//     what fails makes the query be run.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kestrel/connection.h"
#include "keys/address_view.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"
#include "storage/group_lock.h"
#include "storage/grouped_writes.h"
#include "storage/keys_ahead.h"
#include "storage/known_addresses.h"
#include "storage/row_look_up.h"
#include "storage/value_filter.h"

namespace kestrel::host {

class KnownKeys final : public Attachment {
 public:
  using Keys = std::array<std::string_view, 3>;  // empty where there is none

  static KnownKeys& Of(Connection& connection) { return connection.attachments().Of<KnownKeys>(connection); }

  // Use Of. `connection` owns this object.
  explicit KnownKeys(Connection& connection);

  // Somebody is about to write the index ...
  void Begin();
  // ... and does so no more; after the last one the memory is given up.
  void Release();

  // Whether the table was one that the host has made, so that it holds a key and no other text for it, when it was
  // looked at last.
  bool IsAsMade() const { return state_ == State::kLearning || state_ == State::kComplete; }
  // The column of the keys, counted from 0; none for another one.
  static std::optional<std::size_t> ColumnOf(std::string_view name);
  static std::uint64_t HashOf(std::size_t column, std::string_view key);
  // Of the three keys of an address; 0 for one that is empty.
  using Hashes = KnownAddresses::Hashes;
  static Hashes HashesOf(const Keys& keys);

  // Before Store and Announce: the address whose keys these are.
  void Remember(const Hashes& hashes, const AddressView& address, std::int64_t address_id);
  // Runs `store`, which adds or changes the row of an address with these keys, and passes on what it gives and
  // raises.
  template <class Step>
  auto Store(const Keys& keys, Step&& store) {
    Announce(keys, HashesOf(keys));
    return StoreAnnounced(std::forward<Step>(store));
  }
  // What the index or its table holds of the address with this AdressId is about to become something else.
  void Change(std::int64_t address_id) {
    if (ahead_ != nullptr) {
      ahead_->Changed(address_id);
    } else if (IsAsMade()) {
      changed_.insert(address_id);
    }
  }
  // The key text of a stored address, where it was asked for with the keys of the record that is looked for.
  std::optional<std::string_view> KeyTextOf(std::int64_t address_type, std::string_view reference) const {
    return ahead_ == nullptr ? std::nullopt : ahead_->KeyTextOf(address_type, reference);
  }
  void RememberKeyText(std::int64_t address_type, std::string_view reference, std::string_view text) const {
    if (ahead_ != nullptr) ahead_->RememberKeyText(address_type, reference, text);
  }
  // The two halves of it, where rows are stored later than queries are to know of them.
  void Announce(const Keys& keys, const Hashes& hashes);
  template <class Step>
  auto StoreAnnounced(Step&& store) {
    const OwnRows own(*this);
    return std::forward<Step>(store)();
  }

 private:
  static constexpr std::int64_t kRowsAStored = 2;
  static constexpr std::int64_t kRowsAtOnce = 1024;
  // So many are added together: what the processor has to fetch for one, it fetches while it adds others.
  static constexpr std::size_t kRowsAdded = 32;
  // Which takes as long as the look-up, as that searches three indexes of sixteen sections: so all are known soon. One more
  // for each so many look-ups before, as many that found something will be followed by more.
  static constexpr std::int64_t kRowsALookUp = 96;
  static constexpr std::int64_t kLookUpsARow = 8;
  // So many rows are learned before it is looked whether all of them would find room.
  static constexpr std::int64_t kRowsAtRisk = 65536;
  // So many rows are worth a commit before its time, as rows are learned between groups.
  static constexpr std::int64_t kRowsWorthACommit = 65536;
  enum class State { kOff, kUnknown, kLearning, kComplete };

  // Counts what is stored within the scope as told of already.
  class OwnRows {
   public:
    explicit OwnRows(KnownKeys& known) : known_(known), before_(known.absent_.StoredRows()) {}
    OwnRows(const OwnRows&) = delete;
    OwnRows& operator=(const OwnRows&) = delete;
    ~OwnRows() { known_.own_rows_ += known_.absent_.StoredRows() - before_; }

   private:
    KnownKeys& known_;
    std::uint64_t before_;
  };

  bool Lacks(std::span<const SoughtValue> values);
  bool ServerLacks(std::span<const SoughtValue> values);
  void LookWhetherEmpty();
  void Ask(std::span<const std::string> key_texts);
  ComingLookUps::Rows Find(std::span<const SoughtValue> keys);
  ComingLookUps::Rows FindRows(std::span<const SoughtValue> values);
  bool FindLearned(const Hashes& hashes);
  void Wish(std::size_t at_once);
  void LearnForLookUp();
  bool WouldHoldAll();
  bool HoldsAll();
  void LearnBetweenGroups();
  // Of the values that are looked for, in their order.
  std::optional<Hashes> Foresee(std::span<const SoughtValue> values) const;
  bool LacksAll(const Hashes& hashes, std::size_t count) const;
  bool IsCurrent();
  std::string Version();
  void Learn();
  void LearnRows();
  // Keys and AdressId of a row.
  struct RowKeys {
    Hashes hashes;
    std::int64_t row;
    bool is_plain;  // its number tells all else
  };
  static bool IsPlain(const Recordset& row, std::int64_t address_id);
  void AddRows(std::span<const RowKeys> rows);
  bool Add(std::uint64_t hash);
  void Forget(State state);

  Connection& connection_;
  GroupedWrites& group_;
  GroupLock& lock_;
  AbsentValues& absent_;
  KnownAddresses& addresses_;
  ComingLookUps& coming_;
  std::unique_ptr<KeysAhead> ahead_;  // where queries are sent to a server
  std::size_t wished_ = 0;            // of how many records it is told
  std::size_t asked_ = 0;             // look-ups since that was decided ...
  std::size_t sought_ = 0;            // ... and those that need the rows themselves
  bool is_asked_together_ = false;    // although all keys are known
  std::uint64_t commits_of_others_ = 0;
  std::int64_t commits_unlocked_ = 0;
  int writers_ = 0;
  State state_ = State::kOff;
  ValueFilter filter_;
  std::int64_t rows_to_learn_ = 0;
  std::int64_t next_row_ = 0;                // the first that is not learned
  std::uint64_t own_rows_ = 0;               // of the rows that were stored
  std::uint64_t removed_rows_ = 0;           // as they were counted when rows were learned
  std::string version_;                      // of what everybody has committed
  std::optional<std::uint64_t> checked_in_;  // the group in which it was looked at
  std::unique_ptr<Statement> version_query_;
  std::unique_ptr<Statement> next_rows_;
  std::optional<RowLookUp> row_look_up_;
  std::int64_t look_ups_ = 0;           // that were run while rows were learned ...
  std::int64_t rows_for_look_ups_ = 0;  // ... and how many were to be learned for them
  std::optional<bool> would_hold_all_;
  std::vector<std::int64_t> found_;  // by it
  std::vector<RowLookUp::LearnedRow> learned_;
  std::unordered_set<std::int64_t> changed_;  // AdressId of rows since learning began
};

}  // namespace kestrel::host
