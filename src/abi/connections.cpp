// Connections of every provider.
#include <deque>
#include <string>

#include "abi/library.h"
#include "abi/text_rows.h"
#include "abi/values.h"
#include "kestrel/connection.h"
#include "kestrel/open_connection.h"

namespace kestrel::abi {

namespace {

ConnectionPtr RequireOpen(const Library& library, kestrel_handle handle) {
  return library.RequireKind<Connection>(handle, "Verbindung");
}

std::string IsoDate(const kestrel_date& date) {
  const auto digits = [](int number, std::size_t width) {
    const std::string text = std::to_string(number);
    return std::string(width > text.size() ? width - text.size() : 0, '0') + text;
  };
  std::string text = digits(date.year, 4) + "-" + digits(date.month, 2) + "-" + digits(date.day, 2);
  if (date.hour == 0 && date.minute == 0 && date.second == 0) return text;
  return text + " " + digits(date.hour, 2) + ":" + digits(date.minute, 2) + ":" + digits(date.second, 2);
}

// Texts that were made for a statement live in `made`, those of the caller where they are.
void Bind(const Library& library, Statement& statement, std::size_t parameter, const kestrel_value& value,
          std::deque<std::string>& made) {
  ToValue(library, &value, "parameters");  // raises for what is no value
  switch (value.kind) {
    case KESTREL_UNSET:
    case KESTREL_NULL: return statement.BindNull(parameter);
    case KESTREL_BOOLEAN: return statement.BindInteger(parameter, value.as.boolean != 0 ? 1 : 0);
    case KESTREL_INTEGER: return statement.BindInteger(parameter, value.as.integer);
    case KESTREL_DOUBLE: return statement.BindDouble(parameter, value.as.real);
    case KESTREL_STRING:
    case KESTREL_DECIMAL: return statement.BindText(parameter, ToView(value.as.text, "parameters"));
    case KESTREL_DATE: return statement.BindText(parameter, made.emplace_back(IsoDate(value.as.date)));
    default: RaiseArgument("Ein Wert der Art " + std::to_string(value.kind) + " ist kein Parameter.");
  }
}

// Runs `use` with the statement, its parameters bound.
template <class Use>
auto WithStatement(const Library& library, Connection& connection, const kestrel_text& sql,
                   const kestrel_value* parameters, std::size_t count, Use&& use) {
  RequireCount(parameters, count, "parameters");
  const auto statement = connection.Prepare(ToView(sql, "sql"));
  std::deque<std::string> made;
  for (std::size_t i = 0; i < count; ++i) Bind(library, *statement, i, parameters[i], made);
  return use(*statement);
}

}  // namespace

}  // namespace kestrel::abi

using namespace kestrel::abi;
using kestrel::ConnectionPtr;
using kestrel::Statement;

int32_t kestrel_connection_open(kestrel_library* library, kestrel_text connection_string,
                                kestrel_handle* connection) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(connection, "connection");
    target = open.handles.Add(kestrel::OpenConnection(ToView(connection_string, "connection_string")));
  });
}

int32_t kestrel_connection_execute(kestrel_library* library, kestrel_handle connection, kestrel_text sql,
                                   const kestrel_value* parameters, size_t parameter_count, int64_t* changed) {
  return Guarded(library, [&](Library& open) {
    const ConnectionPtr used = RequireOpen(open, connection);
    const std::int64_t rows = parameter_count == 0
                                  ? used->Execute(ToView(sql, "sql"))
                                  : WithStatement(open, *used, sql, parameters, parameter_count,
                                                  [](Statement& statement) { return statement.Execute(); });
    if (changed != nullptr) *changed = rows;
  });
}

int32_t kestrel_connection_query(kestrel_library* library, kestrel_handle connection, kestrel_text sql,
                                 const kestrel_value* parameters, size_t parameter_count,
                                 kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    const ConnectionPtr used = RequireOpen(open, connection);
    target = open.handles.Add(parameter_count == 0
                                  ? used->OpenRecordset(ToView(sql, "sql"))
                                  : WithStatement(open, *used, sql, parameters, parameter_count,
                                                  [](Statement& statement) { return statement.Open(); }));
  });
}

int32_t kestrel_connection_begin(kestrel_library* library, kestrel_handle connection) {
  return Guarded(library, [&](Library& open) { RequireOpen(open, connection)->Begin(); });
}

int32_t kestrel_connection_commit(kestrel_library* library, kestrel_handle connection) {
  return Guarded(library, [&](Library& open) { RequireOpen(open, connection)->Commit(); });
}

int32_t kestrel_connection_rollback(kestrel_library* library, kestrel_handle connection) {
  return Guarded(library, [&](Library& open) { RequireOpen(open, connection)->Rollback(); });
}

int32_t kestrel_connection_tables(kestrel_library* library, kestrel_handle connection,
                                  kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    TextRows rows({"Name", "Type"});
    for (const kestrel::CatalogTable& table : RequireOpen(open, connection)->Tables()) {
      rows.Add({table.name, table.type});
    }
    target = open.handles.Add(rows.Take());
  });
}

int32_t kestrel_connection_columns(kestrel_library* library, kestrel_handle connection, kestrel_text table,
                                   kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    TextRows rows({"Name"});
    for (const std::string& name : RequireOpen(open, connection)->ColumnNames(ToView(table, "table"))) {
      rows.Add({name});
    }
    target = open.handles.Add(rows.Take());
  });
}

int32_t kestrel_connection_close(kestrel_library* library, kestrel_handle connection) {
  return Guarded(library, [&](Library& open) { RequireOpen(open, connection)->Close(); });
}
