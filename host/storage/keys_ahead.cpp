#include "storage/keys_ahead.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <unordered_map>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

constexpr std::array<std::string_view, 3> kColumns = {"Doubletkey1", "Doubletkey2", "Doubletkey3"};
constexpr std::array<std::string_view, 3> kAlgorithms = {"AlgorithmCode1", "AlgorithmCode2", "AlgorithmCode3"};

constexpr const char* kQuery =
    "SELECT AdressId, Adressart, Referenz, Doubletkey1, Doubletkey2, Doubletkey3 FROM Adressindex "
    "WHERE Doubletkey1 = ANY (?) OR Doubletkey2 = ANY (?) OR Doubletkey3 = ANY (?)";

// For the rest of the transaction. Without statistics, as of a table that is just being filled, a server takes each key
// for a frequent one, and would read the whole table for every question; what it then thinks a question costs would also
// have it compiled.
constexpr const char* kUseIndexes =
    "SELECT set_config(name, 'off', true) FROM pg_settings WHERE name IN ('enable_seqscan', 'jit')";

// Texts that are equal only where their bytes are, in a table without triggers; its parts may have some of their own.
constexpr const char* kTableQuery =
    "SELECT count(*) FROM pg_catalog.pg_attribute a JOIN pg_catalog.pg_class t ON t.oid = a.attrelid "
    "JOIN pg_catalog.pg_collation c ON c.oid = a.attcollation "
    "WHERE a.attrelid = to_regclass(lower('%TABLE%')) AND t.relkind IN ('r', 'p') AND NOT t.relhasrules "
    "AND NOT EXISTS (WITH RECURSIVE parts AS (SELECT to_regclass(lower('%TABLE%'))::oid AS part UNION SELECT "
    "inhrelid "
    "FROM parts JOIN pg_catalog.pg_inherits ON inhparent = part) SELECT 1 FROM parts JOIN pg_catalog.pg_class "
    "p ON "
    "p.oid = part WHERE p.relhastriggers) AND a.attname IN ('doubletkey1', 'doubletkey2', 'doubletkey3') "
    "AND a.atttypid IN ('varchar'::regtype, 'text'::regtype) "
    // Servers before 12 have no others, and no such column.
    "AND coalesce(to_jsonb(c) ->> 'collisdeterministic', 'true') = 'true'";

void AppendElement(std::string& array, std::string_view text) {
  array += array.empty() ? "{\"" : ",\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') array += '\\';
    array += c;
  }
  array += '"';
}

// A hundred bytes each.
constexpr std::size_t kMostTexts = 65536;

// None where the row of the index is no address's that the host has written.
std::optional<std::int64_t> AddressIdOf(std::int64_t address_type, std::string_view reference) {
  std::int64_t number = 0;
  const char* const end = reference.data() + reference.size();
  const auto [behind, error] = std::from_chars(reference.data(), end, number);
  if (error != std::errc() || behind != end || number < 0 || number >= INT64_MAX / KeysAhead::kTypesPerNumber)
    return std::nullopt;
  return number * KeysAhead::kTypesPerNumber + address_type;
}

std::uint64_t HashOf(std::size_t column, std::string_view key) {
  return std::hash<std::string_view>()(key) + column * 0x9E3779B97F4A7C15U;
}

// The columns' place in kColumns; their number for another one.
std::size_t ColumnOf(std::string_view name) {
  return static_cast<std::size_t>(std::ranges::find(kColumns, name) - kColumns.begin());
}

}  // namespace

KeysAhead::KeysAhead(Connection& connection, GroupLock& lock)
    : connection_(connection),
      group_(GroupedWrites::Of(connection)),
      lock_(lock),
      settings_(Settings::Of(connection)),
      addresses_(connection),
      asked_(kRecords) {}

void KeysAhead::Ask(std::span<const std::string> key_texts, const MayBeThere& may_be_there) {
  Trap([&] { AskFor(key_texts.first(std::min(key_texts.size(), kRecords)), may_be_there); },
       [this](const RuntimeError&) { Forget(); });
}

