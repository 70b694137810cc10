#include "schema/database_roles.h"

#include <algorithm>
#include <initializer_list>
#include <vector>

#include "platform/base/text.h"
#include "platform/data/table_names.h"
#include "schema/destination.h"
#include "schema/host_schema.h"
#include "schema/number_sequence.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

constexpr const char* kImportRole = "kestrel_import";
constexpr const char* kReadRole = "kestrel_read";

std::string TextOf(Connection& connection, std::string_view sql) {
  const RecordsetPtr row = connection.OpenRecordset(sql);
  return row->IsEof() ? std::string() : std::string(row->TextAt(0));
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

struct Grant {
  std::string statement;
  std::string is_done = {};  // a query that gives a row where nothing is left to do; empty: that is not asked
};

bool HasRole(Connection& connection, const std::string& role) {
  return !connection.OpenRecordset("SELECT 1 FROM pg_catalog.pg_roles WHERE rolname = '" + role + "'")->IsEof();
}

// Those of the host's tables that are there, as statements name them.
std::vector<std::string> TablesOfHost(Connection& connection) {
  std::vector<std::string> tables;
  if (!AreOwnTablesApart(connection)) tables = HostTables();
  for (const std::string& name : OwnNames()) {
    if (std::ranges::find(tables, name) == tables.end() && HasTable(connection, name)) tables.push_back(name);
  }
  return tables;
}

std::vector<std::string> SequencesOfHost(Connection& connection) {
  if (!AreOwnTablesApart(connection)) return CreateNumberSequences(connection);
  return {SequenceOf(connection, "Protokoll", "ProtokollNr"), SequenceOf(connection, "Importlauf", "LaufNr")};
}

// A query that gives a row where the role has all of these rights already.
std::string HasRights(const std::string& role, const std::string& table,
                      std::initializer_list<const char*> rights) {
  std::string query = "SELECT 1 WHERE true";
  for (const char* right : rights) {
    query += " AND has_table_privilege('" + role + "', to_regclass('" + ReplaceAll(table, "'", "''") + "'), '" +
             right + "')";
  }
  return query;
}

// For the tables of another application that are destinations. What somebody has granted already is left alone, as their
// owner may be somebody else.
void AddTargets(Connection& connection, const std::vector<std::string>& roles, std::vector<Grant>& grants) {
  if (!HasTable(connection, "Importspalten")) return;
  struct Target {
    std::string table, number;
  };
  std::vector<Target> targets;
  for (const RecordsetPtr rows = connection.OpenRecordset("SELECT Tabelle, Nummernfeld FROM Importziele");
       !rows->IsEof(); rows->MoveNext()) {
    if (IsQuoted(rows->TextAt(0))) targets.push_back({std::string(rows->TextAt(0)), Quoted(rows->TextAt(1))});
  }
  for (const auto& [table, number] : targets) {
    const std::string schema = table.substr(0, table.find("\".\"") + 1);
    const std::string sequence = FindSequence(connection, table, number);
    for (const std::string& role : roles) {
      const std::string to = " TO " + role;
      grants.push_back({"GRANT USAGE ON SCHEMA " + schema + to,
                        "SELECT 1 FROM pg_catalog.pg_namespace WHERE oid = (SELECT relnamespace FROM "
                        "pg_catalog.pg_class WHERE oid = to_regclass('" +
                            ReplaceAll(table, "'", "''") + "')) AND has_schema_privilege('" + role +
                            "', oid, 'USAGE')"});
      grants.push_back({"GRANT SELECT ON " + table + to, HasRights(role, table, {"SELECT"})});
      if (role != kImportRole) continue;
      grants.push_back({"GRANT INSERT, UPDATE, DELETE ON " + table + to,
                        HasRights(role, table, {"INSERT", "UPDATE", "DELETE"})});
      if (sequence.empty()) continue;
      grants.push_back({"GRANT USAGE, SELECT, UPDATE ON SEQUENCE " + sequence + to,
                        "SELECT 1 WHERE has_sequence_privilege('" + role + "', to_regclass('" +
                            ReplaceAll(sequence, "'", "''") + "'), 'SELECT') AND has_sequence_privilege('" +
                            role + "', to_regclass('" + ReplaceAll(sequence, "'", "''") + "'), 'UPDATE')"});
    }
  }
}

std::vector<Grant> Grants(Connection& connection, const std::vector<std::string>& roles) {
  std::vector<Grant> grants;
  if (roles.empty()) return grants;
  const std::string schema = TextOf(connection, "SELECT quote_ident(current_schema())");
  const std::string database = TextOf(connection, "SELECT quote_ident(current_database())");
  const std::string tables = Joined(TablesOfHost(connection));
  const std::string all = " TO " + Joined(roles);
  grants.push_back({"GRANT USAGE ON SCHEMA " + schema + all});
  grants.push_back({"GRANT SELECT ON " + tables + all});
  if (std::ranges::find(roles, kImportRole) != roles.end()) {
    const std::string to = std::string(" TO ") + kImportRole;
    grants.push_back({"GRANT INSERT, UPDATE, DELETE ON " + tables + to});
    grants.push_back({"GRANT USAGE, SELECT, UPDATE ON SEQUENCE " + Joined(SequencesOfHost(connection)) + to});
    grants.push_back({"GRANT TEMPORARY ON DATABASE " + database + to});
  }
  AddTargets(connection, roles, grants);
  return grants;
}

}  // namespace

void CreateSchema(Connection& connection) {
  if (IsSqlite(connection) || !TextOf(connection, "SELECT current_schema()").empty()) return;
  const std::string schema = TextOf(
      connection,
      "SELECT quote_ident(name) FROM unnest(string_to_array(replace(current_setting('search_path'), '\"', "
      "''), ',')) AS part, trim(part) AS name WHERE name NOT IN ('', '$user') LIMIT 1");
  if (!schema.empty()) connection.Execute("CREATE SCHEMA IF NOT EXISTS " + schema);
}

std::string GrantRoles(Connection& connection, MissingRoles missing) {
  if (IsSqlite(connection)) return {};
  std::string refused;
  std::string reason;
  const auto note = [&](const RuntimeError& error) {
    if (reason.empty()) reason = error.Description();
  };
  const auto run = [&](const std::string& statement) {
    if (Trap([&] { connection.Execute(statement); }, note)) return;
    // What is told is run by somebody who knows no other names than those of the database.
    std::string memory;
    const auto& names = connection.attachments().Of<TableNames>(connection);
    refused += "\n  " + std::string(names.Translate(statement, memory)) + ";";
  };
  const auto grant = [&] {
    std::vector<std::string> roles = {kImportRole, kReadRole};
    if (missing == MissingRoles::kMake) {
      for (const std::string& role : roles) {
        if (!HasRole(connection, role)) run("CREATE ROLE " + role);
      }
    } else {
      std::erase_if(roles, [&](const std::string& role) { return !HasRole(connection, role); });
    }
    for (const auto& [statement, is_done] : Grants(connection, roles)) {
      if (is_done.empty() || connection.OpenRecordset(is_done)->IsEof()) run(statement);
    }
  };
  Trap(grant, note);
  if (reason.empty()) return {};
  return "Die Rollen kestrel_import und kestrel_read konnten nicht ganz eingerichtet werden. " + reason +
         (refused.empty() ? "" : "\nEin Administrator der Datenbank holt es so nach:" + refused);
}

}  // namespace kestrel::host
