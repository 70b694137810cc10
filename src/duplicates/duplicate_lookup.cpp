// The look-up in the host's table Adressindex.
#include <array>
#include <iterator>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "duplicates/duplicate_check.h"
#include "duplicates/trap_in_function.h"
#include "kestrel/connection.h"
#include "platform/base/text.h"
#include "platform/data/absent_values.h"
#include "platform/data/recovery.h"

namespace kestrel {

namespace {

// So often a look-up is run whose transaction is lost in passing.
constexpr int kMostAttempts = 5;
constexpr const char* kKeyColumns[] = {"Doubletkey1", "Doubletkey2", "Doubletkey3"};

// Appends the condition on the type bits; false, with nothing appended, where the mask has no bit.
bool AppendTypeCondition(std::string& query, std::int64_t mask) {
  constexpr int kTypeBits = 16;
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

void ReadMatch(const Recordset& row, const DuplicateSettings& settings, const DuplicateKeys& keys,
               DuplicateMatch& match) {
  match.reference = TextOf(row, "Referenz");
  for (std::size_t i = 0; i < std::size(kKeyColumns) && match.key == 0; ++i) {
    if (settings.use_key[i] && TextOf(row, kKeyColumns[i]) == keys.key[i]) match.key = static_cast<int>(i) + 1;
  }
  match.address_type = Value(TextOf(row, "Adressart")).ToInteger();
}

int AgreeingKeys(const Recordset& row, const DuplicateSettings& settings, const DuplicateKeys& keys) {
  int count = 0;
  for (std::size_t i = 0; i < std::size(kKeyColumns); ++i) {
    if (settings.use_key[i] && TextOf(row, kKeyColumns[i]) == keys.key[i]) ++count;
  }
  return count;
}

// Whether a text that stands in the query unescaped makes it another one than it looks.
bool ChangesQuery(std::string_view text) {
  return text.find_first_of(std::string_view("'\0", 2)) != std::string_view::npos;
}

// Whether it is known that the query would find nothing, as no row has one of the keys in use.
bool AreAbsent(const ObjectPtr& host, const DuplicateSettings& settings, const DuplicateKeys& keys,
               std::string_view reference) {
  auto* const connection = dynamic_cast<Connection*>(host.get());
  if (connection == nullptr || ChangesQuery(reference)) return false;
  std::array<SoughtValue, 3> sought;
  std::size_t count = 0;
  for (std::size_t i = 0; i < std::size(keys.key); ++i) {
    if (!settings.use_key[i]) continue;
    if (ChangesQuery(keys.key[i])) return false;
    sought[count++] = {kKeyColumns[i], keys.key[i]};
  }
  const std::lock_guard lock(connection->CallMutex());
  return connection->attachments()
      .Of<AbsentValues>(*connection)
      .Lacks("Adressindex", std::span(sought).first(count));
}

// Whether the same look-up may succeed after a failure: it changes nothing, and who knows what the table lacks
// (AreAbsent) begins a transaction anew, in which what was lost stands again.
bool IsWorthAnotherAttempt(const ObjectPtr& host) {
  const auto* const recovery = dynamic_cast<const Recovery*>(host.get());
  return recovery != nullptr && recovery->LastLoss() == Recovery::Loss::kUndone;
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
  TrapInFunction(session_.platform.ui, "isDoublet", [&] {
    DuplicateKeys keys;
    GenDoubKey(key_text, keys.key[0], keys.key[1], keys.key[2]);
    for (int attempts = 1;
         !Trap([&] { answer = LookUp(key_text, keys, reference, address_type, overwrite, match); },
               [&](const RuntimeError&) {
                 if (attempts == kMostAttempts || !IsWorthAnotherAttempt(session_.HostConnection)) throw;
               });) {
      ++attempts;
    }
  });
  return answer;
}

bool DuplicateCheck::LookUp(const std::string& key_text, const DuplicateKeys& keys,
                            const std::string& reference, std::int64_t address_type, bool overwrite,
                            DuplicateMatch* match) {
  if (AreAbsent(session_.HostConnection, settings_, keys, reference)) return false;
  std::string& query = kept_.query;
  if (!BuildDuplicateQuery(settings_, keys, reference, address_type, overwrite, query)) return false;
  const RecordsetPtr found = RequireConnection(session_.HostConnection).OpenRecordset(query);
  if (kept_.confirmation.IsThere()) return Confirms(key_text, keys, *found, match);
  if (found->IsEof()) return false;
  if (match == nullptr) return true;
  // A row that cannot be read tells less, but is a duplicate all the same.
  Trap([&] { ReadMatch(*found, settings_, keys, *match); }, [](const RuntimeError&) {});
  return true;
}

// The rows are read before the first question, as the component may use the connection itself. Where there are more than
// are asked about, as in a long street, those with most keys come first: a server has no order that would bring them.
bool DuplicateCheck::Confirms(const std::string& key_text, const DuplicateKeys& keys, Recordset& found,
                              DuplicateMatch* match) {
  std::vector<DuplicateMatch>& candidates = kept_.candidates;
  candidates.clear();
  std::array<std::vector<DuplicateMatch>, std::size(kKeyColumns) + 1> by_keys;
  for (; !found.IsEof() && by_keys.back().size() < Confirmation::kMostCandidates; found.MoveNext()) {
    std::vector<DuplicateMatch>& alike = by_keys[AgreeingKeys(found, settings_, keys)];
    if (alike.size() < Confirmation::kMostCandidates) ReadMatch(found, settings_, keys, alike.emplace_back());
  }
  for (std::size_t count = by_keys.size(); count-- > 0;) {
    std::move(by_keys[count].begin(), by_keys[count].end(), std::back_inserter(candidates));
  }
  if (candidates.size() > Confirmation::kMostCandidates) candidates.resize(Confirmation::kMostCandidates);
  if (candidates.empty()) return false;
  DuplicateMatch best;
  if (!kept_.confirmation.Choose(session_.HostConnection, key_text, candidates, Threshold(), best))
    return false;
  if (match != nullptr) *match = std::move(best);
  return true;
}

}  // namespace kestrel
