// Reading the source: one shared record set per session, whatever the kind of source.
//
// A consumer calls OpenSourceRecordset, SourceMoveFirst, then SourceEOF and SourceMoveNext in a loop, and
// CloseSource at the end. Errors of opening and reading are shown as "Fehler: " + description (OK button,
// no title of its own) and the consumer finds an empty or partly filled record set; nothing is raised.
// SourceEOF, SourceMoveFirst and SourceRecordCount ignore errors: false, the record set, 0.
//
// How reading ended stands in session.source_end. A record set breaks off where moving on or asking for its end
// fails, or where it says at its end that rows are missing (Recordset::BrokenOff, which has its message, too).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "component/session.h"
#include "kestrel/connection.h"
#include "kestrel/export.h"
#include "sources/text_source.h"

namespace kestrel {

KESTREL_INTERNAL void OpenSourceRecordset(Session& session);
bool SourceEOF(Session& session);
KESTREL_INTERNAL RecordsetPtr SourceMoveFirst(Session& session);
// A record set that breaks off without being at its end (a server gone away) is replaced by an empty one after
// the message, so that the consumer's loop ends.
RecordsetPtr SourceMoveNext(Session& session);
KESTREL_INTERNAL std::int64_t SourceRecordCount(Session& session);
KESTREL_INTERNAL void CloseSource(Session& session);

// Column names, always followed by one empty element.
std::vector<std::string> GetTextFieldNames(Session& session);
// dBase and Excel: the columns of session.Table, read from the catalog of the source connection.
std::vector<std::string> GetSourceColumnNames(Session& session);
// SQL Server and Access: the same, in the order of the columns.
std::vector<std::string> GetColumnNamesByComponent(Session& session);
// Those of the session's source, whatever its kind; an unknown provider gives only the empty element.
KESTREL_INTERNAL std::vector<std::string> SourceColumnNames(Session& session);

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