void KeysAhead::Forget() {
  count_ = next_ = 0;
  found_.clear();
  rows_.clear();
  places_.clear();
  types_read_.clear();
  stored_.clear();
  changed_.clear();
  texts_.clear();
}

bool KeysAhead::IsTableAsMade() {
  if (!is_table_as_made_) {
    is_table_as_made_ =
        connection_.OpenRecordset(ReplaceAll(kTableQuery, "%TABLE%", OwnTable(connection_, "Adressindex")))
            ->ValueAt(0)
            .ToInteger() == 3;
  }
  return *is_table_as_made_;
}

void KeysAhead::AskFor(std::span<const std::string> key_texts, const MayBeThere& may_be_there) {
  Forget();
  if (!IsTableAsMade() || !lock_.BeforeLookUp() || !lock_.IsHeld()) return;
  const bool may_find = BuildKeys(key_texts, may_be_there);
  commits_of_others_ = lock_.CommitsOfOthers();
  losses_ = group_.Losses();
  if (may_find) {
    UseIndexes();
    ReadRows();
  }
  count_ = key_texts.size();
}

bool KeysAhead::BuildKeys(std::span<const std::string> key_texts, const MayBeThere& may_be_there) {
  for (std::string& array : arrays_) array.clear();
  for (std::size_t record = 0; record < key_texts.size(); ++record) {
    for (std::size_t i = 0; i < kAlgorithms.size(); ++i) {
      std::string& key = asked_[record][i];
      key = memory_.Build(settings_.Get("Adressindex", kAlgorithms[i], "0"), key_texts[record]);
      if (may_be_there(i, key)) AppendElement(arrays_[i], key);
    }
  }
  bool may_find = false;
  for (std::string& array : arrays_) {
    may_find |= !array.empty();
    array += array.empty() ? "{}" : "}";
  }
  return may_find;
}

void KeysAhead::UseIndexes() {
  if (uses_indexes_in_ == group_.Generation()) return;
  if (use_indexes_ == nullptr) use_indexes_ = connection_.Prepare(kUseIndexes);
  use_indexes_->Open();
  uses_indexes_in_ = group_.Generation();
}

void KeysAhead::ReadRows() {
  if (query_ == nullptr) query_ = connection_.Prepare(kQuery);
  for (std::size_t i = 0; i < arrays_.size(); ++i) query_->BindText(i, arrays_[i]);
  for (const RecordsetPtr rows = query_->Open(); !rows->IsEof(); rows->MoveNext()) {
    Row& row = rows_.emplace_back();
    row.address_id = rows->ValueAt(0).ToInteger();
    row.found.address_type = rows->ValueAt(1).ToInteger();
    row.reference = rows->TextAt(2);
    for (std::size_t i = 0; i < row.keys.size(); ++i) row.keys[i] = rows->TextAt(3 + i);
  }
  std::ranges::sort(rows_, {}, &Row::address_id);
  // Now that they stay where they are.
  for (std::size_t place = 0; place < rows_.size(); ++place) {
    Row& row = rows_[place];
    row.found.reference = row.reference;
    for (std::size_t i = 0; i < row.keys.size(); ++i) {
      row.found.keys[i] = row.keys[i];
      if (!row.keys[i].empty()) places_.emplace_back(HashOf(i, row.keys[i]), place);
    }
  }
  std::ranges::sort(places_);
}

void KeysAhead::Changed(std::int64_t address_id) {
  if (count_ == 0) return;
  changed_.insert(address_id);
  texts_.erase(address_id);
}

void KeysAhead::Stored(const Keys& keys) {
  // Nothing is answered before the next question, which sees it.
  if (count_ == 0) return;
  for (std::size_t i = 0; i < keys.size(); ++i) stored_.insert(HashOf(i, keys[i]));
}

bool KeysAhead::Holds() const {
  return count_ != 0 && lock_.IsHeld() && lock_.CommitsOfOthers() == commits_of_others_ &&
         group_.Losses() == losses_;
}

