#include <algorithm>
#include <optional>

#include "platform/base/text.h"
#include "schema/own_tables.h"
#include "targets/table_catalog.h"

namespace kestrel::host {

namespace {

struct FoundTable {
  std::string oid;
  std::string schema;
  std::string name;
  std::string kind;
};

std::optional<FoundTable> FindAs(Connection& connection, const std::string& name) {
  const auto query = connection.Prepare(
      "SELECT c.oid::text, n.nspname, c.relname, c.relkind::text FROM pg_catalog.pg_class c "
      "JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace WHERE c.oid = to_regclass(?)");
  query->BindText(0, name);
  const RecordsetPtr row = query->Open();
  if (row->IsEof()) return std::nullopt;
  return FoundTable{std::string(row->TextAt(0)), std::string(row->TextAt(1)), std::string(row->TextAt(2)),
                    std::string(row->TextAt(3))};
}

// As it stands, with a schema before it, and in small letters, as a server has names that were written without quotes.
std::optional<FoundTable> Find(Connection& connection, std::string_view name) {
  std::optional<FoundTable> found = FindAs(connection, Quoted(name));
  const std::size_t point = name.find('.');
  const auto in_schema = [&](std::string_view text) {
    return Quoted(text.substr(0, point)) + "." + Quoted(text.substr(point + 1));
  };
  const bool has_schema = point != std::string_view::npos;
  const std::string small = CatalogName(name);
  if (!found && has_schema) found = FindAs(connection, in_schema(name));
  if (!found) found = FindAs(connection, Quoted(small));
  if (!found && has_schema) found = FindAs(connection, in_schema(small));
  // As a statement names it.
  if (!found && name.find('"') != std::string_view::npos) {
    Trap([&] { found = FindAs(connection, std::string(name)); }, [](const RuntimeError&) {});
  }
  return found;
}

// `modifier` is what stands in brackets behind the type, as the catalog keeps it.
void SetKind(ReadColumn& column, std::string_view base, std::string_view type_kind, std::string_view category,
             std::int64_t modifier) {
  const auto is = [&](std::initializer_list<std::string_view> names) {
    return std::ranges::find(names, base) != names.end();
  };
  constexpr std::int64_t kHeader = 4;
  if (category == "A") {
    column.refusal = "Ihr Typ " + column.type + " nimmt mehrere Werte.";
  } else if (is({"int2", "int4", "int8"})) {
    column.kind = FieldKind::kWhole;
  } else if (is({"float4", "float8"})) {
    column.kind = FieldKind::kReal;
    if (base == "float4") column.rounding = {Rounding::Kind::kSingle};
  } else if (base == "numeric") {
    column.kind = FieldKind::kReal;
    // The lowest eleven bits, with a sign.
    const auto decimals = static_cast<int>(((modifier - kHeader) & 0x7FF) ^ 0x400) - 0x400;
    column.rounding =
        modifier < kHeader ? Rounding{Rounding::Kind::kExact} : Rounding{Rounding::Kind::kDecimals, decimals};
  } else if (base == "bool") {
    column.kind = FieldKind::kTruth;
  } else if (is({"date", "timestamp", "timestamptz"})) {
    column.kind = FieldKind::kDate;
  } else if (is({"varchar", "bpchar"})) {
    column.size = std::max<std::int64_t>(modifier - kHeader, 0);
  } else if (!is({"text", "citext", "name", "uuid"}) && type_kind != "e") {
    column.refusal = "Der Typ " + column.type + " wird nicht unterstützt.";
  }
}

void ReadColumns(Connection& connection, const FoundTable& table, TableCatalog& catalog) {
  // Of a domain what it is made of; one made of another domain stays one, and is refused.
  const auto query = connection.Prepare(
      "SELECT a.attname, format_type(a.atttypid, a.atttypmod), b.typname, b.typtype::text, "
      "b.typcategory::text, "
      "CASE WHEN t.typtype = 'd' THEN t.typtypmod ELSE a.atttypmod END, "
      "CASE WHEN a.attnotnull OR t.typnotnull THEN 1 ELSE 0 END, a.attidentity::text, a.attgenerated::text, "
      "coalesce(pg_get_expr(d.adbin, d.adrelid), t.typdefault, ''), b.oid::text, "
      "CASE WHEN EXISTS (SELECT 1 FROM pg_catalog.pg_index i WHERE i.indrelid = a.attrelid AND i.indisprimary "
      "AND a.attnum = ANY (i.indkey)) THEN 1 ELSE 0 END "
      "FROM pg_catalog.pg_attribute a JOIN pg_catalog.pg_type t ON t.oid = a.atttypid "
      "JOIN pg_catalog.pg_type b ON b.oid = CASE WHEN t.typtype = 'd' THEN t.typbasetype ELSE t.oid END "
      "LEFT JOIN pg_catalog.pg_attrdef d ON d.adrelid = a.attrelid AND d.adnum = a.attnum "
      "WHERE a.attrelid = CAST(? AS oid) AND a.attnum > 0 AND NOT a.attisdropped ORDER BY a.attnum");
  query->BindText(0, table.oid);
  std::vector<std::pair<std::size_t, std::string>> enums;
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    ReadColumn column;
    column.name = rows->TextAt(0);
    column.type = rows->TextAt(1);
    SetKind(column, rows->TextAt(2), rows->TextAt(3), rows->TextAt(4), rows->ValueAt(5).ToInteger());
    const std::string_view preset = rows->TextAt(9);
    const bool is_key = rows->ValueAt(11).ToInteger() != 0;
    const bool has_default = !preset.empty() && !preset.starts_with("NULL");
    column.is_mandatory = rows->ValueAt(6).ToInteger() != 0 && !has_default && rows->TextAt(7).empty();
    if (!rows->TextAt(8).empty()) {
      column.refusal = "Die Datenbank berechnet sie.";
      column.is_mandatory = false;
    } else if (const auto constant = ConstantOf(preset)) {
      column.preset = *constant;
    } else if (has_default || !rows->TextAt(7).empty()) {
      column.filled_by = "Die Datenbank füllt sie selbst.";
    }
    if (rows->TextAt(3) == "e") enums.emplace_back(catalog.read.columns.size(), rows->TextAt(10));
    if (is_key) catalog.keys.push_back(column.name);
    catalog.read.columns.push_back(std::move(column));
  }
  for (const auto& [position, oid] : enums) {
    const auto labels = connection.Prepare(
        "SELECT enumlabel FROM pg_catalog.pg_enum WHERE enumtypid = CAST(? AS oid) ORDER BY enumsortorder");
    labels->BindText(0, oid);
    for (const RecordsetPtr rows = labels->Open(); !rows->IsEof(); rows->MoveNext()) {
      catalog.read.columns[position].values.emplace_back(rows->TextAt(0));
    }
  }
}

// An index that is checked behind the statement only cannot tell whether a number is there.
void ReadUniqueColumns(Connection& connection, const FoundTable& table, TableCatalog& catalog) {
  const auto query = connection.Prepare(
      "SELECT a.attname FROM pg_catalog.pg_index i "
      "JOIN pg_catalog.pg_attribute a ON a.attrelid = i.indrelid AND a.attnum = i.indkey[0] "
      "WHERE i.indrelid = CAST(? AS oid) AND i.indisunique AND i.indimmediate AND i.indisvalid "
      "AND i.indnkeyatts = 1 AND i.indpred IS NULL AND a.attnotnull ORDER BY a.attnum");
  query->BindText(0, table.oid);
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    catalog.unique_columns.emplace_back(rows->TextAt(0));
  }
}

