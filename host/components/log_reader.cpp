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

}  // namespace

void LogReader::Bind(Members& members) {
  members.Set("Connection", &LogReader::SetConnection);
  members.Method("ReadLog", &LogReader::ReadLog);
}

void LogReader::SetConnection(const ObjectPtr& connection) {
  RequireConnection(connection);
  connection_ = connection;
}

ObjectPtr LogReader::ReadLog(std::string_view list, bool only_last) {
  Connection& connection = RequireConnection(connection_);
  const bool details = HasLogDetails(connection);
  std::string sql =
      std::string(kHead) + (details ? kDetails : kNoDetails) + kRows + (details ? kJoinedDetails : "");
  sql += "WHERE p.Liste = ? ";
  if (only_last) sql += "AND p.ProtokollNr = (SELECT max(ProtokollNr) FROM Protokoll WHERE Liste = ?) ";
  const auto query = connection.Prepare(sql + "ORDER BY p.ProtokollNr, z.ZeilenNr");
  query->BindText(0, list);
  if (only_last) query->BindText(1, list);
  return query->Open();
}

}  // namespace kestrel::host
