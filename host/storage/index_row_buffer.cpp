#include "storage/index_row_buffer.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <mutex>
#include <utility>

#include "platform/base/text.h"
#include "schema/address_indexes.h"

namespace kestrel::host {

namespace {

// More rows a statement save no more.
constexpr std::size_t kRowsAStatement = 16;
// At least as many slots for each row, three of which it uses at most.
constexpr std::size_t kSlotsARow = 4;
constexpr std::size_t kFirstSlots = 1024;

// The start of a text as a number that sorts as the text does.
std::uint64_t OrderOf(std::string_view text) {
  std::uint64_t order = 0;
  for (std::size_t i = 0; i < sizeof order; ++i) {
    order = order << 8U | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
  }
  return order;
}

}  // namespace

IndexRowBuffer::IndexRowBuffer(Connection& connection, std::int64_t types_per_number)
    : connection_(connection),
      types_per_number_(types_per_number),
      group_(GroupedWrites::Of(connection)),
      known_(KnownKeys::Of(connection)),
      inserts_(connection, "Adressindex (Doubletkey1, Doubletkey2, Doubletkey3, AdressId, Adressart, Referenz)",
               6, RowInserts::Existing::kStays) {}

IndexRowBuffer::~IndexRowBuffer() {
  const std::lock_guard lock(connection_.CallMutex());
  // What is kept with a connection ends with it, and it has stored the rows before.
  if (rows_.empty() || !connection_.IsOpen()) return;
  if (connection_.InTransaction()) FlushRows();
  if (failure_ || !rows_.empty()) group_.Flush();
}

void IndexRowBuffer::Add(std::int64_t id, const KnownKeys::Keys& keys, const KnownKeys::Hashes& hashes) {
  known_.Announce(keys, hashes);
  Row row{0, id, characters_.size(), {}, {}, false};
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (row.order == 0) row.order = OrderOf(keys[i]);
    row.lengths[i] = static_cast<std::uint32_t>(keys[i].size());
    characters_ += keys[i];
  }
  rows_.push_back(row);
  if (rows_.size() == 1) {
    group_.Join(*this);
    group_.WriteBehind(*this);
  } else if (rows_.size() >= kMostRows) {
    connection_.CallMutex().Aside([this] { FlushRows(); });
  }
}

std::uint32_t& IndexRowBuffer::NewestOf(std::uint64_t hash) {
  for (std::size_t place = hash;; ++place) {
    Slot& slot = slots_[place & (slots_.size() - 1)];
    if (slot.filling != filling_) slot = {hash, 0, filling_};
    if (slot.hash == hash) return slot.newest;
  }
}

std::uint32_t IndexRowBuffer::TakeNewestOf(std::uint64_t hash) {
  for (std::size_t place = hash;; ++place) {
    Slot& slot = slots_[place & (slots_.size() - 1)];
    if (slot.filling != filling_) return 0;
    if (slot.hash == hash) return std::exchange(slot.newest, 0);
  }
}

std::string_view IndexRowBuffer::KeyOf(const Row& row, std::size_t column) const {
  std::size_t start = row.start;
  for (std::size_t i = 0; i < column; ++i) start += row.lengths[i];
  return std::string_view(characters_).substr(start, row.lengths[column]);
}

void IndexRowBuffer::Hang(std::size_t row) {
  for (std::size_t i = 0; i < rows_[row].lengths.size(); ++i) {
    if (rows_[row].lengths[i] == 0) continue;
    std::uint32_t& newest = NewestOf(KnownKeys::HashOf(i, KeyOf(rows_[row], i)));
    rows_[row].before[i] = std::exchange(newest, static_cast<std::uint32_t>(row + 1));
  }
}

void IndexRowBuffer::HangRows() {
  if (const std::size_t slots = std::bit_ceil(std::max(kFirstSlots, rows_.size() * kSlotsARow));
      slots > slots_.size()) {
    slots_.assign(slots, {});
    hung_ = 0;
  }
  for (; hung_ < rows_.size(); ++hung_) {
    if (!rows_[hung_].is_stored) Hang(hung_);
  }
}

