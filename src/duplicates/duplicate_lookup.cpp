// The look-up in the host's table Adressindex.
#include <algorithm>
#include <array>
#include <bit>
#include <iterator>
#include <mutex>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "duplicates/duplicate_check.h"
#include "duplicates/trap_in_function.h"
#include "kestrel/connection.h"
#include "platform/base/text.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"
#include "platform/data/recovery.h"

namespace kestrel {

namespace {

// So often a look-up is run whose transaction is lost in passing.
constexpr int kMostAttempts = 5;
constexpr int kTypeBits = 16;
constexpr std::int64_t kAllTypes = (std::int64_t{1} << kTypeBits) - 1;
constexpr std::string_view kIndexTable = "Adressindex";
constexpr const char* kKeyColumns[] = {"Doubletkey1", "Doubletkey2", "Doubletkey3"};

// Appends the condition on the type bits; false, with nothing appended, where the mask has no bit.
bool AppendTypeCondition(std::string& query, std::int64_t mask) {
  bool found = false;
  for (int i = 0; i < kTypeBits; ++i) {
    const std::int64_t bit = std::int64_t{1} << i;
    if ((mask & bit) == 0) continue;
    query.append(found ? " Or Adressart = " : " (Adressart = ").append(std::to_string(bit));
    found = true;
  }
  if (found) query.append(") ");
  return found;
}

// Without a key in use the condition stays empty, and the query is one that the database refuses.
void AppendKeyCondition(std::string& query, const DuplicateSettings& settings, const DuplicateKeys& keys) {
  constexpr const char* kFragments[] = {" Doubletkey1 = '", " Doubletkey2 = '", " Doubletkey3 = '"};
  bool found = false;
  for (std::size_t i = 0; i < std::size(keys.key); ++i) {
    if (!settings.use_key[i]) continue;
    if (found) query.append(" OR ");
    query.append(kFragments[i]).append(keys.key[i]).append("' ");
    found = true;
  }
}

// By name without case, as databases differ in the case in which they report column names.
std::string_view TextOf(const Recordset& row, std::string_view name) {
  for (std::size_t column = 0; column < row.ColumnCount(); ++column) {
    if (EqualsIgnoringCase(row.ColumnName(column), name)) return row.TextAt(column);
  }
  return {};
}

// Its number, from 1; 0 for none. `key_at` tells the keys of a row.
template <class KeyAt>
int FirstEqualKey(const DuplicateSettings& settings, const DuplicateKeys& keys, KeyAt&& key_at) {
  for (std::size_t i = 0; i < std::size(kKeyColumns); ++i) {
    if (settings.use_key[i] && key_at(i) == keys.key[i]) return static_cast<int>(i) + 1;
  }
  return 0;
}

void ReadMatch(const Recordset& row, const DuplicateSettings& settings, const DuplicateKeys& keys,
               DuplicateMatch& match) {
  match.reference = TextOf(row, "Referenz");
  match.key = FirstEqualKey(settings, keys, [&](std::size_t i) { return TextOf(row, kKeyColumns[i]); });
  match.address_type = Value(TextOf(row, "Adressart")).ToInteger();
}

// How many of the keys in use. `key_at` tells the keys of a row.
template <class KeyAt>
std::size_t AgreeingKeys(const DuplicateSettings& settings, const DuplicateKeys& keys, KeyAt&& key_at) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < std::size(kKeyColumns); ++i) {
    if (settings.use_key[i] && key_at(i) == keys.key[i]) ++count;
  }
  return count;
}

// Of candidates with as many keys: an order that no index, section of one or server changes, as the first of several that are
// confirmed alike is chosen. Numbers of one length sort as texts do.
bool ComesBefore(const DuplicateMatch& a, const DuplicateMatch& b) {
  const auto place = [](const DuplicateMatch& match) {
    return std::make_tuple(match.key, match.reference.size(), std::string_view(match.reference),
                           match.address_type);
  };
  return place(a) < place(b);
}

