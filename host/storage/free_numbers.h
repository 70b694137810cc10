// Numbers for new rows of a table.
//
// On SQLite they follow the greatest one in the table: nobody else stores while the write transaction is open. Elsewhere
// the table's sequence gives them (schema/number_sequence.h), many at a time where many are wanted; a number that came
// with its record moves the sequence on. The numbers of a group that is lost, and those of a program that is killed, are
// left out.
//
// Invariants
//  1. No number is given twice, but one that was only looked at (Next without Take).
//  2. A number may have been taken past the sequence, by hand or by another program: the insert tells, and PassOver goes
//     on behind all numbers of the table.
//  3. Used under the connection's CallMutex, inside a transaction but for the end.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kestrel/connection.h"

namespace kestrel::host {

class FreeNumbers {
 public:
  // Of `column` in `table`. `connection` outlives the object. A trial table has numbers behind those of
  // the table `trial_of`, too. Error 3000.
  static std::unique_ptr<FreeNumbers> Of(Connection& connection, const std::string& table,
                                         const std::string& column, const std::string& trial_of = {});
  FreeNumbers() = default;
  FreeNumbers(const FreeNumbers&) = delete;
  FreeNumbers& operator=(const FreeNumbers&) = delete;
  virtual ~FreeNumbers() = default;

  // The next free number, the same until it is taken. Error 6 where there is none, 3000 from the database.
  virtual std::int64_t Next() = 0;
  // This number is in use now, whether Next gave it or not.
  virtual void Take(std::int64_t number) = 0;
  // Next gave this number, but a row has it; or the numbers up to this one are left to others. Error 3000.
  virtual void PassOver(std::int64_t number) = 0;
  // Rows that were stored are undone: of what Next gave, the numbers from this one on are free again.
  virtual void Undo(std::int64_t number) = 0;
  // The transaction of the numbers taken is about to be committed. Error 3000.
  virtual void BeforeCommit() {}
};

// So many numbers behind the one that was taken are left to others, too, after so many attempts: who takes the next number
// as soon as there is one, again and again, is left behind at last.
std::int64_t LeadAfter(int attempts);

// Others were faster so often in a row as nobody ever is. Error 3000.
[[noreturn]] void RefuseNumber();

// Calls `insert` with free numbers until it says that its row has got one. Inside a transaction. Errors of FreeNumbers
// and of `insert`.
template <class Insert>
void InsertNumbered(FreeNumbers& numbers, Insert&& insert) {
  constexpr int kMostAttempts = 40;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    const std::int64_t number = numbers.Next();
    if (insert(number)) return;
    numbers.PassOver(number < INT64_MAX / 2 ? number + LeadAfter(attempt) : number);
  }
  RefuseNumber();
}

}  // namespace kestrel::host
