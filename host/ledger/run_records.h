// What the ledger tells of the records of a run, for people.
#pragma once

#include <cstdint>
#include <memory>

#include "kestrel/connection.h"
#include "kestrel/memory_recordset.h"

namespace kestrel::host {

// In the order of the source; empty for a run that there is not. Columns: Datensatz and BisDatensatz, of the source;
// Ereignis; Tabelle; Nummer and BisNummer, null for what was not stored; of an update Feld, Vorher and Importiert, one
// row a field. Neighbouring records to which the same has happened, with neighbouring numbers, share a row. What an
// undo has taken back is told apart ("neu, zurückgenommen"), by the range in which it lay, and by the number of its
// records where others lay in between. Error 3000.
std::shared_ptr<MemoryRecordset> RecordsOfRun(Connection& connection, std::int64_t run);

}  // namespace kestrel::host
