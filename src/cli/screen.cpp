#include "cli/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace kestrel::cli {

namespace {

// Of a terminal that does not tell its width.
constexpr std::size_t kUsualColumns = 80;

std::size_t ColumnsOf(int descriptor) {
  if (::isatty(descriptor) != 1) return 0;
  winsize size{};
  const bool is_told = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return is_told ? size.ws_col : kUsualColumns;
}

}  // namespace

std::size_t Screen::OutColumns() { return ColumnsOf(STDOUT_FILENO); }
std::size_t Screen::ErrColumns() { return ColumnsOf(STDERR_FILENO); }

bool Screen::ErrDraws() {
  const char* terminal = std::getenv("TERM");
  return ErrColumns() > 0 && terminal != nullptr && *terminal != '\0' && std::string_view(terminal) != "dumb";
}

}  // namespace kestrel::cli
