// The working copy of the specification: its name, who holds it, and what is left of it.
#pragma once

#include <optional>
#include <string>

#include "component/session.h"
#include "kestrel/export.h"
#include "platform/base/file_lock.h"

namespace kestrel {

// Keeps the name of a working copy from all other sessions, in this process and in others. Its owner is whoever
// made the copy, and keeps it until the copy is deleted or left behind.
class WorkingCopyLock {
 public:
  WorkingCopyLock() = default;
  WorkingCopyLock(const WorkingCopyLock&) = delete;
  WorkingCopyLock& operator=(const WorkingCopyLock&) = delete;
  ~WorkingCopyLock() { Release(); }

  // Gives the name up. A copy that is still there is left to SweepSpecFolder. Raises nothing.
  void Release();

  // --- For the procedures below ---
  bool IsOf(const std::string& lock_path) const { return lock_ && lock_->path() == lock_path; }
  void Take(FileLock lock);

 private:
  std::optional<FileLock> lock_;
};

// The name of a working copy: SpecFolder, a separator, "~", the time as month, hour, day, second, year,
// PersonalNr and ".tmp". A PersonalNr that holds a separator raises 52.
std::string WorkingCopyName(const Session& session);

// Step 1's "Weiter" has set SpecFile to the chosen file: remembers it as ChosenSpecFile, copies it to a
// new working copy, readable by its owner only, and makes that the SpecFile.
//
// A name belongs to one session at a time, by a lock on a file beside it ("." before its name and ".lock"
// behind it), which `lock` holds from then on. Where another session has it, in this process or another one, this
// waits for the next second's name; error 58 when none was free for about three seconds. A copy that no session
// uses any more is overwritten. Raises what WorkingCopyName and CopySpecFile raise; SpecFile then stays as it was.
void CreateWorkingCopy(Session& session, WorkingCopyLock& lock);
// The same out of ChosenSpecFile, after a save has made another file the SpecFile.
void RenewWorkingCopy(Session& session, WorkingCopyLock& lock);

// Deletes SpecFile if its extension is ".TMP"; any other file is left alone. Raises nothing.
void DeleteWorkingCopy(const Session& session);

// Removes from the folder what ended processes have left: working copies whose lock nobody holds, and half-way
// writes. Raises nothing.
KESTREL_INTERNAL void SweepSpecFolder(const std::string& folder);

}  // namespace kestrel
