// The addresses that were stored through a connection, by their duplicate keys and taken apart ready to compare, for
// look-ups that need not be run as nothing that they find would be confirmed.
//
// storage/known_keys.h tells what is stored and whether that is all there is. Of addresses that stood in the table before
// their rows in the index are known, and of those for which the memory does not suffice only the keys: who looks for one of
// them is told so.
//
// Invariants
//  1. Each address of the connection that has a key is found by it, or the key is among those of addresses unknown.
//     Addresses that are gone or have changed may still be found as they were.
//  2. Where more share a key than a look-up would have compared, as in a long street, only those are visited that it may
//     choose: so what a record costs does not grow with the street.
//  3. Everything here happens under the connection's CallMutex. Nothing raises anything.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/attachments.h"
#include "keys/address_view.h"
#include "storage/value_filter.h"

namespace kestrel {
class Connection;
}

namespace kestrel::host {

class KnownAddresses final : public Attachment {
 public:
  // About a hundred bytes an address.
  static constexpr std::size_t kMostBytes = std::size_t{128} << 20;
  static constexpr std::size_t kKeys = 3;
  // Of each column and key, all 64 bits alike mixed; 0 for a key that is not there.
  using Hashes = std::array<std::uint64_t, kKeys>;

  // What a look-up compares a record with at most.
  static constexpr std::size_t kMostAlike = 100;

  // Use Attachments::Of. The connection owns this object.
  explicit KnownAddresses(Connection&) {}
  explicit KnownAddresses(std::size_t most_bytes) : most_bytes_(most_bytes) {}

  // --- Who stores addresses ---

  // `holds_all` is asked whether all keys of the table are known, as long as the connection lives.
  void Keep(std::function<bool()> holds_all) { holds_all_ = std::move(holds_all); }
  // These three answer false where the memory is used up even for keys; then everything is to be cleared.
  // `row`: the address's AdressId.
  bool Add(const Hashes& hashes, const AddressView& address, std::int64_t row);
  bool AddRow(const Hashes& hashes, std::int64_t row);
  // A row as it stands in the table, of which nothing need be read as long as nobody changes it: its number tells all but
  // the keys.
  bool AddLearned(const Hashes& hashes, std::int64_t row);
  // Before an address with that key is added, or looked for: has the processor fetch where it stands.
  void Prefetch(std::uint64_t hash) const {
    if (!heads_.empty()) __builtin_prefetch(&heads_[PlaceOf(TagOf(hash))]);
  }
  // The same of the address that was added with it last, once that is fetched.
  void PrefetchLast(std::uint64_t hash) const {
    if (!heads_.empty()) PrefetchEntry(HeadOf(TagOf(hash)));
  }
  bool AddUnknown(std::uint64_t hash) { return unknown_.Add(hash); }
  // For more than keys.
  bool HasRoom() const;
  // Whether so many rows would find room, were there nothing else.
  bool WouldHold(std::size_t rows) const;
  void KeepWithin(std::size_t most_bytes) { most_bytes_ = most_bytes; }
  // Gives the memory up.
  void Clear();

  // --- Who looks for one ---

  // Calls `look` with each address that has one of the keys, once; false, without any call, where not all addresses are known:
  // also where only the rows of some are, whatever their keys, as else it would depend on the moment at which the last row
  // was learned which records are answered. The address lives until `look` returns. Of more than kMostAlike addresses that
  // have equally many of the keys those stored last may be left out, and those that have fewer.
  template <class Look>
  bool Visit(const Hashes& hashes, Look&& look) const {
    if (only_rows_ > 0 || !HoldsAll(hashes)) return false;
    if (entries_.empty()) return true;
    Collect(hashes);
    for (const std::uint32_t place : found_) look(Unpack(entries_[place]));
    return true;
  }

  // Calls `look` with the AdressId of each row of the index that has one of the keys, and perhaps with others, in no order and
  // some more than once; false, without any call, where not all are known or there are too many to be compared all.
  template <class Look>
  bool VisitRows(const Hashes& hashes, Look&& look) const {
    if (!HoldsAll(hashes)) return false;
    if (entries_.empty()) return true;
    Collect(hashes);
    if (found_.size() >= kMostAlike) return false;
    for (const std::uint32_t place : found_) look(RowOf(entries_[place]));
    return true;
  }

