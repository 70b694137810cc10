// The distinct values of a source column, which the translation editor lists.
#include <unordered_set>

#include "mapping/translation.h"
#include "sources/source_reader.h"

namespace kestrel {

DistinctValues CollectDistinctValues(Session& session, std::string_view column) {
  DistinctValues distinct;
  std::unordered_set<std::string> seen;
  OpenSourceRecordset(session);
  RecordsetPtr record = SourceMoveFirst(session);
  const std::optional<std::size_t> position = record == nullptr ? std::nullopt : record->FindColumn(column);
  while (position.has_value() && !SourceEOF(session)) {
    const std::string_view value = ShownSourceValue(record->TextAt(*position));
    if (const auto [place, is_new] = seen.emplace(value); is_new) {
      if (distinct.values.size() == kMaxDistinctValues) {
        distinct.cut = true;
        break;
      }
      distinct.values.push_back(*place);
    }
    record = SourceMoveNext(session);
  }
  CloseSource(session);
  return distinct;
}

}  // namespace kestrel
