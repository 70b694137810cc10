#include "sources/source_reader.h"

#include <memory>
#include <utility>

#include "kestrel/memory_recordset.h"
#include "kestrel/runtime_error.h"
#include "kestrel/user_interface.h"
#include "sources/apart_session.h"
#include "sources/source_connection.h"
#include "sources/source_kind.h"
#include "sources/text_source.h"

namespace kestrel {

namespace {

void ShowError(Session& session, const RuntimeError& error) {
  session.platform.ui.MessageBox("Fehler: " + error.Description(), "", Icon::kNone, Buttons::kOk);
}

// Runs one step; shows its error, which `failure` gets where given, and goes on.
template <class Step>
void TrapAndShow(Session& session, ShownError* failure, Step&& step) {
  Trap(std::forward<Step>(step), [&](const RuntimeError& error) {
    ShowError(session, error);
    if (failure != nullptr) *failure = error;
  });
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

// Opens the session's source anew. Raises what keeps it from opening; the record set is an empty one then.
void OpenAnew(Session& session) {
  session.SourceRecordset = EmptyRecordset();
  session.SourceRecordset = OpenSource(session);
}

bool IsAtEnd(const Session& session) {
  bool at_end = false;
  if (session.SourceRecordset != nullptr) Trap([&] { at_end = session.SourceRecordset->IsEof(); }, Ignore);
  return at_end;
}

std::vector<std::string> CatalogColumnNames(Session& session, ShownError* failure) {
  AskedColumns asked;
  if (session.SourceConnection == nullptr) {
    asked.error = RuntimeError(ErrorNumber::kObjectClosed);
  } else {
    asked = AskColumns(*session.SourceConnection, session.Table);
  }
  return ToldColumnNames(session, asked, failure);
}

}  // namespace

TextFormat TextFormatOf(const Session& session) {
  return {session.ColumnHeadings, session.FileFormat, session.Delimiter, session.TextRecognition};
}

// Keeps the first error, and sees to it that a loop over the records ends.
void SourceReader::BreakOff(const RuntimeError& error) {
  if (!end_.error) end_ = {SourceState::kBrokenOff, error};
  if (!IsAtEnd(session_)) session_.SourceRecordset = EmptyRecordset();
}

// The record set is at its end: tells where that is not the source's.
void SourceReader::NoteEnd() {
  if (end_.error || end_.state == SourceState::kAtEnd) return;
  if (const std::optional<RuntimeError> reason = session_.SourceRecordset->BrokenOff()) {
    ShowError(session_, *reason);
    BreakOff(*reason);
  } else {
    end_.state = SourceState::kAtEnd;
  }
}

void SourceReader::OpenSourceRecordset() {
  end_ = {SourceState::kOpen, std::nullopt};
  Trap([&] { OpenAnew(session_); },
       [&](const RuntimeError& error) {
         end_ = {SourceState::kNotOpened, error};
         ShowError(session_, error);
       });
}

bool SourceReader::SourceEOF() {
  bool at_end = false;
  if (session_.SourceRecordset != nullptr) {
    Trap([&] { at_end = session_.SourceRecordset->IsEof(); },
         [&](const RuntimeError& error) { BreakOff(error); });
    if (at_end) NoteEnd();
  }
  return at_end;
}

RecordsetPtr SourceReader::SourceMoveFirst() {
  if (session_.SourceRecordset == nullptr) return nullptr;
  if (end_.state == SourceState::kAtEnd) end_.state = SourceState::kOpen;
  Trap([&] { session_.SourceRecordset->MoveFirst(); },
       [&](const RuntimeError& error) {
         // With a row to read it is the source that can be walked only once.
         if (IsAtEnd(session_)) BreakOff(error);
       });
  return session_.SourceRecordset;
}

const RecordsetPtr& SourceReader::SourceMoveNext() {
  const auto move = [&] {
    if (session_.SourceRecordset == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
    session_.SourceRecordset->MoveNext();
  };
  Trap(move, [&](const RuntimeError& error) {
    ShowError(session_, error);
    // One step behind the end is the consumer's mistake.
    if (!error.Is(ErrorNumber::kNoCurrentRecord) || !IsAtEnd(session_)) BreakOff(error);
  });
  return session_.SourceRecordset;
}

std::int64_t SourceReader::SourceRecordCount() {
  std::int64_t count = 0;
  if (session_.SourceRecordset != nullptr) {
    Trap([&] { count = session_.SourceRecordset->RecordCount(); }, Ignore);
  }
  return count;
}

void SourceReader::CloseSource() { session_.SourceRecordset = nullptr; }

std::vector<std::string> GetTextFieldNames(Session& session, ShownError* failure) {
  std::vector<std::string> names;
  TrapAndShow(session, failure, [&] { names = ReadTextFieldNames(session.FileName, TextFormatOf(session)); });
  if (names.empty()) names.emplace_back();
  return names;
}

std::vector<std::string> GetSourceColumnNames(Session& session, ShownError* failure) {
  return CatalogColumnNames(session, failure);
}

std::vector<std::string> GetColumnNamesByComponent(Session& session, ShownError* failure) {
  return CatalogColumnNames(session, failure);
}

std::vector<std::string> SourceColumnNames(Session& session, ShownError* failure) {
  const SourceKind* kind = KindOf(session);
  return kind == nullptr ? std::vector<std::string>{""} : kind->column_names(session, failure);
}

AskedColumns AskColumns(Connection& connection, const std::string& table) {
  AskedColumns asked;
  Trap([&] { asked.names = connection.ColumnNames(table); },
       [&](const RuntimeError& error) { asked.error = error; });
  return asked;
}

std::function<AskedColumns()> BeginColumns(const Session& session) {
  return [apart = std::make_shared<ApartSession>(session)] {
    AskedColumns asked;
    Trap([&] { asked.names = SourceColumnNames(apart->session(), &asked.error); },
         [&](const RuntimeError& error) { asked.error = error; });
    // Whoever tells the names adds the empty element.
    if (!asked.names.empty()) asked.names.pop_back();
    return asked;
  };
}

std::vector<std::string> ToldColumnNames(Session& session, const AskedColumns& asked, ShownError* failure) {
  if (asked.error) {
    ShowError(session, *asked.error);
    if (failure != nullptr) *failure = asked.error;
  }
  std::vector<std::string> names = asked.names;
  names.emplace_back();
  return names;
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
  Trap([&] { OpenAnew(session); }, [&](const RuntimeError& error) { reason = error.Description(); });
  return reason;
}

}  // namespace kestrel
