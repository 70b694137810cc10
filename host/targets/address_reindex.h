// Brings the address index of a destination in line with its table, which other programs write, too.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kestrel/connection.h"
#include "keys/duplicate_keys.h"
#include "schema/definition_watch.h"
#include "schema/destination.h"
#include "storage/address_index.h"

namespace kestrel::host {

class AddressReindex {
 public:
  enum class Way { kLook, kRepair };

  // `connection` and `destination`, which has an address type, outlive this object. Error 3000.
  AddressReindex(Connection& connection, const Destination& destination, Way way,
                 std::shared_ptr<KeyMemory> keys);

  // Compares, and repairs, up to a thousand rows in one transaction, at last the rows of the index without an address;
  // false where that was all. Imports may go on meanwhile: they are kept waiting only while something is repaired, and what
  // is repaired is read anew then. Error 3000.
  bool Next();

  std::int64_t total() const { return total_; }        // rows of the table
  std::int64_t done() const { return done_; }          // of them
  std::int64_t missing() const { return missing_; }    // addresses without a row in the index
  std::int64_t changed() const { return changed_; }    // addresses with other keys than there
  std::int64_t orphaned() const { return orphaned_; }  // rows of the index without an address
  // Addresses whose number is negative or too large for the index: the check does not know them.
  std::int64_t unfit() const { return unfit_; }

 private:
  struct Row {
    std::int64_t number;
    std::array<std::string, kKeyParts> parts;
    std::array<std::string, 3> keys;
    bool is_indexed;
  };
  struct Faults {
    std::int64_t missing = 0;
    std::int64_t changed = 0;
    std::int64_t unfit = 0;
  };
  std::vector<Row> Read();
  Faults Compare(const std::vector<Row>& rows, Way way);
  void FindOrphans();

  Connection& connection_;
  const Destination& destination_;
  const Way way_;
  DefinitionWatch watch_;
  AddressIndex index_;
  std::unique_ptr<Statement> query_;
  std::int64_t last_;
  std::int64_t total_ = 0;
  std::int64_t done_ = 0;
  std::int64_t missing_ = 0;
  std::int64_t changed_ = 0;
  std::int64_t orphaned_ = 0;
  std::int64_t unfit_ = 0;
  bool has_ended_ = false;
};

}  // namespace kestrel::host
