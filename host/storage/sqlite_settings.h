// How the sample host wants its own SQLite files. A provider changes nothing in a file that it is handed; what
// an import needs to be fast is asked for here, of the files that this host makes.
#pragma once

#include "kestrel/connection.h"

namespace kestrel::host {

// Before the first table is made: large pages and a write ahead log, both kept in the file for good. A database
// that holds something stays as it is, and so does one that is not SQLite. Error 3000.
void PrepareNewDatabase(Connection& connection);

// For as long as the connection lives; the file stays as it is. With a write ahead log a commit is no longer
// flushed to the disk: the end of the program loses none of them, that of the machine none before the last
// MakeDurable and nothing that would leave the file inconsistent. Not inside a transaction. Error 3000.
void TuneForImport(Connection& connection);

// After it, for a test run: it adds rows of logs, which nobody reads again, so that the memory for pages need hold no
// more than the database does. Error 3000.
void TuneForTrial(Connection& connection);

}  // namespace kestrel::host
