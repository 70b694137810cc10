#include "schema/default_destinations.h"

#include <string_view>

namespace kestrel::host {

namespace {

struct Field {
  std::string_view name;
  const char* type;
  int size;
  bool obligation = false;
  bool date = false;
  int row_source_typ = 0;
  const char* row_source = "";
};

constexpr const char* kCountries = "DE*Deutschland#AT*Österreich#CH*Schweiz#LI*Liechtenstein#LU*Luxemburg";
constexpr const char* kLanguages = "DE*Deutsch#EN*Englisch#FR*Französisch";
constexpr const char* kCurrencies = "EUR*Euro#CHF*Schweizer Franken#USD*US-Dollar";
constexpr int kDateTextSize = 14;

// Number, group and date stand for the destination's own fields.
constexpr Field kFields[] = {
    {"%NUMBER%", "INT", 18},
    {"Bez1", "VARCHAR", 50, true},
    {"Bez2", "VARCHAR", 50},
    {"Bez3", "VARCHAR", 50},
    {"Strasse", "VARCHAR", 50},
    {"Land", "VARCHAR", 3, false, false, 1, kCountries},
    {"PLZ", "VARCHAR", 10},
    {"Ort", "VARCHAR", 40},
    {"Telefon", "VARCHAR", 30},
    {"EMail", "VARCHAR", 80},
    {"%GROUP%", "VARCHAR", 10},
    {"%SINCE%", "VARCHAR", kDateTextSize, false, true},
    {"Umsatz", "FLOAT", 18},
    {"Rabatt", "FLOAT", 18},
    {"Mitarbeiter", "INT", 9},
    {"Bemerkung", "TEXT", 0},
    {"Suchbegriff", "VARCHAR", 15},
    {"Sprache", "VARCHAR", 3, false, false, 1, kLanguages},
    {"Waehrung", "VARCHAR", 3, false, false, 1, kCurrencies},
    {"Zahlungsziel", "INT", 4},
};

Field Resolve(Field field, const DefaultDestination& destination) {
  if (field.name == "%NUMBER%") field.name = destination.number_field;
  if (field.name == "%SINCE%") field.name = destination.date_field;
  if (field.name == "%GROUP%") {
    field.name = destination.group_field;
    field.row_source = destination.group_query;
  }
  return field;
}

}  // namespace

void AddDefaultDestinations(Connection& connection) {
  const auto target =
      connection.Prepare("INSERT INTO Importziele VALUES (?, ?, ?, ?, ?) ON CONFLICT DO NOTHING");
  const auto row = connection.Prepare(
      "INSERT INTO Importfelder VALUES (?, ?, ?, CAST(? AS INTEGER) = 1, ?, ?, ?, ?, CAST(? AS INTEGER) = 1, "
      "?) "
      "ON CONFLICT DO NOTHING");
  for (const DefaultDestination& destination : kDefaultDestinations) {
    target->BindText(0, destination.prog_id);
    target->BindText(1, destination.table);
    target->BindText(2, destination.number_field);
    target->BindText(3, destination.group_field);
    target->BindInteger(4, destination.address_type);
    // A destination that was there keeps its fields, also those that were taken out.
    if (target->Execute() == 0) continue;
    std::int64_t position = 0;
    for (const Field& general : kFields) {
      const Field field = Resolve(general, destination);
      row->BindText(0, destination.prog_id);
      row->BindInteger(1, ++position);
      row->BindText(2, field.name);
      row->BindInteger(3, field.obligation ? 1 : 0);
      row->BindInteger(4, field.row_source_typ);
      row->BindText(5, field.row_source);
      row->BindInteger(6, field.size);
      row->BindText(7, field.type);
      row->BindInteger(8, field.date ? 1 : 0);
      row->BindText(9, field.name);
      row->Execute();
    }
  }
}

}  // namespace kestrel::host
