#include "schema/number_sequence.h"

#include "kestrel/runtime_error.h"
#include "kestrel/transaction.h"
#include "schema/default_destinations.h"
#include "schema/destination.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

std::string NameOf(const std::string& table, const std::string& column) {
  return table + "_" + column + "_seq";
}

void Create(Connection& connection, const std::string& table, const std::string& column) {
  const std::string name = NameOf(OwnTable(connection, table), column);
  InTransaction(connection, [&] {
    connection.Execute("CREATE SEQUENCE " + name);
    connection.OpenRecordset("SELECT setval('" + name + "', max(" + column + ")) FROM " + table +
                             " HAVING max(" + column + ") > 0");
  });
}

// Of another application's table: the sequence that belongs to the column, or from which its default draws.
std::string FindSequenceOfAnother(Connection& connection, const std::string& table, const std::string& column) {
  const auto query = connection.Prepare(
      "SELECT coalesce(pg_get_serial_sequence(?, ?), (SELECT max(p.refobjid::regclass::text) "
      "FROM pg_catalog.pg_attrdef d "
      "JOIN pg_catalog.pg_attribute a ON a.attrelid = d.adrelid AND a.attnum = d.adnum "
      "JOIN pg_catalog.pg_depend p ON p.classid = 'pg_attrdef'::regclass AND p.objid = d.oid "
      "AND p.refclassid = 'pg_class'::regclass "
      "JOIN pg_catalog.pg_class s ON s.oid = p.refobjid AND s.relkind = 'S' "
      "WHERE d.adrelid = to_regclass(?) AND a.attname = ?), '')");
  query->BindText(0, table);
  query->BindText(1, column);
  query->BindText(2, table);
  query->BindText(3, column);
  return std::string(query->Open()->TextAt(0));
}

}  // namespace

std::string FindSequence(Connection& connection, const std::string& table, const std::string& column) {
  if (IsQuoted(table)) return FindSequenceOfAnother(connection, table, ToldName(column));
  const auto query = connection.Prepare(
      "SELECT coalesce(pg_get_serial_sequence(lower(?), lower(?)), to_regclass(lower(?))::text, '')");
  const std::string in_database = OwnTable(connection, table);
  query->BindText(0, in_database);
  query->BindText(1, column);
  const std::string name = NameOf(in_database, column);
  query->BindText(2, name);
  return std::string(query->Open()->TextAt(0));
}

std::string SequenceOf(Connection& connection, const std::string& table, const std::string& column) {
  std::string found = FindSequence(connection, table, column);
  if (!found.empty()) return found;
  Trap([&] { Create(connection, table, column); },
       [&](const RuntimeError& error) {
         // Two that make it at the same time get in each other's way.
         found = FindSequence(connection, table, column);
         if (!found.empty()) return;
         throw RuntimeError(error.Number(),
                            "Die Folge, aus der '" + table +
                                "' seine Nummern bekommt, fehlt und kann nicht angelegt werden. " +
                                error.Description() +
                                ". 'kestrel-import init ORDNER --host VERBINDUNG' legt sie an, wenn "
                                "der Eigentümer der Tabellen es aufruft");
       });
  return found.empty() ? FindSequence(connection, table, column) : found;
}

std::vector<std::string> CreateNumberSequences(Connection& connection) {
  std::vector<std::string> sequences = {SequenceOf(connection, "Protokoll", "ProtokollNr"),
                                        SequenceOf(connection, "Importlauf", "LaufNr")};
  for (const DefaultDestination& destination : kDefaultDestinations) {
    sequences.push_back(SequenceOf(connection, destination.table, destination.number_field));
  }
  return sequences;
}

}  // namespace kestrel::host