// Where there are more candidates than are asked about, as in a long street, those with most keys come first: a server has
// no order that would bring them.
class MostKeysFirst {
 public:
  // Whether no further row would be among them.
  bool IsFull() const { return by_keys_.back().size() == Confirmation::kMostCandidates; }
  // Where a row with so many keys goes; null where there are enough of its kind.
  DuplicateMatch* PlaceFor(std::size_t agreeing) {
    std::vector<DuplicateMatch>& alike = by_keys_[agreeing];
    return alike.size() < Confirmation::kMostCandidates ? &alike.emplace_back() : nullptr;
  }
  void MoveTo(std::vector<DuplicateMatch>& candidates) {
    candidates.clear();
    for (std::size_t count = by_keys_.size(); count-- > 0;) {
      std::ranges::stable_sort(by_keys_[count], ComesBefore);
      std::move(by_keys_[count].begin(), by_keys_[count].end(), std::back_inserter(candidates));
    }
    if (candidates.size() > Confirmation::kMostCandidates) candidates.resize(Confirmation::kMostCandidates);
  }

 private:
  std::array<std::vector<DuplicateMatch>, std::size(kKeyColumns) + 1> by_keys_;
};

// Whether a text that stands in the query unescaped makes it another one than it looks.
bool ChangesQuery(std::string_view text) {
  // Not find_first_of, which looks each character up.
  return std::ranges::any_of(text, [](char c) { return c == '\'' || c == '\0'; });
}

// The keys in use, as the query looks for them. Lives as long as `keys`.
class SoughtKeys {
 public:
  SoughtKeys(const DuplicateSettings& settings, const DuplicateKeys& keys) {
    for (std::size_t i = 0; i < std::size(keys.key); ++i) {
      if (settings.use_key[i]) sought_[count_++] = {kKeyColumns[i], keys.key[i]};
    }
  }
  std::span<const SoughtValue> values() const { return std::span(sought_).first(count_); }
  bool ChangeQuery() const {
    return std::ranges::any_of(values(), [](const SoughtValue& value) { return ChangesQuery(value.second); });
  }

 private:
  std::array<SoughtValue, 3> sought_;
  std::size_t count_ = 0;
};

// Whether it is known that no row has one of the keys.
bool LacksAll(Connection& connection, const SoughtKeys& sought) {
  const std::lock_guard lock(connection.CallMutex());
  return connection.attachments().Of<AbsentValues>(connection).Lacks(kIndexTable, sought.values());
}

// Whether it is known what the query would find; `candidates` has it then. For its conditions see BuildDuplicateQuery.
bool FindKnown(Connection& connection, const DuplicateSettings& settings, const DuplicateKeys& keys,
               const SoughtKeys& sought, std::string_view reference, std::int64_t address_type, bool overwrite,
               std::vector<DuplicateMatch>& candidates) {
  candidates.clear();
  const std::lock_guard lock(connection.CallMutex());
  const auto rows = connection.attachments().Of<ComingLookUps>(connection).Find(sought.values());
  // Without a type to look for there is no query.
  if (!rows || (settings.address_type_mask & kAllTypes) == 0) return false;
  MostKeysFirst ranked;
  for (const FoundAddress& row : *rows) {
    const auto type = static_cast<std::uint64_t>(row.address_type);
    if (!std::has_single_bit(type) || (settings.address_type_mask & kAllTypes & row.address_type) == 0)
      continue;
    if (overwrite && row.address_type == address_type && row.reference == reference) continue;
    const auto key_at = [&](std::size_t i) { return row.keys[i]; };
    DuplicateMatch* const match = ranked.PlaceFor(AgreeingKeys(settings, keys, key_at));
    if (match == nullptr) continue;
    match->reference = row.reference;
    match->address_type = row.address_type;
    match->key = FirstEqualKey(settings, keys, key_at);
  }
  ranked.MoveTo(candidates);
  return true;
}

// Runs the query, which finds nothing but rows with one of the keys.
RecordsetPtr Open(Connection& connection, const std::string& query, const DuplicateSettings& settings,
                  const DuplicateKeys& keys, std::string_view reference) {
  const SoughtKeys sought(settings, keys);
  if (!connection.capabilities().announces_queries || ChangesQuery(reference) || sought.ChangeQuery()) {
    return connection.OpenRecordset(query);
  }
  const std::lock_guard lock(connection.CallMutex());
  const SoughtRows rows{kIndexTable, sought.values()};
  const AbsentValues::Query opened(connection.attachments().Of<AbsentValues>(connection), rows);
  return connection.OpenRecordset(query);
}

