// The contract with an import class: the component that stores the records of an import.
//
// It is created by the identifier that the import specification names (ImportClass=ksbimport.importkunden),
// from the registry that the host hands over, and driven by member name only (kestrel/object.h); BoundObject
// makes a class of an ordinary one. Each import has an object of its own. All calls come from the thread that
// runs the import.
//
// Texts are UTF-8. An import class raises nothing: what went wrong is asked for by ErrorCode and
// ErrorDescription, after GetFields, GetNewRecord and ImportRecord. What it raises all the same is trapped,
// shown and counted.
//
// In the order of an import:
//
//   Connection          set, an object   the host's connection as ImportMan got it; unset where the host gave none
//   PersonalNr          let, text        the user's number
//   Application         let, 16 bits     which kind of address is imported
//   SpecificationFile   let, text        path of the working copy of the specification; again before ShowConfig
//                                        and before a run. It may be read and changed until the run has ended.
//   HasConfig           get, boolean     whether the class has a dialog for settings of its own
//   ShowConfig          method           shows it and returns when it was closed
//   GetFields           method           the fields of a record, see below; the object is the caller's
//   BeforeImport        method           one boolean by reference, false: true there ends the run with no record
//   GetNewRecord        method           one empty record, see below, for each record of the source
//   ImportRecord        method           that record, filled, by reference: to be stored. Not called for a
//                                        record that is held back as a duplicate, and not in a test run.
//   AfterImport         method           the last record is over; not called where the run was cancelled or stopped
//   ErrorCode           get, integer     0: the last call was a success
//   ErrorDescription    get, text        read where ErrorCode is not 0
//
// GetFields delivers a record set with one row a field, in the order in which they are shown, and the columns
// of FieldListRow below under their names. FieldListOf makes one.
//
// GetNewRecord delivers a record set whose current row has a column for each field, by its name; their order is
// free. Values are written into that row and read back for the duplicate check: see Recordset. The object may
// be the same for each record if its row is empty again.
//
// Members that a class may have beyond these. A run looks once, at its start, which of them are there:
//
//   NextLateError                      method, boolean   there is one more error of a record handed over
//                                                        earlier; it is told by ErrorCode and ErrorDescription
//                                                        then. Asked after the last record and after
//                                                        AfterImport, until it is false.
//   NextLateUpdate                     method, integer   a record, counted as below, of which ImportResult did
//                                                        not know yet that it updates an address; 0 where there
//                                                        is none or no more. Asked after NextLateError.
//   ErrorFirstRecord, ErrorLastRecord  get, integer      read after an ErrorCode other than 0: the records that
//                                                        the error belongs to, counted from 1 over the calls of
//                                                        ImportRecord since BeforeImport. 0 is the one just
//                                                        handed over, -1 none. More than one: all of them were
//                                                        lost, for instance with their transaction.
//   ErrorField                         get, text         read after an ErrorCode other than 0: the destination field
//                                                        that the error is about; empty where it is not one field's
//   StopReason                         get, text         read after an ErrorCode other than 0: not empty where
//                                                        going on is senseless (a full disk), and why; the run
//                                                        ends.
//   ImportResult                       get, text         read after an ImportRecord that was not refused: what
//                                                        the record has become, "new" or "updated", a blank and
//                                                        the number of its address; where that is not known
//                                                        yet, empty, or "open", a blank and the number that the
//                                                        address will have unless it is taken.
//   DescribeAddress                    method            address type and number of an address that a record is
//                                                        held to repeat; fills two texts by reference, name and
//                                                        place, which stay empty for one that is not known. What
//                                                        it raises is ignored.
//   CheckRecord                        method            the record, by reference; called in a test run instead
//                                                        of ImportRecord: ErrorCode tells then why ImportRecord
//                                                        would refuse it after those checked before, and
//                                                        nothing is stored. What is said of ImportRecord holds
//                                                        for it, but ImportResult is not asked.
//   CheckValue                         method, text      field and text, as a record would hold it: why ImportRecord
//                                                        would refuse that, whatever else the record and the
//                                                        destination hold; a sentence, empty where it would not. For
//                                                        previews, outside of a run and for many values at once:
//                                                        changes nothing. What it raises is ignored.
//   CheckDestination                   method, text      what keeps the destination from taking records, for
//                                                        instance a missing right: sentences, one a line; asked
//                                                        behind GetFields where a specification is checked, and
//                                                        not in a run; stores nothing. What it raises is told as
//                                                        a warning.
//
//   AddressKind                        method, text      for the duplicate check, of a class that the host does not
//                                                        bring: lines that end with a line feed. The bit by which
//                                                        the host's address index knows its addresses, the field of
//                                                        their number, the key of section CfgSettings that lets
//                                                        existing ones be overwritten, and the fields of postal
//                                                        code, town, street and up to three names, which together
//                                                        are the name; a line may be empty. No text: its addresses
//                                                        are not checked.
//
// For a class that keeps a ledger of its runs; none of these is called in a test run. Sizes, records and counts are
// integers, all else texts:
//
//   RunStarts   method   specification, checksum, source, size, time: behind BeforeImport and the opening of the
//                        source, also where that failed; no record was handed over. The specification's path and the SHA-256 of its content as the run uses
//                        it, in hexadecimal digits; where the source is; of a file its size in bytes and its
//                        time, "JJJJ-MM-TT HH:MM:SS", else -1 and "".
//   RecordFate  method   first, last, fate: these source records, counted from 1, were not stored: "held back" as
//                        suspected duplicates, "rejected", or "passed over", as the run begins behind them. Told
//                        behind their round; of records that were lost later, when that is known. So the record
//                        handed over next is the one behind all those told of and handed over. What it raises is
//                        ignored.
//   RunEnds     method   end, read, added, updated, held back, rejected, errors, cut, cut fields: where
//                        RunStarts was called, behind AfterImport, if that is, and all late errors, before the
//                        source may be removed. "finished", "stopped" by the user, or "broken off"; added,
//                        updated, held back and rejected together are read; how many values were cut to their
//                        field's size, and in which fields ("30 in Bez1, 29 in Ort"). What RunStarts and RunEnds
//                        raise is counted and logged as an error of the run.
//   RunNumber   get, text   behind RunEnds: the number by which the ledger knows the run; empty where it has no such
//                           run
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "kestrel/export.h"
#include "kestrel/memory_recordset.h"

