// The commands for programs that do not link the component: JSON-RPC 2.0 over standard input and output, framed as
// language servers speak it (docs/serve.md).
//
//   initialize {host, folder}   list, check, columns, preview, run, runs, undo   $/cancelRequest   shutdown, exit
//
// The result of a command is {exitStatus, rows, messages}: rows are the lines that it prints as JSON (docs/json), messages
// what it tells a person. While it works, "$/progress" tells how far it is and "window/logMessage" each message.
//
// Invariants
//  1. One thread performs the requests and writes; each request has a workspace of its own, so none sees what another
//     one has left.
//  2. Nothing but frames reaches the client: what else is printed goes to standard error, and what reads standard input
//     finds nothing.
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

#include "cli/program.h"
#include "cli/service_inbox.h"
#include "cli/service_params.h"
#include "cli/usage_error.h"
#include "kestrel/version.h"
#include "platform/base/text.h"

namespace kestrel::cli {

namespace {

using nlohmann::json;

// Hands each line on as it ends.
class LineSink final : private std::stringbuf, public std::ostream {
 public:
  explicit LineSink(std::function<void(const std::string&)> take)
      : std::ostream(nullptr), take_(std::move(take)) {
    rdbuf(this);
  }

 private:
  int sync() override {
    const std::string lines = str();
    str("");
    for (const std::string_view line : Split(lines, '\n')) {
      const std::string_view text = line.substr(0, line.find_last_not_of('\r') + 1);
      if (!text.empty()) take_(RepairUtf8(text));
    }
    return 0;
  }

  std::function<void(const std::string&)> take_;
};

class Service final : private ProgressWatcher {
 public:
  Service(CommonOptions common, const Surroundings& surroundings, int in, int out)
      : common_(std::move(common)), surroundings_(surroundings), out_(out), inbox_(in, surroundings.signals) {
    common_.format = OutputFormat::kJson;
  }

  int Serve() {
    while (!surroundings_.signals.EndRequested() && out_.error() == 0) {
      const std::optional<Incoming> incoming = inbox_.Take();
      if (!incoming) return kErrorsCounted;
      if (incoming->method == "exit" && !incoming->fault) return is_shut_down_ ? kDone : kErrorsCounted;
      id_ = incoming->id;
      if (incoming->is_request) {
        Answer(*incoming);
      } else if (incoming->method == "$/unknownRequest") {
        Log("Es gibt keine wartende Anfrage mit der Kennung " + incoming->params["id"].dump() +
            "; nichts wurde abgebrochen.");
      }
    }
    return kStoppedByUser;
  }

 private:
  using Command = std::function<int(Workspace&)>;

  void Answer(const Incoming& request) {
    try {
      if (request.fault) throw *request.fault;
      if (request.is_cancelled)
        throw RpcFault{kRequestCancelled, "Die Anfrage wurde abgebrochen, bevor sie begann."};
      Respond(Perform(request));
    } catch (const RpcFault& fault) {
      Fail(fault.code, fault.message);
    } catch (const NotUsable& error) {
      Fail(kRequestFailed, error.what());
    } catch (const ImportRefused& refused) {
      Fail(kRequestFailed, refused.what());
    } catch (const RuntimeError& error) {
      Fail(kRequestFailed, error.Description(), {{"number", error.Number()}});
    }
  }

  json Perform(const Incoming& request) {
    Params params(request.params);
    if (request.method == "initialize") return Initialize(params);
    if (is_shut_down_) throw RpcFault{kInvalidRequest, "Der Dienst ist beendet; es fehlt nur noch \"exit\"."};
    if (!is_initialized_) throw RpcFault{kNotInitialized, "Die erste Anfrage muss \"initialize\" sein."};
    if (request.method == "shutdown") {
      is_shut_down_ = true;
      return nullptr;
    }
    return RunCommandOf(CommandFor(request.method, params));
  }

  json Initialize(Params& params) {
    if (is_initialized_) throw RpcFault{kInvalidRequest, "\"initialize\" ist nur einmal möglich."};
    if (const std::string host = params.Text("host"); !host.empty()) common_.host = host;
    if (const std::string folder = params.Text("folder"); !folder.empty()) common_.folder = folder;
    // Language clients send more; none of it matters here.
    is_initialized_ = true;
    return {{"serverInfo", {{"name", "kestrel-import"}, {"version", Version()}}},
            {"capabilities", {{"methods", kMethods}}}};
  }

  // A source file. Standard input has the client's messages.
  static std::string SourceFile(Params& params) {
    std::string file = params.Text("file");
    if (file == "-") throw RpcFault{kInvalidParams, "file: Die Standardeingabe ist hier keine Datenquelle."};
    return file;
  }

