#include "duplicates/confirmation.h"

#include <utility>

#include "platform/automation/optional_member.h"

namespace kestrel {

void Confirmation::AskComponent(const ObjectPtr& component) {
  if (std::exchange(is_asked_, true)) return;
  confirm_ = FindOptional(component, "Confirm");
}

bool Confirmation::Choose(const ObjectPtr& connection, const std::string& key_text,
                          std::vector<DuplicateMatch>& candidates, double threshold, DuplicateMatch& best) {
  DuplicateMatch* chosen = nullptr;
  for (DuplicateMatch& candidate : candidates) {
    Value reason("");
    candidate.score =
        confirm_->Call(connection, key_text, candidate.address_type, candidate.reference, ByRef(reason))
            .ToDouble();
    if (candidate.score < threshold || (chosen != nullptr && candidate.score <= chosen->score)) continue;
    candidate.reason = reason.ToText();
    chosen = &candidate;
  }
  if (chosen == nullptr) return false;
  best = std::move(*chosen);
  return true;
}

}  // namespace kestrel
