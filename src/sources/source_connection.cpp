#include "sources/source_connection.h"

#include <algorithm>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

constexpr const char* kMissingSetting = "Für die Verbindung zur Datenquelle fehlt eine Angabe: ";

// The first input that the kind cannot do without and that is empty; null if none.
const ConnectionInput* MissingInput(const SourceKind& kind, const SourceInputs& inputs) {
  const auto missing = std::find_if(kind.inputs.begin(), kind.inputs.end(), [&](const ConnectionInput& input) {
    return input.required_key != nullptr && (inputs.*input.input).empty();
  });
  return missing == kind.inputs.end() ? nullptr : &*missing;
}

std::size_t IndexOf(SourceFrame frame) { return static_cast<std::size_t>(frame); }

const SourceKind& KindOfFile(const SourceKinds& kinds, const std::string& path, FileEndings endings) {
  const std::string upper = UpperCase(path);
  const auto ends = [&](std::string_view ending) { return !ending.empty() && upper.ends_with(ending); };
  for (const SourceKind& kind : kinds) {
    if (ends(kind.ending) || (endings == FileEndings::kAll && ends(kind.further_ending))) return kind;
  }
  return kinds.Default();
}

}  // namespace

OpenedSource OpenAndList(const std::string& connection_string, TableLister list_tables,
                         const ConnectionOpener& open) {
  OpenedSource opened;
  const auto keep_reason = [&opened](const RuntimeError& error) { opened.reason = error.Description(); };
  if (Trap([&] { opened.connection = open(connection_string); }, keep_reason)) {
    Trap([&] { opened.tables = list_tables(*opened.connection); }, keep_reason);
  }
  return opened;
}

bool ListLoadedFlags::IsLoaded(const SourceKind& kind) const { return kinds_[IndexOf(kind.frame)] == &kind; }

void ListLoadedFlags::SetLoaded(const SourceKind& kind) { kinds_[IndexOf(kind.frame)] = &kind; }

void ListLoadedFlags::Clear(SourceFrame frame) { kinds_[IndexOf(frame)] = nullptr; }

ConnectResult Connect(Session& session, const SourceKind& kind, const SourceInputs& inputs,
                      ListLoadedFlags& loaded, const ConnectionOpener& open) {
  const SourceOpening opening = BeginConnect(session, kind, inputs, loaded, open);
  return opening ? FinishConnect(session, kind, opening(), loaded) : ConnectResult{};
}

SourceOpening BeginConnect(Session& session, const SourceKind& kind, const SourceInputs& inputs,
                           const ListLoadedFlags& loaded, const ConnectionOpener& open) {
  if (kind.connect == nullptr || MissingInput(kind, inputs) != nullptr || loaded.IsLoaded(kind)) return {};
  ResetConnection(session);
  return [connect = kind.connect, inputs, open] { return connect(inputs, open); };
}

ConnectResult FinishConnect(Session& session, const SourceKind& kind, OpenedSource opened,
                            ListLoadedFlags& loaded) {
  const bool connected = opened.connection != nullptr;
  session.SourceConnection = std::move(opened.connection);
  if (connected) loaded.SetLoaded(kind);
  return {connected, std::move(opened.tables), std::move(opened.reason)};
}

void ResetConnection(Session& session) { session.SourceConnection = nullptr; }

SourceInputs SessionInputs(const Session& session) {
  return {session.Server, session.User, session.Password, session.Database};
}

ConnectResult ConnectFromSession(Session& session, const ConnectionOpener& open) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr) return {false, {}, "Unbekannte Art der Datenquelle: \"" + session.Provider + "\""};
  if (kind->connect == nullptr) return {true, {}, {}};
  const SourceInputs inputs = kind->inputs_without_page(session);
  if (const ConnectionInput* missing = MissingInput(*kind, inputs)) {
    return {false, {}, std::string(kMissingSetting) + missing->required_key};
  }
  ListLoadedFlags loaded;
  return Connect(session, *kind, inputs, loaded, open);
}

void ApplyImportFileName(Session& session, FileEndings endings) {
  const std::string& path = session.ImportFileName;
  if (path.empty()) return;
  const SourceKind& kind = KindOfFile(KindsOf(session), path, endings);
  session.Provider = kind.name;
  if (kind.place == SourcePlace::kFolder) {
    session.*kind.location = GetFolderOfPath(path);
    session.Table = FileNameOfPath(path);
  } else {
    session.*kind.location = path;
  }
}

}  // namespace kestrel
