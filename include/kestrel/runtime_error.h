// Run-time errors: a number a caller can test and a German sentence a person can read.
//
// Every failure that crosses a function boundary in this library is a RuntimeError. The numbers are
// the classic ones of late-bound components, so that a host can recognise them; errors of data access
// have numbers from 3000 on. Components may raise numbers of their own.
#pragma once

#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "kestrel/export.h"

namespace kestrel {

// The numbers that the component raises; DescriptionOf has the sentence of each.
enum class ErrorNumber : int {
  kInvalidProcedureCall = 5,
  kOverflow = 6,
  kOutOfMemory = 7,
  kSubscriptOutOfRange = 9,
  kDivisionByZero = 11,
  kTypeMismatch = 13,
  kBadFileName = 52,
  kFileNotFound = 53,
  kDeviceIo = 57,
  kFileAlreadyExists = 58,
  kDiskFull = 61,
  kPermissionDenied = 70,
  kPathFileAccess = 75,
  kPathNotFound = 76,
  kObjectNotSet = 91,
  kInvalidUseOfNull = 94,
  kObjectRequired = 424,
  kCannotCreateObject = 429,
  kMemberNotFound = 438,
  kAutomation = 440,
  kArgumentNotOptional = 449,
  kWrongNumberOfArguments = 450,
  // Data access.
  kDatabase = 3000,  // the database refused a statement or a connection; the text says why
  kNoCurrentRecord = 3021,
  kNumberExists = 3022,  // a record of that number is stored already
  kColumnNotFound = 3265,
  kColumnType = 3421,  // a value does not fit the column's type or size
  kObjectClosed = 3704,
  kProviderNotFound = 3706,
};

// What every failure is raised as.
class KESTREL_EXPORT RuntimeError : public std::exception {
 public:
  // The description alone, as DescriptionOf(number) gives it.
  explicit RuntimeError(ErrorNumber number);
  // A description of the caller's own; it replaces the standard one.
  RuntimeError(ErrorNumber number, std::string description);
  // For components, whose numbers are their own.
  RuntimeError(int number, std::string description);

  // An ErrorNumber, or a component's own.
  int Number() const noexcept { return number_; }
  // German, UTF-8, for a person. Lives as long as the error.
  const std::string& Description() const noexcept { return description_; }
  // Whether it is that one of the numbers above.
  bool Is(ErrorNumber number) const noexcept { return number_ == static_cast<int>(number); }
  // The description.
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  int number_;
  std::string description_;
};

// The standard German sentence for a number, without a full stop; "Anwendungs- oder objektdefinierter
// Fehler" for a number that has none.
KESTREL_EXPORT std::string_view DescriptionOf(ErrorNumber number);

// The error for a failed system call: errno's nearest classic number. The description is the number's
// sentence followed by ": " and `subject` (usually a path), where that is not empty.
KESTREL_EXPORT RuntimeError ErrorFromErrno(int error, std::string_view subject);

// Runs `step`; when it fails, hands the error to `report` and returns false: "trap, report, go on with
// the next statement". Standard exceptions arrive as error 7 (no memory) or 440 with their own text, so
// that a faulty component cannot end a run. Errors that `report` raises are the caller's.
template <class Step, class Report>
bool Trap(Step&& step, Report&& report) {
  try {
    std::forward<Step>(step)();
    return true;
  } catch (const RuntimeError& error) {
    report(error);
  } catch (const std::bad_alloc&) {
    report(RuntimeError(ErrorNumber::kOutOfMemory));
  } catch (const std::exception& error) {
    report(RuntimeError(ErrorNumber::kAutomation,
                        std::string(DescriptionOf(ErrorNumber::kAutomation)) + ": " + error.what()));
  }
  return false;
}

}  // namespace kestrel
