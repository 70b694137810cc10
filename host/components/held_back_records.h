// kestrelhost.HeldBackRecords: what a person decides about records that an import held back as duplicates.
//
// A record is named by the key of its first row in the duplicate log (Zeile of kestrelhost.LogReader).
//
// Invariants
//  1. A record is decided once: the decision is stored only where there was none, so two people cannot store it
//     twice.
//  2. The record and its decision are one transaction: it is never stored without being decided, nor the other
//     way round.
//  3. The rows of the log stay as they are; the decision stands beside them (Protokolldetails).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "components/single_record_run.h"
#include "kestrel/bound_object.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"

namespace kestrel::host {

class HeldBackRecords final : public BoundObject<HeldBackRecords> {
 public:
  // The registry, which import classes are taken from, outlives this object.
  explicit HeldBackRecords(ComponentRegistry& components) : components_(components) {}
  static void Bind(Members& members);

 private:
  // Error 91 or 438 where the object is no connection.
  void SetConnection(const ObjectPtr& connection);
  // Both sides as a record set: Feld; Neu, what the import class is to get, as it would be stored, null where the
  // import does not fill the field; Vorhanden, of the address that it repeats, null where that is gone. Fields that
  // are empty on both sides are left out. Error 3021 for a record that is not known, 3000 from the database.
  ObjectPtr Compare(std::int64_t record);
  // Stores the record through its import class, whatever it repeats; the decision that was noted. Error 5 where it
  // is decided already or its import class is not known, 3021 as above; what the class tells or raises. Nothing is
  // stored then, but for an error that comes behind the commit, whose text says so. A run of its own in the ledger.
  std::string ImportAnyway(std::int64_t record, const std::string& personal_nr);
  // Notes that it is not to be imported; the decision that was noted. Error 5 where it is decided already, 3021.
  std::string Discard(std::int64_t record);

  // What stands beside the record's first row.
  struct Head {
    std::int64_t address_type = 0;
    std::string address;
    std::string decision;
    std::string import_class;
    std::string specification;
    std::string source;
    std::int64_t record = 0;  // of the source
  };

  Connection& OpenConnection() const { return RequireConnection(connection_); }
  Head HeadOf(std::int64_t record) const;
  Head UndecidedHeadOf(std::int64_t record) const;
  SingleRecordRun::Fields FieldsOf(std::int64_t record) const;
  void Note(std::int64_t record, std::string_view decision) const;

  ComponentRegistry& components_;
  ObjectPtr connection_;
};

}  // namespace kestrel::host