// Whether the same look-up may succeed after a failure: it changes nothing, and who knows what the table lacks
// (FindKnown) begins a transaction anew, in which what was lost stands again.
bool IsWorthAnotherAttempt(const ObjectPtr& host) {
  const auto* const recovery = dynamic_cast<const Recovery*>(host.get());
  return recovery != nullptr && recovery->LastLoss() != Recovery::Loss::kLasting;
}

// Whether the host's index refuses the record for that reason: one that lasts, as a lock or a full disk.
bool IsRefused(const ObjectPtr& host, const RuntimeError& reason) {
  auto* const connection = dynamic_cast<Connection*>(host.get());
  if (connection == nullptr) return false;
  const std::lock_guard lock(connection->CallMutex());
  return !connection->StopReason().empty() &&
         connection->attachments().Of<AbsentValues>(*connection).Refuses(kIndexTable, reason);
}

}  // namespace

bool BuildDuplicateQuery(const DuplicateSettings& settings, const DuplicateKeys& keys,
                         std::string_view reference, std::int64_t address_type, bool overwrite,
                         std::string& query) {
  query.assign("SELECT * FROM Adressindex where ");
  if (!AppendTypeCondition(query, settings.address_type_mask)) {
    query.clear();
    return false;
  }
  query.append(" and (");
  AppendKeyCondition(query, settings, keys);
  query.append(")");
  if (overwrite) {
    query.append(" And Not (Adressart = ").append(std::to_string(address_type));
    query.append(" And Referenz = '").append(reference).append("')");
  }
  return true;
}

bool DuplicateCheck::isDoublet(const std::string& key_text, const std::string& reference,
                               std::int64_t address_type, bool overwrite, DuplicateMatch* match) {
  bool answer = false;
  TrapInFunction(session_, "isDoublet", [&] {
    DuplicateKeys keys;
    GenDoubKey(key_text, keys.key[0], keys.key[1], keys.key[2]);
    DuplicateMatch unasked;
    if (match == nullptr && kept_.confirmation.KnowsSpellings()) match = &unasked;
    bool is_refused = false;
    for (int attempts = 1;
         !Trap([&] { answer = LookUp(key_text, keys, reference, address_type, overwrite, match); },
               [&](const RuntimeError& error) {
                 if (attempts < kMostAttempts && IsWorthAnotherAttempt(session_.HostConnection)) return;
                 if (!IsRefused(session_.HostConnection, error)) throw;
                 is_refused = true;
               }) &&
         !is_refused;) {
      ++attempts;
    }
    if (is_refused) return;
    if (!kept_.confirmation.KnowsSpellings()) return;
    answer = answer || RepeatsSpelling(key_text, keys, reference, address_type, overwrite, *match);
    if (answer) LearnSpelling(key_text, keys, *match);
  });
  return answer;
}

bool DuplicateCheck::LookUp(const std::string& key_text, const DuplicateKeys& keys,
                            const std::string& reference, std::int64_t address_type, bool overwrite,
                            DuplicateMatch* match) {
  const SoughtKeys sought(settings_, keys);
  // Where the host's connection is asked for nothing but rows with these keys.
  const bool is_plain = !ChangesQuery(reference) && !sought.ChangeQuery();
  Connection* const plain = is_plain ? HostConnection() : nullptr;
  if (plain != nullptr && LacksAll(*plain, sought)) return false;
  if (!MayConfirm(key_text, keys, reference)) return false;
  std::vector<DuplicateMatch>& candidates = kept_.candidates;
  if (plain != nullptr &&
      FindKnown(*plain, settings_, keys, sought, reference, address_type, overwrite, candidates)) {
    return Chooses(key_text, candidates, match);
  }
  std::string& query = kept_.query;
  if (!BuildDuplicateQuery(settings_, keys, reference, address_type, overwrite, query)) return false;
  const RecordsetPtr found =
      Open(RequireConnection(session_.HostConnection), query, settings_, keys, reference);
  if (kept_.confirmation.IsThere()) return Confirms(key_text, keys, *found, match);
  if (found->IsEof()) return false;
  if (match == nullptr) return true;
  // A row that cannot be read tells less, but is a duplicate all the same.
  Trap([&] { ReadMatch(*found, settings_, keys, *match); }, [](const RuntimeError&) {});
  return true;
}

