// What the program prints without a window.
#include <gmock/gmock.h>

#include <string>

#include "kestrel/version.h"
#include "support/program.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;

testing::ProgramResult RunWithoutDisplay(const std::string& argument) {
  return testing::RunProgram({testing::BuiltProgram("kestrel-host"), argument},
                             {{"QT_QPA_PLATFORM", "xcb"}, {"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}});
}

TEST(HostCommandLine, HelpNeedsNoDisplay) {
  for (const char* argument : {"--help", "-h"}) {
    const testing::ProgramResult help = RunWithoutDisplay(argument);
    EXPECT_EQ(help.status, 0) << help.err;
    EXPECT_THAT(help.out, HasSubstr("--host"));
    EXPECT_THAT(help.out, HasSubstr("ordner"));
  }
}

TEST(HostCommandLine, NorDoesTheVersion) {
  for (const char* argument : {"--version", "-v"}) {
    const testing::ProgramResult version = RunWithoutDisplay(argument);
    EXPECT_EQ(version.status, 0) << version.err;
    EXPECT_EQ(version.out, std::string("kestrel-host ") + Version() + "\n");
  }
}

}  // namespace
}  // namespace kestrel
