#include "components/log_reader.h"

#include <string>

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
    "(SELECT min(i.Tabelle) FROM Importziele i WHERE i.Adressart = d.Adressart) AS \"Adressart\", "
    "d.Adresse AS \"Adresse\", d.Name AS \"Name\", d.Ort AS \"Ort\", d.Schluessel AS \"Schluessel\", "
    "d.FruehererDatensatz AS \"FruehererDatensatz\", d.Entscheidung AS \"Entscheidung\" ";
constexpr const char* kNoDetails =
    "CASE WHEN p.Datei LIKE '%~%.tmp' THEN NULL ELSE p.Datei END AS \"Datei\", NULL AS \"Quelldatei\", "
    "NULL AS \"Datensatz\", NULL AS \"DatensatzBis\", NULL AS \"Feld\", NULL AS \"Quellspalte\", "
    "NULL AS \"Rohwert\", NULL AS \"Adressart\", NULL AS \"Adresse\", NULL AS \"Name\", NULL AS \"Ort\", "
    "NULL AS \"Schluessel\", NULL AS \"FruehererDatensatz\", NULL AS \"Entscheidung\" ";

constexpr const char* kRows =
    "FROM Protokoll p JOIN Protokollzeilen z ON z.ZeilenNr > p.ProtokollNr * 4294967296 "
    "AND z.ZeilenNr < (p.ProtokollNr + 1) * 4294967296 ";
// The details of a record held back stand beside the first of its rows, which share a mark.
constexpr const char* kJoinedDetails =
    "LEFT JOIN Protokollherkunft h ON h.ProtokollNr = p.ProtokollNr "
    "LEFT JOIN Protokolldetails d ON d.ZeilenNr = (SELECT max(e.ZeilenNr) FROM Protokolldetails e "
    "WHERE e.ZeilenNr <= z.ZeilenNr AND e.ZeilenNr > p.ProtokollNr * 4294967296) "
    "AND (d.ZeilenNr = z.ZeilenNr OR z.Spalte1 IS NOT NULL AND z.Spalte0 = "
    "(SELECT f.Spalte0 FROM Protokollzeilen f WHERE f.ZeilenNr = d.ZeilenNr)) ";

// The row in front, of the same record.
constexpr const char* kJoinedRowInFront =
    "LEFT JOIN Protokollzeilen v ON v.ZeilenNr = z.ZeilenNr - 1 AND v.Spalte0 = z.Spalte0 ";

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
  RequireConnection(connection);
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
  const bool details = HasLogDetails(connection);
  std::string sql = std::string(kHead) + (details ? kDetails : kNoDetails) + kRows;
  if (details) sql += kJoinedDetails;
  if (choice.only_first_rows) sql += kJoinedRowInFront;
  sql += "WHERE p.Liste = ? ";
  if (choice.only_first_rows) sql += "AND v.ZeilenNr IS NULL AND z.Spalte1 IS NOT NULL ";
  if (choice.only_open && details) sql += "AND d.Entscheidung IS NULL ";
  if (choice.only_last) sql += "AND p.ProtokollNr = (SELECT max(ProtokollNr) FROM Protokoll WHERE Liste = ?) ";
  sql += "ORDER BY p.ProtokollNr, z.ZeilenNr";
  if (choice.limit) sql += " LIMIT " + std::to_string(*choice.limit);
  const auto query = connection.Prepare(sql);
  query->BindText(0, choice.list);
  if (choice.only_last) query->BindText(1, choice.list);
  return query->Open();
}

}  // namespace kestrel::host