  // The same where all these rows were learned, and false where one was not: `look` is called once for each with its
  // AdressId and what IsSameKey compares of its keys.
  template <class Look>
  bool VisitLearned(const Hashes& hashes, Look&& look) const {
    if (!HoldsAll(hashes)) return false;
    if (entries_.empty()) return true;
    Collect(hashes);
    const auto is_learned = [this](std::uint32_t place) { return IsLearned(entries_[place]); };
    if (found_.size() >= kMostAlike || !std::ranges::all_of(found_, is_learned)) return false;
    for (const std::uint32_t place : found_) look(RowOf(entries_[place]), KeysOf(entries_[place]));
    return true;
  }
  // Whether a key of a row that was learned is the one with this hash, with 63 bits of which they are compared.
  static bool IsSameKey(std::uint64_t of_row, std::uint64_t hash) {
    return of_row != 0 && hash != 0 && (of_row | 1U) == (hash | 1U);
  }

 private:
  struct Entry {
    std::array<std::uint32_t, kKeys> tags;  // of the keys; 0 for none
    std::array<std::uint32_t, kKeys> next;  // in a ring
    std::uint32_t text;                     // the place of its row and address in blocks_
  };
  static constexpr std::size_t kBlockBytes = std::size_t{1} << 20;

  static std::uint32_t TagOf(std::uint64_t hash) { return static_cast<std::uint32_t>(hash) | 1U; }
  // Entries are called by place and column: a link is 1 + kKeys * place + column.
  std::size_t PlaceOf(std::uint32_t tag) const { return (tag >> 1U) & (heads_.size() - 1); }
  std::uint32_t& HeadOf(std::uint32_t tag) { return heads_[PlaceOf(tag)]; }
  std::uint32_t HeadOf(std::uint32_t tag) const { return heads_[PlaceOf(tag)]; }
  void PrefetchEntry(std::uint32_t link) const {
    if (link != 0) __builtin_prefetch(&entries_[(link - 1) / kKeys]);
  }
  // Most are shorter than two of the processor's lines.
  void PrefetchText(const Entry& entry) const {
    constexpr std::size_t kLine = 64;
    const char* const text = TextOf(entry);
    __builtin_prefetch(text);
    __builtin_prefetch(text + kLine);
  }
  std::uint32_t& NextOf(std::uint32_t link) { return entries_[(link - 1) / kKeys].next[(link - 1) % kKeys]; }
  std::uint32_t LinkAfter(std::uint32_t link) const {
    return entries_[(link - 1) / kKeys].next[(link - 1) % kKeys];
  }
  static std::size_t AgreeingKeys(const Entry& entry, const Hashes& hashes) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < kKeys; ++i)
      count += hashes[i] != 0 && entry.tags[i] == TagOf(hashes[i]) ? 1 : 0;
    return count;
  }
  class Ring;
  // Whether none that has one of the keys is missing here.
  bool HoldsAll(const Hashes& hashes) const;
  void Collect(const Hashes& hashes) const;
  const char* TextOf(const Entry& entry) const {
    return blocks_[entry.text / kBlockBytes].get() + entry.text % kBlockBytes;
  }
  AddressView Unpack(const Entry& entry) const;
  std::int64_t RowOf(const Entry& entry) const;
  bool IsLearned(const Entry& entry) const;
  Hashes KeysOf(const Entry& entry) const;
  char* TakeRoom(std::size_t size, std::uint32_t& place);
  bool Pack(const AddressView& address, std::int64_t row, std::uint32_t& place);
  void AddEntry(const Hashes& hashes, std::uint32_t text);
  bool AddOnlyKeys(const Hashes& hashes);
  void Link(std::size_t place);

  std::size_t most_bytes_ = kMostBytes;
  std::function<bool()> holds_all_;
  ValueFilter unknown_;
  std::vector<std::uint32_t> heads_;  // the last link of each ring, 0 for none; a power of two
  std::vector<Entry> entries_;
  std::size_t only_rows_ = 0;  // entries without an address
  std::vector<std::unique_ptr<char[]>> blocks_;
  std::size_t used_ = kBlockBytes;  // of the last block
  // Places in entries_, of the visit under way: by how many keys they have, and those that are visited.
  mutable std::array<std::vector<std::uint32_t>, kKeys + 1> by_keys_;
  mutable std::vector<std::uint32_t> found_;
};

}  // namespace kestrel::host
