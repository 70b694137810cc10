// What a run would make of records, without a run: nothing is stored or logged, and no number is drawn. Of the import
// class only CheckValue is asked, where it has it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "kestrel/memory_recordset.h"
#include "sources/source_excerpt.h"

namespace kestrel {

// A field of a record as a run would hand it over.
struct PreviewedField {
  enum class State {
    kFine,
    kChanged,  // written, but not all of it
    kRefused,  // not written, or the destination is not likely to take it
  };
  std::string text = {};   // empty where nothing is written
  std::string shown = {};  // the same for people: dates and numbers the German way
  State state = State::kFine;
  std::string reason = {};  // a sentence, where it is not fine
  std::string raw = {};     // as the source delivered it; the constant
};
using PreviewedRecord = std::vector<PreviewedField>;  // one for each row of the assignment list

// Makes each record of the sample by the assignments of `list`, with the run's own rules; translations are those of the
// session's working copy. The list belongs to the call: it is walked. The session stays as it is. Raises nothing but 7.
KESTREL_INTERNAL std::vector<PreviewedRecord> PreviewRecords(const Session& session,
                                                             const std::shared_ptr<MemoryRecordset>& list,
                                                             const SourceExcerpt& sample);

}  // namespace kestrel
