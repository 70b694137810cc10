// Asks the address index for the keys of many records at once, before each of them is looked for, and then for the
// addresses that have one. For databases where every question is a round trip.
//
// Invariants
//  1. An answer holds while the group's lock is held, and behind it as long as nobody else has committed under the lock
//     in between (storage/group_lock.h), and no group was lost.
//  2. What is stored through the connection by an AddressIndex after the question counts as there (Stored), whatever
//     becomes of its transaction.
//  3. Nothing is answered about keys stored since, and about rows whose address has changed since (Changed); then the
//     look-up is run.
//  4. Used under the connection's CallMutex.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kestrel/connection.h"
#include "keys/duplicate_keys.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"
#include "schema/settings.h"
#include "storage/address_lookup.h"
#include "storage/group_lock.h"
#include "storage/grouped_writes.h"

namespace kestrel::host {

class KeysAhead {
 public:
  // Of so many records at once.
  static constexpr std::size_t kRecords = 512;
  using Keys = std::array<std::string_view, 3>;
  // AdressId is so many times the number of the address, and its type.
  static constexpr std::int64_t kTypesPerNumber = 64;

  // `connection` outlives this object.
  KeysAhead(Connection& connection, GroupLock& lock);

  // Whether a row may have that key, by the column's place from 0; false where that is certain.
  using MayBeThere = std::function<bool(std::size_t column, std::string_view key)>;

  // The key texts of the records that are looked for next, kRecords at most. Takes the group's lock. Raises nothing.
  void Ask(std::span<const std::string> key_texts, const MayBeThere& may_be_there);
  // Nothing is answered before the next question.
  void Forget();
  // Whether equal texts are equal keys, in a table that nobody else changes on the way. Error 3000.
  bool IsTableAsMade();
  // A row with these keys is about to be stored.
  void Stored(const Keys& keys);
  // The row with this AdressId, or its address, is about to become another one.
  void Changed(std::int64_t address_id);
  // See ComingLookUps.
  ComingLookUps::Rows Find(std::span<const SoughtValue> values);
  // The key text of the address of a row found; none where it is not known. All of one type are read with the first.
  // Raises nothing.
  std::optional<std::string_view> KeyTextOf(std::int64_t address_type, std::string_view reference);
  // The caller has read it, as it was not known, all changes told so far included; until the next question it is. Where many records have the same keys,
  // all are compared with the same addresses. Raises nothing.
  void RememberKeyText(std::int64_t address_type, std::string_view reference, std::string_view text);

 private:
  using Built = std::array<std::string, 3>;
  // Rows live until the next question.
  struct Row {
    std::int64_t address_id = 0;
    FoundAddress found;
    Built keys;
    std::string reference;
    std::optional<std::string> key_text;
  };

  void AskFor(std::span<const std::string> key_texts, const MayBeThere& may_be_there);
  void UseIndexes();
  // False where none of them may be there.
  bool BuildKeys(std::span<const std::string> key_texts, const MayBeThere& may_be_there);
  void ReadRows();
  bool Collect(std::span<const SoughtValue> values);
  void ReadKeyTexts(std::int64_t address_type);
  const std::string* Remembered(std::int64_t address_type, std::string_view reference) const;
  bool Holds() const;
  bool Matches(const Built& keys, std::span<const SoughtValue> values) const;

  Connection& connection_;
  GroupedWrites& group_;
  GroupLock& lock_;
  Settings& settings_;
  std::unique_ptr<Statement> query_;
  std::unique_ptr<Statement> use_indexes_;
  std::optional<std::uint64_t> uses_indexes_in_;  // the group
  std::optional<bool> is_table_as_made_;
  KeyMemory memory_;
  std::array<std::string, 3> arrays_;
  AddressLookup addresses_;

  // Of the question asked last.
  std::vector<Built> asked_;
  std::size_t count_ = 0;
  std::size_t next_ = 0;  // that a look-up is expected for
  std::uint64_t commits_of_others_ = 0;
  std::uint64_t losses_ = 0;
  std::vector<Row> rows_;                                      // in the order of their AdressId
  std::vector<std::pair<std::uint64_t, std::size_t>> places_;  // hashes of keys and their rows, in order
  std::vector<std::int64_t> types_read_;                       // whose key texts are there
  std::unordered_set<std::uint64_t> stored_;                   // hashes of keys since
  std::unordered_set<std::int64_t> changed_;                   // AdressId since
  std::unordered_map<std::int64_t, std::string> texts_;        // by AdressId, read since
  // Of the last answer.
  std::vector<std::size_t> found_;
  std::vector<FoundAddress> answer_;
};

}  // namespace kestrel::host
