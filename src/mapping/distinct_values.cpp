// The distinct values of a source column, which the translation editor lists.
#include <memory>
#include <unordered_set>
#include <utility>

#include "mapping/translation.h"
#include "mapping/values_apart.h"
#include "sources/apart_session.h"
#include "sources/source_connection.h"
#include "sources/source_reader.h"

namespace kestrel {

namespace {

// Records between two questions whether to go on.
constexpr std::int64_t kRecordsAtOnce = 500;

DistinctValues Collect(SourceReader& reader, std::string_view column, const std::function<bool()>& go_on) {
  DistinctValues distinct;
  std::unordered_set<std::string> seen;
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

}  // namespace

DistinctValues CollectDistinctValues(Session& session, std::string_view column,
                                     const std::function<bool()>& go_on) {
  SourceReader reader(session);
  return Collect(reader, column, go_on);
}

std::function<ValuesApart()> DistinctValuesApart(const Session& session, std::string column,
                                                 std::function<bool()> go_on) {
  return
      [apart = std::make_shared<ApartSession>(session), column = std::move(column), go_on = std::move(go_on)] {
        ValuesApart values;
        Trap(
            [&] {
              Session& own = apart->session();
              const ConnectResult connect = ConnectFromSession(own);
              if (!connect.connected) throw RuntimeError(ErrorNumber::kDatabase, connect.reason);
              SourceReader reader(own);
              values.distinct = Collect(reader, column, go_on);
              values.failure = reader.end().error;
            },
            [&](const RuntimeError& error) { values.failure = error; });
        return values;
      };
}

}  // namespace kestrel
