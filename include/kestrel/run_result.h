// What a run has come to. Counts are records unless told otherwise; texts are UTF-8, German.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/source_end.h"

namespace kestrel {

// stored + rejected + duplicates + checked = records.
struct RunResult {
  std::int32_t records = 0;  // worked through
  std::int32_t total = 0;    // what the source said it has; -1 where it could not tell
  std::int32_t errors = 0;   // -1: the import class cancelled
  std::int32_t duplicates = 0;
  std::int32_t stored = 0;   // handed to the import class, and no loss of them told
  std::int32_t updated = 0;  // of those stored: the import class told that they replaced what an address held
  // handed to the import class and lost, or not handed over as they could not be made
  std::int32_t rejected = 0;
  std::int32_t checked = 0;  // only read and checked: a test run
  bool aborted = false;      // the user asked for it
  bool cancelled = false;    // the import class did
  std::string message;       // the text of the closing box

  SourceEnd source_end;     // how reading the source ended
  std::string stop_reason;  // not empty: the import class said that going on is senseless
  std::string source_kept;  // not empty: why the source file was not removed although that was asked for
  // Errors that the log did not take: the first of them, and how many they are.
  std::vector<std::string> unlogged;
  std::int32_t unlogged_count = 0;
};

}  // namespace kestrel
