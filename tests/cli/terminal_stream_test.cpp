#include "cli/terminal_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>

namespace kestrel::cli {
namespace {

TEST(TerminalStream, ShowsWhatATerminalWouldObeyHoweverItIsWritten) {
  std::ostringstream terminal;
  const LocaleCharset charset("");
  TerminalStream stream(terminal, charset);
  stream << "Fehler: \x1b" << ']' << "0;x" << '\x07' << std::endl << "zweite\xc2";
  stream << "\x9b\n"
         << "ohne Ende" << std::flush;
  EXPECT_EQ(terminal.str(), "Fehler: \\u001b]0;x\\u0007\nzweite\\u009b\nohne Ende");
}

TEST(TerminalStream, FailsWithItsTarget) {
  std::ostringstream terminal;
  const LocaleCharset charset("");
  TerminalStream stream(terminal, charset);
  terminal.setstate(std::ios::badbit);
  stream << "Zeile\n";
  EXPECT_FALSE(stream.good());
}

TEST(DescriptorOutput, KeepsWhyItFailed) {
  const int full = ::open("/dev/full", O_WRONLY);
  ASSERT_GE(full, 0);
  {
    DescriptorOutput output(full);
    output << std::string(200'000, 'x');
    EXPECT_EQ(output.error(), ENOSPC);
    EXPECT_FALSE(output.good());
  }
  ::close(full);
}

}  // namespace
}  // namespace kestrel::cli
