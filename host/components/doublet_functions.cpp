#include "components/doublet_functions.h"

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
  if (!addresses_->ReadKeyText(address_type, reference, candidate_text_)) return 0;
  if (record_text_ != key_text) {
    record_text_ = key_text;
    record_.Assign(key_text);
  }
  candidate_.Assign(candidate_text_);
  Comparison comparison = CompareAddresses(record_, candidate_, seen_);
  reason = std::move(comparison.reason);
  return comparison.Percent();
}

}  // namespace kestrel::host
