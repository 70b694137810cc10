#include "schema/host_schema.h"

#include <algorithm>
#include <string>
#include <vector>

#include "kestrel/transaction.h"
#include "platform/base/text.h"
#include "schema/address_indexes.h"
#include "schema/database_roles.h"
#include "schema/default_destinations.h"
#include "schema/number_sequence.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

// %KEY% is an integer primary key: SQLite makes a column that is called so the row's own number, so that
// rows with ascending numbers are appended. %DOUBLETKEY% is text that a server compares by its bytes: by the rules of a
// language, which is nothing to keys, that takes several times as long.
constexpr const char* kAddressIndexTable = R"(CREATE TABLE IF NOT EXISTS Adressindex (
  AdressId %KEY%,
  Adressart INTEGER NOT NULL,
  Referenz VARCHAR(20) NOT NULL,
  Doubletkey1 %DOUBLETKEY%,
  Doubletkey2 %DOUBLETKEY%,
  Doubletkey3 %DOUBLETKEY%))";
constexpr const char* kTables[] = {
    R"(CREATE TABLE IF NOT EXISTS Personalstamm (
  PersonalNr VARCHAR(10) NOT NULL PRIMARY KEY,
  Nachname VARCHAR(50) NOT NULL,
  Vorname VARCHAR(50),
  Titel VARCHAR(20)))",
    R"(CREATE TABLE IF NOT EXISTS Einstellungen (
  Gruppe VARCHAR(50) NOT NULL,
  Name VARCHAR(50) NOT NULL,
  Wert VARCHAR(255) NOT NULL,
  PRIMARY KEY (Gruppe, Name)))",
    R"(CREATE TABLE IF NOT EXISTS Kundengruppen (
  Kundengruppe VARCHAR(10) NOT NULL PRIMARY KEY,
  Description VARCHAR(50) NOT NULL))",
    R"(CREATE TABLE IF NOT EXISTS Lieferantengruppen (
  Lieferantengruppe VARCHAR(10) NOT NULL PRIMARY KEY,
  Description VARCHAR(50) NOT NULL))",
    R"(CREATE TABLE IF NOT EXISTS Protokoll (
  ProtokollNr %KEY%,
  Titel VARCHAR(100) NOT NULL,
  Benutzer VARCHAR(100),
  Liste VARCHAR(50) NOT NULL,
  Datum DATE,
  Beschreibung VARCHAR(255),
  Datei VARCHAR(1000),
  Quelle VARCHAR(50),
  Klasse VARCHAR(50)))",
    R"(CREATE TABLE IF NOT EXISTS Protokollzeilen (
  ZeilenNr %KEY%,
  ProtokollNr INTEGER NOT NULL,
  Spalte0 TEXT,
  Spalte1 TEXT,
  Spalte2 TEXT))",
    R"(CREATE TABLE IF NOT EXISTS Importziele (
  ProgID VARCHAR(50) NOT NULL PRIMARY KEY,
  Tabelle VARCHAR(50) NOT NULL,
  Nummernfeld VARCHAR(50) NOT NULL,
  Gruppenfeld VARCHAR(50),
  Adressart INTEGER NOT NULL))",
    R"(CREATE TABLE IF NOT EXISTS Importfelder (
  ProgID VARCHAR(50) NOT NULL,
  Position INTEGER NOT NULL,
  FieldName VARCHAR(50) NOT NULL,
  Obligation BOOLEAN NOT NULL,
  RowSourceTyp INTEGER NOT NULL,
  RowSource VARCHAR(1000),
  Size INTEGER NOT NULL,
  FieldTyp VARCHAR(10) NOT NULL,
  DateField BOOLEAN NOT NULL,
  Spalte VARCHAR(50) NOT NULL,
  PRIMARY KEY (ProgID, FieldName)))",
};

// What stands beside logs and their rows.
constexpr const char* kLogDetailTables[] = {
    R"(CREATE TABLE IF NOT EXISTS Protokollherkunft (
  ProtokollNr %KEY%,
  Spezifikation VARCHAR(1000),
  Quelle VARCHAR(1000),
  Importklasse VARCHAR(100)))",
    R"(CREATE TABLE IF NOT EXISTS Protokolldetails (
  ZeilenNr %KEY%,
  ProtokollNr INTEGER NOT NULL,
  Datensatz INTEGER,
  DatensatzBis INTEGER,
  Feld TEXT,
  Quellspalte TEXT,
  Rohwert TEXT,
  Adressart INTEGER,
  Adresse TEXT,
  Name TEXT,
  Ort TEXT,
  Schluessel INTEGER,
  FruehererDatensatz INTEGER,
  Entscheidung TEXT,
  Wertung INTEGER,
  Grund TEXT))",
};

