// Reading the source: one shared record set per session, whatever the kind of source.
//
//   SourceReader reader(session);
//   reader.OpenSourceRecordset();
//   for (RecordsetPtr row = reader.SourceMoveFirst(); !reader.SourceEOF(); row = reader.SourceMoveNext()) ...
//   reader.CloseSource();
//
// Errors of opening and reading are shown as "Fehler: " + description (OK button,
// no title of its own) and the consumer finds an empty or partly filled record set; nothing is raised.
// SourceEOF, SourceMoveFirst and SourceRecordCount ignore errors: false, the record set, 0.
//
// How reading ended, the reader of a record set knows. A record set breaks off where moving on or asking for its
// end fails, or where it says at its end that rows are missing (Recordset::BrokenOff, which has its message, too).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "component/session.h"
#include "kestrel/connection.h"
#include "kestrel/export.h"
#include "kestrel/source_end.h"
#include "sources/text_source.h"

namespace kestrel {

class SourceReader {
 public:
  // Reads into session.SourceRecordset. The session outlives the reader.
  explicit SourceReader(Session& session) : session_(session) {}

  void OpenSourceRecordset();
  bool SourceEOF();
  RecordsetPtr SourceMoveFirst();
  // A record set that breaks off without being at its end (a server gone away) is replaced by an empty one after
  // the message, so that the consumer's loop ends.
  const RecordsetPtr& SourceMoveNext();
  std::int64_t SourceRecordCount();
  void CloseSource();

  // How far reading has come since this reader opened the source; it stays after CloseSource.
  const SourceEnd& end() const { return end_; }

 private:
  void NoteEnd();
  void BreakOff(const RuntimeError& error);

  Session& session_;
  SourceEnd end_;
};

// Column names, always followed by one empty element. `failure`, where given, gets the error that was shown.
using ShownError = std::optional<RuntimeError>;
std::vector<std::string> GetTextFieldNames(Session& session, ShownError* failure = nullptr);
// dBase and Excel: the columns of session.Table, read from the catalog of the source connection.
std::vector<std::string> GetSourceColumnNames(Session& session, ShownError* failure = nullptr);
// SQL Server and Access: the same, in the order of the columns.
std::vector<std::string> GetColumnNamesByComponent(Session& session, ShownError* failure = nullptr);
// Those of the session's source, whatever its kind; an unknown provider gives only the empty element.
std::vector<std::string> SourceColumnNames(Session& session, ShownError* failure = nullptr);

// What a connection answers when it is asked for the columns of a table: perhaps only after a long time, so in another
// thread. Raises nothing.
struct AskedColumns {
  std::vector<std::string> names;
  std::optional<RuntimeError> error;
};
KESTREL_INTERNAL AskedColumns AskColumns(Connection& connection, const std::string& table);
// The same of a source that is read without a connection, with the settings of now. What it returns is called once, in
// whatever thread, perhaps still when the session has gone.
KESTREL_INTERNAL std::function<AskedColumns()> BeginColumns(const Session& session);
// The answer as SourceColumnNames would have told it.
KESTREL_INTERNAL std::vector<std::string> ToldColumnNames(Session& session, const AskedColumns& asked,
                                                          ShownError* failure);

// How the session's settings say that a text file is read.
TextFormat TextFormatOf(const Session& session);
// The record set of the file that FileName names. Raises what OpenTextSource raises.
RecordsetPtr OpenTextFile(Session& session);
// The record set of the kind's query on the source connection. Raises 3704 without a connection, and what
// opening raises.
RecordsetPtr OpenQuery(Session& session);
// "SELECT * From " and the table.
std::string TableQuery(const Session& session);

// What of the session's table is not as it looks (Connection::Remarks), from the open source connection;
// nothing without one, and where that fails: opening the source tells why.
KESTREL_INTERNAL std::vector<SourceRemark> SourceRemarks(Session& session);

// What the reader would say, without a box: opens the source connection and record set for the session and
// returns the reason of the first failure, empty on success. For the command line's check and tables.
std::string TrySource(Session& session);

}  // namespace kestrel
