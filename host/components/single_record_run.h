// One record through an import class, driven as an import drives it; a class that keeps a ledger keeps this, too.
//
// Invariants
//  1. What the class stores belongs to the caller's transaction, and so does what its ledger says of the record.
//  2. The run in the ledger ends as the record does: stored with Stored, rejected without.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/component_registry.h"
#include "kestrel/object.h"

namespace kestrel::host {

class SingleRecordRun {
 public:
  struct Origin {
    std::string import_class;   // its ProgID
    std::string specification;  // its path
    std::string source;         // where the record comes from, for a person
    std::int64_t record = 0;    // its number there; 0 where nobody knows
    std::string personal_nr;    // of the user at work
  };
  using Fields = std::vector<std::pair<std::string, std::string>>;  // names and texts

  // Creates the class and begins the run; no transaction is open. Errors are those of creating it and what it tells
  // or raises; 5 where it cancels.
  SingleRecordRun(ComponentRegistry& components, const ObjectPtr& connection, const Origin& origin);
  SingleRecordRun(const SingleRecordRun&) = delete;
  SingleRecordRun& operator=(const SingleRecordRun&) = delete;
  // Ends a run that has not stored its record. Raises nothing.
  ~SingleRecordRun();

  // Hands the record over, its empty fields left out. What the class tells or raises; 3265 for a field that it does
  // not have.
  void HandOver(const Fields& fields);
  // Once the database has answered everything: raises what the class knows only now.
  void RequireTaken();
  // The transaction is committed: ends the run. What the class tells or raises.
  void Stored();

 private:
  void RequireSuccess() const;
  void End(const char* fate);

  ObjectPtr import_class_;
  std::int64_t record_;
  bool is_update_ = false;
  bool is_ended_ = false;
};

}  // namespace kestrel::host