// Times are "JJJJ-MM-TT HH:MM:SS". Spalten are the columns whose values an import stored, in their order.
constexpr const char* kLedgerTables[] = {
    R"(CREATE TABLE IF NOT EXISTS Importlauf (
  LaufNr %KEY%,
  Zustand VARCHAR(20) NOT NULL,
  ProgID VARCHAR(50) NOT NULL,
  Tabelle VARCHAR(50) NOT NULL,
  Spalten TEXT NOT NULL,
  Spezifikation VARCHAR(1000),
  Pruefsumme VARCHAR(64),
  Quelle VARCHAR(1000),
  Quellgroesse BIGINT,
  Quellzeit VARCHAR(19),
  Benutzer VARCHAR(100),
  Beginn VARCHAR(19) NOT NULL,
  Ende VARCHAR(19),
  Gelesen INTEGER NOT NULL,
  Neu INTEGER NOT NULL,
  Aktualisiert INTEGER NOT NULL,
  Zurueckgehalten INTEGER NOT NULL,
  Abgewiesen INTEGER NOT NULL,
  Fehler INTEGER NOT NULL,
  Gekuerzt INTEGER NOT NULL,
  GekuerzteFelder TEXT))",
    R"(CREATE TABLE IF NOT EXISTS Importlaufzeilen (
  ZeilenNr %KEY%,
  LaufNr BIGINT NOT NULL,
  Ereignis VARCHAR(20) NOT NULL,
  Datensatz INTEGER NOT NULL,
  BisDatensatz INTEGER NOT NULL,
  Anzahl INTEGER NOT NULL,
  Tabelle VARCHAR(50),
  Nummer BIGINT,
  BisNummer BIGINT,
  Werte TEXT))",
};

constexpr const char* kLockTable = R"(CREATE TABLE IF NOT EXISTS Importsperre (
  Name VARCHAR(50) NOT NULL PRIMARY KEY,
  Stand BIGINT NOT NULL))";
constexpr const char* kLockRows =
    "INSERT INTO Importsperre VALUES ('Adressindex', 0), ('Adressindex ohne Sperre', 0) ON CONFLICT DO NOTHING";

// Keys and settings that a destination of a user's own needs beside its row and its fields.
constexpr const char* kTargetTable = R"(CREATE TABLE IF NOT EXISTS Importspalten (
  ProgID VARCHAR(50) NOT NULL,
  FieldName VARCHAR(255) NOT NULL,
  Schluesselteil VARCHAR(10),
  Rang INTEGER,
  Vorgabe TEXT,
  Rundung VARCHAR(10),
  PRIMARY KEY (ProgID, FieldName)))";
constexpr const char* kTargetListTable = R"(CREATE TABLE IF NOT EXISTS Importlisten (
  ProgID VARCHAR(255) NOT NULL PRIMARY KEY,
  Anwendung INTEGER NOT NULL))";
constexpr const char* kVersionTable =
    "CREATE TABLE IF NOT EXISTS Importfassung (Fassung INTEGER NOT NULL PRIMARY KEY)";

// The three address tables differ in number, group and date.
constexpr const char* kAddressTable = R"(CREATE TABLE IF NOT EXISTS %TABLE% (
  %NUMBER% %KEY%,
  Bez1 VARCHAR(50) NOT NULL,
  Bez2 VARCHAR(50),
  Bez3 VARCHAR(50),
  Strasse VARCHAR(50),
  Land VARCHAR(3),
  PLZ VARCHAR(10),
  Ort VARCHAR(40),
  Telefon VARCHAR(30),
  EMail VARCHAR(80),
  %GROUP% VARCHAR(10),
  %SINCE% DATE,
  Umsatz DOUBLE PRECISION,
  Rabatt DOUBLE PRECISION,
  Mitarbeiter INTEGER CHECK (Mitarbeiter >= 0),
  Bemerkung TEXT,
  Suchbegriff VARCHAR(15),
  Sprache VARCHAR(3),
  Waehrung VARCHAR(3),
  Zahlungsziel INTEGER CHECK (Zahlungsziel >= 0)))";

// Rows that are there from the start; existing ones stay.
constexpr const char* kRows[] = {
    "INSERT INTO Personalstamm VALUES ('1', 'Verwalter', NULL, NULL)",
    "INSERT INTO Personalstamm VALUES ('4711', 'Schmitz', 'Erika', 'Dr.')",
    "INSERT INTO Einstellungen VALUES ('Adressindex', 'Doubletindex', '1')",
    "INSERT INTO Einstellungen VALUES ('Adressindex', 'AlgorithmCode1', '4')",
    "INSERT INTO Einstellungen VALUES ('Adressindex', 'AlgorithmCode2', '7')",
    "INSERT INTO Einstellungen VALUES ('Adressindex', 'AlgorithmCode3', '6')",
    "INSERT INTO Kundengruppen VALUES ('A', 'Großkunden')",
    "INSERT INTO Kundengruppen VALUES ('B', 'Geschäftskunden')",
    "INSERT INTO Kundengruppen VALUES ('C', 'Laufkundschaft')",
    "INSERT INTO Kundengruppen VALUES ('P', 'Privatkunden')",
    "INSERT INTO Lieferantengruppen VALUES ('H', 'Hersteller')",
    "INSERT INTO Lieferantengruppen VALUES ('G', 'Großhandel')",
    "INSERT INTO Lieferantengruppen VALUES ('D', 'Dienstleister')",
};

