#include "storage/known_keys.h"

#include <algorithm>
#include <functional>
#include <limits>

#include "schema/host_schema.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

constexpr std::array<std::string_view, 3> kColumns = {"Doubletkey1", "Doubletkey2", "Doubletkey3"};

// Where so many of KeysAhead::kRecords look-ups need rows, they are asked for together; fewer cost less one by one.
constexpr std::size_t kSoughtTogether = 6;

}  // namespace

std::uint64_t KnownKeys::HashOf(std::size_t column, std::string_view key) {
  std::uint64_t hash = std::hash<std::string_view>()(key) + column * 0x9E3779B97F4A7C15U;
  hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCDU;
  return hash ^ (hash >> 29);
}

KnownKeys::Hashes KnownKeys::HashesOf(const Keys& keys) {
  Hashes hashes{};
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (!keys[i].empty()) hashes[i] = HashOf(i, keys[i]);
  }
  return hashes;
}

std::optional<std::size_t> KnownKeys::ColumnOf(std::string_view name) {
  const auto column = std::find(kColumns.begin(), kColumns.end(), name);
  if (column == kColumns.end()) return std::nullopt;
  return static_cast<std::size_t>(column - kColumns.begin());
}

KnownKeys::KnownKeys(Connection& connection)
    : connection_(connection),
      group_(GroupedWrites::Of(connection)),
      lock_(GroupLock::Of(connection)),
      absent_(connection.attachments().Of<AbsentValues>(connection)),
      addresses_(connection.attachments().Of<KnownAddresses>(connection)),
      coming_(connection.attachments().Of<ComingLookUps>(connection)) {
  absent_.Keep(
      "Adressindex", [this](std::span<const SoughtValue> values) { return Lacks(values); },
      OwnTable(connection, "Adressindex"));
  absent_.RefuseBy([this](const RuntimeError& reason) { return lock_.Refuse(reason); });
  addresses_.Keep([this] { return HoldsAll(); });
}

void KnownKeys::Begin() {
  ++writers_;
  if (ahead_ == nullptr && connection_.pipeline() != nullptr) {
    ahead_ = std::make_unique<KeysAhead>(connection_, lock_);
    Wish(KeysAhead::kRecords);
    state_ = State::kUnknown;
  }
  if (!IsSqlite(connection_) || !absent_.AreTold()) return;
  if (state_ == State::kOff) state_ = State::kUnknown;
  coming_.Want(0, nullptr, [this](std::span<const SoughtValue> values) { return FindRows(values); });
  rows_to_learn_ = std::max(rows_to_learn_, kRowsAtOnce);
}

void KnownKeys::Release() {
  if (--writers_ > 0) return;
  coming_.Want(0, nullptr, nullptr);
  wished_ = asked_ = sought_ = 0;
  is_asked_together_ = false;
  ahead_.reset();
  Forget(State::kOff);
  rows_to_learn_ = look_ups_ = rows_for_look_ups_ = 0;
  would_hold_all_.reset();
}

void KnownKeys::Forget(State state) {
  filter_.Clear();
  addresses_.Clear();
  changed_.clear();
  state_ = state;
}

void KnownKeys::Announce(const Keys& keys, const Hashes& hashes) {
  if (ahead_ != nullptr) {
    ahead_->Stored(keys);
    lock_.WillStore();
  }
  if (state_ == State::kOff) return;
  if (state_ != State::kComplete) rows_to_learn_ += kRowsAStored;
  if (state_ == State::kUnknown) return;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (!keys[i].empty()) Add(hashes[i]);
  }
}

void KnownKeys::Remember(const Hashes& hashes, const AddressView& address, std::int64_t address_id) {
  if (state_ == State::kOff || state_ == State::kUnknown) return;
  if (!addresses_.Add(hashes, address, address_id)) Forget(State::kOff);
}

// False where nothing is known any more.
bool KnownKeys::Add(std::uint64_t hash) {
  if (state_ != State::kOff && !filter_.Add(hash)) Forget(State::kOff);
  return state_ != State::kOff;
}

