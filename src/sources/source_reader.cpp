#include "sources/source_reader.h"

#include <memory>
#include <utility>

#include "kestrel/memory_recordset.h"
#include "kestrel/runtime_error.h"
#include "kestrel/user_interface.h"
#include "sources/source_connection.h"
#include "sources/source_kind.h"
#include "sources/text_source.h"

namespace kestrel {

namespace {

void ShowError(Session& session, const RuntimeError& error) {
  session.platform.ui.MessageBox("Fehler: " + error.Description(), "", Icon::kNone, Buttons::kOk);
}

// Runs one step; shows its error and goes on.
template <class Step>
bool TrapAndShow(Session& session, Step&& step) {
  return Trap(std::forward<Step>(step), [&session](const RuntimeError& error) { ShowError(session, error); });
}

void Ignore(const RuntimeError&) {}

Connection& RequireSourceConnection(const Session& session) {
  if (session.SourceConnection == nullptr) throw RuntimeError(ErrorNumber::kObjectClosed);
  return *session.SourceConnection;
}

RecordsetPtr EmptyRecordset() { return std::make_shared<MemoryRecordset>(); }

// The record set of the session's source; an empty one for an unknown kind.
RecordsetPtr OpenSource(Session& session) {
  const SourceKind* kind = KindOf(session);
  return kind == nullptr ? EmptyRecordset() : kind->open(session);
}

// Opens the session's source; `report` gets the error of a failure, which leaves an empty record set.
template <class Report>
void OpenReporting(Session& session, Report&& report) {
  session.SourceRecordset = EmptyRecordset();
  session.source_end = {SourceState::kOpen, std::nullopt};
  Trap([&] { session.SourceRecordset = OpenSource(session); },
       [&](const RuntimeError& error) {
         session.source_end = {SourceState::kNotOpened, error};
         report(error);
       });
}

bool IsAtEnd(const Session& session) {
  bool at_end = false;
  if (session.SourceRecordset != nullptr) Trap([&] { at_end = session.SourceRecordset->IsEof(); }, Ignore);
  return at_end;
}

// Keeps the first error, and sees to it that a loop over the records ends.
void BreakOff(Session& session, const RuntimeError& error) {
  if (!session.source_end.error) session.source_end = {SourceState::kBrokenOff, error};
  if (!IsAtEnd(session)) session.SourceRecordset = EmptyRecordset();
}

// The record set is at its end: tells where that is not the source's.
void NoteEnd(Session& session) {
  if (session.source_end.error || session.source_end.state == SourceState::kAtEnd) return;
  if (const std::optional<RuntimeError> reason = session.SourceRecordset->BrokenOff()) {
    ShowError(session, *reason);
    BreakOff(session, *reason);
  } else {
    session.source_end.state = SourceState::kAtEnd;
  }
}

std::vector<std::string> CatalogColumnNames(Session& session) {
  std::vector<std::string> names;
  TrapAndShow(session, [&] { names = RequireSourceConnection(session).ColumnNames(session.Table); });
  names.emplace_back();
  return names;
}

}  // namespace

TextFormat TextFormatOf(const Session& session) {
  return {session.ColumnHeadings, session.FileFormat, session.Delimiter, session.TextRecognition};
}

void OpenSourceRecordset(Session& session) {
  OpenReporting(session, [&session](const RuntimeError& error) { ShowError(session, error); });
}

bool SourceEOF(Session& session) {
  bool at_end = false;
  if (session.SourceRecordset != nullptr) {
    Trap([&] { at_end = session.SourceRecordset->IsEof(); },
         [&session](const RuntimeError& error) { BreakOff(session, error); });
    if (at_end) NoteEnd(session);
  }
  return at_end;
}

RecordsetPtr SourceMoveFirst(Session& session) {
  if (session.SourceRecordset == nullptr) return nullptr;
  if (session.source_end.state == SourceState::kAtEnd) session.source_end.state = SourceState::kOpen;
  Trap([&] { session.SourceRecordset->MoveFirst(); },
       [&session](const RuntimeError& error) {
         // With a row to read it is the source that can be walked only once.
         if (IsAtEnd(session)) BreakOff(session, error);
       });
  return session.SourceRecordset;
}

RecordsetPtr SourceMoveNext(Session& session) {
  const auto move = [&] {
    if (session.SourceRecordset == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
    session.SourceRecordset->MoveNext();
  };
  Trap(move, [&session](const RuntimeError& error) {
    ShowError(session, error);
    // One step behind the end is the consumer's mistake.
    if (!error.Is(ErrorNumber::kNoCurrentRecord) || !IsAtEnd(session)) BreakOff(session, error);
  });
  return session.SourceRecordset;
}

std::int64_t SourceRecordCount(Session& session) {
  std::int64_t count = 0;
  if (session.SourceRecordset != nullptr) {
    Trap([&] { count = session.SourceRecordset->RecordCount(); }, Ignore);
  }
  return count;
}

void CloseSource(Session& session) {
  session.SourceRecordset = nullptr;
  session.source_end = SourceEnd();
}

std::vector<std::string> GetTextFieldNames(Session& session) {
  std::vector<std::string> names;
  TrapAndShow(session, [&] { names = ReadTextFieldNames(session.FileName, TextFormatOf(session)); });
  if (names.empty()) names.emplace_back();
  return names;
}

std::vector<std::string> GetSourceColumnNames(Session& session) { return CatalogColumnNames(session); }

std::vector<std::string> GetColumnNamesByComponent(Session& session) { return CatalogColumnNames(session); }

std::vector<std::string> SourceColumnNames(Session& session) {
  const SourceKind* kind = KindOf(session);
  return kind == nullptr ? std::vector<std::string>{""} : kind->column_names(session);
}

RecordsetPtr OpenTextFile(Session& session) { return OpenTextSource(session.FileName, TextFormatOf(session)); }

RecordsetPtr OpenQuery(Session& session) {
  Connection& connection = RequireSourceConnection(session);
  return connection.OpenRecordset(KindOf(session)->query(session));
}

std::string TableQuery(const Session& session) { return "SELECT * From " + session.Table; }

std::vector<SourceRemark> SourceRemarks(Session& session) {
  std::vector<SourceRemark> remarks;
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr || kind->connect == nullptr || session.SourceConnection == nullptr) return remarks;
  Trap([&] { remarks = session.SourceConnection->Remarks(session.Table); }, Ignore);
  return remarks;
}

std::string TrySource(Session& session) {
  const ConnectResult connection = ConnectFromSession(session);
  if (!connection.connected) return connection.reason;
  std::string reason;
  OpenReporting(session, [&reason](const RuntimeError& error) { reason = error.Description(); });
  return reason;
}

}  // namespace kestrel
