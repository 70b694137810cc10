#include "schema/destination.h"

#include <algorithm>

#include "platform/base/text.h"
#include "schema/host_schema.h"

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

std::string RequirePlainName(std::string_view prog_id, std::string_view place, std::string_view name) {
  if (!IsPlainName(name)) {
    Refuse(prog_id, std::string(place) + " enthält den unzulässigen Namen '" + std::string(name) + "'.");
  }
  return std::string(name);
}

FieldKind KindOf(std::string_view type, bool date) {
  if (date) return FieldKind::kDate;
  if (EqualsIgnoringCase(type, "INT")) return FieldKind::kWhole;
  if (EqualsIgnoringCase(type, "FLOAT")) return FieldKind::kReal;
  return FieldKind::kText;
}

}  // namespace

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
  destination.table = RequirePlainName(prog_id, "Importziele.Tabelle", row->TextAt(0));
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
    field.column = RequirePlainName(prog_id, "Importfelder.Spalte", rows->TextAt(1));
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
  return destination;
}

}  // namespace kestrel::host
