// The distinct values of a source column, which the translation editor lists.
#include <unordered_set>

#include "mapping/translation.h"
#include "sources/source_reader.h"

namespace kestrel {

DistinctValues CollectDistinctValues(Session& session, std::string_view column) {
  DistinctValues distinct;
  std::unordered_set<std::string> seen;
  SourceReader reader(session);
  reader.OpenSourceRecordset();
  RecordsetPtr record = reader.SourceMoveFirst();
  const std::optional<std::size_t> position = record == nullptr ? std::nullopt : record->FindColumn(column);
  while (position.has_value() && !reader.SourceEOF()) {
    const std::string_view value = ShownSourceValue(record->TextAt(*position));
    if (const auto [place, is_new] = seen.emplace(value); is_new) {
      if (distinct.values.size() == kMaxDistinctValues) {
        distinct.cut = true;
        break;
      }
      distinct.values.push_back(*place);
    }
    record = reader.SourceMoveNext();
  }
  reader.CloseSource();
  return distinct;
}

}  // namespace kestrel
