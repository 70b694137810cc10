#include "sources/source_connection.h"

#include <utility>

#include "platform/base/file.h"
#include "platform/base/runtime_error.h"
#include "platform/base/text.h"
#include "sources/source_catalog.h"
#include "spec/profile_access.h"
#include "spec/specification.h"

namespace kestrel {

namespace {

constexpr const char* kMissingSetting = "Für die Verbindung zur Datenquelle fehlt eine Angabe: ";

std::string PasswordAndUser(const SourceInputs& inputs) {
  return ";Password=" + inputs.txtSQLKennwort + ";User ID=" + inputs.txtSQLUID;
}

// A text as the value of a key, in quotes where it would not be read as it stands.
std::string AsConnectionValue(const std::string& text) {
  const bool plain =
      text.empty() || (text.find(';') == std::string::npos && text.front() != ' ' && text.back() != ' ' &&
                       std::string_view("\"'{").find(text.front()) == std::string_view::npos);
  return plain ? text : '"' + ReplaceAll(text, "\"", "\"\"") + '"';
}

using TableLister = std::vector<std::string> (*)(Connection&);

OpenedSource Open(const std::string& connection_string, TableLister list_tables, const ConnectionOpener& open) {
  OpenedSource opened;
  const auto keep_reason = [&opened](const RuntimeError& error) { opened.reason = error.Description(); };
  if (Trap([&] { opened.connection = open(connection_string); }, keep_reason)) {
    Trap([&] { opened.tables = list_tables(*opened.connection); }, keep_reason);
  }
  return opened;
}

ConnectResult Take(Session& session, OpenedSource opened, bool& loaded) {
  const bool connected = opened.connection != nullptr;
  session.SourceConnection = std::move(opened.connection);
  if (connected) loaded = true;
  return {connected, std::move(opened.tables), std::move(opened.reason)};
}

ConnectResult Connect(Session& session, const std::string& connection_string, TableLister list_tables,
                      bool& loaded, const ConnectionOpener& open) {
  ResetConnection(session);
  return Take(session, Open(connection_string, list_tables, open), loaded);
}

// The setting that a connection of the session's kind cannot do without and that is empty; "" if none.
std::string MissingSetting(const Session& session) {
  if (session.Provider == kSqlServerSource) {
    if (session.Server.empty()) return "Server";
    if (session.User.empty()) return "User";
  }
  return session.Database.empty() ? "Database" : "";
}

}  // namespace

std::string DBaseConnectionString(const SourceInputs& inputs) {
  return "Driver={Microsoft dBASE Driver (*.dbf)};DBQ=" + inputs.txtdBaseFile + "; DriverID=277";
}

std::string ExcelConnectionString(const SourceInputs& inputs) {
  return "Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + inputs.txtExcelFile;
}

std::string AccessConnectionString(const SourceInputs& inputs) {
  return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + inputs.txtAccessDB + PasswordAndUser(inputs);
}

std::string SqlServerConnectionString(const SourceInputs& inputs) {
  return "Provider=SQLOLEDB.1;Initial Catalog=" + inputs.txtSQLDB + ";Data Source=" + inputs.txtSQLServer +
         PasswordAndUser(inputs);
}

ConnectResult ConnectdBase(Session& session, const SourceInputs& inputs, ListLoadedFlags& loaded,
                           const ConnectionOpener& open) {
  if (inputs.txtdBaseFile.empty() || loaded.dbase) return {};
  return Connect(session, DBaseConnectionString(inputs), FillSheetList, loaded.dbase, open);
}

ConnectResult ConnectExcel(Session& session, const SourceInputs& inputs, ListLoadedFlags& loaded,
                           const ConnectionOpener& open) {
  if (inputs.txtExcelFile.empty() || loaded.excel) return {};
  return Connect(session, ExcelConnectionString(inputs), FillSheetList, loaded.excel, open);
}

ConnectResult ConnectAccess(Session& session, const SourceInputs& inputs, ListLoadedFlags& loaded,
                            const ConnectionOpener& open) {
  if (inputs.txtAccessDB.empty() || loaded.access) return {};
  return Connect(session, AccessConnectionString(inputs), FillTableList, loaded.access, open);
}

ConnectResult ConnectSQLServer(Session& session, const SourceInputs& inputs, ListLoadedFlags& loaded,
                               const ConnectionOpener& open) {
  const SourceOpening opening = BeginConnectSQLServer(session, inputs, loaded, open);
  return opening ? FinishConnectSQLServer(session, opening(), loaded) : ConnectResult{};
}

SourceOpening BeginConnectSQLServer(Session& session, const SourceInputs& inputs, const ListLoadedFlags& loaded,
                                    const ConnectionOpener& open) {
  const bool complete = !inputs.txtSQLDB.empty() && !inputs.txtSQLServer.empty() && !inputs.txtSQLUID.empty();
  if (!complete || loaded.sql_server) return {};
  ResetConnection(session);
  return [connection_string = SqlServerConnectionString(inputs), open] {
    return Open(connection_string, FillTableList, open);
  };
}

ConnectResult FinishConnectSQLServer(Session& session, OpenedSource opened, ListLoadedFlags& loaded) {
  return Take(session, std::move(opened), loaded.sql_server);
}

void ResetConnection(Session& session) { session.SourceConnection = nullptr; }

SourceInputs InputsFromSession(const Session& session) {
  SourceInputs inputs;
  if (session.Provider == kSqlServerSource) {
    inputs.txtSQLServer = session.Server;
    inputs.txtSQLUID = session.User;
    inputs.txtSQLKennwort = session.Password;
    inputs.txtSQLDB = session.Database;
  } else if (session.Provider == kAccessSource) {
    inputs.txtAccessDB = session.Database;
    inputs.txtSQLKennwort = AsConnectionValue(session.Password);
  } else if (session.Provider == kExcelSource) {
    inputs.txtExcelFile = session.Database;
  } else if (session.Provider == kDBaseSource) {
    inputs.txtdBaseFile = session.Database;
  }
  return inputs;
}

ConnectResult ConnectFromSession(Session& session, const ConnectionOpener& open) {
  ConnectResult result;
  if (session.Provider == kTextSource) {
    result.connected = true;
    return result;
  }
  const SourceInputs inputs = InputsFromSession(session);
  ListLoadedFlags loaded;
  if (session.Provider == kSqlServerSource) {
    result = ConnectSQLServer(session, inputs, loaded, open);
  } else if (session.Provider == kAccessSource) {
    result = ConnectAccess(session, inputs, loaded, open);
  } else if (session.Provider == kExcelSource) {
    result = ConnectExcel(session, inputs, loaded, open);
  } else if (session.Provider == kDBaseSource) {
    result = ConnectdBase(session, inputs, loaded, open);
  } else {
    result.reason = "Unbekannte Art der Datenquelle: \"" + session.Provider + "\"";
    return result;
  }
  const std::string missing = MissingSetting(session);
  if (!result.connected && !missing.empty()) result.reason = kMissingSetting + missing;
  return result;
}

void ApplyImportFileName(Session& session) {
  const std::string& path = session.ImportFileName;
  if (path.empty()) return;
  const std::string extension = GetFileExtension(path);
  if (extension == ".MDB") {
    session.Provider = kAccessSource;
    session.Database = path;
  } else if (extension == ".DBF") {
    session.Provider = kDBaseSource;
    session.Database = GetFolderOfPath(path);
    session.Table = FileNameOfPath(path);
  } else {
    session.Provider = kTextSource;
    session.FileName = path;
  }
}

}  // namespace kestrel
