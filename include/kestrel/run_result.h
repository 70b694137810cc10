// What a run has come to. Counts are records unless told otherwise; texts are UTF-8, German.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/run_figures.h"
#include "kestrel/source_end.h"

namespace kestrel {

// What ImportJob::Run returns. stored + rejected + duplicates + checked = records; the figures are the same, and more.
struct RunResult {
  std::int32_t records = 0;     // worked through
  std::int32_t skipped = 0;     // those before RunSettings::from
  std::int32_t total = 0;       // what the source said it has; -1 where it could not tell
  std::int32_t errors = 0;      // -1: the import class cancelled
  std::int32_t duplicates = 0;  // held back as suspected
  std::int32_t stored = 0;      // handed to the import class, and no loss of them told
  std::int32_t updated = 0;  // of those stored: the import class told that they replaced what an address held
  // handed to the import class and lost, or not handed over as they could not be made
  std::int32_t rejected = 0;
  std::int32_t checked = 0;  // only read and checked: a test run
  bool aborted = false;      // the user asked for it
  bool cancelled = false;    // the import class did
  std::string message;       // the text of the closing box
  RunFigures figures;        // of the records above

  SourceEnd source_end;  // how reading the source ended
  // Not empty: why no further record was read, as the import class said or the settings allow no more errors.
  std::string stop_reason;
  // Of an import that did not reach the source's end: the record to go on with (RunSettings::from). 0: none.
  std::int32_t next_record = 0;
  std::string run_number;   // of the ledger that the import class keeps (RunNumber); empty where it keeps none
  std::string source_kept;  // not empty: why the source file was not removed although that was asked for
  // Errors that the log did not take: the first of them, and how many they are.
  std::vector<std::string> unlogged;
  std::int32_t unlogged_count = 0;
  // Where they were to be kept: how many records were not stored. What could not be kept or written: why.
  std::int32_t rejects = 0;
  std::string rejects_error;
};

}  // namespace kestrel
