// Import class for the tables of the host: one for all destinations. What it stores where stands in the
// rows of Importziele and Importfelder that carry its ProgID, so a new destination needs no programming.
//
// No call after Connection was set fails, but for ShowConfig, RunStarts and RunEnds: what goes wrong stands in ErrorCode
// and ErrorDescription, which every other call but these sets anew.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/bound_object.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "ledger/run_ledger.h"
#include "platform/data/borrowing_recordset.h"
#include "schema/destination.h"
#include "storage/address_lookup.h"
#include "storage/record_writer.h"
#include "storage/trial_table.h"

namespace kestrel::host {

class TableImporter final : public BoundObject<TableImporter> {
 public:
  // The registry outlives the import class.
  TableImporter(std::string prog_id, std::shared_ptr<KeyMemory> keys, ComponentRegistry& components)
      : prog_id_(std::move(prog_id)), keys_(std::move(keys)), components_(components) {}
  static void Bind(Members& members);

 private:
  // Error 91 for none, 438 for an object that is no connection.
  void SetConnection(const ObjectPtr& connection);
  // Stands in the ledger.
  void SetPersonalNr(std::string_view personal_nr) { personal_nr_ = personal_nr; }
  // Taken as every import class must; this one stores the same for every mode.
  void SetApplication(std::int16_t) {}
  // What it says of overwriting is read with BeforeImport.
  void SetSpecificationFile(std::string_view path) { specification_file_ = path; }
  // A program with windows brings the dialog, as the object "kestrelhost.ImportSettings".
  bool HasConfig() const;
  // Nothing is shown where there is none. Raises what the dialog raises.
  void ShowConfig();

  // A record set of destination fields; one without rows where the destination cannot be read.
  ObjectPtr GetFields();
  // Reads the destination again, so that its rows can be changed between two runs. Never cancels: a
  // destination at fault is told with each record.
  void BeforeImport(bool& cancel);
  // One record set for all records, its row emptied.
  ObjectPtr GetNewRecord();
  void ImportRecord(const Value& record);
  // Why ImportRecord would refuse the text in that field; empty where it would not, and for a field that there is not.
  std::string CheckValue(std::string_view field, std::string_view text);
  // What keeps the destination from taking records (storage/missing_rights.h), one sentence a line; empty where
  // nothing does. Stores nothing.
  std::string CheckDestination();
  // Sets ErrorCode to what ImportRecord would set it to after the records checked since BeforeImport, and stores
  // nothing: a table of the connection's own stands for the destination's (storage/trial_table.h). Errors may
  // come to light late, as those of ImportRecord.
  void CheckRecord(const Value& record);
  // As AfterImport, and sets ErrorCode to the next error that belongs to a record handed over
  // before and was not told yet; whether there is one. Records are stored in groups and without waiting for the
  // database, so that an error may come to light later; ImportRecord tells those of earlier records first, one
  // a call.
  bool NextLateError();
  // Commits what is still open, and returns when all of it is on the disk.
  void AfterImport();
  std::int64_t ErrorCode() const { return error_code_; }
  // The field that the error is about; empty where it is not one field's.
  const std::string& ErrorField() const { return error_field_; }
  const std::string& ErrorDescription() const { return error_description_; }
  // The records that the error belongs to, counted from 1 over the calls of ImportRecord since BeforeImport; 0
  // for the record just handed over, kNoRecord for none. More than one: all of them are lost.
  std::int64_t ErrorFirstRecord() const { return error_first_; }
  std::int64_t ErrorLastRecord() const { return error_last_; }
  // What the record just handed over has become: "new" or "updated", a blank and the number of its address; "open"
  // and the number that it is to have where the database has not said yet; empty where it was refused.
  std::string ImportResult() const;
  // The next record, counted as above, of which ImportResult did not know yet that it updates an address; 0
  // where there is none. Complete once NextLateError has answered no.
  std::int64_t NextLateUpdate();
  // Name and place of a stored address; empty where there is none. Raises what the database raises.
  void DescribeAddress(std::int64_t address_type, std::string_view number, std::string& name,
                       std::string& place);
  // What the duplicate check is to know (kestrel/import_class.h). Raises what the database raises.
  std::string AddressKind();
  // Not empty where going on after the error is senseless: why, and what to do.
  const std::string& StopReason() const { return stop_reason_; }

  // What the run tells of itself, for the ledger (kestrel/import_class.h). A run that does not tell is not kept.
  // Errors are those of RunLedger; 5 for an event or an end that is unknown.
  void RunStarts(std::string_view specification, std::string_view checksum, std::string_view source,
                 std::int64_t size, std::string_view time);
  void RecordFate(std::int64_t first, std::int64_t last, std::string_view fate);
  void RunEnds(std::string_view end, std::int64_t read, std::int64_t added, std::int64_t updated,
               std::int64_t held_back, std::int64_t rejected, std::int64_t errors, std::int64_t cut,
               std::string_view cut_fields);
  std::string RunNumber() const;

  static constexpr std::int64_t kNoRecord = -1;

  template <class Step>
  void Guard(Step&& step);
  Connection& OpenConnection() const;
  const Destination& Target();
  // What the record is refused for becomes the error.
  void Store(RecordWriter& writer, const Value& record);
  // Writes into the destination's table, or into one that stands for it; one of them an import.
  void RequireGrants();
  void RequireLedger();
  RecordWriter& Writer();
  RecordWriter& TrialWriter();
  std::unique_ptr<RecordWriter> NewWriter(const Destination& target);
  // Whether the specification lets the import change existing rows.
  bool Overwrites(const Destination& target) const;
  std::optional<NumberRange> RangeFor(const Destination& target) const;
  std::string Told(const RuntimeError& error) const;
  // Which field each column of a record belongs to; error 3265 for a column that is none.
  std::vector<std::size_t> ColumnsOf(const Recordset& record);
  void TellLateError();
  void NoteError(const RuntimeError& error);
  void NoteStopReason();
  void Finish();
  void Forget();

  std::string prog_id_;
  std::shared_ptr<KeyMemory> keys_;
  ComponentRegistry& components_;
  ConnectionPtr connection_;
  std::unique_ptr<Destination> target_;
  std::optional<AddressLookup> addresses_;
  std::unique_ptr<TrialTable> trial_;
  std::unique_ptr<RunLedger> ledger_;     // of the run under way, where it told of itself
  std::unique_ptr<RecordWriter> writer_;  // into trial_ where there is one
  std::shared_ptr<BorrowingRecordset> record_set_;
  Value own_record_;  // that record set, to compare with
  std::string specification_file_;
  std::string personal_nr_;
  std::int64_t record_ = 0;   // the calls of ImportRecord
  std::string finish_error_;  // that NextLateError has told
  std::int64_t error_code_ = 0;
  std::string error_description_;
  std::string error_field_;
  std::int64_t error_first_ = 0;
  std::int64_t error_last_ = 0;
  std::string stop_reason_;
  std::string missing_grants_;  // of the import under way
  std::string read_only_;       // why nobody can import
  std::string not_recorded_;    // why there is no ledger of it, where there should be one
  std::string way_to_record_;   // what to do about that
  StoreResult result_;
};

}  // namespace kestrel::host
