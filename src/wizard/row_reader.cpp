#include "wizard/row_reader.h"

#include <utility>

#include "wizard/apart_threads.h"
#include "wizard/recordset_model.h"

namespace kestrel {

RowReader::RowReader(RecordsetPtr records) : records_(std::move(records)) {
  for (std::size_t column = 0; column < records_->ColumnCount(); ++column) {
    columns_.emplace_back(records_->ColumnName(column));
  }
  Trap([&] { count_ = records_->RecordCount(); }, [](const RuntimeError&) {});
  first_ = Read(0);
}

RowReader::Block RowReader::Read(std::int64_t number) {
  Block block{.number = number, .rows = {}, .error = {}};
  const auto read = [&] {
    if (number > 0) records_->GoTo(number * kBlock);
    for (std::int64_t row = 0; row < kBlock && !records_->IsEof(); ++row) {
      std::vector<std::string>& cells = block.rows.emplace_back(columns_.size());
      for (std::size_t column = 0; column < columns_.size(); ++column) {
        // A value that cannot be read leaves its cell empty.
        Trap([&] { cells[column] = ShownText(records_->TextAt(column)); }, [](const RuntimeError&) {});
      }
      records_->MoveNext();
    }
  };
  if (number == 0) Trap([&] { records_->MoveFirst(); }, [](const RuntimeError&) {});
  Trap(read, [&](const RuntimeError& error) { block.error = error; });
  return block;
}

void RowReader::Ask(const std::shared_ptr<RowReader>& reader, std::int64_t block) {
  const std::lock_guard lock(reader->mutex_);
  reader->wanted_ = block;
  if (std::exchange(reader->is_working_, true)) return;
  ApartThreads::Start([reader] { reader->Work(); });
}

void RowReader::Work() {
  std::unique_lock lock(mutex_);
  while (wanted_) {
    const std::int64_t number = *std::exchange(wanted_, std::nullopt);
    lock.unlock();
    Block block = Read(number);
    lock.lock();
    read_ = std::move(block);
  }
  is_working_ = false;
  idle_.notify_all();
}

std::optional<RowReader::Block> RowReader::Take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(read_, std::nullopt);
}

void RowReader::Drop() {
  const std::lock_guard lock(mutex_);
  wanted_.reset();
}

bool RowReader::IsBusy() const {
  const std::lock_guard lock(mutex_);
  return is_working_;
}

void RowReader::AwaitIdle() const {
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [this] { return !is_working_; });
}

}  // namespace kestrel