bool KnownKeys::HoldsAll() {
  bool holds_all = false;
  Trap(
      [&] {
        // Whether it is current is told once.
        if (state_ == State::kComplete && !IsCurrent())
          Forget(ahead_ == nullptr ? State::kUnknown : State::kOff);
        holds_all = state_ == State::kComplete;
      },
      [this](const RuntimeError&) { Forget(State::kOff); });
  return holds_all;
}

// None where there are other columns or more than one can look for. Has the processor fetch what the look-up is about to
// look at, and where the record will be remembered, which it mostly is.
std::optional<KnownKeys::Hashes> KnownKeys::Foresee(std::span<const SoughtValue> values) const {
  Hashes hashes{};
  if (values.size() > hashes.size()) return std::nullopt;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto column = ColumnOf(values[i].first);
    if (!column) return std::nullopt;
    hashes[i] = HashOf(*column, values[i].second);
    filter_.Prefetch(hashes[i]);
    addresses_.Prefetch(hashes[i]);
  }
  return hashes;
}

bool KnownKeys::LacksAll(const Hashes& hashes, std::size_t count) const {
  return std::none_of(hashes.begin(), hashes.begin() + static_cast<std::ptrdiff_t>(count),
                      [this](std::uint64_t hash) { return filter_.MayContain(hash); });
}

// Within a group no row may be learned, and with a look-up one begins.
void KnownKeys::LearnBetweenGroups() {
  if (ahead_ != nullptr || state_ == State::kOff || state_ == State::kComplete || rows_to_learn_ < kRowsAtOnce)
    return;
  if (rows_to_learn_ >= kRowsWorthACommit) group_.EndSpan();
  group_.CommitIfOver();
  if (group_.IsOpen()) return;
  const auto learn = [this] {
    if (!IsCurrent()) Forget(State::kUnknown);
    Learn();
  };
  Trap(learn, [this](const RuntimeError&) { Forget(State::kOff); });
}

bool KnownKeys::Lacks(std::span<const SoughtValue> values) {
  const std::optional<Hashes> hashes =
      state_ == State::kOff || ahead_ != nullptr ? std::nullopt : Foresee(values);
  LearnBetweenGroups();
  // What cannot be looked for is not stored either, whatever is answered here.
  if (!lock_.BeforeLookUp()) return true;
  if (ahead_ != nullptr) return ServerLacks(values);
  if (state_ == State::kOff || (state_ == State::kUnknown && rows_to_learn_ < kRowsAtOnce)) return false;
  bool lacks = false;
  const auto ask = [&] {
    if (!IsCurrent()) Forget(State::kUnknown);
    if (state_ != State::kComplete) Learn();
    if (state_ != State::kComplete) return;
    lacks = hashes && LacksAll(*hashes, values.size());
  };
  Trap(ask, [this](const RuntimeError&) { Forget(State::kOff); });
  return lacks;
}

// --- On a server -------------------------------------------------------------------------------------

void KnownKeys::Wish(std::size_t at_once) {
  if (std::exchange(wished_, at_once) == at_once) return;
  coming_.Want(
      at_once, [this](std::span<const std::string> key_texts) { Ask(key_texts); },
      [this](std::span<const SoughtValue> keys) { return Find(keys); });
}

// Of a group that has just begun with its lock. What was lost with one before may have been stored in it again.
void KnownKeys::LookWhetherEmpty() {
  Trap(
      [&] {
        const auto unlocked = lock_.CommitsUnlocked();
        if (!unlocked || !ahead_->IsTableAsMade() ||
            !connection_.OpenRecordset("SELECT 1 FROM Adressindex LIMIT 1")->IsEof()) {
          return Forget(State::kOff);
        }
        commits_of_others_ = lock_.CommitsOfOthers();
        commits_unlocked_ = *unlocked;
        state_ = State::kComplete;
      },
      [this](const RuntimeError&) { Forget(State::kOff); });
}

void KnownKeys::Ask(std::span<const std::string> key_texts) {
  if (!lock_.BeforeLookUp()) return;
  if (state_ == State::kUnknown && lock_.IsHeld()) LookWhetherEmpty();
  const bool holds_all = HoldsAll();
  if (holds_all && !is_asked_together_) return;
  ahead_->Ask(key_texts, [&](std::size_t column, std::string_view key) {
    return !holds_all || filter_.MayContain(HashOf(column, key));
  });
}

