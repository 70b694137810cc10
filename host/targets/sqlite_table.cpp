#include <charconv>
#include <map>

#include "platform/base/text.h"
#include "schema/own_tables.h"
#include "targets/table_catalog.h"

namespace kestrel::host {

namespace {

bool Has(std::string_view text, std::initializer_list<std::string_view> parts) {
  for (const std::string_view part : parts) {
    if (text.find(part) != std::string_view::npos) return true;
  }
  return false;
}

// By the words that declared types are made of; SQLite itself takes any value.
void SetKind(ReadColumn& column) {
  const std::string type = UpperCase(column.type);
  if (Has(type, {"BOOL"})) {
    column.kind = FieldKind::kTruth;
  } else if (Has(type, {"DATE", "TIMESTAMP"})) {
    column.kind = FieldKind::kDate;
  } else if (Has(type, {"INT"}) && !Has(type, {"INTERVAL", "POINT"})) {
    column.kind = FieldKind::kWhole;
  } else if (Has(type, {"REAL", "FLOA", "DOUB", "NUM", "DEC", "MONEY"})) {
    column.kind = FieldKind::kReal;
  } else if (Has(type, {"BLOB", "BINARY", "BYTEA"})) {
    column.refusal = "Ihr Typ " + column.type + " nimmt keine Texte.";
  } else if (const std::size_t bracket = type.find('('); bracket != std::string::npos) {
    std::from_chars(type.data() + bracket + 1, type.data() + type.size(), column.size);
  }
}

// By SQLite's own rules, which go by parts of the type's name.
bool MakesNumbersOfTexts(const std::string& declared) {
  const std::string type = UpperCase(declared);
  return !type.empty() && !Has(type, {"CHAR", "CLOB", "TEXT", "BLOB"});
}

void ReadUniqueColumns(Connection& connection, const std::string& table, TableCatalog& catalog) {
  const auto query = connection.Prepare(
      "SELECT c.name FROM pragma_table_info(?) c WHERE c.\"notnull\" AND EXISTS (SELECT 1 FROM "
      "pragma_index_list(?) i WHERE i.\"unique\" AND NOT i.partial AND (SELECT count(*) FROM "
      "pragma_index_info(i.name)) = 1 AND (SELECT name FROM pragma_index_info(i.name)) = c.name) ORDER BY "
      "c.cid");
  query->BindText(0, table);
  query->BindText(1, table);
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    catalog.unique_columns.emplace_back(rows->TextAt(0));
  }
}

std::string LabelOf(Connection& connection, const std::string& table) {
  const auto query = connection.Prepare("SELECT name, type FROM pragma_table_info(?) WHERE pk = 0");
  query->BindText(0, table);
  std::vector<std::pair<std::string, bool>> columns;
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    columns.emplace_back(rows->TextAt(0), Has(UpperCase(rows->TextAt(1)), {"CHAR", "TEXT", "CLOB"}));
  }
  return LabelAmong(columns);
}

std::string PrimaryKeyOf(Connection& connection, const std::string& table) {
  const auto query = connection.Prepare("SELECT name FROM pragma_table_info(?) WHERE pk = 1");
  query->BindText(0, table);
  const RecordsetPtr row = query->Open();
  return row->IsEof() ? std::string() : std::string(row->TextAt(0));
}

