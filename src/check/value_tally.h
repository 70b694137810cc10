// How many values of a kind there are, and the first of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "kestrel/finding.h"

namespace kestrel {

class ValueTally {
 public:
  // Examples that differ; longer values are told by their beginning.
  static constexpr std::size_t kExamples = 3;
  static constexpr std::size_t kLongestExample = 60;  // characters

  void Add(std::int64_t record, std::string_view value);

  std::int64_t count() const { return count_; }
  const std::vector<FindingExample>& examples() const { return examples_; }
  // Adds the finding where anything was counted: its text behind the count, and the examples.
  void Tell(Findings& findings, Severity severity, FindingPlace place, std::string_view one,
            std::string_view several, std::string way_out) const;

 private:
  std::int64_t count_ = 0;
  std::vector<FindingExample> examples_;
};

// "Datensatz 3: "x", Datensatz 9: "y"".
std::string DescribeExamples(const std::vector<FindingExample>& examples);

}  // namespace kestrel
