#include "check/source_check.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/base/counted.h"
#include "sources/piped_source.h"
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

// Whether a file has no character but line ends, blanks and the zeros that UTF-16 puts between them; one that cannot
// be read has. `size` gets how much of it was looked at, without a byte order mark.
bool IsBlank(const std::string& path, std::size_t& size) {
  std::error_code unknown;
  if (!std::filesystem::is_regular_file(path, unknown)) return false;
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  std::array<char, std::size_t{64} << 10> block;
  for (size = 0; file.read(block.data(), block.size()), file.gcount() > 0;) {
    std::string_view bytes(block.data(), static_cast<std::size_t>(file.gcount()));
    for (const std::string_view mark : {"\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"}) {
      if (size == 0 && bytes.starts_with(mark)) bytes.remove_prefix(mark.size());
    }
    if (bytes.find_first_not_of(std::string_view("\r\n\t \0", 5)) != std::string_view::npos) return false;
    size += bytes.size();
  }
  return file.eof();
}

}  // namespace

std::optional<Finding> FindEmptyFile(const Session& session) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr || kind->connect != nullptr) return std::nullopt;
  const std::string& path = session.*kind->location;
  std::size_t size = 0;
  if (!IsBlank(path, size)) return std::nullopt;
  return Finding{session.ColumnHeadings ? Severity::kError : Severity::kWarning,
                 {"Common", LocationKey(session)},
                 (IsStream(path) ? "Die Quelle " : "Die Datei ''" + path + "'' ") +
                     (size == 0 ? "ist leer." : "enthält nur leere Zeilen."),
                 "Prüfen Sie, ob sie vollständig geschrieben und übertragen wurde."};
}

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
