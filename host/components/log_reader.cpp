#include "components/log_reader.h"

#include <string>

namespace kestrel::host {

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
  std::string sql =
      "SELECT p.ProtokollNr AS \"Protokoll\", p.Datum AS \"Datum\", p.Benutzer AS \"Benutzer\", "
      "p.Beschreibung AS \"Beschreibung\", p.Datei AS \"Datei\", p.Quelle AS \"Quelle\", "
      "z.Spalte0 AS \"Spalte0\", z.Spalte1 AS \"Spalte1\", z.Spalte2 AS \"Spalte2\" "
      "FROM Protokoll p JOIN Protokollzeilen z ON z.ZeilenNr > p.ProtokollNr * 4294967296 "
      "AND z.ZeilenNr < (p.ProtokollNr + 1) * 4294967296 WHERE p.Liste = ? ";
  if (only_last) sql += "AND p.ProtokollNr = (SELECT max(ProtokollNr) FROM Protokoll WHERE Liste = ?) ";
  const auto query = connection.Prepare(sql + "ORDER BY p.ProtokollNr, z.ZeilenNr");
  query->BindText(0, list);
  if (only_last) query->BindText(1, list);
  return query->Open();
}

}  // namespace kestrel::host
