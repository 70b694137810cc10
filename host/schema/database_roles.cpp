#include "schema/database_roles.h"

#include <utility>
#include <vector>

#include "platform/base/text.h"
#include "schema/host_schema.h"
#include "schema/number_sequence.h"

namespace kestrel::host {

namespace {

std::string TextOf(Connection& connection, std::string_view sql) {
  const RecordsetPtr row = connection.OpenRecordset(sql);
  return row->IsEof() ? std::string() : std::string(row->TextAt(0));
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

// What is to be granted, each with a query that gives a row where that was done before.
std::vector<std::pair<std::string, std::string>> Statements(Connection& connection) {
  std::vector<std::pair<std::string, std::string>> statements;
  for (const std::string role : {"kestrel_import", "kestrel_read"}) {
    statements.emplace_back("CREATE ROLE " + role,
                            "SELECT 1 FROM pg_catalog.pg_roles WHERE rolname = '" + role + "'");
  }
  const std::string schema = TextOf(connection, "SELECT quote_ident(current_schema())");
  const std::string database = TextOf(connection, "SELECT quote_ident(current_database())");
  const std::string tables = Joined(HostTables());
  const std::string both = " TO kestrel_import, kestrel_read";
  statements.emplace_back("GRANT USAGE ON SCHEMA " + schema + both, "");
  statements.emplace_back("GRANT SELECT ON " + tables + both, "");
  statements.emplace_back("GRANT INSERT, UPDATE, DELETE ON " + tables + " TO kestrel_import", "");
  statements.emplace_back("GRANT USAGE, SELECT, UPDATE ON SEQUENCE " +
                              Joined(CreateNumberSequences(connection)) + " TO kestrel_import",
                          "");
  statements.emplace_back("GRANT TEMPORARY ON DATABASE " + database + " TO kestrel_import", "");
  return statements;
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

std::string GrantRoles(Connection& connection) {
  if (IsSqlite(connection)) return {};
  std::string refused;
  std::string reason;
  const auto note = [&](const RuntimeError& error) {
    if (reason.empty()) reason = error.Description();
  };
  const auto grant = [&] {
    for (const auto& [statement, is_done] : Statements(connection)) {
      if (!is_done.empty() && !connection.OpenRecordset(is_done)->IsEof()) continue;
      const std::string& text = statement;
      if (!Trap([&] { connection.Execute(text); }, note)) refused += "\n  " + text + ";";
    }
  };
  Trap(grant, note);
  if (reason.empty()) return {};
  return "Die Rollen kestrel_import und kestrel_read konnten nicht ganz eingerichtet werden. " + reason +
         (refused.empty() ? "" : "\nEin Administrator der Datenbank holt es so nach:" + refused);
}

}  // namespace kestrel::host