ComingLookUps::Rows KnownKeys::Find(std::span<const SoughtValue> keys) {
  ++sought_;
  return ahead_->Find(keys);
}

bool KnownKeys::ServerLacks(std::span<const SoughtValue> values) {
  if (state_ == State::kUnknown && lock_.IsHeld()) LookWhetherEmpty();
  if (++asked_ >= KeysAhead::kRecords) {
    is_asked_together_ = state_ != State::kComplete || sought_ >= kSoughtTogether;
    if (!is_asked_together_) ahead_->Forget();
    Wish(is_asked_together_ ? KeysAhead::kRecords : 0);
    asked_ = sought_ = 0;
  }
  if (HoldsAll()) {
    const std::optional<Hashes> hashes = Foresee(values);
    if (hashes && LacksAll(*hashes, values.size())) return true;
  }
  const ComingLookUps::Rows rows = ahead_->Find(values);
  return rows && rows->empty();
}

// --- On SQLite ---------------------------------------------------------------------------------------

void KnownKeys::LearnForLookUp() {
  if (state_ == State::kOff || !addresses_.HasRoom()) return;
  if (rows_for_look_ups_ >= kRowsAtRisk && !WouldHoldAll()) return;
  const std::int64_t rows = kRowsALookUp + look_ups_++ / kLookUpsARow;
  rows_for_look_ups_ += rows;
  rows_to_learn_ += rows;
}

// To count a million rows takes as long as some hundred look-ups.
bool KnownKeys::WouldHoldAll() {
  if (would_hold_all_) return *would_hold_all_;
  would_hold_all_ = false;
  Trap(
      [this] {
        const std::int64_t rows =
            connection_.OpenRecordset("SELECT count(*) FROM Adressindex")->ValueAt(0).ToInteger();
        would_hold_all_ = addresses_.WouldHold(static_cast<std::size_t>(rows));
      },
      [](const RuntimeError&) {});
  return *would_hold_all_;
}

// Whether the rows are known as they stand in the table. Who removes one tells so, or may have done it past the import.
bool KnownKeys::FindLearned(const Hashes& hashes) {
  learned_.clear();
  return absent_.RemovedRows() == removed_rows_ &&
         addresses_.VisitLearned(hashes,
                                 [this](std::int64_t row, const Hashes& keys) {
                                   learned_.push_back({row, keys});
                                 }) &&
         std::ranges::none_of(
             learned_, [this](const RowLookUp::LearnedRow& row) { return changed_.contains(row.address_id); });
}

ComingLookUps::Rows KnownKeys::FindRows(std::span<const SoughtValue> values) {
  if (!HoldsAll()) {
    LearnForLookUp();
    return std::nullopt;
  }
  Hashes hashes{};
  for (const auto& [name, text] : values) {
    const auto column = ColumnOf(name);
    if (!column) return std::nullopt;
    hashes[*column] = HashOf(*column, text);
  }
  if (!row_look_up_) row_look_up_.emplace(connection_);
  if (FindLearned(hashes)) return row_look_up_->Tell(learned_, values, hashes);
  found_.clear();
  if (!addresses_.VisitRows(hashes, [this](std::int64_t row) { found_.push_back(row); })) return std::nullopt;
  ComingLookUps::Rows rows;
  Trap([&] { rows = row_look_up_->Read(found_, values); }, [](const RuntimeError&) {});
  return rows;
}

// Changes with every commit of another connection, and with the tables.
std::string KnownKeys::Version() {
  if (version_query_ == nullptr) {
    version_query_ = connection_.Prepare(
        "SELECT data_version || ' ' || schema_version || ' ' || (SELECT count(*) FROM sqlite_temp_schema"
        " WHERE name = '" +
        OwnTable(connection_, "Adressindex") +
        "' COLLATE NOCASE) FROM pragma_data_version, pragma_schema_version");
  }
  return std::string(version_query_->Open()->TextAt(0));
}

