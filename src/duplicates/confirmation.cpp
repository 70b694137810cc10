#include "duplicates/confirmation.h"

#include <utility>

#include "platform/automation/optional_member.h"

namespace kestrel {

void Confirmation::AskComponent(const ObjectPtr& component) {
  if (std::exchange(is_asked_, true)) return;
  confirm_ = FindOptional(component, "Confirm");
  if (!confirm_) return;
  highest_score_ = FindOptional(component, "HighestScore");
  confirm_spelling_ = FindOptional(component, "ConfirmSpelling");
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

bool Confirmation::ChooseSpelling(const std::string& key_text, const KnownSpellings& spellings,
                                  const KnownSpellings::Keys& keys, double threshold,
                                  const std::function<bool(const Spelling&)>& is_passed_over,
                                  DuplicateMatch& best) {
  std::size_t asked = 0;
  bool is_chosen = false;
  spellings.Visit(keys, [&](const Spelling& spelling, int key) {
    if (asked == kMostCandidates || is_passed_over(spelling)) return;
    ++asked;
    Value reason("");
    const double score = confirm_spelling_->Call(key_text, spelling.key_text, ByRef(reason)).ToDouble();
    if (score < threshold || (is_chosen && score <= best.score)) return;
    is_chosen = true;
    best.Clear();
    best.address_type = spelling.address_type;
    best.reference = spelling.reference;
    best.key = key;
    best.score = score;
    best.reason = "wie ein zurückgehaltener Datensatz zuvor: " + reason.ToText();
  });
  return is_chosen;
}

}  // namespace kestrel
