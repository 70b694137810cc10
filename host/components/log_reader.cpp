#include "components/log_reader.h"

#include <string>

#include "schema/host_schema.h"
#include "schema/own_tables.h"
#include "storage/log_details.h"

namespace kestrel::host {

namespace {

constexpr const char* kHead =
    "SELECT p.ProtokollNr AS \"Protokoll\", p.Datum AS \"Datum\", p.Benutzer AS \"Benutzer\", "
    "p.Beschreibung AS \"Beschreibung\", p.Quelle AS \"Quelle\", z.Spalte0 AS \"Spalte0\", "
    "z.Spalte1 AS \"Spalte1\", z.Spalte2 AS \"Spalte2\", z.ZeilenNr AS \"Zeile\", ";

// Without what stands beside a log its file is a working copy, which nobody wants to see.
constexpr const char* kDetails =
    "CASE WHEN h.ProtokollNr IS NOT NULL THEN h.Spezifikation "
    "WHEN p.Datei LIKE '%~%.tmp' THEN NULL ELSE p.Datei END AS \"Datei\", h.Quelle AS \"Quelldatei\", "
    "d.Datensatz AS \"Datensatz\", d.DatensatzBis AS \"DatensatzBis\", d.Feld AS \"Feld\", "
    "d.Quellspalte AS \"Quellspalte\", d.Rohwert AS \"Rohwert\", "
    "(SELECT replace(replace(min(i.Tabelle), '\"public\".', ''), '\"', '') FROM Importziele i WHERE "
    "i.Adressart = d.Adressart) AS "
    "\"Adressart\", "
    "d.Adresse AS \"Adresse\", d.Name AS \"Name\", d.Ort AS \"Ort\", d.Schluessel AS \"Schluessel\", "
    "d.FruehererDatensatz AS \"FruehererDatensatz\", d.Entscheidung AS \"Entscheidung\", ";
constexpr const char* kReason = "d.Wertung AS \"Wertung\", d.Grund AS \"Grund\" ";
constexpr const char* kNoReason = "NULL AS \"Wertung\", NULL AS \"Grund\" ";
constexpr const char* kNoDetails =
    "CASE WHEN p.Datei LIKE '%~%.tmp' THEN NULL ELSE p.Datei END AS \"Datei\", NULL AS \"Quelldatei\", "
    "NULL AS \"Datensatz\", NULL AS \"DatensatzBis\", NULL AS \"Feld\", NULL AS \"Quellspalte\", "
    "NULL AS \"Rohwert\", NULL AS \"Adressart\", NULL AS \"Adresse\", NULL AS \"Name\", NULL AS \"Ort\", "
    "NULL AS \"Schluessel\", NULL AS \"FruehererDatensatz\", NULL AS \"Entscheidung\", ";

// In the order of their keys, so that the first rows of a long log cost no more than those of a short one.
constexpr const char* kRows = "FROM Protokollzeilen z JOIN Protokoll p ON p.ProtokollNr = z.ProtokollNr ";
constexpr const char* kJoinedOrigin = "LEFT JOIN Protokollherkunft h ON h.ProtokollNr = p.ProtokollNr ";
// The details of a record held back stand beside the first of its rows, which share a mark.
constexpr const char* kJoinedDetails =
    "LEFT JOIN Protokolldetails d ON d.ZeilenNr = (SELECT max(e.ZeilenNr) FROM Protokolldetails e "
    "WHERE e.ZeilenNr <= z.ZeilenNr AND e.ZeilenNr > z.ZeilenNr / 4294967296 * 4294967296) "
    "AND (d.ZeilenNr = z.ZeilenNr OR z.Spalte1 IS NOT NULL AND z.Spalte0 = "
    "(SELECT f.Spalte0 FROM Protokollzeilen f WHERE f.ZeilenNr = d.ZeilenNr)) ";

constexpr const char* kJoinedOwnDetails = "LEFT JOIN Protokolldetails d ON d.ZeilenNr = z.ZeilenNr ";
// Of each record the row that has none of the same record in front.
constexpr const char* kIsFirstRow =
    "AND z.Spalte1 IS NOT NULL AND NOT EXISTS (SELECT 1 FROM Protokollzeilen v "
    "WHERE v.ZeilenNr = z.ZeilenNr - 1 AND v.Spalte0 = z.Spalte0) ";

// The range of the last log of a list; 0 where there is none.
std::int64_t LastRange(Connection& connection, std::string_view list) {
  const auto query = connection.Prepare("SELECT max(ProtokollNr) FROM Protokoll WHERE Liste = ?");
  query->BindText(0, list);
  const RecordsetPtr found = query->Open();
  if (found->IsNull(0)) return 0;
  const std::int64_t number = found->ValueAt(0).ToInteger();
  const std::int64_t wide = number + kRangesOfWideLogs;
  const auto rows =
      connection.Prepare("SELECT 1 FROM Protokollzeilen WHERE ZeilenNr > ? AND ZeilenNr < ? LIMIT 1");
  rows->BindInteger(0, wide * kRowsPerLog);
  rows->BindInteger(1, (wide + 1) * kRowsPerLog);
  return rows->Open()->IsEof() ? number : wide;
}

}  // namespace

struct LogReader::Choice {
  std::string_view list;
  bool only_last;
  std::optional<std::int64_t> limit;
  bool only_first_rows = false;  // of records held back
  bool only_open = false;
};

void LogReader::Bind(Members& members) {
  members.Set("Connection", &LogReader::SetConnection);
  members.Method("ReadLog", &LogReader::ReadLog);
  members.Method("ReadHeldBack", &LogReader::ReadHeldBack);
}

void LogReader::SetConnection(const ObjectPtr& connection) {
  RequireHost(connection);
  connection_ = connection;
}

ObjectPtr LogReader::ReadLog(std::string_view list, bool only_last, std::optional<std::int64_t> limit) const {
  return Read({list, only_last, limit});
}

ObjectPtr LogReader::ReadHeldBack(bool only_last, bool only_open, std::int64_t limit) const {
  return Read({"LST_ImportDublett", only_last, limit, true, only_open});
}

ObjectPtr LogReader::Read(const Choice& choice) const {
  Connection& connection = RequireConnection(connection_);
  RequireTable(connection, "Protokollzeilen");
  const bool details = HasLogDetails(connection);
  std::string sql = std::string(kHead) + (details ? kDetails : kNoDetails) +
                    (details && HasReasons(connection) ? kReason : kNoReason) + kRows;
  if (details)
    sql += std::string(kJoinedOrigin) + (choice.only_first_rows ? kJoinedOwnDetails : kJoinedDetails);
  sql += "WHERE p.Liste = ? ";
  if (choice.only_last) sql += "AND z.ZeilenNr > ? AND z.ZeilenNr < ? ";
  if (choice.only_first_rows) sql += kIsFirstRow;
  if (choice.only_open && details) sql += "AND d.Entscheidung IS NULL ";
  sql += "ORDER BY z.ZeilenNr";
  if (choice.limit) sql += " LIMIT " + std::to_string(*choice.limit);
  const auto query = connection.Prepare(sql);
  query->BindText(0, choice.list);
  if (choice.only_last) {
    const std::int64_t last = LastRange(connection, choice.list);
    query->BindInteger(1, last * kRowsPerLog);
    query->BindInteger(2, (last + 1) * kRowsPerLog);
  }
  return query->Open();
}

}  // namespace kestrel::host