namespace kestrel {

// One field of a destination: a row of what GetFields delivers.
struct FieldListRow {
  // Column FieldName, text: the name under which its assignment is saved, up to 255 characters.
  std::string name;
  // FieldTyp, text, compared without case: "INT", "FLOAT", "VARCHAR" or "TEXT". A value that is no number is an
  // error of the first two; a VARCHAR is cut to its size.
  std::string type = "VARCHAR";
  // Size, 16 bits: the greatest number of characters of a VARCHAR.
  std::int64_t size = 0;
  // Obligation, boolean: must be assigned before an import may start.
  bool obligation = false;
  // DateField, boolean: holds a date, and needs a date format where it is assigned.
  bool date = false;
  // RowSourceTyp, 16 bits, and RowSource, text up to 255 characters: the permitted values, offered by the
  // editor of translations. 0: RowSource is a query on the host's connection, whose first column is the value
  // and whose column Description says what it means. 1: "value*meaning" for each value, separated by "#". No
  // RowSource: any value.
  std::int64_t row_source_typ = 0;
  std::string row_source = {};
};

// What GetFields delivers for these fields: a record set of the caller's own, at its first row. Raises 6 for a
// number beyond 16 bits. Any thread.
KESTREL_EXPORT std::shared_ptr<MemoryRecordset> FieldListOf(std::span<const FieldListRow> fields);

}  // namespace kestrel
