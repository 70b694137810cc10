#include "platform/data/providers/postgres/row_store.h"

#include <cerrno>
#include <cstring>

#include "kestrel/runtime_error.h"

namespace kestrel::postgres {

namespace {

constexpr std::size_t kMostMemory = std::size_t{8} * 1024 * 1024;
constexpr std::int64_t kNull = -1;

void AppendNumber(std::string& bytes, std::int64_t number) {
  bytes.append(reinterpret_cast<const char*>(&number), sizeof(number));
}

std::int64_t TakeNumber(const char*& at) {
  std::int64_t number = 0;
  std::memcpy(&number, at, sizeof(number));
  at += sizeof(number);
  return number;
}

// A row is the number of its cells, then for each its length, or the mark of a null, and its bytes.
void Pack(const RowStore::Row& row, std::string& bytes) {
  AppendNumber(bytes, static_cast<std::int64_t>(row.size()));
  for (const RowStore::Cell& cell : row) {
    AppendNumber(bytes, cell ? static_cast<std::int64_t>(cell->size()) : kNull);
    if (cell) bytes.append(*cell);
  }
}

// Returns what stands behind the row.
const char* Unpack(const char* at, RowStore::Row& row) {
  row.resize(static_cast<std::size_t>(TakeNumber(at)));
  for (RowStore::Cell& cell : row) {
    const std::int64_t length = TakeNumber(at);
    if (length == kNull) {
      cell.reset();
    } else {
      cell = std::string_view(at, static_cast<std::size_t>(length));
      at += length;
    }
  }
  return at;
}

}  // namespace

void RowStore::Append(const Row& row) {
  ++rows_;
  if (file_ == nullptr && memory_.size() < kMostMemory) {
    Pack(row, memory_);
    return;
  }
  if (file_ == nullptr) {
    file_.reset(std::tmpfile());
    if (file_ == nullptr) throw ErrorFromErrno(errno, "Zwischenablage für Datensätze");
  }
  bytes_.clear();
  Pack(row, bytes_);
  const auto length = static_cast<std::int64_t>(bytes_.size());
  if (std::fwrite(&length, sizeof(length), 1, file_.get()) != 1 ||
      std::fwrite(bytes_.data(), bytes_.size(), 1, file_.get()) != 1) {
    throw ErrorFromErrno(errno, "Zwischenablage für Datensätze");
  }
}

void RowStore::Rewind() {
  next_ = 0;
  memory_at_ = 0;
  if (file_ == nullptr) return;
  // Writes what is still buffered, which may find the disk full.
  if (std::fflush(file_.get()) != 0 || std::fseek(file_.get(), 0, SEEK_SET) != 0) {
    throw ErrorFromErrno(errno, "Zwischenablage für Datensätze");
  }
}

const RowStore::Row& RowStore::Next() {
  ++next_;
  if (memory_at_ < memory_.size()) {
    memory_at_ = static_cast<std::size_t>(Unpack(memory_.data() + memory_at_, row_) - memory_.data());
    return row_;
  }
  std::int64_t length = 0;
  bool whole = std::fread(&length, sizeof(length), 1, file_.get()) == 1;
  if (whole) {
    bytes_.resize(static_cast<std::size_t>(length));
    whole = std::fread(bytes_.data(), bytes_.size(), 1, file_.get()) == 1;
  }
  if (!whole) throw RuntimeError(ErrorNumber::kDeviceIo);
  Unpack(bytes_.data(), row_);
  return row_;
}

}  // namespace kestrel::postgres
