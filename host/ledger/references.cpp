#include "ledger/references.h"

#include <utility>

#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

// A foreign key of another table: its columns, and those of the destination's table that they name.
struct ForeignKey {
  std::string id;     // of the catalog
  std::string table;  // for statements
  bool is_readable = true;
  bool is_of_same_table = false;
  std::vector<std::pair<std::string, std::string>> columns;
};

std::vector<ForeignKey> ForeignKeys(Connection& connection, const Destination& destination) {
  const std::string table = ToldName(destination.table);
  const bool is_sqlite = IsSqlite(connection);
  const auto query = connection.Prepare(
      is_sqlite
          // Where a key does not name the columns it refers to, they are those of the primary key.
          ? "SELECT m.name || ' ' || f.id, m.name, 1, m.name = f.\"table\" COLLATE NOCASE, f.\"from\", "
            "coalesce(f.\"to\", (SELECT c.name FROM pragma_table_info(f.\"table\") c WHERE c.pk = f.seq + 1)) "
            "FROM sqlite_schema m, pragma_foreign_key_list(m.name) f "
            "WHERE m.type = 'table' AND f.\"table\" = ? COLLATE NOCASE ORDER BY 1, f.seq"
          : "SELECT c.oid::text, c.conrelid::regclass::text, has_table_privilege(c.conrelid, "
            "'SELECT')::integer, "
            "(c.conrelid = c.confrelid)::integer, a.attname, b.attname FROM pg_catalog.pg_constraint c "
            "CROSS JOIN unnest(c.conkey, c.confkey) WITH ORDINALITY AS k (own, other, place) "
            "JOIN pg_catalog.pg_attribute a ON a.attrelid = c.conrelid AND a.attnum = k.own "
            "JOIN pg_catalog.pg_attribute b ON b.attrelid = c.confrelid AND b.attnum = k.other "
            "WHERE c.contype = 'f' AND c.conparentid = 0 AND c.confrelid = to_regclass(?) "
            // What is only refused is the database's to find, whoever may read the table.
            "AND (c.confdeltype IN ('c', 'n', 'd') OR has_table_privilege(c.conrelid, 'SELECT')) "
            "ORDER BY c.oid, k.place");
  query->BindText(0, is_sqlite ? table : destination.table);
  std::vector<ForeignKey> keys;
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    // A key of columns that there are not no database follows.
    if (rows->IsNull(5)) continue;
    const std::string id(rows->TextAt(0));
    if (keys.empty() || keys.back().id != id) {
      const std::string name(rows->TextAt(1));
      keys.push_back({id,
                      is_sqlite ? Quoted(name) : name,
                      rows->ValueAt(2).ToInteger() != 0,
                      rows->ValueAt(3).ToInteger() != 0,
                      {}});
    }
    keys.back().columns.emplace_back(Quoted(rows->TextAt(4)), Quoted(rows->TextAt(5)));
  }
  return keys;
}

}  // namespace

References::References(Connection& connection, const Destination& destination) {
  // The sample host's own tables have none.
  if (!IsQuoted(destination.table)) return;
  const std::string& number = destination.fields[destination.number_field].column;
  for (const ForeignKey& key : ForeignKeys(connection, destination)) {
    Reference& reference = references_.emplace_back(Reference{ShownName(key.table), nullptr});
    if (!key.is_readable) continue;
    std::string same;
    for (const auto& [own, other] : key.columns) {
      same += (same.empty() ? "own." : " AND own.") + own + " = other." + other;
    }
    std::string query = "SELECT 1 FROM " + key.table + " AS own JOIN " + destination.table + " AS other ON " +
                        same + " WHERE other." + number + " = ?";
    // Whether a row refers to itself is no matter.
    if (key.is_of_same_table) query += " AND own." + number + " <> other." + number;
    reference.find = connection.Prepare(query + " LIMIT 1");
  }
}

std::string References::To(std::int64_t number) const {
  for (const Reference& reference : references_) {
    if (reference.find == nullptr) return reference.table;
    reference.find->BindInteger(0, number);
    if (!reference.find->Open()->IsEof()) return reference.table;
  }
  return {};
}

}  // namespace kestrel::host
