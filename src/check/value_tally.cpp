#include "check/value_tally.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/base/counted.h"
#include "platform/base/text.h"

namespace kestrel {

void ValueTally::Add(std::int64_t record, std::string_view value) {
  ++count_;
  if (examples_.size() == kExamples) return;
  std::string shown(Left(value, kLongestExample));
  if (shown.size() < value.size()) shown += "...";
  const auto is_shown = [&](const FindingExample& example) { return example.value == shown; };
  if (std::any_of(examples_.begin(), examples_.end(), is_shown)) return;
  examples_.push_back({record, std::move(shown)});
}

void ValueTally::Tell(Findings& findings, Severity severity, FindingPlace place, std::string_view one,
                      std::string_view several, std::string way_out) const {
  if (count_ == 0) return;
  std::string text = Counted(count_, one, several).append(" (");
  text.append(DescribeExamples(examples_)).append(").");
  findings.Add({severity, std::move(place), std::move(text), std::move(way_out), count_, examples_});
}

std::string DescribeExamples(const std::vector<FindingExample>& examples) {
  std::string text;
  for (const FindingExample& example : examples) {
    text.append(text.empty() ? "" : ", ").append("Datensatz ").append(std::to_string(example.record));
    if (!example.value.empty()) text.append(": \"").append(example.value).append("\"");
  }
  return text;
}

}  // namespace kestrel
