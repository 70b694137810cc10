#include "platform/data/providers/odbc/odbc_recordset.h"

#include <algorithm>
#include <utility>

#include "kestrel/runtime_error.h"

namespace kestrel::odbc {

OdbcRecordset::OdbcRecordset(std::shared_ptr<LinkPool> pool, std::shared_ptr<Waits> waits, std::string_view sql)
    : waits_(std::move(waits)), reading_(std::make_shared<OdbcReading>(std::move(pool), sql)) {
  Start();
}

OdbcRecordset::~OdbcRecordset() {
  if (was_left_ || !reading_->IsActive()) return;
  // The server may be asked to forget the rest.
  Trap([this] { Call([](OdbcReading& reading) { reading.End(); }); }, [](const RuntimeError&) {});
}

void OdbcRecordset::Call(std::function<void(OdbcReading&)> step) const {
  if (was_left_) throw RuntimeError(ErrorNumber::kObjectClosed);
  if (!waits_->IsWatchedThread()) return step(*reading_);
  const auto failure = std::make_shared<std::optional<RuntimeError>>();
  const auto call = [reading = reading_, step = std::move(step), failure] {
    Trap([&] { step(*reading); }, [&](const RuntimeError& error) { *failure = error; });
  };
  const DriverThread::End end = thread_.Run(*waits_, call, [reading = reading_] { reading->Cancel(); });
  if (end == DriverThread::End::kDone) {
    if (*failure) throw RuntimeError(**failure);
    return;
  }
  was_left_ = true;
  throw RuntimeError(
      ErrorNumber::kDatabase,
      std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " +
          (end == DriverThread::End::kStopped
               ? "Das Warten auf die Datenquelle wurde abgebrochen. Ihr ODBC-Treiber hat die Bitte, "
                 "aufzuhören, nicht beachtet; die Verbindung ist aufgegeben."
               : "Die Datenquelle hat nicht geantwortet; die Verbindung ist aufgegeben."));
}

void OdbcRecordset::Start() {
  at_end_ = true;
  block_start_ = 0;
  fetched_ = 0;
  broken_off_.reset();
  Call([many = waits_->IsWatchedThread()](OdbcReading& reading) { reading.Start(many); });
  FetchBlock();
}

void OdbcRecordset::FetchBlock() {
  block_start_ += static_cast<std::int64_t>(fetched_);
  fetched_ = 0;
  row_ = 0;
  // Until there is a row; no failure leaves the set on none.
  at_end_ = true;
  if (reading_->row_error) throw RuntimeError(*reading_->row_error);
  Call([first = block_start_](OdbcReading& reading) { reading.Fetch(first); });
  if (!reading_->IsActive()) {
    count_ = block_start_;
    return;
  }
  fetched_ = reading_->fetched;
  at_end_ = false;
  const auto& columns = reading_->columns;
  const bool cut =
      std::any_of(columns.begin(), columns.begin() + static_cast<std::ptrdiff_t>(reading_->bound()),
                  [&](const ColumnBuffer& column) { return column.WasCut(fetched_); });
  if (cut) Widen();
}

void OdbcRecordset::Widen() {
  for (std::size_t i = 0; i < reading_->bound(); ++i) {
    if (reading_->columns[i].WasCut(fetched_)) reading_->columns[i].MakeLong();
  }
  const std::int64_t row = Position();
  Start();
  while (!at_end_ && Position() < row) MoveNext();
}

std::string_view OdbcRecordset::ColumnName(std::size_t column) const {
  if (column >= reading_->columns.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return reading_->columns[column].Name();
}

void OdbcRecordset::MoveFirst() {
  if (block_start_ == 0 && fetched_ > 0) {
    row_ = 0;
    at_end_ = false;
  } else if (count_ != 0) {
    Start();
  }
}

void OdbcRecordset::MoveNext() {
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  if (++row_ < fetched_) return;
  if (!was_left_ && reading_->IsActive()) {
    Trap([this] { FetchBlock(); },
         [this](const RuntimeError& reason) {
           at_end_ = true;
           fetched_ = 0;
           if (!was_left_)
             Trap([this] { Call([](OdbcReading& reading) { reading.End(); }); }, [](const RuntimeError&) {});
           broken_off_ = reason;
           throw RuntimeError(reason);
         });
  } else {
    at_end_ = true;
  }
}

std::int64_t OdbcRecordset::RecordCount() const {
  if (count_ < 0) {
    // In memory of its own, as a call that was left may still write there.
    const auto count = std::make_shared<std::int64_t>(-1);
    Call([count](OdbcReading& reading) { *count = reading.CountRows(); });
    count_ = *count;
  }
  return count_;
}

std::int64_t OdbcRecordset::Bookmark() const {
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return Position();
}

void OdbcRecordset::GoTo(std::int64_t bookmark) {
  if (bookmark < 0 || bookmark >= RecordCount()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  if (at_end_ || bookmark < Position()) MoveFirst();
  while (!at_end_ && Position() < bookmark) MoveNext();
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
}

const ColumnBuffer& OdbcRecordset::Current(std::size_t column, std::size_t& place) const {
  if (column >= reading_->columns.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return reading_->Cell(row_, column, place);
}

bool OdbcRecordset::IsNull(std::size_t column) const {
  std::size_t place = 0;
  const ColumnBuffer& cells = Current(column, place);
  return cells.IsNull(place);
}

std::string_view OdbcRecordset::TextAt(std::size_t column) const {
  std::size_t place = 0;
  const ColumnBuffer& cells = Current(column, place);
  return cells.TextAt(place);
}

Value OdbcRecordset::ValueAt(std::size_t column) const {
  std::size_t place = 0;
  const ColumnBuffer& cells = Current(column, place);
  return cells.ValueAt(place);
}

}  // namespace kestrel::odbc
