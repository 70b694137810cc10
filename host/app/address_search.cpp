#include "app/address_search.h"

#include <algorithm>
#include <map>
#include <utility>

namespace kestrel::host {

namespace {

// Rows of a part: few enough that a new question does not wait, many enough that asking costs nothing.
constexpr int kRowsOfPart = 5000;
// So many times the rows wanted are kept before all but the first are dropped.
constexpr std::size_t kRoom = 8;

}  // namespace

AddressSearch::AddressSearch(Connection& connection, AddressQuestion question)
    : connection_(connection),
      question_(std::move(question)),
      number_(question_.columns.front().name),
      pattern_(SearchPattern(question_.text)),
      orders_by_value_(question_.columns[question_.order_column].kind == ColumnKind::kNumber) {}

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

bool AddressSearch::Next() {
  if (is_complete_) return false;
  if (total_ < 0) {
    total_ = connection_.OpenRecordset("SELECT COUNT(*) FROM " + question_.table)->ValueAt(0).ToInteger();
    if (IsOrderOfTable()) {
      found_ = total_;
      is_complete_ = true;
      return false;
    }
  }
  const std::string behind = read_to_.empty() ? "" : number_ + " > " + read_to_;
  const std::string where = behind.empty() ? "" : " WHERE " + behind;
  const RecordsetPtr end =
      connection_.OpenRecordset("SELECT " + number_ + " FROM " + question_.table + where + " ORDER BY " +
                                number_ + " LIMIT 1 OFFSET " + std::to_string(kRowsOfPart - 1));
  std::string conditions = where;
  const auto add = [&](const std::string& condition) {
    conditions += (conditions.empty() ? " WHERE " : " AND ") + condition;
  };
  const bool is_last = end->IsEof();
  const std::string end_number = is_last ? "" : std::string(end->TextAt(0));
  if (!is_last) add(number_ + " <= " + end_number);
  if (!question_.text.isEmpty()) add(SearchCondition(question_.columns));
  const auto query = connection_.Prepare("SELECT " + number_ + ", " +
                                         OrderExpression(question_.columns[question_.order_column]) + " FROM " +
                                         question_.table + conditions);
  if (!question_.text.isEmpty()) query->BindText(0, pattern_);
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    Hit hit;
    hit.number = rows->ValueAt(0).ToInteger();
    if (!orders_by_value_) hit.text = rows->TextAt(1);
    if (orders_by_value_ && !rows->IsNull(1)) hit.number_value = rows->ValueAt(1).ToDouble();
    hits_.push_back(std::move(hit));
    ++found_;
    if (hits_.size() >= kRoom * question_.limit) KeepFirst();
  }
  read_to_ = end_number;
  read_ += kRowsOfPart;
  is_complete_ = is_last;
  return !is_last;
}

std::shared_ptr<MemoryRecordset> AddressSearch::EmptyRows() const {
  auto rows = std::make_shared<MemoryRecordset>();
  for (const AddressColumn& column : question_.columns) rows->AppendColumn(column.name);
  return rows;
}

AddressAnswer AddressSearch::Answer() {
  AddressAnswer answer;
  answer.found = found_;
  answer.is_complete = is_complete_;
  answer.percent =
      total_ <= 0 || is_complete_ ? 100 : static_cast<int>(std::min<std::int64_t>(99, 100 * read_ / total_));
  if (is_complete_ && IsOrderOfTable()) {
    answer.rows = connection_.OpenRecordset("SELECT * FROM " + question_.table + " ORDER BY " + number_ +
                                            (question_.descending ? " DESC" : " ASC") + " LIMIT " +
                                            std::to_string(question_.limit));
    return answer;
  }
  KeepFirst();
  const auto rows = EmptyRows();
  answer.rows = rows;
  if (hits_.empty()) return answer;
  std::string numbers;
  for (const Hit& hit : hits_) numbers += (numbers.empty() ? "" : ", ") + std::to_string(hit.number);
  const RecordsetPtr found = connection_.OpenRecordset("SELECT * FROM " + question_.table + " WHERE " +
                                                       number_ + " IN (" + numbers + ")");
  std::map<std::int64_t, std::vector<std::string>> texts;
  for (; !found->IsEof(); found->MoveNext()) {
    std::vector<std::string>& row = texts[found->ValueAt(found->RequireColumn(number_)).ToInteger()];
    for (const AddressColumn& column : question_.columns) {
      row.emplace_back(found->TextAt(found->RequireColumn(column.name)));
    }
  }
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
