#include "schema/settings.h"

#include <mutex>

#include "platform/base/coarse_time.h"

namespace kestrel::host {

bool Settings::IsFresh() const { return CoarseNow() < good_until_.load(std::memory_order_acquire); }

void Settings::Refresh() {
  if (IsFresh()) return;
  const auto now = CoarseNow();
  const RecordsetPtr rows =
      table_.Open([this] { return connection_.OpenRecordset("SELECT Gruppe, Name, Wert FROM Einstellungen"); });
  std::vector<Entry> entries;
  for (; !rows->IsEof(); rows->MoveNext()) {
    entries.push_back(
        Entry{std::string(rows->TextAt(0)), std::string(rows->TextAt(1)), std::string(rows->TextAt(2))});
  }
  entries_ = std::move(entries);
  // First, so that who sees them fresh sees their number.
  ++generation_;
  good_until_.store(now + kGoodFor, std::memory_order_release);
}

std::uint64_t Settings::Generation() {
  if (IsFresh()) return generation_;
  const std::lock_guard lock(connection_.CallMutex());
  Refresh();
  return generation_;
}

std::string Settings::Get(std::string_view group, std::string_view name, std::string_view fallback) {
  const std::lock_guard lock(connection_.CallMutex());
  Refresh();
  return Find(group, name, fallback);
}

std::string Settings::LastKnown(std::string_view group, std::string_view name, std::string_view fallback) {
  const std::lock_guard lock(connection_.CallMutex());
  RefreshIfPossible();
  return Find(group, name, fallback);
}

std::uint64_t Settings::LastKnownGeneration() {
  if (IsFresh()) return generation_;
  const std::lock_guard lock(connection_.CallMutex());
  RefreshIfPossible();
  return generation_;
}

void Settings::RefreshIfPossible() {
  Trap([this] { Refresh(); },
       [this](const RuntimeError&) {
         if (generation_ == 0 || recovery_ == nullptr || recovery_->LastLoss() == Recovery::Loss::kLasting)
           throw;
       });
}

std::string Settings::Find(std::string_view group, std::string_view name, std::string_view fallback) const {
  for (const Entry& entry : entries_) {
    // Names differ sooner than groups.
    if (entry.name == name && entry.group == group) return entry.value;
  }
  return std::string(fallback);
}

void Settings::Set(std::string_view group, std::string_view name, std::string_view value) {
  const std::lock_guard lock(connection_.CallMutex());
  const auto statement = connection_.Prepare(
      "INSERT INTO Einstellungen (Gruppe, Name, Wert) VALUES (?, ?, ?) "
      "ON CONFLICT (Gruppe, Name) DO UPDATE SET Wert = excluded.Wert");
  statement->BindText(0, group);
  statement->BindText(1, name);
  statement->BindText(2, value);
  statement->Execute();
  good_until_ = std::chrono::steady_clock::time_point::min();
}

}  // namespace kestrel::host
