#include "schema/address_indexes.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/transaction.h"
#include "platform/base/text.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

// See SectionOf. A row's number is 64 times the address's, so a section has 65,536 consecutive numbers.
constexpr const char* kSection = "(AdressId >> 22) & 15";
// A million rows in sixteen sections, each key in one row. SQLite's own figures of a table that has few rows would lead to
// reading all of it, and stay so when it grows.
constexpr const char* kStatistics = "1000000 62500 1";
// As many rows in a section that SQLite is sure to use the index; it would from 18 on.
constexpr std::int64_t kFewestRows = 100;
// Of 65,536 numbers each, in a table in parts.
constexpr int kParts = 16;
constexpr int kPartBits = 22;
// Extensions that spread tables want them whole, and other engines have other ways.
constexpr const char* kPartsQuery =
    "SELECT 1 FROM pg_catalog.pg_am WHERE amname = 'hash' "
    "AND current_setting('server_version_num')::integer >= 120000 AND version() LIKE 'PostgreSQL %' "
    "AND version() NOT LIKE '%-YB-%' AND NOT EXISTS (SELECT 1 FROM pg_catalog.pg_extension WHERE extname = "
    "'citus')";
constexpr const char* kPart = "AdressindexTeil";
constexpr const char* kTablesQuery =
    "SELECT 1 FROM pg_catalog.pg_class WHERE relnamespace = (SELECT oid FROM pg_catalog.pg_namespace WHERE "
    "nspname = "
    "current_schema()) AND relname ";
// Where others have taken their place somebody has declared parts of his own.
constexpr const char* kMissingPartsQuery =
    "SELECT number FROM pg_catalog.generate_series(0, 16) AS number, pg_catalog.pg_partitioned_table AS parted "
    "WHERE parted.partrelid = to_regclass('adressindex') AND parted.partstrat = 'r' AND parted.partdefid = 0 "
    "AND ("
    "SELECT bool_and(relname ~ '^adressindexteil[0-9]+$') AND NOT bool_or(relname = 'adressindexteil' || "
    "number) "
    "FROM pg_catalog.pg_inherits JOIN pg_catalog.pg_class ON oid = inhrelid WHERE inhparent = "
    "parted.partrelid) "
    "ORDER BY number";
constexpr std::array<const char*, 3> kNumbers = {"1", "2", "3"};

// Keys are only compared for being equal. A server's hash index of keys in no order costs half of what an ordered
// one does: its place is found at once, and fewer pages are read and written for the next row. Some servers have none of that
// kind, and those before 10 lose it in a crash.
constexpr const char* kHashesQuery =
    "SELECT 1 FROM pg_catalog.pg_am WHERE amname = 'hash' "
    "AND current_setting('server_version_num')::integer >= 100000";

std::string Method(Connection& connection) {
  return connection.OpenRecordset(kHashesQuery)->IsEof() ? "" : "USING hash ";
}

// The names that the three have in the database, in quotes and with commas.
std::string Names(Connection& connection) {
  const std::string table = OwnTable(connection, "Adressindex");
  std::string names;
  for (const char* number : kNumbers) names += (names.empty() ? "'" : ", '") + table + number + "'";
  return names;
}

std::int64_t Count(Connection& connection, const std::string& sql) {
  return connection.OpenRecordset("SELECT count(*) FROM " + sql)->ValueAt(0).ToInteger();
}

bool MayHaveParts(Connection& connection) {
  return !IsSqlite(connection) && !AreOwnTablesApart(connection) &&
         !connection.OpenRecordset(kPartsQuery)->IsEof();
}

void CreatePart(Connection& connection, std::int64_t part) {
  const auto bound = [](std::int64_t of) { return std::to_string(of << kPartBits); };
  connection.Execute("CREATE TABLE " + (kPart + std::to_string(part)) +
                     " PARTITION OF Adressindex FOR VALUES FROM (" + (part == 0 ? "MINVALUE" : bound(part)) +
                     ") TO (" + (part == kParts ? "MAXVALUE" : bound(part + 1)) + ")");
}

bool HasStatistics(Connection& connection, const std::string& names) {
  if (Count(connection, "sqlite_schema WHERE name = 'sqlite_stat1'") == 0) return false;
  // "rows, rows a section, rows a section and key"
  return Count(connection, "sqlite_stat1 WHERE idx IN (" + names +
                               ") AND CAST(substr(stat, instr(stat, ' ') + 1) AS INTEGER) >= " +
                               std::to_string(kFewestRows)) == static_cast<std::int64_t>(kNumbers.size());
}

}  // namespace

