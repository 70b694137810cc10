// The optional second look at what the key look-up found: the key component's member Confirm compares the record
// with each candidate, so that keys may be generous and the decision precise.
//
// Invariants
//  1. The member is looked up once, on the first key component that was made for a record; that component is kept
//     and asked. A component without it leaves every decision to the keys.
//  2. A component may have HighestScore beside it, which is asked before each look-up and may spare it.
//  3. ConfirmSpelling, likewise beside it, compares a record with how another was written that was held back before;
//     a component without it is asked about addresses alone.
//  4. Only candidates that the query found are asked about, kMostCandidates a record: more addresses than that
//     share a key by chance, and none of those behind them is looked at.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "duplicates/known_spellings.h"
#include "kestrel/duplicate_match.h"
#include "kestrel/object.h"

namespace kestrel {

class Confirmation {
 public:
  static constexpr std::size_t kMostCandidates = 100;
  // In per cent, where neither the specification nor the host names a threshold.
  static constexpr double kDefaultThreshold = 50;

  void AskComponent(const ObjectPtr& component);
  // Whether the component has the member; only then may Choose be called.
  bool IsThere() const { return confirm_.has_value(); }

  bool TellsHighestScore() const { return highest_score_.has_value(); }
  // Only then: the highest score, in per cent, that an address with one of these keys may have; negative where none has
  // one. An empty key is not in use. Raises what the component raises.
  double HighestScore(const ObjectPtr& connection, const std::string& key_text,
                      const std::array<std::string_view, 3>& keys);

  // Whether a candidate reaches the threshold (in per cent). `best` is then the one with the highest score, the
  // first of several, with its score and reason. Raises what the component raises.
  bool Choose(const ObjectPtr& connection, const std::string& key_text, std::vector<DuplicateMatch>& candidates,
              double threshold, DuplicateMatch& best);

  bool KnowsSpellings() const { return confirm_spelling_.has_value(); }
  // Only then: as Choose, of how records were written that were held back and have one of the keys. An address that
  // `is_passed_over` is not repeated. Raises what the component raises.
  bool ChooseSpelling(const std::string& key_text, const KnownSpellings& spellings,
                      const KnownSpellings::Keys& keys, double threshold,
                      const std::function<bool(const Spelling&)>& is_passed_over, DuplicateMatch& best);

 private:
  bool is_asked_ = false;
  std::optional<BoundMember> confirm_;
  std::optional<BoundMember> highest_score_;
  std::optional<BoundMember> confirm_spelling_;
};

}  // namespace kestrel