  Command CommandFor(const std::string& method, Params& params) const {
    Command command;
    if (method == "list") {
      ListOptions options;
      const auto app_mode = params.Number("appMode", INT16_MIN, INT16_MAX);
      options.app_mode_given = app_mode.has_value();
      options.app_mode = static_cast<std::int16_t>(app_mode.value_or(options.app_mode));
      options.templates = params.Truth("templates");
      command = [options](Workspace& workspace) { return ListCommand(workspace, options); };
    } else if (method == "check") {
      const CheckOptions options{params.RequiredText("spec"), SourceFile(params), params.Truth("data")};
      command = [options](Workspace& workspace) { return CheckCommand(workspace, options); };
    } else if (method == "columns") {
      command = [spec = params.RequiredText("spec"), file = SourceFile(params)](Workspace& workspace) {
        return ColumnsCommand(workspace, spec, file);
      };
    } else if (method == "preview") {
      constexpr std::int64_t kMostRecords = 10'000;
      const std::int64_t records = params.Number("records", 0, kMostRecords).value_or(10);
      command = [spec = params.RequiredText("spec"), file = SourceFile(params), records](Workspace& workspace) {
        return PreviewCommand(workspace, spec, file, records);
      };
    } else if (method == "run") {
      command = [options = RunOptionsOf(params)](Workspace& workspace) {
        return RunCommand(workspace, options);
      };
    } else if (method == "runs") {
      const RunsOptions options{params.Number("run", 1, INT32_MAX), params.Truth("last")};
      if (options.run && options.last)
        throw RpcFault{kInvalidParams, "run und last sind zusammen nicht möglich."};
      command = [options](Workspace& workspace) { return RunsCommand(workspace, options); };
    } else if (method == "undo") {
      const UndoOptions options{params.RequiredNumber("run", 1, INT32_MAX), params.Truth("dryRun"),
                                params.Truth("force")};
      command = [options](Workspace& workspace) { return UndoCommand(workspace, options); };
    } else {
      throw RpcFault{kMethodNotFound, "Die Methode '" + method.substr(0, kShownOfName) + "' gibt es nicht." +
                                          DidYouMean(method.substr(0, kShownOfName), kMethods)};
    }
    params.RequireNoMore();
    return command;
  }

  static RunOptions RunOptionsOf(Params& params) {
    RunOptions options;
    options.spec = params.RequiredText("spec");
    options.source_file = SourceFile(params);
    options.test = params.Truth("test");
    options.quiet = true;
    options.settings.from = static_cast<std::int32_t>(params.Number("from", 1, INT32_MAX).value_or(1));
    options.settings.most_errors =
        static_cast<std::int32_t>(params.Number("maxErrors", 1, INT32_MAX).value_or(0));
    options.settings.rejects_file = params.Text("rejects");
    if (options.settings.rejects_file == "-")
      throw RpcFault{kInvalidParams,
                     "rejects: Die Standardausgabe hat die Nachrichten; geben Sie eine Datei an."};
    options.user = params.Text("user");
    if (options.user.find_first_of("/\\") != std::string::npos) {
      throw RpcFault{kInvalidParams, "user: '" + options.user + "' enthält / oder \\."};
    }
    return options;
  }

  json RunCommandOf(const Command& command) {
    json messages = json::array();
    LineSink err([&](const std::string& line) {
      messages.push_back(line);
      Log(line);
    });
    std::ostringstream out;
    int status = kNotUsable;
    {
      Workspace workspace(common_, {out, err, err, surroundings_.signals, surroundings_.screen, this});
      status = command(workspace);
    }
    err.flush();
    json rows = json::array();
    const std::string printed = out.str();
    for (const std::string_view line : Split(printed, '\n')) {
      if (!line.empty()) rows.push_back(json::parse(line));
    }
    return {{"exitStatus", status}, {"rows", std::move(rows)}, {"messages", std::move(messages)}};
  }

  void Show(std::string_view info, double percent) override {
    Send({{"method", "$/progress"},
          {"params",
           {{"token", id_},
            {"value",
             {{"kind", "report"},
              {"message", RepairUtf8(info)},
              {"percentage", std::round(percent * 10) / 10}}}}}});
  }

  void Log(const std::string& text) {
    constexpr int kInfo = 3;
    Send({{"method", "window/logMessage"}, {"params", {{"type", kInfo}, {"message", text}}}});
  }

  void Respond(json result) { Send({{"id", id_}, {"result", std::move(result)}}); }

  void Fail(int code, const std::string& message, json data = nullptr) {
    json error = {{"code", code}, {"message", RepairUtf8(message)}};
    if (!data.is_null()) error["data"] = std::move(data);
    Send({{"id", id_}, {"error", std::move(error)}});
  }

  void Send(json message) {
    message["jsonrpc"] = "2.0";
    out_ << Framed(message.dump(-1, ' ', false, json::error_handler_t::replace)) << std::flush;
    // A client that has gone can no longer stop what it has begun.
    if (out_.error() != 0) surroundings_.signals.Cancel();
  }

  static constexpr std::size_t kShownOfName = 60;
  inline static const std::vector<std::string> kMethods = {"initialize", "list", "check", "columns",  "preview",
                                                           "run",        "runs", "undo",  "shutdown", "exit"};

  CommonOptions common_;
  const Surroundings& surroundings_;
  DescriptorOutput out_;
  json id_;  // of the request under way
  bool is_initialized_ = false;
  bool is_shut_down_ = false;
  ServiceInbox inbox_;
};

// The descriptor's file under another number, which nothing else uses; `instead` takes its place.
class SetAside {
 public:
  SetAside(int descriptor, int instead) : own_(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3)) {
    if (own_ < 0) throw ErrorFromErrno(errno, "Standardeingabe und -ausgabe");
    ::dup2(instead, descriptor);
  }
  ~SetAside() { ::close(own_); }
  SetAside(const SetAside&) = delete;
  SetAside& operator=(const SetAside&) = delete;
  int own() const { return own_; }

 private:
  int own_;
};

}  // namespace

int ServeCommand(const CommonOptions& common, const Surroundings& surroundings) {
  const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  const SetAside in(STDIN_FILENO, nothing);
  ::close(nothing);
  const SetAside out(STDOUT_FILENO, STDERR_FILENO);
  return Service(common, surroundings, in.own(), out.own()).Serve();
}

}  // namespace kestrel::cli
