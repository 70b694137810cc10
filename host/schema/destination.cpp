#include "schema/destination.h"

#include <algorithm>

#include "platform/base/number.h"
#include "platform/base/text.h"
#include "schema/definition_watch.h"
#include "schema/host_schema.h"
#include "schema/overwrite_key.h"

namespace kestrel::host {

namespace {

[[noreturn]] void Refuse(std::string_view prog_id, const std::string& reason) {
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                     "Das Importziel '" + std::string(prog_id) + "' ist nicht brauchbar: " + reason);
}

bool IsPlainName(std::string_view name) {
  const auto letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
  };
  const auto digit = [](char c) { return c >= '0' && c <= '9'; };
  return !name.empty() && letter(name.front()) &&
         std::all_of(name.begin(), name.end(), [&](char c) { return letter(c) || digit(c); });
}

// "a", or "a"."b", quotes within a name doubled.
bool IsQuotedName(std::string_view name) {
  if (!IsQuoted(name) || name.find('\0') != std::string_view::npos) return false;
  for (std::size_t at = 0;;) {
    const std::size_t start = ++at;
    for (;; at += 2) {
      at = name.find('"', at);
      if (at == std::string_view::npos) return false;
      if (at + 1 == name.size()) return at > start;
      if (name[at + 1] != '"') break;
    }
    if (at == start || name[at + 1] != '.' || at + 2 >= name.size() || name[at + 2] != '"') return false;
    at += 2;
  }
}

std::string RequireName(std::string_view prog_id, std::string_view place, std::string_view name) {
  if (!IsPlainName(name) && !IsQuotedName(name)) {
    Refuse(prog_id, std::string(place) + " enthält den unzulässigen Namen '" + std::string(name) + "'.");
  }
  return std::string(name);
}

FieldKind KindOf(std::string_view type, bool date) {
  if (date) return FieldKind::kDate;
  if (EqualsIgnoringCase(type, "INT")) return FieldKind::kWhole;
  if (EqualsIgnoringCase(type, "FLOAT")) return FieldKind::kReal;
  if (EqualsIgnoringCase(type, kTruthType)) return FieldKind::kTruth;
  return FieldKind::kText;
}

constexpr const char* kExact = "genau";
constexpr const char* kSingle = "einfach";
constexpr const char* kSampleKeyFields[] = {"PLZ", "Ort", "Strasse", "Bez1", "Bez2", "Bez3"};

// What Importspalten tells of the fields of a user's own destination.
void LoadTargetColumns(Connection& connection, const std::string& key, Destination& destination) {
  const auto select = connection.Prepare(
      "SELECT FieldName, Schluesselteil, Rang, Vorgabe, Rundung FROM Importspalten WHERE upper(ProgID) = ? "
      "ORDER BY Rang");
  select->BindText(0, key);
  std::size_t names = 0;
  for (const RecordsetPtr rows = select->Open(); !rows->IsEof(); rows->MoveNext()) {
    const auto field = destination.FindField(rows->TextAt(0));
    if (!field) continue;
    destination.fields[*field].preset = rows->TextAt(3);
    destination.fields[*field].rounding = RoundingOfText(rows->TextAt(4));
    const std::string_view part = rows->TextAt(1);
    if (part == "plz") destination.key_fields[kPostcode] = field;
    if (part == "ort") destination.key_fields[kTown] = field;
    if (part == "strasse") destination.key_fields[kStreet] = field;
    if (part == "name" && kName1 + names < kKeyParts) destination.key_fields[kName1 + names++] = field;
  }
}

// Only a table that does needs the word in each statement, which would govern the statements of its triggers, too.
bool SettlesConflicts(Connection& connection, const std::string& table) {
  const auto query = connection.Prepare("SELECT sql FROM sqlite_schema WHERE type = 'table' AND name = ?");
  query->BindText(0, table);
  const RecordsetPtr row = query->Open();
  return !row->IsEof() && UpperCase(row->TextAt(0)).find("CONFLICT") != std::string::npos;
}

}  // namespace

std::string TextOfRounding(const Rounding& rounding) {
  switch (rounding.kind) {
    case Rounding::Kind::kDecimals: return std::to_string(rounding.decimals);
    case Rounding::Kind::kExact: return kExact;
    case Rounding::Kind::kSingle: return kSingle;
    case Rounding::Kind::kNone: break;
  }
  return {};
}