std::string WithKeyTypes(const Connection& connection, std::string_view sql) {
  const bool is_sqlite = IsSqlite(connection);
  const std::string text =
      ReplaceAll(sql, "%DOUBLETKEY%", is_sqlite ? "VARCHAR(20)" : "VARCHAR(20) COLLATE \"C\"");
  return ReplaceAll(text, "%KEY%", is_sqlite ? "INTEGER PRIMARY KEY" : "BIGINT NOT NULL PRIMARY KEY");
}

std::string AddressTableText(const Connection& connection, const DefaultDestination& destination) {
  std::string sql = ReplaceAll(kAddressTable, "%TABLE%", destination.table);
  sql = ReplaceAll(sql, "%NUMBER%", destination.number_field);
  sql = ReplaceAll(sql, "%GROUP%", destination.group_field);
  sql = ReplaceAll(sql, "%SINCE%", destination.date_field);
  return WithKeyTypes(connection, sql);
}

// Names in another application's database may be as long as it likes, and stand there in quotes.
std::string WithLongNames(std::string sql) {
  for (const char* column : {"Tabelle", "Nummernfeld", "FieldName", "Spalte", "ProgID"}) {
    sql = ReplaceAll(sql, std::string(column) + " VARCHAR(50)", std::string(column) + " VARCHAR(255)");
  }
  return sql;
}

bool IsOfSampleHostOnly(std::string_view sql) {
  return sql.find("Kundengruppen") != std::string_view::npos ||
         sql.find("Lieferantengruppen") != std::string_view::npos;
}

void CreateTables(Connection& connection) {
  for (const char* sql : kTables) connection.Execute(WithKeyTypes(connection, sql));
  CreateAddressIndexTable(connection, WithKeyTypes(connection, kAddressIndexTable));
  CreateLogDetailTables(connection);
  for (const char* sql : kLedgerTables) connection.Execute(WithKeyTypes(connection, sql));
  CreateAddressIndexes(connection);
  CreateImportLock(connection);
  if (!IsSqlite(connection)) connection.Execute(kLockRows);
  for (const DefaultDestination& destination : kDefaultDestinations) {
    connection.Execute(AddressTableText(connection, destination));
  }
  if (!IsSqlite(connection)) CreateNumberSequences(connection);
}

}  // namespace

bool IsSqlite(const Connection& connection) { return connection.capabilities().dialect == Dialect::kSqlite; }

std::string InsertAbsentText(const Connection& connection, std::string_view target) {
  // On SQLite, a statement of several rows that could fail half way would copy every page it touches.
  return IsSqlite(connection) ? "INSERT OR IGNORE INTO " + std::string(target)
                              : "INSERT INTO " + std::string(target) + " ON CONFLICT DO NOTHING";
}

std::string AddressTableColumns(const Connection& connection, std::string_view table) {
  for (const DefaultDestination& destination : kDefaultDestinations) {
    if (!EqualsIgnoringCase(destination.table, table)) continue;
    const std::string text = AddressTableText(connection, destination);
    return text.substr(text.find('('));
  }
  return {};
}

std::vector<std::string> HostTables() {
  std::vector<std::string> tables = {
      "Personalstamm",    "Einstellungen",   "Kundengruppen",    "Lieferantengruppen", "Adressindex",
      "Protokoll",        "Protokollzeilen", "Importziele",      "Importfelder",       "Protokollherkunft",
      "Protokolldetails", "Importlauf",      "Importlaufzeilen", "Importsperre"};
  for (const DefaultDestination& destination : kDefaultDestinations) tables.emplace_back(destination.table);
  return tables;
}

bool IsSampleHost(Connection& connection) {
  const std::vector<CatalogTable> tables = connection.Tables();
  const auto has = [&](std::string_view name) {
    return std::any_of(tables.begin(), tables.end(),
                       [&](const CatalogTable& table) { return EqualsIgnoringCase(table.name, name); });
  };
  return has("Importziele") && has("Importfelder") && has("Adressindex") && has("Einstellungen");
}

std::vector<std::string> OwnNames() {
  return {"Personalstamm", "Einstellungen",    "Adressindex",     "Adressindex1",      "Adressindex2",
          "Adressindex3",  "Protokoll",        "Protokollzeilen", "Protokollherkunft", "Protokolldetails",
          "Importlauf",    "Importlaufzeilen", "Importsperre",    "Importziele",       "Importfelder",
          "Importspalten", "Importlisten",     "Importfassung"};
}

