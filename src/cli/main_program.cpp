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
int Perform(std::vector<std::string> arguments, std::ostream& out, std::ostream& err, std::ostream& terminal) {
  StopSignals signals;
  CommandLine line;
  if (arguments == std::vector<std::string>{kDescribeCommands}) {
    WriteCommandTree(line.app(), out);
    return kDone;
  }
  try {
    line.Parse(std::move(arguments));
  } catch (const HelpOn& help) {
    out << help.what();
    return kDone;
  } catch (const CLI::ParseError& error) {
    return line.app().exit(error, out, err) == 0 ? kDone : kWrongUse;
  }
  const CommonOptions& common = line.common();

  // A terminal gets text only; the other formats are exact.
  TerminalStream text_out(out);
  std::ostream& format_out = common.format == OutputFormat::kText ? static_cast<std::ostream&>(text_out) : out;
  try {
    Workspace workspace(common, {format_out, err, terminal, signals});
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
  TerminalStream shown_err(err);
  const int status = Perform(std::move(arguments), out, shown_err, err);
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
