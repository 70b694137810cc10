#include "abi/stream.h"

#include "abi/callbacks.h"

namespace kestrel::abi {

Stream::Stream(Library& library, std::vector<std::string> columns, const kestrel_stream& functions)
    : library_(library), columns_(std::move(columns)), functions_(functions), texts_(columns_.size()) {
  FetchFirst();
}

Stream::~Stream() {
  if (functions_.close != nullptr) functions_.close(functions_.context);
}

std::string_view Stream::ColumnName(std::size_t column) const {
  if (column >= columns_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return columns_[column];
}

const kestrel_text& Stream::Current(std::size_t column) const {
  if (column >= texts_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  if (is_at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return texts_[column];
}

void Stream::MoveFirst() {
  if (rows_ <= 1 && !(is_at_end_ && rows_ == 1)) return;
  if (functions_.rewind == nullptr) LacksMember();
  const std::uint64_t failures = library_.failures();
  const std::int32_t status = functions_.rewind(functions_.context, library_.handle());
  if (status != KESTREL_OK) RaiseCallbackFailure(library_, status, failures);
  FetchFirst();
}

void Stream::MoveNext() {
  if (is_at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  Fetch();
}

// A set without any row is broken off without raising.
void Stream::FetchFirst() {
  rows_ = 0;
  is_at_end_ = false;
  broken_off_.reset();
  Trap([&] { Fetch(); }, [](const RuntimeError&) {});
}

void Stream::Fetch() {
  const auto step = [&] {
    texts_.assign(texts_.size(), kestrel_text{});
    std::int32_t at_end = 0;
    const std::uint64_t failures = library_.failures();
    const std::int32_t status =
        functions_.next(functions_.context, library_.handle(), texts_.data(), texts_.size(), &at_end);
    if (status != KESTREL_OK) RaiseCallbackFailure(library_, status, failures);
    is_at_end_ = at_end != 0;
    if (is_at_end_) return;
    for (const kestrel_text& text : texts_) ToView(text, "row");
    ++rows_;
  };
  const auto break_off = [&](const RuntimeError& error) {
    is_at_end_ = true;
    broken_off_.emplace(error.Number(), error.Description());
  };
  if (!Trap(step, break_off)) throw RuntimeError(*broken_off_);
}

}  // namespace kestrel::abi

using namespace kestrel::abi;

int32_t kestrel_recordset_stream(kestrel_library* library, const kestrel_text* columns, size_t column_count,
                                 const kestrel_stream* stream, kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    const kestrel_stream functions = Read(stream, "stream");
    if (functions.next == nullptr) RaiseArgument("'next' ist NULL.");
    RequireCount(columns, column_count, "columns");
    std::vector<std::string> names;
    for (std::size_t i = 0; i < column_count; ++i) names.push_back(ToString(columns[i], "columns"));
    target = open.handles.Add(std::make_shared<Stream>(open, std::move(names), functions));
  });
}