bool KnownKeys::IsCurrent() {
  if (ahead_ != nullptr) {
    return lock_.IsHeld() && lock_.CommitsOfOthers() == commits_of_others_ &&
           lock_.CommitsUnlocked() == commits_unlocked_;
  }
  const bool only_own = std::exchange(own_rows_, absent_.StoredRows()) == absent_.StoredRows();
  const bool in_group = group_.IsOpen() && connection_.InTransaction();
  // While a group is open nobody else stores.
  if (in_group && checked_in_ == group_.Generation()) return only_own;
  checked_in_.reset();
  std::string version = Version();
  if (in_group) checked_in_ = group_.Generation();
  return std::exchange(version_, version) == version && only_own;
}

void KnownKeys::Learn() {
  if (rows_to_learn_ < kRowsAtOnce || connection_.InTransaction()) return;
  if (state_ == State::kUnknown) {
    // Another table of that name may compare its texts in another way, or hide this one.
    if (!HasAddressIndexAsMade(connection_)) return Forget(State::kOff);
    next_row_ = std::numeric_limits<std::int64_t>::min();
    removed_rows_ = absent_.RemovedRows();
    state_ = State::kLearning;
  }
  LearnRows();
}

// Whether it is as the host writes it: its number tells the type of its address and its reference.
bool KnownKeys::IsPlain(const Recordset& row, std::int64_t address_id) {
  constexpr std::size_t kType = 4;
  constexpr std::size_t kReference = 5;
  RowLookUp::Digits digits;
  return address_id >= 0 && row.TextAt(kType) == RowLookUp::TextOf(RowLookUp::TypeOf(address_id), digits) &&
         row.TextAt(kReference) == RowLookUp::TextOf(RowLookUp::NumberOf(address_id), digits);
}

void KnownKeys::AddRows(std::span<const RowKeys> rows) {
  const auto visit = [rows](auto&& look) {
    for (const RowKeys& row : rows) {
      for (const std::uint64_t hash : row.hashes) {
        if (hash != 0) look(hash);
      }
    }
  };
  visit([this](std::uint64_t hash) {
    filter_.Prefetch(hash);
    addresses_.Prefetch(hash);
  });
  visit([this](std::uint64_t hash) { addresses_.PrefetchLast(hash); });
  visit([this](std::uint64_t hash) { Add(hash); });
  for (const RowKeys& row : rows) {
    if (state_ == State::kOff) return;
    const bool has_room =
        row.is_plain ? addresses_.AddLearned(row.hashes, row.row) : addresses_.AddRow(row.hashes, row.row);
    if (!has_room) Forget(State::kOff);
  }
}

void KnownKeys::LearnRows() {
  if (next_rows_ == nullptr) {
    next_rows_ = connection_.Prepare(
        "SELECT AdressId, Doubletkey1, Doubletkey2, Doubletkey3, Adressart, Referenz FROM Adressindex "
        "WHERE AdressId >= ? ORDER BY AdressId LIMIT ?");
  }
  next_rows_->BindInteger(0, next_row_);
  next_rows_->BindInteger(1, rows_to_learn_);
  std::int64_t last_row = std::numeric_limits<std::int64_t>::max();
  std::array<RowKeys, kRowsAdded> added;
  std::size_t count = 0;
  for (const RecordsetPtr rows = next_rows_->Open(); !rows->IsEof(); rows->MoveNext(), --rows_to_learn_) {
    last_row = rows->ValueAt(0).ToInteger();
    Hashes hashes{};
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
      if (!rows->IsNull(i + 1)) hashes[i] = HashOf(i, rows->TextAt(i + 1));
    }
    added[count++] = {hashes, last_row, IsPlain(*rows, last_row)};
    if (count == added.size()) AddRows(std::span(added).first(std::exchange(count, 0)));
  }
  AddRows(std::span(added).first(count));
  if (state_ == State::kOff) return;
  if (rows_to_learn_ > 0 || last_row == std::numeric_limits<std::int64_t>::max()) {
    state_ = State::kComplete;
  } else {
    next_row_ = last_row + 1;
  }
}

}  // namespace kestrel::host
