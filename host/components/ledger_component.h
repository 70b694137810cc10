// kestrelhost.RunLedger: what the imports did, for programs that show it or take it back.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "kestrel/bound_object.h"
#include "kestrel/connection.h"
#include "ledger/run_undo.h"

namespace kestrel::host {

class LedgerComponent final : public BoundObject<LedgerComponent> {
 public:
  static void Bind(Members& members);

 private:
  // Error 91 or 438 where the object is no connection, 3000 where its database has no ledger.
  void SetConnection(const ObjectPtr& connection);
  // The runs, the first one first, each with all its columns of Importlauf (see schema/host_schema.cpp);
  // Fehler and Gekuerzt are null where it has not told its end.
  ObjectPtr Runs();
  // The last ones, the last one first; one more than `most` where there are more.
  ObjectPtr LastRuns(std::int64_t most);
  // See RecordsOfRun.
  ObjectPtr Records(std::int64_t run, std::optional<std::int64_t> most);
  // Begins to take a run back, as RunUndo; NextUndo does a part of it, and is true while there is more.
  void StartUndo(std::int64_t run, bool is_trial, bool takes_changes);
  bool NextUndo();
  // Of the undo started last. Error 91 where there is none.
  std::int64_t UndoTotal() const { return Undo().total(); }
  std::int64_t UndoDone() const { return Undo().done(); }
  std::int64_t Removed() const { return Undo().removed(); }
  std::int64_t Restored() const { return Undo().restored(); }
  // What was left alone. Columns: Datensatz, Nummer, Feld, Vorher, Importiert, Jetzt.
  ObjectPtr LeftAlone() const;

  RunUndo& Undo() const;

  ObjectPtr connection_;
  std::unique_ptr<RunUndo> undo_;  // ends before its connection
};

}  // namespace kestrel::host
