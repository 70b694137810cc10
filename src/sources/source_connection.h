// The shared source connection: when it is opened, and with what.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "kestrel/open_connection.h"

namespace kestrel {

struct SourceKind;
enum class SourceFrame;
inline constexpr std::size_t kSourceFrames = 5;

// What a connection is opened with: the texts of the data source page's boxes, as typed, or of a session.
struct SourceInputs {
  std::string server = {};
  std::string user = {};
  std::string password = {};
  std::string database = {};

  bool operator==(const SourceInputs&) const = default;
};

// Turns a connection string into an open connection, or raises why not.
using ConnectionOpener = std::function<ConnectionPtr(std::string_view connection_string)>;

// What was opened apart from a session: the connection and its tables, or the reason why not. Where the catalog
// cannot be read there are no tables, and a reason; the connection stands all the same.
struct OpenedSource {
  ConnectionPtr connection;
  std::vector<std::string> tables;
  std::string reason;
};
using TableLister = std::vector<std::string> (*)(Connection&);
// Opens a connection and lists its tables. Raises nothing.
OpenedSource OpenAndList(const std::string& connection_string, TableLister list_tables,
                         const ConnectionOpener& open);

// The list-loaded flags of the page: the kind whose tables the list of each frame shows. A successful connect
// sets its kind's, an edit of a frame's input clears the frame's.
class ListLoadedFlags {
 public:
  bool IsLoaded(const SourceKind& kind) const;
  void SetLoaded(const SourceKind& kind);
  KESTREL_INTERNAL void Clear(SourceFrame frame);

 private:
  std::array<const SourceKind*, kSourceFrames> kinds_ = {};
};

// What a connect operation did.
struct ConnectResult {
  bool connected = false;
  // What the kind's table list shows now; meaningful only when connected.
  std::vector<std::string> tables;
  // Why it failed, for tools; the page stays silent. Empty when nothing was tried.
  std::string reason;
};

// Stops without action when the kind has no connection, a required input is empty or the kind's list is loaded;
// else drops the shared connection, opens a new one, lists the tables and sets the flag. Nothing is raised.
ConnectResult Connect(Session& session, const SourceKind& kind, const SourceInputs& inputs,
                      ListLoadedFlags& loaded, const ConnectionOpener& open = OpenConnection);

// The same in two steps, for whoever waits for a server in another thread. Begin stops or drops the shared
// connection as told above; what it returns, empty where it stopped, opens the new one and lists the tables,
// touches no session, raises nothing and is called once, in whatever thread. Finish takes the result. The kind
// outlives both.
using SourceOpening = std::function<OpenedSource()>;
SourceOpening BeginConnect(Session& session, const SourceKind& kind, const SourceInputs& inputs,
                           const ListLoadedFlags& loaded, const ConnectionOpener& open = OpenConnection);
ConnectResult FinishConnect(Session& session, const SourceKind& kind, OpenedSource opened,
                            ListLoadedFlags& loaded);

// Drops the shared connection.
void ResetConnection(Session& session);

// The inputs as the session holds them; what most kinds connect with where no page is shown.
SourceInputs SessionInputs(const Session& session);
// Connects for session.Provider without a page; a kind without a connection counts as connected. Where nothing
// is tried (a required setting is empty, the kind is unknown), the reason says so.
KESTREL_INTERNAL ConnectResult ConnectFromSession(Session& session,
                                                  const ConnectionOpener& open = OpenConnection);

// The file handed in by the host decides the kind by its ending: ".MDB", ".DBF", else text. Changes Provider
// and Database, Table or FileName; nothing where the host named no file. With all endings the further ones of
// the kinds
// (".ACCDB") count, too.
enum class FileEndings { kFirst, kAll };
KESTREL_INTERNAL void ApplyImportFileName(Session& session, FileEndings endings = FileEndings::kFirst);

}  // namespace kestrel