bool IndexRowBuffer::FlushSought(const SoughtRows& sought) {
  if (EqualsIgnoringCase(sought.table, "Adressindex")) {
    // Another table of that name may compare its texts in another way.
    if (sought.values.empty() || !known_.IsAsMade()) return false;
    for (const SoughtValue& value : sought.values) {
      const auto column = KnownKeys::ColumnOf(value.first);
      if (!column) return false;
      Trap([&] { StoreAlike(*column, value.second); }, [this](const RuntimeError& error) { failure_ = error; });
    }
  }
  return !failure_;
}

void IndexRowBuffer::StoreAlike(std::size_t column, std::string_view key) {
  if (rows_.empty()) return;
  HangRows();
  std::uint32_t place = TakeNewestOf(KnownKeys::HashOf(column, key));
  for (; place != 0; place = rows_[place - 1].before[column]) {
    if (rows_[place - 1].is_stored) continue;
    known_.StoreAnnounced([&] { StoreSome(place - 1, 1); });
    rows_[place - 1].is_stored = true;
  }
}

void IndexRowBuffer::BeforeCommit() {
  if (failure_) throw RuntimeError(*failure_);
}

bool IndexRowBuffer::GroupLost(const RuntimeError&) {
  Clear();
  return false;
}

void IndexRowBuffer::FlushRows() {
  if (!failure_) Trap([this] { StoreRows(); }, [this](const RuntimeError& error) { failure_ = error; });
  GiveUpRows();
}

void IndexRowBuffer::GiveUpRows() {
  rows_.clear();
  hung_ = 0;
  characters_.clear();
  ++filling_;
}

void IndexRowBuffer::Clear() {
  GiveUpRows();
  failure_.reset();
}

void IndexRowBuffer::StoreRows() {
  std::erase_if(rows_, [](const Row& row) { return row.is_stored; });
  if (!HasAddressIndexSections(connection_)) {
    std::sort(rows_.begin(), rows_.end(), [](const Row& a, const Row& b) { return a.order < b.order; });
  }
  std::size_t stored = 0;
  while (stored < rows_.size()) {
    const std::size_t count = rows_.size() - stored < kRowsAStatement ? 1 : kRowsAStatement;
    known_.StoreAnnounced([&] { StoreSome(stored, count); });
    stored += count;
  }
}

std::size_t IndexRowBuffer::BindKeys(Statement& statement, std::size_t parameter, const Row& row) const {
  for (std::size_t i = 0; i < row.lengths.size(); ++i) {
    if (row.lengths[i] == 0) {
      statement.BindNull(parameter++);
    } else {
      statement.BindText(parameter++, KeyOf(row, i));
    }
  }
  statement.BindInteger(parameter++, row.id);
  return parameter;
}

void IndexRowBuffer::StoreSome(std::size_t first, std::size_t count) {
  Statement& insert = inserts_.Of(count);
  std::array<std::array<char, 24>, kRowsAStatement> references;
  std::size_t parameter = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const Row& row = rows_[first + i];
    parameter = BindKeys(insert, parameter, row);
    insert.BindInteger(parameter++, row.id % types_per_number_);
    std::array<char, 24>& reference = references[i];
    const char* const end =
        std::to_chars(reference.data(), reference.data() + reference.size(), row.id / types_per_number_).ptr;
    insert.BindText(parameter++,
                    std::string_view(reference.data(), static_cast<std::size_t>(end - reference.data())));
  }
  if (insert.Execute() == static_cast<std::int64_t>(count)) return;
  // Some belong to addresses of these numbers that are gone; the others stay as they are.
  for (std::size_t i = 0; i < count; ++i) Replace(rows_[first + i]);
}

void IndexRowBuffer::Replace(const Row& row) {
  known_.Change(row.id);
  if (replace_ == nullptr) {
    replace_ = connection_.Prepare(
        "UPDATE Adressindex SET Doubletkey1 = ?, Doubletkey2 = ?, Doubletkey3 = ? WHERE AdressId = ?");
  }
  BindKeys(*replace_, 0, row);
  replace_->Execute();
}

}  // namespace kestrel::host
