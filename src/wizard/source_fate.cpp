#include "wizard/source_fate.h"

#include "platform/base/file.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

std::string Quoted(const std::string& path) { return "''" + path + "''"; }

}  // namespace

std::string SourceName(const Session& session) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr) return session.Provider;
  std::string text = std::string(kind->name) + " " + Quoted(session.*kind->location);
  if (kind->Has(&Session::Table) && !session.Table.empty()) text += ", Tabelle " + Quoted(session.Table);
  return text;
}

std::string SourceFateText(const Session& session, bool is_test, bool harmless_test) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr || !kind->Has(&Session::SaveFile)) return "Die Datenquelle wird nur gelesen.";
  const bool stays = is_test && harmless_test;
  const bool saves = session.SaveFile && !session.SavePath.empty() && !stays;
  const bool deletes = session.DeleteFile && !stays;
  std::string text;
  if (saves && !FolderExists(session.SavePath)) {
    text = "Die Datei kann nicht gesichert werden, da der Ordner " + Quoted(session.SavePath) + " fehlt. ";
  } else if (saves) {
    text = "Die Datei wird vorher nach " + Quoted(session.SavePath) + " kopiert. ";
  }
  if (!deletes) return text + (saves ? "Sie bleibt, wie sie ist." : "Die Datei bleibt, wie sie ist.");
  return text + (saves ? "Danach wird sie gelöscht" : "Die Datei wird ohne Sicherungskopie gelöscht") +
         ", sofern kein Fehler auftritt.";
}

}  // namespace kestrel
