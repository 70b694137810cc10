#include "duplicates/confirmation.h"

#include <utility>

#include "platform/automation/optional_member.h"

namespace kestrel {

void Confirmation::AskComponent(const ObjectPtr& component) {
  if (std::exchange(is_asked_, true)) return;
  confirm_ = FindOptional(component, "Confirm");
  if (confirm_) highest_score_ = FindOptional(component, "HighestScore");
}

double Confirmation::HighestScore(const ObjectPtr& connection, const std::string& key_text,
                                  const std::array<std::string_view, 3>& keys) {
  return highest_score_->Call(connection, key_text, keys[0], keys[1], keys[2]).ToDouble();
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
