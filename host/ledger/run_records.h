// What the ledger tells of the records of a run, for people.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "kestrel/connection.h"
#include "kestrel/memory_recordset.h"

namespace kestrel::host {

// In the order of the source; empty for a run that there is not. Columns: Datensatz and BisDatensatz, of the source;
// Ereignis; Tabelle; Nummer and BisNummer, null for what was not stored; of an update Feld, Vorher and Importiert, one
// row a field. Neighbouring records to which the same has happened, with neighbouring numbers, share a row. What an
// undo has taken back is told apart ("neu, zurückgenommen"), by the range in which it lay, and by the number of its
// records where others lay in between. The first `most` rows, where given, cost no more time and memory in a long run
// than in a short one. Error 3000.
std::shared_ptr<MemoryRecordset> RecordsOfRun(Connection& connection, std::int64_t run,
                                              std::optional<std::int64_t> most = std::nullopt);

}  // namespace kestrel::host
