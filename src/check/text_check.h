// What is wrong with a text file as a text file: its line ends and the number of values in its lines.
#pragma once

#include <cstddef>
#include <cstdint>

#include "check/value_tally.h"
#include "kestrel/data_profile.h"
#include "sources/text_survey.h"

namespace kestrel {

class TextCheck {
 public:
  // `facts` outlives this object; null for a source that is no text file. `place`: that of the file in the
  // specification.
  TextCheck(TextFacts* facts, std::size_t columns, FindingPlace place);

  // Looks at the whole file; the record set is at its first record then. Raises what TextFacts::Survey raises.
  void LookAtFile(DataProfile& profile);
  // Looks at the current record, counted from 1.
  void LookAtRecord(std::int64_t record);
  void Tell(DataProfile& profile) const;

 private:
  void TellLineEnds(const TextSurvey& survey, Findings& findings) const;

  TextFacts* facts_;
  std::size_t columns_;
  FindingPlace place_;
  ValueTally unusual_;
};

}  // namespace kestrel
