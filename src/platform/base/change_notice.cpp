#include "platform/base/change_notice.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/vfs.h>

#include <csignal>
#include <ctime>
#include <string>

namespace kestrel {

namespace {

constexpr std::uint32_t kRingMagic = 0xA10A10A1;
constexpr std::uint32_t kXfsMagic = 0x58465342;

bool IsOfThisMachine(const FileDescriptor& file) {
  struct statfs system {};
  if (::fstatfs(file.get(), &system) != 0) return false;
  const auto type = static_cast<std::uint32_t>(system.f_type);
  return type == EXT4_SUPER_MAGIC || type == kXfsMagic || type == BTRFS_SUPER_MAGIC || type == TMPFS_MAGIC;
}

// Only then the system grants a lease for reading; it is given back at once.
bool NobodyHasItOpenForWriting(const FileDescriptor& file) {
  // Somebody who opens it just then is kept waiting for as long, which is told by a signal: one that does nothing.
  if (::fcntl(file.get(), F_SETSIG, SIGURG) != 0) return false;
  if (::fcntl(file.get(), F_SETLEASE, F_RDLCK) != 0) return false;
  return ::fcntl(file.get(), F_SETLEASE, F_UNLCK) == 0;
}

}  // namespace

ChangeNotice::~ChangeNotice() {
  if (ring_ != nullptr) ::syscall(SYS_io_destroy, context_);
}

bool ChangeNotice::Open() {
  if (ring_ != nullptr) return true;
  notes_ = FileDescriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  waiter_ = FileDescriptor(::epoll_create1(EPOLL_CLOEXEC));
  epoll_event readable{};
  readable.events = EPOLLIN;
  if (!notes_.IsOpen() || !waiter_.IsOpen() ||
      ::epoll_ctl(waiter_.get(), EPOLL_CTL_ADD, notes_.get(), &readable) != 0) {
    return false;
  }
  if (::syscall(SYS_io_setup, 1, &context_) != 0) return false;
  ring_ = reinterpret_cast<Ring*>(context_);  // NOLINT(performance-no-int-to-ptr): so the system tells it
  return true;
}

bool ChangeNotice::WatchFile(const FileDescriptor& file) {
  const std::string path = "/proc/self/fd/" + std::to_string(file.get());
  const int watched = ::inotify_add_watch(notes_.get(), path.c_str(),
                                          IN_OPEN | IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF);
  if (watched_ >= 0 && watched_ != watched) ::inotify_rm_watch(notes_.get(), watched_);
  watched_ = watched;
  return watched >= 0;
}

// So that the next one is a change from now on.
void ChangeNotice::TakeAnswer() {
  char notes[4096];
  while (::read(notes_.get(), notes, sizeof notes) > 0) continue;
  io_event answer{};
  timespec at_once{};
  if (::syscall(SYS_io_getevents, context_, 0, 1, &answer, &at_once) == 1) is_asked_ = false;
  // Up to there answers are taken; one that comes just now stands behind it.
  seen_ = ring_->head;
}

bool ChangeNotice::AskForNext() {
  if (is_asked_) return true;
  question_ = {};
  question_.aio_lio_opcode = IOCB_CMD_POLL;
  question_.aio_fildes = static_cast<std::uint32_t>(waiter_.get());
  question_.aio_buf = EPOLLIN;
  iocb* question = &question_;
  is_asked_ = ::syscall(SYS_io_submit, context_, 1, &question) == 1;
  return is_asked_;
}

bool ChangeNotice::Await(const FileDescriptor& file) {
  is_awaited_ = false;
  if (!IsOfThisMachine(file) || !Open()) return false;
  if (ring_->magic != kRingMagic || ring_->incompatible_features != 0) return false;
  if (!WatchFile(file)) return false;
  TakeAnswer();
  // Whoever opens it behind this question is noted before he has it.
  is_awaited_ = AskForNext() && NobodyHasItOpenForWriting(file);
  return is_awaited_;
}

}  // namespace kestrel