void CreateTablesApart(Connection& connection) {
  for (const char* sql : kTables) {
    if (!IsOfSampleHostOnly(sql)) connection.Execute(WithLongNames(WithKeyTypes(connection, sql)));
  }
  CreateAddressIndexTable(connection, WithKeyTypes(connection, kAddressIndexTable));
  CreateLogDetailTables(connection);
  for (const char* sql : kLedgerTables) connection.Execute(WithLongNames(WithKeyTypes(connection, sql)));
  CreateAddressIndexes(connection);
  CreateImportLock(connection);
  for (const char* sql : kRows) {
    if (std::string_view(sql).starts_with("INSERT INTO Einstellungen")) {
      connection.Execute(std::string(sql) + " ON CONFLICT DO NOTHING");
    }
  }
}

void CreateTargetTables(Connection& connection) {
  connection.Execute(kTargetTable);
  connection.Execute(kTargetListTable);
  SetOwnVersion(connection, kOwnVersion);
}

void AddTargetLists(Connection& connection) {
  connection.Execute(kTargetListTable);
  // Specifications of before are of this application mode.
  connection.Execute("INSERT INTO Importlisten SELECT ProgID, " + std::to_string(kFirstApplicationMode) +
                     " FROM Importziele WHERE Tabelle LIKE '\"%'");
  connection.Execute("ALTER TABLE Importspalten ADD COLUMN Rundung VARCHAR(10)");
}

void SetOwnVersion(Connection& connection, int version) {
  connection.Execute(kVersionTable);
  connection.Execute("INSERT INTO Importfassung VALUES (" + std::to_string(version) +
                     ") ON CONFLICT DO NOTHING");
}

void CreateLogDetailTables(Connection& connection) {
  for (const char* sql : kLogDetailTables) connection.Execute(WithKeyTypes(connection, sql));
}

bool HasTable(Connection& connection, std::string_view name) {
  const std::string own = OwnTable(connection, name);
  const std::vector<CatalogTable> tables = connection.Tables();
  return std::any_of(tables.begin(), tables.end(),
                     [&](const CatalogTable& table) { return EqualsIgnoringCase(table.name, own); });
}

void RequireTable(Connection& connection, std::string_view name) {
  if (HasTable(connection, name)) return;
  throw RuntimeError(ErrorNumber::kDatabase,
                     "Die Tabelle '" + std::string(name) +
                         "' fehlt in dieser Datenbank. In der Datenbank einer anderen Anwendung legt "
                         "'kestrel-import target add' an, was ein Import braucht; eine Beispielanwendung macht "
                         "'kestrel-import init ORDNER --host VERBINDUNG'");
}

void CreateLedgerTables(Connection& connection) {
  // Asked first: whoever may only write rows may not even say that a table is to be there.
  if (HasTable(connection, "Importlaufzeilen")) return;
  InTransaction(connection, [&] {
    for (const char* sql : kLedgerTables) connection.Execute(WithKeyTypes(connection, sql));
  });
}

void CreateImportLock(Connection& connection) {
  if (IsSqlite(connection) || HasTable(connection, "Importsperre")) return;
  const auto create = [&] {
    InTransaction(connection, [&] {
      connection.Execute(kLockTable);
      connection.Execute(kLockRows);
    });
  };
  // Two that make it at the same time get in each other's way.
  Trap(create, [&](const RuntimeError& error) {
    if (!HasTable(connection, "Importsperre")) throw error;
  });
}

bool HasAddressIndexAsMade(Connection& connection) {
  if (!IsSqlite(connection)) return false;
  const std::string table = OwnTable(connection, "Adressindex");
  const std::string literal = "'" + table + "'";
  const RecordsetPtr found = connection.OpenRecordset(
      "SELECT sql FROM main.sqlite_schema, pragma_encoding WHERE type = 'table' AND name = " + literal +
      " AND encoding = 'UTF-8' AND (SELECT count(*) FROM pragma_table_list WHERE name = " + literal +
      " COLLATE NOCASE) = 1");
  return !found->IsEof() &&
         found->TextAt(0) == ReplaceAll(WithKeyTypes(connection, kAddressIndexTable),
                                        "CREATE TABLE IF NOT EXISTS Adressindex", "CREATE TABLE " + table);
}

void InitialiseHostDatabase(Connection& connection) {
  InTransaction(connection, [&] {
    CreateSchema(connection);
    CreateTables(connection);
    for (const char* sql : kRows) connection.Execute(std::string(sql) + " ON CONFLICT DO NOTHING");
    AddDefaultDestinations(connection);
  });
}

}  // namespace kestrel::host
