// Invariants
//  1. The lock is held from before the copy is made until after it is deleted; its path is
//     that of LockPathOf. Profile writes replace the copy itself, so a lock on that would not last.
//  2. Only a copy beside which an unlocked lock file lies is swept. A copy without a lock file is
//     somebody else's.
#include "spec/working_copy.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

#include "kestrel/clock.h"
#include "kestrel/date.h"
#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "spec/profile_access.h"

namespace kestrel {
namespace {

constexpr std::string_view kExtension = ".tmp";
constexpr std::string_view kLockEnding = ".lock";
constexpr std::string_view kHidden = ".";
constexpr int kStampDigits = 12;

// Month, hour, day, second, year. Minutes are not part of the name.
std::string WorkingCopyStamp(const DateTime& now) {
  char stamp[32];
  std::snprintf(stamp, sizeof stamp, "%02d%02d%02d%02d%04d", now.date.month, now.hour, now.date.day, now.second,
                now.date.year);
  return stamp;
}

// Beside the copy, hidden, under its name.
std::string LockPathOf(const std::string& copy) {
  return JoinPath(ParentFolder(copy), std::string(kHidden).append(FileNameOfPath(copy)).append(kLockEnding));
}

// The copy that a file locks by its name; none for files that are no locks: ".~", the stamp, anything, ".tmp.lock".
std::optional<std::string> CopyLockedBy(const std::string& lock_path) {
  std::string name = FileNameOfPath(lock_path);
  if (!name.starts_with(std::string(kHidden) + "~")) return std::nullopt;
  if (!name.ends_with(std::string(kExtension).append(kLockEnding))) return std::nullopt;
  const std::string stamp = name.substr(kHidden.size() + 1, kStampDigits);
  if (!std::all_of(stamp.begin(), stamp.end(), [](char c) { return c >= '0' && c <= '9'; }))
    return std::nullopt;
  name = name.substr(kHidden.size(), name.size() - kHidden.size() - kLockEnding.size());
  return JoinPath(ParentFolder(lock_path), name);
}

struct TakenName {
  std::string path;
  std::optional<FileLock> lock;  // none where the session's own copy before has this name
};

// None while another session has the name of this second.
std::optional<TakenName> TakeName(const Session& session, const WorkingCopyLock& held) {
  TakenName name{WorkingCopyName(session), std::nullopt};
  const std::string lock_path = LockPathOf(name.path);
  if (held.IsOf(lock_path)) return name;
  name.lock = FileLock::Acquire(lock_path);
  if (!name.lock) return std::nullopt;
  return name;
}

TakenName WaitForName(const Session& session, const WorkingCopyLock& held) {
  constexpr std::chrono::milliseconds kPause(20);
  constexpr int kAttempts = 150;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (std::optional<TakenName> name = TakeName(session, held)) return std::move(*name);
    std::this_thread::sleep_for(kPause);
  }
  throw RuntimeError(ErrorNumber::kFileAlreadyExists,
                     std::string(DescriptionOf(ErrorNumber::kFileAlreadyExists)) + ": " +
                         WorkingCopyName(session) +
                         " wird von einem anderen Import benutzt. Versuchen Sie es noch einmal");
}

void MakeWorkingCopyOf(Session& session, WorkingCopyLock& lock, const std::string& chosen) {
  TakenName copy = WaitForName(session, lock);
  Trap([&] { CopySpecFile(chosen, copy.path); },
       [&](const RuntimeError& error) {
         if (copy.lock) copy.lock->Remove();
         throw error;
       });
  if (copy.lock) lock.Take(*std::move(copy.lock));
  session.ChosenSpecFile = chosen;
  session.SpecFile = std::move(copy.path);
}

}  // namespace

std::string WorkingCopyName(const Session& session) {
  if (session.PersonalNr.find_first_of("\\/") != std::string::npos) {
    throw RuntimeError(ErrorNumber::kBadFileName,
                       std::string(DescriptionOf(ErrorNumber::kBadFileName)) + ": " + session.PersonalNr);
  }
  std::string name = "~" + WorkingCopyStamp(session.platform.clock.Now()) + session.PersonalNr;
  return JoinPath(session.SpecFolder, name.append(kExtension));
}

void WorkingCopyLock::Take(FileLock lock) {
  Release();
  lock_ = std::move(lock);
}

void WorkingCopyLock::Release() {
  if (!lock_) return;
  // Beside a copy that is still there the lock stays, given up, so that the next start takes both away.
  const std::optional<std::string> copy = CopyLockedBy(lock_->path());
  if (copy && !FileExists(*copy)) lock_->Remove();
  lock_.reset();
}

void CreateWorkingCopy(Session& session, WorkingCopyLock& lock) {
  const std::string chosen = session.SpecFile;
  MakeWorkingCopyOf(session, lock, chosen);
}

void RenewWorkingCopy(Session& session, WorkingCopyLock& lock) {
  const std::string chosen = session.ChosenSpecFile;
  MakeWorkingCopyOf(session, lock, chosen);
}

void DeleteWorkingCopy(const Session& session) {
  if (GetFileExtension(session.SpecFile) != ".TMP") return;
  // A copy that is gone or held fast is no reason to stop.
  Trap([&] { DeleteFile(session.SpecFile); }, [](const RuntimeError&) {});
}

void SweepSpecFolder(const std::string& folder) {
  SweepLeftovers(folder);
  std::vector<std::string> files;
  // A folder that cannot be listed has nothing to be swept.
  Trap([&] { files = ListFiles(folder); }, [](const RuntimeError&) {});
  for (const std::string& file : files) {
    const std::optional<std::string> copy = CopyLockedBy(file);
    if (!copy) continue;
    std::optional<FileLock> abandoned = FileLock::AcquireAbandoned(file);
    if (!abandoned) continue;
    Trap([&] { DeleteFile(*copy); }, [](const RuntimeError&) {});
    // A copy that could not be deleted is tried again the next time.
    if (!FileExists(*copy)) abandoned->Remove();
  }
}

}  // namespace kestrel
