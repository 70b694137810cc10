// Loaded into a program by LD_PRELOAD: counts its system calls on the files below chosen folders and lets
// chosen ones fail, or kills or stops the program there. What it does stands in the environment:
//
//   KESTREL_TRIAL_FOLDERS  paths, separated by ":"; calls on files that do not begin so pass uncounted
//   KESTREL_TRIAL_CALLS    names of calls, separated by ","; others pass uncounted. Absent: all that are known
//   KESTREL_TRIAL_FIRST    the first counted call, from 1, that is acted upon. Absent or 0: none
//   KESTREL_TRIAL_LAST     the last one. Absent: the same; 0: every later one, too
//   KESTREL_TRIAL_ACTION   "kill" and "stop" the program before the call, or the number of the error that the
//                          call fails with
//   KESTREL_TRIAL_TRACE    a file that gets a line "N NAME PATH" for every counted call
//
// A call on a descriptor counts for the file it is open on; the files of sockets begin with "socket:". Calls
// that the C library makes within itself are not seen, so its functions that open or make files are taken as
// calls of their own (fopen, mkstemp, mkdtemp). Unlike the C library's, these functions are not safe against
// cancelled threads; no program here cancels any.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

struct Plan {
  std::string_view folders;
  std::string_view calls;
  unsigned long first;
  unsigned long last;
  std::string_view action;
  int error;
  int trace;

