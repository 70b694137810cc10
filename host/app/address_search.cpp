#include "app/address_search.h"

#include <algorithm>
#include <map>
#include <utility>

#include "wizard/qt_text.h"

namespace kestrel::host {

namespace {

// Rows of a part: few enough that a new question does not wait, many enough that asking costs nothing.
constexpr std::size_t kRowsOfPart = 5000;
// So many parts that are in memory already take as long.
constexpr std::size_t kPartsOfMemory = 40;
// Of a list that is longer, the rest is read with every question.
constexpr std::size_t kMostBytes = std::size_t{256} << 20;
// So many times the rows wanted are kept before all but the first are dropped.
constexpr std::size_t kRoom = 8;

}  // namespace

AddressSearch::AddressSearch(Connection& connection, AddressMemory& memory, AddressQuestion question)
    : connection_(connection),
      memory_(memory),
      question_(std::move(question)),
      number_(question_.columns.front().Statement()),
      text_(ComparedText(FromQt(question_.text))),
      orders_by_value_(OrderColumn().kind == ColumnKind::kNumber) {
  for (const AddressColumn& column : question_.columns) {
    query_ += (query_.empty() ? "SELECT " : ", ") + column.Statement();
  }
  query_ += " FROM " + question_.table;
}

bool AddressSearch::Precedes(const Hit& one, const Hit& other) const {
  const auto before = [this](const Hit& a, const Hit& b) {
    return orders_by_value_ ? a.number_value < b.number_value : a.text < b.text;
  };
  const Hit& first = question_.descending ? other : one;
  const Hit& second = question_.descending ? one : other;
  if (before(first, second) || before(second, first)) return before(first, second);
  // Equal ones stand in the order of their numbers.
  return one.number < other.number;
}

void AddressSearch::KeepFirst() {
  const auto precedes = [this](const Hit& one, const Hit& other) { return Precedes(one, other); };
  const std::size_t kept = std::min(hits_.size(), question_.limit);
  std::partial_sort(hits_.begin(), hits_.begin() + static_cast<std::ptrdiff_t>(kept), hits_.end(), precedes);
  hits_.resize(kept);
}

bool AddressSearch::IsMemoryOld(const std::string& version) const {
  return version.empty() || version != memory_.version || query_ != memory_.query;
}

void AddressSearch::Begin() {
  has_begun_ = true;
  const std::string version = DataVersion(connection_);
  if (IsMemoryOld(version)) {
    // While the list is read anew, what there was is worth a look: most of it is as it was.
    is_older_ = !IsOrderOfTable() && query_ == memory_.query && memory_.is_whole;
    if (is_older_) {
      for (const AddressTexts& part : memory_.parts) LookAt(part);
    }
    // Where nobody tells whether it still counts, nothing is kept.
    memory_ = {};
    memory_.query = query_;
    memory_.version = version;
    memory_.is_full = version.empty();
  }
  if (memory_.total < 0) {
    memory_.total =
        connection_.OpenRecordset("SELECT COUNT(*) FROM " + question_.table)->ValueAt(0).ToInteger();
  }
  if (IsOrderOfTable()) {
    found_ = memory_.total;
    is_complete_ = true;
  }
}

void AddressSearch::LookAt(const AddressTexts& texts) {
  for (std::size_t row = texts.FindFrom(0, text_); row < texts.Count(); row = texts.FindFrom(row + 1, text_)) {
    Hit hit;
    hit.number = texts.NumberOf(row);
    if (orders_by_value_) {
      hit.number_value = texts.OrderNumber(row, question_.order_column);
    } else {
      hit.text = texts.OrderText(row, OrderColumn(), question_.order_column);
    }
    hits_.push_back(std::move(hit));
    ++found_;
    if (hits_.size() >= kRoom * question_.limit) KeepFirst();
  }
}

void AddressSearch::ReadPart() {
  AddressTexts part;
  const RecordsetPtr rows =
      connection_.OpenRecordset(query_ + (read_to_.empty() ? "" : " WHERE " + number_ + " > " + read_to_) +
                                " ORDER BY " + number_ + " LIMIT " + std::to_string(kRowsOfPart));
  for (; !rows->IsEof(); rows->MoveNext()) {
    part.Add(question_.columns, *rows);
    read_to_ = rows->TextAt(0);
  }
  part.Close();
  LookAt(part);
  read_ += static_cast<std::int64_t>(part.Count());
  is_complete_ = part.Count() < kRowsOfPart;
  // What is kept is the list's beginning, without a gap.
  memory_.is_full = memory_.is_full || memory_.bytes + part.Bytes() > kMostBytes;
  if (memory_.is_full) return;
  memory_.bytes += part.Bytes();
  memory_.read_to = read_to_;
  memory_.is_whole = is_complete_;
  memory_.parts.push_back(std::move(part));
  looked_at_ = memory_.parts.size();
}

bool AddressSearch::Next() {
  if (is_complete_) return false;
  if (!has_begun_) {
    Begin();
    return !is_complete_;
  }
  if (is_older_) {
    is_older_ = false;
    hits_.clear();
    found_ = 0;
  }
  if (looked_at_ == memory_.parts.size()) {
    ReadPart();
    return !is_complete_;
  }
  const std::size_t end = std::min(looked_at_ + kPartsOfMemory, memory_.parts.size());
  for (; looked_at_ < end; ++looked_at_) {
    LookAt(memory_.parts[looked_at_]);
    read_ += static_cast<std::int64_t>(memory_.parts[looked_at_].Count());
  }
  read_to_ = memory_.read_to;
  is_complete_ = memory_.is_whole && looked_at_ == memory_.parts.size();
  return !is_complete_;
}

std::shared_ptr<MemoryRecordset> AddressSearch::EmptyRows() const {
  auto rows = std::make_shared<MemoryRecordset>();
  for (const AddressColumn& column : question_.columns) rows->AppendColumn(column.name);
  return rows;
}

bool AddressSearch::Fits(const Recordset& row) const {
  AddressTexts texts;
  texts.Add(question_.columns, row);
  return texts.FindFrom(0, text_) == 0;
}

AddressAnswer AddressSearch::Answer() {
  AddressAnswer answer;
  answer.found = found_;
  answer.is_complete = is_complete_;
  answer.percent = memory_.total <= 0 || is_complete_
                       ? 100
                       : static_cast<int>(std::min<std::int64_t>(99, 100 * read_ / memory_.total));
  if (is_complete_ && IsOrderOfTable()) {
    answer.rows =
        connection_.OpenRecordset(query_ + " ORDER BY " + number_ + (question_.descending ? " DESC" : " ASC") +
                                  " LIMIT " + std::to_string(question_.limit));
    return answer;
  }
  KeepFirst();
  const auto rows = EmptyRows();
  answer.rows = rows;
  if (hits_.empty()) return answer;
  std::string numbers;
  for (const Hit& hit : hits_) numbers += (numbers.empty() ? "" : ", ") + std::to_string(hit.number);
  const RecordsetPtr found = connection_.OpenRecordset(query_ + " WHERE " + number_ + " IN (" + numbers + ")");
  std::map<std::int64_t, std::vector<std::string>> texts;
  for (; !found->IsEof(); found->MoveNext()) {
    if (is_older_ && !Fits(*found)) continue;
    std::vector<std::string>& row = texts[found->ValueAt(0).ToInteger()];
    for (std::size_t column = 0; column < question_.columns.size(); ++column) {
      row.emplace_back(found->TextAt(column));
    }
  }
  if (is_older_) answer.found -= static_cast<std::int64_t>(hits_.size() - texts.size());
  for (const Hit& hit : hits_) {
    const auto row = texts.find(hit.number);
    // Somebody may have deleted it meanwhile.
    if (row == texts.end()) continue;
    rows->AddNew();
    for (std::size_t column = 0; column < row->second.size(); ++column) {
      rows->SetText(column, row->second[column]);
    }
  }
  rows->MoveFirst();
  return answer;
}

}  // namespace kestrel::host