Rounding RoundingOfText(std::string_view text) {
  if (text.empty()) return {};
  if (text == kExact) return {Rounding::Kind::kExact};
  if (text == kSingle) return {Rounding::Kind::kSingle};
  const auto decimals = ParseWholeNumber(text);
  return decimals ? Rounding{Rounding::Kind::kDecimals, static_cast<int>(*decimals)} : Rounding{};
}

std::string Quoted(std::string_view name) { return "\"" + ReplaceAll(name, "\"", "\"\"") + "\""; }

std::string ToldName(std::string_view name) {
  if (!IsQuoted(name)) return std::string(name);
  std::string told;
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (name[at] != '"') {
      told += name[at];
    } else if (at > 0 && at + 2 < name.size() && name[at + 1] == '"') {
      told += name[++at];
    }
  }
  return told;
}

std::string CatalogName(std::string_view name) {
  std::string text(name);
  if (IsQuoted(name)) return text;
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return text;
}

std::string OverwriteKey(const Destination& destination) { return OverwriteKeyOf(ToldTable(destination)); }

std::string ShownName(std::string_view name) {
  constexpr std::string_view kUsualSchema = "\"public\".";
  return ToldName(name.starts_with(kUsualSchema) ? name.substr(kUsualSchema.size()) : name);
}

std::string Destination::KeyColumn(std::size_t part, std::string_view otherwise) const {
  return key_fields[part] ? fields[*key_fields[part]].column : std::string(otherwise);
}

std::optional<std::size_t> Destination::FindField(std::string_view name) const {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (EqualsIgnoringCase(fields[i].name, name)) return i;
  }
  return std::nullopt;
}

Destination LoadDestination(Connection& connection, std::string_view prog_id) {
  RequireTable(connection, "Importziele");
  const std::string key = UpperCase(prog_id);
  const auto target = connection.Prepare(
      "SELECT Tabelle, Nummernfeld, Gruppenfeld, Adressart FROM Importziele WHERE upper(ProgID) = ?");
  target->BindText(0, key);
  const RecordsetPtr row = target->Open();
  if (row->IsEof()) Refuse(prog_id, "Importziele enthält keine Zeile dafür.");
  Destination destination;
  destination.prog_id = prog_id;
  // Read before all else of it, so that whatever is changed meanwhile shows later.
  if (IsQuoted(row->TextAt(0))) destination.definition = DefinitionReading(connection, prog_id).Read();
  destination.table = RequireName(prog_id, "Importziele.Tabelle", row->TextAt(0));
  const std::string number_field(row->TextAt(1));
  const std::string group_field(row->TextAt(2));
  destination.address_type = row->ValueAt(3).ToInt16();

  const auto select = connection.Prepare(
      "SELECT FieldName, Spalte, FieldTyp, Obligation, DateField, Size, RowSourceTyp, RowSource "
      "FROM Importfelder WHERE upper(ProgID) = ? ORDER BY Position");
  select->BindText(0, key);
  for (const RecordsetPtr rows = select->Open(); !rows->IsEof(); rows->MoveNext()) {
    DestinationField field;
    field.name = rows->TextAt(0);
    field.column = RequireName(prog_id, "Importfelder.Spalte", rows->TextAt(1));
    field.type = rows->TextAt(2);
    field.obligation = rows->ValueAt(3).ToBool();
    field.date = rows->ValueAt(4).ToBool();
    field.size = rows->ValueAt(5).ToInteger();
    field.row_source_typ = rows->ValueAt(6).ToInteger();
    field.row_source = rows->TextAt(7);
    field.kind = KindOf(field.type, field.date);
    destination.fields.push_back(std::move(field));
  }
  const auto number = destination.FindField(number_field);
  if (!number) Refuse(prog_id, "Importfelder enthält das Nummernfeld '" + number_field + "' nicht.");
  destination.number_field = *number;
  destination.fields[*number].kind = FieldKind::kWhole;
  destination.group_field = destination.FindField(group_field);
  if (!IsQuoted(destination.table)) {
    for (std::size_t part = 0; part < kKeyParts; ++part) {
      destination.key_fields[part] = destination.FindField(kSampleKeyFields[part]);
    }
    return destination;
  }
  destination.joins_names = true;
  destination.overrides_identity = !IsSqlite(connection);
  destination.overrides_conflicts =
      IsSqlite(connection) && SettlesConflicts(connection, ToldName(destination.table));
  LoadTargetColumns(connection, key, destination);
  return destination;
}

}  // namespace kestrel::host
