// What became of a source record, as data.
//
// Invariants
//  1. Every record worked through has exactly one outcome, told at the end of its round, in the source's order.
//  2. Every error that a run counts is told once: in the outcome of the record in whose round it came up, or by
//     a revision, where it belongs to other records or to none.
//  3. A revision changes outcomes told before: of the records it names, those that were stored, updated or checked
//     until then have its fate from there on. No other outcome changes, and no record's fate changes from rejected.
//  4. So the records of a fate are the outcomes with it, less those revised from it, and more those revised to it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/duplicate_match.h"

namespace kestrel {

enum class RecordFate : std::uint8_t {
  kStored,   // handed to the import class, and no loss told; a new address where the class tells (ImportResult)
  kUpdated,  // the same, and it replaced what an address held
  kHeldBack,  // suspected to be a duplicate
  kRejected,  // handed over and refused, or lost; or not handed over, as it could not be made. In a test run: it
              // would be
  kChecked,   // only read and checked: a test run
};

// One row of the error log. Texts are UTF-8.
struct RecordError {
  std::int64_t number = 0;         // an ErrorNumber, or the import class's own
  std::string text = {};           // without the names of records, which the log's row may have in front
  std::string function = {};       // the import class's member that told it; empty: the run's own
  std::string field = {};          // of the destination; empty where the error is not one field's
  std::string source_column = {};  // empty for a constant
  std::string raw_value = {};      // as the source delivered it, before any rule; the constant
};

// What became of a record, and why.
struct RecordOutcome {
  std::int32_t record = 0;                   // of the source, from 1
  RecordFate fate = RecordFate::kStored;     // what became of it; RunView::Revise may tell another one later
  std::vector<RecordError> errors = {};      // an error need not reject the record
  std::vector<std::string> cut_fields = {};  // those whose value was longer than the field and lost its end
  std::string address = {};  // the number of the address stored; empty where the import class does not tell
  DuplicateMatch duplicate_of = {};  // of a record held back, as far as the host told

  // Keeps its memory.
  void Begin(std::int32_t record_number) {
    record = record_number;
    fate = RecordFate::kStored;
    errors.clear();
    cut_fields.clear();
    address.clear();
    duplicate_of.Clear();
  }
};

// An error behind the outcomes it belongs to, or of none; or another fate of records told before.
struct OutcomeRevision {
  std::int32_t first = 0;                   // source records, both included; 0: none is named
  std::int32_t last = 0;                    // 0 where `first` is
  RecordFate fate = RecordFate::kRejected;  // theirs from now on
  // How many outcomes it changes. 1 without a record named: one of those handed over is lost, nobody says which.
  std::int32_t revised = 0;
  std::optional<RecordError> error = {};
};

}  // namespace kestrel
