// Asks the address index for the keys of many records at once, before each of them is looked for. For databases where
// every question is a round trip.
//
// Invariants
//  1. An answer holds while the group's lock is held, and behind it as long as nobody else has committed under the lock
//     in between (storage/group_lock.h).
//  2. What is stored through the connection by an AddressIndex after the question counts as there (Stored), whatever
//     becomes of its transaction.
//  3. Only that keys are absent is answered here; where one is there, or may be, the look-up is run.
//  4. Used under the connection's CallMutex.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "kestrel/connection.h"
#include "keys/duplicate_keys.h"
#include "platform/data/absent_values.h"
#include "schema/settings.h"
#include "storage/group_lock.h"

namespace kestrel::host {

class KeysAhead {
 public:
  // Of so many records at once.
  static constexpr std::size_t kRecords = 512;
  using Keys = std::array<std::string_view, 3>;

  // `connection` outlives this object.
  KeysAhead(Connection& connection, GroupLock& lock);

  // The key texts of the records that are looked for next, kRecords at most. Takes the group's lock. Raises nothing.
  void Ask(std::span<const std::string> key_texts);
  // A row with these keys is about to be stored.
  void Stored(const Keys& keys);
  // Whether it is certain that no row has one of these values. Raises nothing.
  bool Lacks(std::span<const SoughtValue> values);

 private:
  using Built = std::array<std::string, 3>;

  void AskFor(std::span<const std::string> key_texts);
  void BuildKeys(std::span<const std::string> key_texts);
  void ReadPresent();
  bool IsTableAsMade();
  bool Holds() const;
  bool Matches(const Built& keys, std::span<const SoughtValue> values) const;
  void Forget();

  Connection& connection_;
  GroupLock& lock_;
  Settings& settings_;
  std::unique_ptr<Statement> query_;
  std::optional<bool> is_table_as_made_;
  KeyMemory memory_;
  std::array<std::string, 3> arrays_;

  // Of the question asked last.
  std::vector<Built> asked_;
  std::size_t count_ = 0;
  std::size_t next_ = 0;  // that a look-up is expected for
  std::uint64_t commits_of_others_ = 0;
  std::unordered_set<std::string> present_;   // the number of the key, and the key
  std::unordered_set<std::uint64_t> stored_;  // hashes of keys since
};

}  // namespace kestrel::host