std::string LabelOf(Connection& connection, const std::string& oid, const std::string& key) {
  const auto query = connection.Prepare(
      "SELECT a.attname, CASE WHEN t.typcategory = 'S' THEN 1 ELSE 0 END FROM pg_catalog.pg_attribute a "
      "JOIN pg_catalog.pg_type t ON t.oid = a.atttypid WHERE a.attrelid = CAST(? AS oid) AND a.attnum > 0 "
      "AND NOT a.attisdropped AND a.attname <> ? ORDER BY a.attnum");
  query->BindText(0, oid);
  query->BindText(1, key);
  std::vector<std::pair<std::string, bool>> columns;
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    columns.emplace_back(rows->TextAt(0), rows->ValueAt(1).ToInteger() != 0);
  }
  return LabelAmong(columns);
}

void ReadReferences(Connection& connection, const FoundTable& table, ReadTable& read) {
  struct Reference {
    std::string from, oid, table, to;
  };
  std::vector<Reference> references;
  const auto query = connection.Prepare(
      "SELECT a.attname, f.oid::text, n.nspname, f.relname, b.attname FROM pg_catalog.pg_constraint c "
      "JOIN pg_catalog.pg_class f ON f.oid = c.confrelid "
      "JOIN pg_catalog.pg_namespace n ON n.oid = f.relnamespace "
      "JOIN pg_catalog.pg_attribute a ON a.attrelid = c.conrelid AND a.attnum = c.conkey[1] "
      "JOIN pg_catalog.pg_attribute b ON b.attrelid = c.confrelid AND b.attnum = c.confkey[1] "
      "WHERE c.contype = 'f' AND c.conrelid = CAST(? AS oid) AND cardinality(c.conkey) = 1");
  query->BindText(0, table.oid);
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    references.push_back({std::string(rows->TextAt(0)), std::string(rows->TextAt(1)),
                          Quoted(rows->TextAt(2)) + "." + Quoted(rows->TextAt(3)),
                          std::string(rows->TextAt(4))});
  }
  for (const Reference& reference : references) {
    const auto column = std::ranges::find(read.columns, reference.from, &ReadColumn::name);
    if (column == read.columns.end()) continue;
    const std::string label = LabelOf(connection, reference.oid, reference.to);
    column->foreign_table = reference.table;
    column->foreign_column = Quoted(reference.to);
    column->foreign_label = Quoted(label.empty() ? reference.to : label);
  }
}

}  // namespace

TableCatalog ReadPostgresTable(Connection& connection, std::string_view name) {
  const std::optional<FoundTable> found = Find(connection, name);
  if (!found) {
    RefuseTable(
        name,
        "Es gibt sie in dieser Datenbank nicht, oder ihr Schema steht nicht in search_path. Nennen Sie sie "
        "mit ihrem Schema (schema.tabelle).");
  }
  if (found->kind == "v" || found->kind == "m") {
    RefuseTable(name, "Sie ist eine Sicht; nennen Sie die Tabelle, aus der sie liest.");
  }
  if (found->kind != "r" && found->kind != "p") {
    RefuseTable(name, "Sie ist keine gewöhnliche Tabelle; nennen Sie eine solche.");
  }
  if (found->name.starts_with(kOwnPrefix)) RefuseTable(name, "Sie gehört diesem Programm.");
  TableCatalog catalog;
  catalog.read.table = Quoted(found->schema) + "." + Quoted(found->name);
  ReadColumns(connection, *found, catalog);
  ReadUniqueColumns(connection, *found, catalog);
  ReadReferences(connection, *found, catalog.read);
  return catalog;
}

}  // namespace kestrel::host