// Null where it is no connection of the component's; what it is was found out for the object asked about last.
Connection* DuplicateCheck::HostConnection() {
  if (kept_.host_object != session_.HostConnection) {
    kept_.host_object = session_.HostConnection;
    kept_.host_connection = dynamic_cast<Connection*>(kept_.host_object.get());
  }
  return kept_.host_connection;
}

bool DuplicateCheck::Chooses(const std::string& key_text, std::vector<DuplicateMatch>& candidates,
                             DuplicateMatch* match) {
  if (candidates.empty()) return false;
  DuplicateMatch best;
  if (!kept_.confirmation.IsThere()) {
    best = std::move(candidates.front());
  } else if (!kept_.confirmation.Choose(session_.HostConnection, key_text, candidates, Threshold(), best)) {
    return false;
  }
  if (match != nullptr) *match = std::move(best);
  return true;
}

bool DuplicateCheck::RepeatsSpelling(const std::string& key_text, const DuplicateKeys& keys,
                                     const std::string& reference, std::int64_t address_type, bool overwrite,
                                     DuplicateMatch& match) {
  if (kept_.spellings.empty()) return false;
  const auto is_passed_over = [&](const Spelling& spelling) {
    return (settings_.address_type_mask & spelling.address_type) == 0 ||
           (overwrite && spelling.address_type == address_type && spelling.reference == reference);
  };
  return kept_.confirmation.ChooseSpelling(key_text, kept_.spellings, KeysInUse(keys), Threshold(),
                                           is_passed_over, match);
}

void DuplicateCheck::LearnSpelling(const std::string& key_text, const DuplicateKeys& keys,
                                   const DuplicateMatch& match) {
  constexpr double kNothingDiffers = 100;
  if (match.score >= kNothingDiffers) return;
  kept_.spellings.Add(KeysInUse(keys), {key_text, match.address_type, match.reference});
}

KnownSpellings::Keys DuplicateCheck::KeysInUse(const DuplicateKeys& keys) const {
  KnownSpellings::Keys in_use;
  for (std::size_t i = 0; i < in_use.size(); ++i) {
    if (settings_.use_key[i]) in_use[i] = keys.key[i];
  }
  return in_use;
}

bool DuplicateCheck::MayConfirm(const std::string& key_text, const DuplicateKeys& keys,
                                std::string_view reference) {
  const SoughtKeys sought(settings_, keys);
  // What is no such query is to fail as it does.
  if (!kept_.confirmation.TellsHighestScore() || sought.values().empty() || ChangesQuery(reference) ||
      sought.ChangeQuery()) {
    return true;
  }
  const double highest = kept_.confirmation.HighestScore(session_.HostConnection, key_text, KeysInUse(keys));
  return highest >= 0 && highest >= Threshold();
}

// The rows are read before the first question, as the component may use the connection itself.
bool DuplicateCheck::Confirms(const std::string& key_text, const DuplicateKeys& keys, Recordset& found,
                              DuplicateMatch* match) {
  MostKeysFirst ranked;
  for (; !found.IsEof() && !ranked.IsFull(); found.MoveNext()) {
    const auto key_at = [&](std::size_t i) { return TextOf(found, kKeyColumns[i]); };
    if (DuplicateMatch* const place = ranked.PlaceFor(AgreeingKeys(settings_, keys, key_at))) {
      ReadMatch(found, settings_, keys, *place);
    }
  }
  std::vector<DuplicateMatch>& candidates = kept_.candidates;
  ranked.MoveTo(candidates);
  return Chooses(key_text, candidates, match);
}

}  // namespace kestrel