bool KeysAhead::Matches(const Built& keys, std::span<const SoughtValue> values) const {
  return std::ranges::all_of(values, [&](const SoughtValue& value) {
    const std::size_t column = ColumnOf(value.first);
    return column < keys.size() && keys[column] == value.second;
  });
}

// False where what has been stored or changed since may be among them.
bool KeysAhead::Collect(std::span<const SoughtValue> values) {
  found_.clear();
  for (const SoughtValue& value : values) {
    const std::size_t column = ColumnOf(value.first);
    const std::uint64_t hash = HashOf(column, value.second);
    if (stored_.contains(hash)) return false;
    for (auto at = std::ranges::lower_bound(places_, std::pair<std::uint64_t, std::size_t>(hash, 0));
         at != places_.end() && at->first == hash; ++at) {
      if (rows_[at->second].keys[column] == value.second) found_.push_back(at->second);
    }
  }
  std::ranges::sort(found_);
  found_.erase(std::unique(found_.begin(), found_.end()), found_.end());
  return std::ranges::none_of(found_,
                              [this](std::size_t place) { return changed_.contains(rows_[place].address_id); });
}

ComingLookUps::Rows KeysAhead::Find(std::span<const SoughtValue> values) {
  if (next_ >= count_ || !Holds()) return std::nullopt;
  const auto expected = std::span(asked_).subspan(next_, count_ - next_);
  const auto match = std::ranges::find_if(expected, [&](const Built& keys) { return Matches(keys, values); });
  // One that was not foreseen; the next may have been.
  if (match == expected.end()) return std::nullopt;
  // It may be asked for again.
  next_ += static_cast<std::size_t>(match - expected.begin());
  if (!Collect(values)) return std::nullopt;
  answer_.clear();
  for (const std::size_t place : found_) answer_.push_back(rows_[place].found);
  return answer_;
}

std::optional<std::string_view> KeysAhead::KeyTextOf(std::int64_t address_type, std::string_view reference) {
  if (!Holds()) return std::nullopt;
  if (const std::string* const text = Remembered(address_type, reference)) return *text;
  const auto found = std::ranges::find_if(found_, [&](std::size_t place) {
    return rows_[place].found.address_type == address_type && rows_[place].reference == reference;
  });
  if (found == found_.end() || changed_.contains(rows_[*found].address_id)) return std::nullopt;
  const std::size_t place = *found;
  if (std::ranges::find(types_read_, address_type) == types_read_.end()) {
    types_read_.push_back(address_type);
    Trap([&] { ReadKeyTexts(address_type); }, [this](const RuntimeError&) { Forget(); });
    // The query may have had records stored again.
    if (place >= rows_.size() || !Holds()) return std::nullopt;
  }
  return rows_[place].key_text;
}

const std::string* KeysAhead::Remembered(std::int64_t address_type, std::string_view reference) const {
  const auto id = AddressIdOf(address_type, reference);
  const auto text = id ? texts_.find(*id) : texts_.end();
  return text == texts_.end() ? nullptr : &text->second;
}

void KeysAhead::RememberKeyText(std::int64_t address_type, std::string_view reference, std::string_view text) {
  const auto id = AddressIdOf(address_type, reference);
  if (id && Holds() && texts_.size() < kMostTexts) texts_.insert_or_assign(*id, text);
}

void KeysAhead::ReadKeyTexts(std::int64_t address_type) {
  std::vector<std::string_view> numbers;
  for (const Row& row : rows_) {
    if (row.found.address_type == address_type) numbers.push_back(row.reference);
  }
  std::unordered_map<std::string, std::string> texts;
  addresses_.ReadKeyTexts(address_type, numbers, [&](std::int64_t number, std::string_view text) {
    texts.insert_or_assign(std::to_string(number), text);
  });
  for (Row& row : rows_) {
    const auto text = texts.find(row.reference);
    if (row.found.address_type == address_type && text != texts.end()) row.key_text = std::move(text->second);
  }
}

}  // namespace kestrel::host
