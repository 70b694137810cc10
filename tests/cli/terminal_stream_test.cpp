#include "cli/terminal_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <sstream>
#include <string>
#include <thread>

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

TEST(StandardStreams, NoFileTakesThePlaceOfAClosedOne) {
  EXPECT_EXIT(
      {
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        OccupyStandardStreams();
        const bool is_safe = ::open("/dev/null", O_RDWR) > STDERR_FILENO;
        const bool fails = ::write(STDOUT_FILENO, "x", 1) < 0 && ::write(STDERR_FILENO, "x", 1) < 0;
        ::_exit(is_safe && fails ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
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

// As whoever shares a terminal with it may set it.
TEST(DescriptorOutput, WaitsForAReaderWhereTheFileItselfDoesNot) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  ASSERT_EQ(::fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
  const std::string text(300'000, 'x');  // more than a pipe holds
  std::string arrived;
  std::thread reader([&] {
    std::array<char, 4096> part{};
    for (ssize_t got = 0; (got = ::read(ends[0], part.data(), part.size())) > 0;) {
      arrived.append(part.data(), static_cast<std::size_t>(got));
    }
  });
  {
    DescriptorOutput output(ends[1]);
    output << text << std::flush;
    EXPECT_EQ(output.error(), 0);
  }
  ::close(ends[1]);
  reader.join();
  ::close(ends[0]);
  EXPECT_EQ(arrived, text);
}

}  // namespace
}  // namespace kestrel::cli