void CreateAddressIndexTable(Connection& connection, const std::string& sql) {
  if (!MayHaveParts(connection)) {
    connection.Execute(sql);
    return;
  }
  const auto has = [&](const std::string& names) {
    return !connection.OpenRecordset(kTablesQuery + names)->IsEof();
  };
  if (has("= 'adressindex'")) {
    for (const std::int64_t part : MissingAddressIndexParts(connection)) CreatePart(connection, part);
    return;
  }
  // Somebody's own tables.
  const bool are_names_taken = has("~ '^adressindexteil[0-9]+$'");
  connection.Execute(sql + (are_names_taken ? "" : " PARTITION BY RANGE (AdressId)"));
  for (int part = 0; !are_names_taken && part <= kParts; ++part) CreatePart(connection, part);
}

std::vector<std::int64_t> MissingAddressIndexParts(Connection& connection) {
  std::vector<std::int64_t> parts;
  if (!MayHaveParts(connection)) return parts;
  for (const RecordsetPtr rows = connection.OpenRecordset(kMissingPartsQuery); !rows->IsEof();
       rows->MoveNext()) {
    parts.push_back(rows->ValueAt(0).ToInteger());
  }
  return parts;
}

// Beside the tables of another application, their statistics would be put among its own.
bool HasAddressIndexSections(Connection& connection) {
  return IsSqlite(connection) && !AreOwnTablesApart(connection);
}

AddressIndexes StateOfAddressIndexes(Connection& connection) {
  if (!IsSqlite(connection)) return AddressIndexes::kNone;
  const std::string names = Names(connection);
  const RecordsetPtr found = connection.OpenRecordset(
      "SELECT count(*) FILTER (WHERE type = 'table' AND name = '" + OwnTable(connection, "Adressindex") +
      "'), count(*) FILTER (WHERE type = 'index'), count(*) FILTER (WHERE type = 'index' AND instr(sql, '" +
      kSection + "') > 0) FROM sqlite_schema WHERE type = 'table' OR name IN (" + names + ")");
  const std::string all = std::to_string(kNumbers.size());
  if (found->TextAt(0) == "0") return AddressIndexes::kNone;
  if (found->TextAt(1) != all) return AddressIndexes::kMissing;
  if (!HasAddressIndexSections(connection)) return AddressIndexes::kComplete;
  if (found->TextAt(2) != all) return AddressIndexes::kEarlier;
  return HasStatistics(connection, names) ? AddressIndexes::kComplete : AddressIndexes::kUnknown;
}

void CreateAddressIndexes(Connection& connection) {
  const bool has_sections = HasAddressIndexSections(connection);
  std::string before = IsSqlite(connection) ? "(" : Method(connection) + "(";
  if (has_sections) before += std::string(kSection) + ", ";
  for (const char* number : kNumbers) {
    connection.Execute("CREATE INDEX IF NOT EXISTS Adressindex" + std::string(number) + " ON Adressindex " +
                       before + "Doubletkey" + number + ")");
  }
  if (has_sections) NoteAddressIndexStatistics(connection);
}

void RenewAddressIndexes(Connection& connection) {
  InTransaction(connection, [&] {
    for (const char* number : kNumbers)
      connection.Execute("DROP INDEX IF EXISTS Adressindex" + std::string(number));
    CreateAddressIndexes(connection);
  });
}

void NoteAddressIndexStatistics(Connection& connection) {
  const std::string names = Names(connection);
  InTransaction(connection, [&] {
    // Makes the table of the statistics where there is none; of these tables themselves there are none.
    connection.Execute("ANALYZE sqlite_schema");
    connection.Execute("DELETE FROM sqlite_stat1 WHERE idx IN (" + names + ")");
    connection.Execute("INSERT INTO sqlite_stat1 (tbl, idx, stat) SELECT tbl_name, name, '" +
                       std::string(kStatistics) + "' FROM sqlite_schema WHERE type = 'index' AND name IN (" +
                       names + ")");
    // Reads them.
    connection.Execute("ANALYZE sqlite_schema");
  });
}

}  // namespace kestrel::host
