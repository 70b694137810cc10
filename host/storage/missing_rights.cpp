#include "storage/missing_rights.h"

#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "schema/address_indexes.h"
#include "schema/host_schema.h"
#include "schema/number_sequence.h"
#include "schema/own_tables.h"
#include "storage/grouped_writes.h"

namespace kestrel::host {

namespace {

// Tries a statement; adds why it is refused, where it is.
void Try(Connection& connection, const std::string& told, const std::string& statement, std::string& missing) {
  const auto attempt = [&] {
    connection.Begin();
    connection.Execute(statement);
  };
  Trap(attempt, [&](const RuntimeError& error) {
    missing.append(missing.empty() ? "" : "\n").append(told).append(error.Description());
  });
  // A rollback that fails leaves no transaction either.
  if (connection.InTransaction()) Trap([&] { connection.Rollback(); }, [](const RuntimeError&) {});
}

std::string InsertOfNothing(const std::string& table, const std::string& columns,
                            const std::string& overriding = {}) {
  return "INSERT INTO " + table + " (" + columns + ")" + overriding + " SELECT " + columns + " FROM " + table +
         " WHERE 1 = 0";
}

// Of the sequence that gives the rows of a table their numbers: it is read, drawn from and moved on.
void TrySequence(Connection& connection, const std::string& table, const std::string& column,
                 std::string& missing) {
  const std::string told = "aus der '" + ShownName(table) + "' seine Nummern bekommt, ";
  const auto ask = [&] {
    const std::string sequence = FindSequence(connection, table, column);
    // One that is missing is made when it is needed, or that is refused.
    if (sequence.empty()) return;
    const auto query = connection.Prepare(
        "SELECT concat_ws(', ', CASE WHEN NOT has_sequence_privilege(?, 'SELECT') THEN 'SELECT' END,"
        " CASE WHEN NOT has_sequence_privilege(?, 'UPDATE') THEN 'UPDATE' END)");
    query->BindText(0, sequence);
    query->BindText(1, sequence);
    const std::string rights(query->Open()->TextAt(0));
    if (rights.empty()) return;
    missing.append(missing.empty() ? "" : "\n")
        .append("An der Folge '" + sequence + "', " + told + "fehlen Rechte: " + rights);
  };
  Trap(ask, [&](const RuntimeError& error) {
    missing.append(missing.empty() ? "" : "\n")
        .append("Die Folge, " + told + "kann nicht geprüft werden: " + error.Description());
  });
}

void TryAddressIndexParts(Connection& connection, std::string& missing) {
  std::vector<std::int64_t> parts;
  Trap([&] { parts = MissingAddressIndexParts(connection); }, [](const RuntimeError&) {});
  for (const std::int64_t part : parts) {
    missing.append(missing.empty() ? "" : "\n")
        .append("Dem Adressindex der Dublettenprüfung fehlt die Tabelle 'adressindexteil" +
                std::to_string(part) +
                "'; Adressen mit ihren Nummern können nicht gespeichert werden. 'kestrel-import init' legt sie "
                "wieder "
                "an, 'ALTER TABLE adressindex ATTACH PARTITION' nimmt eine herausgelöste wieder auf.");
  }
}

}  // namespace

std::string MissingRights(Connection& connection, const Destination& destination, bool overwrite) {
  const std::lock_guard lock(connection.CallMutex());
  std::string missing;
  GroupedWrites::Of(connection).Flush();
  if (connection.InTransaction()) return missing;
  if (std::string reason = WhyReadOnly(connection); !reason.empty()) return reason;
  const std::string& table = destination.table;
  const std::string told = ShownTable(destination);
  std::string columns;
  for (const DestinationField& field : destination.fields) {
    columns.append(columns.empty() ? "" : ", ").append(field.column);
  }
  Try(connection, "In die Tabelle '" + told + "' kann nicht eingefügt werden: ",
      InsertOfNothing(table, columns, destination.overrides_identity ? " OVERRIDING SYSTEM VALUE" : ""),
      missing);
  // Where SQLite refuses that, it refuses everything; PostgreSQL knows rights of each table.
  if (!missing.empty() && IsSqlite(connection)) return missing;
  if (overwrite) {
    // An identity can be changed by nobody.
    const bool is_identity = destination.overrides_identity && destination.fields.size() > 1;
    const std::size_t field = is_identity && destination.number_field == 0 ? 1
                              : is_identity                                ? 0
                                                                           : destination.number_field;
    const std::string& number = destination.fields[field].column;
    Try(connection, "In der Tabelle '" + told + "' kann nicht geändert werden: ",
        "UPDATE " + table + " SET " + number + " = " + number + " WHERE 1 = 0", missing);
  }
  if (destination.address_type != 0) {
    Try(connection, "In den Adressindex der Dublettenprüfung kann nicht eingefügt werden: ",
        InsertOfNothing("Adressindex", "Doubletkey1, Doubletkey2, Doubletkey3, AdressId, Adressart, Referenz"),
        missing);
    TryAddressIndexParts(connection, missing);
  }
  // What tells of the import, and what its records are locked by.
  for (const auto& [written, column] :
       {std::pair("Protokoll", "ProtokollNr"), std::pair("Protokollzeilen", "ZeilenNr"),
        std::pair("Protokollherkunft", "ProtokollNr"), std::pair("Protokolldetails", "ZeilenNr"),
        std::pair("Importlauf", "LaufNr"), std::pair("Importlaufzeilen", "ZeilenNr"),
        std::pair("Importsperre", "Name")}) {
    // Tables that an earlier version did not have are made when they are needed.
    if (IsSqlite(connection) || !HasTable(connection, written)) continue;
    Try(connection, "In die Tabelle '" + OwnTable(connection, written) + "' kann nicht eingefügt werden: ",
        InsertOfNothing(written, column), missing);
  }
  if (IsSqlite(connection)) return missing;
  for (const auto& [numbered, column] : {std::pair(table, destination.fields[destination.number_field].column),
                                         std::pair(std::string("Protokoll"), std::string("ProtokollNr")),
                                         std::pair(std::string("Importlauf"), std::string("LaufNr"))}) {
    if (numbered == table || HasTable(connection, numbered)) TrySequence(connection, numbered, column, missing);
  }
  if (HasTable(connection, "Importsperre")) {
    Try(connection,
        "In der Tabelle '" + OwnTable(connection, "Importsperre") + "' kann nicht geändert werden: ",
        "UPDATE Importsperre SET Stand = Stand WHERE 1 = 0", missing);
  }
  return missing;
}

std::string WhyReadOnly(Connection& connection) {
  std::string reason;
  if (IsSqlite(connection)) return reason;
  const auto ask = [&] {
    const std::lock_guard lock(connection.CallMutex());
    if (connection.OpenRecordset("SHOW transaction_read_only")->TextAt(0) != "on") return;
    reason = "Die Datenbank ist schreibgeschützt (default_transaction_read_only). Geben Sie sie frei.";
    if (!connection.OpenRecordset("SELECT pg_is_in_recovery()")->ValueAt(0).ToBool()) return;
    reason =
        "Der Datenbankserver ist ein Standby, der nur gelesen werden kann. Verbinden Sie mit dem Primärserver; "
        "unter mehreren Adressen findet ihn target_session_attrs=read-write.";
  };
  Trap(ask, [](const RuntimeError&) {});
  return reason;
}

std::string MissingGrants(Connection& connection, const Destination& destination, bool overwrite,
                          bool has_ledger) {
  if (IsSqlite(connection)) return {};
  const std::lock_guard lock(connection.CallMutex());
  std::string missing;
  const auto ask = [&] {
    const auto note = [&](std::string_view right, const std::string& name) {
      missing.append(missing.empty() ? "" : ", ").append(right).append(" an '" + ShownName(name) + "'");
    };
    // A right at some columns may be all that is needed; a table that is not there has another message.
    const auto table_query =
        connection.Prepare("SELECT has_any_column_privilege(to_regclass(?), ?) IS FALSE AS refused");
    const auto need = [&](const std::string& table, std::string_view right) {
      const std::string in_database = CatalogName(OwnTable(connection, table));
      table_query->BindText(0, in_database);
      table_query->BindText(1, right);
      if (table_query->Open()->ValueAt(0).ToBool()) note(right, table);
    };
    // Either right lets numbers be drawn.
    const auto sequence_query = connection.Prepare(
        "SELECT has_sequence_privilege(to_regclass(?), 'USAGE, UPDATE') IS FALSE AS refused");
    const auto need_numbers = [&](const std::string& table, const std::string& column) {
      const std::string sequence = FindSequence(connection, table, column);
      sequence_query->BindText(0, sequence);
      if (!sequence.empty() && sequence_query->Open()->ValueAt(0).ToBool()) note("USAGE", sequence);
    };
    need(destination.table, "INSERT");
    need_numbers(destination.table, destination.fields[destination.number_field].column);
    if (overwrite) need(destination.table, "UPDATE");
    if (destination.address_type != 0) need("Adressindex", "INSERT");
    for (const char* log : {"Protokoll", "Protokollzeilen", "Protokollherkunft", "Protokolldetails"}) {
      need(log, "INSERT");
    }
    need_numbers("Protokoll", "ProtokollNr");
    if (!has_ledger) return;
    need("Importlauf", "INSERT");
    need("Importlauf", "UPDATE");
    need_numbers("Importlauf", "LaufNr");
    need("Importlaufzeilen", "INSERT");
  };
  Trap(ask, [&](const RuntimeError&) { missing.clear(); });
  return missing;
}

}  // namespace kestrel::host
