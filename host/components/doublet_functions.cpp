#include "components/doublet_functions.h"

#include <mutex>

#include "storage/known_keys.h"

namespace kestrel::host {

void DoubletFunctions::Bind(Members& members) {
  members.Method("BuildDoubletKey", &DoubletFunctions::BuildKey);
  members.Method("Confirm", &DoubletFunctions::Confirm);
}

double DoubletFunctions::Confirm(const ObjectPtr& connection, std::string_view key_text,
                                 std::int64_t address_type, std::string_view reference, std::string& reason) {
  Connection& opened = RequireConnection(connection);
  if (connection_.get() != &opened) {
    addresses_.emplace(opened);
    connection_ = ConnectionPtr(connection, &opened);
  }
  if (!ReadCandidate(opened, address_type, reference)) return 0;
  if (record_text_ != key_text) {
    record_text_ = key_text;
    record_.Assign(key_text);
  }
  candidate_.Assign(candidate_text_);
  Comparison comparison = CompareAddresses(record_, candidate_, seen_);
  reason = std::move(comparison.reason);
  return comparison.Percent();
}

bool DoubletFunctions::ReadCandidate(Connection& connection, std::int64_t address_type,
                                     std::string_view reference) {
  {
    const std::lock_guard lock(connection.CallMutex());
    if (const auto known = KnownKeys::Of(connection).KeyTextOf(address_type, reference)) {
      candidate_text_ = *known;
      return true;
    }
  }
  return addresses_->ReadKeyText(address_type, reference, candidate_text_);
}

}  // namespace kestrel::host
