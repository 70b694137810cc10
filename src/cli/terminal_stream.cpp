#include "cli/terminal_stream.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "platform/base/terminal_text.h"

namespace kestrel::cli {

namespace {

using Traits = std::char_traits<char>;

}  // namespace

void OccupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    // The lowest free number; opened for what nobody does with it.
    ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

DescriptorOutput::DescriptorOutput(int descriptor) : std::ostream(nullptr), descriptor_(descriptor) {
  setp(buffer_.data(), buffer_.data() + buffer_.size());
  rdbuf(this);
}

int DescriptorOutput::overflow(int c) {
  if (sync() != 0) return Traits::eof();
  if (!Traits::eq_int_type(c, Traits::eof())) sputc(Traits::to_char_type(c));
  return Traits::not_eof(c);
}

int DescriptorOutput::sync() {
  const char* from = pbase();
  while (from != pptr() && error_ == 0) {
    const ssize_t written = ::write(descriptor_, from, static_cast<std::size_t>(pptr() - from));
    if (written >= 0) {
      from += written;
    } else if (errno == EAGAIN) {
      // Who shares the terminal or the pipe with this program may have made it one that does not wait.
      pollfd room{descriptor_, POLLOUT, 0};
      ::poll(&room, 1, -1);
    } else if (errno != EINTR) {
      error_ = errno;
    }
  }
  setp(buffer_.data(), buffer_.data() + buffer_.size());
  return error_ == 0 ? 0 : -1;
}

TerminalStream::TerminalStream(std::ostream& target, const LocaleCharset& charset)
    : std::ostream(nullptr), target_(target), charset_(charset) {
  rdbuf(this);
}

int TerminalStream::overflow(int c) {
  if (Traits::eq_int_type(c, Traits::eof())) return Traits::not_eof(c);
  const char byte = Traits::to_char_type(c);
  return xsputn(&byte, 1) == 1 ? c : Traits::eof();
}

std::streamsize TerminalStream::xsputn(const char* text, std::streamsize size) {
  std::string_view rest(text, static_cast<std::size_t>(size));
  if (const std::size_t end = rest.rfind('\n'); end != std::string_view::npos) {
    target_ << charset_.Encode(TerminalText(line_.append(rest, 0, end + 1)));
    line_.clear();
    rest.remove_prefix(end + 1);
  }
  line_ += rest;
  return target_.good() ? size : 0;
}

int TerminalStream::sync() {
  target_ << charset_.Encode(TerminalText(line_));
  line_.clear();
  target_.flush();
  return target_.good() ? 0 : -1;
}

}  // namespace kestrel::cli
