// An import under way: what it keeps from record to record, beside the variables of its session.
//
//   ActiveImport import(session);
//   if (!CreateImportClass(session)) ...
//   BuildAssignmentList(session, import.logs());
//   ImportRun(import, view).Activate();          // ends the import
//
// Invariants
//  1. An import begins with its ActiveImport, which is made where the import class is created. It ends with
//     End, which its run calls last, or with its destruction, which cancels it. The specification, the source
//     and the import class stay as they are either way.
//  2. Between begin and end there are at most one error log and one duplicate log; an error of GetFields stands
//     in the same log as those of the run.
//  3. Once ended, it holds no object of the host and no image of the specification.
//  4. A session has one active import at a time.
#pragma once

#include "component/session.h"
#include "duplicates/duplicate_check.h"
#include "log/import_log.h"
#include "platform/profile/profile.h"

namespace kestrel {

class ActiveImport {
 public:
  // Begins an import. The session outlives it.
  explicit ActiveImport(Session& session)
      : session_(session), logs_(session), duplicates_(session, profiles_, logs_) {}
  ActiveImport(const ActiveImport&) = delete;
  ActiveImport& operator=(const ActiveImport&) = delete;

  Session& session() { return session_; }
  // The specification as its records look at it.
  ProfileStore& profiles() { return profiles_; }
  ImportLogs& logs() { return logs_; }
  DuplicateCheck& duplicates() { return duplicates_; }

  // Ends the import: logs and caches are released. Once more does nothing.
  void End() {
    logs_.Close();
    duplicates_.Forget();
  }

 private:
  Session& session_;
  ProfileStore profiles_;
  ImportLogs logs_;
  DuplicateCheck duplicates_;
};

}  // namespace kestrel
