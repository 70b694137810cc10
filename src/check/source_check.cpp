#include "check/source_check.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>

#include "platform/base/counted.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

constexpr std::int64_t kRecordsLookedAt = 100;

// Finds the values of the current record that cannot be read; each column is told once.
void CheckValues(const Session& session, const Recordset& source, std::int64_t record,
                 std::set<std::size_t>& unreadable, Findings& findings) {
  for (std::size_t column = 0; column < source.ColumnCount(); ++column) {
    Trap([&] { source.TextAt(column); },
         [&](const RuntimeError& error) {
           if (!unreadable.insert(column).second) return;
           findings.Add(UnreadableValue(session, source, record, column, error));
         });
  }
}

}  // namespace

Finding UnreadableValue(const Session& session, const Recordset& source, std::int64_t record,
                        std::size_t column, const RuntimeError& error) {
  return {Severity::kError,
          {"Common", LocationKey(session)},
          "Datensatz " + std::to_string(record) + ", Spalte \"" + std::string(source.ColumnName(column)) +
              "\": " + error.Description()};
}

void CheckLeftOutColumns(const std::vector<SourceRemark>& remarks, Findings& findings) {
  for (const SourceRemark& remark : remarks) {
    if (!remark.column.empty()) findings.Warn({"Common", "Table"}, remark.text);
  }
}

void CheckSourceRecords(Session& session, Findings& findings) {
  SourceReader reader(session);
  reader.OpenSourceRecordset();
  const std::int64_t count = reader.SourceRecordCount();
  std::set<std::size_t> unreadable;
  std::int64_t records = 0;
  const SourceKind* kind = KindOf(session);
  const bool one_is_enough = kind != nullptr && kind->place == SourcePlace::kServer;
  RecordsetPtr source = reader.SourceMoveFirst();
  while (!reader.SourceEOF() && !reader.end().error) {
    ++records;
    if (records <= kRecordsLookedAt) CheckValues(session, *source, records, unreadable, findings);
    if (one_is_enough) break;
    source = reader.SourceMoveNext();
  }
  reader.CloseSource();
  TellSourceEnd(session, reader.end(), records, count, findings);
}

void TellSourceEnd(const Session& session, const SourceEnd& end, std::int64_t records, std::int64_t count,
                   Findings& findings) {
  if (!end.error) return;
  const std::string reached = end.state == SourceState::kNotOpened
                                  ? "Die Datenquelle kann nicht gelesen werden. "
                                  : "Die Datenquelle endet nach " + std::to_string(records) + " von " +
                                        Counted(std::max(count, records), "Datensatz. ", "Datensätzen. ");
  findings.Error({"Common", LocationKey(session)}, reached + end.error->Description());
}

}  // namespace kestrel
