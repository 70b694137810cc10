// Rows of the address index that are written behind: those of new addresses, of one group of a connection.
//
// A row searches three indexes, at places as random as its keys. Many rows in one statement cost less than as many
// statements; where the indexes have no sections (schema/address_indexes.h), in the order of their first keys each finds the
// page of that index where the row before has left it. So a look-up by keys leaves all rows waiting but those that it
// finds.
//
// Invariants
//  1. A row stands in the transaction of its address before that is committed, and before any query of the connection
//     can find it. Where it cannot be stored, the whole group is lost.
//  2. Rows are stored with the group in which they were added, or are gone with it.
//  3. Of the rows before hung_, those with a key hang together: slots_ leads to the newest one, each to the one before.
//     Once stored for a look-up, they do so no more. The others are hung where a look-up asks for the first time: most
//     groups see none, and each slot is a place of memory that nobody has read lately.
//  4. Everything here happens under the connection's CallMutex.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/connection.h"
#include "storage/grouped_writes.h"
#include "storage/known_keys.h"
#include "storage/row_inserts.h"

namespace kestrel::host {

class IndexRowBuffer final : private GroupMember {
 public:
  // So many rows wait at most: three megabytes. The more there are, the more of them share a page of the first index.
  static constexpr std::size_t kMostRows = 32768;

  // `connection` outlives this object, or is closed before. `types_per_number`: AdressId is so many times the
  // address's number, and its type.
  IndexRowBuffer(Connection& connection, std::int64_t types_per_number);
  // Rows that wait are stored; the open group is lost where they cannot be.
  ~IndexRowBuffer() override;

  // Inside a step of GroupedWrites::Store: whether rows may wait, or are to be stored at once.
  bool MayAdd() const { return group_.MayWriteBehind(); }
  // Then: a row that replaces any of this AdressId. `hashes` are those of the keys. KnownKeys is told. Raises nothing.
  void Add(std::int64_t id, const KnownKeys::Keys& keys, const KnownKeys::Hashes& hashes);

 private:
  struct Row {
    std::uint64_t order;  // the first characters of its first key
    std::int64_t id;
    std::size_t start;                     // of its keys in characters_
    std::array<std::uint32_t, 3> lengths;  // of the keys; 0 for none
    std::array<std::uint32_t, 3>
        before;  // the place of the row before with this key, counted from 1; 0 for none
    bool is_stored;
  };
  struct Slot {
    std::uint64_t hash = 0;    // of column and key
    std::uint32_t newest = 0;  // the place of a row, as `before`
    std::uint32_t filling = 0;
  };
  void BeforeCommit() override;
  void GroupCommitted() override { Clear(); }
  bool GroupLost(const RuntimeError& reason) override;
  void FlushRows() override;
  bool FlushSought(const SoughtRows& sought) override;

  void Clear();
  void GiveUpRows();
  void Hang(std::size_t row);
  void HangRows();
  // Of a row's key: makes a slot where it has none. There are enough for rows, and none for keys that are looked for.
  std::uint32_t& NewestOf(std::uint64_t hash);
  // 0 where no row has the key.
  std::uint32_t TakeNewestOf(std::uint64_t hash);
  std::string_view KeyOf(const Row& row, std::size_t column) const;
  void StoreAlike(std::size_t column, std::string_view key);
  void StoreRows();
  void StoreSome(std::size_t first, std::size_t count);
  void Replace(const Row& row);
  std::size_t BindKeys(Statement& statement, std::size_t parameter, const Row& row) const;

  Connection& connection_;
  const std::int64_t types_per_number_;
  GroupedWrites& group_;
  KnownKeys& known_;
  std::vector<Row> rows_;
  std::size_t hung_ = 0;
  std::string characters_;
  std::vector<Slot> slots_;    // a power of two, searched onwards from the hash; free where of another filling
  std::uint32_t filling_ = 1;  // counts how often the rows were given up
  std::optional<RuntimeError> failure_;  // the group is to be lost for
  RowInserts inserts_;
  std::unique_ptr<Statement> replace_;
};

}  // namespace kestrel::host
