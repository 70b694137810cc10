// The shared source connection: the connection string of each kind, and when it is opened.
//
// The inputs are those of the data source page; without a page they come from the session (InputsFromSession).
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "platform/data/open_connection.h"

namespace kestrel {

// The texts of the page's boxes, as typed.
struct SourceInputs {
  std::string txtdBaseFile;
  std::string txtExcelFile;
  std::string txtAccessDB;
  std::string txtSQLServer;
  std::string txtSQLUID;
  std::string txtSQLKennwort;
  std::string txtSQLDB;
};

// One list-loaded flag per kind: set by a successful connect, cleared by edits.
struct ListLoadedFlags {
  bool sql_server = false;
  bool access = false;
  bool excel = false;
  bool dbase = false;
};

// The exact strings; texts are inserted as they stand.
std::string DBaseConnectionString(const SourceInputs& inputs);
std::string ExcelConnectionString(const SourceInputs& inputs);
std::string AccessConnectionString(const SourceInputs& inputs);
std::string SqlServerConnectionString(const SourceInputs& inputs);

// What a connect operation did.
struct ConnectResult {
  bool connected = false;
  // What the kind's table list shows now; meaningful only when connected.
  std::vector<std::string> tables;
  // Why it failed, for tools; the page stays silent. Empty when nothing was tried.
  std::string reason;
};

// Turns a connection string into an open connection, or raises why not.
using ConnectionOpener = std::function<ConnectionPtr(std::string_view connection_string)>;

// Each stops without action when a required input is empty or the kind's flag is set; else drops the shared
// connection, opens a new one, lists the tables and sets the flag. A catalog that cannot be read gives no
// tables and a reason; the connection stands all the same. Nothing is raised.
ConnectResult ConnectdBase(Session& session, const SourceInputs& inputs, ListLoadedFlags& loaded,
                           const ConnectionOpener& open = OpenConnection);
ConnectResult ConnectExcel(Session& session, const SourceInputs& inputs, ListLoadedFlags& loaded,
                           const ConnectionOpener& open = OpenConnection);
ConnectResult ConnectAccess(Session& session, const SourceInputs& inputs, ListLoadedFlags& loaded,
                            const ConnectionOpener& open = OpenConnection);
ConnectResult ConnectSQLServer(Session& session, const SourceInputs& inputs, ListLoadedFlags& loaded,
                               const ConnectionOpener& open = OpenConnection);

// What was opened apart from a session: the connection and its tables, or the reason why not.
struct OpenedSource {
  ConnectionPtr connection;
  std::vector<std::string> tables;
  std::string reason;
};
// ConnectSQLServer in two steps, for whoever waits for a server in another thread. Begin stops or drops the
// shared connection as told above; what it returns, empty where it stopped, opens the new one and lists the
// tables, touches no session, raises nothing and is called once, in whatever thread. Finish takes the result.
using SourceOpening = std::function<OpenedSource()>;
SourceOpening BeginConnectSQLServer(Session& session, const SourceInputs& inputs, const ListLoadedFlags& loaded,
                                    const ConnectionOpener& open = OpenConnection);
ConnectResult FinishConnectSQLServer(Session& session, OpenedSource opened, ListLoadedFlags& loaded);

// Drops the shared connection.
void ResetConnection(Session& session);

// The boxes of a session without a page. For Access the user and password boxes of SQL Server take part in the
// connection string: without a page the password is session.Password, and the user, who means nothing there, is
// empty.
SourceInputs InputsFromSession(const Session& session);
// Connects for session.Provider from InputsFromSession; a text source needs none and counts as connected.
// Where nothing is tried (a required setting is empty, the kind is unknown), the reason says so.
ConnectResult ConnectFromSession(Session& session, const ConnectionOpener& open = OpenConnection);

// The file handed in by the host decides the kind: ".MDB", ".DBF", else text. Changes Provider and Database,
// Table or FileName; nothing where the host named no file.
void ApplyImportFileName(Session& session);

}  // namespace kestrel