void ReadReferences(Connection& connection, const std::string& table, ReadTable& read) {
  struct Reference {
    std::string from, table, to;
    int columns = 0;
  };
  std::map<std::int64_t, Reference> references;
  const auto query = connection.Prepare(
      "SELECT id, \"from\", \"table\", coalesce(\"to\", '') FROM pragma_foreign_key_list(?)");
  query->BindText(0, table);
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    Reference& reference = references[rows->ValueAt(0).ToInteger()];
    reference = {std::string(rows->TextAt(1)), std::string(rows->TextAt(2)), std::string(rows->TextAt(3)),
                 reference.columns + 1};
  }
  for (auto& [id, reference] : references) {
    if (reference.columns != 1) continue;
    if (reference.to.empty()) reference.to = PrimaryKeyOf(connection, reference.table);
    const std::string label = LabelOf(connection, reference.table);
    for (ReadColumn& column : read.columns) {
      if (!EqualsIgnoringCase(column.name, reference.from) || reference.to.empty()) continue;
      column.foreign_table = Quoted(reference.table);
      column.foreign_column = Quoted(reference.to);
      column.foreign_label = Quoted(label.empty() ? reference.to : label);
    }
  }
}

}  // namespace

TableCatalog ReadSqliteTable(Connection& connection, std::string_view name) {
  const auto find = connection.Prepare(
      "SELECT name, type, wr, strict FROM pragma_table_list WHERE schema = 'main' AND name = ? COLLATE NOCASE");
  find->BindText(0, name);
  const RecordsetPtr found = find->Open();
  if (found->IsEof()) {
    // As a statement names it.
    if (const std::string told = ToldName(name); told != name) return ReadSqliteTable(connection, told);
    RefuseTable(name, "Es gibt sie in dieser Datenbank nicht. Prüfen Sie --table und --host.");
  }
  const std::string table(found->TextAt(0));
  const std::string_view kind = found->TextAt(1);
  if (kind == "view") RefuseTable(name, "Sie ist eine Sicht; nennen Sie die Tabelle, aus der sie liest.");
  if (kind != "table") RefuseTable(name, "Sie ist eine virtuelle Tabelle; nennen Sie eine gewöhnliche.");
  if (table.starts_with("sqlite_") || table.starts_with(kOwnPrefix)) {
    RefuseTable(name, "Sie gehört der Datenbank selbst oder diesem Programm.");
  }
  TableCatalog catalog;
  catalog.read.table = Quoted(table);
  catalog.takes_any_value = !found->ValueAt(3).ToBool();
  const bool has_rows_by_number = !found->ValueAt(2).ToBool();
  const auto query = connection.Prepare(
      "SELECT name, type, \"notnull\", coalesce(dflt_value, ''), pk, hidden FROM pragma_table_xinfo(?)");
  query->BindText(0, table);
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    ReadColumn column;
    column.name = rows->TextAt(0);
    column.type = rows->TextAt(1);
    SetKind(column);
    const std::string_view preset = rows->TextAt(3);
    const bool has_default = !preset.empty() && !EqualsIgnoringCase(preset, "NULL");
    column.is_mandatory = rows->ValueAt(2).ToBool() && !has_default;
    if (const auto constant = ConstantOf(preset)) {
      column.preset = *constant;
    } else if (has_default) {
      column.filled_by = "Die Datenbank füllt sie selbst (" + std::string(preset) + ").";
    }
    if (rows->ValueAt(5).ToInteger() != 0) {
      column.refusal = "Die Datenbank berechnet sie.";
      column.is_mandatory = false;
    }
    if (rows->ValueAt(4).ToInteger() != 0) {
      catalog.keys.push_back(column.name);
      catalog.has_whole_key = has_rows_by_number && EqualsIgnoringCase(column.type, "INTEGER");
    }
    if (column.kind == FieldKind::kText && column.refusal.empty() && MakesNumbersOfTexts(column.type)) {
      column.remark =
          "Ihr Typ " + column.type +
          " macht in SQLite aus Texten, die wie Zahlen aussehen, Zahlen: Aus '01067' wird 1067. Geben Sie "
          "ihr in der Datenbank einen Typ mit TEXT oder CHAR, wenn das nicht so sein soll.";
    }
    catalog.read.columns.push_back(std::move(column));
  }
  ReadUniqueColumns(connection, table, catalog);
  ReadReferences(connection, table, catalog.read);
  return catalog;
}

}  // namespace kestrel::host
