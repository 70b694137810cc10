#include "platform/data/providers/postgres/postgres_recordset.h"

#include <libpq-fe.h>

#include <algorithm>
#include <charconv>
#include <mutex>
#include <utility>

#include "platform/base/number.h"
#include "platform/base/value_text.h"

namespace kestrel::postgres {

namespace {

// Object ids of the built-in types, which never change.
enum TypeId : unsigned {
  kBoolType = 16,
  kBytesType = 17,
  kInt8Type = 20,
  kInt2Type = 21,
  kInt4Type = 23,
  kFloat4Type = 700,
  kFloat8Type = 701,
  kDateType = 1082,
  kTimeType = 1083,
  kTimestampType = 1114,
  kTimestampZoneType = 1184,
  kTimeZoneType = 1266,
  kNumericType = 1700,
};

constexpr std::size_t kDateLength = 10;    // JJJJ-MM-TT
constexpr std::size_t kTimeLength = 8;     // HH:MM:SS
constexpr std::size_t kMomentLength = 19;  // JJJJ-MM-TT HH:MM:SS

// The server writes shortest texts as well, so that mostly only the point is to be changed.
void WriteReal(std::string_view written, std::string& text) {
  const std::size_t first = written.starts_with('-') ? 1 : 0;
  const bool plain = first < written.size() && written[first] >= '1' && written[first] <= '9' &&
                     written.find('e') == std::string_view::npos;
  text = written;
  if (const std::size_t point = written.find('.'); plain && point != std::string_view::npos) {
    text[point] = ',';
    return;
  }
  double number = 0;
  const auto read = std::from_chars(written.data(), written.data() + written.size(), number);
  if (read.ec == std::errc()) text = FormatNumber(number);
}

// A date or a point of time; the offset of the session's time zone is left out.
void WriteMoment(std::string_view written, std::string& text) {
  // JJJJ-MM-TT, as nearly all are, put in order without a detour.
  if (written.size() >= kDateLength && written[4] == '-' && written[7] == '-' &&
      (written.size() == kDateLength || (written.size() >= kMomentLength && written.back() != 'C'))) {
    text.assign(written.substr(8, 2)).append(1, '.').append(written.substr(5, 2)).append(1, '.');
    text.append(written.substr(0, 4));
    const std::string_view time = written.substr(kDateLength, kMomentLength - kDateLength);
    if (time != " 00:00:00") text.append(time);
    return;
  }
  text = IsoDateText(written);
}

// "\x00ff" as upper-case digits.
std::string HexText(std::string_view written) {
  std::string text(written.substr(std::min<std::size_t>(2, written.size())));
  for (char& c : text) c = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

}  // namespace

PostgresRecordset::Kind PostgresRecordset::KindOf(unsigned type) {
  switch (type) {
    case kBoolType: return Kind::kTruth;
    case kBytesType: return Kind::kBytes;
    case kInt2Type:
    case kInt4Type:
    case kInt8Type: return Kind::kInteger;
    case kFloat4Type:
    case kFloat8Type: return Kind::kReal;
    case kNumericType: return Kind::kDecimal;
    case kDateType:
    case kTimestampType:
    case kTimestampZoneType: return Kind::kMoment;
    case kTimeType:
    case kTimeZoneType: return Kind::kTime;
    default: return Kind::kText;
  }
}

PostgresRecordset::PostgresRecordset(std::shared_ptr<Session> session, std::string sql, ParameterValues values)
    : session_(std::move(session)), sql_(std::move(sql)), values_(std::move(values)) {
  Start();
}

PostgresRecordset::~PostgresRecordset() {
  const std::lock_guard lock(session_->Mutex());
  session_->Abandon(*this);
}

void PostgresRecordset::Start() {
  session_->Send(sql_, values_, *this);
  row_ = 0;
  at_end_ = false;
  store_.reset();
  parking_error_.reset();
  broken_off_.reset();
  FetchRow();
}

void PostgresRecordset::FetchRow() {
  stored_row_ = nullptr;
  wire_row_.reset();
  at_end_ = true;
  wire_row_ = session_->NextRow();
  at_end_ = !session_->IsReading(*this);
  if (columns_.empty() && wire_row_ != nullptr) ReadColumns();
  if (at_end_) {
    wire_row_.reset();
    count_ = row_;
  }
}

void PostgresRecordset::ReadColumns() {
  const int count = PQnfields(wire_row_.get());
  columns_.resize(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    Column& column = columns_[static_cast<std::size_t>(i)];
    column.name = PQfname(wire_row_.get(), i);
    column.kind = KindOf(PQftype(wire_row_.get(), i));
  }
}

void PostgresRecordset::AppendToStore(const pg_result& answer, RowStore::Row& row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    const int column = static_cast<int>(i);
    row[i].reset();
    if (PQgetisnull(&answer, 0, column) != 0) continue;
    row[i].emplace(PQgetvalue(&answer, 0, column), static_cast<std::size_t>(PQgetlength(&answer, 0, column)));
  }
  store_->Append(row);
}

void PostgresRecordset::Park() {
  store_.emplace();
  store_begins_at_ = row_;
  RowStore::Row row(columns_.size());
  // The current row goes in as well, so that a set at its first row can come back to it; views of it stay.
  const auto begin = [&] {
    store_->Rewind();
    store_->Next();
  };
  const auto take_all = [&] {
    AppendToStore(*wire_row_, row);
    while (true) {
      const ResultPtr answer = session_->NextRow();
      if (!session_->IsReading(*this)) break;
      AppendToStore(*answer, row);
    }
    begin();
  };
  Trap(take_all, [&](const RuntimeError& error) {
    parking_error_ = error;
    // A full disk leaves rows on the wire.
    session_->Abandon(*this);
    Trap(begin, [](const RuntimeError&) {});
  });
}

std::string_view PostgresRecordset::ColumnName(std::size_t column) const {
  if (column >= columns_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return columns_[column].name;
}

void PostgresRecordset::MoveFirst() {
  if (row_ == 0) return;
  const std::lock_guard lock(session_->Mutex());
  if (!store_ || store_begins_at_ > 0) {
    session_->Abandon(*this);
    Start();
    return;
  }
  store_->Rewind();
  wire_row_.reset();
  stored_row_ = &store_->Next();
  row_ = 0;
  at_end_ = false;
}

void PostgresRecordset::MoveNext() {
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  const std::lock_guard lock(session_->Mutex());
  ++row_;
  if (session_->IsReading(*this)) {
    Trap([this] { FetchRow(); }, [this](const RuntimeError& error) { BreakOff(error); });
    return;
  }
  wire_row_.reset();
  stored_row_ = nullptr;
  at_end_ = !store_->HasNext();
  if (!at_end_) {
    stored_row_ = &store_->Next();
  } else if (parking_error_) {
    BreakOff(*parking_error_);
  } else {
    count_ = row_;
  }
}

void PostgresRecordset::BreakOff(const RuntimeError& reason) {
  at_end_ = true;
  count_ = row_;
  broken_off_ = reason;
  throw reason;
}

std::int64_t PostgresRecordset::RecordCount() const {
  if (count_ >= 0) return count_;
  const std::lock_guard lock(session_->Mutex());
  // Setting rows aside changes nothing a caller sees.
  auto& self = const_cast<PostgresRecordset&>(*this);
  if (session_->IsReading(*this)) self.Park();
  return self.count_ = store_begins_at_ + store_->size();
}

std::int64_t PostgresRecordset::Bookmark() const {
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return row_;
}

void PostgresRecordset::GoTo(std::int64_t bookmark) {
  if (bookmark < 0 || bookmark >= RecordCount()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  if (bookmark < row_) MoveFirst();
  while (!at_end_ && row_ < bookmark) MoveNext();
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
}

const PostgresRecordset::Column& PostgresRecordset::Current(std::size_t column) const {
  if (column >= columns_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return columns_[column];
}

RowStore::Cell PostgresRecordset::Raw(std::size_t column) const {
  if (stored_row_ != nullptr) return (*stored_row_)[column];
  const int index = static_cast<int>(column);
  const auto length = static_cast<std::size_t>(PQgetlength(wire_row_.get(), 0, index));
  // A null has no length.
  if (length == 0 && PQgetisnull(wire_row_.get(), 0, index) != 0) return std::nullopt;
  return std::string_view(PQgetvalue(wire_row_.get(), 0, index), length);
}

bool PostgresRecordset::IsNull(std::size_t column) const {
  Current(column);
  return !Raw(column).has_value();
}

std::string_view PostgresRecordset::TextAt(std::size_t column) const {
  const Column& shape = Current(column);
  const RowStore::Cell raw = Raw(column);
  if (!raw) return {};
  switch (shape.kind) {
    case Kind::kText:
    case Kind::kInteger: return *raw;
    case Kind::kReal: WriteReal(*raw, shape.text); break;
    case Kind::kDecimal: shape.text = DecimalText(*raw); break;
    case Kind::kTruth: shape.text = BoolText(*raw == "t"); break;
    case Kind::kMoment: WriteMoment(*raw, shape.text); break;
    case Kind::kTime: return raw->substr(0, kTimeLength);
    case Kind::kBytes: shape.text = HexText(*raw); break;
  }
  return shape.text;
}

Value PostgresRecordset::ValueAt(std::size_t column) const {
  const Column& shape = Current(column);
  const RowStore::Cell raw = Raw(column);
  if (!raw) return kNull;
  if (shape.kind == Kind::kTruth) return Value(*raw == "t");
  if (shape.kind == Kind::kInteger) {
    if (const auto number = ParseWholeNumber(*raw)) return Value(*number);
  }
  if (shape.kind == Kind::kReal) {
    double number = 0;
    const auto read = std::from_chars(raw->data(), raw->data() + raw->size(), number);
    if (read.ec == std::errc()) return Value(number);
  }
  return Value(TextAt(column));
}

}  // namespace kestrel::postgres
