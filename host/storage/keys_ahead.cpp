#include "storage/keys_ahead.h"

#include <algorithm>
#include <functional>

#include "kestrel/runtime_error.h"

namespace kestrel::host {

namespace {

constexpr std::array<std::string_view, 3> kColumns = {"Doubletkey1", "Doubletkey2", "Doubletkey3"};
constexpr std::array<std::string_view, 3> kAlgorithms = {"AlgorithmCode1", "AlgorithmCode2", "AlgorithmCode3"};

constexpr const char* kQuery =
    "SELECT 1, Doubletkey1 FROM Adressindex WHERE Doubletkey1 = ANY (?) UNION ALL "
    "SELECT 2, Doubletkey2 FROM Adressindex WHERE Doubletkey2 = ANY (?) UNION ALL "
    "SELECT 3, Doubletkey3 FROM Adressindex WHERE Doubletkey3 = ANY (?)";

// Texts that are equal only where their bytes are, in a table without triggers.
constexpr const char* kTableQuery =
    "SELECT count(*) FROM pg_catalog.pg_attribute a JOIN pg_catalog.pg_class t ON t.oid = a.attrelid "
    "JOIN pg_catalog.pg_collation c ON c.oid = a.attcollation "
    "WHERE a.attrelid = to_regclass('adressindex') AND t.relkind IN ('r', 'p') AND NOT t.relhasrules "
    "AND NOT t.relhastriggers AND a.attname IN ('doubletkey1', 'doubletkey2', 'doubletkey3') "
    "AND a.atttypid IN ('varchar'::regtype, 'text'::regtype) AND c.collisdeterministic";

void AppendElement(std::string& array, std::string_view text) {
  array += array.empty() ? "{\"" : ",\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') array += '\\';
    array += c;
  }
  array += '"';
}

std::uint64_t HashOf(std::size_t column, std::string_view key) {
  return std::hash<std::string_view>()(key) + column * 0x9E3779B97F4A7C15U;
}

std::string Numbered(std::size_t column, std::string_view key) {
  return std::string(1, static_cast<char>('1' + column)).append(key);
}

// The columns' place in kColumns; their number for another one.
std::size_t ColumnOf(std::string_view name) {
  return static_cast<std::size_t>(std::ranges::find(kColumns, name) - kColumns.begin());
}

}  // namespace

KeysAhead::KeysAhead(Connection& connection, GroupLock& lock)
    : connection_(connection), lock_(lock), settings_(Settings::Of(connection)), asked_(kRecords) {}

void KeysAhead::Ask(std::span<const std::string> key_texts) {
  Trap([&] { AskFor(key_texts.first(std::min(key_texts.size(), kRecords))); },
       [this](const RuntimeError&) { Forget(); });
}

void KeysAhead::Forget() {
  count_ = next_ = 0;
  present_.clear();
  stored_.clear();
}

bool KeysAhead::IsTableAsMade() {
  if (!is_table_as_made_) {
    is_table_as_made_ = false;
    is_table_as_made_ = connection_.OpenRecordset(kTableQuery)->ValueAt(0).ToInteger() == 3;
  }
  return *is_table_as_made_;
}

void KeysAhead::AskFor(std::span<const std::string> key_texts) {
  Forget();
  if (!IsTableAsMade() || !lock_.BeforeLookUp() || !lock_.IsHeld()) return;
  BuildKeys(key_texts);
  commits_of_others_ = lock_.CommitsOfOthers();
  ReadPresent();
  count_ = key_texts.size();
}

void KeysAhead::BuildKeys(std::span<const std::string> key_texts) {
  for (std::string& array : arrays_) array.clear();
  for (std::size_t record = 0; record < key_texts.size(); ++record) {
    for (std::size_t i = 0; i < kAlgorithms.size(); ++i) {
      std::string& key = asked_[record][i];
      key = memory_.Build(settings_.Get("Adressindex", kAlgorithms[i], "0"), key_texts[record]);
      AppendElement(arrays_[i], key);
    }
  }
  for (std::string& array : arrays_) array += '}';
}

void KeysAhead::ReadPresent() {
  if (query_ == nullptr) query_ = connection_.Prepare(kQuery);
  for (std::size_t i = 0; i < arrays_.size(); ++i) query_->BindText(i, arrays_[i]);
  for (const RecordsetPtr rows = query_->Open(); !rows->IsEof(); rows->MoveNext()) {
    present_.insert(Numbered(static_cast<std::size_t>(rows->ValueAt(0).ToInteger() - 1), rows->TextAt(1)));
  }
}

void KeysAhead::Stored(const Keys& keys) {
  for (std::size_t i = 0; i < keys.size(); ++i) stored_.insert(HashOf(i, keys[i]));
}

bool KeysAhead::Holds() const { return lock_.IsHeld() && lock_.CommitsOfOthers() == commits_of_others_; }

bool KeysAhead::Matches(const Built& keys, std::span<const SoughtValue> values) const {
  return std::ranges::all_of(values, [&](const SoughtValue& value) {
    const std::size_t column = ColumnOf(value.first);
    return column < keys.size() && keys[column] == value.second;
  });
}

bool KeysAhead::Lacks(std::span<const SoughtValue> values) {
  if (next_ >= count_ || !Holds()) return false;
  const auto expected = std::span(asked_).subspan(next_, count_ - next_);
  const auto found = std::ranges::find_if(expected, [&](const Built& keys) { return Matches(keys, values); });
  // One that was not foreseen; the next may have been.
  if (found == expected.end()) return false;
  next_ += static_cast<std::size_t>(found - expected.begin()) + 1;
  return std::ranges::none_of(values, [&](const SoughtValue& value) {
    const std::size_t column = ColumnOf(value.first);
    return stored_.contains(HashOf(column, value.second)) || present_.contains(Numbered(column, value.second));
  });
}

}  // namespace kestrel::host
