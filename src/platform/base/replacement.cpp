// Invariants
//  1. The file beside is locked from its making to its end, so a sweep takes only those of ended processes.
//  2. Its name begins with kPrefix and is known to no other program; nothing else is swept.
#include "platform/base/replacement.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <vector>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/base/file_lock.h"

namespace kestrel {
namespace {

constexpr std::string_view kPrefix = ".kestrel-";
constexpr std::size_t kRandomCharacters = 12;

std::string RandomName() {
  constexpr std::string_view kCharacters = "abcdefghijklmnopqrstuvwxyz012345";
  std::array<unsigned char, kRandomCharacters> random;
  if (::getentropy(random.data(), random.size()) != 0) throw ErrorFromErrno(errno, "getentropy");
  std::string name(kPrefix);
  for (const unsigned char byte : random) name += kCharacters[byte % kCharacters.size()];
  return name;
}

bool IsSibling(std::string_view name) {
  return name.starts_with(kPrefix) && name.size() == kPrefix.size() + kRandomCharacters;
}

// The file a link names, so that replacing it leaves the link in place; a missing file is its own target.
std::string ResolveLinks(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
  return real == nullptr ? path : std::string(real.get());
}

// With its separator; empty for the current folder. Only "/" separates where a file is really made.
std::string_view FolderPart(std::string_view path) {
  const std::size_t separator = path.rfind('/');
  return separator == std::string_view::npos ? std::string_view() : path.substr(0, separator + 1);
}

// Makes a rename last: the folder's own entry is on the device.
void FlushFolderOf(const std::string& path) {
  const std::string folder(FolderPart(path));
  const FileDescriptor handle(
      ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Some file systems cannot flush a folder; the rename has happened all the same.
  if (handle.IsOpen()) ::fsync(handle.get());
}

}  // namespace

Replacement::Replacement(const std::string& destination, std::optional<mode_t> mode)
    : destination_(destination), target_(ResolveLinks(destination)) {
  struct stat existing {};
  if (::stat(target_.c_str(), &existing) == 0) existing_ = existing;
  if (existing_ && S_ISDIR(existing_->st_mode)) throw ErrorFromErrno(EISDIR, destination_);
  // A device or a pipe would be gone for every program.
  if (existing_ && !S_ISREG(existing_->st_mode)) {
    throw RuntimeError(ErrorNumber::kPathFileAccess,
                       std::string(DescriptionOf(ErrorNumber::kPathFileAccess)) + ": " + destination_ +
                           " ist keine gewöhnliche Datei und wird nicht ersetzt. Bitte eine Datei angeben");
  }
  // The usual mode is left to the system; whatever else it becomes, it begins with its owner alone.
  MakeSibling(existing_ || mode ? 0600 : 0666);
  if (existing_) {
    // The owner first, as changing it clears bits of the mode. Only the superuser may give a file away; the
    // content matters more than its owner, so a refusal is no error.
    if (::fchown(file_.get(), existing_->st_uid, existing_->st_gid) != 0 && errno != EPERM) Fail();
    SetMode(existing_->st_mode & 07777);
  } else if (mode) {
    SetMode(*mode);
  }
}

Replacement::~Replacement() {
  if (made_) ::unlink(sibling_.c_str());
}

void Replacement::Fail() const { throw ErrorFromErrno(errno, destination_); }

void Replacement::MakeSibling(mode_t mode) {
  for (;;) {
    sibling_ = std::string(FolderPart(target_)) + RandomName();
    file_ = FileDescriptor(::open(sibling_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file_.IsOpen() && errno == EEXIST) continue;
    if (!file_.IsOpen()) Fail();
    made_ = true;
    // A sweep may have met the file before it was locked, and has removed it then. Without locks in the file
    // system there is no sweep either.
    struct stat status {};
    ::flock(file_.get(), LOCK_EX);
    if (::fstat(file_.get(), &status) != 0 || status.st_nlink > 0) return;
  }
}

void Replacement::SetMode(mode_t mode) {
  if (::fchmod(file_.get(), mode) != 0) Fail();
}

void Replacement::Write(std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(file_.get(), content.data(), content.size());
    if (written < 0 && errno != EINTR) Fail();
    if (written > 0) content.remove_prefix(static_cast<std::size_t>(written));
  }
}

void Replacement::Commit() {
  if (::fsync(file_.get()) != 0) Fail();
  if (::rename(sibling_.c_str(), target_.c_str()) != 0) Fail();
  made_ = false;
  FlushFolderOf(target_);
}

void Replacement::Sweep(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> handle(::opendir(folder.c_str()), &::closedir);
  if (handle == nullptr) return;
  std::vector<std::string> siblings;
  while (const dirent* entry = ::readdir(handle.get())) {
    if (IsSibling(entry->d_name)) siblings.push_back(JoinPath(folder, entry->d_name));
  }
  for (const std::string& sibling : siblings) {
    if (auto abandoned = FileLock::AcquireAbandoned(sibling)) abandoned->Remove();
  }
}

}  // namespace kestrel
