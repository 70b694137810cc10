// A test run's short way: what a table that is as this host makes it would take, known without asking it.
//
// Invariants
//  1. WouldTake is only true of values that the table takes under a free number; of all others the trial table
//     (storage/trial_table.h) is asked, as only the database tells in its own words why it refuses them.
//  2. The numbers that records of this test took stand here, those of addresses in the database.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

#include "kestrel/connection.h"
#include "schema/destination.h"
#include "storage/record_values.h"

namespace kestrel::host {

class PlainTrial {
 public:
  // For the trial table `destination`. Null where the table that it stands for is not as InitialiseHostDatabase
  // makes it, and on other databases than SQLite. Both outlive the object. Error 3000.
  static std::unique_ptr<PlainTrial> For(Connection& connection, const Destination& destination);

  bool WouldTake(const RecordValues& values) const;
  // Whether an address of the database or an earlier record of the test has the number. Error 3000.
  bool Has(std::int64_t number);
  // Whether a record of the test took it.
  bool HasTaken(std::int64_t number) const;
  // The next one that an address without a number gets. Error 6 where there is none.
  std::int64_t NextNumber() const;
  void Take(std::int64_t number);

 private:
  PlainTrial(Connection& connection, const Destination& destination);
  void SkipNumber();

  std::vector<std::size_t> counts_;     // fields whose column refuses what is below 0
  std::vector<std::size_t> mandatory_;  // and those whose column refuses null
  std::unique_ptr<Statement> select_number_;
  std::int64_t greatest_of_database_ = 0;
  std::int64_t greatest_ = 0;
  // Most sources number their records one after the other: such numbers are a range but for its gaps, and only
  // others are listed.
  std::int64_t range_begin_ = 0;
  std::int64_t range_end_ = 0;
  std::unordered_set<std::int64_t> gaps_;
  std::unordered_set<std::int64_t> others_;
};

}  // namespace kestrel::host
