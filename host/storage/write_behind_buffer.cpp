#include "storage/write_behind_buffer.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "storage/large_values.h"

namespace kestrel::host {

WriteBehindBuffer::WriteBehindBuffer(Connection& connection, std::string table, std::size_t texts)
    : connection_(connection),
      recovery_(dynamic_cast<Recovery*>(&connection)),
      name_(table.substr(0, table.find(' '))),
      texts_(texts),
      inserts_(connection, table, 2 + texts, RowInserts::Existing::kStays),
      appended_(connection, std::move(table), 2 + texts) {
  inserts_.Of(1);
}

WriteBehindBuffer::~WriteBehindBuffer() {
  Trap([this] { Flush(); }, [](const RuntimeError&) {});
  GroupedWrites::Leave(connection_, *this);
}

void WriteBehindBuffer::Append(std::int64_t key, std::int64_t number, std::span<const Text> texts) {
  const std::lock_guard lock(connection_.CallMutex());
  rows_.push_back({key, number, characters_.size()});
  for (const Text& text : texts) {
    lengths_.push_back(text ? text->size() : kNull);
    if (text) characters_ += *text;
  }
  const std::size_t waiting = rows_.size() - stored_;
  const bool are_many = waiting >= kMostRows || BytesFrom(stored_) >= LargeValues::kMostSent;
  // Where others wait already, it goes with them.
  const bool has_failed = most_waiting_ > kMostRows;
  if ((waits_ || has_failed) && waiting < most_waiting_ && (has_failed || !are_many)) return;
  GroupedWrites& group = GroupedWrites::Of(connection_);
  const auto store = [&] {
    group.Store(*this, GroupedWrites::Record::kOneStatement, [&] {
      if (group.MayWriteBehind() && !are_many) {
        group.WriteBehind(*this);
        waits_ = true;
      } else {
        StoreRows();
      }
    });
  };
  Trap(store, [this](const RuntimeError&) {
    // Lost in passing with its group, it waits for the next one.
    if (!waits_ || recovery_ == nullptr || recovery_->LastLoss() == Recovery::Loss::kLasting) throw;
  });
}

void WriteBehindBuffer::FlushRows() {
  waits_ = false;
  StoreRows();
}

void WriteBehindBuffer::StoreRows() {
  while (stored_ < rows_.size()) {
    std::size_t count = 1;
    const auto fits = [&] {
      return count < std::min(rows_.size() - stored_, kMostRows) &&
             BytesFrom(stored_) - BytesFrom(stored_ + count + 1) <= LargeValues::kMostSent;
    };
    while (fits()) ++count;
    StoreSome(count);
  }
}

std::size_t WriteBehindBuffer::BytesFrom(std::size_t row) const {
  return characters_.size() - (row < rows_.size() ? rows_[row].start : characters_.size());
}

bool WriteBehindBuffer::AreAppended(std::size_t count) {
  const Row& first = rows_[stored_];
  for (std::size_t i = 1; i < count; ++i) {
    const Row& row = rows_[stored_ + i];
    if (row.key != first.key + static_cast<std::int64_t>(i) || row.number != first.number) return false;
  }
  return count > 1 && connection_.InTransaction() && appended_.Follow(first.key);
}

void WriteBehindBuffer::StoreSome(std::size_t count) {
  const bool are_appended = AreAppended(count);
  Statement& insert = are_appended ? appended_.Of(count) : inserts_.Of(count);
  std::size_t parameter = 0;
  for (std::size_t i = stored_; i < stored_ + count; ++i) {
    const Row& row = rows_[i];
    if (!are_appended || i == stored_) {
      insert.BindInteger(parameter++, row.key);
      insert.BindInteger(parameter++, row.number);
    }
    std::size_t start = row.start;
    for (std::size_t text = i * texts_; text < (i + 1) * texts_; ++text) {
      if (lengths_[text] == kNull) {
        insert.BindNull(parameter++);
      } else {
        insert.BindText(parameter++, std::string_view(characters_).substr(start, lengths_[text]));
        start += lengths_[text];
      }
    }
  }
  // Where it fails, each attempt may wait as long for the same lock: the next one comes when there is twice as much.
  most_waiting_ = 2 * std::max(kMostRows, rows_.size() - stored_);
  insert.Execute();
  most_waiting_ = kMostRows;
  stored_ += count;
}

void WriteBehindBuffer::GroupCommitted() {
  const auto stored = static_cast<std::ptrdiff_t>(stored_);
  rows_.erase(rows_.begin(), rows_.begin() + stored);
  lengths_.erase(lengths_.begin(), lengths_.begin() + stored * static_cast<std::ptrdiff_t>(texts_));
  // The characters of others go when all are stored.
  if (rows_.empty()) characters_.clear();
  stored_ = 0;
}

bool WriteBehindBuffer::GroupLost(const RuntimeError&) {
  stored_ = 0;
  waits_ = !rows_.empty();
  return waits_;
}

void WriteBehindBuffer::Flush() {
  const std::lock_guard lock(connection_.CallMutex());
  if (rows_.empty()) return;
  GroupedWrites& group = GroupedWrites::Of(connection_);
  if (stored_ < rows_.size()) group.WriteBehind(*this);
  group.Flush();
}

}  // namespace kestrel::host
