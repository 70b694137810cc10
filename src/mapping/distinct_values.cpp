// The distinct values of a source column, which the translation editor lists.
#include <unordered_set>

#include "mapping/translation.h"
#include "sources/source_reader.h"

namespace kestrel {

namespace {

// Records between two questions whether to go on.
constexpr std::int64_t kRecordsAtOnce = 500;

}  // namespace

DistinctValues CollectDistinctValues(Session& session, std::string_view column,
                                     const std::function<bool()>& go_on) {
  DistinctValues distinct;
  std::unordered_set<std::string> seen;
  SourceReader reader(session);
  reader.OpenSourceRecordset();
  RecordsetPtr record = reader.SourceMoveFirst();
  const std::optional<std::size_t> position = record == nullptr ? std::nullopt : record->FindColumn(column);
  for (std::int64_t read = 1; position.has_value() && !reader.SourceEOF(); ++read) {
    if (go_on && read % kRecordsAtOnce == 0 && !go_on()) {
      distinct.cut = true;
      break;
    }
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
