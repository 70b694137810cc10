// What the ledger says of a run as a whole: the words in its tables, and what every start of a program puts right.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "schema/destination.h"

namespace kestrel::host {

// Importlauf.Zustand.
inline constexpr std::string_view kRunning = "läuft";
inline constexpr std::string_view kFinished = "fertig";
inline constexpr std::string_view kStopped = "angehalten";     // by the user
inline constexpr std::string_view kBrokenOff = "abgebrochen";  // by an error, or its program ended
inline constexpr std::string_view kUndoing = "in Rücknahme";   // under way, or its program ended
inline constexpr std::string_view kUndone = "zurückgenommen";

// Importlaufzeilen.Ereignis.
inline constexpr std::string_view kNew = "neu";
inline constexpr std::string_view kUpdated = "geändert";
inline constexpr std::string_view kHeldBack = "zurückgehalten";
inline constexpr std::string_view kRejected = "abgewiesen";

// A row's key is its run's number and its own one, as with the logs.
inline constexpr std::int64_t kRowsPerRun = std::int64_t{1} << 32;
// The condition that a row of Importlaufzeilen belongs to a run, with two parameters: see BindRun.
inline constexpr std::string_view kOfRun = "ZeilenNr > ? AND ZeilenNr < ?";
void BindRun(Statement& statement, std::size_t first_parameter, std::int64_t run);

// Importlauf.Spalten of a destination.
std::string ColumnsOf(const Destination& destination);

// The local time as the ledger holds it.
std::string LedgerTime();

// An import that a living program works on, of the import class if one is given; none where there is none, and where there
// are no tables of the ledger. Error 3000.
std::optional<std::int64_t> RunAtWork(Connection& connection, std::string_view prog_id = {});

// Makes the tables where an earlier version left a host database without them, and marks the runs that are
// "running" without a living program as broken off, with what they have stored. What is to be told of that, in
// sentences; empty where nothing is. Error 3000.
std::string RestoreLedger(Connection& connection);

// The runs that it found broken off but could not mark, as on a full disk; for whoever lists runs with that connection.
class UnmarkedRuns final : public Attachment {
 public:
  // Use Attachments::Of.
  explicit UnmarkedRuns(Connection&) {}
  std::vector<std::int64_t> numbers;
};

}  // namespace kestrel::host
