#include "components/doublet_functions.h"

#include <algorithm>
#include <array>
#include <mutex>

#include "storage/known_keys.h"

namespace kestrel::host {

void DoubletFunctions::Bind(Members& members) {
  members.Method("BuildDoubletKey", &DoubletFunctions::BuildKey);
  members.Method("Confirm", &DoubletFunctions::Confirm);
  members.Method("HighestScore", &DoubletFunctions::HighestScore);
  members.Method("ConfirmSpelling", &DoubletFunctions::ConfirmSpelling);
}

double DoubletFunctions::Confirm(const ObjectPtr& connection, std::string_view key_text,
                                 std::int64_t address_type, std::string_view reference, std::string& reason) {
  Connection& opened = RequireConnection(connection);
  if (connection_.get() != &opened) {
    addresses_.emplace(opened);
    connection_ = ConnectionPtr(connection, &opened);
  }
  if (!ReadCandidate(opened, address_type, reference)) return 0;
  candidate_.Assign(candidate_text_);
  SameAddressPairs counted = seen_;
  Comparison comparison =
      CompareAddresses(keys_->PartsOf(key_text), candidate_, counted_ == key_text ? counted : seen_);
  reason = std::move(comparison.reason);
  return comparison.Percent();
}

double DoubletFunctions::ConfirmSpelling(std::string_view key_text, std::string_view spelling,
                                         std::string& reason) {
  candidate_.Assign(spelling);
  SameAddressPairs uncounted = seen_;
  Comparison comparison = CompareAddresses(keys_->PartsOf(key_text), candidate_, uncounted);
  if (!comparison.shares_name) return 0;
  reason = std::move(comparison.reason);
  return comparison.Percent();
}

bool DoubletFunctions::ReadCandidate(Connection& connection, std::int64_t address_type,
                                     std::string_view reference) {
  const std::lock_guard lock(connection.CallMutex());
  const KnownKeys& known_keys = KnownKeys::Of(connection);
  if (const auto known = known_keys.KeyTextOf(address_type, reference)) {
    candidate_text_ = *known;
    return true;
  }
  if (!addresses_->ReadKeyText(address_type, reference, candidate_text_)) return false;
  known_keys.RememberKeyText(address_type, reference, candidate_text_);
  return true;
}

double DoubletFunctions::HighestScore(const ObjectPtr& connection, std::string_view key_text,
                                      std::string_view key1, std::string_view key2, std::string_view key3) {
  Connection& opened = RequireConnection(connection);
  const KnownKeys::Hashes hashes = KnownKeys::HashesOf({key1, key2, key3});
  double highest = -1;
  const AddressView& record = keys_->PartsOf(key_text);
  const std::lock_guard lock(opened.CallMutex());
  const KnownAddresses& known = opened.attachments().Of<KnownAddresses>(opened);
  const SameAddressPairs before = seen_;
  const bool are_known = known.Visit(hashes, [&](const AddressView& address) {
    highest = std::max(highest, HighestPercent(record, address, seen_));
  });
  counted_.clear();
  if (!are_known) return 100;
  counted_ = key_text;
  if (seen_ == before) return highest;
  // Confirm knows all these pairs when it looks at the first of them.
  highest = -1;
  const bool are_still_known = known.Visit(hashes, [&](const AddressView& address) {
    SameAddressPairs counted = seen_;
    highest = std::max(highest, HighestPercent(record, address, counted));
  });
  return are_still_known ? highest : 100;
}

}  // namespace kestrel::host