  static std::string_view Text(const char* name) {
    const char* value = ::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
  }
  static unsigned long Number(std::string_view text) {
    return text.empty() ? 0 : std::strtoul(text.data(), nullptr, 10);
  }
  Plan()
      : folders(Text("KESTREL_TRIAL_FOLDERS")),
        calls(Text("KESTREL_TRIAL_CALLS")),
        first(Number(Text("KESTREL_TRIAL_FIRST"))),
        last(::getenv("KESTREL_TRIAL_LAST") == nullptr ? first : Number(Text("KESTREL_TRIAL_LAST"))),
        action(Text("KESTREL_TRIAL_ACTION")),
        error(static_cast<int>(Number(action))),
        trace(-1) {
    const std::string_view path = Text("KESTREL_TRIAL_TRACE");
    if (!path.empty()) {
      trace = static_cast<int>(
          ::syscall(SYS_openat, AT_FDCWD, path.data(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    }
  }
};

const Plan& ThePlan() {
  static const Plan plan;
  return plan;
}

std::atomic<unsigned long> counted{0};

// Calls `visit` with each piece until it says true; whether one did.
template <class Visit>
bool AnyPiece(std::string_view list, char separator, Visit&& visit) {
  while (!list.empty()) {
    const std::size_t end = list.find(separator);
    if (visit(list.substr(0, end))) return true;
    if (end == std::string_view::npos) break;
    list.remove_prefix(end + 1);
  }
  return false;
}

bool IsBelowAFolder(std::string_view path) {
  return AnyPiece(ThePlan().folders, ':',
                  [&](std::string_view folder) { return path.substr(0, folder.size()) == folder; });
}

bool IsNamed(std::string_view call) {
  return ThePlan().calls.empty() ||
         AnyPiece(ThePlan().calls, ',', [&](std::string_view name) { return name == call; });
}

// Counts the call; whether it is to fail, errno then being set.
bool Act(std::string_view call, std::string_view path) {
  const Plan& plan = ThePlan();
  const unsigned long number = ++counted;
  if (plan.trace >= 0) {
    char line[4300];
    const int size = std::snprintf(line, sizeof line, "%lu %.*s %.*s\n", number, static_cast<int>(call.size()),
                                   call.data(), static_cast<int>(path.size()), path.data());
    if (size > 0) ::syscall(SYS_write, plan.trace, line, static_cast<std::size_t>(size));
  }
  if (plan.first == 0 || number < plan.first || (plan.last != 0 && number > plan.last)) return false;
  if (plan.action == "kill" || plan.action == "stop") {
    ::kill(::getpid(), plan.action == "kill" ? SIGKILL : SIGSTOP);
    return false;
  }
  errno = plan.error;
  return plan.error != 0;
}

bool Fails(std::string_view call, const char* path, int folder = AT_FDCWD) {
  if (ThePlan().folders.empty() || path == nullptr || !IsNamed(call)) return false;
  const int old_errno = errno;
  char full[4200];
  std::string_view seen = path;
  if (path[0] != '/') {
    char link[64];
    if (folder == AT_FDCWD) {
      std::snprintf(link, sizeof link, "/proc/self/cwd");
    } else {
      std::snprintf(link, sizeof link, "/proc/self/fd/%d", folder);
    }
    const long size = ::syscall(SYS_readlinkat, AT_FDCWD, link, full, sizeof full - 1);
    if (size <= 0) return false;
    const int rest = std::snprintf(full + size, sizeof full - static_cast<std::size_t>(size), "/%s", path);
    seen = std::string_view(full, static_cast<std::size_t>(size + rest));
  }
  errno = old_errno;
  return IsBelowAFolder(seen) && Act(call, seen);
}

bool Fails(std::string_view call, int descriptor) {
  if (ThePlan().folders.empty() || descriptor < 0 || !IsNamed(call)) return false;
  const int old_errno = errno;
  char link[64];
  char path[4200];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const long size = ::syscall(SYS_readlinkat, AT_FDCWD, link, path, sizeof path);
  errno = old_errno;
  if (size <= 0) return false;
  const std::string_view seen(path, static_cast<std::size_t>(size));
  return IsBelowAFolder(seen) && Act(call, seen);
}

// The function of that name behind this library's own.
template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool NeedsMode(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

}  // namespace

#define NEXT(name) static const auto next = Next<decltype(name)>(#name)

extern "C" {

// The variable `mode`, from behind the flags where they tell of one.
#define MODE_BEHIND(flags)       \
  mode_t mode = 0;               \
  if (NeedsMode(flags)) {        \
    va_list rest;                \
    va_start(rest, flags);       \
    mode = va_arg(rest, mode_t); \
    va_end(rest);                \
  }

#define OPEN(name)                                             \
  int name(const char* path, int flags, ...) {                 \
    NEXT(name);                                                \
    MODE_BEHIND(flags)                                         \
    return Fails("open", path) ? -1 : next(path, flags, mode); \
  }
OPEN(open)
OPEN(open64)

#define OPENAT(name)                                                           \
  int name(int folder, const char* path, int flags, ...) {                     \
    NEXT(name);                                                                \
    MODE_BEHIND(flags)                                                         \
    return Fails("open", path, folder) ? -1 : next(folder, path, flags, mode); \
  }
OPENAT(openat)
OPENAT(openat64)

// One function that is told a file by its path or descriptor: what it is counted as, what it returns on failure.
#define CALL(result, failure, call, name, parameters, arguments, ...) \
  result name parameters {                                            \
    NEXT(name);                                                       \
    if (Fails(call, __VA_ARGS__)) return failure;                     \
    return next arguments;                                            \
  }

CALL(FILE*, nullptr, "open", fopen, (const char* path, const char* mode), (path, mode), path)
CALL(FILE*, nullptr, "open", fopen64, (const char* path, const char* mode), (path, mode), path)
CALL(int, -1, "open", mkstemp, (char* path), (path), path)
CALL(int, -1, "open", mkstemp64, (char* path), (path), path)
CALL(int, -1, "open", mkostemp, (char* path, int flags), (path, flags), path)
CALL(int, -1, "open", mkostemp64, (char* path, int flags), (path, flags), path)
CALL(char*, nullptr, "mkdir", mkdtemp, (char* path), (path), path)
CALL(DIR*, nullptr, "opendir", opendir, (const char* path), (path), path)
CALL(int, -1, "mkdir", mkdir, (const char* path, mode_t mode), (path, mode), path)
CALL(int, -1, "rmdir", rmdir, (const char* path), (path), path)
CALL(int, -1, "chmod", chmod, (const char* path, mode_t mode), (path, mode), path)
CALL(int, -1, "chmod", fchmod, (int file, mode_t mode), (file, mode), file)

CALL(ssize_t, -1, "read", read, (int file, void* bytes, size_t size), (file, bytes, size), file)
CALL(ssize_t, -1, "read", pread, (int file, void* bytes, size_t size, off_t at), (file, bytes, size, at), file)
CALL(ssize_t, -1, "read", pread64, (int file, void* bytes, size_t size, off64_t at), (file, bytes, size, at),
     file)
CALL(ssize_t, -1, "write", write, (int file, const void* bytes, size_t size), (file, bytes, size), file)
CALL(ssize_t, -1, "write", pwrite, (int file, const void* bytes, size_t size, off_t at),
     (file, bytes, size, at), file)
CALL(ssize_t, -1, "write", pwrite64, (int file, const void* bytes, size_t size, off64_t at),
     (file, bytes, size, at), file)
CALL(ssize_t, -1, "write", writev, (int file, const iovec* parts, int count), (file, parts, count), file)
CALL(ssize_t, -1, "write", copy_file_range,
     (int from, off64_t* from_at, int file, off64_t* at, size_t size, unsigned flags),
     (from, from_at, file, at, size, flags), file)
CALL(ssize_t, -1, "write", sendfile, (int file, int from, off_t* at, size_t size), (file, from, at, size), file)
CALL(ssize_t, -1, "write", sendfile64, (int file, int from, off64_t* at, size_t size), (file, from, at, size),
     file)

CALL(ssize_t, -1, "send", send, (int file, const void* bytes, size_t size, int flags),
     (file, bytes, size, flags), file)
CALL(ssize_t, -1, "recv", recv, (int file, void* bytes, size_t size, int flags), (file, bytes, size, flags),
     file)

CALL(int, -1, "fsync", fsync, (int file), (file), file)
CALL(int, -1, "fsync", fdatasync, (int file), (file), file)
CALL(int, -1, "ftruncate", ftruncate, (int file, off_t size) noexcept, (file, size), file)
CALL(int, -1, "ftruncate", ftruncate64, (int file, off64_t size) noexcept, (file, size), file)
CALL(int, -1, "fallocate", fallocate, (int file, int mode, off_t at, off_t size), (file, mode, at, size), file)
CALL(int, -1, "fallocate", fallocate64, (int file, int mode, off64_t at, off64_t size), (file, mode, at, size),
     file)
CALL(void*, MAP_FAILED, "mmap", mmap,
     (void* at, size_t size, int protection, int flags, int file, off_t from) noexcept,
     (at, size, protection, flags, file, from), file)
CALL(void*, MAP_FAILED, "mmap", mmap64,
     (void* at, size_t size, int protection, int flags, int file, off64_t from) noexcept,
     (at, size, protection, flags, file, from), file)

CALL(int, -1, "rename", rename, (const char* from, const char* to) noexcept, (from, to), from)
CALL(int, -1, "rename", renameat, (int from_folder, const char* from, int to_folder, const char* to) noexcept,
     (from_folder, from, to_folder, to), from, from_folder)
CALL(int, -1, "rename", renameat2,
     (int from_folder, const char* from, int to_folder, const char* to, unsigned flags) noexcept,
     (from_folder, from, to_folder, to, flags), from, from_folder)
CALL(int, -1, "link", link, (const char* from, const char* to) noexcept, (from, to), to)
CALL(int, -1, "link", linkat,
     (int from_folder, const char* from, int folder, const char* to, int flags) noexcept,
     (from_folder, from, folder, to, flags), to, folder)
CALL(int, -1, "unlink", unlink, (const char* path) noexcept, (path), path)
CALL(int, -1, "unlink", remove, (const char* path) noexcept, (path), path)
CALL(int, -1, "unlink", unlinkat, (int folder, const char* path, int flags) noexcept, (folder, path, flags),
     path, folder)

CALL(int, -1, "stat", stat, (const char* path, struct stat* told) noexcept, (path, told), path)
CALL(int, -1, "stat", stat64, (const char* path, struct stat64* told) noexcept, (path, told), path)
CALL(int, -1, "stat", lstat, (const char* path, struct stat* told) noexcept, (path, told), path)
CALL(int, -1, "stat", lstat64, (const char* path, struct stat64* told) noexcept, (path, told), path)
CALL(int, -1, "stat", fstat, (int file, struct stat* told) noexcept, (file, told), file)
CALL(int, -1, "stat", fstat64, (int file, struct stat64* told) noexcept, (file, told), file)
CALL(int, -1, "stat", fstatat, (int folder, const char* path, struct stat* told, int flags) noexcept,
     (folder, path, told, flags), path, folder)
CALL(int, -1, "stat", fstatat64, (int folder, const char* path, struct stat64* told, int flags) noexcept,
     (folder, path, told, flags), path, folder)
CALL(int, -1, "stat", statx,
     (int folder, const char* path, int flags, unsigned mask, struct statx* told) noexcept,
     (folder, path, flags, mask, told), path, folder)
CALL(int, -1, "stat", access, (const char* path, int mode) noexcept, (path, mode), path)

}  // extern "C"
