// The contract with the import class: the destination object, driven by member name only. Any object that
// answers to these names is accepted.
//
//   Connection (set), PersonalNr, Application, SpecificationFile (let), HasConfig, ShowConfig, GetFields,
//   BeforeImport(ByRef cancel), GetNewRecord, ImportRecord(ByRef record), AfterImport,
//   ErrorCode, ErrorDescription
//
// Optional; a run looks once, at its start, which of them the class has:
//
//   NextLateError: whether there is one more error of a record handed over earlier that was not told yet. It is
//     told by ErrorCode and ErrorDescription then.
//   ErrorFirstRecord, ErrorLastRecord, read after an ErrorCode other than 0: the records that the error belongs
//     to, counted from 1 over the calls of ImportRecord since BeforeImport. 0 is the record just handed over,
//     -1 none. More than one: all of them were lost, for instance with their transaction.
//   StopReason, read after an ErrorCode other than 0: not empty where going on is senseless, and why.
//   ImportResult, read after an ImportRecord that was not refused: what the record just handed over has become,
//     "new" or "updated", a blank and the number of its address; where that is not known yet, empty, or "open", a
//     blank and the number that the address will have unless it is taken.
//   DescribeAddress(address type, number, ByRef name, ByRef place): fills the two texts for an address that a record
//     is held to repeat; they stay empty for one that is not known.
//   CheckRecord(ByRef record): asked in a test run instead of ImportRecord: ErrorCode tells then why ImportRecord
//     would refuse the record after those checked before, and nothing is stored. All that is said of ImportRecord
//     above holds for it, but ImportResult is not asked.
//   NextLateUpdate: a record, counted as above, of which ImportResult did not know yet that it updates an
//     address; 0 where there is none or no more. Asked behind the last record, after NextLateError.
//
// Order at the start of step 2 (CreateImportClass): the previous object is released; a new one is created;
// Connection, PersonalNr, Application, SpecificationFile are assigned in this order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "component/session.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

// Creates and primes the import class named by session.ImportClassProgID; a new import begins here
// (import/active_import.h). On failure shows the message and returns false: with error 429
//   "Der angegebene Import Provider ''" + ProgID + "'' kann nicht geladen werden. Fehlercode 429."
// with the information icon and no title of its own, with any other error "Fehler: " + its description
// without icon. When creating itself failed, session.ImportClass is unset. `failure`, where given, receives
// the error with its full description (plug-in, symbol, folders), which the 429 message leaves out.
bool CreateImportClass(Session& session, std::optional<RuntimeError>* failure = nullptr);

// Whether the settings dialog is offered: false only when HasConfig answers a truth value that is false.
// A failing HasConfig is the caller's to trap.
bool ImportClassHasConfig(Session& session);

// Lets SpecificationFile to the working copy, then calls ShowConfig.
void ShowImportClassConfig(Session& session);

// What ErrorCode and ErrorDescription say. The description is read only for a code other than 0.
struct ImportClassError {
  std::int64_t code = 0;
  std::string description;
};
ImportClassError ReadImportClassError(Session& session);

}  // namespace kestrel
