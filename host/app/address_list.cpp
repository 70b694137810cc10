#include "app/address_list.h"

#include <algorithm>
#include <utility>

#include "platform/base/text.h"
#include "schema/default_destinations.h"
#include "wizard/qt_text.h"

namespace kestrel::host {

namespace {

QString ImportTitle(const QString& title) { return title + " importieren..."; }

AddressList SampleListOf(Connection& connection, const DefaultDestination& sample) {
  AddressList list;
  list.table = sample.table;
  list.title = sample.table;
  list.import_title = ImportTitle(list.title);
  list.app_mode = static_cast<std::int16_t>(sample.app_mode);
  list.address_type = sample.address_type;
  for (const std::string& name : connection.ColumnNames(sample.table)) {
    list.columns.push_back(DescribeColumn(name));
  }
  if (list.columns.empty()) {
    throw RuntimeError(ErrorNumber::kDatabase, "Die Tabelle '" + list.table + "' hat keine Spalten.");
  }
  return list;
}

// Of a row of the component's Fields.
AddressColumn ColumnOf(Recordset& field) {
  AddressColumn column;
  column.name = field.TextAt(field.RequireColumn("Feld"));
  column.in_statements = field.TextAt(field.RequireColumn("InAnweisungen"));
  column.heading = ToQt(column.name);
  const std::string_view type = field.TextAt(field.RequireColumn("Typ"));
  if (type == "ganze Zahl" || type == "Zahl") column.kind = ColumnKind::kNumber;
  if (type == "Datum") column.kind = ColumnKind::kTime;
  return column;
}

// The lists of the destinations that were set up in the database.
void AddTargets(ComponentRegistry& components, const ConnectionPtr& connection,
                std::vector<AddressList>& lists) {
  const ObjectPtr targets = components.CreateObject("kestrelhost.Targets");
  SetProperty(targets, "Connection", connection);
  for (const RecordsetPtr rows = ToRecordset(CallMethod(targets, "List")); !rows->IsEof(); rows->MoveNext()) {
    const std::string name(rows->TextAt(rows->RequireColumn("Name")));
    AddressList list;
    list.table = rows->TextAt(rows->RequireColumn("InAnweisungen"));
    list.title = ToQt(name);
    list.import_title = ImportTitle(list.title);
    list.app_mode = rows->ValueAt(rows->RequireColumn("Anwendung")).ToInt16();
    list.address_type = rows->ValueAt(rows->RequireColumn("Adressart")).ToInteger();
    for (const RecordsetPtr fields = ToRecordset(CallMethod(targets, "Fields", name)); !fields->IsEof();
         fields->MoveNext()) {
      const bool is_number = fields->TextAt(fields->RequireColumn("Schluessel")) == "Nummer";
      list.columns.insert(is_number ? list.columns.begin() : list.columns.end(), ColumnOf(*fields));
    }
    lists.push_back(std::move(list));
  }
}

}  // namespace

std::vector<AddressList> AddressLists(ComponentRegistry& components, const ConnectionPtr& connection) {
  std::vector<AddressList> lists;
  const std::vector<CatalogTable> tables = connection->Tables();
  const bool is_of_another = std::ranges::any_of(
      tables, [](const CatalogTable& table) { return EqualsIgnoringCase(table.name, "kestrel_Importziele"); });
  if (!is_of_another) {
    for (const DefaultDestination& sample : kDefaultDestinations) {
      lists.push_back(SampleListOf(*connection, sample));
    }
  }
  // Without its components the host still shows its own lists; each page that needs one says that it is missing.
  Trap([&] { AddTargets(components, connection, lists); },
       [&](const RuntimeError& error) {
         if (lists.empty() || !error.Is(ErrorNumber::kCannotCreateObject)) throw;
       });
  if (lists.empty()) {
    throw RuntimeError(ErrorNumber::kDatabase,
                       "Die Datenbank enthält keine Importziele. 'kestrel-import target add NAME --table "
                       "TABELLE' macht aus einer Tabelle eines.");
  }
  return lists;
}

}  // namespace kestrel::host
