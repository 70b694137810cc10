#include "ledger/run_state.h"

#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "kestrel/clock.h"
#include "kestrel/transaction.h"
#include "ledger/run_lock.h"
#include "platform/base/counted.h"
#include "platform/base/text.h"
#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

struct OpenRun {
  std::int64_t number;
  std::string begin;
  std::string prog_id;
};

std::vector<OpenRun> RunsThatRun(Connection& connection) {
  const auto query =
      connection.Prepare("SELECT LaufNr, Beginn, ProgID FROM Importlauf WHERE Zustand = ? ORDER BY LaufNr");
  query->BindText(0, kRunning);
  std::vector<OpenRun> runs;
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    runs.push_back({rows->ValueAt(0).ToInteger(), std::string(rows->TextAt(1)), std::string(rows->TextAt(2))});
  }
  return runs;
}

// How many records of a run have come to which end, as far as that was committed.
std::map<std::string, std::int64_t, std::less<>> CountsOf(Connection& connection, std::int64_t run) {
  const auto query = connection.Prepare("SELECT Ereignis, sum(Anzahl) FROM Importlaufzeilen WHERE " +
                                        std::string(kOfRun) + " GROUP BY Ereignis");
  BindRun(*query, 0, run);
  std::map<std::string, std::int64_t, std::less<>> counts;
  for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
    counts[std::string(rows->TextAt(0))] = rows->ValueAt(1).ToInteger();
  }
  return counts;
}

// What is told of the run; empty where it ended meanwhile.
std::string MarkBrokenOff(Connection& connection, const OpenRun& run) {
  std::string told;
  InTransaction(connection, [&] {
    auto counts = CountsOf(connection, run.number);
    std::int64_t read = 0;
    for (const auto& [event, count] : counts) read += count;
    const auto update = connection.Prepare(
        "UPDATE Importlauf SET Zustand = ?, Gelesen = ?, Neu = ?, Aktualisiert = ?, Zurueckgehalten = ?, "
        "Abgewiesen = ? WHERE LaufNr = ? AND Zustand = ?");
    update->BindText(0, kBrokenOff);
    update->BindInteger(1, read);
    std::size_t parameter = 2;
    for (const std::string_view event : {kNew, kUpdated, kHeldBack, kRejected}) {
      update->BindInteger(parameter++, counts[std::string(event)]);
    }
    update->BindInteger(6, run.number);
    update->BindText(7, kRunning);
    if (update->Execute() == 0) return;
    const std::string number = std::to_string(run.number);
    told = "Der Importlauf " + number + " vom " + run.begin +
           " wurde abgebrochen, ohne dass er sein Ende melden konnte. Gespeichert sind " +
           std::to_string(counts[std::string(kNew)]) + " neue und " +
           Counted(counts[std::string(kUpdated)], "geänderte Adresse", "geänderte Adressen") +
           ". Die Seite Importläufe oder 'kestrel-import runs " + number +
           "' zeigt sie, 'kestrel-import undo " + number + "' nimmt sie zurück.";
  });
  return told;
}

}  // namespace

void BindRun(Statement& statement, std::size_t first_parameter, std::int64_t run) {
  statement.BindInteger(first_parameter, run * kRowsPerRun);
  statement.BindInteger(first_parameter + 1, (run + 1) * kRowsPerRun);
}

std::string ColumnsOf(const Destination& destination) {
  std::string columns;
  for (const DestinationField& field : destination.fields) {
    columns += (columns.empty() ? "" : ",") + ReplaceAll(ToldName(field.column), ",", ";");
  }
  return columns;
}

std::string LedgerTime() {
  const DateTime now = SystemClock().Now();
  const std::string digits = FormatStoredDate(now.date);
  const auto two = [](int number) { return std::string(number < 10 ? "0" : "") + std::to_string(number); };
  return digits.substr(0, 4) + "-" + digits.substr(4, 2) + "-" + digits.substr(6, 2) + " " + two(now.hour) +
         ":" + two(now.minute) + ":" + two(now.second);
}

std::optional<std::int64_t> RunAtWork(Connection& connection, std::string_view prog_id) {
  if (!HasTable(connection, "Importlauf")) return std::nullopt;
  for (const OpenRun& run : RunsThatRun(connection)) {
    if (!prog_id.empty() && !EqualsIgnoringCase(run.prog_id, prog_id)) continue;
    if (!RunLock::Acquire(connection, run.number)) return run.number;
  }
  return std::nullopt;
}

std::string RestoreLedger(Connection& connection) {
  // Another database than the sample host's is left alone.
  if (!HasTable(connection, "Importziele")) return {};
  CreateLedgerTables(connection);
  std::string told;
  for (const OpenRun& run : RunsThatRun(connection)) {
    // Where that cannot be told, as the lock is another user's, the run stays for that one to find.
    Trap(
        [&] {
          const std::optional<RunLock> lock = RunLock::Acquire(connection, run.number);
          if (!lock) return;
          std::string sentence;
          Trap([&] { sentence = MarkBrokenOff(connection, run); },
               [&](const RuntimeError& error) {
                 connection.attachments().Of<UnmarkedRuns>(connection).numbers.push_back(run.number);
                 sentence =
                     "Der Importlauf " + std::to_string(run.number) + " vom " + run.begin +
                     " ist abgebrochen, aber das lässt sich noch nicht eintragen: " + error.Description();
               });
          told += (told.empty() || sentence.empty() ? "" : "\n") + sentence;
        },
        [](const RuntimeError&) {});
  }
  RunLock::RemoveAbandoned(connection);
  return told;
}

}  // namespace kestrel::host
