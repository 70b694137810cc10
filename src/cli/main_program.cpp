#include <cerrno>
#include <ostream>
#include <utility>

#include "cli/command_line.h"
#include "cli/command_tree.h"
#include "cli/program.h"
#include "cli/usage_error.h"

namespace kestrel::cli {

namespace {

// Reads the arguments and runs the command that they name; its status.
int Perform(std::vector<std::string> arguments, const Screen& screen, std::ostream& out, std::ostream& err,
            std::ostream& terminal) {
  StopSignals signals;
  TerminalStream text_out(out, screen.charset());
  CommandLine line;
  if (arguments == std::vector<std::string>{kDescribeCommands}) {
    WriteCommandTree(line.app(), out);
    return kDone;
  }
  try {
    line.Parse(std::move(arguments));
  } catch (const HelpOn& help) {
    text_out << help.what();
    return kDone;
  } catch (const CLI::ParseError& error) {
    return line.app().exit(error, text_out, err) == 0 ? kDone : kWrongUse;
  }
  const CommonOptions& common = line.common();

  // What is no text is exact, but for who looks at it.
  const bool is_for_a_person = common.format == OutputFormat::kText || Screen::OutColumns() > 0;
  std::ostream& format_out = is_for_a_person ? static_cast<std::ostream&>(text_out) : out;
  try {
    Workspace workspace(common, {format_out, err, terminal, signals, screen});
    return line.Perform(workspace);
  } catch (const NotUsable& error) {
    err << "kestrel-import: " << error.what() << std::endl;
  } catch (const ImportRefused& refused) {
    err << "kestrel-import: " << refused.what() << std::endl;
  } catch (const OutputFailed&) {
    // Told at the end, as for a command that has not seen it.
  } catch (const RuntimeError& error) {
    err << "kestrel-import: " << error.Description() << " (" << error.Number() << ")" << std::endl;
  }
  return kNotUsable;
}

}  // namespace

int Main(std::vector<std::string> arguments, DescriptorOutput& out, std::ostream& err) {
  const Screen screen;
  TerminalStream shown_err(err, screen.charset());
  const int status = Perform(std::move(arguments), screen, out, shown_err, err);
  out.flush();
  if (out.error() == 0) return status;
  // A reader that has seen enough, as "head" does, needs no message.
  if (out.error() != EPIPE) {
    shown_err << "kestrel-import: " << OutputFailed().what() << ". "
              << ErrorFromErrno(out.error(), "Standardausgabe").Description() << std::endl;
  }
  return kNotUsable;
}

}  // namespace kestrel::cli
